#pragma once

#include <json/value.h>

#include <cstdint>
#include <map>
#include <mutex>
#include <string>

namespace Drive::ReferenceCloud {

/// What the journal says about one request.
struct JournalEntry {
    double begin = 0;  ///< seconds since the epoch
    double end = 0;
    std::string method;
    std::string path;
    std::string user;
    std::string peer;          ///< numeric address of who asks
    std::string range;         ///< "Range" of the request
    std::string contentRange;  ///< "Content-Range" of the request
    int status = 0;            ///< 0 when no answer was made
    std::uint64_t bytesIn = 0;
    std::uint64_t bytesOut = 0;
    int inFlight = 0;         ///< requests under way at its beginning, itself included
    bool clientGone = false;  ///< the client went away before the end
    std::string scenario;     ///< name of the scenario rule that struck; empty for none

    // With bodies only.
    std::map<std::string, std::string> query;
    std::map<std::string, std::string> answerHeaders;
    std::string request;  ///< the body when it is JSON, as it came; empty otherwise
    std::string answer;   ///< the same of the answer, before a scenario bent it
};

/// One JSON object a line, written when a request has ended. With bodies, for tests of what is said on the wire, a line
/// also holds the query, the answer's headers and the JSON bodies; secrets in them are replaced. Any thread.
class Journal {
public:
    /// Appends to the file; an empty path writes nowhere. Throws when the file cannot be opened.
    explicit Journal(const std::string& path, bool withBodies = false);
    ~Journal();
    /// A line that cannot be written, as on a full disk, is lost and told once on the standard error stream; the lines
    /// after it are written again as soon as that works.
    void Write(const JournalEntry& entry);
    /// Goes on in a file of the same name, after somebody has moved the old one away. Throws as the constructor does.
    void Reopen();
    bool WithBodies() const { return withBodies_; }

private:
    const std::string path_;
    const bool withBodies_;
    std::mutex mutex_;
    // Guarded by mutex_.
    int file_ = -1;
    bool failing_ = false;  // the last line was not written, or only in part
};

}  // namespace Drive::ReferenceCloud
