#include <algorithm>
#include <cctype>
#include <set>

#include "tests/contract/common/test_bytes.h"
#include "tests/contract/common/test_folders.h"

namespace Drive::Common {

namespace {

using Trial::Hex;
using Trial::Of;

constexpr char kFek[] = "00112233445566778899aabbccddeeff";
constexpr char kIv[] = "0f0e0d0c0b0a09080706050403020100";

// COM-WRAP-01
TEST(WrappedFileKey, OpensToTheKeyTextUnderBothKeyLengths) {
    for (const std::size_t length : {16, 32}) {
        const Bytes userKey(length, 0x5A);
        EXPECT_EQ(EncryptHelper::GetFek(EncryptHelper::GetEfek(kFek, userKey, kIv), userKey), kFek);
    }
}

// COM-WRAP-02
TEST(WrappedFileKey, GivesTheBytesOfTheKeyAsADownloadReadsThem) {
    const Bytes userKey(16, 0x5A);
    std::string text = EncryptHelper::GetFek(EncryptHelper::GetEfek(kFek, userKey, kIv), userKey);
    std::transform(text.begin(), text.end(), text.begin(), [](unsigned char byte) { return std::toupper(byte); });
    EXPECT_EQ(Hex(text), Hex(kFek));
    EXPECT_EQ(Hex(text).size(), 16u);
}

// COM-WRAP-03
TEST(WrappedFileKey, KeepsKeysOf32BytesAndTextsOfAnyLength) {
    const Bytes userKey(32, 0x11);
    for (const std::size_t length : {1, 31, 64, 65535}) {
        const std::string fek(length, 'a');
        EXPECT_EQ(EncryptHelper::GetFek(EncryptHelper::GetEfek(fek, userKey, kIv), userKey), fek);
    }
    EXPECT_EQ(EncryptHelper::GetEfek(std::string(65536, 'a'), userKey, kIv), "");
}

// COM-WRAP-04
TEST(WrappedFileKey, VectorStandsInsideTheSeal) {
    const Bytes userKey(16, 0x5A);
    const std::string sealed = EncryptHelper::Base64Decode(EncryptHelper::GetEfek(kFek, userKey, kIv), true);
    EXPECT_NE(Trial::Text(EncryptHelper::AES_GCM_Decrypt(Of(sealed), userKey)).find(kIv), std::string::npos);
    EXPECT_EQ(EncryptHelper::GetFek(EncryptHelper::GetEfek(kFek, userKey, ""), userKey), kFek);
}

// COM-WRAP-05
TEST(WrappedFileKey, IsOneLineOfBase64OfNonceCipherTextAndTag) {
    const std::string efek = EncryptHelper::GetEfek(kFek, Bytes(16, 0x5A), kIv);
    EXPECT_EQ(efek.find_first_of("\r\n"), std::string::npos);
    EXPECT_EQ(EncryptHelper::Base64Decode(efek, true).size(), 12u + 3 + 32 + 32 + 16);
}

// COM-WRAP-06
TEST(WrappedFileKey, IsAnotherTextEachTimeAndNeverShowsTheKey) {
    std::set<std::string> texts;
    for (int count = 0; count < 100; ++count) {
        const std::string efek = EncryptHelper::GetEfek(kFek, Bytes(16, 0x5A), kIv);
        EXPECT_EQ(EncryptHelper::Base64Decode(efek, true).find("0011223344"), std::string::npos);
        texts.insert(efek);
    }
    EXPECT_EQ(texts.size(), 100u);
}

// COM-WRAP-07
TEST(WrappedFileKey, NeedsAUserKeyThatIsThere) {
    const std::string efek = EncryptHelper::GetEfek(kFek, Bytes(16, 0x5A), kIv);
    for (const Bytes& userKey :
         {Bytes(), Bytes(15, 1), Bytes(17, 1), Bytes(31, 1), Bytes(33, 1), Bytes(16), Bytes(32)}) {
        EXPECT_EQ(EncryptHelper::GetEfek(kFek, userKey, kIv), "");
        EXPECT_EQ(EncryptHelper::GetFek(efek, userKey), "");
    }
    EXPECT_EQ(EncryptHelper::GetEfek("", Bytes(16, 1), kIv), "");
}

// COM-WRAP-08
TEST(WrappedFileKey, DoesNotOpenWithAnotherKeyOrWhenChanged) {
    const Bytes userKey(16, 0x5A);
    const std::string efek = EncryptHelper::GetEfek(kFek, userKey, kIv);
    EXPECT_EQ(EncryptHelper::GetFek(efek, Bytes(16, 0x5B)), "");
    EXPECT_EQ(EncryptHelper::GetFek(efek, Bytes(32, 0x5A)), "");
    for (std::size_t index = 0; index < efek.size(); ++index) {
        std::string changed = efek;
        changed[index] = changed[index] == 'A' ? 'B' : 'A';
        EXPECT_EQ(EncryptHelper::GetFek(changed, userKey), "");
    }
}

// COM-WRAP-09
TEST(WrappedFileKey, ForeignTextsOpenToNothing) {
    const Bytes userKey(16, 0x5A);
    const auto sealed = [&](const Bytes& plain) {
        const Bytes bytes = EncryptHelper::AES_GCM_Encrypt(plain, userKey);
        return EncryptHelper::Base64Encode(bytes.data(), bytes.size(), true);
    };
    for (const std::string& text :
         {std::string(), std::string("not base64!"), std::string("AAAA"), sealed({}), sealed({1}), sealed({1, 0}),
          sealed({2, 0, 1, 'a'}), sealed({1, 0, 2, 'a'}), sealed({1, 0xFF, 0xFF, 'a'})}) {
        EXPECT_EQ(EncryptHelper::GetFek(text, userKey), "");
    }
    EXPECT_EQ(EncryptHelper::GetFek(sealed({1, 0, 1, 'a'}), userKey), "a");
}

}  // namespace

}  // namespace Drive::Common
