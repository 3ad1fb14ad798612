#pragma once

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <string>
#include <string_view>
#include <utility>

namespace Drive::ReferenceCloud {

/// A connection to a port of this machine on which a test says what it likes. Closed with the object.
class RawConnection {
public:
    /// `window` is the room for what the server sends, in bytes; 0 for the usual one.
    explicit RawConnection(int port, int window = 0) : socket_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        if (window > 0) ::setsockopt(socket_, SOL_SOCKET, SO_RCVBUF, &window, sizeof window);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(static_cast<std::uint16_t>(port));
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        EXPECT_EQ(::connect(socket_, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    }
    RawConnection(RawConnection&& other) noexcept : socket_(std::exchange(other.socket_, -1)) {}
    RawConnection& operator=(RawConnection&&) = delete;
    ~RawConnection() {
        if (socket_ >= 0) ::close(socket_);
    }

    /// False when the other side has gone away.
    bool Send(std::string_view text) {
        while (!text.empty()) {
            const ssize_t count = ::send(socket_, text.data(), text.size(), MSG_NOSIGNAL);
            if (count < 0 && errno == EINTR) continue;
            if (count < 0) return false;
            text.remove_prefix(static_cast<std::size_t>(count));
        }
        return true;
    }

    /// Says that nothing more comes, and goes on listening.
    void EndSending() { ::shutdown(socket_, SHUT_WR); }

    /// Ends it the hard way.
    void Reset() {
        const linger hard{1, 0};
        ::setsockopt(socket_, SOL_SOCKET, SO_LINGER, &hard, sizeof hard);
        ::close(std::exchange(socket_, -1));
    }

    /// What comes until the other side ends, `enough` bytes are there, or the time is up.
    std::string Read(std::size_t enough = 1 << 20, int milliseconds = 20000) {
        return Collect([&](const std::string& text) { return text.size() >= enough; }, milliseconds);
    }

    /// What comes until that text is there so many times, the other side ends, or the time is up.
    std::string ReadUntil(const std::string& mark, int times = 1, int milliseconds = 20000) {
        return Collect([&](const std::string& text) { return CountOf(text, mark) >= times; }, milliseconds);
    }

    /// Whether the other side ends the connection in that time; what came before is passed over.
    bool Ends(int milliseconds) {
        Read(std::string::npos, milliseconds);
        return ended_;
    }

    static int CountOf(const std::string& text, const std::string& mark) {
        int count = 0;
        for (std::size_t at = 0; (at = text.find(mark, at)) != std::string::npos; at += mark.size()) ++count;
        return count;
    }

private:
    template <class Enough>
    std::string Collect(Enough&& enough, int milliseconds) {
        using Clock = std::chrono::steady_clock;
        const auto end = Clock::now() + std::chrono::milliseconds(milliseconds);
        std::string text;
        char buffer[65536];
        while (!ended_ && !enough(text)) {
            const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(end - Clock::now()).count();
            pollfd wait{socket_, POLLIN, 0};
            if (left <= 0 || ::poll(&wait, 1, static_cast<int>(left)) <= 0) break;
            const ssize_t count = ::recv(socket_, buffer, sizeof buffer, 0);
            if (count <= 0) ended_ = true;
            if (count > 0) text.append(buffer, static_cast<std::size_t>(count));
        }
        return text;
    }

    int socket_ = -1;
    bool ended_ = false;
};

}  // namespace Drive::ReferenceCloud
