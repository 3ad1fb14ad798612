#pragma once

#include <sys/stat.h>
#include <sys/statvfs.h>

#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "host/mount/fetch_progress.h"
#include "host/mount/hydration_guard.h"
#include "host/mount/mount_state.h"

/// The file system's operations on what a mount shows, as answers to the kernel: 0 or an error number of the system.
/// Reading a placeholder has its content brought; everything else happens here at once, in the root, and is carried to
/// the cloud afterwards (carrier.h). Any thread, any number at once.
namespace Drive::Host {

/// Who asks, and how to learn that it does not wait any more.
struct Caller {
    pid_t process = 0;
    std::function<bool()> interrupted;
};

/// An open file. It keeps the content that it was opened with, also when the file is renamed, removed, or replaced by
/// a new version from the cloud.
struct Handle {
    NodePtr node;
    bool writes = false;

    std::mutex mutex;
    // Guarded by mutex.
    std::shared_ptr<OpenFile> file;        ///< the content; null while it is not known where that is
    std::shared_ptr<FetchProgress> fetch;  ///< what it waits for
    bool writable = false;                 ///< `file` may be written to
};

struct ListedName {
    std::string name;
    std::uint64_t number = 0;
    bool isFolder = false;
};

/// What is to be set of a file; only what its flag names.
struct AttributeChange {
    bool setsMode = false, setsOwner = false, setsSize = false, setsTimes = false;
    mode_t mode = 0;
    uid_t user = static_cast<uid_t>(-1);
    gid_t group = static_cast<gid_t>(-1);
    std::int64_t size = 0;
    struct timespec times[2] = {};  ///< access and change, as utimensat takes them
};

class FileOperations {
public:
    FileOperations(MountState& state, const HydrationGuard& guard) : state(state), guard(guard) {}

    // By number, as the kernel names nodes. Look and the makers let the kernel know of the node; Forget takes it back.
    int Look(std::uint64_t folder, const std::string& name, struct stat& facts);
    void Forget(std::uint64_t number, std::uint64_t lookups);
    int Attributes(std::uint64_t number, struct stat& facts);
    int Names(std::uint64_t folder, std::vector<ListedName>& names);

    int Open(std::uint64_t number, int flags, const Caller& caller, std::unique_ptr<Handle>& handle);
    int Create(std::uint64_t folder, const std::string& name, mode_t mode, int flags, std::unique_ptr<Handle>& handle,
               struct stat& facts);
    int Read(Handle& handle, std::int64_t offset, std::size_t length, const Caller& caller, std::vector<char>& data);
    int Write(Handle& handle, std::int64_t offset, const char* data, std::size_t length, const Caller& caller,
              std::size_t& written);
    int Sync(Handle& handle, bool dataOnly);
    int SyncFolder(std::uint64_t folder);
    void Release(Handle& handle);

    int Change(std::uint64_t number, const AttributeChange& change, const Caller& caller, struct stat& facts);
    int MakeFolder(std::uint64_t folder, const std::string& name, mode_t mode, struct stat& facts);
    int RemoveFile(std::uint64_t folder, const std::string& name);
    int RemoveFolder(std::uint64_t folder, const std::string& name);
    int Rename(std::uint64_t folder, const std::string& name, std::uint64_t newFolder, const std::string& newName,
               bool mayReplace);
    int Space(struct statvfs& facts);

private:
    // With the state's mutex held.
    int FolderOf(std::uint64_t number, NodePtr& folder) const;
    int CheckNewName(const std::string& name) const;
    int Fill(const Node& node, struct stat& facts) const;
    int MakeEmptyHere(const NodePtr& node);
    int ReplaceTarget(const NodePtr& source, const NodePtr& target);
    void Want(const NodePtr& node);
    int OpenNode(const NodePtr& node, int flags, bool mayFetch, std::unique_ptr<Handle>& handle);

    bool MayFetch(std::uint64_t number, const Caller& caller);
    int FindContent(Handle& handle);
    int MakeWritable(Handle& handle, const Caller& caller);
    int SetSize(const NodePtr& node, std::int64_t size, const Caller& caller);

    MountState& state;
    const HydrationGuard& guard;
};

}  // namespace Drive::Host
