#include "tests/support/http_server.h"

#include <arpa/inet.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <mutex>
#include <stdexcept>
#include <system_error>
#include <thread>

#include <strings.h>

namespace Drive::Testing {

namespace {

constexpr std::size_t kMostHead = 1 << 20;
constexpr int kPoll = 4;  // milliseconds until an end is noticed

std::string Trim(const std::string& text) {
    const auto begin = text.find_first_not_of(" \t");
    return begin == std::string::npos ? "" : text.substr(begin, text.find_last_not_of(" \t\r") - begin + 1);
}

void ParseHead(SeenRequest& request) {
    std::size_t at = request.head.find("\r\n");
    const std::string line = request.head.substr(0, at);
    const std::size_t first = line.find(' '), second = line.rfind(' ');
    request.method = line.substr(0, first);
    request.target = line.substr(first + 1, second - first - 1);
    while (at != std::string::npos && at + 2 < request.head.size()) {
        const std::size_t end = request.head.find("\r\n", at + 2);
        const std::string header = request.head.substr(at + 2, end - at - 2);
        const std::size_t colon = header.find(':');
        if (colon != std::string::npos) {
            request.headers.emplace_back(header.substr(0, colon), Trim(header.substr(colon + 1)));
        }
        at = end;
    }
}

}  // namespace

std::string SeenRequest::Header(const std::string& name) const {
    for (const auto& [key, value] : headers) {
        if (strcasecmp(key.c_str(), name.c_str()) == 0) return value;
    }
    return {};
}

int SeenRequest::CountHeader(const std::string& name) const {
    return static_cast<int>(std::count_if(headers.begin(), headers.end(), [&](const auto& header) {
        return strcasecmp(header.first.c_str(), name.c_str()) == 0;
    }));
}

Reply Reply::Json(const std::string& body, int status) {
    Reply reply;
    reply.status = status;
    reply.headers = {{"Content-Type", "application/json"}};
    reply.body = body;
    return reply;
}

struct HttpServer::Body {
    int listener = -1;
    int port = 0;
    std::string host;  // constant after construction
    std::atomic<bool> stopping{false};
    std::atomic<std::size_t> readStep{65536};
    std::atomic<int> readPause{0};
    std::thread acceptor;

    mutable std::mutex mutex;  // guards what follows
    Handler handler;
    std::vector<SeenRequest> requests;
    std::vector<std::thread> threads;
    int connections = 0;

    void Accept();
    void Serve(int descriptor, int number);
    bool ReadRequest(int descriptor, std::string& pending, SeenRequest& request);
    bool Receive(int descriptor, std::string& pending);
    bool Send(int descriptor, const Reply& reply);
    bool SendBody(int descriptor, const Reply& reply);
    bool SendPadded(int descriptor, const Reply& reply);
    bool WritePiece(int descriptor, const Reply& reply, std::string bytes);
    bool Write(int descriptor, const std::string& bytes);
    bool Pause(int milliseconds);
    bool End(int descriptor, bool reset);
    std::string HeadOf(const Reply& reply) const;
};

bool HttpServer::Body::Pause(int milliseconds) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(milliseconds);
    while (!stopping && std::chrono::steady_clock::now() < end) {
        std::this_thread::sleep_for(std::chrono::milliseconds(std::min(milliseconds, 5)));
    }
    return !stopping;
}

bool HttpServer::Body::Receive(int descriptor, std::string& pending) {
    pollfd waiting{descriptor, POLLIN, 0};
    while (!stopping) {
        if (poll(&waiting, 1, kPoll) <= 0) continue;
        if (readPause > 0 && !Pause(readPause)) return false;
        char buffer[65536];
        const ssize_t count = recv(descriptor, buffer, std::min(sizeof buffer, readStep.load()), 0);
        if (count <= 0) return false;
        pending.append(buffer, static_cast<std::size_t>(count));
        return true;
    }
    return false;
}

bool HttpServer::Body::ReadRequest(int descriptor, std::string& pending, SeenRequest& request) {
    std::size_t end;
    while ((end = pending.find("\r\n\r\n")) == std::string::npos) {
        if (pending.size() > kMostHead || !Receive(descriptor, pending)) return false;
    }
    request.head = pending.substr(0, end + 2);
    pending.erase(0, end + 4);
    ParseHead(request);
    const std::string length = request.Header("Content-Length");
    const std::size_t wanted = length.empty() ? 0 : std::stoull(length);
    while (pending.size() < wanted) {
        if (!Receive(descriptor, pending)) return false;
    }
    request.body = pending.substr(0, wanted);
    pending.erase(0, wanted);
    return true;
}

