#pragma once

#include <string>

namespace Drive::ReferenceCloud {

/// Makes the names that stand in a folder survive a power cut: what was created, renamed or removed there before the
/// call. Throws std::system_error with the folder's name.
void SyncFolder(const std::string& folder);

/// Puts a small file in place, for its owner alone: there whole or not at all, also after a power cut. Throws
/// std::runtime_error with a text for people.
void WriteDurably(const std::string& path, const std::string& text);

}  // namespace Drive::ReferenceCloud
