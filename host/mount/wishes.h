#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>

/// What was done on the mount to entries of the cloud and is not in the cloud yet: removals and new places. Kept in
/// "mount.db" of the state folder, written before the operation is answered, so that the next mount goes on with it
/// also after a kill. Changed contents need no record: they stand in the root. Any thread; a failed statement throws
/// std::runtime_error.
namespace Drive::Host {

struct Wish {
    bool removed = false;
    std::string version;  ///< of a removal: the content version that was seen when it was asked for
    std::string path;     ///< of a new place: below the root
};

class Wishes {
public:
    Wishes();
    ~Wishes();
    Wishes(const Wishes&) = delete;
    Wishes& operator=(const Wishes&) = delete;

    void Open(const std::string& stateFolder);

    /// By file id.
    std::unordered_map<std::string, Wish> All();
    void PutRemoval(const std::string& fileId, const std::string& version);
    void PutPlace(const std::string& fileId, const std::string& path);

    /// A folder got another place: what is wished for below it goes along.
    void MoveBelow(const std::string& from, const std::string& to);
    void Forget(const std::string& fileId);

private:
    struct Body;
    const std::unique_ptr<Body> body;
};

}  // namespace Drive::Host
