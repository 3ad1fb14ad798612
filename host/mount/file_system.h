#pragma once

#include <string>

#include "host/mount/mounted_tree.h"
#include "host/tree/tree.h"

namespace Drive::Host {

/// The kernel's side of a mount: shows the tree, read-only; opening a file brings its content into the visible tree
/// and reads it from there.
class FileSystem {
public:
    FileSystem(MountedTree& tree, const Tree& visible);
    ~FileSystem();
    FileSystem(const FileSystem&) = delete;
    FileSystem& operator=(const FileSystem&) = delete;

    /// Mounts on a folder and answers the kernel on threads of its own. False with `error` set.
    bool Start(const std::string& mountPoint, std::string& error);

    /// True once somebody has unmounted it.
    bool Ended() const;

    /// Unmounts and waits for the threads.
    void Stop();

private:
    struct Body;
    Body* const body;
};

}  // namespace Drive::Host
