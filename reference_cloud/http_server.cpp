#include "reference_cloud/http_server.h"

#include <arpa/inet.h>
#include <microhttpd.h>
#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstring>
#include <iostream>
#include <mutex>
#include <set>
#include <stdexcept>

#include "interfaces/cloud/wire/codes.h"
#include "interfaces/cloud/wire/fields.h"
#include "reference_cloud/connections.h"
#include "reference_cloud/rate_limit.h"
#include "reference_cloud/refusal.h"
#include "reference_cloud/text.h"

namespace Drive::ReferenceCloud {

namespace Wire = Drive::Cloud::Wire;

namespace {

constexpr std::size_t kConnectionMemory = 256 * 1024;  // also what the headers of a request may take
constexpr const char* kTlsVersions = "NORMAL:-VERS-ALL:+VERS-TLS1.3:+VERS-TLS1.2";
constexpr std::size_t kAnswerBlock = 256 * 1024;
constexpr std::size_t kMostJournalled = 4 * 1024 * 1024;  // bytes of one body
constexpr std::int64_t kDrainBody = 64 * 1024 * 1024;     // of a refused request; a longer one is cut off

double Now() {
    using namespace std::chrono;
    return duration<double>(system_clock::now().time_since_epoch()).count();
}

std::string Lower(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) { return std::tolower(c); });
    return text;
}

/// Headers that decide where a request ends, who asks, and for what: two readers must never see two of them.
bool IsSingle(const std::string& lowerName) {
    static const std::set<std::string> single = {
        "authorization", "content-length", "content-md5", "content-range",     "content-type",
        "expect",        "host",           "range",       "transfer-encoding", "x-object-sha256",
    };
    return single.count(lowerName) != 0;
}

struct CollectedHeaders {
    std::map<std::string, std::string>& map;
    bool ambiguous = false;
};

MHD_Result CollectHeader(void* target, MHD_ValueKind, const char* key, std::size_t keyLength, const char* value,
                         std::size_t valueLength) {
    auto& collected = *static_cast<CollectedHeaders*>(target);
    const std::string name = Lower({key, keyLength});
    const bool twice = collected.map.count(name) != 0 && IsSingle(name);
    if (twice || name.find_first_of(" \t\r\n") != std::string::npos) collected.ambiguous = true;
    collected.map[name] = value ? std::string(value, valueLength) : std::string();
    return MHD_YES;
}

MHD_Result CollectQuery(void* target, MHD_ValueKind, const char* key, std::size_t keyLength, const char* value,
                        std::size_t valueLength) {
    auto& map = *static_cast<std::map<std::string, std::string>*>(target);
    map[{key, keyLength}] = value ? std::string(value, valueLength) : std::string();
    return MHD_YES;
}

Response FailureResponse(const std::exception& error) {
    std::cerr << "zelkor-cloud: a request failed: " << error.what() << std::endl;
    return RefusalResponse(500, Wire::kServerError, "the cloud failed to do this; try again later");
}

Response FromRefusal(const Refusal& refusal) {
    Response response = RefusalResponse(refusal.status, refusal.code, refusal.what());
    if (refusal.position >= 0) {
        Json::Value body = *ParseJson(response.text);
        body[Wire::kPosition] = Json::Int64(refusal.position);
        response.text = JsonText(body);
    }
    if (refusal.retryAfter > 0) response.headers["Retry-After"] = std::to_string(refusal.retryAfter);
    return response;
}

class TextSource : public BodySource {
public:
    explicit TextSource(std::string text) : text_(std::move(text)) {}
    std::size_t Read(std::int64_t offset, char* buffer, std::size_t length) override {
        const std::size_t at = std::min(static_cast<std::size_t>(offset), text_.size());
        return text_.copy(buffer, length, at);
    }

private:
    const std::string text_;
};

/// Sleeps that end when the server stops.
class Pauses {
public:
    void For(std::chrono::steady_clock::duration time) {
        if (time <= std::chrono::steady_clock::duration::zero()) return;
        std::unique_lock lock(mutex_);
        wake_.wait_for(lock, time, [this] { return stopped_; });
    }
    bool Stopped() {
        const std::lock_guard lock(mutex_);
        return stopped_;
    }
    void Stop() {
        const std::lock_guard lock(mutex_);
        stopped_ = true;
        wake_.notify_all();
    }

private:
    std::mutex mutex_;
    std::condition_variable wake_;
    bool stopped_ = false;  // guarded by mutex_
};

