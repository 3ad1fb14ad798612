#pragma once

#include <optional>
#include <string>

/// What the launcher must know of the command line before the engine can be loaded. Everything else is for the host
/// module, which reads the whole line.
namespace Drive::Host {

struct EarlyOptions {
    std::string stateFolder;  ///< --state, else ZELKOR_DRIVE_STATE, else the user's data folder
    std::optional<int> uploads;
    std::optional<int> downloads;
};

/// Never fails: what it cannot understand the host module will refuse.
EarlyOptions ReadEarlyOptions(int argc, const char* const* argv);

/// Where the state is when nobody says otherwise.
std::string DefaultStateFolder();

}  // namespace Drive::Host
