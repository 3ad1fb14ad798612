#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "reference_cloud/connections.h"
#include "reference_cloud/http_message.h"
#include "reference_cloud/journal.h"
#include "reference_cloud/scenario.h"

namespace Drive::ReferenceCloud {

struct HttpSettings {
    std::string host = "127.0.0.1";
    int port = 0;                ///< 0 picks a free one
    std::string certificate;     ///< PEM text; empty for plain HTTP
    std::string privateKey;      ///< PEM text
    std::string publicUrl;       ///< shown in addresses; empty: what the request's Host header says
    std::int64_t rate = 0;       ///< bytes per second of one answer; 0 for no limit
    std::int64_t totalRate = 0;  ///< of all answers together
    unsigned connections = 2048;
    unsigned idleSeconds = 60;       ///< a connection on which nothing moves is closed
    std::int64_t slowestBody = 512;  ///< bytes per second below which a request body is given up after half a minute
    Patience patience;               ///< with headers, and with answers that wait to be read
};

/// The HTTP side: a thread per connection, bodies streamed both ways, journal, speed limits and scenario.
class HttpServer {
public:
    /// Makes the handler of a request, having checked who asks; sets Request::user. May throw Refusal.
    using Dispatch = std::function<std::unique_ptr<Handler>(Request&)>;

    /// `journal` and `scenario` must outlive the server.
    HttpServer(HttpSettings settings, Dispatch dispatch, Journal& journal, Scenario& scenario);
    ~HttpServer();

    /// Listens. Throws std::runtime_error with the reason.
    void Start();
    int Port() const;

    /// Takes no new connections, waits up to `seconds` for requests under way, then closes everything.
    void Drain(int seconds);

private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace Drive::ReferenceCloud
