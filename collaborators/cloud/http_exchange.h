#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

/// One HTTP request and its answer, without repeats and without login: the only place that speaks with libcurl.
namespace Drive::Cloud {

struct FileCount;

using HeaderList = std::vector<std::pair<std::string, std::string>>;

struct HttpRequest {
    std::string method = "GET";
    std::string url;     ///< absolute, already checked
    HeaderList headers;  ///< sent as they are; the library adds Host and, with a body, Content-Length, nothing else
    bool hasBody = false;
    const unsigned char* body = nullptr;  ///< the caller's, good for the call
    std::size_t bodySize = 0;
    bool mayGoTwice = true;  ///< false: not even a kept connection that turns out dead makes libcurl send it again
    std::int64_t totalMilliseconds = 0;  ///< 0: no total limit
    std::size_t answerLimit = 0;         ///< most bytes of an answer that is kept as text
    std::shared_ptr<FileCount> file;     ///< whose bytes these are; null: nobody's
    bool unhurried = true;  ///< waits for its share of a limited bandwidth; false: is counted, and goes at once
    bool download = false;  ///< content: worth large buffers; ends soon when downloads stop and nothing comes
};

enum class HttpFailure {
    None,
    BadRequest,  ///< the request cannot be put on the wire; nothing was sent
    Connection,  ///< refused, reset, closed early: another try may help
    Timeout,     ///< a limit ran out
    Security,    ///< certificate or protocol refused
    BadAnswer,   ///< what came is no proper HTTP answer
    TooLarge,    ///< more than the limit was answered
    Refused,     ///< the receiver of the body did not want more
    Aborted      ///< the host stops
};

struct HttpAnswer {
    int status = 0;  ///< of the final answer, 0 when none came
    HeaderList headers;
    std::string body;                     ///< when no sink took it
    std::int64_t declaredLength = -1;     ///< Content-Length; -1: not told
    std::int64_t retryAfterSeconds = -1;  ///< -1: not told
    bool bodyBegun = false;               ///< a byte of the body reached the sink
    HttpFailure failure = HttpFailure::None;
    std::string message;  ///< of a failure, for people
    std::string advice;   ///< what to do about it; empty when there is nothing in particular

    /// First value of the header, without regard to case; null when there is none.
    const std::string* Header(const char* name) const;

    /// Message and advice, for the log.
    std::string Told() const;
};

/// Where a body goes. Called on the thread that performs the request.
class BodySink {
public:
    virtual ~BodySink() = default;
    /// Once, before the first byte, or at the end of an empty body. False: the body is nobody's; the status counts.
    virtual bool Begin(const HttpAnswer& head) = 0;
    /// False ends the transfer with HttpFailure::Refused.
    virtual bool Take(const unsigned char* data, std::size_t size) = 0;
    /// Now and then while nothing arrives.
    virtual bool Tick() { return true; }
};

/// Performs the request on the calling thread. Never throws but for memory. With a sink the body of the answer goes
/// there if the sink wants it, otherwise into HttpAnswer::body up to the limit.
HttpAnswer Perform(const HttpRequest& request, BodySink* sink = nullptr);

}  // namespace Drive::Cloud
