#include <gtest/gtest.h>
#include <pplx/pplxtasks.h>

#include <atomic>
#include <memory>

#include "interfaces/common/globals.h"
#include "service/feeding_state.h"
#include "tests/support/engine_bench.h"
#include "tests/support/private_access.h"

namespace Drive::Testing {

using Drive::TransferService::TaskSemaphore;
using Drive::TransferService::TransferTaskService;

struct OwnSource {
    using Type = std::unique_ptr<pplx::cancellation_token_source> TransferTaskService::*;
    friend Type Reach(OwnSource);
};
struct SpareSource {
    using Type = std::unique_ptr<pplx::cancellation_token_source> TransferTaskService::*;
    friend Type Reach(SpareSource);
};
struct SlotsLeft {
    using Type = int TaskSemaphore::*;
    friend Type Reach(SlotsLeft);
};

template struct PrivateMember<OwnSource, &TransferTaskService::serviceCancellation>;
template struct PrivateMember<SpareSource, &TransferTaskService::spareCancellation>;
template struct PrivateMember<SlotsLeft, &TaskSemaphore::count>;

namespace {

class StoppingTheService : public EngineBench {
protected:
    /// Calls stop on a thread of its own; true once it has returned.
    void StopAside() {
        VirtualTime::Start("stopper", [this] {
            Service().stopTransferTaskService();
            returned = true;
        });
    }

    Texts LinesWith(const std::string& word, std::initializer_list<Kind> kinds) const {
        Texts found;
        for (const std::string& line : Lines(kinds)) {
            if (line.find(word) != std::string::npos) found.push_back(line);
        }
        return found;
    }

