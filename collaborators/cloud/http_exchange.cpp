#include "collaborators/cloud/http_exchange.h"

#include <curl/curl.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <memory>

#include "collaborators/cloud/answer_reader.h"
#include "collaborators/cloud/curl_options.h"
#include "collaborators/cloud/curl_pool.h"
#include "collaborators/cloud/failure_text.h"
#include "collaborators/cloud/file_counters.h"
#include "collaborators/cloud/header_list.h"
#include "collaborators/cloud/process_state.h"
#include "collaborators/cloud/progress_watch.h"
#include "collaborators/cloud/rate_limit.h"

namespace Drive::Cloud {

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kPollMilliseconds = 200;
constexpr std::int64_t kPatienceAtStop = 500;
/// A piece of a body under a bandwidth limit: small, so that the line does not stand still for long.
constexpr std::size_t kLimitedPiece = 16 * 1024;
constexpr std::int64_t kMostSeconds = 1'000'000'000;
constexpr const char* kStopMessage = "the transfer was ended because the program stops";

std::int64_t MillisecondsSince(Clock::time_point moment) {
    return std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - moment).count();
}

class Exchange {
public:
    Exchange(const HttpRequest& request, BodySink* sink)
        : limits(CurrentLimits()),
          request(request),
          reader(request, sink, limits->downloadBytesPerSecond),
          watch(*limits, request.totalMilliseconds) {}

    HttpAnswer Run();

private:
    static std::size_t OnHeader(char* data, std::size_t size, std::size_t count, void* self);
    static std::size_t OnBody(char* data, std::size_t size, std::size_t count, void* self);
    static std::size_t OnRead(char* data, std::size_t size, std::size_t count, void* self);
    static int OnSeek(void* self, curl_off_t offset, int origin);

    void SetCallbacks(CURL* easy);
    bool Prepare(CURL* easy);
    void Drive(CurlHandle& handle);
    void Observe(CURL* easy);
    bool WithinLimits(CURL* easy);
    void Conclude(CURL* easy, CURLcode code);

    const std::shared_ptr<const Limits> limits;
    const HttpRequest& request;
    AnswerReader reader;
    CurlOptions options;
    char errorText[CURL_ERROR_SIZE] = {};
    std::size_t bodyOffset = 0;
    std::int64_t countedSent = 0;
    ProgressWatch watch;
};

std::size_t Exchange::OnHeader(char* data, std::size_t size, std::size_t count, void* self) try {
    auto* exchange = static_cast<Exchange*>(self);
    exchange->watch.Heard();
    return exchange->reader.TakeHeaderLine(std::string(data, size * count)) ? size * count : 0;
} catch (...) {
    static_cast<Exchange*>(self)->reader.Fail(HttpFailure::BadAnswer, "the answer could not be taken in");
    return 0;
}

std::size_t Exchange::OnBody(char* data, std::size_t size, std::size_t count, void* self) try {
    auto* exchange = static_cast<Exchange*>(self);
    const auto began = Clock::now();
    const bool wanted = exchange->reader.TakeBody(reinterpret_cast<unsigned char*>(data), size * count);
    exchange->watch.Moved(size * count);
    exchange->watch.Held(MillisecondsSince(began));
    return wanted ? size * count : CURL_WRITEFUNC_ERROR;
} catch (...) {
    static_cast<Exchange*>(self)->reader.Fail(HttpFailure::Refused, "the body could not be taken in");
    return CURL_WRITEFUNC_ERROR;
}

std::size_t Exchange::OnRead(char* data, std::size_t size, std::size_t count, void* self) {
    auto* exchange = static_cast<Exchange*>(self);
    const std::int64_t rate = exchange->limits->uploadBytesPerSecond;
    std::size_t length = std::min(size * count, exchange->request.bodySize - exchange->bodyOffset);
    if (rate > 0) length = std::min(length, kLimitedPiece);
    const auto began = Clock::now();
    if (!exchange->request.unhurried) {
        UploadRate().Charge(static_cast<std::int64_t>(length), rate);
    } else if (!UploadRate().Take(static_cast<std::int64_t>(length), rate)) {
        return CURL_READFUNC_ABORT;
    }
    exchange->watch.Held(MillisecondsSince(began));
    if (length > 0) std::memcpy(data, exchange->request.body + exchange->bodyOffset, length);
    exchange->bodyOffset += length;
    return length;
}

int Exchange::OnSeek(void* self, curl_off_t offset, int origin) {
    auto* exchange = static_cast<Exchange*>(self);
    // Part of the body was on its way already, so the other side may have acted on it.
    if (!exchange->request.mayGoTwice) return CURL_SEEKFUNC_FAIL;
    if (origin != SEEK_SET || offset < 0 || static_cast<std::size_t>(offset) > exchange->request.bodySize) {
        return CURL_SEEKFUNC_CANTSEEK;
    }
    exchange->bodyOffset = static_cast<std::size_t>(offset);
    return CURL_SEEKFUNC_OK;
}

void Exchange::SetCallbacks(CURL* easy) {
    curl_easy_setopt(easy, CURLOPT_ERRORBUFFER, errorText);
    curl_easy_setopt(easy, CURLOPT_HEADERFUNCTION, OnHeader);
    curl_easy_setopt(easy, CURLOPT_HEADERDATA, this);
    curl_easy_setopt(easy, CURLOPT_WRITEFUNCTION, OnBody);
    curl_easy_setopt(easy, CURLOPT_WRITEDATA, this);
    curl_easy_setopt(easy, CURLOPT_READFUNCTION, OnRead);
    curl_easy_setopt(easy, CURLOPT_READDATA, this);
    curl_easy_setopt(easy, CURLOPT_SEEKFUNCTION, OnSeek);
    curl_easy_setopt(easy, CURLOPT_SEEKDATA, this);
}

