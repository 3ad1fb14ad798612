#include <gtest/gtest.h>

#include "interfaces/common/globals.h"
#include "tests/support/engine_bench.h"

namespace Drive::Testing {
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

class DownloadRetry : public DownloadOutcome {
protected:
    DownloadRetry() { common.writeLocalFileV.AlwaysReturns(false); }

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