    std::atomic<bool> returned{false};
};

// SVC-STOP-01
TEST_F(StoppingTheService, StopsTheDownloadsThenTheUploadsWithTheseTexts) {
    VirtualTime::Run(0, [&] {
        StartService();
        const std::size_t mark = Journal::Mark();
        Service().stopTransferTaskService();
        const Texts expected = {"trace DownLoadTaskManger.StopDownLoadMangerService Begin",
                                "stat 15003|StopDownLoadMangerService| StopDownLoadMangerService",
                                "trace DownLoadTaskManger.StopDownLoadMangerService End",
                                "trace UpLoadTaskManger.StopUpLoadMangerService Begin ",
                                "stat 15002|StopUpLoadMangerService| StopUpLoadMangerService",
                                "trace UpLoadTaskManger.StopUpLoadMangerService End "};
        EXPECT_EQ(Joined(LinesSince(mark)), Joined(expected));
        EXPECT_TRUE(g_StopDownLoadTask);
    });
}

// SVC-STOP-02
TEST_F(StoppingTheService, ReturnsAtOnceWhenNothingRuns) {
    VirtualTime::Run(0, [&] {
        StartService();
        Service().stopTransferTaskService();
        EXPECT_EQ(VirtualTime::Now(), 0);
    });
}

// SVC-STOP-03
TEST_F(StoppingTheService, GivesARunningUploadTenSecondsInAll) {
    GiveUpload(L"U", L"u.txt", "content");
    cloud.objectsUploadStart.Takes(3600 * 1000);
    VirtualTime::Run(0, [&] {
        StartService();
        ASSERT_TRUE(VirtualTime::RunUntil([&] { return cloud.objectsUploadStart.Calls() == 1; }, 60000));
        const std::int64_t begun = VirtualTime::Now();
        Service().stopTransferTaskService();
        EXPECT_EQ(VirtualTime::Now() - begun, 10000);
    });
}

// SVC-STOP-04
TEST_F(StoppingTheService, WaitsForARunningDownloadWithoutLimit) {
    GivePlain(L"F", L"f.txt", "content");
    cloud.getDownloadAddressInfo.Takes(48 * 3600 * 1000);
    VirtualTime::Run(0, [&] {
        StartService();
        ASSERT_TRUE(VirtualTime::RunUntil([&] { return cloud.getDownloadAddressInfo.Calls() == 1; }, 60000));
        StopAside();
        VirtualTime::AdvanceBy(47 * 3600 * 1000);
        EXPECT_FALSE(returned);
        EXPECT_FALSE(Journal::Has(Kind::Trace, "UpLoadTaskManger.StopUpLoadMangerService Begin "));
        VirtualTime::AdvanceBy(2 * 3600 * 1000);
        EXPECT_TRUE(returned);
    });
}

// SVC-STOP-05
TEST_F(StoppingTheService, PollingDispatchersEndWithinASecond) {
    VirtualTime::Run(0, [&] {
        StartService();
        VirtualTime::AdvanceBy(200);
        Service().stopTransferTaskService();
        VirtualTime::AdvanceBy(800);
    });
    const Texts traces = {"trace TransferTaskService.StopDownloadTaskService 1",
                          "trace TransferTaskService.cancel downloadTaskService thread",
                          "trace TransferTaskService.StopUploadTaskService 1",
                          "trace TransferTaskService.cancel uploadTaskService thread"};
    Texts found = LinesWith("loadTaskService", {Kind::Trace});
    found.erase(found.begin(), found.begin() + 3);  // the three that began
    EXPECT_EQ(Joined(found), Joined(traces));
    EXPECT_TRUE(Journal::Has(Kind::Statistic, "15003|TransferTaskService| StopDownloadTaskService 1"));
    EXPECT_TRUE(Journal::Has(Kind::Statistic, "15002|TransferTaskService| StopUploadTaskService 1"));
}

// SVC-STOP-06
TEST_F(StoppingTheService, DispatchersThatWaitForASignalStayUntilSomebodySignals) {
    VirtualTime::Run(0, [&] {
        StartService();
        Service().stopTransferTaskService();
        VirtualTime::AdvanceBy(3600 * 1000);
        EXPECT_EQ(VirtualTime::LiveThreads(), 2);
    });
    EXPECT_TRUE(LinesWith("StopThumbnailTaskService", {Kind::Trace}).empty());
    EXPECT_TRUE(LinesWith("StopPriorityDownloadTaskService", {Kind::Trace}).empty());
}

// SVC-STOP-07
TEST_F(StoppingTheService, ThumbnailDispatcherInItsPauseEndsWithStopOne) {
    Common::FileItem picture = world.File(L"P", L"p.jpg", 5, 1);
    picture.SetThunbnailDownloadLink(L"http://proxy/P");
    world.Put(picture);
    world.Sql({"INSERT INTO T_task (fileId, direction) VALUES ('P', 3)"});
    ScriptedPool::Hold(true);
    VirtualTime::Run(0, [&] {
        StartService();
        VirtualTime::AdvanceBy(100);
        ASSERT_EQ(ScriptedPool::Held().size(), 1u);
        Service().stopTransferTaskService();
        VirtualTime::AdvanceBy(1000);
    });
    const Texts expected = {"trace TransferTaskService.StartThumbnailTaskService ",
                            "stat 15003|TransferTaskService| StartThumbnailTaskService",
                            "trace TransferTaskService.StopThumbnailTaskService 1",
                            "stat 15003|TransferTaskService| StopThumbnailTaskService 1",
                            "trace TransferTaskService.cancel thumbnailTaskService thread"};
    EXPECT_EQ(Joined(Journal::LinesOf("task-2", {Kind::Trace, Kind::Statistic})), Joined(expected));
}

// SVC-STOP-08
TEST_F(StoppingTheService, PriorityDispatcherWokenWithAnEmptyQueueEndsWithStopOne) {
    GivePlain(L"busy", L"busy.txt", "content");
    GivePlain(L"wanted", L"wanted.txt", "content");
    cloud.getDownloadAddressInfo.Takes(500);
    VirtualTime::Run(0, [&] {
        StartService();
        ASSERT_TRUE(VirtualTime::RunUntil([&] { return Downloads().getDownloadingTaskCount() > 0; }, 60000));
        world.Sql({"UPDATE T_cloudDriveData SET fileStatus = 21 WHERE fileId = 'wanted'"});
        ScriptedPool::Hold(true);
        TransferService::DOWNLOADTASK_CONTEXT job;
        job.localFilePath = world.Path(L"wanted.txt");
        job.fileId = L"wanted";
        job.fileSize = 7;
        job.transferKey = 2;
        Service().executeFetchData(job);
        VirtualTime::AdvanceBy(100);
        StopAside();
        VirtualTime::AdvanceBy(20000);
        EXPECT_TRUE(returned);
    });
    const Texts expected = {"trace TransferTaskService.StartPriorityDownloadTaskService ",
                            "stat 15003|TransferTaskService| StartPriorityDownloadTaskService",
                            "trace TransferTaskService.StopPriorityDownloadTaskService 1",
                            "stat 15003|TransferTaskService| StopPriorityDownloadTaskService 1",
                            "trace TransferTaskService.cancel PriorityDownloadTaskService thread"};
    EXPECT_EQ(Joined(Journal::LinesOf("task-4", {Kind::Trace, Kind::Statistic})), Joined(expected));
}

// SVC-STOP-09
TEST_F(StoppingTheService, DownloadDispatcherThatWaitedForASlotDropsWhatItPopped) {
    for (int i = 0; i < 4; ++i) GivePlain(L"F" + std::to_wstring(i), L"f" + std::to_wstring(i), "content");
    cloud.getDownloadAddressInfo.Takes(5000);
    VirtualTime::Run(0, [&] {
        StartService();
        ASSERT_TRUE(VirtualTime::RunUntil([&] { return Downloads().getDownloadingTaskCount() == 3; }, 60000));
        StopAside();
        VirtualTime::AdvanceBy(20000);
        EXPECT_TRUE(returned);
    });
    const Texts expected = {"trace TransferTaskService.StartDownloadTaskService ",
                            "stat 15003|TransferTaskService| StartDownloadTaskService",
                            "trace TransferTaskService.StopDownloadTaskService 2",
                            "stat 15003|TransferTaskService| StopDownloadTaskService 1"};
    EXPECT_EQ(Joined(Journal::LinesOf("task-3", {Kind::Trace, Kind::Statistic})), Joined(expected));
    EXPECT_EQ(ScriptedPool::Queued().size(), 3u);
    EXPECT_TRUE(world.HasTask(L"F3", 1));  // the row stays for the next start
    EXPECT_EQ(world.Row(L"F3").GetFileStatus(), 21);
}

// SVC-STOP-09
TEST_F(StoppingTheService, UploadDispatcherThatWaitedForASlotTellsOfStopTwo) {
    for (int i = 0; i < 4; ++i) GiveUpload(L"U" + std::to_wstring(i), L"u" + std::to_wstring(i), "content");
    cloud.objectsUploadStart.Takes(5000);
    VirtualTime::Run(0, [&] {
        StartService();
        ASSERT_TRUE(VirtualTime::RunUntil([&] { return cloud.objectsUploadStart.Calls() == 3; }, 60000));
        StopAside();
        VirtualTime::AdvanceBy(20000);
        EXPECT_TRUE(returned);
    });
    const Texts expected = {
        "trace TransferTaskService.StartUploadTaskService ", "stat 15002|TransferTaskService| StartUploadTaskService",
        "trace TransferTaskService.StopUploadTaskService 2", "stat 15002|TransferTaskService| StopUploadTaskService 2"};
    EXPECT_EQ(Joined(Journal::LinesOf("task-5", {Kind::Trace, Kind::Statistic})), Joined(expected));
    EXPECT_TRUE(world.HasTask(L"U3", 2));
}

// SVC-STOP-10
TEST_F(StoppingTheService, LeavesTheRowsOfQueuedTasksUntouched) {
    for (int i = 0; i < 10; ++i) GivePlain(L"F" + std::to_wstring(i), L"f" + std::to_wstring(i), "content");
    VirtualTime::Run(0, [&] {
        StartService();
        Service().stopTransferTaskService();
        VirtualTime::AdvanceBy(10000);
    });
    EXPECT_EQ(world.TaskCount(), 10);
    for (int i = 0; i < 10; ++i) EXPECT_EQ(world.Row(L"F" + std::to_wstring(i)).GetFileStatus(), 21);
}

// SVC-STOP-11
TEST_F(StoppingTheService, TwiceDoesNoHarm) {
    VirtualTime::Run(0, [&] {
        StartService();
        Service().stopTransferTaskService();
        Service().stopTransferTaskService();
        VirtualTime::AdvanceBy(5000);
    });
    EXPECT_EQ(Journal::Count(Kind::Trace, "TransferTaskService.StopTransferTaskService 1"), 1);
}

// SVC-STOP-12
TEST_F(StoppingTheService, ASecondStartInTheSameProcessEndsEveryTaskAsStopped) {
    VirtualTime::Run(0, [&] {
        StartService();
        Service().stopTransferTaskService();
        VirtualTime::AdvanceBy(6000);
        GiveUpload(L"U", L"u.txt", "content");
        GivePlain(L"F", L"f.txt", "content");
        StartService();
        VirtualTime::AdvanceBy(10000);
    });
    EXPECT_TRUE(Journal::Has(Kind::Trace, "DownLoadTaskManger.downLoadTask.DownloadFile End Stop fileId = F"));
    EXPECT_TRUE(
        Journal::Has(Kind::Trace, "UpLoadTaskManger.UploadThreadFunc:file upload task end fail stop task fileid=U"));
    EXPECT_TRUE(world.HasTask(L"U", 2));
    EXPECT_EQ(world.Row(L"U").GetFileStatus(), 13);
}

// SVC-STOP-13
TEST_F(StoppingTheService, DownloadsRunAgainAfterASecondStartWhenTheHostClearsTheFlag) {
    VirtualTime::Run(0, [&] {
        StartService();
        Service().stopTransferTaskService();
        VirtualTime::AdvanceBy(6000);
        g_StopDownLoadTask = false;
        GivePlain(L"F", L"f.txt", "content");
        StartService();
        VirtualTime::AdvanceBy(5000);
    });
    EXPECT_EQ(world.ReadFile(L"f.txt"), "content");
}

// SVC-STOP-14
TEST_F(StoppingTheService, CancelsBothSources) {
    VirtualTime::Run(0, [&] {
        StartService();
        Service().stopTransferTaskService();
    });
    EXPECT_TRUE((Service().*Reach(OwnSource()))->get_token().is_canceled());
    EXPECT_TRUE((Service().*Reach(SpareSource()))->get_token().is_canceled());
}

// SVC-STOP-15
TEST_F(StoppingTheService, BeforeAnyStartReturnsAndSetsTheFlags) {
    VirtualTime::Run(0, [&] { Service().stopTransferTaskService(); });
    EXPECT_TRUE(g_StopDownLoadTask);
    EXPECT_TRUE(Journal::Has(Kind::Trace, "UpLoadTaskManger.StopUpLoadMangerService End "));
}

// SVC-STOP-16
TEST_F(StoppingTheService, ReturnsAsSoonAsTheLastUploadHasEnded) {
    GiveUpload(L"U", L"u.txt", "content");
    cloud.objectsUploadStart.Takes(4000);
    VirtualTime::Run(0, [&] {
        StartService();
        ASSERT_TRUE(VirtualTime::RunUntil([&] { return cloud.objectsUploadStart.Calls() == 1; }, 60000));
        const std::int64_t begun = VirtualTime::Now();
        Service().stopTransferTaskService();
        EXPECT_EQ(VirtualTime::Now() - begun, 4000);
    });
}

// SVC-STOP-17
TEST_F(StoppingTheService, AFetchAfterTheStopEndsThePriorityDispatcherWithStopTwo) {
    GivePlain(L"busy", L"busy.txt", "content");
    cloud.getDownloadAddressInfo.Takes(60000);
    VirtualTime::Run(0, [&] {
        StartService();
        ASSERT_TRUE(VirtualTime::RunUntil([&] { return Downloads().getDownloadingTaskCount() == 1; }, 60000));
        StopAside();
        VirtualTime::AdvanceBy(2000);
        world.Put(world.File(L"F", L"f.txt", 7, 21));
        TransferService::DOWNLOADTASK_CONTEXT job;
        job.localFilePath = world.Path(L"f.txt");
        job.fileId = L"F";
        job.transferKey = 2;
        Service().executeFetchData(job);
        VirtualTime::AdvanceBy(2000);
    });
    const Texts expected = {"trace TransferTaskService.StartPriorityDownloadTaskService ",
                            "stat 15003|TransferTaskService| StartPriorityDownloadTaskService",
                            "trace TransferTaskService.StopPriorityDownloadTaskService 2",
                            "stat 15003|TransferTaskService| StopPriorityDownloadTaskService 2"};
    EXPECT_EQ(Joined(Journal::LinesOf("task-4", {Kind::Trace, Kind::Statistic})), Joined(expected));
    EXPECT_EQ(ScriptedPool::Queued().size(), 1u);  // the busy one
    EXPECT_EQ(world.Row(L"F").GetFileStatus(), 21);
    EXPECT_EQ((*TransferService::prioritySemaphore).*Reach(SlotsLeft()), 4);  // one went with the dropped task
}

// SVC-STOP-09
TEST_F(StoppingTheService, ThumbnailDispatcherThatWaitedForASlotTellsOfStopTwo) {
    database.getThumbnailFileDownLoadTask.Next([](std::list<WMap>& rows, int) {
        for (int i = 0; i < 11; ++i) rows.push_back({{L"fileId", L"P" + std::to_wstring(i)}});
        return 11;
    });
    ScriptedPool::Hold(true);
    VirtualTime::Run(0, [&] {
        StartService();
        VirtualTime::AdvanceBy(5000);
        Service().stopTransferTaskService();
        ScriptedPool::ReleaseOne();  // its slot comes back
        VirtualTime::AdvanceBy(2000);
        ScriptedPool::ReleaseAll();
        VirtualTime::AdvanceBy(2000);
    });
    const Texts expected = {"trace TransferTaskService.StartThumbnailTaskService ",
                            "stat 15003|TransferTaskService| StartThumbnailTaskService",
                            "trace TransferTaskService.StopThumbnailTaskService 2",
                            "stat 15003|TransferTaskService| StopThumbnailTaskService 2"};
    EXPECT_EQ(Joined(Journal::LinesOf("task-2", {Kind::Trace, Kind::Statistic})), Joined(expected));
    EXPECT_EQ(ScriptedPool::Queued().size(), 10u);
}

// SVC-STOP-18
TEST_F(StoppingTheService, AThumbnailFetchThatEndsAfterTheStopEndsItsDispatcher) {
    for (const bool found : {false, true}) {
        VirtualTime::Run(0, [&] {
            database.getThumbnailFileDownLoadTask.Next([found](std::list<WMap>& rows, int) {
                VirtualTime::Pause(300);
                if (found) rows.push_back({{L"fileId", L"P"}});
                return 0;
            });
            Journal::Clear();
            StartService();
            Service().stopTransferTaskService();
            VirtualTime::AdvanceBy(2000);
        });
        const std::string number = found ? "2" : "1";
        EXPECT_TRUE(Journal::Has(Kind::Trace, "TransferTaskService.StopThumbnailTaskService " + number)) << found;
        EXPECT_TRUE(Journal::Has(Kind::Statistic, "15003|TransferTaskService| StopThumbnailTaskService " + number));
        EXPECT_EQ(Journal::Has(Kind::Trace, "TransferTaskService.cancel thumbnailTaskService thread"), !found);
    }
    EXPECT_EQ(ScriptedPool::Queued().size(), 0u);
}

// SVC-STOP-19
TEST_F(StoppingTheService, ADispatcherThatSleepsOverTheStopLeavesItsQueueAndTakesNoSlot) {
    GivePlain(L"F", L"f.txt", "content");
    VirtualTime::Run(0, [&] {
        StartService();  // F is fetched; the dispatcher looks again at 1000
        VirtualTime::AdvanceBy(500);
        Service().stopTransferTaskService();
        VirtualTime::AdvanceBy(2000);
    });
    EXPECT_EQ(ScriptedPool::Queued().size(), 0u);
    EXPECT_TRUE(world.HasTask(L"F", 1));
    EXPECT_TRUE(Journal::Has(Kind::Trace, "TransferTaskService.StopDownloadTaskService 1"));
    EXPECT_EQ((*TransferService::downloadSemaphore).*Reach(SlotsLeft()), 3);  // the loop ended before it looked
}

// SVC-STOP-20
TEST_F(StoppingTheService, NoFeedAsksTheDatabaseOnceTheMainLoopHasEnded) {
    VirtualTime::Run(0, [&] {
        StartService();
        VirtualTime::AdvanceBy(5500);
        Service().stopTransferTaskService();
        VirtualTime::AdvanceBy(7000);
        const std::size_t mark = Journal::Mark();
        VirtualTime::AdvanceBy(3600 * 1000);
        EXPECT_EQ(Joined(Journal::LinesSince(mark)), "");
    });
}

// SVC-STOP-21
TEST_F(StoppingTheService, EndsTheLoopsOfASecondStartLikeThoseOfTheFirst) {
    VirtualTime::Run(0, [&] {
        for (int round = 1; round <= 2; ++round) {
            StartService();
            VirtualTime::AdvanceBy(300);
            Service().stopTransferTaskService();
            VirtualTime::AdvanceBy(6000);
            EXPECT_EQ(Journal::Count(Kind::Trace, "TransferTaskService.StopTransferTaskService 1"), round);
            EXPECT_EQ(Journal::Count(Kind::Trace, "TransferTaskService.StopDownloadTaskService 1"), round);
            EXPECT_EQ(Journal::Count(Kind::Trace, "TransferTaskService.StopUploadTaskService 1"), round);
            // Those that wait for a signal; the second start has given one to the first thumbnail dispatcher.
            EXPECT_EQ(VirtualTime::LiveThreads(), round + 1);
        }
    });
}

}  // namespace
}  // namespace Drive::Testing
