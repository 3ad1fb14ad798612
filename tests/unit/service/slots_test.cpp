#include <gtest/gtest.h>

#include <atomic>

#include "service/feeding_state.h"
#include "tests/support/engine_bench.h"
#include "tests/support/private_access.h"
#include "upload/upload_task_manager.h"

namespace Drive::Testing {

using Drive::TransferService::DownLoadTaskManger;
using Drive::TransferService::NeverDestroyed;
using Drive::TransferService::TaskSemaphore;
using Drive::TransferService::TransferTaskService;
using Drive::TransferService::UpLoadTaskManger;

struct SlotCallback {
    using Type = NeverDestroyed<DownLoadTaskManger::SemaphoreCallback> DownLoadTaskManger::*;
    friend Type Reach(SlotCallback);
};

struct UploadCallback {
    using Type = UpLoadTaskManger::TaskCallback UpLoadTaskManger::*;
    friend Type Reach(UploadCallback);
};

struct SlotCount {
    using Type = int TaskSemaphore::*;
    friend Type Reach(SlotCount);
};

struct DownloadQueue {
    using Type =
        NeverDestroyed<Drive::TransferService::ConcurrentQueue<Drive::Common::TaskItem>> TransferTaskService::*;
    friend Type Reach(DownloadQueue);
};

struct UploadQueue {
    using Type =
        NeverDestroyed<Drive::TransferService::ConcurrentQueue<Drive::Common::TaskItem>> TransferTaskService::*;
    friend Type Reach(UploadQueue);
};

template struct PrivateMember<SlotCallback, &DownLoadTaskManger::taskSemaphoreCallback>;
template struct PrivateMember<UploadCallback, &UpLoadTaskManger::uploadTaskCallback>;
template struct PrivateMember<SlotCount, &TaskSemaphore::count>;
template struct PrivateMember<DownloadQueue, &TransferTaskService::downloadQueue>;
template struct PrivateMember<UploadQueue, &TransferTaskService::uploadQueue>;

namespace {

using namespace TransferService;

struct Slots {
    int download;
    int priority;
    int thumbnail;
    int upload;

    static Slots Now() {
        const auto count = [](NeverDestroyed<TaskSemaphore>& semaphore) { return (*semaphore).*Reach(SlotCount()); };
        return {count(downloadSemaphore), count(prioritySemaphore), count(thumbnailSemaphore), count(uploadSemaphore)};
    }
};

bool operator==(const Slots& a, const Slots& b) {
    return a.download == b.download && a.priority == b.priority && a.thumbnail == b.thumbnail && a.upload == b.upload;
}

class GivingSlotsBack : public EngineBench {
protected:
    void Report(int key) { (*(Downloads().*Reach(SlotCallback())))(key); }
    void Upload(int kind, int value) { (UpLoadTaskManger::getInstance().*Reach(UploadCallback()))(kind, value); }
    auto& WaitingDownloads() { return *(Service().*Reach(DownloadQueue())); }
    auto& WaitingUploads() { return *(Service().*Reach(UploadQueue())); }

