#include "collaborators/cloud/object_cipher.h"

#include <algorithm>
#include <array>

namespace Drive::Cloud {

namespace {

constexpr std::size_t kBlock = 16;
/// Digest and cipher take turns on steps that stay in the processor's nearest cache.
constexpr std::size_t kStep = 16u << 10;

bool IsAllZero(const std::vector<unsigned char>& bytes) {
    return std::all_of(bytes.begin(), bytes.end(), [](unsigned char byte) { return byte == 0; });
}

}  // namespace

bool ObjectCipher::Start(const std::wstring& algorithm, const std::vector<unsigned char>& key,
                         const std::vector<unsigned char>& iv, std::string& why) {
    const bool is128 = algorithm == L"AES_128";
    const bool is256 = algorithm == L"AES_256";
    if (!is128 && !is256) {
        why = "the encryption algorithm is unknown";
    } else if (key.size() != (is128 ? 16u : 32u) || (is128 ? iv.size() != kBlock : iv.size() < kBlock)) {
        why = "the file key or the initialisation vector has the wrong length";
    } else if (IsAllZero(key)) {
        why = "there is no file key";
    } else {
        cipher.reset(EVP_CIPHER_CTX_new());
        digest.reset(EVP_MD_CTX_new());
        const EVP_CIPHER* kind = is128 ? EVP_aes_128_cbc() : EVP_aes_256_cbc();
        if (cipher && digest && EVP_DecryptInit_ex(cipher.get(), kind, nullptr, key.data(), iv.data()) == 1 &&
            EVP_DigestInit_ex(digest.get(), EVP_sha256(), nullptr) == 1) {
            return true;
        }
        why = "the cipher could not be set up";
    }
    return false;
}

bool ObjectCipher::Take(const unsigned char* stored, std::size_t size, std::vector<unsigned char>& plain) {
    while (size > 0) {
        const std::size_t step = std::min(size, kStep);
        if (EVP_DigestUpdate(digest.get(), stored, step) != 1) return false;
        const std::size_t before = plain.size();
        plain.resize(before + step + kBlock);
        int written = 0;
        if (EVP_DecryptUpdate(cipher.get(), plain.data() + before, &written, stored, static_cast<int>(step)) != 1) {
            return false;
        }
        plain.resize(before + static_cast<std::size_t>(written));
        stored += step;
        size -= step;
    }
    return true;
}

bool ObjectCipher::Finish(std::vector<unsigned char>& plain) {
    const std::size_t before = plain.size();
    plain.resize(before + kBlock);
    int written = 0;
    if (EVP_DecryptFinal_ex(cipher.get(), plain.data() + before, &written) != 1) return false;
    plain.resize(before + static_cast<std::size_t>(written));
    return true;
}

std::string ObjectCipher::StoredDigest() {
    std::array<unsigned char, EVP_MAX_MD_SIZE> bytes{};
    unsigned int length = 0;
    if (EVP_DigestFinal_ex(digest.get(), bytes.data(), &length) != 1) return {};
    static constexpr char kDigits[] = "0123456789abcdef";
    std::string text;
    for (unsigned int index = 0; index < length; ++index) {
        text += kDigits[bytes[index] >> 4];
        text += kDigits[bytes[index] & 0xF];
    }
    return text;
}

}  // namespace Drive::Cloud