/// One answer on its way out; called on the connection's thread.
struct Pump {
    Pump(std::int64_t perAnswer, RateLimit& totalLimit, Pauses& pausesOfServer)
        : own(perAnswer), total(totalLimit), pauses(pausesOfServer) {}

    std::shared_ptr<BodySource> source;
    std::int64_t offset = 0;
    std::int64_t length = 0;
    std::int64_t cutAfter = -1;
    std::int64_t corrupt = -1;
    RateLimit own;
    RateLimit& total;
    Pauses& pauses;
    std::shared_ptr<std::atomic<std::uint64_t>> sent;

    ssize_t Read(std::int64_t position, char* buffer, std::size_t room) {
        std::size_t wanted = own.Piece(total.Piece(room));
        wanted = std::min(wanted, static_cast<std::size_t>(length - position));
        if (cutAfter >= 0) {
            if (position >= cutAfter) return MHD_CONTENT_READER_END_WITH_ERROR;
            wanted = std::min(wanted, static_cast<std::size_t>(cutAfter - position));
        }
        const std::size_t count = source->Read(offset + position, buffer, wanted);
        if (count == 0) return MHD_CONTENT_READER_END_WITH_ERROR;
        if (corrupt >= position && corrupt < position + static_cast<std::int64_t>(count)) {
            buffer[corrupt - position] = static_cast<char>(buffer[corrupt - position] ^ 0x55);
        }
        const auto now = RateLimit::Clock::now();
        pauses.For(std::max(own.Book(count, now), total.Book(count, now)));
        *sent += count;
        return pauses.Stopped() && !own.Unlimited() ? MHD_CONTENT_READER_END_WITH_ERROR : static_cast<ssize_t>(count);
    }
};

ssize_t PumpRead(void* pump, std::uint64_t position, char* buffer, std::size_t room) {
    try {
        return static_cast<Pump*>(pump)->Read(static_cast<std::int64_t>(position), buffer, room);
    } catch (const std::exception& error) {
        std::cerr << "zelkor-cloud: an answer broke off: " << error.what() << std::endl;
        return MHD_CONTENT_READER_END_WITH_ERROR;
    }
}

void PumpFree(void* pump) { delete static_cast<Pump*>(pump); }

/// One request from its headers to its end.
struct Exchange {
    Request request;
    std::unique_ptr<Handler> handler;
    std::optional<Response> early;  ///< a refusal while the body still comes
    std::optional<Misbehaviour> misbehaviour;
    std::unique_ptr<RateLimit> bodyRate;
    JournalEntry journal;
    std::shared_ptr<std::atomic<std::uint64_t>> sent = std::make_shared<std::atomic<std::uint64_t>>(0);
    std::chrono::steady_clock::time_point began = std::chrono::steady_clock::now();
    std::int64_t unread = 0;  ///< bytes of the body that came although nobody wants them
    bool answered = false;
    bool cutOnPurpose = false;
    bool keepsBody = false;  ///< the request's body goes into the journal
    bool ambiguous = false;  ///< its headers can be read in more than one way; nothing behind it is read
};

}  // namespace

class HttpServer::Impl {
public:
    Impl(HttpSettings settings, Dispatch dispatch, Journal& journal, Scenario& scenario)
        : settings_(std::move(settings)),
          dispatch_(std::move(dispatch)),
          journal_(journal),
          scenario_(scenario),
          totalRate_(settings_.totalRate) {}

    ~Impl() { Drain(0); }

    void Start();
    int Port() const;
    void Drain(int seconds);

private:
    static MHD_Result OnAccess(void* self, MHD_Connection* connection, const char* url, const char* method, const char*,
                               const char* data, std::size_t* size, void** state);
    static void OnCompleted(void* self, MHD_Connection* connection, void** state, MHD_RequestTerminationCode code);
    static void OnConnection(void* self, MHD_Connection* connection, void**, MHD_ConnectionNotificationCode code);

