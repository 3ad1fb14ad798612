#pragma once

#include <condition_variable>
#include <map>
#include <mutex>
#include <thread>

namespace Drive::ReferenceCloud {

/// The open sockets, and a thread that shuts those whose peer takes too long with the headers of a request: the idle
/// limit of the HTTP library starts anew with every byte, so a trickle could hold a connection for ever. Any thread.
class Connections {
public:
    explicit Connections(unsigned headerSeconds);
    ~Connections();

    void Opened(int socket);
    void Closed(int socket);   ///< before the socket's number can be used again
    void Busy(int socket);     ///< a request's headers are complete
    void Waiting(int socket);  ///< the request has ended

private:
    using Clock = std::chrono::steady_clock;
    void Watch();
    void ShutLate();

    const std::chrono::seconds limit_;
    std::mutex mutex_;
    std::condition_variable wake_;
    // Guarded by mutex_.
    std::map<int, Clock::time_point> waitingSince_;  // without the busy ones
    bool stop_ = false;
    // Last, so that it starts when the rest is there.
    std::thread watcher_;
};

}  // namespace Drive::ReferenceCloud
