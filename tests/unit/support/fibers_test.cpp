// What a virtual thread may rely on when it is a fiber: it keeps its own of all that a thread has for itself.
#include <gtest/gtest.h>
#include <pplx/pplxtasks.h>

#include <cerrno>
#include <condition_variable>
#include <exception>
#include <mutex>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/support/virtual_time.h"

namespace Drive::Testing {

namespace {

thread_local int mine = 7;

}  // namespace

TEST(Fibers, EachHasThreadLocalVariablesOfItsOwn) {
    std::vector<int> seen;
    VirtualTime::Run(0, [&] {
        for (int number = 1; number <= 3; ++number) {
            VirtualTime::Start("fiber", [&seen, number] {
                seen.push_back(mine);
                mine = number;
                VirtualTime::Yield();
                seen.push_back(mine);
            });
        }
        EXPECT_TRUE(VirtualTime::Drain(1000));
    });
    EXPECT_EQ(seen, (std::vector<int>{7, 7, 7, 1, 2, 3}));
    EXPECT_EQ(mine, 7);
}

TEST(Fibers, AnExceptionInHandStaysWithTheFiberThatCaughtIt) {
    std::vector<std::string> seen;
    const auto fail = [&seen](const char* what) {
        try {
            throw std::runtime_error(what);
        } catch (const std::exception&) {
            VirtualTime::Yield();
            try {
                throw;
            } catch (const std::exception& again) {
                seen.push_back(again.what());
            }
        }
        EXPECT_EQ(std::current_exception(), nullptr);
    };
    VirtualTime::Run(0, [&] {
        VirtualTime::Start("one", [&] { fail("one"); });
        VirtualTime::Start("other", [&] { fail("other"); });
        EXPECT_TRUE(VirtualTime::Drain(1000));
    });
    EXPECT_EQ(seen, (std::vector<std::string>{"one", "other"}));
}

TEST(Fibers, TheErrorNumberIsTheFibersOwn) {
    std::vector<int> seen;
    VirtualTime::Run(0, [&] {
        for (const int number : {ENOENT, EACCES}) {
            VirtualTime::Start("fiber", [&seen, number] {
                errno = number;
                VirtualTime::Yield();
                seen.push_back(errno);
            });
        }
        EXPECT_TRUE(VirtualTime::Drain(1000));
    });
    EXPECT_EQ(seen, (std::vector<int>{ENOENT, EACCES}));
}

TEST(Fibers, AWaitForATaskOfTheTaskLayerLetsThatTaskRun) {
    std::string read;
    VirtualTime::Run(0, [&] {
        VirtualTime::Start("waits", [&read] {
            read = pplx::create_task([] {
                       VirtualTime::Pause(50);
                       return std::string("done");
                   }).get();
        });
        EXPECT_TRUE(VirtualTime::Drain(1000));
        EXPECT_EQ(VirtualTime::Now(), 50);
    });
    EXPECT_EQ(read, "done");
}

TEST(Fibers, AWaitOnAPlainConditionEndsWithItsSignalAndNotBefore) {
    std::mutex mutex;
    std::condition_variable changed;
    bool ready = false;
    std::int64_t woke = -1;
    VirtualTime::Run(0, [&] {
        VirtualTime::Start("waits", [&] {
            std::unique_lock<std::mutex> lock(mutex);
            changed.wait(lock, [&] { return ready; });
            woke = VirtualTime::Now();
        });
        VirtualTime::Start("signals", [&] {
            VirtualTime::Pause(20);
            changed.notify_all();
            VirtualTime::Pause(20);
            {
                std::lock_guard<std::mutex> lock(mutex);
                ready = true;
            }
            changed.notify_one();
        });
        EXPECT_TRUE(VirtualTime::Drain(1000));
    });
    EXPECT_EQ(woke, 40);
}

TEST(Fibers, AThousandThatEndLeaveRoomForAThousandMore) {
    int ended = 0;
    VirtualTime::Run(1, [&] {
        for (int round = 0; round < 20; ++round) {
            for (int number = 0; number < 100; ++number) {
                VirtualTime::Start("fiber", [&ended] {
                    VirtualTime::Pause(1);
                    ++ended;
                });
            }
            EXPECT_TRUE(VirtualTime::Drain(1000));
        }
    });
    EXPECT_EQ(ended, 2000);
}

}  // namespace Drive::Testing