    MHD_Result Begin(MHD_Connection* connection, const char* url, const char* method, void** state);
    MHD_Result Body(Exchange& exchange, const char* data, std::size_t size);
    MHD_Result Finish(MHD_Connection* connection, Exchange& exchange);
    void NoteAnswer(Exchange& exchange, const Response& response);
    MHD_Result Send(MHD_Connection* connection, Exchange& exchange, Response response);
    void ReadRequest(MHD_Connection* connection, Exchange& exchange, const char* url, const char* method);
    std::string BaseUrl(const Request& request) const;
    void End(Exchange& exchange, MHD_RequestTerminationCode code);
    bool TooSlow(const Exchange& exchange) const;

    const HttpSettings settings_;
    const Dispatch dispatch_;
    Journal& journal_;
    Scenario& scenario_;
    RateLimit totalRate_;
    Pauses pauses_;
    std::unique_ptr<Connections> connections_;
    std::atomic<int> inFlight_{0};
    std::atomic<bool> stopping_{false};
    std::atomic<MHD_Daemon*> daemon_{nullptr};  // written by Start and Drain only
    int listenSocket_ = -1;
};

MHD_Result HttpServer::Impl::OnAccess(void* self, MHD_Connection* connection, const char* url, const char* method,
                                      const char*, const char* data, std::size_t* size, void** state) {
    auto& server = *static_cast<Impl*>(self);
    try {
        if (*state == nullptr) return server.Begin(connection, url, method, state);
        auto& exchange = *static_cast<Exchange*>(*state);
        if (*size > 0) {
            const std::size_t count = std::exchange(*size, 0);
            return server.Body(exchange, data, count);
        }
        return exchange.answered ? MHD_YES : server.Finish(connection, exchange);
    } catch (const std::exception& error) {
        std::cerr << "zelkor-cloud: a connection was given up: " << error.what() << std::endl;
        return MHD_NO;
    }
}

std::string HttpServer::Impl::BaseUrl(const Request& request) const {
    if (!settings_.publicUrl.empty()) return settings_.publicUrl;
    static constexpr const char* allowed = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789.-:[]";
    std::string host = request.Header("host");
    if (host.empty() || host.find_first_not_of(allowed) != std::string::npos) {
        host = settings_.host + ":" + std::to_string(Port());
    }
    return (settings_.certificate.empty() ? "http://" : "https://") + host;
}

void HttpServer::Impl::ReadRequest(MHD_Connection* connection, Exchange& exchange, const char* url,
                                   const char* method) {
    Request& request = exchange.request;
    request.method = method;
    request.path = url;
    CollectedHeaders collected{request.headers};
    MHD_get_connection_values_n(connection, MHD_HEADER_KIND, CollectHeader, &collected);
    const bool twoLengths = request.headers.count("content-length") != 0 && request.headers.count("transfer-encoding");
    exchange.ambiguous = collected.ambiguous || twoLengths;
    MHD_get_connection_values_n(connection, MHD_GET_ARGUMENT_KIND, CollectQuery, &request.query);
    request.contentLength = ParseNumber(request.Header("content-length")).value_or(-1);
    request.baseUrl = BaseUrl(request);
    const MHD_ConnectionInfo* info = MHD_get_connection_info(connection, MHD_CONNECTION_INFO_CLIENT_ADDRESS);
    char name[NI_MAXHOST] = "";
    if (info != nullptr && info->client_addr != nullptr) {
        const socklen_t length = info->client_addr->sa_family == AF_INET6 ? sizeof(sockaddr_in6) : sizeof(sockaddr_in);
        ::getnameinfo(info->client_addr, length, name, sizeof name, nullptr, 0, NI_NUMERICHOST);
    }
    request.peer = name;
    exchange.journal.method = method;
    exchange.journal.path = url;
    exchange.journal.peer = request.peer;
    exchange.journal.range = request.Header("range");
    exchange.journal.contentRange = request.Header("content-range");
    if (!journal_.WithBodies()) return;
    exchange.journal.query = request.query;
    exchange.keepsBody = request.Header("content-type").rfind("application/json", 0) == 0;
}

