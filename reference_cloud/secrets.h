#pragma once

#include <optional>
#include <string>

namespace Drive::ReferenceCloud {

/// The server's own keys. They stand in one file that only its owner can read; without it the users' content keys
/// cannot be opened any more. Constant; any thread.
class Secrets {
public:
    Secrets() = default;
    /// Reads the file, or makes it with fresh keys. Throws std::runtime_error.
    static Secrets Open(const std::string& path);

    const std::string& AddressKey() const { return addressKey_; }
    const std::string& Version() const { return version_; }
    /// SubjectPublicKeyInfo of the server's P-256 key, 91 bytes.
    const std::string& PublicKey() const { return publicKey_; }

    /// Base64 forms of content keys as they stand in the metadata.
    std::string SealContentKey(const std::string& key) const;
    std::string OpenContentKey(const std::string& sealed) const;

    /// The temporary key out of "<Base64 of 91 bytes>:<Base64 of the sealed key>"; nothing when it does not open.
    std::optional<std::string> OpenTemporaryKey(const std::string& text) const;

private:
    std::optional<std::string> SharedSecret(const std::string& peerPoint) const;

    std::string masterKey_;
    std::string addressKey_;
    std::string privateKey_;  ///< DER
    std::string publicKey_;
    std::string version_ = "1";
};

}  // namespace Drive::ReferenceCloud
