#pragma once

#include <openssl/evp.h>

#include <memory>
#include <optional>
#include <string>
#include <string_view>

/// Digests, message codes, random bytes, AES-GCM and password hashes, all by OpenSSL. Failures of the library itself
/// throw std::runtime_error.
namespace Drive::ReferenceCloud {

/// A running digest, SHA-256 or MD5. One thread at a time.
class Digest {
public:
    static Digest Sha256();
    static Digest Md5();

    void Add(std::string_view bytes);
    /// The digest of what was added so far as lower-case hexadecimal; more may be added afterwards.
    std::string Hex() const;
    /// An independent running digest of the same bytes.
    Digest Copy() const;

private:
    explicit Digest(const EVP_MD* kind);
    struct Free {
        void operator()(EVP_MD_CTX* context) const { EVP_MD_CTX_free(context); }
    };
    std::unique_ptr<EVP_MD_CTX, Free> context_;
};

std::string Sha256Hex(std::string_view bytes);
std::string HmacSha256Hex(std::string_view key, std::string_view text);

std::string RandomBytes(std::size_t count);
/// `count` random bytes as hexadecimal.
std::string RandomId(std::size_t count);

/// Nonce (12), cipher text, tag (16). Keys are 16 or 32 bytes.
std::string SealGcm(std::string_view plain, std::string_view key);
/// The inverse; nothing when the text was not made with this key.
std::optional<std::string> OpenGcm(std::string_view sealed, std::string_view key);

/// AES-128-CBC with PKCS#7, the inverse of what clients do to a slice; nothing for a wrong length or padding.
std::optional<std::string> OpenCbc(std::string_view cipher, std::string_view key, std::string_view iv);

/// scrypt with a salt of its own: "scrypt$N$r$p$salt$hash".
std::string HashPassword(const std::string& password);
bool CheckPassword(const std::string& password, const std::string& stored);

}  // namespace Drive::ReferenceCloud
