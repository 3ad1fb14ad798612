#pragma once

#include <openssl/evp.h>

#include <array>
#include <cstddef>
#include <memory>

namespace Drive::Common {

using Sha256Bytes = std::array<unsigned char, 32>;
using Md5Bytes = std::array<unsigned char, 16>;

/// A digest that is fed piece by piece. After a failure it stays failed.
class RunningDigest {
public:
    explicit RunningDigest(const EVP_MD* algorithm);

    void Add(const void* data, std::size_t length);

    /// Writes the digest, for which the caller provides the room. False when any step failed.
    bool Finish(unsigned char* result);

private:
    std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> context;
    bool good;
};

}  // namespace Drive::Common
