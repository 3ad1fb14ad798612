#pragma once

#include <string>

namespace Drive::ReferenceCloud {

/// Makes the names that stand in a folder survive a power cut: what was created, renamed or removed there before the
/// call. Throws std::system_error with the folder's name.
void SyncFolder(const std::string& folder);

}  // namespace Drive::ReferenceCloud
