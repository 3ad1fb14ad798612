#include "tests/contract/platform/surroundings.h"

#include <chrono>
#include <ctime>
#include <thread>

namespace Drive::Testing {

struct CaseThread::Body {
    std::thread thread;
};

CaseThread::CaseThread(std::function<void()> chosen) : body(new Body{std::thread(std::move(chosen))}) {}
CaseThread::CaseThread(CaseThread&&) noexcept = default;

CaseThread::~CaseThread() { Join(); }

void CaseThread::Join() {
    if (body && body->thread.joinable()) body->thread.join();
}

std::int64_t LetTimePass(std::int64_t milliseconds) {
    const auto before = std::chrono::steady_clock::now();
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
    return std::chrono::ceil<std::chrono::milliseconds>(std::chrono::steady_clock::now() - before).count();
}

std::int64_t WallClock() { return std::time(nullptr); }

std::size_t ThreadNumber() { return std::hash<std::thread::id>{}(std::this_thread::get_id()); }

}  // namespace Drive::Testing
