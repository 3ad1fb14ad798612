#pragma once

#include <string>

#include "host/module/session.h"

/// Making a placeholder of a file again: its content leaves the root when, and only when, the cloud has exactly it.
namespace Drive::Host {

/// What is known of the file. The last two are filled in by the check.
struct EvictFacts {
    std::wstring fileId;
    std::wstring contentVersion;
    FileFacts looked;
    std::wstring sha256;
};

/// Asks the cloud and reads the file: is the content there that is here? Empty when it is, else what is in the way, for
/// people. May take as long as reading the file does.
std::string CheckEvictable(Session& session, const std::string& path, EvictFacts& facts);

/// Removes a file that was checked. It stays, with the reason as answer, when somebody has it open or it looks
/// otherwise than when it was checked.
std::string RemoveChecked(Session& session, const std::string& path, const EvictFacts& facts);

/// The answer of a mount to a wish that was granted.
inline constexpr const char* kEvicted = "evicted";

}  // namespace Drive::Host
