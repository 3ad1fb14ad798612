#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <map>
#include <mutex>
#include <thread>

namespace Drive::ReferenceCloud {

/// What a peer may take its time with.
struct Patience {
    std::chrono::seconds headers{75};  ///< from the connection, or the last answer, to the end of a request's headers
    std::chrono::seconds window{30};   ///< over which the reading of an answer is measured
    std::int64_t slowest = 512;        ///< bytes per second of an answer that waits to be read
};

/// The open sockets, and a thread that shuts those whose peer takes too long with the headers of a request, or too long
/// to read what it asked for: the idle limit of the HTTP library starts anew with every byte, so a trickle could hold a
/// connection for ever. Any thread.
class Connections {
public:
    explicit Connections(Patience patience);
    ~Connections();

    void Opened(int socket);
    void Closed(int socket);   ///< before the socket's number can be used again
    void Busy(int socket);     ///< a request's headers are complete
    void Waiting(int socket);  ///< the request has ended

private:
    using Clock = std::chrono::steady_clock;
    struct Peer {
        bool busy = false;
        Clock::time_point since;
        std::uint64_t taken = 0;  ///< bytes that it had acknowledged then; counted while it is busy
    };
    void Note(int socket, bool busy);
    void Watch();
    void ShutLate();
    bool IsLate(int socket, Peer& peer, Clock::time_point now) const;

    const Patience patience_;
    std::mutex mutex_;
    std::condition_variable wake_;
    // Guarded by mutex_.
    std::map<int, Peer> peers_;
    bool stop_ = false;
    // Last, so that it starts when the rest is there.
    std::thread watcher_;
};

}  // namespace Drive::ReferenceCloud
