#pragma once

#include <functional>
#include <memory>
#include <mutex>

/// What carries the virtual threads of a run: a real thread each (carrier_threads.cpp), so that the thread sanitizer
/// sees the engine's races, or a fiber each on the one thread of the process (carrier_fibers.cpp), which costs a tenth
/// and does not depend on how busy the machine is. Chosen at the link; the order of a run is the scheduler's and the
/// same with both. Not for tests.
namespace Drive::Testing {

/// Where one virtual thread waits for the baton.
class Seat {
public:
    virtual ~Seat() = default;

    /// Called by its own thread: returns once `mine` holds. The guard is given free meanwhile.
    virtual void Wait(std::unique_lock<std::mutex>& guard, const std::function<bool()>& mine) = 0;
    /// `mine` holds now. Called with the guard; of several calls without a Wait between them the last one counts.
    virtual void Wake() = 0;
};

class Carrier {
public:
    /// True when threads that the run does not know may do something for one that waits outside.
    static bool HasOutside();
    /// The seat of the calling thread, which is none of the run's.
    static std::unique_ptr<Seat> SeatOfCaller();
    /// A seat whose thread runs `body`, at the latest once it is woken for the first time. Nobody waits for its end.
    static std::unique_ptr<Seat> Start(std::function<void()> body);
    /// Starts the one real clock of a run, where there is something to wait for.
    static void StartClock(std::function<void()> clock);
};

}  // namespace Drive::Testing
