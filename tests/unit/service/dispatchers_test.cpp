#include <gtest/gtest.h>

#include <atomic>

#include "service/feeding_state.h"
#include "tests/support/engine_bench.h"
#include "tests/support/private_access.h"
#include "upload/upload_task_manager.h"

namespace Drive::Testing {

using Drive::Common::TaskItem;
using Drive::TransferService::ConcurrentQueue;
using Drive::TransferService::NeverDestroyed;
using Drive::TransferService::TransferTaskService;

struct PrioritiesToDispatch {
    using Type = NeverDestroyed<ConcurrentQueue<TaskItem>> TransferTaskService::*;
    friend Type Reach(PrioritiesToDispatch);
};
struct UploadsToDispatch {
    using Type = NeverDestroyed<ConcurrentQueue<TaskItem>> TransferTaskService::*;
    friend Type Reach(UploadsToDispatch);
};
struct PrioritySignal {
    using Type = NeverDestroyed<Platform::ConditionVariable> TransferTaskService::*;
    friend Type Reach(PrioritySignal);
};

template struct PrivateMember<PrioritiesToDispatch, &TransferTaskService::priorityQueue>;
template struct PrivateMember<UploadsToDispatch, &TransferTaskService::uploadQueue>;
template struct PrivateMember<PrioritySignal, &TransferTaskService::priorityCondition>;

namespace {

using TransferService::DownLoadTaskManger;
using TransferService::UpLoadTaskManger;
using Times = std::vector<std::int64_t>;

class Dispatching : public EngineBench {
protected:
    void GivePictures(int count) {
        database.getThumbnailFileDownLoadTask.Next([count](std::list<WMap>& rows, int) {
            for (int i = 0; i < count; ++i) rows.push_back({{L"fileId", L"P" + std::to_wstring(i)}});
            return count;
        });
    }
    template <class Tag>
    auto& Waiting(Tag tag) {
        return *(Service().*Reach(tag));
    }
    /// Tasks of no file, as a fetch on demand would queue them.
    void PushPriorities(int count) {
        for (int i = 0; i < count; ++i) {
            Common::TaskItem task;
            task.SetDirection(1);
            task.SetTransferKey(2);
            task.SetFileId(L"none");
            Waiting(PrioritiesToDispatch()).push(task);
        }
        Waiting(PrioritySignal()).notify_one();
    }
    static Times HandOvers() { return Journal::Times(Kind::Pool, "QueueUserWorkItem("); }
};

// SVC-DISP-01
TEST_F(Dispatching, RunsAsManyDownloadsAsThereAreSlotsAndKeepsTheNextOnePopped) {
    for (int i = 0; i < 100; ++i) GivePlain(L"F" + std::to_wstring(i), L"f" + std::to_wstring(i), "content");
    cloud.getDownloadAddressInfo.Takes(60000);
    VirtualTime::Run(0, [&] {
        StartService();
        VirtualTime::AdvanceBy(30000);
        EXPECT_EQ(Downloads().getDownloadingTaskCount(), 3);
        EXPECT_EQ(HandOvers(), (Times{1000, 1000, 1000}));
        // A slot that comes back is used at once, not at the next look at the queue.
        VirtualTime::AdvanceBy(31000);
        EXPECT_EQ(HandOvers().size(), 6u);
        EXPECT_EQ(HandOvers()[3], 61000);
    });
}

// SVC-DISP-02
TEST_F(Dispatching, HandsAHeapCopyToTheWorkerOfItsKindWithFlagsZero) {
    GivePlain(L"F", L"f.txt", "content");
    GiveUpload(L"U", L"u.txt", "content");
    GivePictures(1);
    ScriptedPool::Hold(true);
    VirtualTime::Run(0, [&] {
        StartService();
        VirtualTime::AdvanceBy(7000);
        const std::vector<ScriptedPool::Item> held = ScriptedPool::Held();
        ASSERT_EQ(held.size(), 3u);
        EXPECT_EQ(held[0].routine, &DownLoadTaskManger::DownloadThumbnailThreadFunc);
        EXPECT_EQ((*static_cast<WMap*>(held[0].argument))[L"fileId"], L"P0");
        EXPECT_EQ(held[1].routine, &DownLoadTaskManger::DownloadThreadFunc);
        EXPECT_EQ(static_cast<Common::TaskItem*>(held[1].argument)->GetFileId(), L"F");
        EXPECT_EQ(held[2].routine, &UpLoadTaskManger::UploadThreadFunc);
        EXPECT_EQ(static_cast<Common::TaskItem*>(held[2].argument)->GetFileId(), L"U");
        for (const ScriptedPool::Item& item : held) EXPECT_EQ(item.flags, 0u);
        ScriptedPool::ReleaseAll();
        VirtualTime::AdvanceBy(1000);
    });
}

// SVC-DISP-03
TEST_F(Dispatching, StartsAtMostTenThumbnailsASecond) {
    GivePictures(30);
    VirtualTime::Run(0, [&] {
        StartService();
        VirtualTime::AdvanceBy(950);
        EXPECT_EQ(HandOvers().size(), 10u);
        EXPECT_EQ(HandOvers()[1] - HandOvers()[0], 100);
    });
}

// SVC-DISP-04
TEST_F(Dispatching, ARefusedWorkItemCostsItsSlot) {
    for (int i = 0; i < 3; ++i) GivePlain(L"F" + std::to_wstring(i), L"f" + std::to_wstring(i), "content", i);
    cloud.getDownloadAddressInfo.Takes(5000);
    ScriptedPool::FailNext(2);
    VirtualTime::Run(0, [&] {
        StartService();
        VirtualTime::AdvanceBy(1500);
        EXPECT_EQ(Downloads().getDownloadingTaskCount(), 1);  // the third; two slots are gone for good
        GivePlain(L"F8", L"f8", "content");
        GivePlain(L"F9", L"f9", "content");
        VirtualTime::AdvanceBy(60000);
        // The one slot that is left serves one after the other.
        const Times starts = Journal::Times(Kind::Trace, "DownLoadTaskManger.downLoadTask.Begin.");
        ASSERT_EQ(starts.size(), 3u);
        EXPECT_GE(starts[1], starts[0] + 5000);
        EXPECT_GE(starts[2], starts[1] + 5000);
    });
}

// SVC-DISP-05
TEST_F(Dispatching, PriorityPassKeepsCallersWaitingForASecond) {
    GivePlain(L"busy", L"busy.txt", "content");
    GivePlain(L"first", L"first.txt", "content");
    GivePlain(L"second", L"second.txt", "content");
    ScriptedPool::Hold(true);
    cloud.getDownloadAddressInfo.Takes(600000);
    VirtualTime::Run(0, [&] {
        StartService();
        VirtualTime::AdvanceBy(1000);
        ScriptedPool::ReleaseOne();
        VirtualTime::Settle();
        ASSERT_EQ(Downloads().getDownloadingTaskCount(), 1);
        TransferService::DOWNLOADTASK_CONTEXT job;
        job.fileSize = 7;
        job.transferKey = 2;
        job.fileId = L"first";
        job.localFilePath = world.Path(L"first.txt");
        Service().executeFetchData(job);
        VirtualTime::Settle();  // handed over; the pause of the pass has begun
        const std::int64_t begun = VirtualTime::Now();
        job.fileId = L"second";
        job.localFilePath = world.Path(L"second.txt");
        Service().executeFetchData(job);
        EXPECT_EQ(VirtualTime::Now() - begun, 1000);
    });
}

// SVC-DISP-06
TEST_F(Dispatching, PollingDispatcherLooksAtItsQueueOnceASecond) {
    VirtualTime::Run(0, [&] {
        StartService();
        VirtualTime::AdvanceBy(1500);
        GivePlain(L"F", L"f.txt", "content");
        VirtualTime::AdvanceBy(2000);
    });
    EXPECT_EQ(Journal::Times(Kind::Sleep, "1000").front(), 0);
    EXPECT_EQ(HandOvers().size(), 1u);
    EXPECT_EQ(HandOvers()[0] % 1000, 0);
}

// SVC-DISP-06
TEST_F(Dispatching, UploadDispatcherLooksAtItsQueueOnceASecond) {
    VirtualTime::Run(0, [&] {
        StartService();
        VirtualTime::AdvanceBy(2500);
        Waiting(UploadsToDispatch()).push(Common::TaskItem());
        VirtualTime::AdvanceBy(499);
        EXPECT_EQ(HandOvers().size(), 0u);
        VirtualTime::AdvanceBy(1);
        EXPECT_EQ(HandOvers().size(), 1u);
    });
}

// SVC-DISP-07
TEST_F(Dispatching, APriorityPassHandsEverythingOverThatWaitsAndThenPauses) {
    ScriptedPool::Hold(true);
    VirtualTime::Run(0, [&] {
        StartService();
        VirtualTime::AdvanceBy(500);
        PushPriorities(3);
        VirtualTime::Settle();
        EXPECT_EQ(HandOvers(), (Times{500, 500, 500}));
        PushPriorities(1);
        VirtualTime::AdvanceBy(999);
        EXPECT_EQ(HandOvers().size(), 3u);
        VirtualTime::AdvanceBy(1);
        EXPECT_EQ(HandOvers().size(), 4u);
    });
}

// SVC-DISP-08
TEST_F(Dispatching, APriorityDispatcherThatWaitsForASlotKeepsCallersWaiting) {
    GivePlain(L"busy", L"busy.txt", "content");
    cloud.getDownloadAddressInfo.Takes(600000);
    VirtualTime::Run(0, [&] {
        StartService();
        ASSERT_TRUE(VirtualTime::RunUntil([&] { return Downloads().getDownloadingTaskCount() == 1; }, 60000));
        ScriptedPool::Hold(true);
        PushPriorities(6);  // of five slots
        VirtualTime::Settle();
        std::atomic<bool> returned{false};
        VirtualTime::Start("fetcher", [&] {
            TransferService::DOWNLOADTASK_CONTEXT job;
            job.localFilePath = world.Path(L"nowhere.txt");
            job.transferKey = 2;
            Service().executeFetchData(job);
            returned = true;
        });
        VirtualTime::AdvanceBy(60000);
        EXPECT_FALSE(returned);
        (*TransferService::prioritySemaphore).release();
        VirtualTime::AdvanceBy(1000);
        EXPECT_TRUE(returned);
    });
}

// SVC-DISP-09
TEST_F(Dispatching, ThumbnailsWaitForASlotAndGoOnWhenOneComesBack) {
    GivePictures(12);
    ScriptedPool::Hold(true);
    VirtualTime::Run(0, [&] {
        StartService();
        VirtualTime::AdvanceBy(60000);
        EXPECT_EQ(HandOvers().size(), 10u);
        (*TransferService::thumbnailSemaphore).release();
        VirtualTime::Settle();
        EXPECT_EQ(HandOvers().size(), 11u);
        EXPECT_EQ(HandOvers().back(), 60000);
    });
}

// SVC-DISP-04
TEST_F(Dispatching, ARefusedThumbnailCostsItsSlotToo) {
    GivePictures(11);
    ScriptedPool::FailNext(10);
    VirtualTime::Run(0, [&] {
        StartService();
        VirtualTime::AdvanceBy(60000);
    });
    EXPECT_EQ(HandOvers().size(), 10u);
}

// SVC-DISP-10
TEST_F(Dispatching, WorkersTakeTheirTasksWithTheKeyOfTheirRow) {
    GivePlain(L"F", L"f.txt", "content");
    world.Sql({"UPDATE T_task SET transferKey = 1"});
    ScriptedPool::Hold(true);
    VirtualTime::Run(0, [&] {
        StartService();
        VirtualTime::AdvanceBy(1000);
        ASSERT_EQ(ScriptedPool::Held().size(), 1u);
        EXPECT_EQ(static_cast<Common::TaskItem*>(ScriptedPool::Held()[0].argument)->GetTransferKey(), 1);
        ScriptedPool::ReleaseAll();
        VirtualTime::Settle();
    });
}

}  // namespace
}  // namespace Drive::Testing
