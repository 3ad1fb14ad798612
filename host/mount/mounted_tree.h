#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/mount/entry_source.h"

/// What a mount shows, between the threads that answer the kernel and the command that brings content.
namespace Drive::Host {

struct MountedNode {
    bool isFolder = false;
    std::int64_t size = 0;
    std::int64_t editedTime = 0;                         ///< seconds since the epoch
    std::shared_ptr<std::vector<std::string>> children;  ///< names; never changed once shown, null for a file
};

enum class Brought { Here, Failed, Interrupted, Ended };

class MountedTree : public EntrySource {
public:
    /// `wake` is called, on a thread of the kernel's, when something is wanted.
    explicit MountedTree(std::function<void()> wake);
    ~MountedTree() override;

    // For the command.
    void Listed(const std::vector<CloudEntry>& entries) override;
    std::vector<std::string> Wanted() override;
    void Settled(const std::string& path, bool here, const std::string& message) override;

    /// Nobody brings anything any more: all who wait are told.
    void End();

    // For the kernel's threads; any number at once. Paths are below the root, empty for the root itself.
    std::optional<MountedNode> Look(const std::string& path) const;

    /// Asks for a file and waits until it stands in the visible tree. `interrupted` is asked several times a second.
    Brought Bring(const std::string& path, const std::function<bool()>& interrupted);

private:
    const std::function<void()> wake;
    struct Body;
    const std::unique_ptr<Body> body;
};

}  // namespace Drive::Host
