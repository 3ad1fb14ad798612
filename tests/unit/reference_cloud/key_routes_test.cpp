#include <openssl/evp.h>
#include <openssl/x509.h>

#include "reference_cloud/crypto.h"
#include "reference_cloud/text.h"
#include "tests/unit/reference_cloud/cloud_fixture.h"

namespace Drive::ReferenceCloud {

namespace {

/// A client's side of the exchange: its own point and the secret shared with the server's key.
struct Exchange {
    explicit Exchange(const std::string& serverKey) {
        EVP_PKEY* own = EVP_EC_gen("P-256");
        unsigned char* bytes = nullptr;
        const int length = i2d_PUBKEY(own, &bytes);
        blob.assign(reinterpret_cast<char*>(bytes), static_cast<std::size_t>(length));
        OPENSSL_free(bytes);
        const auto* in = reinterpret_cast<const unsigned char*>(serverKey.data());
        EVP_PKEY* peer = d2i_PUBKEY(nullptr, &in, static_cast<long>(serverKey.size()));
        EVP_PKEY_CTX* context = EVP_PKEY_CTX_new(own, nullptr);
        std::size_t size = secret.size();
        EVP_PKEY_derive_init(context);
        EVP_PKEY_derive_set_peer(context, peer);
        EVP_PKEY_derive(context, reinterpret_cast<unsigned char*>(secret.data()), &size);
        EVP_PKEY_CTX_free(context);
        EVP_PKEY_free(peer);
        EVP_PKEY_free(own);
    }
    std::string blob;
    std::string secret = std::string(32, '\0');
};

class KeyRoutes : public CloudTest {
protected:
    const Json::Value public_ = client.Get("/v1/keys/public").json;
    const std::string serverKey_ = FromBase64(public_["publicKey"].asString()).value_or("");
    const std::string temporary_ = RandomBytes(16);

    Answer List(const std::string& temporaryKey, const std::string& version = "1", const TestClient* who = nullptr) {
        Json::Value body(Json::objectValue);
        body["keyKind"] = 1;
        body["temporaryKey"] = temporaryKey;
        body["version"] = version;
        return (who ? *who : client).Post("/v1/keys/list", body);
    }
    std::string TemporaryKeyText() {
        const Exchange exchange(serverKey_);
        return ToBase64(exchange.blob) + ":" + ToBase64(SealGcm(temporary_, exchange.secret));
    }
    std::string Open(const Json::Value& entry) {
        const auto sealed = FromBase64(entry["encryptedKey"].asString());
        return sealed ? OpenGcm(*sealed, temporary_).value_or("") : "";
    }
};

// REF-KEY-01
TEST_F(KeyRoutes, ThePublicKeyIsAPointOfTheCurve) {
    EXPECT_EQ(serverKey_.size(), 91U);
    EXPECT_EQ(serverKey_[26], 4);
    EXPECT_TRUE(public_["version"].isString());
}

// REF-KEY-02
TEST_F(KeyRoutes, TheListOpensWithTheTemporaryKeyAndIsTheSameEachTime) {
    const Answer first = List(TemporaryKeyText());
    ASSERT_EQ(first.status, 200) << first.body;
    const Json::Value& keys = first.json["keys"];
    ASSERT_EQ(keys.size(), 2U);
    EXPECT_EQ(keys[0]["keyType"], 1);
    EXPECT_EQ(keys[1]["keyType"], 3);
    EXPECT_EQ(Open(keys[0]).size(), 16U);
    EXPECT_NE(Open(keys[0])[0], '\0');
    EXPECT_EQ(Open(keys[1]).size(), 32U);
    EXPECT_FALSE(keys[0]["keyUuid"].asString().empty());
    const Answer second = List(TemporaryKeyText());
    EXPECT_EQ(Open(second.json["keys"][0]), Open(keys[0]));
    EXPECT_EQ(Open(second.json["keys"][1]), Open(keys[1]));
}

// REF-KEY-03
TEST_F(KeyRoutes, EveryUserHasKeysOfTheirOwn) {
    const TestClient other = Shared().NewUser();
    const Answer mine = List(TemporaryKeyText()), theirs = List(TemporaryKeyText(), "1", &other);
    EXPECT_NE(Open(mine.json["keys"][0]), Open(theirs.json["keys"][0]));
}

// REF-KEY-04
TEST_F(KeyRoutes, AKeyThatDoesNotOpenIsRefused) {
    const Exchange exchange(serverKey_);
    const std::string blob = ToBase64(exchange.blob);
    const std::string zeroSecret(32, '\0');
    for (const std::string& text :
         {std::string(), std::string(":"), blob, blob + ":" + ToBase64("x"),
          blob + ":" + ToBase64(SealGcm(temporary_, zeroSecret)), std::string("AAAA:") + ToBase64("x"),
          ToBase64(std::string(91, '\0')) + ":" + ToBase64(SealGcm(temporary_, exchange.secret))}) {
        const Answer answer = List(text);
        EXPECT_EQ(answer.status, 400) << text;
        EXPECT_EQ(answer.json["errorCode"], "21004001");
    }
}

// REF-KEY-05
TEST_F(KeyRoutes, AnotherVersionIsRefused) { EXPECT_EQ(List(TemporaryKeyText(), "2").status, 409); }

}  // namespace

}  // namespace Drive::ReferenceCloud
