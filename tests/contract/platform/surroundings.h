#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>

/// What the cases need and the contract does not give: threads of their own, time that passes without the contract's
/// Sleep, and another's word for what its clocks should say. There is a body for a platform whose time and threads are
/// the system's (system/surroundings.cpp) and one for the platform whose time the tests of the engine step
/// (stepped/surroundings.cpp); whoever brings a third kind of time writes a third.
namespace Drive::Testing {

/// A thread of a case. Its start and its end are seen by the case, as those of any thread are.
class CaseThread {
public:
    explicit CaseThread(std::function<void()> body);
    /// Joins, unless that was done.
    ~CaseThread();
    CaseThread(CaseThread&&) noexcept;
    CaseThread& operator=(CaseThread&&) = delete;

    /// Waits until the body has returned. On the thread of the test.
    void Join();

private:
    struct Body;
    std::unique_ptr<Body> body;
};

/// Lets at least this much time pass and returns how much it was, in milliseconds, rounded up. On the thread of the
/// test.
std::int64_t LetTimePass(std::int64_t milliseconds);

/// Seconds since the epoch.
std::int64_t WallClock();

/// Tells the threads that live at one moment apart.
std::size_t ThreadNumber();

}  // namespace Drive::Testing
