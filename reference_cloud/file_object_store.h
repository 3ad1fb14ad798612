#pragma once

#include <memory>
#include <string>

#include "reference_cloud/object_store.h"

namespace Drive::ReferenceCloud {

/// Objects as files: FOLDER/ab/abcdef..., unfinished ones in FOLDER/unfinished. An object is written to the latter,
/// synced and renamed, so that a file under its key is always whole. Throws when the folder cannot be made.
std::unique_ptr<ObjectStore> OpenFileObjectStore(const std::string& folder);

}  // namespace Drive::ReferenceCloud
