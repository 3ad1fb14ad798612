#include "tests/support/kernel.h"

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <sstream>
#include <thread>

#include "tests/support/journal.h"
#include "tests/support/untraced.h"

namespace Drive::Testing {

namespace {

thread_local VirtualThread* self = nullptr;

// What the test thread did is seen by the others, and what they did by the test thread; nothing else is implied.
char fromTest;
char toTest;

void AfterBaton(const VirtualThread* thread) { TakeFrom(thread->test ? &toTest : &fromTest); }
void BeforeBaton(const VirtualThread* thread) { PublishTo(thread->test ? &fromTest : &toTest); }

constexpr int kPatienceMilliseconds = 20;
constexpr int kStuckMilliseconds = 120000;

const char* Describe(Standing standing) {
    switch (standing) {
        case Standing::Running:
            return "running";
        case Standing::Ready:
            return "ready";
        case Standing::Sleeping:
            return "sleeping";
        case Standing::Locking:
            return "waits for a lock";
        case Standing::Waiting:
            return "waits for a condition";
        case Standing::Advancing:
            return "lets time pass";
        case Standing::Watching:
            return "waits for the others";
        case Standing::Outside:
            return "waits outside";
        case Standing::Ended:
            return "ended";
    }
    return "?";
}

}  // namespace

Kernel& Kernel::Get() {
    static auto* kernel = new Kernel;
    return *kernel;
}

VirtualThread* Kernel::Self() { return self; }

bool Kernel::Active() {
    Guard guard(mutex);
    return active;
}

std::int64_t Kernel::Now() {
    Guard guard(mutex);
    return now;
}

std::shared_ptr<VirtualThread> Kernel::Add(const std::string& prefix) {
    auto thread = std::make_shared<VirtualThread>();
    thread->number = nextNumber++;
    thread->name = thread->number == 0 ? "test" : prefix + "-" + std::to_string(thread->number);
    threads.push_back(thread);
    return thread;
}

void Kernel::Remove(VirtualThread* thread) {
    threads.erase(
        std::remove_if(threads.begin(), threads.end(), [&](const auto& each) { return each.get() == thread; }),
        threads.end());
}

void Kernel::Begin(const VirtualOptions& chosen) {
    Guard guard(mutex);
    active = true;
    ++run;
    options = chosen;
    dice.seed(chosen.seed);
    now = 0;
    nextNumber = 0;
    switches = 0;
    threads.clear();
    self = Add("test").get();
    self->test = true;
    self->standing = Standing::Running;
    self->seat = Carrier::SeatOfCaller();
    testThread = current = self;
    watchDue = false;
    Carrier::StartClock([this, mine = run] {
        Untraced hidden;
        Patience(mine);
    });
}

// Whoever is left stays where it is: nobody gives it the baton any more.
void Kernel::End() {
    Guard guard(mutex);
    active = false;
    current = testThread = nullptr;
    self = nullptr;
    static auto* parked = new std::vector<std::shared_ptr<VirtualThread>>;
    parked->insert(parked->end(), threads.begin(), threads.end());
    threads.clear();
}

bool Kernel::Launch(const std::string& prefix, std::function<void()> body) {
    Guard guard(mutex);
    if (!active) {
        Traced seen;
        std::thread(std::move(body)).detach();
        return true;
    }
    std::shared_ptr<VirtualThread> thread = Add(prefix);
    MakeReady(thread.get());
    VirtualThread& made = *thread;
    made.seat = Carrier::Start([this, thread = std::move(thread), body = std::move(body), mine = run]() mutable {
        Body(std::move(thread), std::move(body), mine);
    });
    if (current == nullptr) Schedule();
    return true;
}

void Kernel::Step() {
    const VirtualThread* thread = Self();
    if (thread == nullptr || thread->test || !options.onStep) return;
    options.onStep();
}

void Kernel::Body(std::shared_ptr<VirtualThread> thread, std::function<void()> body, int mine) {
    {
        Untraced hidden;
        self = thread.get();
        Guard guard(mutex);
        thread->seat->Wait(guard, [&] { return run == mine && current == thread.get(); });
    }
    AfterBaton(thread.get());
    body();
    body = nullptr;
    BeforeBaton(thread.get());
    Untraced hidden;
    Step();
    Guard guard(mutex);
    thread->standing = Standing::Ended;
    Remove(thread.get());
    self = nullptr;
    if (current == thread.get()) Schedule();
}

void Kernel::MakeReady(VirtualThread* thread) {
    thread->standing = Standing::Ready;
    thread->deadline = -1;
    thread->waitsFor = nullptr;
    thread->readySince = ++readyCounter;
}

bool Kernel::AnyOutside() const {
    return std::any_of(threads.begin(), threads.end(),
                       [](const auto& thread) { return thread->standing == Standing::Outside; });
}

VirtualThread* Kernel::Pick() {
    if (testThread->standing == Standing::Watching && watchDue) return testThread;
    std::vector<VirtualThread*> ready;
    for (const auto& thread : threads) {
        if (thread->standing == Standing::Ready) ready.push_back(thread.get());
    }
    if (ready.empty()) return nullptr;
    std::sort(ready.begin(), ready.end(), [](auto* a, auto* b) { return a->readySince < b->readySince; });
    return options.seed == 0 ? ready.front() : ready[dice() % ready.size()];
}

// To the earliest deadline; the test thread comes last among equals, so that it sees all that was due.
bool Kernel::MoveTime() {
    std::int64_t earliest = -1;
    for (const auto& thread : threads) {
        if (thread->deadline < 0 || thread->standing == Standing::Ready) continue;
        if (earliest < 0 || thread->deadline < earliest) earliest = thread->deadline;
    }
    if (earliest < 0) return false;
    now = std::max(now, earliest);
    bool others = false;
    for (const auto& thread : threads) {
        if (thread->deadline < 0 || thread->deadline > now || thread->test) continue;
        if (thread->standing == Standing::Ready) continue;
        thread->timedOut = true;
        MakeReady(thread.get());
        others = true;
    }
    const bool testDue = testThread->deadline >= 0 && testThread->deadline <= now;
    if (!others && testDue) {
        testThread->timedOut = true;
        MakeReady(testThread);
    }
    return true;
}

void Kernel::Schedule() {
    current = nullptr;
    VirtualThread* next = Pick();
    while (next == nullptr) {
        if (Carrier::HasOutside() && AnyOutside()) return;  // Patience goes on, or the one outside when it comes back
        if (!MoveTime()) Stuck("every thread waits, and none has a deadline");
        next = Pick();
    }
    watchDue = next != testThread;
    ++switches;
    current = next;
    next->standing = Standing::Running;
    next->deadline = -1;
    next->waitsFor = nullptr;
    next->seat->Wake();
}

void Kernel::Away(Guard& guard, VirtualThread* thread) {
    BeforeBaton(thread);
    Schedule();
    const int mine = run;
    thread->seat->Wait(guard, [&] { return run == mine && current == thread; });
    AfterBaton(thread);
}

void Kernel::Sleep(std::int64_t milliseconds) {
    Step();
    Guard guard(mutex);
    VirtualThread* thread = Self();
    if (milliseconds <= 0) {
        MakeReady(thread);
    } else {
        thread->standing = Standing::Sleeping;
        thread->deadline = now + milliseconds;
    }
    Away(guard, thread);
}

void Kernel::Yield() { Sleep(0); }

void Kernel::MaybeYield() {
    Step();
    {
        Guard guard(mutex);
        if (Self()->unbroken || options.seed == 0 || options.switchOneOf <= 0 || dice() % options.switchOneOf != 0)
            return;
    }
    Yield();
}

void Kernel::Lock(bool& taken) {
    MaybeYield();
    Guard guard(mutex);
    VirtualThread* thread = Self();
    while (taken) {
        thread->standing = Standing::Locking;
        thread->waitsFor = &taken;
        Away(guard, thread);
    }
    taken = true;
}

bool Kernel::TryLock(bool& taken) {
    Guard guard(mutex);
    if (taken) return false;
    taken = true;
    return true;
}

void Kernel::Unlock(bool& taken) {
    Guard guard(mutex);
    taken = false;
    for (const auto& thread : threads) {
        if (thread->standing == Standing::Locking && thread->waitsFor == &taken) MakeReady(thread.get());
    }
    if (active && current == nullptr) Schedule();
}

bool Kernel::Wait(const void* condition, bool& taken, std::int64_t deadline) {
    Step();
    Unlock(taken);
    bool signalled = true;
    {
        Guard guard(mutex);
        VirtualThread* thread = Self();
        // One that has passed is not waited for until nobody else can run.
        thread->timedOut = deadline >= 0 && deadline <= now;
        const bool spurious = options.seed != 0 && options.spuriousOneOf > 0 && dice() % options.spuriousOneOf == 0;
        if (thread->timedOut || spurious) {
            MakeReady(thread);
        } else {
            thread->standing = Standing::Waiting;
            thread->waitsFor = condition;
            thread->deadline = deadline;
        }
        Away(guard, thread);
        signalled = !thread->timedOut;
    }
    Guard guard(mutex);
    VirtualThread* thread = Self();
    while (taken) {
        thread->standing = Standing::Locking;
        thread->waitsFor = &taken;
        Away(guard, thread);
    }
    taken = true;
    return signalled;
}

void Kernel::Signal(const void* condition, bool all) {
    Guard guard(mutex);
    std::vector<VirtualThread*> waiting;
    for (const auto& thread : threads) {
        if (thread->standing == Standing::Waiting && thread->waitsFor == condition) waiting.push_back(thread.get());
    }
    if (waiting.empty()) return;
    if (all) {
        for (VirtualThread* thread : waiting) MakeReady(thread);
    } else {
        MakeReady(options.seed == 0 ? waiting.front() : waiting[dice() % waiting.size()]);
    }
    if (active && current == nullptr) Schedule();
}

void Kernel::Advance(std::int64_t milliseconds) {
    Guard guard(mutex);
    VirtualThread* thread = Self();
    thread->standing = Standing::Advancing;
    thread->deadline = now + milliseconds;
    Away(guard, thread);
}

bool Kernel::Watch(const std::function<bool()>& condition, std::int64_t limit) {
    const std::int64_t deadline = Now() + limit;
    testThread->timedOut = false;
    while (true) {
        {
            Traced seen;
            if (condition()) return true;
        }
        Guard guard(mutex);
        if (testThread->timedOut) return false;
        VirtualThread* thread = Self();
        thread->standing = Standing::Watching;
        thread->deadline = deadline;
        watchDue = false;
        Away(guard, thread);
    }
}

void Kernel::Leave() {
    Guard guard(mutex);
    VirtualThread* thread = Self();
    thread->standing = Standing::Outside;
    BeforeBaton(thread);
    if (current == thread) Schedule();
}

void Kernel::Join() {
    Guard guard(mutex);
    VirtualThread* thread = Self();
    MakeReady(thread);
    if (current == nullptr) Schedule();
    const int mine = run;
    thread->seat->Wait(guard, [&] { return run == mine && current == thread; });
    AfterBaton(thread);
}

void Kernel::WaitOutside(const void* condition) {
    Guard guard(mutex);
    VirtualThread* thread = Self();
    thread->standing = Standing::Outside;
    thread->waitsFor = condition;
    Away(guard, thread);
}

void Kernel::SignalOutside(const void* condition, bool all) {
    Guard guard(mutex);
    for (const auto& thread : threads) {
        if (thread->standing != Standing::Outside || thread->waitsFor != condition) continue;
        MakeReady(thread.get());
        if (!all) return;
    }
}

bool Kernel::Enter() {
    {
        Guard guard(mutex);
        if (!active) return false;
        if (!Carrier::HasOutside()) Stuck("a thread that is none of the run's takes part");
        self = Add("visitor").get();
        self->seat = Carrier::SeatOfCaller();
    }
    Join();
    return true;
}

void Kernel::Exit() {
    BeforeBaton(Self());
    Guard guard(mutex);
    VirtualThread* thread = Self();
    const bool baton = current == thread;
    Remove(thread);
    if (baton) Schedule();
    self = nullptr;
}

// The one real clock of a run: for threads that wait outside, and for a run that hangs for real.
void Kernel::Patience(int mine) {
    std::uint64_t seen = 0;
    int quiet = 0;
    int stuck = 0;
    while (true) {
        std::this_thread::sleep_for(std::chrono::milliseconds(kPatienceMilliseconds / 4));
        Guard guard(mutex);
        if (!active || run != mine) return;
        const bool same = switches == seen;
        seen = switches;
        quiet = same && current == nullptr ? quiet + kPatienceMilliseconds / 4 : 0;
        stuck = same ? stuck + kPatienceMilliseconds / 4 : 0;
        if (stuck > kStuckMilliseconds) Stuck("no thread gave the baton away for two minutes");
        if (quiet >= kPatienceMilliseconds && MoveTime()) {
            quiet = 0;
            Schedule();
        }
    }
}

void Kernel::Stuck(const char* why) {
    std::fprintf(stderr, "virtual time: %s\n%s", why, DumpLocked().c_str());
    const std::vector<Entry> entries = Journal::Entries();
    for (std::size_t i = entries.size() > 40 ? entries.size() - 40 : 0; i < entries.size(); ++i) {
        std::fprintf(stderr, "  %ld ms  %s  %s\n", static_cast<long>(entries[i].time), entries[i].thread.c_str(),
                     entries[i].Line().c_str());
    }
    std::fflush(stderr);
    std::abort();
}

std::uint64_t Kernel::Random(std::uint64_t bound) {
    Guard guard(mutex);
    return bound == 0 ? 0 : dice() % bound;
}

int Kernel::Live() {
    Guard guard(mutex);
    return static_cast<int>(
        std::count_if(threads.begin(), threads.end(), [](const auto& each) { return !each->test; }));
}

std::uint64_t Kernel::Switches() {
    Guard guard(mutex);
    return switches;
}

std::vector<ThreadState> Kernel::Threads() {
    Guard guard(mutex);
    std::vector<ThreadState> states;
    for (const auto& thread : threads) states.push_back({thread->name, Describe(thread->standing), thread->deadline});
    return states;
}

std::string Kernel::Dump() {
    Guard guard(mutex);
    return DumpLocked();
}

std::string Kernel::DumpLocked() const {
    std::ostringstream out;
    out << "seed " << options.seed << ", " << now << " ms, " << switches << " switches\n";
    for (const auto& thread : threads) {
        out << "  " << thread->name << ": " << Describe(thread->standing);
        if (thread->waitsFor != nullptr) out << " " << thread->waitsFor;
        if (thread->deadline >= 0) out << " until " << thread->deadline << " ms";
        out << "\n";
    }
    return out.str();
}

Visitor::Visitor() {
    Kernel& kernel = Kernel::Get();
    if (Kernel::Self() == nullptr && kernel.Active()) joined = kernel.Enter();
}

Visitor::~Visitor() {
    if (joined) Kernel::Get().Exit();
}

}  // namespace Drive::Testing
