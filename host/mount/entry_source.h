#pragma once

#include <string>
#include <vector>

#include "host/get/cloud_tree.h"

namespace Drive::Host {

/// Who wants entries of the cloud while a command runs: the mount. All operations are called on the command's thread.
class EntrySource {
public:
    virtual ~EntrySource() = default;

    /// What the cloud holds now; at the beginning and whenever that has changed.
    virtual void Listed(const std::vector<CloudEntry>& entries) = 0;

    /// The paths that were asked for since the last call. Quick.
    virtual std::vector<std::string> Wanted() = 0;

    /// The entry stands in the visible tree, or could not be brought there and `message` says why.
    virtual void Settled(const std::string& path, bool here, const std::string& message) = 0;
};

}  // namespace Drive::Host
