#include <openssl/crypto.h>

#include <algorithm>

#include "interfaces/common/encrypt_helper.h"

/// The sealed text of a wrapped file key: one byte form (1), two bytes length of the key text (high byte first), the
/// key text, the text of the initialisation vector to the end. The vector stands inside the seal, since the side that
/// opens it does not give it again.
namespace Drive::Common {

namespace {

constexpr unsigned char kForm = 1;
constexpr std::size_t kHead = 3;
constexpr std::size_t kLongestKeyText = 0xFFFF;

bool IsUsable(const Bytes& userKey) {
    return (userKey.size() == 16 || userKey.size() == 32) &&
           std::any_of(userKey.begin(), userKey.end(), [](unsigned char byte) { return byte != 0; });
}

/// Bytes that are cleansed when they go out of scope.
class SecretBytes {
public:
    explicit SecretBytes(Bytes bytes) : bytes(std::move(bytes)) {}
    ~SecretBytes() { OPENSSL_cleanse(bytes.data(), bytes.size()); }
    SecretBytes(const SecretBytes&) = delete;
    SecretBytes& operator=(const SecretBytes&) = delete;
    const Bytes& Get() const { return bytes; }

private:
    Bytes bytes;
};

Bytes SealedText(const std::string& fek, const std::string& iv) {
    Bytes text;
    text.reserve(kHead + fek.size() + iv.size());
    text.push_back(kForm);
    text.push_back(static_cast<unsigned char>(fek.size() >> 8));
    text.push_back(static_cast<unsigned char>(fek.size() & 0xFF));
    text.insert(text.end(), fek.begin(), fek.end());
    text.insert(text.end(), iv.begin(), iv.end());
    return text;
}

}  // namespace

std::string EncryptHelper::GetEfek(const std::string& fek, const Bytes& userKey, const std::string& iv) {
    if (fek.empty() || fek.size() > kLongestKeyText || !IsUsable(userKey)) {
        return {};
    }
    const SecretBytes text(SealedText(fek, iv));
    const Bytes sealed = AES_GCM_Encrypt(text.Get(), userKey);
    return sealed.empty() ? std::string() : Base64Encode(sealed.data(), sealed.size(), true);
}

std::string EncryptHelper::GetFek(const std::string& efek, const Bytes& userKey) {
    if (!IsUsable(userKey)) {
        return {};
    }
    const std::string sealed = Base64Decode(efek, true);
    const SecretBytes opened(AES_GCM_Decrypt(Bytes(sealed.begin(), sealed.end()), userKey));
    const Bytes& text = opened.Get();
    if (text.size() < kHead || text[0] != kForm) {
        return {};
    }
    const std::size_t length = static_cast<std::size_t>(text[1]) << 8 | text[2];
    if (length > text.size() - kHead) {
        return {};
    }
    return std::string(text.begin() + kHead, text.begin() + static_cast<std::ptrdiff_t>(kHead + length));
}

}  // namespace Drive::Common
