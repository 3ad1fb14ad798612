#include <gtest/gtest.h>

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

}  // namespace
}  // namespace Drive::Testing
