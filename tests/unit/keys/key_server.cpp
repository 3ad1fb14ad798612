#include "tests/unit/keys/key_server.h"

#include <openssl/core_names.h>
#include <openssl/ec.h>
#include <openssl/evp.h>
#include <openssl/param_build.h>
#include <openssl/rand.h>

namespace Drive::Testing {

struct KeyServer::Key {
    EVP_PKEY* pair = nullptr;
};

KeyServer::KeyServer() : key(new Key) { key->pair = EVP_EC_gen("prime256v1"); }

KeyServer::~KeyServer() {
    EVP_PKEY_free(key->pair);
    delete key;
}

Bytes KeyServer::Blob() const {
    Bytes blob(26);
    for (std::size_t i = 0; i < blob.size(); ++i) blob[i] = static_cast<unsigned char>(200 + i);
    unsigned char point[65];
    std::size_t length = 0;
    EVP_PKEY_get_octet_string_param(key->pair, OSSL_PKEY_PARAM_PUB_KEY, point, sizeof(point), &length);
    blob.insert(blob.end(), point, point + length);
    return blob;
}

std::string KeyServer::PublicKeyAnswer() const {
    return R"({"publicKey":")" + Base64(Blob()) + R"(","version":"v-12"})";
}

KeyServer::Sent KeyServer::TakeApart(const std::string& text) {
    const auto colon = text.find(':');
    if (colon == std::string::npos || text.find(':', colon + 1) != std::string::npos) return {};
    return {FromBase64(text.substr(0, colon)), FromBase64(text.substr(colon + 1))};
}

Bytes KeyServer::TemporaryKey(const std::string& text) const {
    const Sent sent = TakeApart(text);
    if (sent.blob.size() != 91) return {};
    EVP_PKEY* peer = EVP_PKEY_new();
    EVP_PKEY_copy_parameters(peer, key->pair);
    Bytes secret(32);
    std::size_t length = secret.size();
    EVP_PKEY_CTX* context = EVP_PKEY_CTX_new(key->pair, nullptr);
    const bool agreed = EVP_PKEY_set1_encoded_public_key(peer, sent.blob.data() + 26, 65) == 1 &&
                        EVP_PKEY_derive_init(context) == 1 && EVP_PKEY_derive_set_peer(context, peer) == 1 &&
                        EVP_PKEY_derive(context, secret.data(), &length) == 1;
    EVP_PKEY_CTX_free(context);
    EVP_PKEY_free(peer);
    return agreed ? Open(sent.cipher, secret) : Bytes();
}

std::string KeyServer::Base64(const Bytes& bytes) {
    std::string text(4 * ((bytes.size() + 2) / 3) + 1, '\0');
    const int length =
        EVP_EncodeBlock(reinterpret_cast<unsigned char*>(text.data()), bytes.data(), static_cast<int>(bytes.size()));
    text.resize(static_cast<std::size_t>(length));
    return text;
}

Bytes KeyServer::FromBase64(const std::string& text) {
    Bytes bytes(text.size());
    const int length = EVP_DecodeBlock(bytes.data(), reinterpret_cast<const unsigned char*>(text.data()),
                                       static_cast<int>(text.size()));
    if (length < 0) return {};
    const std::size_t padding = text.empty() || text.back() != '=' ? 0 : text[text.size() - 2] == '=' ? 2 : 1;
    bytes.resize(static_cast<std::size_t>(length) - padding);
    return bytes;
}

Bytes KeyServer::Seal(const Bytes& plain, const Bytes& key) {
    Bytes sealed(12 + plain.size() + 16);
    RAND_bytes(sealed.data(), 12);
    EVP_CIPHER_CTX* context = EVP_CIPHER_CTX_new();
    int length = 0;
    EVP_EncryptInit_ex(context, key.size() == 16 ? EVP_aes_128_gcm() : EVP_aes_256_gcm(), nullptr, key.data(),
                       sealed.data());
    EVP_EncryptUpdate(context, sealed.data() + 12, &length, plain.data(), static_cast<int>(plain.size()));
    EVP_EncryptFinal_ex(context, sealed.data() + 12 + length, &length);
    EVP_CIPHER_CTX_ctrl(context, EVP_CTRL_GCM_GET_TAG, 16, sealed.data() + 12 + plain.size());
    EVP_CIPHER_CTX_free(context);
    return sealed;
}

Bytes KeyServer::Open(const Bytes& sealed, const Bytes& key) {
    if (sealed.size() < 28) return {};
    Bytes plain(sealed.size() - 28);
    Bytes tag(sealed.end() - 16, sealed.end());
    EVP_CIPHER_CTX* context = EVP_CIPHER_CTX_new();
    int length = 0;
    EVP_DecryptInit_ex(context, key.size() == 16 ? EVP_aes_128_gcm() : EVP_aes_256_gcm(), nullptr, key.data(),
                       sealed.data());
    EVP_DecryptUpdate(context, plain.data(), &length, sealed.data() + 12, static_cast<int>(plain.size()));
    EVP_CIPHER_CTX_ctrl(context, EVP_CTRL_GCM_SET_TAG, 16, tag.data());
    const bool whole = EVP_DecryptFinal_ex(context, plain.data() + length, &length) == 1;
    EVP_CIPHER_CTX_free(context);
    return whole ? plain : Bytes();
}

}  // namespace Drive::Testing
