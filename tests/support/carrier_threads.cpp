#include <condition_variable>
#include <thread>

#include "tests/support/carrier.h"
#include "tests/support/untraced.h"

namespace Drive::Testing {

namespace {

class ThreadSeat : public Seat {
public:
    void Wait(std::unique_lock<std::mutex>& guard, const std::function<bool()>& mine) override {
        wake.wait(guard, mine);
    }
    void Wake() override { wake.notify_one(); }

private:
    std::condition_variable wake;
};

}  // namespace

bool Carrier::HasOutside() { return true; }

std::unique_ptr<Seat> Carrier::SeatOfCaller() { return std::make_unique<ThreadSeat>(); }

std::unique_ptr<Seat> Carrier::Start(std::function<void()> body) {
    auto seat = std::make_unique<ThreadSeat>();
    Traced seen;  // the start of a thread is an order that the real platform gives as well
    std::thread(std::move(body)).detach();
    return seat;
}

void Carrier::StartClock(std::function<void()> clock) { std::thread(std::move(clock)).detach(); }

}  // namespace Drive::Testing
