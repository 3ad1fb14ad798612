#pragma once

#include <string>
#include <vector>

#include "reference_cloud/object_store.h"
#include "reference_cloud/records.h"

namespace Drive::ReferenceCloud {

/// A small JPEG of a plain picture, made by a helper process with limits on time, memory and files, since pictures are
/// foreign data. Empty when it cannot be made.
/// The helper is the program "zelkor-cloud-thumbnail" beside this one.
std::string MakeThumbnail(ObjectStore& store, const std::vector<StoredObject>& pieces);

}  // namespace Drive::ReferenceCloud
