#pragma once

#include <string>

namespace Drive::ReferenceCloud {

/// The media type that the name suggests, by the system's shared list; "application/octet-stream" when it says nothing.
std::string MediaTypeOf(const std::string& fileName);

}  // namespace Drive::ReferenceCloud
