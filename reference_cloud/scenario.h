#pragma once

#include <json/value.h>

#include <chrono>
#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace Drive::ReferenceCloud {

/// What a rule does to one request. Every part is optional.
struct Misbehaviour {
    std::string rule;        ///< its name in the journal
    int status = 0;          ///< answer this instead; 0: the real answer
    bool afterWork = false;  ///< do the work first, then give `status` or drop: a lost answer
    std::string errorCode;   ///< of the answer in place
    std::string description;
    std::map<std::string, std::string> headers;  ///< added to the answer
    double delay = 0;                            ///< seconds before the answer
    std::int64_t rate = 0;                       ///< bytes per second of the answer's body
    std::int64_t uploadRate = 0;                 ///< bytes per second of the request's body
    std::int64_t cutAfter = -1;                  ///< bytes of the answer's body, then the connection is closed
    std::int64_t corrupt = -1;                   ///< offset in the answer's body of a byte that is turned over
    bool drop = false;                           ///< close the connection without an answer
    std::optional<std::string> body;             ///< instead of the answer's body
    std::int64_t contentLength = -1;             ///< announced instead of the body's own length
    std::vector<std::string> remove;             ///< fields taken out of a JSON answer, as "items.0.length"
    std::vector<std::pair<std::string, std::string>> set;  ///< fields of a JSON answer and their new JSON text
};

/// Takes fields out of a JSON text and puts others in place. A text that is no JSON stays as it is.
std::string BendFields(const std::string& text, const Misbehaviour& what);

/// Misbehaviour on purpose, told by a JSON file:
///   {"migrating": false, "quota": 1000000, "clock": 7200, "rules": [{"name": "...", "method": "GET", "path":
///   "/v1/files/*/content", "user": "...",
///     "nth": 3, "from": 2, "times": 1, "every": 4, "status": 503, "errorCode": "...", "description": "...",
///     "headers": {"Retry-After": "1"}, "afterWork": false, "delay": 0.5, "rate": 100000, "uploadRate": 0,
///     "cutAfter": 65536, "corrupt": 10, "drop": false, "body": "{garbage", "contentLength": 10,
///     "remove": ["items.0.length"], "set": {"position": -1}}]}
/// "quota" is the most bytes that any user may hold, "clock" is added to the cloud's clock in seconds. A field is named
/// by the way to it, joined by dots; a number stands for an element of an array. Only what is there is set or removed.
/// `path` is a shell pattern in which * also stands for slashes. A rule counts the requests that fit it: "nth" strikes
/// at exactly that one, otherwise it strikes from "from" (1) on, "times" times (0: always), each "every"th (1). The
/// first rule that strikes is taken; every rule that fits counts. Reading the file again starts all counts afresh.
/// Any thread.
class Scenario {
public:
    /// An empty path: never misbehaves. Throws std::runtime_error when the file cannot be read as told.
    explicit Scenario(std::string path);

    /// Reads the file again when it changed, or in any case. A file that is not right in every part leaves all as it
    /// was; the text then says why, with the line.
    std::optional<std::string> Reload(bool force);

    std::optional<Misbehaviour> Strike(const std::string& method, const std::string& path, const std::string& user);
    bool Migrating();
    /// Seconds.
    std::int64_t ClockShift();
    /// Bytes; nothing when the file does not tell.
    std::optional<std::int64_t> Quota();

private:
    struct Rule {
        Misbehaviour misbehaviour;
        std::string method;
        std::string path;
        std::string user;
        int nth = 0;
        int from = 1;
        int times = 0;
        int every = 1;
        int seen = 0;
        int struck = 0;
    };
    struct Stamp {
        std::int64_t time = 0;
        std::int64_t size = -1;
        std::uint64_t inode = 0;
        bool operator==(const Stamp&) const = default;
    };

    static bool Due(Rule& rule);
    static Rule ReadRule(const Json::Value& from, std::size_t index);
    Stamp Look() const;
    void Read();

    const std::string path_;
    std::mutex mutex_;
    // Guarded by mutex_.
    std::vector<Rule> rules_;
    bool migrating_ = false;
    std::int64_t clockShift_ = 0;
    std::optional<std::int64_t> quota_;
    Stamp stamp_;
    std::chrono::steady_clock::time_point looked_{};
};

}  // namespace Drive::ReferenceCloud
