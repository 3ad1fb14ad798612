#include "reference_cloud/crypto.h"

#include <gtest/gtest.h>

namespace Drive::ReferenceCloud {

namespace {

// REF-KEY-06
TEST(Crypto, DigestsAreThePublishedOnes) {
    EXPECT_EQ(Sha256Hex("abc"), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
    Digest md5 = Digest::Md5();
    md5.Add("ab"), md5.Add("c");
    EXPECT_EQ(md5.Hex(), "900150983cd24fb0d6963f7d28e17f72");
    EXPECT_EQ(HmacSha256Hex("Jefe", "what do ya want for nothing?"),
              "5bdcc146bf60754e6a042426089575c75a003f089d2739839dec58b964ec3843");
}

// REF-KEY-07
TEST(Crypto, ACopiedDigestGoesItsOwnWay) {
    Digest first = Digest::Sha256();
    first.Add("ab");
    Digest second = first.Copy();
    first.Add("c");
    second.Add("d");
    EXPECT_EQ(first.Hex(), Sha256Hex("abc"));
    EXPECT_EQ(second.Hex(), Sha256Hex("abd"));
}

// REF-KEY-08
TEST(Crypto, SealedBytesOpenWithTheirKeyOnly) {
    for (const std::size_t size : {16U, 32U}) {
        const std::string key(size, 'k');
        std::string sealed = SealGcm("secret", key);
        EXPECT_EQ(sealed.size(), 12 + 6 + 16U);
        EXPECT_EQ(OpenGcm(sealed, key), "secret");
        EXPECT_FALSE(OpenGcm(sealed, std::string(size, 'x')));
        sealed[14] = static_cast<char>(sealed[14] ^ 1);
        EXPECT_FALSE(OpenGcm(sealed, key));
        EXPECT_FALSE(OpenGcm("short", key));
    }
}

// REF-ACCOUNT-10
TEST(Crypto, PasswordsAreKeptAsSaltedHashes) {
    const std::string first = HashPassword("secret"), second = HashPassword("secret");
    EXPECT_NE(first, second);
    EXPECT_EQ(first.find("secret"), std::string::npos);
    EXPECT_TRUE(CheckPassword("secret", first));
    EXPECT_FALSE(CheckPassword("Secret", first));
    EXPECT_FALSE(CheckPassword("secret", "damaged"));
}

}  // namespace

}  // namespace Drive::ReferenceCloud
