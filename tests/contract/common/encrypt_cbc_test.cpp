#include "interfaces/platform/file_calls.h"
#include "tests/contract/common/test_bytes.h"
#include "tests/contract/common/test_folders.h"

namespace Drive::Common {

namespace {

using Trial::Hex;
using Trial::Of;

// SP 800-38A, F.2.1.
const Bytes kKey = Hex("2b7e151628aed2a6abf7158809cf4f3c");
const Bytes kIv = Hex("000102030405060708090a0b0c0d0e0f");
const Bytes kPlain =
    Hex("6bc1bee22e409f96e93d7e117393172aae2d8a571e03ac9c9eb76fac45af8e51"
        "30c81c46a35ce411e5fbc1191a0a52eff69f2445df4f9b17ad2b417be66c3710");
const Bytes kCipher =
    Hex("7649abac8119b246cee98e9b12e9197d5086cb9b507219ee95db113a917678b2"
        "73bed6b8e3c1743b7116e69e222295163ff1caa1681fac09120eca307586e1a7");

class CbcOfFile : public Trial::WithFolders {
protected:
    void SetUp() override {
        WithFolders::SetUp();
        content = Trial::Noise((std::size_t{600} << 10) + 5);
        Trial::Put(base / "root/f", content);
        handle = Platform::CreateFileW(InRoot(L"f").c_str(), Platform::kGenericRead, Platform::kFileShareRead, nullptr,
                                       Platform::kOpenExisting, Platform::kFileFlagOverlapped, nullptr);
        ASSERT_TRUE(Platform::IsOpenHandle(handle));
    }
    void TearDown() override {
        Platform::CloseHandle(handle);
        WithFolders::TearDown();
    }
    Bytes Slice(std::int64_t offset, std::int64_t length) const {
        return EncryptHelper::AES_128_CBC_Encrypt_FileHandle(kKey, kIv, handle, offset, length);
    }

    std::string content;
    Platform::HANDLE handle = nullptr;
};

// COM-CBC-01
TEST(Cbc, GivesThePublishedBlocksAndOneOfPadding) {
    const std::string cipher = EncryptHelper::AES_128_CBC_Encrypt(kKey, kIv, kPlain);
    ASSERT_EQ(cipher.size(), 80u);
    EXPECT_EQ(cipher.substr(0, 64), Trial::Text(kCipher));
}

// COM-CBC-02
TEST(Cbc, LengthIsRoundedDownToABlockPlusOneBlock) {
    for (std::size_t length = 0; length < 70; ++length) {
        EXPECT_EQ(EncryptHelper::AES_128_CBC_Encrypt(kKey, kIv, Bytes(length)).size(), length / 16 * 16 + 16);
    }
}

// COM-CBC-03
TEST(Cbc, DecryptionGivesEveryLengthBack) {
    for (const std::size_t length : {0, 1, 15, 16, 17, 31, 32, 1000, 262143, 262144, 262145, 1000000}) {
        const Bytes plain = Of(Trial::Noise(length));
        Bytes back;
        ASSERT_TRUE(EncryptHelper::AES_128_CBC_Decrypt(kKey, kIv,
                                                       Of(EncryptHelper::AES_128_CBC_Encrypt(kKey, kIv, plain)), back));
        EXPECT_EQ(back, plain);
    }
}

// COM-CBC-04
TEST(Cbc, KeyOrVectorOfAnotherLengthGivesNothing) {
    for (const std::size_t length : {0, 15, 17, 32}) {
        Bytes plain = Of("old");
        EXPECT_EQ(EncryptHelper::AES_128_CBC_Encrypt(Bytes(length, 1), kIv, kPlain), "");
        EXPECT_EQ(EncryptHelper::AES_128_CBC_Encrypt(kKey, Bytes(length, 1), kPlain), "");
        EXPECT_FALSE(EncryptHelper::AES_128_CBC_Decrypt(Bytes(length, 1), kIv, kCipher, plain));
        EXPECT_TRUE(plain.empty());
    }
}

// COM-CBC-05
TEST(Cbc, WrongLengthOrPaddingIsRefusedAndLeavesNothing) {
    const Bytes cipher = Of(EncryptHelper::AES_128_CBC_Encrypt(kKey, kIv, kPlain));
    for (const std::size_t length : {std::size_t{0}, std::size_t{1}, std::size_t{15}, cipher.size() - 1}) {
        Bytes plain = Of("old");
        EXPECT_FALSE(
            EncryptHelper::AES_128_CBC_Decrypt(kKey, kIv, Bytes(cipher.begin(), cipher.begin() + length), plain));
        EXPECT_TRUE(plain.empty());
    }
    // Without its last block the padding is whatever the plain text ends in.
    Bytes plain = Of("old");
    EXPECT_FALSE(EncryptHelper::AES_128_CBC_Decrypt(kKey, kIv, kCipher, plain));
    EXPECT_TRUE(plain.empty());
}

// COM-CBC-06
TEST_F(CbcOfFile, IsTheSameAsInMemory) {
    for (const auto& [offset, length] : {std::pair{0, 600 << 10},
                                         {0, 0},
                                         {1, 31},
                                         {16, 32},
                                         {5, 262144},
                                         {100, 262143},
                                         {0, (600 << 10) + 5},
                                         {(600 << 10) + 4, 1},
                                         {(600 << 10) + 5, 0}}) {
        const Bytes cipher = Slice(offset, length);
        EXPECT_EQ(cipher.size(), static_cast<std::size_t>(length) / 16 * 16 + 16);
        EXPECT_EQ(
            Trial::Text(cipher),
            EncryptHelper::AES_128_CBC_Encrypt(
                kKey, kIv, Of(content.substr(static_cast<std::size_t>(offset), static_cast<std::size_t>(length)))));
    }
}

// COM-CBC-07
TEST_F(CbcOfFile, GivesNothingWhenTheFileEndsBefore) {
    EXPECT_TRUE(Slice(0, (600 << 10) + 6).empty());
    EXPECT_TRUE(Slice((600 << 10) + 5, 1).empty());
    EXPECT_TRUE(Slice(1 << 30, 0).empty());
    EXPECT_TRUE(Slice(0, std::int64_t{1} << 62).empty());
    EXPECT_TRUE(Slice(std::int64_t{1} << 62, std::int64_t{1} << 62).empty());
}

// COM-CBC-08
TEST_F(CbcOfFile, GivesNothingForNegativeNumbersOrNoHandle) {
    EXPECT_TRUE(Slice(-1, 16).empty());
    EXPECT_TRUE(Slice(0, -1).empty());
    EXPECT_TRUE(EncryptHelper::AES_128_CBC_Encrypt_FileHandle(kKey, kIv, nullptr, 0, 16).empty());
    EXPECT_TRUE(EncryptHelper::AES_128_CBC_Encrypt_FileHandle(kKey, kIv, Platform::kInvalidHandle, 0, 16).empty());
    EXPECT_TRUE(EncryptHelper::AES_128_CBC_Encrypt_FileHandle(Bytes(15), kIv, handle, 0, 16).empty());
    EXPECT_TRUE(EncryptHelper::AES_128_CBC_Encrypt_FileHandle(kKey, Bytes(17), handle, 0, 16).empty());
}

}  // namespace

}  // namespace Drive::Common
