#include "collaborators/common/keyed_digest.h"

#include "collaborators/common/hex_text.h"
#include "tests/contract/common/test_bytes.h"
#include "tests/contract/common/test_folders.h"

namespace Drive::Common {

namespace {

std::string Keyed(const Bytes& key, const std::string& data) {
    Sha256Bytes result{};
    EXPECT_TRUE(KeyedDigest(key.data(), key.size(), data.data(), data.size(), result));
    return HexText<std::string>(result.data(), result.size());
}

// RFC 4231, test cases 1, 2, 3 and 6.
// COM-DIGEST-21
TEST(KeyedDigests, AreThePublishedOnes) {
    EXPECT_EQ(Keyed(Bytes(20, 0x0b), "Hi There"), "b0344c61d8db38535ca8afceaf0bf12b881dc200c9833da726e9376c2e32cff7");
    EXPECT_EQ(Keyed(Trial::Of("Jefe"), "what do ya want for nothing?"),
              "5bdcc146bf60754e6a042426089575c75a003f089d2739839dec58b964ec3843");
    EXPECT_EQ(Keyed(Bytes(20, 0xaa), std::string(50, '\xdd')),
              "773ea91e36800e46854db8ebd09181a72959098b3ef8c122d9635514ced565fe");
    EXPECT_EQ(Keyed(Bytes(131, 0xaa), "Test Using Larger Than Block-Size Key - Hash Key First"),
              "60e431591ee0b67f0d8a26aacbf5b77f8e0bc6213728c5140546040f0ee37f54");
}

}  // namespace

}  // namespace Drive::Common
