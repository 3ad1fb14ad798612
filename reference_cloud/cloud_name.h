#pragma once

#include <string>
#include <string_view>

/// Names of files and folders as the cloud keeps them. Pure.
namespace Drive::ReferenceCloud {

/// The cloud's form of a native file name, any bytes: a backslash becomes U+F05C, a real U+F05C and undecodable bytes
/// are escaped as interfaces/cloud/wire/names.h says. The inverse is the client's.
std::string CloudName(std::string_view nativeName);

/// True when the text may be a name: 1 to 1024 bytes of UTF-8, not "." or "..", no separator, no control character 0.
bool IsAllowedName(std::string_view name);

/// "folder" apart, the category of a media type: "image", "video", "audio", "document" or "other".
std::string CategoryOf(std::string_view mimeType);

}  // namespace Drive::ReferenceCloud