MHD_Result HttpServer::Impl::Begin(MHD_Connection* connection, const char* url, const char* method, void** state) {
    auto* exchange = new Exchange;
    *state = exchange;  // freed by OnCompleted
    exchange->journal.begin = Now();
    exchange->journal.inFlight = ++inFlight_;
    const MHD_ConnectionInfo* info = MHD_get_connection_info(connection, MHD_CONNECTION_INFO_CONNECTION_FD);
    if (info != nullptr) connections_->Busy(info->connect_fd);
    ReadRequest(connection, *exchange, url, method);
    if (const auto warning = scenario_.Reload(false)) std::cerr << "zelkor-cloud: " << *warning << std::endl;
    try {
        if (exchange->ambiguous) {
            throw Refusal(400, Wire::kBadRequest,
                          "the request can be read in more than one way; send each header once");
        }
        exchange->handler = dispatch_(exchange->request);
    } catch (const Refusal& refusal) {
        exchange->early = FromRefusal(refusal);
    } catch (const std::exception& error) {
        exchange->early = FailureResponse(error);
    }
    exchange->journal.user = exchange->request.user.name;
    exchange->misbehaviour =
        scenario_.Strike(exchange->request.method, exchange->request.path, exchange->request.user.name);
    if (exchange->misbehaviour) {
        const Misbehaviour& what = *exchange->misbehaviour;
        exchange->journal.scenario = what.rule;
        if (what.uploadRate > 0) exchange->bodyRate = std::make_unique<RateLimit>(what.uploadRate);
        if ((what.status != 0 || what.drop) && !what.afterWork) exchange->handler.reset();
    }
    // Nobody should send a long body, or wait for leave to send it, for a refusal.
    const bool hopeless = exchange->early && (exchange->ambiguous || !exchange->request.Header("expect").empty() ||
                                              exchange->request.contentLength > kDrainBody);
    return hopeless ? Finish(connection, *exchange) : MHD_YES;
}

bool HttpServer::Impl::TooSlow(const Exchange& exchange) const {
    const auto time = std::chrono::duration<double>(std::chrono::steady_clock::now() - exchange.began).count();
    return time > 30 &&
           static_cast<double>(exchange.journal.bytesIn) / time < static_cast<double>(settings_.slowestBody);
}

MHD_Result HttpServer::Impl::Body(Exchange& exchange, const char* data, std::size_t size) {
    exchange.journal.bytesIn += size;
    if (exchange.keepsBody && exchange.journal.request.size() + size <= kMostJournalled) {
        exchange.journal.request.append(data, size);
    }
    if (exchange.bodyRate) pauses_.For(exchange.bodyRate->Book(size, RateLimit::Clock::now()));
    if (!exchange.bodyRate && TooSlow(exchange)) return MHD_NO;
    if (!exchange.handler || exchange.early) {
        exchange.unread += static_cast<std::int64_t>(size);
        return exchange.unread > kDrainBody ? MHD_NO : MHD_YES;
    }
    try {
        exchange.handler->Data({data, size});
    } catch (const Refusal& refusal) {
        exchange.early = FromRefusal(refusal);
    } catch (const std::exception& error) {
        exchange.early = FailureResponse(error);
    }
    if (exchange.early) exchange.handler.reset();
    return MHD_YES;
}

void HttpServer::Impl::NoteAnswer(Exchange& exchange, const Response& response) {
    if (!journal_.WithBodies()) return;
    exchange.journal.answerHeaders = response.headers;
    const auto type = response.headers.find("Content-Type");
    const bool json = type != response.headers.end() && type->second.rfind("application/json", 0) == 0;
    if (json && response.text.size() <= kMostJournalled) exchange.journal.answer = response.text;
}

MHD_Result HttpServer::Impl::Finish(MHD_Connection* connection, Exchange& exchange) {
    Response response;
    if (exchange.early) {
        response = std::move(*exchange.early);
    } else if (exchange.handler) {
        try {
            response = exchange.handler->Finish();
        } catch (const Refusal& refusal) {
            response = FromRefusal(refusal);
        } catch (const std::exception& error) {
            response = FailureResponse(error);
        }
        exchange.handler.reset();
    }
    NoteAnswer(exchange, response);
    if (exchange.misbehaviour) {
        const Misbehaviour& what = *exchange.misbehaviour;
        pauses_.For(
            std::chrono::duration_cast<std::chrono::steady_clock::duration>(std::chrono::duration<double>(what.delay)));
        if (what.drop) {
            exchange.cutOnPurpose = true;
            return MHD_NO;
        }
        if (what.status != 0) response = RefusalResponse(what.status, what.errorCode, what.description);
        for (const auto& [name, value] : what.headers) response.headers[name] = value;
        if (what.body) {
            response.source.reset();
            response.text = *what.body;
        }
        if (!response.source) response.text = BendFields(response.text, what);
    }
    return Send(connection, exchange, std::move(response));
}

