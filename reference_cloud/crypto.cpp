#include "reference_cloud/crypto.h"

#include <openssl/hmac.h>
#include <openssl/rand.h>

#include <cstdio>
#include <stdexcept>

#include "reference_cloud/text.h"

namespace Drive::ReferenceCloud {

namespace {

constexpr std::size_t kNonce = 12;
constexpr std::size_t kTag = 16;
constexpr unsigned kScryptN = 16384, kScryptR = 8, kScryptP = 1;

const unsigned char* Bytes(std::string_view text) { return reinterpret_cast<const unsigned char*>(text.data()); }
unsigned char* Bytes(std::string& text) { return reinterpret_cast<unsigned char*>(text.data()); }

void Require(bool ok, const char* what) {
    if (!ok) throw std::runtime_error(std::string("OpenSSL: ") + what + " failed");
}

struct FreeCipher {
    void operator()(EVP_CIPHER_CTX* context) const { EVP_CIPHER_CTX_free(context); }
};
using CipherContext = std::unique_ptr<EVP_CIPHER_CTX, FreeCipher>;

const EVP_CIPHER* GcmFor(std::string_view key) {
    if (key.size() == 16) return EVP_aes_128_gcm();
    if (key.size() == 32) return EVP_aes_256_gcm();
    throw std::runtime_error("AES-GCM needs a key of 16 or 32 bytes");
}

std::string Scrypt(const std::string& password, std::string_view salt, unsigned n, unsigned r, unsigned p) {
    std::string hash(32, '\0');
    const int ok = EVP_PBE_scrypt(password.data(), password.size(), Bytes(salt), salt.size(), n, r, p,
                                  64ULL * 1024 * 1024, Bytes(hash), hash.size());
    Require(ok == 1, "scrypt");
    return hash;
}

}  // namespace

Digest::Digest(const EVP_MD* kind) : context_(EVP_MD_CTX_new()) {
    Require(context_ && EVP_DigestInit_ex(context_.get(), kind, nullptr) == 1, "digest");
}

Digest Digest::Sha256() { return Digest(EVP_sha256()); }
Digest Digest::Md5() { return Digest(EVP_md5()); }

void Digest::Add(std::string_view bytes) {
    Require(EVP_DigestUpdate(context_.get(), bytes.data(), bytes.size()) == 1, "digest");
}

Digest Digest::Copy() const {
    Digest copy(EVP_MD_CTX_get0_md(context_.get()));
    Require(EVP_MD_CTX_copy_ex(copy.context_.get(), context_.get()) == 1, "digest copy");
    return copy;
}

std::string Digest::Hex() const {
    const Digest copy = Copy();
    unsigned char value[EVP_MAX_MD_SIZE];
    unsigned length = 0;
    Require(EVP_DigestFinal_ex(copy.context_.get(), value, &length) == 1, "digest");
    return ToHex({reinterpret_cast<const char*>(value), length});
}

std::string Sha256Hex(std::string_view bytes) {
    Digest digest = Digest::Sha256();
    digest.Add(bytes);
    return digest.Hex();
}

std::string HmacSha256Hex(std::string_view key, std::string_view text) {
    unsigned char value[EVP_MAX_MD_SIZE];
    unsigned length = 0;
    Require(HMAC(EVP_sha256(), key.data(), static_cast<int>(key.size()), Bytes(text), text.size(), value, &length) !=
                nullptr,
            "HMAC");
    return ToHex({reinterpret_cast<const char*>(value), length});
}

std::string RandomBytes(std::size_t count) {
    std::string bytes(count, '\0');
    Require(RAND_bytes(Bytes(bytes), static_cast<int>(count)) == 1, "random bytes");
    return bytes;
}

std::string RandomId(std::size_t count) { return ToHex(RandomBytes(count)); }

std::string SealGcm(std::string_view plain, std::string_view key) {
    const CipherContext context(EVP_CIPHER_CTX_new());
    std::string sealed = RandomBytes(kNonce) + std::string(plain.size() + kTag, '\0');
    unsigned char* out = Bytes(sealed);
    int length = 0, rest = 0;
    Require(context && EVP_EncryptInit_ex(context.get(), GcmFor(key), nullptr, Bytes(key), out) == 1, "AES-GCM");
    Require(EVP_EncryptUpdate(context.get(), out + kNonce, &length, Bytes(plain), static_cast<int>(plain.size())) == 1,
            "AES-GCM");
    Require(EVP_EncryptFinal_ex(context.get(), out + kNonce + length, &rest) == 1, "AES-GCM");
    Require(EVP_CIPHER_CTX_ctrl(context.get(), EVP_CTRL_GCM_GET_TAG, kTag, out + kNonce + plain.size()) == 1,
            "AES-GCM tag");
    return sealed;
}

std::optional<std::string> OpenGcm(std::string_view sealed, std::string_view key) {
    if (sealed.size() < kNonce + kTag) return std::nullopt;
    const CipherContext context(EVP_CIPHER_CTX_new());
    const std::string_view cipher = sealed.substr(kNonce, sealed.size() - kNonce - kTag);
    std::string tag(sealed.substr(sealed.size() - kTag));
    std::string plain(cipher.size(), '\0');
    int length = 0, rest = 0;
    Require(context && EVP_DecryptInit_ex(context.get(), GcmFor(key), nullptr, Bytes(key), Bytes(sealed)) == 1,
            "AES-GCM");
    Require(
        EVP_DecryptUpdate(context.get(), Bytes(plain), &length, Bytes(cipher), static_cast<int>(cipher.size())) == 1,
        "AES-GCM");
    Require(EVP_CIPHER_CTX_ctrl(context.get(), EVP_CTRL_GCM_SET_TAG, kTag, tag.data()) == 1, "AES-GCM tag");
    if (EVP_DecryptFinal_ex(context.get(), Bytes(plain) + length, &rest) != 1) return std::nullopt;
    return plain;
}

std::optional<std::string> OpenCbc(std::string_view cipher, std::string_view key, std::string_view iv) {
    if (key.size() != 16 || iv.size() != 16 || cipher.empty() || cipher.size() % 16 != 0) return std::nullopt;
    const CipherContext context(EVP_CIPHER_CTX_new());
    std::string plain(cipher.size() + 16, '\0');
    int length = 0, rest = 0;
    Require(context && EVP_DecryptInit_ex(context.get(), EVP_aes_128_cbc(), nullptr, Bytes(key), Bytes(iv)) == 1,
            "AES-CBC");
    Require(
        EVP_DecryptUpdate(context.get(), Bytes(plain), &length, Bytes(cipher), static_cast<int>(cipher.size())) == 1,
        "AES-CBC");
    if (EVP_DecryptFinal_ex(context.get(), Bytes(plain) + length, &rest) != 1) return std::nullopt;
    plain.resize(static_cast<std::size_t>(length + rest));
    return plain;
}

std::string HashPassword(const std::string& password) {
    const std::string salt = RandomBytes(16);
    char head[64];
    std::snprintf(head, sizeof head, "scrypt$%u$%u$%u$", kScryptN, kScryptR, kScryptP);
    return head + ToHex(salt) + "$" + ToHex(Scrypt(password, salt, kScryptN, kScryptR, kScryptP));
}

bool CheckPassword(const std::string& password, const std::string& stored) {
    unsigned n = 0, r = 0, p = 0;
    int head = 0;
    if (std::sscanf(stored.c_str(), "scrypt$%u$%u$%u$%n", &n, &r, &p, &head) != 3 || head == 0) return false;
    const std::string rest = stored.substr(static_cast<std::size_t>(head));
    const std::size_t dollar = rest.find('$');
    if (dollar == std::string::npos) return false;
    const auto salt = FromHex(rest.substr(0, dollar));
    return salt && EqualSecret(ToHex(Scrypt(password, *salt, n, r, p)), rest.substr(dollar + 1));
}

}  // namespace Drive::ReferenceCloud
