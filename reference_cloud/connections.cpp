#include "reference_cloud/connections.h"

#include <linux/sockios.h>
#include <linux/tcp.h>
#include <netinet/in.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

namespace Drive::ReferenceCloud {

namespace {

/// Bytes that the peer's system has acknowledged since the connection began.
std::uint64_t Acknowledged(int socket) {
    tcp_info info{};
    socklen_t length = sizeof info;
    return ::getsockopt(socket, IPPROTO_TCP, TCP_INFO, &info, &length) == 0 ? info.tcpi_bytes_acked : 0;
}

/// Whether bytes for the peer wait in the socket.
bool SomethingWaits(int socket) {
    int bytes = 0;
    return ::ioctl(socket, SIOCOUTQ, &bytes) == 0 && bytes > 0;
}

}  // namespace

Connections::Connections(Patience patience) : patience_(patience), watcher_([this] { Watch(); }) {}

Connections::~Connections() {
    {
        const std::lock_guard lock(mutex_);
        stop_ = true;
    }
    wake_.notify_all();
    watcher_.join();
}

void Connections::Note(int socket, bool busy) {
    const std::lock_guard lock(mutex_);
    peers_[socket] = {busy, Clock::now(), busy ? Acknowledged(socket) : 0};
}

void Connections::Opened(int socket) { Note(socket, false); }
void Connections::Busy(int socket) { Note(socket, true); }
void Connections::Waiting(int socket) { Note(socket, false); }

void Connections::Closed(int socket) {
    const std::lock_guard lock(mutex_);
    peers_.erase(socket);
}

void Connections::Watch() {
    std::unique_lock lock(mutex_);
    while (!stop_) {
        ShutLate();
        wake_.wait_for(lock, std::chrono::milliseconds(500));
    }
}

bool Connections::IsLate(int socket, Peer& peer, Clock::time_point now) const {
    if (now - peer.since < (peer.busy ? patience_.window : patience_.headers)) return false;
    peer.since = now;
    if (!peer.busy) return true;
    const std::uint64_t taken = Acknowledged(socket), before = peer.taken;
    peer.taken = taken;
    const auto least = static_cast<std::uint64_t>(patience_.slowest * patience_.window.count());
    return SomethingWaits(socket) && taken - before < least;
}

void Connections::ShutLate() {
    const auto now = Clock::now();
    for (auto& [socket, peer] : peers_) {
        if (IsLate(socket, peer, now)) ::shutdown(socket, SHUT_RDWR);
    }
}

}  // namespace Drive::ReferenceCloud
