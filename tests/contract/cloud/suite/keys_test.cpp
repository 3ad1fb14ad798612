// The cloud's public key and the user's wrapped keys.
#include <openssl/evp.h>

#include "tests/contract/cloud/suite/cloud_suite.h"

namespace Drive::Testing {
namespace {

using Cloud::CloudDriveInterface;

std::string Base64(const std::string& bytes) {
    std::string text(4 * ((bytes.size() + 2) / 3) + 1, '\0');
    const int length =
        EVP_EncodeBlock(reinterpret_cast<unsigned char*>(text.data()),
                        reinterpret_cast<const unsigned char*>(bytes.data()), static_cast<int>(bytes.size()));
    text.resize(static_cast<std::size_t>(length));
    return text;
}

class Keys : public CloudSuite {
protected:
    static std::string List() { return CloudDriveInterface::KeyList(1, L"temporary", L"5"); }
};

// CLOUD-CALL-15
TEST_F(Keys, ThePublicKeyComesWithItsVersion) {
    const std::string key = Base64(SomeBytes(91));
    cloud->AnswersPublicKey(key, "5");
    const Json::Value answer = ParsedJson(CloudDriveInterface::PublickKey());
    EXPECT_EQ(key, answer["publicKey"].asString());
    EXPECT_EQ("5", answer["version"].asString());
}

// CLOUD-CALL-15
TEST_F(Keys, APublicKeyOfAnotherLengthIsAnEmptyText) {
    for (const std::size_t length : {0, 1, 65, 90, 92, 256}) {
        cloud->AnswersPublicKey(Base64(SomeBytes(length)), "5");
        EXPECT_EQ("", CloudDriveInterface::PublickKey()) << length;
    }
    cloud->AnswersPublicKey("this is no Base64!", "5");
    EXPECT_EQ("", CloudDriveInterface::PublickKey());
}

// CLOUD-CALL-15, CLOUD-CALL-16
TEST_F(Keys, AFailureIsAnEmptyText) {
    for (const int status : {401, 500, 0}) {
        cloud->Answers("PublickKey", {status, L"", L"", {}});
        EXPECT_EQ("", CloudDriveInterface::PublickKey()) << status;
        cloud->Answers("KeyList", {status, L"", L"", {}});
        EXPECT_EQ("", List()) << status;
    }
}

// CLOUD-CALL-16
TEST_F(Keys, TheListHoldsEachWrappedKey) {
    const std::string first = Base64(SomeBytes(60)), second = Base64(SomeBytes(44));
    cloud->AnswersKeys({{1, first, "uid1"}, {3, second, "uid3"}});
    const Json::Value keys = ParsedJson(List())["keys"];
    ASSERT_EQ(2u, keys.size());
    EXPECT_EQ(1, keys[0]["keyType"].asInt());
    EXPECT_EQ(first, keys[0]["encryptedKey"].asString());
    EXPECT_EQ("uid1", keys[0]["keyUuid"].asString());
    EXPECT_EQ(3, keys[1]["keyType"].asInt());
    EXPECT_EQ(second, keys[1]["encryptedKey"].asString());
}

// CLOUD-CALL-16
TEST_F(Keys, WhatCouldNotFitAKeyBufferIsLeftOut) {
    // A key buffer has 256 bytes, and nonce and tag, 28 bytes, stand around a key.
    cloud->AnswersKeys({{1, Base64(SomeBytes(285)), "too long"},
                        {1, Base64(SomeBytes(284)), "full"},
                        {1, Base64(SomeBytes(100'000)), "far too long"},
                        {1, Base64(SomeBytes(60)), "usual"}});
    const Json::Value keys = ParsedJson(List())["keys"];
    ASSERT_EQ(2u, keys.size());
    EXPECT_EQ("full", keys[0]["keyUuid"].asString());
    EXPECT_EQ("usual", keys[1]["keyUuid"].asString());
}

}  // namespace
}  // namespace Drive::Testing
