#include <gtest/gtest.h>

#include "interfaces/common/globals.h"
#include "tests/support/engine_bench.h"
#include "tests/support/private_access.h"

namespace Drive::Testing {

using Drive::Common::TaskItem;
using Drive::TransferService::DOWNLOADTASK_CONTEXT;
using Drive::TransferService::DownLoadTaskManger;
using Drive::TransferService::TaskResult;

struct ApplyOutcome {
    using Type = bool (DownLoadTaskManger::*)(TaskResult, DOWNLOADTASK_CONTEXT&, TaskItem&);
    friend Type Reach(ApplyOutcome);
};

template struct PrivateMember<ApplyOutcome, &DownLoadTaskManger::applyOutcome>;

namespace {

using TransferService::DOWNLOADCALLBACK_CONTEXT;

class DownloadOutcome : public EngineBench {
protected:
    /// What the worker does from the line on that begins like this to the end of the job.
    Texts From(const std::string& beginning) const {
        const Texts lines = Lines({Kind::Trace, Kind::Database, Kind::Callback});
        for (auto line = lines.begin(); line != lines.end(); ++line) {
            if (line->rfind(beginning, 0) == 0) return {line, lines.end()};
        }
        return {"(no such line)"};
    }
    const std::string slotAndEnd =
        "callback slot(11)\ntrace DownLoadTaskManger.DownloadThreadFunc: End downloadingTaskCount=:0\n";
};

// DL-OUT-01
TEST_F(DownloadOutcome, FailureIsWrittenThenTheTaskGoesThenTheHostHears) {
    GivePlain(L"F", L"f.txt", "hello");
    cloud.getDownloadAddressInfo.AlwaysReturns(false);
    RunOne(L"F");
    EXPECT_EQ(Joined(From("trace DownLoadTaskManger.downLoadTask.DownloadFile")),
              "trace DownLoadTaskManger.downLoadTask.DownloadFile End Fail fileId = F\n"
              "db UpdateDriveData(F, {fileStatus: 23})\n"
              "db DeleteTaskItem(F, 1)\n"
              "callback download(event 2, failed)\n"
              "callback download(event 4, failed)\n" +
                  slotAndEnd);
    EXPECT_EQ(world.Row(L"F").GetFileStatus(), 23);
    EXPECT_FALSE(world.HasTask(L"F", 1));
}

// DL-OUT-02
TEST_F(DownloadOutcome, CancelDeletesTheTaskBeforeTheStatusIsWritten) {
    GivePlain(L"F", L"f.txt", "hello");
    world.Sql({"UPDATE T_task SET TaskStatus = 3"});
    RunOne(L"F");
    EXPECT_EQ(Joined(From("trace DownLoadTaskManger.downLoadTask.DownloadFile")),
              "trace DownLoadTaskManger.downLoadTask.DownloadFile End Cancle fileId = F\n"
              "db DeleteTaskItem(F, 1)\n"
              "db UpdateDriveData(F, {fileStatus: 23})\n"
              "callback download(event 2, failed)\n"
              "callback download(event 4, failed)\n" +
                  slotAndEnd);
}

// DL-OUT-03
TEST_F(DownloadOutcome, StopDeletesTheTaskTwiceAndWritesItsTraceLast) {
    GivePlain(L"F", L"f.txt", "hello");
    world.Sql({"UPDATE T_task SET TaskStatus = 4"});
    RunOne(L"F");
    EXPECT_EQ(Joined(From("db DeleteTaskItem")),
              "db DeleteTaskItem(F, 1)\n"
              "db UpdateDriveData(F, {fileStatus: 23})\n"
              "callback download(event 2, failed)\n"
              "db DeleteTaskItem(F, 1)\n"
              "trace DownLoadTaskManger.downLoadTask.DownloadFile End Stop fileId = F\n"
              "callback download(event 4, failed)\n" +
                  slotAndEnd);
}

// DL-OUT-04
TEST_F(DownloadOutcome, AHostThatAnswersTheClosingEventResetsTheRow) {
    GivePlain(L"F", L"f.txt", "hello");
    cloud.getDownloadAddressInfo.AlwaysReturns(false);
    host.AlwaysReturns(true);
    RunOne(L"F");
    EXPECT_EQ(Joined(From("callback download(event 4")),
              "callback download(event 4, failed)\n"
              "db DeleteTaskItem(F, 1)\n"
              "db UpdateDriveData(F, {fileStatus: 0})\n" +
                  slotAndEnd);
    EXPECT_EQ(world.Row(L"F").GetFileStatus(), 0);
}

// DL-OUT-05
TEST_F(DownloadOutcome, SuccessHasNoClosingEvent) {
    GivePlain(L"F", L"f.txt", "hello");
    host.AlwaysReturns(true);
    RunOne(L"F");
    EXPECT_EQ(Journal::CountBeginning(Kind::Callback, "download(event 4"), 0);
    EXPECT_EQ(world.Row(L"F").GetFileStatus(), 1);
}

// DL-OUT-07
TEST_F(DownloadOutcome, OfAnyOtherNumberWritesAndTellsNothing) {
    DOWNLOADTASK_CONTEXT job;
    job.fileId = L"F";
    TaskItem task;
    for (const int result : {2, 3, 4, 8, 9, -1}) {
        EXPECT_FALSE((Downloads().*Reach(ApplyOutcome()))(static_cast<TaskResult>(result), job, task)) << result;
    }
    EXPECT_EQ(Joined(Lines()), "");
}

// DL-OUT-08
TEST_F(DownloadOutcome, IsToldToTheHostWithThePathAndSizeOfTheJobAndNoData) {
    GivePlain(L"F", L"a\\f.txt", "hello");
    int events = 0;
    cloud.getDownloadAddressInfo.AlwaysReturns(false);
    host.Always([&](DOWNLOADCALLBACK_CONTEXT& record) {
        ++events;
        EXPECT_EQ(record.localFilePath, world.Path(L"a\\f.txt"));
        EXPECT_EQ(record.fileSize, 5);
        EXPECT_EQ(record.data, nullptr);
        EXPECT_EQ(record.offset + record.length + record.endOffset, 0);
        EXPECT_EQ(record.transferKey, 0);
        EXPECT_FALSE(record.isPlatformFetch);
        EXPECT_EQ(record.fileHandle, nullptr);
        return false;
    });
    RunOne(L"F");
    EXPECT_EQ(events, 2);
}

// DL-OUT-09
TEST_F(DownloadOutcome, RowsThatCannotBeWrittenAreNotLookedAt) {
    GivePlain(L"F", L"f.txt", "hello");
    database.deleteTaskItem.AlwaysReturns(false);
    database.updateDriveData.AlwaysReturns(false);
    RunOne(L"F");
    EXPECT_TRUE(InOrder(Lines({Kind::Callback}), {"callback download(event 3, ok)", "callback slot(11)"}));
    EXPECT_EQ(Joined(Lines({Kind::Error})), "");
}

// DL-OUT-10
TEST_F(DownloadOutcome, TheAnswerOfTheHostToAFinishedFileIsNotLookedAt) {
    GivePlain(L"F", L"f.txt", "hello");
    host.AlwaysReturns(false);
    RunOne(L"F");
    EXPECT_EQ(world.Row(L"F").GetFileStatus(), 1);
    EXPECT_FALSE(world.HasTask(L"F", 1));
}

class DownloadRetry : public DownloadOutcome {
protected:
    DownloadRetry() {
        common.getFek.AlwaysReturns(std::string(32, '5'));
        common.writeLocalFileV.AlwaysReturns(false);
    }