bool Exchange::Prepare(CURL* easy) {
    if (!IsSendable(request.headers) || !IsSendable({{request.method, ""}})) {
        reader.Fail(HttpFailure::BadRequest,
                    "a header or the verb of the request holds characters that cannot be sent");
        return false;
    }
    SetCallbacks(easy);
    if (options.Apply(easy, request, *limits)) return true;
    reader.Fail(HttpFailure::BadRequest, "the request could not be prepared");
    return false;
}

void Exchange::Observe(CURL* easy) {
    curl_off_t sent = 0;
    curl_easy_getinfo(easy, CURLINFO_SIZE_UPLOAD_T, &sent);
    if (sent > countedSent) {
        const auto more = static_cast<std::uint64_t>(sent - countedSent);
        CountSent(more);
        if (request.file) request.file->sent.fetch_add(more, std::memory_order_relaxed);
        watch.Moved(more);
        countedSent = sent;
    }
    const bool sending = countedSent > 0 && static_cast<std::size_t>(countedSent) < request.bodySize;
    const bool moving = reader.Delivers() || (sending && !reader.HeadDone());
    watch.EnterPhase(moving ? ProgressWatch::Phase::Moving : ProgressWatch::Phase::Waiting);
}

bool Exchange::WithinLimits(CURL* easy) {
    Observe(easy);
    if (IsAborted()) {
        reader.Fail(HttpFailure::Aborted, kStopMessage);
        return false;
    }
    if (const std::string verdict = watch.Verdict(); !verdict.empty()) {
        reader.Fail(HttpFailure::Timeout, verdict);
        return false;
    }
    if (request.download && AreDownloadsStopped() && watch.Silence() > kPatienceAtStop) {
        reader.Fail(HttpFailure::Timeout, "downloads are stopped, and nothing came that would tell it to the receiver");
        return false;
    }
    return reader.Tick();
}

void Exchange::Drive(CurlHandle& handle) {
    if (handle.IsSpoilt()) curl_easy_setopt(handle.easy, CURLOPT_FRESH_CONNECT, 1L);
    if (curl_multi_add_handle(handle.multi, handle.easy) != CURLM_OK) {
        reader.Fail(HttpFailure::BadRequest, "the request could not be started");
        return;
    }
    for (int running = 1;;) {
        if (curl_multi_perform(handle.multi, &running) != CURLM_OK) {
            reader.Fail(HttpFailure::Connection, "the transfer failed inside");
            break;
        }
        if (running == 0) break;
        if (!WithinLimits(handle.easy)) break;
        curl_multi_poll(handle.multi, nullptr, 0, kPollMilliseconds, nullptr);
    }
    Observe(handle.easy);
    int left = 0;
    while (const CURLMsg* message = curl_multi_info_read(handle.multi, &left)) {
        if (message->msg == CURLMSG_DONE) Conclude(handle.easy, message->data.result);
    }
    handle.NoteConnection();
    curl_multi_remove_handle(handle.multi, handle.easy);
}

void Exchange::Conclude(CURL* easy, CURLcode code) {
    HttpAnswer& answer = reader.Answer();
    curl_off_t retryAfter = 0;
    curl_easy_getinfo(easy, CURLINFO_RETRY_AFTER, &retryAfter);
    if (const std::string* told = FindHeader(answer.headers, "Retry-After")) {
        // libcurl reads dates, but takes a number beyond its range for none.
        const bool digits = !told->empty() && told->find_first_not_of("0123456789") == std::string::npos;
        answer.retryAfterSeconds = digits && told->size() > 9 ? kMostSeconds : retryAfter;
    }
    if (code == CURLE_OK) {
        reader.Finish();
    } else if (code == CURLE_ABORTED_BY_CALLBACK) {
        reader.Fail(HttpFailure::Aborted, kStopMessage);
    } else if (reader.HeadDone() && (answer.status >= 400 || code == CURLE_WRITE_ERROR)) {
        return;  // a refusal that came whole enough, or a body that nobody wanted
    } else {
        const FailureText text = Describe(code, errorText[0] != 0 ? errorText : curl_easy_strerror(code));
        reader.Fail(text.failure, text.message, text.advice);
    }
}

HttpAnswer Exchange::Run() {
    if (IsAborted()) {
        reader.Fail(HttpFailure::Aborted, kStopMessage);
        return std::move(reader.Answer());
    }
    const CurlLease lease(request.url.substr(0, request.url.find('/', request.url.find("://") + 3)));
    if (lease.get() == nullptr) {
        reader.Fail(HttpFailure::BadRequest, "no memory for a transfer");
    } else if (Prepare(lease.get()->easy)) {
        Drive(*lease.get());
    }
    return std::move(reader.Answer());
}

}  // namespace

const std::string* HttpAnswer::Header(const char* name) const { return FindHeader(headers, name); }

std::string HttpAnswer::Told() const { return advice.empty() ? message : message + ". " + advice + "."; }

HttpAnswer Perform(const HttpRequest& request, BodySink* sink) { return Exchange(request, sink).Run(); }

}  // namespace Drive::Cloud
