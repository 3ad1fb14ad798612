#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

/// Time and threads of a test. The engine's threads and the test's own are real threads, of which exactly one runs at
/// a time: a thread gives the baton away only where the engine sleeps, waits for a mutex or a condition, ends, or where
/// a double yields. Time stands still while anybody can run, and jumps to the earliest deadline when all wait. So a run
/// over days takes milliseconds, and the same seed gives the same run, line for line.
///
/// The engine never notices: the doubles stand behind interfaces/platform/{clock,synchronisation,thread_pool}.h.
///
/// Limits. Threads that are not the engine's own (file streams) run freely; while a virtual thread waits for one of
/// them, or for any std::condition_variable, the baton goes on, and time moves after a short real pause. Engine threads
/// that are left when a run ends stay parked until the process ends, with whatever they hold: one run a process is the
/// rule, which the kit's main function keeps by forking for each test case.
namespace Drive::Testing {

struct VirtualOptions {
    /// 0: whoever can run runs in the order of waiting. Anything else: the seed decides.
    std::uint64_t seed = 0;
    /// With a seed: one of this many mutex and pool operations gives the baton away; 0 for none.
    int switchOneOf = 4;
    /// With a seed: one of this many condition waits wakes without a signal; 0 for none.
    int spuriousOneOf = 0;
    /// Wall clock at the beginning, seconds since the epoch.
    std::int64_t wallClock = 1700000000;
    /// Called on an engine thread, which holds the baton, at every operation of a double, at every wait and at the
    /// thread's end: between two calls exactly one thread has run. Must not wait and must not give the baton away.
    std::function<void()> onStep;
};

/// One thread of the run, as a dump shows it.
struct ThreadState {
    std::string name;
    std::string state;           ///< "running", "ready", "sleeping", "waits for a lock", "waits for a condition", ...
    std::int64_t deadline = -1;  ///< milliseconds since the run began; -1 for none
};

class VirtualTime {
public:
    /// Runs `body` on the calling thread as the virtual thread "test". Time starts at 0. An exception out of the body
    /// is passed on. Afterwards engine threads that still live are parked for ever.
    static void Run(std::uint64_t seed, const std::function<void()>& body);
    static void Run(const VirtualOptions& options, const std::function<void()>& body);

    /// True between begin and end of a run.
    static bool Active();

    /// Milliseconds since the run began; 0 outside a run.
    static std::int64_t Now();

    // For the test thread.

    /// Lets the others run until this much time has passed; everything that is due at that very moment has happened.
    static void AdvanceBy(std::int64_t milliseconds);

    /// Lets the others run until all of them wait; time stands still.
    static void Settle() { AdvanceBy(0); }

    /// Lets the others run until `condition` holds; it is tested after every step of any of them. False when
    /// `limitMilliseconds` passed first.
    static bool RunUntil(const std::function<bool()>& condition, std::int64_t limitMilliseconds);

    /// Lets the others run until no engine thread is left. False when the limit passed first.
    static bool Drain(std::int64_t limitMilliseconds);

    /// Sets the wall clock; it goes on from there with virtual time.
    static void SetWallClock(std::int64_t secondsSinceEpoch);
    static std::int64_t WallClock();

    /// Engine threads that live (tasks, work items and threads that joined), the test's own not counted.
    static int LiveThreads();
    static std::vector<ThreadState> Threads();
    static std::string Dump();

    /// Number of times the baton went from one thread to another.
    static std::uint64_t Switches();

    // For any thread of the run.

    /// Name of the calling thread: "test", "task-3", "work-7", or "outside" for one that is none of the run's.
    static std::string ThreadName();

    /// Gives the baton away once.
    static void Yield();

    /// With a seed: gives the baton away once in a while. A double calls it where the real thing would take time.
    static void MaybeYield();

    /// While on, the seed takes the baton from the calling thread only where it has to wait.
    static void KeepBaton(bool on);

    /// Waits this long in virtual time without a line in the journal.
    static void Pause(std::int64_t milliseconds);

    /// A number below `bound` that depends on the seed alone. For answers that the seed decides.
    static std::uint64_t Random(std::uint64_t bound);

    /// Starts a virtual thread of the test's own, for calls that may block.
    static void Start(const std::string& name, std::function<void()> body);
};

/// The pool behind QueueUserWorkItem and StartTaskThread, as a test steers it.
class ScriptedPool {
public:
    using Routine = std::uint32_t (*)(void*);

    struct Item {
        Routine routine;
        void* argument;
        std::uint32_t flags;
    };

    /// The next `count` calls of QueueUserWorkItem answer false.
    static void FailNext(int count);
    /// The next `count` calls of StartTaskThread answer false.
    static void FailNextTasks(int count);
    /// The `number`-th call of StartTaskThread from now on answers false; 1 is the next one.
    static void FailTask(int number);

    /// While on, accepted work items do not start; they are kept in order.
    static void Hold(bool on);
    static std::vector<Item> Held();
    /// Starts the oldest one that is held. False when there is none.
    static bool ReleaseOne();
    static void ReleaseAll();

    /// Every call of QueueUserWorkItem so far, refused ones included.
    static std::vector<Item> Queued();

    /// What becomes of a work item: told on the thread that queues it, and on its own when it begins and has ended
    /// (the argument is then gone). Before the run; until Reset.
    enum class Stage { Accepted, Refused, Begun, Ended };
    static void Observe(std::function<void(const Item&, Stage)> observer);
    static void Reset();
};

}  // namespace Drive::Testing
