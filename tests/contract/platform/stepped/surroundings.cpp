// The surroundings of a suite whose cases all run within one run of virtual time, and the program that begins it.
#include "tests/contract/platform/surroundings.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <functional>
#include <string>

#include "tests/support/virtual_time.h"

namespace Drive::Testing {

namespace {

constexpr std::int64_t kWallClockAtBegin = 1'600'000'000;
constexpr std::int64_t kOneHour = 3'600'000;

}  // namespace

struct CaseThread::Body {
    std::atomic<bool> ended{false};
};

CaseThread::CaseThread(std::function<void()> chosen) : body(new Body) {
    VirtualTime::Start("case", [ended = &body->ended, chosen = std::move(chosen)] {
        chosen();
        *ended = true;
    });
}
CaseThread::CaseThread(CaseThread&&) noexcept = default;

CaseThread::~CaseThread() {
    if (body) Join();
}

void CaseThread::Join() {
    EXPECT_TRUE(VirtualTime::RunUntil([this] { return body->ended.load(); }, kOneHour)) << VirtualTime::Dump();
}

std::int64_t LetTimePass(std::int64_t milliseconds) {
    const std::int64_t before = VirtualTime::Now();
    VirtualTime::AdvanceBy(milliseconds);
    return VirtualTime::Now() - before;
}

std::int64_t WallClock() { return kWallClockAtBegin + VirtualTime::Now() / 1000; }

std::size_t ThreadNumber() { return std::hash<std::string>{}(VirtualTime::ThreadName()); }

}  // namespace Drive::Testing

/// program [googletest's arguments] [seed]. With a seed other than 0 the threads take turns as it decides, and
/// conditions wake without a signal now and then.
int main(int argc, char** argv) {
    using namespace Drive::Testing;
    testing::InitGoogleTest(&argc, argv);
    VirtualOptions options;
    options.seed = argc > 1 ? std::strtoull(argv[1], nullptr, 10) : 0;
    options.switchOneOf = 2;
    options.spuriousOneOf = 3;
    options.wallClock = kWallClockAtBegin;
    int status = 1;
    VirtualTime::Run(options, [&status] { status = RUN_ALL_TESTS(); });
    return status;
}
