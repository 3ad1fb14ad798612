#pragma once

#include <json/value.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "reference_cloud/records.h"

namespace Drive::ReferenceCloud {

/// One request as its handler sees it; complete but for the body, which is handed over in pieces.
struct Request {
    std::string method;
    std::string path;                             ///< decoded, without the query
    std::map<std::string, std::string> query;     ///< decoded
    std::map<std::string, std::string> headers;   ///< names in lower case
    std::int64_t contentLength = -1;              ///< -1 when not told
    std::string baseUrl;                          ///< scheme, host and port for addresses in the answer
    std::string peer;                             ///< numeric address of the other side
    std::map<std::string, std::string> segments;  ///< what stood for {name} in the route
    User user;                                    ///< of the token; empty on open routes
    std::string tokenHash;
    std::string tokenFamily;

    const std::string& Header(const std::string& lowerName) const;
    const std::string& Query(const std::string& name) const;
};

/// The body of an answer that is not held in memory. Called on the connection's thread only.
class BodySource {
public:
    virtual ~BodySource() = default;
    /// Up to `length` bytes from `offset` of the source; 0 means that it cannot go on, and the connection is cut.
    virtual std::size_t Read(std::int64_t offset, char* buffer, std::size_t length) = 0;
};

struct Response {
    int status = 200;
    std::map<std::string, std::string> headers;
    std::string text;                    ///< the body, unless there is a source
    std::shared_ptr<BodySource> source;  ///< null for a text body
    std::int64_t offset = 0;             ///< first byte of the source
    std::int64_t length = 0;             ///< bytes of the source
};

/// Takes the body of one request in pieces and then answers. Any of the calls may throw Refusal. Destroyed without
/// Finish when the client went away.
class Handler {
public:
    virtual ~Handler() = default;
    virtual void Data(std::string_view bytes) = 0;
    virtual Response Finish() = 0;
};

/// JSON answer.
Response JsonResponse(const Json::Value& body, int status = 200);

/// The answer of a refusal.
Response RefusalResponse(int status, const std::string& code, const std::string& description);

/// Bytes that the small bodies of all connections may take together: each is small, but there may be thousands of
/// senders who take their time.
class BodyBudget {
public:
    explicit BodyBudget(std::int64_t bytes) : left_(bytes) {}
    /// False, and nothing taken, when there are not so many left.
    bool Take(std::int64_t bytes);
    void GiveBack(std::int64_t bytes) { left_ += bytes; }
    static BodyBudget& OfTheServer();

private:
    std::atomic<std::int64_t> left_;
};

/// A handler for small bodies: holds up to `limit` bytes, more is refused with 413. When the budget is used up, the
/// request is refused with 503 for a moment.
std::unique_ptr<Handler> SmallBody(std::size_t limit, std::function<Response(std::string&& body)> answer,
                                   BodyBudget& budget = BodyBudget::OfTheServer());

/// Always well-formed UTF-8, whatever the texts hold: one odd byte in a name of method or path, or in an old row, would
/// make a whole list or a line of the journal unreadable.
std::string JsonText(const Json::Value& value);
/// Nothing when the text is not one JSON value.
std::optional<Json::Value> ParseJson(const std::string& text);

}  // namespace Drive::ReferenceCloud
