#include <gtest/gtest.h>

#include <algorithm>

#include "keys/sync_user_key_service.h"
#include "tests/support/engine_bench.h"
#include "tests/unit/keys/key_server.h"

namespace Drive::Testing {
namespace {

using TransferService::SyncUserKeyService;

class TemporaryKey : public EngineBench {
protected:
    std::string Make(const Bytes& blob) { return SyncUserKeyService().GetTempAesKey(KeyServer::Base64(blob), key); }

    KeyServer server;
    const Bytes key = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16};
};

// KEY-TEMP-01
TEST_F(TemporaryKey, ReachesTheOneWhoHoldsThePrivateKey) {
    const std::string text = Make(server.Blob());
    EXPECT_EQ(server.TemporaryKey(text), key);
    EXPECT_TRUE(KeyServer().TemporaryKey(text).empty());  // and nobody else
}

// KEY-TEMP-02
TEST_F(TemporaryKey, AnswerHasTheLayoutOfTheBlobThatCameWithItsPrefixUnchanged) {
    const Bytes blob = server.Blob();
    const KeyServer::Sent sent = KeyServer::TakeApart(Make(blob));
    ASSERT_EQ(sent.blob.size(), 91u);
    EXPECT_TRUE(std::equal(blob.begin(), blob.begin() + 26, sent.blob.begin()));
    EXPECT_EQ(sent.blob[26], 4);
    EXPECT_FALSE(std::equal(blob.begin() + 26, blob.end(), sent.blob.begin() + 26));
    EXPECT_EQ(sent.cipher.size(), 12u + 16u + 16u);
}

// KEY-TEMP-03
TEST_F(TemporaryKey, TextHoldsExactlyOneColonAndNoLineBreak) {
    for (int i = 0; i < 20; ++i) {
        const std::string text = Make(server.Blob());
        EXPECT_EQ(std::count(text.begin(), text.end(), ':'), 1);
        EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 0);
    }
}

// KEY-TEMP-04
TEST_F(TemporaryKey, IsAgreedAnewEachTime) { EXPECT_NE(Make(server.Blob()), Make(server.Blob())); }

// KEY-TEMP-05
TEST_F(TemporaryKey, APointThatIsNotUncompressedGivesZerosInPlaceOfTheOwnPointAndASecretOfZeros) {
    Bytes blob = server.Blob();
    blob[26] = 6;
    const KeyServer::Sent sent = KeyServer::TakeApart(Make(blob));
    ASSERT_EQ(sent.blob.size(), 91u);
    EXPECT_EQ(std::count(sent.blob.begin() + 26, sent.blob.end(), 0), 65);
    blob[26] = 9;
    EXPECT_EQ(KeyServer::Open(KeyServer::TakeApart(Make(blob)).cipher, Bytes(32)), key);
}

// KEY-TEMP-06
TEST_F(TemporaryKey, APointOffTheCurveGoesOnWithASecretOfZeros) {
    Bytes blob = server.Blob();
    blob[60] ^= 1;
    const std::string text = Make(blob);
    const KeyServer::Sent sent = KeyServer::TakeApart(text);
    EXPECT_EQ(sent.blob[26], 4);  // the own point is there
    EXPECT_EQ(KeyServer::Open(sent.cipher, Bytes(32)), key);
    EXPECT_EQ(Joined(Lines({Kind::Error, Kind::Statistic})), "");
}

// KEY-TEMP-07
TEST_F(TemporaryKey, AnExceptionIsToldTwiceAndGivesAnEmptyText) {
    common.base64Decode.NextThrows("broken");
    EXPECT_EQ(Make(server.Blob()), "");
    const Texts expected = {"error SyncUserKeyService|GetTempAesKey|error:broken",
                            "stat 15001|SyncUserKeyService::GetTempAesKey |error:broken"};
    EXPECT_EQ(Joined(Lines({Kind::Error, Kind::Statistic})), Joined(expected));
}

// KEY-TEMP-08
TEST_F(TemporaryKey, EncodesOnOneLineAndDecodesWithoutStrictness) {
    Make(server.Blob());
    const Texts lines = Lines({Kind::Common});
    EXPECT_EQ(lines.front(), "common Base64Decode(" + KeyServer::Base64(server.Blob()) + ", false)");
    EXPECT_TRUE(InOrder(
        lines, {"common AES_GCM_Encrypt(16, 32)", "common Base64Encode(44, true)", "common Base64Encode(91, true)"}));
}

}  // namespace
}  // namespace Drive::Testing
