#include <set>

#include "tests/contract/common/test_bytes.h"
#include "tests/contract/common/test_folders.h"

namespace Drive::Common {

namespace {

using Trial::Hex;
using Trial::Joined;
using Trial::Of;

struct Vector {
    const char* key;
    const char* nonce;
    const char* plain;
    const char* cipher;
    const char* tag;
};

constexpr char kLongPlain[] =
    "d9313225f88406e5a55909c5aff5269a86a7a9531534f7da2e4c303d8a318a72"
    "1c3c0c95956809532fcf0e2449a6b525b16aedf5aa0de657ba637b391aafd255";

// Test cases 1 to 3 and 13 to 15 of the proposal behind SP 800-38D.
constexpr Vector kPublished[] = {
    {"00000000000000000000000000000000", "000000000000000000000000", "", "", "58e2fccefa7e3061367f1d57a4e7455a"},
    {"00000000000000000000000000000000", "000000000000000000000000", "00000000000000000000000000000000",
     "0388dace60b6a392f328c2b971b2fe78", "ab6e47d42cec13bdf53a67b21257bddf"},
    {"feffe9928665731c6d6a8f9467308308", "cafebabefacedbaddecaf888", kLongPlain,
     "42831ec2217774244b7221b784d0d49ce3aa212f2c02a4e035c17e2329aca12e"
     "21d514b25466931c7d8f6a5aac84aa051ba30b396a0aac973d58e091473f5985",
     "4d5c2af327cd64a62cf35abd2ba6fab4"},
    {"0000000000000000000000000000000000000000000000000000000000000000", "000000000000000000000000", "", "",
     "530f8afbc74536b9a963b4f1c4cb738b"},
    {"0000000000000000000000000000000000000000000000000000000000000000", "000000000000000000000000",
     "00000000000000000000000000000000", "cea7403d4d606b6e074ec5d3baf39d18", "d0d1c8a799996bf0265b98b5d48ab919"},
    {"feffe9928665731c6d6a8f9467308308feffe9928665731c6d6a8f9467308308", "cafebabefacedbaddecaf888", kLongPlain,
     "522dc1f099567d07f47f37a32a84427d643a8cdcbfe5c0c97598a2bd2555d1aa"
     "8cb08e48590dbb3da7b08b1056828838c5f61e6393ba7a0abcc9f662898015ad",
     "b094dac5d93471bdec1a502270e3cc6c"},
};

// COM-GCM-01
TEST(Gcm, OpensThePublishedCipherTexts) {
    for (const Vector& vector : kPublished) {
        const Bytes sealed = Joined(Hex(vector.nonce), Hex(vector.cipher), Hex(vector.tag));
        EXPECT_EQ(EncryptHelper::AES_GCM_Decrypt(sealed, Hex(vector.key)), Hex(vector.plain));
    }
}

// COM-GCM-02
TEST(Gcm, FormIsNonceCipherTextAndTag) {
    const Bytes key(16, 7);
    EXPECT_EQ(EncryptHelper::AES_GCM_Encrypt(Bytes(), key).size(), 28u);
    EXPECT_EQ(EncryptHelper::AES_GCM_Encrypt(Bytes(100), key).size(), 128u);
}

// COM-GCM-03
TEST(Gcm, GivesEveryLengthBackUnderBothKeyLengths) {
    for (const std::size_t keyLength : {16, 32}) {
        const Bytes key(keyLength, 9);
        for (const std::size_t length : {0, 1, 16, 17, 1000, 3000000}) {
            const Bytes plain = Of(Trial::Noise(length));
            EXPECT_EQ(EncryptHelper::AES_GCM_Decrypt(EncryptHelper::AES_GCM_Encrypt(plain, key), key), plain);
        }
    }
}

// COM-GCM-04
TEST(Gcm, NonceIsNeverTheSameTwice) {
    std::set<Bytes> nonces;
    for (int count = 0; count < 1000; ++count) {
        const Bytes sealed = EncryptHelper::AES_GCM_Encrypt(Bytes(1), Bytes(16, 1));
        nonces.insert(Bytes(sealed.begin(), sealed.begin() + 12));
    }
    EXPECT_EQ(nonces.size(), 1000u);
}

// COM-GCM-05
TEST(Gcm, AnyChangedBitFailsWithExactlyOneByte) {
    const Bytes key(16, 3);
    const Bytes sealed = EncryptHelper::AES_GCM_Encrypt(Of("sixteen and more bytes"), key);
    for (std::size_t index = 0; index < sealed.size(); ++index) {
        Bytes changed = sealed;
        changed[index] ^= 0x10;
        EXPECT_EQ(EncryptHelper::AES_GCM_Decrypt(changed, key).size(), 1u);
    }
}

// COM-GCM-06
TEST(Gcm, WrongKeyAndShortDataFailWithExactlyOneByte) {
    const Bytes sealed = EncryptHelper::AES_GCM_Encrypt(Of("abc"), Bytes(16, 3));
    EXPECT_EQ(EncryptHelper::AES_GCM_Decrypt(sealed, Bytes(16, 4)).size(), 1u);
    for (std::size_t length = 0; length < sealed.size(); ++length) {
        EXPECT_EQ(EncryptHelper::AES_GCM_Decrypt(Bytes(sealed.begin(), sealed.begin() + length), Bytes(16, 3)).size(),
                  1u);
    }
}

// COM-GCM-07
TEST(Gcm, KeysOfOtherLengthsAreRefused) {
    const Bytes sealed = EncryptHelper::AES_GCM_Encrypt(Of("abc"), Bytes(16, 3));
    for (const std::size_t length : {0, 1, 15, 17, 24, 31, 33}) {
        EXPECT_TRUE(EncryptHelper::AES_GCM_Encrypt(Of("abc"), Bytes(length, 3)).empty());
        EXPECT_EQ(EncryptHelper::AES_GCM_Decrypt(sealed, Bytes(length, 3)).size(), 1u);
    }
}

// COM-GCM-08
TEST(Gcm, KeyOfZerosIsAKeyLikeAnyOther) {
    EXPECT_EQ(EncryptHelper::AES_GCM_Decrypt(EncryptHelper::AES_GCM_Encrypt(Of("abc"), Bytes(32)), Bytes(32)),
              Of("abc"));
}

// COM-RANDOM-01
TEST(SecureRandom, FillsTheBufferDifferentlyEachTime) {
    Bytes first(64);
    Bytes second(64);
    ASSERT_TRUE(EncryptHelper::GetSecureRandom(first.data(), first.size()));
    ASSERT_TRUE(EncryptHelper::GetSecureRandom(second.data(), second.size()));
    EXPECT_NE(first, second);
    EXPECT_NE(first, Bytes(64));
}

// COM-RANDOM-02
TEST(SecureRandom, FillsAnyLengthToItsEndAndNoFurther) {
    for (const std::size_t length : {0, 1, 255, 256, 257, 100000}) {
        Bytes buffer(length + 8, 0);
        ASSERT_TRUE(EncryptHelper::GetSecureRandom(buffer.data(), length));
        EXPECT_EQ(Bytes(buffer.end() - 8, buffer.end()), Bytes(8, 0));
        if (length > 16) {
            EXPECT_NE(Bytes(buffer.end() - 24, buffer.end() - 8), Bytes(16, 0));
        }
    }
}

}  // namespace

}  // namespace Drive::Common