MHD_Result HttpServer::Impl::Send(MHD_Connection* connection, Exchange& exchange, Response response) {
    const bool paced = settings_.rate > 0 || settings_.totalRate > 0 || exchange.misbehaviour.has_value();
    MHD_Response* answer = nullptr;
    const bool otherLength = exchange.misbehaviour && exchange.misbehaviour->contentLength >= 0;
    if (!response.source && (!paced || response.text.empty()) && !otherLength) {
        answer = MHD_create_response_from_buffer(response.text.size(), response.text.data(), MHD_RESPMEM_MUST_COPY);
        *exchange.sent += response.text.size();
    } else {
        const Misbehaviour what = exchange.misbehaviour.value_or(Misbehaviour{});
        auto pump = std::make_unique<Pump>(what.rate > 0 ? what.rate : settings_.rate, totalRate_, pauses_);
        pump->length = response.source ? response.length : static_cast<std::int64_t>(response.text.size());
        pump->offset = response.source ? response.offset : 0;
        // Behind its own end a source has nothing to read, and the connection is cut there.
        if (otherLength) pump->length = what.contentLength;
        pump->source = response.source ? response.source : std::make_shared<TextSource>(std::move(response.text));
        pump->cutAfter = what.cutAfter;
        pump->corrupt = what.corrupt;
        pump->sent = exchange.sent;
        exchange.cutOnPurpose = what.cutAfter >= 0 && what.cutAfter < pump->length;
        answer = MHD_create_response_from_callback(static_cast<std::uint64_t>(pump->length), kAnswerBlock, PumpRead,
                                                   pump.get(), PumpFree);
        if (answer != nullptr) pump.release();
    }
    if (answer == nullptr) return MHD_NO;
    for (const auto& [name, value] : response.headers) MHD_add_response_header(answer, name.c_str(), value.c_str());
    if (stopping_ || exchange.ambiguous) MHD_add_response_header(answer, "Connection", "close");
    exchange.journal.status = response.status;
    exchange.answered = true;
    const MHD_Result result = MHD_queue_response(connection, static_cast<unsigned>(response.status), answer);
    MHD_destroy_response(answer);
    return result;
}

void HttpServer::Impl::OnCompleted(void* self, MHD_Connection* connection, void** state,
                                   MHD_RequestTerminationCode code) {
    auto& server = *static_cast<Impl*>(self);
    const std::unique_ptr<Exchange> exchange(static_cast<Exchange*>(std::exchange(*state, nullptr)));
    if (!exchange) return;
    const MHD_ConnectionInfo* info = MHD_get_connection_info(connection, MHD_CONNECTION_INFO_CONNECTION_FD);
    if (info != nullptr) server.connections_->Waiting(info->connect_fd);
    server.End(*exchange, code);
}

void HttpServer::Impl::End(Exchange& exchange, MHD_RequestTerminationCode code) {
    try {
        exchange.handler.reset();
        exchange.journal.end = Now();
        exchange.journal.bytesOut = *exchange.sent;
        exchange.journal.clientGone =
            code != MHD_REQUEST_TERMINATED_COMPLETED_OK && !exchange.cutOnPurpose && !pauses_.Stopped();
        journal_.Write(exchange.journal);
    } catch (const std::exception& error) {
        std::cerr << "zelkor-cloud: the journal was not written: " << error.what() << std::endl;
    }
    --inFlight_;
}