bool HttpServer::Body::Write(int descriptor, const std::string& bytes) {
    std::size_t sent = 0;
    while (sent < bytes.size() && !stopping) {
        pollfd waiting{descriptor, POLLOUT, 0};
        if (poll(&waiting, 1, kPoll) <= 0) continue;
        const ssize_t count = send(descriptor, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL | MSG_DONTWAIT);
        if (count < 0 && errno != EAGAIN) return false;
        if (count > 0) sent += static_cast<std::size_t>(count);
    }
    return sent == bytes.size();
}

bool HttpServer::Body::End(int descriptor, bool reset) {
    if (reset) {
        const linger hard{1, 0};
        setsockopt(descriptor, SOL_SOCKET, SO_LINGER, &hard, sizeof hard);
    }
    return false;
}

std::string HttpServer::Body::HeadOf(const Reply& reply) const {
    std::string head = "HTTP/1.1 " + std::to_string(reply.status) + " Said\r\n";
    for (const auto& [name, value] : reply.headers) head += name + ": " + value + "\r\n";
    if (reply.chunked) {
        head += "Transfer-Encoding: chunked\r\n";
    } else if (!reply.announcedLength) {
        if (reply.status != 204)
            head += "Content-Length: " + std::to_string(reply.body.size() + reply.padding) + "\r\n";
    } else if (!reply.announcedLength->empty()) {
        head += "Content-Length: " + *reply.announcedLength + "\r\n";
    }
    return head + "\r\n";
}

bool HttpServer::Body::WritePiece(int descriptor, const Reply& reply, std::string bytes) {
    if (!reply.chunked) return Write(descriptor, bytes);
    if (bytes.empty()) return true;
    char length[32];
    std::snprintf(length, sizeof length, "%zx\r\n", bytes.size());
    return Write(descriptor, length + bytes + "\r\n");
}

bool HttpServer::Body::SendPadded(int descriptor, const Reply& reply) {
    if (!WritePiece(descriptor, reply, reply.body.substr(0, reply.paddingAt))) return false;
    for (std::size_t left = reply.padding; left > 0;) {
        const std::size_t size = std::min<std::size_t>(left, 256 * 1024);
        if (!WritePiece(descriptor, reply, std::string(size, 'x'))) return false;
        left -= size;
    }
    if (!WritePiece(descriptor, reply, reply.body.substr(reply.paddingAt))) return false;
    return !reply.chunked || Write(descriptor, "0\r\n\r\n");
}

