#include <stdio.h>

#include <random>

#include "collaborators/common/hex_text.h"
#include "interfaces/common/file_helper.h"
#include "tests/contract/common/test_bytes.h"
#include "tests/contract/common/test_folders.h"

namespace Drive::Common {

namespace {

using Trial::Of;

/// What `openssl` makes of the same bytes: a second opinion on random inputs.
class OpensslCommand : public Trial::WithFolders {
protected:
    std::string Run(const std::string& arguments) const {
        const std::string command = "openssl " + arguments + " < '" + (base / "root/in").string() + "'";
        FILE* pipe = popen(command.c_str(), "r");
        std::string output;
        char buffer[4096];
        while (pipe != nullptr) {
            const std::size_t got = fread(buffer, 1, sizeof buffer, pipe);
            if (got == 0) {
                break;
            }
            output.append(buffer, got);
        }
        EXPECT_TRUE(pipe != nullptr && pclose(pipe) == 0) << command;
        return output;
    }

    /// Digest from "(stdin)= digest" or "digest *stdin".
    std::string Digest(const std::string& arguments, std::size_t length) const {
        return Run("dgst -r " + arguments).substr(0, length);
    }

    std::string RandomInput(std::size_t most) {
        std::string bytes(std::uniform_int_distribution<std::size_t>(0, most)(random), '\0');
        for (char& byte : bytes) {
            byte = static_cast<char>(random());
        }
        Trial::Put(base / "root/in", bytes);
        return bytes;
    }

    static std::string HexOf(const Bytes& bytes) { return HexText<std::string>(bytes.data(), bytes.size()); }

    std::mt19937 random{20240611};
};

TEST_F(OpensslCommand, AgreesOnDigestsOfBytesAndFiles) {
    for (int round = 0; round < 8; ++round) {
        const Bytes bytes = Of(RandomInput(3000000));
        const std::string sha256 = Digest("-sha256", 64);
        const std::string md5 = Digest("-md5", 32);
        EXPECT_EQ(EncryptHelper::SHA256_Encode(bytes), sha256);
        EXPECT_EQ(EncryptHelper::MD5_Encode(bytes), md5);
        std::wstring fileSha256;
        std::wstring fileMd5;
        ASSERT_TRUE(FileHepler::GetFileHash(InRoot(L"in"), fileSha256, fileMd5));
        EXPECT_EQ(fileSha256, std::wstring(sha256.begin(), sha256.end()));
        EXPECT_EQ(fileMd5, std::wstring(md5.begin(), md5.end()));
        EXPECT_EQ(FileHepler::GetFileSha256(InRoot(L"in")), fileSha256);
    }
}

TEST_F(OpensslCommand, AgreesOnCbc) {
    for (int round = 0; round < 8; ++round) {
        const Bytes bytes = Of(RandomInput(100000));
        Bytes key(16);
        Bytes iv(16);
        ASSERT_TRUE(EncryptHelper::GetSecureRandom(key.data(), key.size()));
        ASSERT_TRUE(EncryptHelper::GetSecureRandom(iv.data(), iv.size()));
        EXPECT_EQ(EncryptHelper::AES_128_CBC_Encrypt(key, iv, bytes),
                  Run("enc -aes-128-cbc -K " + HexOf(key) + " -iv " + HexOf(iv)));
    }
}

TEST_F(OpensslCommand, AgreesOnBase64) {
    for (int round = 0; round < 8; ++round) {
        const Bytes bytes = Of(RandomInput(2000));
        EXPECT_EQ(EncryptHelper::Base64Encode(bytes.data(), bytes.size(), true), Run("base64 -A"));
        EXPECT_EQ(EncryptHelper::Base64Encode(bytes.data(), bytes.size(), false), Run("base64"));
    }
}

TEST_F(OpensslCommand, AgreesOnTheKeyedDigestOfAFile) {
    const Bytes userKey = Trial::Hex("8899aabbccddeeff0011223344556677");
    std::copy(userKey.begin(), userKey.end(), g_SyncUserKey);
    Trial::Put(base / "root/in", "zelkor file content key, form 1");
    const std::string secret = Digest("-sha256 -mac HMAC -macopt hexkey:" + HexOf(userKey), 64);
    const std::string content = Trial::Noise(1500000);
    Trial::Put(base / "root/in", Trial::Text(Trial::Hex(EncryptHelper::SHA256_Encode(Of(content)))));
    const std::string expected = Digest("-sha256 -mac HMAC -macopt hexkey:" + secret, 64);
    Trial::Put(base / "root/in", content);
    EXPECT_EQ(FileHepler::GetFileHmac(InRoot(L"in")), expected);
    std::fill(std::begin(g_SyncUserKey), std::end(g_SyncUserKey), static_cast<unsigned char>(0));
}

}  // namespace

}  // namespace Drive::Common
