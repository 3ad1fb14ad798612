#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "collaborators/cloud/http_exchange.h"

namespace Drive::Cloud {

/// Takes an answer as it arrives: status line and headers first, then the body, to the sink or into the answer.
class AnswerReader {
public:
    AnswerReader(const HttpRequest& request, BodySink* sink, std::int64_t bytesPerSecond);

    /// One header line, status line and closing empty line included. False: give the transfer up, Failure tells why.
    bool TakeHeaderLine(const std::string& line);

    /// A piece of the body. False: give the transfer up. That is no failure when nobody wants the body.
    bool TakeBody(const unsigned char* data, std::size_t size);

    /// The answer is at its end.
    void Finish();

    bool Tick();
    bool HeadDone() const { return headDone; }
    /// The body is on its way to the sink.
    bool Delivers() const { return wanted; }
    void Fail(HttpFailure failure, const std::string& message, const std::string& advice = {});

    HttpAnswer& Answer() { return answer; }

private:
    bool EndHead();
    bool BeginBody();
    bool Keep(const unsigned char* data, std::size_t size);

    const std::size_t answerLimit;
    BodySink* const sink;
    const std::shared_ptr<FileCount> file;
    const std::int64_t bytesPerSecond;
    const bool unhurried;
    const bool download;
    HttpAnswer answer;
    std::size_t headBytes = 0;
    std::int64_t arrived = 0;
    bool headDone = false;
    bool begun = false;
    bool wanted = false;  ///< the sink takes the body
};

}  // namespace Drive::Cloud
