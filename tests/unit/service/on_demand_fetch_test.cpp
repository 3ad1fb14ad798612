#include <gtest/gtest.h>

#include <atomic>

#include "interfaces/common/globals.h"
#include "tests/support/engine_bench.h"

namespace Drive::Testing {
namespace {

using TransferService::DOWNLOADTASK_CONTEXT;

class FetchingOnDemand : public EngineBench {
protected:
    FetchingOnDemand() { g_PriorityDownloadSizeLimit = 2; }

    DOWNLOADTASK_CONTEXT Job(const std::wstring& fileId, const std::wstring& relative, std::int64_t size) {
        DOWNLOADTASK_CONTEXT job;
        job.localFilePath = world.Path(relative);
        job.fileId = fileId;
        job.fileSize = size;
        job.transferKey = 2;
        return job;
    }

    /// Runs `body` while one download is being worked on for an hour.
    void WhileBusy(const std::function<void()>& body) {
        GivePlain(L"busy", L"busy.txt", "content");
        cloud.getDownloadAddressInfo.Next([](const std::wstring&, Common::DownLoadAddressInfoModel&) {
            VirtualTime::Pause(3600 * 1000);
            return false;
        });
        VirtualTime::Run(0, [&] {
            StartService();
            ASSERT_TRUE(VirtualTime::RunUntil([&] { return Downloads().getDownloadingTaskCount() == 1; }, 10000));
            VirtualTime::AdvanceBy(100);
            body();
        });
    }

