#include <gtest/gtest.h>

#include <cstdlib>
#include <functional>
#include <new>
#include <optional>
#include <string>

#include "interfaces/platform/clock.h"
#include "interfaces/platform/file_calls.h"
#include "interfaces/platform/thread_pool.h"
#include "tests/contract/platform/temporary_folder.h"

namespace {

/// Allocations of this thread until one fails, with all that follow; negative for never.
thread_local int left = -1;

}  // namespace

// Inlined, the pair would look mismatched to an optimising compiler.
[[gnu::noinline]] void* operator new(std::size_t size) {
    if (left == 0) throw std::bad_alloc();
    if (left > 0) --left;
    if (void* memory = std::malloc(size)) return memory;
    throw std::bad_alloc();
}
[[gnu::noinline]] void operator delete(void* memory) noexcept { std::free(memory); }
[[gnu::noinline]] void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }

namespace Drive::Platform {

namespace {

DWORD DoNothing(void*) { return 0; }
void DoNothingAsTask(void*) {}

class WithoutMemory : public ::testing::Test {
protected:
    WithoutMemory() {
        folder.Put("from", "the new content");
        folder.Put("to", "old");
    }

    /// Runs the operation with memory for no allocation, for one, for two and so on until it succeeds; `unchanged` is
    /// asked after each failure. Returns how often it failed.
    int UntilItSucceeds(const std::function<bool()>& operation, const std::function<bool()>& unchanged) {
        for (int most = 0; most < 100; ++most) {
            left = most;
            const bool done = operation();
            left = -1;
            if (done) return most;
            EXPECT_TRUE(unchanged()) << "memory for " << most;
        }
        ADD_FAILURE() << "never succeeds";
        return -1;
    }

    bool NothingChanged() {
        return folder.Get("to") == "old" && folder.Get("from") == "the new content" && folder.CountEntries() == 2 &&
               OpenHandleCount() == 0;
    }

    const Testing::TemporaryFolder folder;
};

}  // namespace

// PLAT-FAULT-14
TEST_F(WithoutMemory, AHandleIsStillRefusedOrClosed) {
    const std::wstring path = folder.Engine("to");
    left = 0;
    const bool refused = CloseHandle(reinterpret_cast<HANDLE>(std::uintptr_t{64})) == 0;
    char byte = 0;
    const bool unread = ReadAt(kInvalidHandle, 0, &byte, 1) == -1;
    left = -1;
    EXPECT_TRUE(refused);
    EXPECT_TRUE(unread);

    const HANDLE handle =
        CreateFileW(path.c_str(), kGenericRead | kGenericWrite, 7, nullptr, kOpenExisting, 0, nullptr);
    left = 0;
    const bool works = ReadAt(handle, 0, &byte, 1) == 1 && WriteAt(handle, 0, &byte, 1) && SizeOf(handle) == 3 &&
                       SyncToDisk(handle) && CloseHandle(handle) != 0;
    left = -1;
    EXPECT_TRUE(works);
    EXPECT_EQ(OpenHandleCount(), 0u);
}

// PLAT-FAULT-13
TEST_F(WithoutMemory, AnOpenMakesNothing) {
    const std::wstring path = folder.Engine("new");
    for (const DWORD access : {kGenericWrite, kFileReadAttributes}) {
        HANDLE handle = nullptr;
        const auto open = [&] {
            handle = CreateFileW(path.c_str(), access, 7, nullptr, kOpenAlways, 0, nullptr);
            return handle != kInvalidHandle;
        };
        EXPECT_GE(UntilItSucceeds(open, [&] { return NothingChanged(); }), 2);
        EXPECT_TRUE(CloseHandle(handle));
        std::filesystem::remove(folder.Native("new"));
    }
}

// PLAT-FAULT-13
TEST_F(WithoutMemory, ACopyLeavesTheTargetAsItWas) {
    const std::wstring from = folder.Engine("from"), to = folder.Engine("to");
    const auto copy = [&] { return CopyFileW(from.c_str(), to.c_str(), 0) != 0; };
    EXPECT_GE(UntilItSucceeds(copy, [&] { return NothingChanged(); }), 2);
    EXPECT_EQ(folder.Get("to"), "the new content");
    EXPECT_EQ(folder.CountEntries(), 2u);
}

// PLAT-FAULT-13
TEST_F(WithoutMemory, TheSpaceOfADiskIsNotTold) {
    const std::wstring path = folder.Engine("");
    DiskBytes free = 77;
    const auto ask = [&] { return GetDiskFreeSpaceExW(path.c_str(), nullptr, nullptr, &free) != 0; };
    EXPECT_GE(UntilItSucceeds(ask, [&] { return free == 77; }), 1);
}

// PLAT-FAULT-13
TEST_F(WithoutMemory, NeitherAWorkerNorATaskIsTaken) {
    const auto nothingRuns = [] { return RunningWorkCount() == 0; };
    EXPECT_GE(UntilItSucceeds([] { return QueueUserWorkItem(&DoNothing, nullptr, 0) != 0; }, nothingRuns), 1);
    EXPECT_GE(UntilItSucceeds([] { return StartTaskThread(&DoNothingAsTask, nullptr); },
                              [] {
                                  for (int round = 0; round < 3000 && RunningWorkCount() != 0; ++round) Sleep(10);
                                  return RunningWorkCount() == 0;
                              }),
              1);
}

}  // namespace Drive::Platform
