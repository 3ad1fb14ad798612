#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <new>

#include "interfaces/common/task_item.h"
#include "service/feeding_state.h"
#include "tests/support/engine_bench.h"
#include "tests/support/private_access.h"

namespace {

/// Bytes of the allocations that are refused; 0 for none.
std::atomic<std::size_t> refused{0};

}  // namespace

// This program's own allocation: what a dispatcher copies for its worker can be made to fail. Inlined, the pair would
// look mismatched to an optimising compiler.
[[gnu::noinline]] void* operator new(std::size_t size) {
    if (size == refused.load()) throw std::bad_alloc();
    if (void* memory = std::malloc(size)) return memory;
    throw std::bad_alloc();
}
[[gnu::noinline]] void operator delete(void* memory) noexcept { std::free(memory); }
[[gnu::noinline]] void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }

namespace Drive::Testing {

using Drive::TransferService::TaskSemaphore;
using Drive::TransferService::TransferTaskService;

struct SlotsNow {
    using Type = int TaskSemaphore::*;
    friend Type Reach(SlotsNow);
};
template <class Item>
using Queue =
    Drive::TransferService::NeverDestroyed<Drive::TransferService::ConcurrentQueue<Item>> TransferTaskService::*;
struct ThumbnailsQueued {
    using Type = Queue<WMap>;
    friend Type Reach(ThumbnailsQueued);
};
struct DownloadsQueued {
    using Type = Queue<Drive::Common::TaskItem>;
    friend Type Reach(DownloadsQueued);
};
struct UploadsQueued {
    using Type = Queue<Drive::Common::TaskItem>;
    friend Type Reach(UploadsQueued);
};

template struct PrivateMember<SlotsNow, &TaskSemaphore::count>;
template struct PrivateMember<ThumbnailsQueued, &TransferTaskService::thumbnailQueue>;
template struct PrivateMember<DownloadsQueued, &TransferTaskService::downloadQueue>;
template struct PrivateMember<UploadsQueued, &TransferTaskService::uploadQueue>;

namespace {

class WithoutMemory : public EngineBench {
protected:
    template <class Tag>
    auto& Waiting(Tag tag) {
        return *(Service().*Reach(tag));
    }
    /// A text whose copy needs an allocation of a size that nothing else asks for.
    static std::wstring Telltale() { return std::wstring(30011, L'x'); }
    static void RefuseCopiesOfIt() { refused = (Telltale().size() + 1) * sizeof(wchar_t); }
    static int Free(TransferService::NeverDestroyed<TaskSemaphore>& slots) { return (*slots).*Reach(SlotsNow()); }
};

// SVC-DISP-11
TEST_F(WithoutMemory, ATaskThatCannotBeCopiedGivesItsSlotBackAndIsDropped) {
    VirtualTime::Run(0, [&] {
        StartService();
        VirtualTime::AdvanceBy(500);
        Common::TaskItem task;
        task.SetFragmentInfo(Telltale());
        Waiting(DownloadsQueued()).push(task);
        Waiting(UploadsQueued()).push(task);
        RefuseCopiesOfIt();
        VirtualTime::AdvanceBy(500);
        refused = 0;
        EXPECT_TRUE(Waiting(DownloadsQueued()).empty());
        EXPECT_TRUE(Waiting(UploadsQueued()).empty());
        EXPECT_EQ(ScriptedPool::Queued().size(), 0u);
        EXPECT_EQ(Free(TransferService::downloadSemaphore), 3);
        EXPECT_EQ(Free(TransferService::uploadSemaphore), 3);
    });
}

// SVC-DISP-12
TEST_F(WithoutMemory, AThumbnailThatCannotBeCopiedIsANullForItsWorkerWhichSaysSoAndKeepsTheSlot) {
    VirtualTime::Run(0, [&] {
        StartService();
        VirtualTime::AdvanceBy(500);
        Waiting(ThumbnailsQueued()).push({{L"fileId", Telltale()}});
        RefuseCopiesOfIt();
        VirtualTime::AdvanceBy(600);  // signalled by the feed at 1000
        refused = 0;
        ASSERT_EQ(ScriptedPool::Queued().size(), 1u);
        EXPECT_EQ(ScriptedPool::Queued()[0].argument, nullptr);
        VirtualTime::Settle();
    });
    EXPECT_TRUE(Journal::Has(
        Kind::Error, "TransferService::DownLoadTaskManger|DownloadThumbnailThreadFunc|the input parameter is Null!!!"));
    EXPECT_EQ(Free(TransferService::thumbnailSemaphore), 9);
}

}  // namespace
}  // namespace Drive::Testing
