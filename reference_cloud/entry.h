#pragma once

#include <json/value.h>

#include <string>

#include "reference_cloud/records.h"

namespace Drive::ReferenceCloud {

/// A file or folder as the protocol shows it, with the thumbnail link relative (it starts with a slash).
Json::Value EntryOf(const FileRow& file);

/// Puts the scheme, host and port before the thumbnail link.
Json::Value WithAddress(Json::Value entry, const std::string& baseUrl);

}  // namespace Drive::ReferenceCloud
