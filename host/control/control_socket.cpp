#include "host/control/control_socket.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdio>
#include <thread>

namespace Drive::Host {
namespace {

constexpr std::size_t kLongestLine = 64 * 1024;
constexpr int kServeMilliseconds = 2000;

// A socket's address is short, a state folder's path may be long: the folder is named by an open descriptor.
class Address {
public:
    explicit Address(const std::string& stateFolder)
        : folder(open(stateFolder.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC)) {
        name.sun_family = AF_UNIX;
        std::snprintf(name.sun_path, sizeof name.sun_path, "/proc/self/fd/%d/control", folder);
    }
    ~Address() {
        if (folder >= 0) {
            close(folder);
        }
    }
    Address(const Address&) = delete;
    Address& operator=(const Address&) = delete;
    const sockaddr* Get() const { return reinterpret_cast<const sockaddr*>(&name); }

private:
    const int folder;
    sockaddr_un name{};
};

void LimitWaits(int socket, int milliseconds) {
    const timeval limit{milliseconds / 1000, milliseconds % 1000 * 1000};
    setsockopt(socket, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    setsockopt(socket, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
}

// Without the line's end; nothing when it does not come whole.
std::optional<std::string> ReadLine(int socket) {
    std::string line;
    char byte = 0;
    while (line.size() < kLongestLine && recv(socket, &byte, 1, 0) == 1) {
        if (byte == '\n') {
            return line;
        }
        line += byte;
    }
    return std::nullopt;
}

bool WriteLine(int socket, std::string line) {
    line += '\n';
    return send(socket, line.data(), line.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(line.size());
}

void Serve(int listener, const std::function<std::string(const std::string&)>& answer) {
    for (;;) {
        const int socket = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
        if (socket < 0) {
            return;
        }
        LimitWaits(socket, kServeMilliseconds);
        if (const std::optional<std::string> request = ReadLine(socket)) {
            WriteLine(socket, answer(*request));
        }
        close(socket);
    }
}

}  // namespace

bool ServeControl(const std::string& stateFolder, std::function<std::string(const std::string&)> answer) {
    const int listener = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const Address address(stateFolder);
    EndControl(stateFolder);
    if (listener < 0 || bind(listener, address.Get(), sizeof(sockaddr_un)) != 0 || listen(listener, 8) != 0) {
        if (listener >= 0) {
            close(listener);
        }
        return false;
    }
    std::thread(Serve, listener, std::move(answer)).detach();
    return true;
}

void EndControl(const std::string& stateFolder) { unlink((stateFolder + "/control").c_str()); }

std::optional<std::string> AskControl(const std::string& stateFolder, const std::string& request, int milliseconds) {
    const int asking = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (asking < 0) {
        return std::nullopt;
    }
    LimitWaits(asking, milliseconds);
    const Address address(stateFolder);
    std::optional<std::string> answer;
    if (connect(asking, address.Get(), sizeof(sockaddr_un)) == 0 && WriteLine(asking, request)) {
        answer = ReadLine(asking);
    }
    close(asking);
    return answer;
}

}  // namespace Drive::Host
