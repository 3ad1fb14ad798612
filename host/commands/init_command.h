#pragma once

#include <optional>
#include <string>

#include "host/settings/settings.h"

/// "init": signs in and makes a state folder for one root.
namespace Drive::Host {

struct InitOptions {
    std::string stateFolder;
    std::string url;
    std::string user;
    std::string passwordFile;  ///< empty: one line of the standard input
    std::string root;
    std::string staging;  ///< empty: beside the root
    std::string caFile;
    std::optional<int> downloads;
    std::optional<int> uploads;
    bool json = false;
};

/// An exit code; what there is to say is said. May be called again for the same user and root, to sign in anew.
int RunInit(const InitOptions& options);

/// Where downloads stand for a root: beside it when that is the same file system and may be written, else inside it.
std::string StagingFor(const std::string& root);

}  // namespace Drive::Host
