#include "reference_cloud/secrets.h"

#include <openssl/ec.h>
#include <openssl/evp.h>
#include <openssl/x509.h>
#include <sys/stat.h>

#include <fstream>
#include <memory>
#include <sstream>
#include <stdexcept>

#include "reference_cloud/crypto.h"
#include "reference_cloud/http_message.h"
#include "reference_cloud/sync_folder.h"
#include "reference_cloud/text.h"

namespace Drive::ReferenceCloud {

namespace {

constexpr std::size_t kPrefix = 26, kPoint = 65, kPublicKeySize = 91;

struct FreeKey {
    void operator()(EVP_PKEY* key) const { EVP_PKEY_free(key); }
    void operator()(EVP_PKEY_CTX* context) const { EVP_PKEY_CTX_free(context); }
};
using Key = std::unique_ptr<EVP_PKEY, FreeKey>;
using KeyContext = std::unique_ptr<EVP_PKEY_CTX, FreeKey>;

std::string ToDer(const EVP_PKEY* key, int (*encode)(const EVP_PKEY*, unsigned char**)) {
    unsigned char* bytes = nullptr;
    const int length = encode(key, &bytes);
    if (length <= 0) throw std::runtime_error("OpenSSL: a key could not be written");
    std::string der(reinterpret_cast<char*>(bytes), static_cast<std::size_t>(length));
    OPENSSL_free(bytes);
    return der;
}

Key FromPublicDer(const std::string& der) {
    const auto* bytes = reinterpret_cast<const unsigned char*>(der.data());
    return Key(d2i_PUBKEY(nullptr, &bytes, static_cast<long>(der.size())));
}

Key FromPrivateDer(const std::string& der) {
    const auto* bytes = reinterpret_cast<const unsigned char*>(der.data());
    return Key(d2i_AutoPrivateKey(nullptr, &bytes, static_cast<long>(der.size())));
}

Json::Value FreshKeys() {
    const Key key(EVP_EC_gen("P-256"));
    if (!key) throw std::runtime_error("OpenSSL: no key could be made");
    Json::Value keys(Json::objectValue);
    keys["masterKey"] = ToBase64(RandomBytes(32));
    keys["addressKey"] = ToBase64(RandomBytes(32));
    keys["privateKey"] = ToBase64(ToDer(key.get(), i2d_PrivateKey));
    keys["publicKey"] = ToBase64(ToDer(key.get(), i2d_PUBKEY));
    keys["version"] = "1";
    return keys;
}

}  // namespace

Secrets Secrets::Open(const std::string& path) {
    std::ifstream stream(path);
    if (!stream) {
        struct stat status {};
        if (::stat(path.c_str(), &status) == 0) throw std::runtime_error("the keys in " + path + " cannot be read");
        // Before any user's key is sealed with them: without this file nobody could open it again.
        WriteDurably(path, JsonText(FreshKeys()) + "\n");
        stream.open(path);
    }
    std::ostringstream text;
    text << stream.rdbuf();
    const auto keys = ParseJson(text.str());
    if (!keys || !keys->isObject()) throw std::runtime_error("the keys in " + path + " are damaged; restore the file");
    const auto read = [&](const char* name) { return FromBase64((*keys)[name].asString()).value_or(""); };
    Secrets secrets;
    secrets.masterKey_ = read("masterKey");
    secrets.addressKey_ = read("addressKey");
    secrets.privateKey_ = read("privateKey");
    secrets.publicKey_ = read("publicKey");
    secrets.version_ = (*keys)["version"].asString();
    if (secrets.masterKey_.size() != 32 || secrets.addressKey_.size() != 32 ||
        secrets.publicKey_.size() != kPublicKeySize || !FromPrivateDer(secrets.privateKey_)) {
        throw std::runtime_error("the keys in " + path + " are damaged; restore the file");
    }
    return secrets;
}

std::string Secrets::SealContentKey(const std::string& key) const { return ToBase64(SealGcm(key, masterKey_)); }

std::string Secrets::OpenContentKey(const std::string& sealed) const {
    const auto bytes = FromBase64(sealed);
    const auto key = bytes ? OpenGcm(*bytes, masterKey_) : std::nullopt;
    if (!key) throw std::runtime_error("a user's content key does not open with this server's master key");
    return *key;
}

std::optional<std::string> Secrets::SharedSecret(const std::string& peerPoint) const {
    const Key own = FromPrivateDer(privateKey_);
    const Key peer = FromPublicDer(publicKey_.substr(0, kPrefix) + peerPoint);
    const KeyContext context(own ? EVP_PKEY_CTX_new(own.get(), nullptr) : nullptr);
    if (!peer || !context || EVP_PKEY_derive_init(context.get()) != 1 ||
        EVP_PKEY_derive_set_peer(context.get(), peer.get()) != 1) {
        return std::nullopt;
    }
    std::string secret(32, '\0');
    std::size_t length = secret.size();
    if (EVP_PKEY_derive(context.get(), reinterpret_cast<unsigned char*>(secret.data()), &length) != 1 ||
        length != secret.size()) {
        return std::nullopt;
    }
    return secret;
}

std::optional<std::string> Secrets::OpenTemporaryKey(const std::string& text) const {
    const std::size_t colon = text.find(':');
    if (colon == std::string::npos) return std::nullopt;
    const auto blob = FromBase64(text.substr(0, colon));
    const auto sealed = FromBase64(text.substr(colon + 1));
    if (!blob || !sealed || blob->size() != kPublicKeySize) return std::nullopt;
    const auto secret = SharedSecret(blob->substr(kPrefix, kPoint));
    const auto key = secret ? OpenGcm(*sealed, *secret) : std::nullopt;
    return key && (key->size() == 16 || key->size() == 32) ? key : std::nullopt;
}

}  // namespace Drive::ReferenceCloud