    static int Passes() { return Journal::CountBeginning(Kind::Trace, "DownLoadTaskManger.downLoadTask.Begin."); }
    static int PauseCount() { return Journal::Count(Kind::Sleep, "3000"); }
};

// DL-RETRY-01
TEST_F(DownloadRetry, AFailedWriteIsTriedAgainAfterThreeSecondsWithAHigherNumber) {
    GiveEncrypted(L"F", L"f.txt", "hello", 5, 10);
    RunOne(L"F");
    const Texts lines = From("trace DownLoadTaskManger.downLoadTask.DownloadFile");
    const Texts expected = {
        "trace DownLoadTaskManger.downLoadTask.DownloadFile End Fail For Retry fileId = F",
        "trace DownLoadTaskManger.downLoadTask.DownloadFile Retry Update Priority=10 fileId = F",
        "db UpdateTaskItem(F, {priority: 13}, 1)",
        "db GetTaskItem(F, 1)",
        "trace DownLoadTaskManger.downLoadTask.Begin. fileId = F;taskId=1",
    };
    EXPECT_EQ(Joined(Texts(lines.begin(), lines.begin() + 5)), Joined(expected));
    EXPECT_EQ(PauseCount(), 1);
    EXPECT_EQ(Passes(), 2);
}

// DL-RETRY-02
TEST_F(DownloadRetry, TheLastFailureEndsWithoutClosingEvent) {
    GiveEncrypted(L"F", L"f.txt", "hello", 5, 11);
    RunOne(L"F");
    EXPECT_EQ(Joined(From("trace DownLoadTaskManger.downLoadTask.DownloadFile")),
              "trace DownLoadTaskManger.downLoadTask.DownloadFile End Fail For Retry fileId = F\n"
              "db DeleteTaskItem(F, 1)\n"
              "db UpdateDriveData(F, {fileStatus: 23})\n"
              "callback download(event 2, failed)\n" +
                  slotAndEnd);
    EXPECT_EQ(Passes(), 1);
}

// DL-RETRY-03
TEST_F(DownloadRetry, AJobThatBeginsAtOneGetsFourFurtherPasses) {
    GiveEncrypted(L"F", L"f.txt", "hello", 5, 1);
    RunOne(L"F");
    EXPECT_EQ(Passes(), 5);
    EXPECT_EQ(PauseCount(), 4);
    for (const char* priority : {"1", "4", "7", "10"}) {
        EXPECT_EQ(Journal::Count(Kind::Trace, std::string("DownLoadTaskManger.downLoadTask.DownloadFile Retry Update "
                                                          "Priority=") +
                                                  priority + " fileId = F"),
                  1);
    }
}

// DL-RETRY-04
TEST_F(DownloadRetry, KeepsItsSlotAndIsCountedOnceThroughAllPasses) {
    GiveEncrypted(L"F", L"f.txt", "hello", 5, 1);
    VirtualTime::Run(0, [&] {
        StartWorker(L"F");
        VirtualTime::AdvanceBy(4000);
        EXPECT_EQ(Downloads().getDownloadingTaskCount(), 1);
        EXPECT_EQ(Joined(Lines({Kind::Callback})), "callback slot(0)\n");
        EXPECT_TRUE(VirtualTime::Drain(60000));
    });
    EXPECT_EQ(Journal::CountBeginning(Kind::Callback, "slot(11)"), 1);
}

// DL-RETRY-05
TEST_F(DownloadRetry, TheReloadReplacesTheKeySoARowThatHoldsZeroFreesNoSlot) {
    GiveEncrypted(L"F", L"f.txt", "hello", 5, 10);
    world.Sql({"UPDATE T_task SET transferKey = 0"});
    RunOne(L"F");
    EXPECT_EQ(Journal::Count(Kind::Callback, "slot(0)"), 2);
    EXPECT_EQ(Journal::Count(Kind::Callback, "slot(11)"), 0);
}

// DL-RETRY-06
TEST_F(DownloadRetry, ATaskRowThatIsGoneMeanwhileGivesNoSlotBack) {
    common.writeLocalFileV.Reset();
    common.writeLocalFileV.Next([&](std::int64_t, const char*, std::size_t, const std::wstring&) {
        world.Sql({"DELETE FROM T_task"});
        return false;
    });
    GiveEncrypted(L"F", L"f.txt", "hello", 5, 4);
    RunOne(L"F");
    EXPECT_EQ(Joined(Lines({Kind::Callback})),
              "callback slot(0)\n"
              "callback download(event 3, ok)\n"
              "callback slot(0)\n");
    EXPECT_EQ(Passes(), 2);
    EXPECT_EQ(world.Row(L"F").GetFileStatus(), 1);
    EXPECT_EQ(Downloads().getDownloadingTaskCount(), 0);
}

// DL-RETRY-08
TEST_F(DownloadRetry, WithoutATaskRowGoesOnUntilTheEngineIsStopped) {
    GiveEncrypted(L"F", L"f.txt", "hello", 5, 4);
    VirtualTime::Run(0, [&] {
        StartWorker(L"F");
        world.Sql({"DELETE FROM T_task"});
        VirtualTime::AdvanceBy(300 * 1000);
        EXPECT_EQ(Passes(), 101);
        Downloads().StopDownLoadMangerService();
        EXPECT_TRUE(VirtualTime::Drain(1000));
    });
    EXPECT_EQ(Passes(), 102);
    EXPECT_TRUE(Journal::Has(Kind::Trace, "DownLoadTaskManger.downLoadTask.DownloadFile End Stop fileId = F"));
}

// DL-RETRY-09
TEST_F(DownloadRetry, APriorityThatCannotBeWrittenIsTriedWithTheSameOneAgain) {
    GiveEncrypted(L"F", L"f.txt", "hello", 5, 10);
    database.updateTaskItem.NextReturns(false);
    database.updateTaskItem.NextReturns(false);
    RunOne(L"F");
    EXPECT_EQ(Passes(), 4);  // at 10, 10, 10 and 13
    EXPECT_EQ(
        Journal::Count(Kind::Trace, "DownLoadTaskManger.downLoadTask.DownloadFile Retry Update Priority=10 fileId = F"),
        3);
}

// DL-RETRY-10
TEST_F(DownloadRetry, ACancelOrAStopInThePauseEndsTheNextPass) {
    for (const auto& [status, end] : {std::pair{3, "Cancle"}, std::pair{4, "Stop"}}) {
        GiveEncrypted(L"F", L"f.txt", "hello", 5, 1);
        VirtualTime::Run(0, [&, status = status] {
            StartWorker(L"F");
            VirtualTime::AdvanceBy(1000);
            world.Sql({"UPDATE T_task SET TaskStatus = " + std::to_string(status)});
            EXPECT_TRUE(VirtualTime::Drain(60000));
            EXPECT_EQ(VirtualTime::Now(), 3000);
        });
        EXPECT_TRUE(Journal::Has(
            Kind::Trace, std::string("DownLoadTaskManger.downLoadTask.DownloadFile End ") + end + " fileId = F"));
    }
}

// DL-RETRY-11
TEST_F(DownloadRetry, TheNextPassGoesOnAtThePositionThatTheFailedOneSaved) {
    common.writeLocalFileV.Reset();
    common.writeLocalFileV.NextDefault();
    common.writeLocalFileV.NextReturns(false);
    GiveEncrypted(L"F", L"f.txt", "abcdefgh", 4);
    RunOne(L"F");
    EXPECT_TRUE(InOrder(Lines({Kind::Common}),
                        {"common WriteLocalFileV(0, 4, ROOT\\f.txt)", "common WriteLocalFileV(4, 4, ROOT\\f.txt)",
                         "common WriteLocalFileV(4, 4, ROOT\\f.txt)"}));
    EXPECT_EQ(common.writeLocalFileV.Calls(), 3);
    EXPECT_EQ(world.ReadFile(L"f.txt"), "abcdabcd");  // the first object again; deliberate
}

// DL-RETRY-07
TEST_F(DownloadRetry, SucceedsWhenTheDiskTakesTheSliceInALaterPass) {
    common.writeLocalFileV.Reset();
    common.writeLocalFileV.NextReturns(false);
    GiveEncrypted(L"F", L"f.txt", "hello world", 4);
    RunOne(L"F");
    EXPECT_EQ(world.ReadFile(L"f.txt"), "hello world");
    EXPECT_EQ(world.Row(L"F").GetFileStatus(), 1);
}

}  // namespace
}  // namespace Drive::Testing
