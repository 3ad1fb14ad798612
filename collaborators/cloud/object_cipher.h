#pragma once

#include <openssl/evp.h>

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

namespace Drive::Cloud {

struct FreeCipher {
    void operator()(EVP_CIPHER_CTX* context) const { EVP_CIPHER_CTX_free(context); }
};
struct FreeDigest {
    void operator()(EVP_MD_CTX* context) const { EVP_MD_CTX_free(context); }
};

/// Decrypts one stored object while it arrives and takes the digest of what was stored.
///
/// "AES_128" is AES-128-CBC with a key of 16 bytes and an initialisation vector of 16. "AES_256" is AES-256-CBC with a
/// key of 32 bytes and the first 16 bytes of the vector, which a type 3 entry gives with 32. PKCS#7 padding.
class ObjectCipher {
public:
    /// False, with the reason in `why`, for an unknown algorithm, wrong lengths and a key of zeroes only: that is what
    /// a key that could not be unwrapped looks like.
    bool Start(const std::wstring& algorithm, const std::vector<unsigned char>& key,
               const std::vector<unsigned char>& iv, std::string& why);

    /// Appends the plain bytes to `plain`.
    bool Take(const unsigned char* stored, std::size_t size, std::vector<unsigned char>& plain);

    /// Checks and takes off the padding. False when it is wrong.
    bool Finish(std::vector<unsigned char>& plain);

    /// SHA-256 of all stored bytes, lower-case hexadecimal. Once, at the end; empty on failure.
    std::string StoredDigest();

private:
    std::unique_ptr<EVP_CIPHER_CTX, FreeCipher> cipher;
    std::unique_ptr<EVP_MD_CTX, FreeDigest> digest;
};

}  // namespace Drive::Cloud