void HttpServer::Impl::OnConnection(void* self, MHD_Connection* connection, void**,
                                    MHD_ConnectionNotificationCode code) {
    const MHD_ConnectionInfo* info = MHD_get_connection_info(connection, MHD_CONNECTION_INFO_CONNECTION_FD);
    if (info == nullptr) return;
    auto& connections = *static_cast<Impl*>(self)->connections_;
    code == MHD_CONNECTION_NOTIFY_STARTED ? connections.Opened(info->connect_fd) : connections.Closed(info->connect_fd);
}

void HttpServer::Impl::Start() {
    addrinfo hints{}, *found = nullptr;
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_flags = AI_PASSIVE | AI_NUMERICSERV;
    const std::string port = std::to_string(settings_.port);
    if (const int error = ::getaddrinfo(settings_.host.c_str(), port.c_str(), &hints, &found)) {
        throw std::runtime_error("cannot listen on " + settings_.host + ": " + ::gai_strerror(error));
    }
    const std::unique_ptr<addrinfo, void (*)(addrinfo*)> address(found, ::freeaddrinfo);
    connections_ = std::make_unique<Connections>(settings_.patience);
    unsigned flags = MHD_USE_INTERNAL_POLLING_THREAD | MHD_USE_THREAD_PER_CONNECTION | MHD_USE_POLL | MHD_USE_ITC;
    if (found->ai_family == AF_INET6) flags |= MHD_USE_IPv6;
    std::vector<MHD_OptionItem> options = {
        {MHD_OPTION_SOCK_ADDR, 0, found->ai_addr},
        {MHD_OPTION_CONNECTION_MEMORY_LIMIT, kConnectionMemory, nullptr},
        {MHD_OPTION_STRICT_FOR_CLIENT, 1, nullptr},
        {MHD_OPTION_CONNECTION_LIMIT, settings_.connections, nullptr},
        {MHD_OPTION_CONNECTION_TIMEOUT, settings_.idleSeconds, nullptr},
        {MHD_OPTION_NOTIFY_COMPLETED, reinterpret_cast<intptr_t>(&Impl::OnCompleted), this},
        {MHD_OPTION_NOTIFY_CONNECTION, reinterpret_cast<intptr_t>(&Impl::OnConnection), this}};
    if (!settings_.certificate.empty()) {
        flags |= MHD_USE_TLS;
        options.push_back({MHD_OPTION_HTTPS_MEM_CERT, 0, const_cast<char*>(settings_.certificate.c_str())});
        options.push_back({MHD_OPTION_HTTPS_PRIORITIES, 0, const_cast<char*>(kTlsVersions)});
        options.push_back({MHD_OPTION_HTTPS_MEM_KEY, 0, const_cast<char*>(settings_.privateKey.c_str())});
    }
    options.push_back({MHD_OPTION_END, 0, nullptr});
    daemon_ = MHD_start_daemon(flags, 0, nullptr, nullptr, &Impl::OnAccess, this, MHD_OPTION_ARRAY, options.data(),
                               MHD_OPTION_END);
    if (daemon_ == nullptr) {
        throw std::runtime_error("cannot listen on " + settings_.host + ":" + port + ": " + std::strerror(errno) +
                                 "; choose another port, or check the certificate and its key");
    }
}

int HttpServer::Impl::Port() const {
    const MHD_DaemonInfo* info = daemon_ ? MHD_get_daemon_info(daemon_, MHD_DAEMON_INFO_BIND_PORT) : nullptr;
    return info ? info->port : 0;
}

void HttpServer::Impl::Drain(int seconds) {
    if (daemon_ == nullptr) return;
    stopping_ = true;
    listenSocket_ = MHD_quiesce_daemon(daemon_);
    if (listenSocket_ >= 0) ::close(listenSocket_);
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
    while (inFlight_ > 0 && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    pauses_.Stop();
    MHD_stop_daemon(daemon_);
    daemon_ = nullptr;
    connections_.reset();
}

HttpServer::HttpServer(HttpSettings settings, Dispatch dispatch, Journal& journal, Scenario& scenario)
    : impl_(std::make_unique<Impl>(std::move(settings), std::move(dispatch), journal, scenario)) {}
HttpServer::~HttpServer() = default;
void HttpServer::Start() { impl_->Start(); }
int HttpServer::Port() const { return impl_->Port(); }
void HttpServer::Drain(int seconds) { impl_->Drain(seconds); }

}  // namespace Drive::ReferenceCloud
