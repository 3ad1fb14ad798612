#pragma once

#include <string>

#include "interfaces/cloud/drive_account.h"

namespace Drive::Host {

/// What "put" and "get" both say.
inline constexpr const char* kNoKeysYet =
    "the cloud has given no keys for this account yet; nothing can move until it does";
inline constexpr const char* kNoKeysAtAll =
    "the cloud gave no keys for this account; ask who runs the cloud, or run 'zelkor-drive init' again";

/// Why the cloud's list could not be had, and what to do.
std::string CannotList(const Cloud::CallOutcome& outcome);

/// Name of the host's value that holds the last notice about the space in the cloud: seconds since the epoch, a blank,
/// the text.
inline constexpr const char* kSpaceNotice = "spaceNotice";

}  // namespace Drive::Host
