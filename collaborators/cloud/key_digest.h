#pragma once

#include <string>

namespace Drive::Cloud {

/// What may be told of a file's key text (32 hexadecimal digits of key, 32 of vector): see wire/key_digest.h. Empty for
/// a text of any other form, which says nothing that could be held to. Any thread.
std::string KeyDigest(const std::string& keyText);

}  // namespace Drive::Cloud
