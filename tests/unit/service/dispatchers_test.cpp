#include <gtest/gtest.h>

#include "tests/support/engine_bench.h"
#include "upload/upload_task_manager.h"

namespace Drive::Testing {
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

}  // namespace
}  // namespace Drive::Testing
