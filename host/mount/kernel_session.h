#pragma once

#include <string>

#include "host/mount/file_operations.h"

/// The kernel's side of a mount: a session of the FUSE device that answers from the file operations.
namespace Drive::Host {

class KernelSession {
public:
    explicit KernelSession(FileOperations& files);
    ~KernelSession();
    KernelSession(const KernelSession&) = delete;
    KernelSession& operator=(const KernelSession&) = delete;

    /// Mounts on a folder and answers the kernel on threads of its own. What an earlier mount of this program left
    /// there when it was killed is taken away first. False with `error` set for people.
    bool Start(const std::string& mountPoint, std::string& error);

    /// True once somebody has unmounted it.
    bool Ended() const;

    /// Unmounts and waits for the threads. Nobody must wait for content any more.
    void Stop();

private:
    struct Body;
    Body* const body;
};

/// True when a mount of this program stands at the folder and nobody answers for it.
bool IsCutOffMount(const std::string& mountPoint);

}  // namespace Drive::Host
