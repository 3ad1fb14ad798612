#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "reference_cloud/http_message.h"

namespace Drive::ReferenceCloud {

/// Which handler answers what. Filled before the server starts, read by any thread afterwards.
class Router {
public:
    using Factory = std::function<std::unique_ptr<Handler>(const Request&)>;
    using JsonAnswer = std::function<Response(const Request&, const Json::Value&)>;
    using PlainAnswer = std::function<Response(const Request&)>;

    enum class Access { open, token };

    /// `authorise` sets the request's user from its token, or throws Refusal.
    explicit Router(std::function<void(Request&)> authorise) : authorise_(std::move(authorise)) {}

    /// `pattern` is a path in which {name} stands for one segment. Earlier routes win.
    void Add(const std::string& method, const std::string& pattern, Access access, Factory factory);
    /// For a body that is a JSON object: of 64 KiB at most where the access is open, of 4 MiB elsewhere.
    void AddJson(const std::string& method, const std::string& pattern, Access access, JsonAnswer answer);
    /// For requests whose body, if any, is not read.
    void AddPlain(const std::string& method, const std::string& pattern, Access access, PlainAnswer answer);

    /// Finds the route and checks the token. Throws Refusal 404, 405, 401.
    std::unique_ptr<Handler> Open(Request& request) const;

    /// Every route as it was added.
    struct Named {
        std::string method;
        std::string pattern;
        Access access;
    };
    std::vector<Named> Routes() const;

private:
    struct Route {
        std::string method;
        std::string pattern;
        std::vector<std::string> segments;
        Access access;
        Factory factory;
    };
    static bool Fits(const Route& route, const std::vector<std::string>& segments, Request& request);

    const std::function<void(Request&)> authorise_;
    std::vector<Route> routes_;
};

}  // namespace Drive::ReferenceCloud
