#include <gtest/gtest.h>

#include <cstdint>

#include "interfaces/common/globals.h"
#include "tests/support/engine_bench.h"

namespace Drive::Testing {
namespace {

__attribute__((constructor(101))) void SetCountsBeforeTheEngineIsLoaded() {
    g_MaxUploadTaskCount = 0;
    g_MaxDownloadTaskCount = 1;
    g_PriorityDownloadTaskLimit = (std::int64_t{1} << 32) + 2;
}

class OtherCounts : public EngineBench {};

// SVC-SLOT-12
TEST_F(OtherCounts, NoUploadSlotBlocksTheDispatcherOnItsFirstTaskForEver) {
    GiveUpload(L"U", L"u.txt", "content");
    VirtualTime::Run(0, [&] {
        StartService();
        VirtualTime::AdvanceBy(120 * 1000);
    });
    EXPECT_EQ(ScriptedPool::Queued().size(), 0u);
    EXPECT_TRUE(world.HasTask(L"U", 2));
}

// SVC-SLOT-13
TEST_F(OtherCounts, OneDownloadSlotRunsOneAfterTheOther) {
    for (int i = 0; i < 3; ++i) GivePlain(L"F" + std::to_wstring(i), L"f" + std::to_wstring(i), "content", i);
    cloud.getDownloadAddressInfo.Takes(2000);
    int most = 0;
    host.Before([&](TransferService::DOWNLOADCALLBACK_CONTEXT&) {
        most = std::max(most, Downloads().getDownloadingTaskCount());
    });
    VirtualTime::Run(0, [&] {
        StartService();
        VirtualTime::AdvanceBy(20000);
    });
    EXPECT_EQ(most, 1);
    EXPECT_EQ(world.TaskCount(), 0);
}

// SVC-SLOT-14
TEST_F(OtherCounts, ACountThatIsChangedAfterLoadingHasNoEffect) {
    g_MaxDownloadTaskCount = 50;
    for (int i = 0; i < 3; ++i) GivePlain(L"F" + std::to_wstring(i), L"f" + std::to_wstring(i), "content", i);
    cloud.getDownloadAddressInfo.Takes(60000);
    VirtualTime::Run(0, [&] {
        StartService();
        VirtualTime::AdvanceBy(10000);
        EXPECT_EQ(Downloads().getDownloadingTaskCount(), 1);
    });
}

// SVC-SLOT-18
TEST_F(OtherCounts, TheLimitOfPriorityDownloadsIsCutToAnInt) {
    for (int i = 0; i < 4; ++i) {
        const std::wstring id = L"P" + std::to_wstring(i);
        world.Put(world.File(id, id, 7, 21));
    }
    GivePlain(L"busy", L"busy.txt", "content");
    cloud.getDownloadAddressInfo.Takes(600000);
    VirtualTime::Run(0, [&] {
        StartService();
        ASSERT_TRUE(VirtualTime::RunUntil([&] { return Downloads().getDownloadingTaskCount() == 1; }, 60000));
        ScriptedPool::Hold(true);
        VirtualTime::Start("fetcher", [&] {
            for (int i = 0; i < 4; ++i) {
                TransferService::DOWNLOADTASK_CONTEXT job;
                job.fileId = L"P" + std::to_wstring(i);
                job.localFilePath = world.Path(job.fileId);
                job.transferKey = 2;
                Service().executeFetchData(job);
            }
        });
        VirtualTime::AdvanceBy(30000);
        EXPECT_EQ(ScriptedPool::Held().size(), 2u);
    });
}

}  // namespace
}  // namespace Drive::Testing