bool HttpServer::Body::SendBody(int descriptor, const Reply& reply) {
    if (reply.padding > 0) return SendPadded(descriptor, reply);
    const std::size_t end = std::min(reply.body.size(), reply.cutAfter.value_or(reply.body.size()));
    const std::size_t step = reply.writeSize == 0 ? std::max<std::size_t>(end, 1) : reply.writeSize;
    for (std::size_t at = 0; at < end;) {
        std::size_t size = std::min(step, end - at);
        if (reply.stallAfter && at < *reply.stallAfter) size = std::min(size, *reply.stallAfter - at);
        if (reply.stallAfter && at >= *reply.stallAfter) {
            Pause(60'000);
            return false;
        }
        if (!WritePiece(descriptor, reply, reply.body.substr(at, size))) return false;
        at += size;
        if (reply.pauseMilliseconds > 0 && !Pause(reply.pauseMilliseconds)) return false;
    }
    if (reply.cutAfter) return End(descriptor, reply.reset);
    return !reply.chunked || Write(descriptor, "0\r\n\r\n");
}

bool HttpServer::Body::Send(int descriptor, const Reply& reply) {
    if (reply.delayMilliseconds > 0 && !Pause(reply.delayMilliseconds)) return false;
    if (reply.raw) {
        Write(descriptor, *reply.raw);
        return End(descriptor, reply.reset);
    }
    if (reply.silent) return End(descriptor, reply.reset);
    if (!Write(descriptor, HeadOf(reply))) return false;
    if (reply.stallAfter && *reply.stallAfter == 0) {
        Pause(60'000);
        return false;
    }
    const bool endless = reply.announcedLength && reply.announcedLength->empty() && !reply.chunked;
    return SendBody(descriptor, reply) && !endless && !reply.closeAfter;
}

void HttpServer::Body::Serve(int descriptor, int number) {
    std::string pending;
    for (;;) {
        SeenRequest request;
        request.connection = number;
        if (!ReadRequest(descriptor, pending, request)) break;
        Handler answer;
        {
            const std::lock_guard lock(mutex);
            requests.push_back(request);
            answer = handler;
        }
        if (!Send(descriptor, answer ? answer(request) : Reply{})) break;
    }
    close(descriptor);
}

void HttpServer::Body::Accept() {
    while (!stopping) {
        pollfd waiting{listener, POLLIN, 0};
        if (poll(&waiting, 1, kPoll) <= 0) continue;
        const int descriptor = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
        if (descriptor < 0) continue;
        const int on = 1;
        setsockopt(descriptor, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
        const std::lock_guard lock(mutex);
        const int number = ++connections;
        threads.emplace_back([this, descriptor, number] { Serve(descriptor, number); });
    }
}

namespace {

/// A listening socket on a free port of this machine; throws when there is none.
int ListenOn(const std::string& address, int& port) {
    const addrinfo hints{AI_NUMERICHOST | AI_PASSIVE, AF_UNSPEC, SOCK_STREAM, 0, 0, nullptr, nullptr, nullptr};
    addrinfo* found = nullptr;
    if (getaddrinfo(address.c_str(), "0", &hints, &found) != 0) throw std::runtime_error("no address: " + address);
    const std::unique_ptr<addrinfo, decltype(&freeaddrinfo)> owner(found, freeaddrinfo);
    const int listener = socket(found->ai_family, found->ai_socktype | SOCK_CLOEXEC, 0);
    sockaddr_in6 bound{};  // its port stands where that of the older form stands
    socklen_t length = sizeof bound;
    if (listener < 0 || bind(listener, found->ai_addr, found->ai_addrlen) != 0 || listen(listener, 64) != 0 ||
        getsockname(listener, reinterpret_cast<sockaddr*>(&bound), &length) != 0) {
        const int reason = errno;
        if (listener >= 0) close(listener);
        throw std::system_error(reason, std::generic_category(), "no test server on " + address);
    }
    port = ntohs(bound.sin6_port);
    return listener;
}

}  // namespace

HttpServer::HttpServer(const std::string& address) : body(std::make_unique<Body>()) {
    body->host = address.find(':') == std::string::npos ? address : "[" + address + "]";
    body->listener = ListenOn(address, body->port);
    body->acceptor = std::thread([this] { body->Accept(); });
}

HttpServer::~HttpServer() {
    body->stopping = true;
    body->acceptor.join();
    for (std::thread& thread : body->threads) thread.join();
    close(body->listener);
}

void HttpServer::Answer(Handler handler) {
    const std::lock_guard lock(body->mutex);
    body->handler = std::move(handler);
}

void HttpServer::AnswerAll(const Reply& reply) {
    Answer([reply](const SeenRequest&) { return reply; });
}

void HttpServer::AnswerInTurn(std::vector<Reply> replies) {
    auto next = std::make_shared<std::atomic<std::size_t>>(0);
    Answer([replies = std::move(replies), next](const SeenRequest&) {
        return replies.at(std::min(next->fetch_add(1), replies.size() - 1));
    });
}

void HttpServer::ReadSlowly(std::size_t step, int pauseMilliseconds) {
    // A small window, so that the kernel does not read ahead in our place.
    const int window = static_cast<int>(step);
    setsockopt(body->listener, SOL_SOCKET, SO_RCVBUF, &window, sizeof window);
    body->readStep = step;
    body->readPause = pauseMilliseconds;
}

int HttpServer::Port() const { return body->port; }

std::string HttpServer::Url(const std::string& path) const {
    return "http://" + body->host + ":" + std::to_string(body->port) + path;
}

std::wstring HttpServer::WideUrl(const std::string& path) const {
    const std::string url = Url(path);
    return {url.begin(), url.end()};
}

std::vector<SeenRequest> HttpServer::Requests() const {
    const std::lock_guard lock(body->mutex);
    return body->requests;
}

SeenRequest HttpServer::Last() const {
    const auto requests = Requests();
    if (requests.empty()) throw std::logic_error("the server was asked nothing");
    return requests.back();
}

int HttpServer::Connections() const {
    const std::lock_guard lock(body->mutex);
    return body->connections;
}

void HttpServer::Forget() {
    const std::lock_guard lock(body->mutex);
    body->requests.clear();
}

}  // namespace Drive::Testing
