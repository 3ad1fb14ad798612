#include "collaborators/common/keyed_digest.h"

#include <openssl/hmac.h>

namespace Drive::Common {

bool KeyedDigest(const void* key, std::size_t keyLength, const void* data, std::size_t length, Sha256Bytes& result) {
    return HMAC(EVP_sha256(), key, static_cast<int>(keyLength), static_cast<const unsigned char*>(data), length,
                result.data(), nullptr) != nullptr;
}

}  // namespace Drive::Common
