#include "reference_cloud/router.h"

#include <algorithm>
#include <semaphore>

#include "interfaces/cloud/wire/codes.h"
#include "reference_cloud/fields.h"
#include "reference_cloud/refusal.h"

namespace Drive::ReferenceCloud {

namespace {

constexpr std::size_t kJsonLimit = 4 * 1024 * 1024;
constexpr std::size_t kOpenLimit = 64 * 1024;  // of a body from somebody whom nobody knows yet
constexpr std::size_t kLarge = 256 * 1024;

/// A large JSON text takes many times its size while it is read: few at a time.
std::counting_semaphore<> g_largeBodies(2);

class LargeBodyTurn {
public:
    explicit LargeBodyTurn(std::size_t size) : taken_(size > kLarge) {
        if (taken_) g_largeBodies.acquire();
    }
    ~LargeBodyTurn() {
        if (taken_) g_largeBodies.release();
    }
    LargeBodyTurn(const LargeBodyTurn&) = delete;
    LargeBodyTurn& operator=(const LargeBodyTurn&) = delete;

private:
    const bool taken_;
};

/// No name of the protocol holds one, and a line feed would end a field of what a signature binds.
bool HasControl(const std::string& path) {
    return std::any_of(path.begin(), path.end(), [](unsigned char character) { return character < 0x20; });
}

std::vector<std::string> Split(const std::string& path) {
    std::vector<std::string> segments;
    for (std::size_t begin = 0; begin < path.size();) {
        const std::size_t end = std::min(path.find('/', begin + 1), path.size());
        segments.push_back(path.substr(begin + 1, end - begin - 1));
        begin = end;
    }
    return segments;
}

bool IsName(const std::string& segment) { return segment.size() > 2 && segment.front() == '{'; }

}  // namespace

void Router::Add(const std::string& method, const std::string& pattern, Access access, Factory factory) {
    routes_.push_back({method, pattern, Split(pattern), access, std::move(factory)});
}

void Router::AddJson(const std::string& method, const std::string& pattern, Access access, JsonAnswer answer) {
    const std::size_t limit = access == Access::open ? kOpenLimit : kJsonLimit;
    Add(method, pattern, access, [limit, answer = std::move(answer)](const Request& request) {
        // The request outlives its handler.
        return SmallBody(limit, [&request, answer](std::string&& body) {
            const LargeBodyTurn turn(body.size());
            return answer(request, body.empty() ? Json::Value(Json::objectValue) : RequestObject(body));
        });
    });
}

void Router::AddPlain(const std::string& method, const std::string& pattern, Access access, PlainAnswer answer) {
    const std::size_t limit = access == Access::open ? kOpenLimit : kJsonLimit;
    Add(method, pattern, access, [limit, answer = std::move(answer)](const Request& request) {
        return SmallBody(limit, [&request, answer](std::string&&) { return answer(request); });
    });
}

bool Router::Fits(const Route& route, const std::vector<std::string>& segments, Request& request) {
    if (route.segments.size() != segments.size()) return false;
    std::map<std::string, std::string> values;
    for (std::size_t index = 0; index < segments.size(); ++index) {
        const std::string& wanted = route.segments[index];
        if (IsName(wanted)) {
            if (segments[index].empty()) return false;
            values[wanted.substr(1, wanted.size() - 2)] = segments[index];
        } else if (wanted != segments[index]) {
            return false;
        }
    }
    request.segments = std::move(values);
    return true;
}

std::unique_ptr<Handler> Router::Open(Request& request) const {
    const auto segments = Split(request.path);
    const std::string& method = request.method == "HEAD" ? "GET" : request.method;
    bool known = false;
    const bool isPath = request.path.starts_with('/') && !HasControl(request.path);
    if (!isPath) throw Refusal(404, Drive::Cloud::Wire::kNotFound, "there is nothing at this address");
    for (const Route& route : routes_) {
        if (!Fits(route, segments, request)) continue;
        known = true;
        if (route.method != method) continue;
        if (route.access == Access::token) authorise_(request);
        return route.factory(request);
    }
    if (known) throw Refusal(405, Drive::Cloud::Wire::kBadRequest, "this address does not take " + request.method);
    throw Refusal(404, Drive::Cloud::Wire::kNotFound, "there is nothing at this address");
}

std::vector<Router::Named> Router::Routes() const {
    std::vector<Named> named;
    for (const Route& route : routes_) named.push_back({route.method, route.pattern, route.access});
    return named;
}

}  // namespace Drive::ReferenceCloud
