#pragma once

#include <memory>
#include <string>

#include "reference_cloud/metadata_store.h"

namespace Drive::ReferenceCloud {

/// The rows in one SQLite file: WAL, every change synced before it counts as done; other
/// processes (the user and import commands) may work on the file beside. Throws when the file cannot be opened.
std::unique_ptr<MetadataStore> OpenSqliteMetadata(const std::string& path);

}  // namespace Drive::ReferenceCloud
