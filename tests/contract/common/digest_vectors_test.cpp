#include <gtest/gtest.h>

#include "interfaces/common/encrypt_helper.h"

namespace Drive::Common {

namespace {

Bytes Of(const std::string& text) { return {text.begin(), text.end()}; }

struct Vector {
    std::string message;
    std::string digest;
};

// COM-DIGEST-10
TEST(Md5, GivesThePublishedDigests) {
    const std::string upper = "ABCDEFGHIJKLMNOPQRSTUVWXYZ";
    const std::string lower = "abcdefghijklmnopqrstuvwxyz";
    const std::string digits = "1234567890";
    std::string eighty;
    for (int times = 0; times < 8; ++times) {
        eighty += digits;
    }
    const Vector vectors[] = {
        {"", "d41d8cd98f00b204e9800998ecf8427e"},    {"a", "0cc175b9c0f1b6a831c399e269772661"},
        {"abc", "900150983cd24fb0d6963f7d28e17f72"}, {"message digest", "f96b697d7cb7938d525a2f31aaf161d0"},
        {lower, "c3fcd3d76192e4007dfb496cca67e13b"}, {upper + lower + "0123456789", "d174ab98d277d9f5a5611c2c9f419d9f"},
        {eighty, "57edf4a22be3c955ac49da2e2107b67a"}};
    for (const Vector& vector : vectors) {
        EXPECT_EQ(EncryptHelper::MD5_Encode(Of(vector.message)), vector.digest);
    }
}

// COM-DIGEST-11
TEST(Sha256, GivesThePublishedDigests) {
    const Vector vectors[] = {
        {"", "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855"},
        {"\xD3", "28969cdfa74a12c82f3bad960b0b000aca2ac329deea5c2328ebc6f2ba9802c1"},
        {"abc", "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad"},
        {"abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq",
         "248d6a61d20638b8e5c026930c3e6039a33ce45964ff2167f6ecedd419db06c1"},
        {std::string(1000000, 'a'), "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0"}};
    for (const Vector& vector : vectors) {
        EXPECT_EQ(EncryptHelper::SHA256_Encode(Of(vector.message)), vector.digest);
    }
}

}  // namespace

}  // namespace Drive::Common
