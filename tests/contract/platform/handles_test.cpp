#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <thread>
#include <vector>

#include "interfaces/platform/file_calls.h"
#include "tests/contract/platform/handles.h"

namespace Drive::Platform {

// PLAT-HANDLE-01
TEST_F(Handles, NoneAndTheInvalidValueCannotBeClosed) {
    EXPECT_FALSE(CloseHandle(nullptr));
    EXPECT_FALSE(CloseHandle(kInvalidHandle));
    EXPECT_FALSE(IsOpenHandle(nullptr));
    EXPECT_FALSE(IsOpenHandle(kInvalidHandle));
}

// PLAT-HANDLE-02
TEST_F(Handles, AnUnknownHandleCannotBeClosed) {
    int local = 0;
    EXPECT_FALSE(CloseHandle(&local));
    for (std::uintptr_t number = 1; number < 64; ++number) EXPECT_FALSE(CloseHandle(reinterpret_cast<HANDLE>(number)));
}

// PLAT-HANDLE-03
TEST_F(Handles, AreClosedOnceOnly) {
    const HANDLE handle = Open();
    EXPECT_TRUE(CloseHandle(handle));
    EXPECT_FALSE(CloseHandle(handle));
}

// PLAT-HANDLE-04
TEST_F(Handles, AreNeverARawDescriptor) {
    const HANDLE handle = Open();
    EXPECT_GT(reinterpret_cast<std::uintptr_t>(handle), 65536u);
    CloseHandle(handle);
}

// PLAT-HANDLE-05
TEST_F(Handles, AStaleOneIsRefusedAlthoughOthersWereOpenedSince) {
    const HANDLE stale = Open();
    CloseHandle(stale);
    std::vector<HANDLE> later;
    for (int count = 0; count < 500; ++count) {
        later.push_back(Open());
        ASSERT_NE(later.back(), stale);
    }
    char byte = 0;
    EXPECT_EQ(ReadAt(stale, 0, &byte, 1), -1);
    EXPECT_FALSE(WriteAt(stale, 0, "x", 1));
    EXPECT_EQ(SizeOf(stale), -1);
    EXPECT_FALSE(SyncToDisk(stale));
    EXPECT_FALSE(CloseHandle(stale));
    for (const HANDLE handle : later) EXPECT_TRUE(CloseHandle(handle));
}

// PLAT-HANDLE-06
TEST_F(Handles, AreCountedWhileOpen) {
    const std::size_t before = OpenHandleCount();
    const HANDLE first = Open();
    const HANDLE second = Open();
    EXPECT_EQ(OpenHandleCount(), before + 2);
    CloseHandle(first);
    EXPECT_EQ(OpenHandleCount(), before + 1);
    CloseHandle(second);
    EXPECT_EQ(OpenHandleCount(), before);
}

// PLAT-HANDLE-09
TEST_F(Handles, AHandleClosedUnderAReaderNeverReadsAnotherFile) {
    folder.Put("other", "OTHER!!");
    std::atomic<bool> stop{false};
    std::atomic<HANDLE> shared{Open()};
    std::thread reader([&] {
        while (!stop) {
            char content[7] = {};
            const std::int64_t count = ReadAt(shared, 0, content, sizeof(content));
            if (count > 0) {
                EXPECT_EQ(std::string(content, sizeof(content)), "content");
            }
        }
    });
    // Many rounds, but a busy machine may need long for each.
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(3);
    for (int round = 0; round < 2000 && std::chrono::steady_clock::now() < end; ++round) {
        CloseHandle(shared);
        // Takes the descriptor that has just become free.
        const HANDLE other =
            CreateFileW(folder.Engine("other").c_str(), kGenericRead, 1, nullptr, kOpenExisting, 0, nullptr);
        shared = Open();
        CloseHandle(other);
    }
    stop = true;
    reader.join();
    CloseHandle(shared);
}

// PLAT-HANDLE-11
TEST_F(Handles, OfTwoThreadsThatCloseTheSameOneExactlyOneDoes) {
    const std::size_t before = OpenHandleCount();
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(200);
    std::atomic<HANDLE> shared{nullptr};
    std::atomic<int> arrived{0};
    std::atomic<int> closed{0};
    // Neither sleeps, so that both go on at the same moment.
    const auto meet = [&](int count) {
        for (++arrived; arrived < count;) std::this_thread::yield();
    };
    const auto closeShared = [&](int round) {
        meet(4 * round - 2);
        const bool more = shared != nullptr;
        if (more && CloseHandle(shared)) ++closed;
        meet(4 * round);
        return more;
    };
    std::thread other([&] {
        for (int round = 1; closeShared(round); ++round) {
        }
    });
    int rounds = 0;
    do {
        shared = std::chrono::steady_clock::now() < end && rounds < 10000 ? Open() : nullptr;
    } while (closeShared(++rounds));
    other.join();
    EXPECT_EQ(closed, rounds - 1);
    EXPECT_EQ(OpenHandleCount(), before);
}

// PLAT-HANDLE-10
TEST_F(Handles, ManyThreadsMayOpenAndCloseAtOnce) {
    const std::size_t before = OpenHandleCount();
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(3);
    std::vector<std::thread> threads;
    for (int index = 0; index < 8; ++index) {
        threads.emplace_back([&] {
            for (int round = 0; round < 200 && std::chrono::steady_clock::now() < end; ++round) {
                const HANDLE handle = Open();
                char byte = 0;
                EXPECT_EQ(ReadAt(handle, 3, &byte, 1), 1);
                EXPECT_EQ(byte, 't');
                EXPECT_TRUE(CloseHandle(handle));
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(OpenHandleCount(), before);
}

}  // namespace Drive::Platform
