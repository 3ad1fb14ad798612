#include "tests/support/virtual_time.h"

#include "tests/support/kernel.h"
#include "tests/support/untraced.h"

namespace Drive::Testing {

namespace {

std::int64_t wallBase = 1700000000;

}  // namespace

void VirtualTime::Run(std::uint64_t seed, const std::function<void()>& body) {
    VirtualOptions options;
    options.seed = seed;
    Run(options, body);
}

void VirtualTime::Run(const VirtualOptions& options, const std::function<void()>& body) {
    struct Ending {
        ~Ending() {
            Untraced hidden;
            Kernel::Get().End();
        }
    };
    {
        Untraced hidden;
        wallBase = options.wallClock;
        Kernel::Get().Begin(options);
    }
    Ending ending;
    body();
}

bool VirtualTime::Active() {
    Untraced hidden;
    return Kernel::Get().Active();
}

std::int64_t VirtualTime::Now() {
    Untraced hidden;
    return Kernel::Get().Now();
}

void VirtualTime::AdvanceBy(std::int64_t milliseconds) {
    Untraced hidden;
    Kernel::Get().Advance(milliseconds);
}

bool VirtualTime::RunUntil(const std::function<bool()>& condition, std::int64_t limitMilliseconds) {
    Untraced hidden;
    return Kernel::Get().Watch(condition, limitMilliseconds);
}

bool VirtualTime::Drain(std::int64_t limitMilliseconds) {
    return RunUntil([] { return LiveThreads() == 0; }, limitMilliseconds);
}

void VirtualTime::SetWallClock(std::int64_t secondsSinceEpoch) {
    Untraced hidden;
    wallBase = secondsSinceEpoch - Kernel::Get().Now() / 1000;
}

std::int64_t VirtualTime::WallClock() {
    Untraced hidden;
    return wallBase + Kernel::Get().Now() / 1000;
}

int VirtualTime::LiveThreads() {
    Untraced hidden;
    return Kernel::Get().Live();
}

std::vector<ThreadState> VirtualTime::Threads() {
    Untraced hidden;
    return Kernel::Get().Threads();
}

std::string VirtualTime::Dump() {
    Untraced hidden;
    return Kernel::Get().Dump();
}

std::uint64_t VirtualTime::Switches() {
    Untraced hidden;
    return Kernel::Get().Switches();
}

std::string VirtualTime::ThreadName() {
    Untraced hidden;
    const VirtualThread* thread = Kernel::Self();
    return thread == nullptr ? "outside" : thread->name;
}

void VirtualTime::Yield() {
    Untraced hidden;
    if (!Kernel::Get().Active()) return;
    Visitor visitor;
    Kernel::Get().Yield();
}

void VirtualTime::MaybeYield() {
    Untraced hidden;
    if (Kernel::Self() != nullptr && Kernel::Get().Active()) Kernel::Get().MaybeYield();
}

void VirtualTime::KeepBaton(bool on) {
    Untraced hidden;
    if (VirtualThread* thread = Kernel::Self()) thread->unbroken = on;
}

void VirtualTime::Pause(std::int64_t milliseconds) {
    Untraced hidden;
    if (!Kernel::Get().Active()) return;
    Visitor visitor;
    Kernel::Get().Sleep(milliseconds);
}

std::uint64_t VirtualTime::Random(std::uint64_t bound) {
    Untraced hidden;
    return Kernel::Get().Random(bound);
}

void VirtualTime::Start(const std::string& name, std::function<void()> body) {
    Untraced hidden;
    Kernel::Get().Launch(name, std::move(body));
}

}  // namespace Drive::Testing
