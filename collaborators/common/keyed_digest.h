#pragma once

#include <cstddef>

#include "collaborators/common/digest.h"

namespace Drive::Common {

/// HMAC with SHA-256. False when it could not be made.
bool KeyedDigest(const void* key, std::size_t keyLength, const void* data, std::size_t length, Sha256Bytes& result);

}  // namespace Drive::Common