    /// Runs `body` beside a service whose loops have all come to their first wait and never go on.
    void Beside(const std::function<void()>& body) {
        VirtualTime::Run(0, [&] {
            StartService();
            downloadFeedIdle = false;
            uploadFeedIdle = false;
            body();
        });
    }
};

// SVC-SLOT-01
TEST_F(GivingSlotsBack, CountsAtFirstAreThoseOfTheSettings) { EXPECT_TRUE(Slots::Now() == (Slots{3, 5, 10, 3})); }

// SVC-SLOT-19
TEST_F(GivingSlotsBack, IsSetAfterTheDispatchersWereStarted) {
    VirtualTime::Run(0, [&] {
        const Slots before = Slots::Now();
        ScriptedPool::FailTask(4);  // the priority dispatcher
        StartService();
        Report(11);
        EXPECT_TRUE(Slots::Now() == before);
        EXPECT_EQ(Lines({Kind::Callback}).back(), "callback slot(11)");
        EXPECT_FALSE(UpLoadTaskManger::getInstance().*Reach(UploadCallback()));
        Service().stopTransferTaskService();
        VirtualTime::AdvanceBy(2000);
        ScriptedPool::FailTask(5);  // the upload dispatcher
        StartService();
        EXPECT_FALSE(UpLoadTaskManger::getInstance().*Reach(UploadCallback()));
        Report(11);
        EXPECT_TRUE(Slots::Now() == (Slots{before.download + 1, before.priority, before.thumbnail, before.upload}));
    });
}

// SVC-SLOT-02
TEST_F(GivingSlotsBack, KeysOneAndElevenFreeADownloadSlotAndReopenTheFeed) {
    for (const int key : {1, 11}) {
        Beside([&] {
            const Slots before = Slots::Now();
            Report(key);
            EXPECT_TRUE(Slots::Now() == (Slots{before.download + 1, before.priority, before.thumbnail, before.upload}));
            EXPECT_TRUE(downloadFeedIdle);
        });
    }
}

// SVC-SLOT-03
TEST_F(GivingSlotsBack, KeyTwoFreesAPrioritySlotAndReopensTheFeed) {
    Beside([&] {
        Report(2);
        EXPECT_TRUE(Slots::Now() == (Slots{3, 6, 10, 3}));
        EXPECT_TRUE(downloadFeedIdle);
    });
}

// SVC-SLOT-04
TEST_F(GivingSlotsBack, KeyThreeFreesAThumbnailSlotAndLeavesTheFeedAsItWas) {
    Beside([&] {
        Report(3);
        EXPECT_TRUE(Slots::Now() == (Slots{3, 5, 11, 3}));
        EXPECT_FALSE(downloadFeedIdle);
    });
}

// SVC-SLOT-05
TEST_F(GivingSlotsBack, KeyZeroFreesNothingAndReopensTheFeed) {
    Beside([&] {
        Report(0);
        EXPECT_TRUE(Slots::Now() == (Slots{3, 5, 10, 3}));
        EXPECT_TRUE(downloadFeedIdle);
    });
}

// SVC-SLOT-06
TEST_F(GivingSlotsBack, AnyOtherKeyDoesNothingAtAll) {
    Beside([&] {
        for (const int key : {5, 4, -1, 10, 12}) Report(key);
        EXPECT_TRUE(Slots::Now() == (Slots{3, 5, 10, 3}));
        EXPECT_FALSE(downloadFeedIdle);
    });
}

// SVC-SLOT-07
TEST_F(GivingSlotsBack, AReportClosesTheFeedWhileTasksWait) {
    Beside([&] {
        downloadFeedIdle = true;
        WaitingDownloads().push(Common::TaskItem());
        Report(0);
        EXPECT_FALSE(downloadFeedIdle);
        uploadFeedIdle = true;
        WaitingUploads().push(Common::TaskItem());
        Upload(2, 0);
        EXPECT_FALSE(uploadFeedIdle);
    });
}

// SVC-SLOT-08
TEST_F(GivingSlotsBack, EndOfAnUploadFreesItsSlotAndReopensTheFeed) {
    Beside([&] {
        Upload(2, 1);
        EXPECT_TRUE(Slots::Now() == (Slots{3, 5, 10, 4}));
        EXPECT_TRUE(uploadFeedIdle);
    });
}

// SVC-SLOT-09
TEST_F(GivingSlotsBack, BeginOfAnUploadReopensTheFeedAndFreesNothing) {
    for (const int value : {0, 2, -1}) {
        Beside([&] {
            Upload(2, value);
            EXPECT_TRUE(Slots::Now() == (Slots{3, 5, 10, 3}));
            EXPECT_TRUE(uploadFeedIdle);
        });
    }
}

// SVC-SLOT-10
TEST_F(GivingSlotsBack, AnyOtherKindOfUploadEventDoesNothing) {
    Beside([&] {
        for (const int kind : {0, 3, -1}) Upload(kind, 1);
        EXPECT_TRUE(Slots::Now() == (Slots{3, 5, 10, 3}));
        EXPECT_FALSE(uploadFeedIdle);
        EXPECT_EQ(Journal::CountBeginning(Kind::Callback, "notify(2"), 0);
    });
}

// SVC-SLOT-11
TEST_F(GivingSlotsBack, SpaceEventOfAnUploadBecomesAMessageToTheHost) {
    Beside([&] {
        Upload(1, 2);
        EXPECT_EQ(Journal::Count(Kind::Callback, "notify(2, , false)"), 1);
        Upload(1, 3);
        EXPECT_EQ(Journal::Count(Kind::Callback, "notify(3, , false)"), 1);
        Upload(1, 7);
        EXPECT_FALSE(uploadFeedIdle);
    });
}

// SVC-SLOT-15
TEST_F(GivingSlotsBack, ASemaphoreLetsOneThroughPerReleaseAndHasNoUpperBound) {
    TaskSemaphore slots(1);
    std::atomic<int> through{0};
    VirtualTime::Run(0, [&] {
        for (int i = 0; i < 4; ++i) {
            VirtualTime::Start("taker", [&] {
                slots.acquire();
                ++through;
            });
        }
        VirtualTime::Settle();
        EXPECT_EQ(through, 1);
        VirtualTime::AdvanceBy(24 * 3600 * 1000);  // no time-out
        EXPECT_EQ(through, 1);
        slots.release();
        VirtualTime::Settle();
        EXPECT_EQ(through, 2);
        for (int i = 0; i < 50; ++i) slots.release();
        VirtualTime::Settle();
        EXPECT_EQ(through, 4);
        for (int i = 0; i < 48; ++i) slots.acquire();  // all of the rest are there
    });
}

// SVC-SLOT-16
TEST_F(GivingSlotsBack, ASemaphoreThatBeginsBelowZeroNeedsAsManyReleasesMore) {
    TaskSemaphore slots(-1);
    std::atomic<bool> through{false};
    VirtualTime::Run(0, [&] {
        VirtualTime::Start("taker", [&] {
            slots.acquire();
            through = true;
        });
        slots.release();
        VirtualTime::Settle();
        EXPECT_FALSE(through);
        slots.release();
        VirtualTime::Settle();
        EXPECT_TRUE(through);
    });
}

// SVC-SLOT-17
TEST_F(GivingSlotsBack, EveryDownloadThatEndsInAnyWayGivesItsSlotBackOnce) {
    const Slots before = Slots::Now();
    GivePlain(L"well", L"well.txt", "content");
    GivePlain(L"absent", L"absent.txt", "content");
    cloud.files.erase(L"absent");
    GivePlain(L"cancelled", L"cancelled.txt", "content");
    world.Sql({"UPDATE T_task SET TaskStatus = 3 WHERE fileId = 'cancelled'"});
    GivePlain(L"stopped", L"stopped.txt", "content");
    world.Sql({"UPDATE T_task SET TaskStatus = 4 WHERE fileId = 'stopped'"});
    GivePlain(L"thrown", L"thrown.txt", "content");
    host.Always([&](DOWNLOADCALLBACK_CONTEXT& record) -> bool {
        if (record.localFilePath == world.Path(L"thrown.txt")) throw std::runtime_error("host broke");
        return record.event != 4;
    });
    GiveEncrypted(L"retried", L"retried.txt", "content", 7);
    common.getFek.AlwaysReturns(std::string(32, '5'));
    common.writeLocalFileV.Perhaps([&](std::int64_t, const char*, std::size_t,
                                       const std::wstring& path) { return path == world.Path(L"retried.txt"); },
                                   [](std::int64_t, const char*, std::size_t, const std::wstring&) { return false; });
    GivePlain(L"fetch", L"no-placeholder.txt", "content");
    world.Sql({"UPDATE T_task SET transferKey = 1 WHERE fileId = 'fetch'"});
    VirtualTime::Run(0, [&] {
        StartService();
        VirtualTime::AdvanceBy(60000);
    });
    EXPECT_TRUE(Slots::Now() == before);
    EXPECT_EQ(Downloads().getDownloadingTaskCount(), 0);
    EXPECT_EQ(world.TaskCount(), 0);
}

}  // namespace
}  // namespace Drive::Testing
