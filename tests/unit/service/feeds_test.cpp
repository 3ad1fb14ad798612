#include <gtest/gtest.h>

#include <algorithm>

#include "tests/support/engine_bench.h"
#include "tests/support/private_access.h"

namespace Drive::Testing {

using Drive::TransferService::TransferTaskService;

struct PushUploads {
    using Type = void (TransferTaskService::*)();
    friend Type Reach(PushUploads);
};

struct PushDownloads {
    using Type = void (TransferTaskService::*)();
    friend Type Reach(PushDownloads);
};

using Drive::TransferService::DownLoadTaskManger;
using Drive::TransferService::NeverDestroyed;

struct ThumbnailRows {
    using Type = NeverDestroyed<Drive::TransferService::ConcurrentQueue<Drive::WMap>> TransferTaskService::*;
    friend Type Reach(ThumbnailRows);
};

struct ReportSlot {
    using Type = NeverDestroyed<DownLoadTaskManger::SemaphoreCallback> DownLoadTaskManger::*;
    friend Type Reach(ReportSlot);
};

template struct PrivateMember<ThumbnailRows, &TransferTaskService::thumbnailQueue>;
template struct PrivateMember<ReportSlot, &DownLoadTaskManger::taskSemaphoreCallback>;
template struct PrivateMember<PushUploads, &TransferTaskService::pushLatestUploadTask>;
template struct PrivateMember<PushDownloads, &TransferTaskService::pushLatestDownloadTask>;

namespace {

using Times = std::vector<std::int64_t>;

class Feeding : public EngineBench {
protected:
    void Give(int count) {
        for (int i = 0; i < count; ++i) {
            const std::wstring number = std::to_wstring(1000 + i);
            GivePlain(L"F" + number, L"f" + number, "content", i);
        }
    }
    Times DownloadFetches() const { return Journal::Times(Kind::Database, "GetTaskAllItem('0','21','23', 1, 100)"); }
    Times UploadFetches() const { return Journal::Times(Kind::Database, "GetTaskAllItem('0','11','13', 2, 100)"); }
};

// SVC-FEED-01
TEST_F(Feeding, AsksForDownloadsOfTheseStatesAHundredAtATimeOnceASecondWhileThereAreNone) {
    VirtualTime::Run(0, [&] {
        StartService();
        VirtualTime::AdvanceBy(3000);
    });
    EXPECT_EQ(DownloadFetches(), (Times{0, 1000, 2000, 3000}));
}

// SVC-FEED-02
TEST_F(Feeding, AsksForUploadsEverySixSecondsSinceEachFetchPausesForFive) {
    VirtualTime::Run(0, [&] {
        StartService();
        VirtualTime::AdvanceBy(17500);
    });
    EXPECT_EQ(Journal::Times(Kind::Database, "ClearInvalidateTask()"), (Times{0, 6000, 12000}));
    EXPECT_EQ(UploadFetches(), (Times{5000, 11000, 17000}));
}

// SVC-FEED-03
TEST_F(Feeding, ClearsInvalidTasksBeforeTheQueueIsLookedAt) {
    GiveUpload(L"U", L"u.txt", "content");
    VirtualTime::Run(0, [&] {
        // Two fetches at once: the second one waits for the first and then finds the queue filled.
        (Service().*Reach(PushUploads()))();
        (Service().*Reach(PushUploads()))();
        VirtualTime::AdvanceBy(20000);
    });
    const Texts expected = {"db ClearInvalidateTask()", "db GetTaskAllItem('0','11','13', 2, 100)",
                            "db ClearInvalidateTask()"};
    EXPECT_EQ(Joined(Lines({Kind::Database})), Joined(expected));
}

// SVC-FEED-12
TEST_F(Feeding, TwoDownloadFetchesAtOnceFillTheQueueOnce) {
    GivePlain(L"F", L"f.txt", "content");
    VirtualTime::Run(0, [&] {
        (Service().*Reach(PushDownloads()))();
        (Service().*Reach(PushDownloads()))();
        VirtualTime::AdvanceBy(1000);
    });
    EXPECT_EQ(DownloadFetches(), (Times{0}));
}

// SVC-FEED-04
TEST_F(Feeding, FetchesNothingMoreWhileTheBatchIsUnfinished) {
    Give(100);
    cloud.getDownloadAddressInfo.Takes(1000000);
    VirtualTime::Run(0, [&] {
        StartService();
        VirtualTime::AdvanceBy(60000);
        EXPECT_EQ(DownloadFetches(), (Times{0}));
        EXPECT_EQ(Downloads().getDownloadingTaskCount(), 3);
        EXPECT_EQ(ScriptedPool::Queued().size(), 3u);
    });
}

// SVC-FEED-05
TEST_F(Feeding, FetchesAgainOnceTheQueueIsEmptyAndAWorkerHasReported) {
    Give(4);
    cloud.getDownloadAddressInfo.Takes(10000);
    VirtualTime::Run(0, [&] {
        StartService();
        VirtualTime::AdvanceBy(10500);
        // The fourth was popped, so the queue was empty when the third worker reported: the feed was open again.
        EXPECT_EQ(DownloadFetches().front(), 0);
        EXPECT_GE(DownloadFetches().size(), 2u);
        EXPECT_EQ(DownloadFetches()[1], 2000);
        EXPECT_EQ(ScriptedPool::Queued().size(), 3u);
        VirtualTime::AdvanceBy(30000);
    });
    EXPECT_EQ(world.TaskCount(), 0);
    EXPECT_EQ(ScriptedPool::Queued().size(), 4u);  // none was handed over twice
}

// SVC-FEED-06
TEST_F(Feeding, HandsTasksOverInTheOrderOfTheFetch) {
    Give(3);
    VirtualTime::Run(0, [&] {
        StartService();
        VirtualTime::AdvanceBy(2000);
    });
    EXPECT_TRUE(
        InOrder(Lines({Kind::Cloud}), {"cloud GetDownloadAddressInfo(F1000)", "cloud GetDownloadAddressInfo(F1001)",
                                       "cloud GetDownloadAddressInfo(F1002)"}));
}

// SVC-FEED-07
TEST_F(Feeding, AFetchThatThrowsSilencesTheFeedUntilAWorkerReports) {
    GivePlain(L"F", L"f.txt", "content");
    database.getTaskAllItem.NextThrows("broken");
    VirtualTime::Run(0, [&] {
        StartService();
        VirtualTime::AdvanceBy(20000);
        EXPECT_EQ(DownloadFetches(), (Times{0}));
        StartWorker(L"absent", 1);  // ends at once and reports its slot
        VirtualTime::AdvanceBy(2000);
        EXPECT_GE(DownloadFetches().size(), 2u);
    });
    EXPECT_EQ(world.ReadFile(L"f.txt"), "content");
}

// SVC-FEED-08
TEST_F(Feeding, UploadFetchHoldsTheFlagWhileItPauses) {
    VirtualTime::Run(0, [&] {
        StartService();
        VirtualTime::AdvanceBy(4999);
        EXPECT_EQ(database.clearInvalidateTask.Calls(), 1);  // no second fetch task was started meanwhile
        EXPECT_TRUE(UploadFetches().empty());
    });
}

// SVC-FEED-09
TEST_F(Feeding, ThumbnailFeedAsksForAHundredEverySecondWhileThereAreNone) {
    VirtualTime::Run(0, [&] {
        StartService();
        VirtualTime::AdvanceBy(2000);
    });
    EXPECT_EQ(Journal::Times(Kind::Database, "GetThumbnailFileDownLoadTask(100)"), (Times{0, 1000, 2000}));
}

// SVC-FEED-10
TEST_F(Feeding, ThumbnailFeedAsksNothingWhileItsQueueIsFilled) {
    database.getThumbnailFileDownLoadTask.Next([](std::list<WMap>& rows, int) {
        for (int i = 0; i < 100; ++i) rows.push_back({{L"fileId", L"P" + std::to_wstring(i)}});
        return 100;
    });
    ScriptedPool::Hold(true);  // ten slots, none comes back
    VirtualTime::Run(0, [&] {
        StartService();
        VirtualTime::AdvanceBy(30000);
        EXPECT_EQ(database.getThumbnailFileDownLoadTask.Calls(), 1);
        EXPECT_EQ(ScriptedPool::Held().size(), 10u);
    });
}

// SVC-FEED-11
TEST_F(Feeding, UploadsReopenTheirFeedWhenTheWorkerReports) {
    GiveUpload(L"U", L"u.txt", "content");
    VirtualTime::Run(0, [&] {
        StartService();
        VirtualTime::AdvanceBy(14000);
    });
    EXPECT_EQ(UploadFetches(), (Times{5000, 12000}));
    EXPECT_FALSE(world.HasTask(L"U", 2));
}

// SVC-FEED-13
TEST_F(Feeding, OnlyRowsOfTheStatesThatWaitForTheirDirectionAreWorkedOn) {
    for (const int status : {0, 1, 11, 12, 13, 21, 22, 23}) {
        for (const int direction : {1, 2}) {
            const std::wstring id = (direction == 1 ? L"D" : L"U") + std::to_wstring(status);
            world.PutWithTask(world.File(id, id, 7, status), direction);
        }
    }
    // The repair of the start would move the running ones.
    database.executeMulitNoQuerySQL.NextReturns(true);
    ScriptedPool::Hold(true);
    VirtualTime::Run(0, [&] {
        StartService();
        VirtualTime::AdvanceBy(9000);
        std::vector<std::string> taken;
        for (const ScriptedPool::Item& item : ScriptedPool::Held()) {
            taken.push_back(Narrow(static_cast<Common::TaskItem*>(item.argument)->GetFileId()));
        }
        std::sort(taken.begin(), taken.end());
        EXPECT_EQ(Joined(taken), "D0\nD21\nD23\nU0\nU11\nU13\n");
        Service().stopTransferTaskService();
        ScriptedPool::ReleaseAll();
        VirtualTime::AdvanceBy(2000);
    });
}

// SVC-FEED-14
TEST_F(Feeding, MoreThanAHundredComeInBatches) {
    Give(103);
    VirtualTime::Run(0, [&] {
        StartService();
        VirtualTime::AdvanceBy(900);
        // The first batch stands in the queue.
        EXPECT_EQ(database.getTaskAllItem.Calls(), 1);
        VirtualTime::AdvanceBy(9000);
    });
    EXPECT_EQ(ScriptedPool::Queued().size(), 103u);
    EXPECT_EQ(world.TaskCount(), 0);
}

// SVC-FEED-15
TEST_F(Feeding, AReportDuringAFetchIsNotUndoneByItsEnd) {
    database.getTaskAllItem.Next(
        [&](std::vector<Common::TaskItem>& tasks, const std::string&, const std::string&, int) {
            (*(Downloads().*Reach(ReportSlot())))(0);  // a worker begins; the queue is empty at this moment
            Common::TaskItem task;
            task.SetFileId(L"F");
            task.SetDirection(1);
            tasks.push_back(task);
            return 1;
        });
    ScriptedPool::Hold(true);
    VirtualTime::Run(0, [&] {
        StartService();
        VirtualTime::AdvanceBy(3000);
        EXPECT_EQ(DownloadFetches(), (Times{0, 1000, 2000, 3000}));
        ScriptedPool::ReleaseAll();
        VirtualTime::Settle();
    });
}

// SVC-FEED-16
TEST_F(Feeding, AClearingThatThrowsIsTriedAgainASecondLater) {
    database.clearInvalidateTask.NextThrows("locked");
    GiveUpload(L"U", L"u.txt", "content");
    VirtualTime::Run(0, [&] {
        StartService();
        VirtualTime::AdvanceBy(8000);
    });
    EXPECT_EQ(UploadFetches().front(), 6000);
    EXPECT_FALSE(world.HasTask(L"U", 2));
}

// SVC-FEED-17
TEST_F(Feeding, AnUploadFetchThatThrowsSilencesItsFeed) {
    GiveUpload(L"U", L"u.txt", "content");
    database.getTaskAllItem.Always(
        [](std::vector<Common::TaskItem>&, const std::string&, const std::string& direction, int) -> int {
            if (direction == "2") throw std::runtime_error("broken");
            return 0;
        });
    VirtualTime::Run(0, [&] {
        StartService();
        VirtualTime::AdvanceBy(60000);
    });
    EXPECT_EQ(UploadFetches(), (Times{5000}));
    EXPECT_EQ(database.clearInvalidateTask.Calls(), 1);
    EXPECT_TRUE(world.HasTask(L"U", 2));
}

// SVC-FEED-18
TEST_F(Feeding, AThumbnailFetchThatThrowsIsTriedAgainASecondLater) {
    database.getThumbnailFileDownLoadTask.NextThrows("locked");
    VirtualTime::Run(0, [&] {
        StartService();
        VirtualTime::AdvanceBy(1000);
    });
    EXPECT_EQ(Journal::Times(Kind::Database, "GetThumbnailFileDownLoadTask(100)"), (Times{0, 1000}));
}

// SVC-FEED-19
TEST_F(Feeding, AFilledThumbnailQueueIsSignalledEverySecond) {
    VirtualTime::Run(0, [&] {
        StartService();
        VirtualTime::AdvanceBy(500);
        (*(Service().*Reach(ThumbnailRows()))).push({{L"fileId", L"P"}});  // nobody is told
        VirtualTime::AdvanceBy(400);
        EXPECT_EQ(ScriptedPool::Queued().size(), 0u);
        VirtualTime::AdvanceBy(100);
        EXPECT_EQ(ScriptedPool::Queued().size(), 1u);
    });
}

// SVC-FEED-20
TEST_F(Feeding, AThumbnailFetchWaitsBehindAPassOfTheDispatcher) {
    database.getThumbnailFileDownLoadTask.Next([](std::list<WMap>& rows, int) {
        rows.push_back({{L"fileId", L"P"}});
        return 1;
    });
    VirtualTime::Run(0, [&] {
        StartService();
        VirtualTime::AdvanceBy(2500);
    });
    // Handed over at 0 with 100 of pause, and a second of pause at the end of the pass.
    EXPECT_EQ(Journal::Times(Kind::Database, "GetThumbnailFileDownLoadTask(100)"), (Times{0, 1100, 2000}));
}

// SVC-FEED-21
TEST_F(Feeding, TheTwoDirectionsDoNotHoldEachOtherUp) {
    database.getTaskAllItem.Next([](std::vector<Common::TaskItem>&, const std::string&, const std::string&, int) {
        VirtualTime::Pause(60000);
        return 0;
    });
    GiveUpload(L"U", L"u.txt", "content");
    VirtualTime::Run(0, [&] {
        StartService();
        VirtualTime::AdvanceBy(8000);
    });
    EXPECT_EQ(DownloadFetches(), (Times{0}));
    EXPECT_FALSE(world.HasTask(L"U", 2));
}

// SVC-FEED-22
TEST_F(Feeding, ThumbnailRowsAreHandedOverWholeAndInTheirOrder) {
    for (const wchar_t* id : {L"A", L"B"}) {
        Common::FileItem picture = world.File(id, std::wstring(L"dir\\") + id, 5, 1);
        picture.SetThunbnailDownloadLink(std::wstring(L"http://proxy/") + id);
        world.Put(picture);
        world.Sql({"INSERT INTO T_task (fileId, direction) VALUES ('" + Narrow(id) + "', 3)"});
    }
    ScriptedPool::Hold(true);
    VirtualTime::Run(0, [&] {
        StartService();
        VirtualTime::AdvanceBy(500);
        ASSERT_EQ(ScriptedPool::Held().size(), 2u);
        WMap& first = *static_cast<WMap*>(ScriptedPool::Held()[0].argument);
        EXPECT_EQ(first[L"fileId"], L"A");
        EXPECT_EQ(first[L"localFileName"], L"A");
        EXPECT_EQ(first[L"localParentFolder"], L"dir\\");
        EXPECT_EQ(first[L"thunbnailDownloadLink"], L"http://proxy/A");
        ScriptedPool::ReleaseAll();
        VirtualTime::AdvanceBy(100);
    });
}

}  // namespace
}  // namespace Drive::Testing
