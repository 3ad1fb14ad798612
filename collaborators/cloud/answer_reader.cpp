#include "collaborators/cloud/answer_reader.h"

#include <algorithm>
#include <charconv>
#include <exception>

#include "collaborators/cloud/failure_text.h"
#include "collaborators/cloud/file_counters.h"
#include "collaborators/cloud/header_list.h"
#include "collaborators/cloud/process_state.h"
#include "collaborators/cloud/rate_limit.h"
#include "collaborators/cloud/text.h"

namespace Drive::Cloud {

namespace {

constexpr std::size_t kMostHeadBytes = 256 * 1024;
/// An unwanted body is read to its end up to here, so that the connection can be kept.
constexpr std::int64_t kDrainedBytes = 64 * 1024;

std::string Trimmed(const std::string& text) {
    const std::size_t begin = text.find_first_not_of(" \t\r\n");
    if (begin == std::string::npos) return {};
    return text.substr(begin, text.find_last_not_of(" \t\r\n") - begin + 1);
}

int StatusOf(const std::string& line) {
    const std::size_t blank = line.find(' ');
    if (blank == std::string::npos) return 0;
    int status = 0;
    std::from_chars(line.data() + blank + 1, line.data() + line.size(), status);
    return status >= 100 && status <= 999 ? status : 0;
}

bool ParseLength(const std::string& text, std::int64_t& length) {
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), length);
    return error == std::errc() && end == text.data() + text.size() && length >= 0;
}

}  // namespace

AnswerReader::AnswerReader(const HttpRequest& request, BodySink* sink, std::int64_t bytesPerSecond)
    : answerLimit(request.answerLimit),
      sink(sink),
      file(request.file),
      bytesPerSecond(bytesPerSecond),
      unhurried(request.unhurried),
      download(request.download) {}

void AnswerReader::Fail(HttpFailure failure, const std::string& message, const std::string& advice) {
    if (answer.failure != HttpFailure::None) return;
    const bool strange = failure == HttpFailure::BadAnswer || failure == HttpFailure::TooLarge;
    answer.failure = failure;
    answer.message = message;
    answer.advice = advice.empty() && strange ? kStrangerAdvice : advice;
}

bool AnswerReader::TakeHeaderLine(const std::string& line) {
    headBytes += line.size();
    if (headBytes > kMostHeadBytes) {
        Fail(HttpFailure::TooLarge, "the head of the answer is too long");
        return false;
    }
    if (headDone) return true;  // trailers after a chunked body
    const std::string text = Trimmed(line);
    if (text.rfind("HTTP/", 0) == 0) {
        answer.headers.clear();
        answer.status = StatusOf(text);
    } else if (text.empty()) {
        return EndHead();
    } else if (const std::size_t colon = text.find(':'); colon != std::string::npos && colon > 0) {
        answer.headers.emplace_back(Trimmed(text.substr(0, colon)), Trimmed(text.substr(colon + 1)));
    }
    return true;
}

bool AnswerReader::EndHead() {
    if (answer.status < 200) {
        answer.status = 0;
        return true;
    }
    headDone = true;
    if (FindHeader(answer.headers, "Transfer-Encoding") != nullptr) return true;
    for (const auto& [name, value] : answer.headers) {
        if (!EqualsIgnoringCase(name, "Content-Length")) continue;
        std::int64_t length = 0;
        if (!ParseLength(value, length) || (answer.declaredLength >= 0 && answer.declaredLength != length)) {
            Fail(HttpFailure::BadAnswer, "the answer's Content-Length cannot be read");
            return false;
        }
        answer.declaredLength = length;
    }
    return true;
}

bool AnswerReader::BeginBody() {
    if (begun) return true;
    begun = true;
    wanted = sink != nullptr && sink->Begin(answer);
    if (sink == nullptr && answer.declaredLength >= 0 &&
        static_cast<std::uint64_t>(answer.declaredLength) > answerLimit) {
        Fail(HttpFailure::TooLarge, "the answer is longer than " + std::to_string(answerLimit) + " bytes");
        return false;
    }
    return true;
}

bool AnswerReader::Keep(const unsigned char* data, std::size_t size) {
    const bool fits = size <= answerLimit && answer.body.size() <= answerLimit - size;
    if (fits) answer.body.append(reinterpret_cast<const char*>(data), size);
    if (sink != nullptr) return std::max(arrived, answer.declaredLength) <= kDrainedBytes;
    if (!fits) Fail(HttpFailure::TooLarge, "the answer is longer than " + std::to_string(answerLimit) + " bytes");
    return fits;
}

bool AnswerReader::TakeBody(const unsigned char* data, std::size_t size) {
    CountReceived(size);
    if (file) file->received.fetch_add(size, std::memory_order_relaxed);
    if (!BeginBody()) return false;
    arrived += static_cast<std::int64_t>(size);
    if (!unhurried) {
        DownloadRate().Charge(static_cast<std::int64_t>(size), bytesPerSecond);
    } else if (!DownloadRate().Take(static_cast<std::int64_t>(size), bytesPerSecond, download)) {
        Fail(HttpFailure::Aborted, "the transfer was ended because the program stops");
        return false;
    }
    if (!wanted) return Keep(data, size);
    answer.bodyBegun = true;
    if (sink->Take(data, size)) return true;
    Fail(HttpFailure::Refused, "the receiver did not want more");
    return false;
}

bool AnswerReader::Tick() {
    if (!wanted || sink->Tick()) return true;
    Fail(HttpFailure::Refused, "the receiver did not want more");
    return false;
}

void AnswerReader::Finish() {
    if (answer.failure != HttpFailure::None) return;
    if (!headDone) {
        Fail(HttpFailure::BadAnswer, "the answer has no head");
        return;
    }
    BeginBody();
    if (answer.declaredLength >= 0 && arrived < answer.declaredLength && wanted) {
        Fail(HttpFailure::Connection, "the answer ended before its announced length");
    }
}

}  // namespace Drive::Cloud
