#include "reference_cloud/connections.h"

#include <sys/socket.h>

namespace Drive::ReferenceCloud {

Connections::Connections(unsigned headerSeconds) : limit_(headerSeconds), watcher_([this] { Watch(); }) {}

Connections::~Connections() {
    {
        const std::lock_guard lock(mutex_);
        stop_ = true;
    }
    wake_.notify_all();
    watcher_.join();
}

void Connections::Opened(int socket) { Waiting(socket); }

void Connections::Closed(int socket) {
    const std::lock_guard lock(mutex_);
    waitingSince_.erase(socket);
}

void Connections::Busy(int socket) { Closed(socket); }

void Connections::Waiting(int socket) {
    const std::lock_guard lock(mutex_);
    waitingSince_[socket] = Clock::now();
}

void Connections::Watch() {
    std::unique_lock lock(mutex_);
    while (!stop_) {
        ShutLate();
        wake_.wait_for(lock, std::chrono::milliseconds(500));
    }
}

void Connections::ShutLate() {
    const auto now = Clock::now();
    for (auto& [socket, since] : waitingSince_) {
        if (now - since < limit_) continue;
        ::shutdown(socket, SHUT_RDWR);
        since = now;
    }
}

}  // namespace Drive::ReferenceCloud
