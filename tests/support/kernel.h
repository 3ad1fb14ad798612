#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <random>
#include <string>
#include <vector>

#include "tests/support/carrier.h"
#include "tests/support/virtual_time.h"

/// The scheduler behind virtual_time.h and the platform doubles. Not for tests.
namespace Drive::Testing {

enum class Standing { Running, Ready, Sleeping, Locking, Waiting, Advancing, Watching, Outside, Ended };

struct VirtualThread {
    std::string name;
    int number = 0;
    Standing standing = Standing::Ready;
    std::int64_t deadline = -1;
    const void* waitsFor = nullptr;
    bool timedOut = false;
    std::uint64_t readySince = 0;
    bool test = false;
    bool unbroken = false;
    std::unique_ptr<Seat> seat;
};

/// All state is guarded by `mutex`. Every operation expects the calling thread to be inside an Untraced block.
class Kernel {
public:
    static Kernel& Get();

    /// The virtual thread that is calling; none for a thread that the run does not know.
    static VirtualThread* Self();

    bool Active();
    std::int64_t Now();

    void Begin(const VirtualOptions& options);
    void End();

    /// Makes a virtual thread that runs `body`. Without a run: a plain detached thread.
    bool Launch(const std::string& prefix, std::function<void()> body);

    void Sleep(std::int64_t milliseconds);
    void Yield();
    void MaybeYield();

    /// Waits until `taken` is false, then sets it.
    void Lock(bool& taken);
    bool TryLock(bool& taken);
    void Unlock(bool& taken);

    /// Gives `taken` free, waits for a signal on `condition`, takes it again. False when the deadline passed; a
    /// negative one is none.
    bool Wait(const void* condition, bool& taken, std::int64_t deadline);
    void Signal(const void* condition, bool all);

    /// The test thread's waits.
    void Advance(std::int64_t milliseconds);
    bool Watch(const std::function<bool()>& condition, std::int64_t limit);

    /// Around a wait of a virtual thread that the kernel does not see.
    void Leave();
    void Join();

    /// The same where nobody but a virtual thread can end it: a wait on a condition that is not the engine's.
    void WaitOutside(const void* condition);
    void SignalOutside(const void* condition, bool all);

    /// Makes the calling thread, which the run does not know, a virtual thread, and ends that again. Enter answers
    /// false when there is no run.
    bool Enter();
    void Exit();

    std::uint64_t Random(std::uint64_t bound);
    int Live();
    std::uint64_t Switches();
    std::vector<ThreadState> Threads();
    std::string Dump();

private:
    using Guard = std::unique_lock<std::mutex>;

    /// Calls the run's own step function, if there is one, for an engine thread that holds the baton.
    void Step();

    /// Gives the baton to the next one and waits until it comes back; the caller has set its standing.
    void Away(Guard& guard, VirtualThread* self);
    void MakeReady(VirtualThread* thread);
    void Schedule();
    VirtualThread* Pick();
    bool MoveTime();
    bool AnyOutside() const;
    [[noreturn]] void Stuck(const char* why);
    std::string DumpLocked() const;
    std::shared_ptr<VirtualThread> Add(const std::string& prefix);
    void Remove(VirtualThread* thread);
    void Body(std::shared_ptr<VirtualThread> thread, std::function<void()> body, int run);
    void Patience(int run);

    std::mutex mutex;
    bool active = false;
    int run = 0;
    int nextNumber = 0;
    std::int64_t now = 0;
    std::uint64_t switches = 0;
    std::uint64_t readyCounter = 0;
    VirtualOptions options;
    std::mt19937_64 dice;
    std::vector<std::shared_ptr<VirtualThread>> threads;
    VirtualThread* current = nullptr;
    VirtualThread* testThread = nullptr;
    bool watchDue = false;
};

/// A thread that the run does not know takes part as long as this lives.
class Visitor {
public:
    Visitor();
    ~Visitor();

private:
    bool joined = false;
};

}  // namespace Drive::Testing