    static int Pushes() {
        return Journal::Count(Kind::Trace, "DownLoadTaskManger.PushDownLoadTask. PushDownLoadTaskCount:1 Begin");
    }
};

// SVC-FETCH-01
TEST_F(FetchingOnDemand, AnIdleEngineMakesAnOrdinaryTaskOfAnyFile) {
    world.Put(world.File(L"F", L"a\\f.txt", 7, 0));
    VirtualTime::Run(0, [&] {
        DOWNLOADTASK_CONTEXT job = Job(L"F", L"a\\f.txt", 7);
        Service().executeFetchData(job);
        EXPECT_EQ(job.transferKey, 11);
    });
    const Texts lines = Lines({Kind::Trace, Kind::Database});
    ASSERT_EQ(lines.size(), 4u) << Joined(lines);
    EXPECT_EQ(lines[0], "trace DownLoadTaskManger.PushDownLoadTask. PushDownLoadTaskCount:1 Begin");
    EXPECT_EQ(lines[1], "db GetDownLoadTaskSqlcmd(f.txt, a\\, F, false, 11)");
    EXPECT_EQ(lines[2].rfind("db InsertTaskByOnFetch([", 0), 0u);
    EXPECT_EQ(lines[3], "trace DownLoadTaskManger.PushDownLoadTask. PushDownLoadTaskCount:1 End");
    EXPECT_TRUE(world.HasTask(L"F", 1));
}

// SVC-FETCH-02
TEST_F(FetchingOnDemand, ABusyEngineSendsAFileOfTheLimitTheOrdinaryRoadAndASmallerOneAhead) {
    WhileBusy([&] {
        world.Put(world.File(L"large", L"large.bin", 2 << 20, 0));
        world.Put(world.File(L"small", L"small.bin", (2 << 20) - 1, 0));
        ScriptedPool::Hold(true);
        DOWNLOADTASK_CONTEXT large = Job(L"large", L"large.bin", 2 << 20);
        Service().executeFetchData(large);
        EXPECT_EQ(large.transferKey, 11);
        EXPECT_EQ(Pushes(), 1);
        DOWNLOADTASK_CONTEXT small = Job(L"small", L"small.bin", (2 << 20) - 1);
        Service().executeFetchData(small);
        EXPECT_EQ(small.transferKey, 2);
        EXPECT_EQ(Pushes(), 1);
        VirtualTime::Settle();
        ASSERT_EQ(ScriptedPool::Held().size(), 1u);
    });
}

// SVC-FETCH-03
TEST_F(FetchingOnDemand, TheTaskAheadCarriesTheseValues) {
    WhileBusy([&] {
        world.PutWithTask(world.File(L"F", L"a\\f.txt", 7, 21), 1, 55);
        world.Sql({"UPDATE T_task SET fragmentInfo = '{\"writePosition\":3,\"writeSliceIndex\":0}'"});
        ScriptedPool::Hold(true);
        DOWNLOADTASK_CONTEXT job = Job(L"F", L"a\\f.txt", 7);
        Service().executeFetchData(job);
        VirtualTime::Settle();
        ASSERT_EQ(ScriptedPool::Held().size(), 1u);
        const auto& task = *static_cast<Common::TaskItem*>(ScriptedPool::Held()[0].argument);
        EXPECT_EQ(task.GetDirection(), 1);
        EXPECT_EQ(task.GetTransferKey(), 2);
        EXPECT_EQ(task.GetFragmentInfo(), L"");
        EXPECT_EQ(task.GetModule(), 1);
        EXPECT_EQ(task.GetPriority(), 1);
        EXPECT_EQ(task.GetFileId(), L"F");
        EXPECT_EQ(task.GetTaskId(), world.Task(L"F", 1).GetTaskId());
    });
}

// SVC-FETCH-04
TEST_F(FetchingOnDemand, LooksTheFileUpByPathAndTheIdThatTheHostKnows) {
    WhileBusy([&] {
        world.Put(world.File(L"F", L"a\\f.txt", 7, 0));
        ScriptedPool::Hold(true);
        const std::size_t mark = Journal::Mark();
        DOWNLOADTASK_CONTEXT job = Job(L"F", L"a\\f.txt", 7);
        Service().executeFetchData(job);
        const Texts expected = {
            "db ExcuteQuerySQL(SELECT IFNULL(c.fileId,'') as fileId, IFNULL(t.taskId,0) as taskId,c.fileStatus FROM "
            "T_cloudDriveData c LEFT JOIN T_task t ON t.fileId = c.fileId WHERE isFolder = 0  AND localFileName = "
            "'f.txt' AND localParentFolder = 'a\\' AND c.fileId = 'F')"};
        EXPECT_EQ(Joined(LinesSince(mark, {Kind::Database})), Joined(expected));
        EXPECT_EQ(world.Row(L"F").GetFileStatus(), 0);  // only looked at
    });
}

// SVC-FETCH-05
TEST_F(FetchingOnDemand, ALimitOfZeroSendsEveryFileTheOrdinaryRoad) {
    g_PriorityDownloadSizeLimit = 0;
    WhileBusy([&] {
        world.Put(world.File(L"F", L"f.txt", 0, 0));
        DOWNLOADTASK_CONTEXT job = Job(L"F", L"f.txt", 0);
        Service().executeFetchData(job);
        EXPECT_EQ(job.transferKey, 11);
        EXPECT_EQ(Pushes(), 1);
    });
}

// SVC-FETCH-06
TEST_F(FetchingOnDemand, AFileThatIsBeingDownloadedOrUnknownIsPassedOver) {
    WhileBusy([&] {
        world.Put(world.File(L"running", L"running.txt", 7, 22));
        world.Put(world.File(L"LocalOne", L"local.txt", 7, 0));
        ScriptedPool::Hold(true);
        DOWNLOADTASK_CONTEXT running = Job(L"running", L"running.txt", 7);
        Service().executeFetchData(running);
        DOWNLOADTASK_CONTEXT unknown = Job(L"", L"nowhere.txt", 7);
        Service().executeFetchData(unknown);
        DOWNLOADTASK_CONTEXT local = Job(L"", L"local.txt", 7);
        Service().executeFetchData(local);
        VirtualTime::AdvanceBy(5000);
        EXPECT_EQ(ScriptedPool::Held().size(), 0u);
        EXPECT_EQ(Pushes(), 0);
        EXPECT_EQ(unknown.transferKey, 2);
    });
}

// SVC-FETCH-07
TEST_F(FetchingOnDemand, TwoOfOneFileThatOverlapAreOneDownloadAndTheHostHearsOfItOnce) {
    WhileBusy([&] {
        world.WriteFile(L"f.txt", "");
        world.Put(world.File(L"F", L"f.txt", 7, 0));
        cloud.PutPlain(L"F", "content");
        cloud.downloadCloudFileRequest.Takes(500);  // so that the second worker begins before the first has ended
        ScriptedPool::Hold(true);
        std::atomic<int> returned{0};
        for (int i = 0; i < 2; ++i) {
            VirtualTime::Start("fetcher", [&] {
                DOWNLOADTASK_CONTEXT job = Job(L"F", L"f.txt", 7);
                Service().executeFetchData(job);
                ++returned;
            });
        }
        VirtualTime::AdvanceBy(2000);
        ASSERT_EQ(returned, 2);
        ASSERT_EQ(ScriptedPool::Held().size(), 2u);  // nothing is claimed before a worker begins
        const std::size_t mark = Journal::Mark();
        ScriptedPool::ReleaseAll();
        VirtualTime::AdvanceBy(1000);
        EXPECT_EQ(Joined(Journal::LinesSince(mark, {Kind::Callback})).find("event 3"),
                  Joined(Journal::LinesSince(mark, {Kind::Callback})).rfind("event 3"));
        EXPECT_TRUE(
            InOrder(Journal::LinesSince(mark, {Kind::Callback}),
                    {"callback download(event 1, ok)", "callback download(event 2, ok, offset 0, length 7, end 7)",
                     "callback download(event 3, ok)"}));
        EXPECT_EQ(world.Row(L"F").GetFileStatus(), 1);
    });
    EXPECT_EQ(Journal::CountBeginning(Kind::Cloud, "GetDownloadAddressInfo(F)"), 1);
    EXPECT_EQ(Journal::CountBeginning(Kind::Callback, "download(event 1"), 1);
}

// SVC-FETCH-10
TEST_F(FetchingOnDemand, ASecondOneOfAFileThatIsBeingFetchedIsPassedOver) {
    WhileBusy([&] {
        world.WriteFile(L"f.txt", "");
        world.Put(world.File(L"F", L"f.txt", 7, 0));
        cloud.PutPlain(L"F", "content");
        cloud.downloadCloudFileRequest.Takes(10000);
        DOWNLOADTASK_CONTEXT job = Job(L"F", L"f.txt", 7);
        Service().executeFetchData(job);
        VirtualTime::AdvanceBy(2000);
        ASSERT_EQ(world.Row(L"F").GetFileStatus(), 22);
        Service().executeFetchData(job);
        VirtualTime::AdvanceBy(20000);
        EXPECT_EQ(world.Row(L"F").GetFileStatus(), 1);
    });
    EXPECT_EQ(Journal::CountBeginning(Kind::Cloud, "GetDownloadAddressInfo(F)"), 1);
}

// SVC-FETCH-11
TEST_F(FetchingOnDemand, AheadOfOthersRunsBesideTheOrdinaryOnesAndGivesItsOwnSlotBack) {
    WhileBusy([&] {
        world.WriteFile(L"f.txt", "");
        world.Put(world.File(L"F", L"f.txt", 7, 0));
        cloud.PutPlain(L"F", "content");
        for (int i = 0; i < 7; ++i) {  // more often than there are priority slots
            world.Sql({"UPDATE T_cloudDriveData SET fileStatus = 0 WHERE fileId = 'F'"});
            DOWNLOADTASK_CONTEXT job = Job(L"F", L"f.txt", 7);
            Service().executeFetchData(job);
            VirtualTime::AdvanceBy(2000);
            EXPECT_EQ(world.Row(L"F").GetFileStatus(), 1) << i;
        }
    });
}

// SVC-FETCH-12
TEST_F(FetchingOnDemand, WithoutAFileIdFindsTheRowByItsPathAlone) {
    WhileBusy([&] {
        world.Put(world.File(L"F", L"a\\f.txt", 7, 0));
        ScriptedPool::Hold(true);
        DOWNLOADTASK_CONTEXT job = Job(L"", L"a\\f.txt", 7);
        Service().executeFetchData(job);
        VirtualTime::Settle();
        ASSERT_EQ(ScriptedPool::Held().size(), 1u);
        EXPECT_EQ(static_cast<Common::TaskItem*>(ScriptedPool::Held()[0].argument)->GetFileId(), L"F");
        EXPECT_TRUE(job.fileId.empty());  // the caller's record is left alone
    });
}

// SVC-FETCH-13
TEST_F(FetchingOnDemand, AnOrdinaryTaskHandsTheCallersFetchMarkOn) {
    VirtualTime::Run(0, [&] {
        for (const bool onFetch : {false, true}) {
            DOWNLOADTASK_CONTEXT job = Job(L"F", L"f.txt", 7);
            job.isOnFetch = onFetch;
            Service().executeFetchData(job);
        }
    });
    EXPECT_TRUE(InOrder(Lines({Kind::Database}), {"db GetDownLoadTaskSqlcmd(f.txt, , F, false, 11)",
                                                  "db GetDownLoadTaskSqlcmd(f.txt, , F, true, 11)"}))
        << Joined(Lines({Kind::Database}));
}

// SVC-FETCH-14
TEST_F(FetchingOnDemand, AnOrdinaryTaskThatTheDatabaseRefusesIsNotTold) {
    database.insertTaskByOnFetch.NextReturns(false);
    VirtualTime::Run(0, [&] {
        DOWNLOADTASK_CONTEXT job = Job(L"F", L"f.txt", 7);
        EXPECT_NO_THROW(Service().executeFetchData(job));
        EXPECT_EQ(job.transferKey, 11);
    });
    EXPECT_EQ(Joined(Lines({Kind::Error, Kind::Callback})), "");
}

// SVC-FETCH-15
TEST_F(FetchingOnDemand, AnOrdinaryTaskIsFetchedAndBroughtLikeAnyOther) {
    world.Put(world.File(L"F", L"f.txt", 7, 0));
    world.WriteFile(L"f.txt", "");
    cloud.PutPlain(L"F", "content");
    VirtualTime::Run(0, [&] {
        StartService();
        DOWNLOADTASK_CONTEXT job = Job(L"F", L"f.txt", 7);
        Service().executeFetchData(job);
        VirtualTime::AdvanceBy(4000);
    });
    EXPECT_EQ(world.Row(L"F").GetFileStatus(), 1);
    EXPECT_EQ(Journal::Count(Kind::Callback, "download(event 3, ok)"), 1);
}

// SVC-FETCH-16
TEST_F(FetchingOnDemand, ANegativeLimitSendsEveryFileTheOrdinaryRoad) {
    g_PriorityDownloadSizeLimit = -1;
    WhileBusy([&] {
        DOWNLOADTASK_CONTEXT job = Job(L"F", L"f.txt", 0);
        Service().executeFetchData(job);
        EXPECT_EQ(job.transferKey, 11);
    });
}

// SVC-FETCH-08
TEST_F(FetchingOnDemand, ATaskIdOfZeroLeavesTheTaskWithoutOne) {
    WhileBusy([&] {
        world.Put(world.File(L"F", L"f.txt", 7, 0));
        ScriptedPool::Hold(true);
        DOWNLOADTASK_CONTEXT job = Job(L"F", L"f.txt", 7);
        Service().executeFetchData(job);
        VirtualTime::Settle();
        ASSERT_EQ(ScriptedPool::Held().size(), 1u);
        EXPECT_EQ(static_cast<Common::TaskItem*>(ScriptedPool::Held()[0].argument)->GetTaskId(), 0);
    });
}

// SVC-FETCH-09
TEST_F(FetchingOnDemand, AnExceptionOfTheDatabaseEndsTheCallInSilenceOnTheWayAheadAndLeavesItOnTheOrdinaryRoad) {
    WhileBusy([&] {
        database.excuteQuerySQL.NextThrows("broken");
        DOWNLOADTASK_CONTEXT job = Job(L"F", L"f.txt", 7);
        EXPECT_NO_THROW(Service().executeFetchData(job));
        EXPECT_TRUE(Journal::Has(Kind::Error, "TransferCommon|getTransferFileItem|error:broken"));
        database.insertTaskByOnFetch.NextThrows("broken too");
        job.fileSize = 5 << 20;
        EXPECT_THROW(Service().executeFetchData(job), std::runtime_error);
        EXPECT_NO_THROW(Service().executeFetchData(job));  // the mutex was given back on the way
    });
}

}  // namespace
}  // namespace Drive::Testing
