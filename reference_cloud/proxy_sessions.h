#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "reference_cloud/crypto.h"
#include "reference_cloud/records.h"

namespace Drive::ReferenceCloud {

struct Cloud;

/// The digests of what a server upload holds so far.
struct RunningDigests {
    Digest sha256 = Digest::Sha256();
    Digest md5 = Digest::Md5();
    void Add(std::string_view bytes) { sha256.Add(bytes), md5.Add(bytes); }
    RunningDigests Copy() const { return {sha256.Copy(), md5.Copy()}; }
};

/// One request at a time for each session, and the running digests between the slices, so that the last slice of a
/// large file need not read all of it again. They live in memory only and are made anew from the pieces after a
/// restart. Any thread.
class ProxySessions {
public:
    explicit ProxySessions(Cloud& cloud) : cloud_(cloud) {}

    /// The right to work on a session; given back with the object.
    class Turn {
    public:
        Turn(ProxySessions& sessions, std::string cursor) : sessions_(sessions), cursor_(std::move(cursor)) {}
        ~Turn() { sessions_.GiveBack(cursor_); }
        Turn(const Turn&) = delete;
        Turn& operator=(const Turn&) = delete;

    private:
        ProxySessions& sessions_;
        const std::string cursor_;
    };

    /// Refuses with 409 while another request works on the session.
    std::unique_ptr<Turn> Take(const std::string& cursor);

    /// Digests of the first `position` bytes that the pieces hold.
    RunningDigests At(const std::string& cursor, std::int64_t position, const std::vector<StoredObject>& pieces);
    void Keep(const std::string& cursor, std::int64_t position, RunningDigests digests);
    void Forget(const std::string& cursor);

private:
    struct Kept {
        std::int64_t position;
        RunningDigests digests;
    };
    void GiveBack(const std::string& cursor);

    Cloud& cloud_;
    std::mutex mutex_;
    // Guarded by mutex_.
    std::map<std::string, bool> busy_;
    std::map<std::string, Kept> kept_;
};

}  // namespace Drive::ReferenceCloud
