#include <algorithm>

#include "collaborators/common/cipher.h"
#include "interfaces/common/encrypt_helper.h"

namespace Drive::Common {

namespace {

constexpr std::size_t kNonce = 12;
constexpr std::size_t kTag = 16;
constexpr std::size_t kStep = std::size_t{1} << 20;

const EVP_CIPHER* CipherFor(const Bytes& key) {
    switch (key.size()) {
        case 16:
            return EVP_aes_128_gcm();
        case 32:
            return EVP_aes_256_gcm();
        default:
            return nullptr;
    }
}

bool Update(EVP_CIPHER_CTX* context, const unsigned char* from, std::size_t length, unsigned char* to) {
    for (std::size_t done = 0; done < length;) {
        const std::size_t step = std::min(kStep, length - done);
        int produced = 0;
        if (EVP_CipherUpdate(context, to + done, &produced, from + done, static_cast<int>(step)) != 1) {
            return false;
        }
        done += step;
    }
    return true;
}

}  // namespace

Bytes EncryptHelper::AES_GCM_Encrypt(const Bytes& data, const Bytes& key) {
    const EVP_CIPHER* cipher = CipherFor(key);
    if (cipher == nullptr) {
        return {};
    }
    const CipherContext context = NewCipherContext();
    Bytes result(kNonce + data.size() + kTag);
    unsigned char* body = result.data() + kNonce;
    unsigned char* tag = body + data.size();
    int produced = 0;
    if (!GetSecureRandom(result.data(), kNonce) ||
        EVP_EncryptInit_ex(context.get(), cipher, nullptr, key.data(), result.data()) != 1 ||
        !Update(context.get(), data.data(), data.size(), body) ||
        EVP_EncryptFinal_ex(context.get(), tag, &produced) != 1 ||
        EVP_CIPHER_CTX_ctrl(context.get(), EVP_CTRL_AEAD_GET_TAG, kTag, tag) != 1) {
        return {};
    }
    return result;
}

Bytes EncryptHelper::AES_GCM_Decrypt(const Bytes& data, const Bytes& key) {
    // One zero byte is how a failure is told: an empty result is what an empty plain text gives.
    const Bytes failed(1, 0);
    const EVP_CIPHER* cipher = CipherFor(key);
    if (cipher == nullptr || data.size() < kNonce + kTag) {
        return failed;
    }
    const CipherContext context = NewCipherContext();
    const std::size_t length = data.size() - kNonce - kTag;
    const unsigned char* body = data.data() + kNonce;
    Bytes tag(body + length, body + length + kTag);
    Bytes plain(length);
    unsigned char unused[kTag];
    int produced = 0;
    if (EVP_DecryptInit_ex(context.get(), cipher, nullptr, key.data(), data.data()) != 1 ||
        !Update(context.get(), body, length, plain.data()) ||
        EVP_CIPHER_CTX_ctrl(context.get(), EVP_CTRL_AEAD_SET_TAG, kTag, tag.data()) != 1 ||
        EVP_DecryptFinal_ex(context.get(), unused, &produced) != 1) {
        OPENSSL_cleanse(plain.data(), plain.size());
        return failed;
    }
    return plain;
}

}  // namespace Drive::Common
