#include <stdio.h>

#include <random>

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

    /// Random bytes of that length, given to the command as well.
    std::string Input(std::size_t length) {
        std::string bytes(length, '\0');
        for (char& byte : bytes) {
            byte = static_cast<char>(random());
        }
        Trial::Put(base / "root/in", bytes);
        return bytes;
    }

    /// Lengths around blocks, any up to 70,000, and four mebibytes.
    std::vector<std::size_t> Lengths() {
        std::vector<std::size_t> lengths = {0, 1, 15, 16, 17, 70000, std::size_t{4} << 20};
        std::uniform_int_distribution<std::size_t> any(0, 70000);
        for (int number = 0; number < 5; ++number) {
            lengths.push_back(any(random));
        }
        return lengths;
    }

    Bytes RandomKey(std::size_t length) {
        Bytes key(length);
        EXPECT_TRUE(EncryptHelper::GetSecureRandom(key.data(), key.size()));
        return key;
    }

    static std::string HexOf(const Bytes& bytes) {
        std::string text;
        for (const unsigned char byte : bytes) {
            text.push_back("0123456789abcdef"[byte >> 4]);
            text.push_back("0123456789abcdef"[byte & 15]);
        }
        return text;
    }

    std::mt19937 random{20240611};
};

// COM-OPENSSL-01
TEST_F(OpensslCommand, AgreesOnDigestsOfBytesAndFiles) {
    for (const std::size_t length : Lengths()) {
        const Bytes bytes = Of(Input(length));
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

// COM-OPENSSL-02
TEST_F(OpensslCommand, AgreesOnCbc) {
    for (const std::size_t length : Lengths()) {
        const Bytes bytes = Of(Input(length));
        const Bytes key = RandomKey(16);
        const Bytes iv = RandomKey(16);
        EXPECT_TRUE(EncryptHelper::AES_128_CBC_Encrypt(key, iv, bytes) ==
                    Run("enc -aes-128-cbc -K " + HexOf(key) + " -iv " + HexOf(iv)))
            << length;
    }
}

// The command knows no GCM, but its cipher text is that of counter mode which begins at the nonce and 2.
// COM-OPENSSL-03
TEST_F(OpensslCommand, AgreesOnTheCipherTextOfGcm) {
    for (const std::size_t keyBytes : {16, 32}) {
        for (const std::size_t length : Lengths()) {
            const Bytes bytes = Of(Input(length));
            const Bytes key = RandomKey(keyBytes);
            const std::string sealed = Trial::Text(EncryptHelper::AES_GCM_Encrypt(bytes, key));
            ASSERT_EQ(sealed.size(), 12 + length + 16);
            const std::string nonce = HexOf(Of(sealed.substr(0, 12)));
            const std::string mode = keyBytes == 16 ? "-aes-128-ctr" : "-aes-256-ctr";
            EXPECT_TRUE(sealed.substr(12, length) ==
                        Run("enc " + mode + " -K " + HexOf(key) + " -iv " + nonce + "00000002"))
                << length;
        }
    }
}

// COM-OPENSSL-04
TEST_F(OpensslCommand, AgreesOnBase64) {
    for (const std::size_t length : Lengths()) {
        const std::string bytes = Input(length);
        const auto* data = reinterpret_cast<const unsigned char*>(bytes.data());
        const std::string line = EncryptHelper::Base64Encode(data, bytes.size(), true);
        EXPECT_TRUE(line == Run("base64 -A")) << length;
        EXPECT_TRUE(EncryptHelper::Base64Encode(data, bytes.size(), false) == Run("base64")) << length;
        EXPECT_TRUE(EncryptHelper::Base64Decode(line, true) == bytes) << length;
    }
}

// COM-OPENSSL-05
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
