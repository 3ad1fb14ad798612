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

// KEY-TEMP-09
TEST_F(TemporaryKey, ABlobThatIsTooShortIsToldAndGivesAnEmptyText) {
    for (const std::size_t length : {0u, 26u, 90u}) {
        Bytes blob = server.Blob();
        blob.resize(length);
        const std::size_t mark = Journal::Mark();
        EXPECT_EQ(Make(blob), "") << length;
        const Texts lines = LinesSince(mark, {Kind::Error, Kind::Statistic});
        ASSERT_EQ(lines.size(), 2u) << length;
        EXPECT_EQ(lines[0].rfind("error SyncUserKeyService|GetTempAesKey|error:", 0), 0u);
        EXPECT_EQ(lines[1].rfind("stat 15001|SyncUserKeyService::GetTempAesKey |error:", 0), 0u);
    }
}

// KEY-TEMP-10
TEST_F(TemporaryKey, ALongerBlobGivesItsFirstBytesAsPrefixAndLeavesLessRoomForThePoint) {
    Bytes blob = server.Blob();
    for (const unsigned char byte : {1, 2, 3, 4}) blob.push_back(byte);
    const KeyServer::Sent sent = KeyServer::TakeApart(Make(blob));
    ASSERT_EQ(sent.blob.size(), 91u);
    EXPECT_TRUE(std::equal(blob.begin(), blob.begin() + 30, sent.blob.begin()));
    EXPECT_EQ(sent.blob[30], 4);  // where the own point begins
}

// KEY-TEMP-11
TEST_F(TemporaryKey, AnExceptionOfTheCipherOrTheEncodingGivesAnEmptyTextToo) {
    common.aES_GCM_Encrypt.NextThrows("no cipher");
    EXPECT_EQ(Make(server.Blob()), "");
    common.base64Encode.NextThrows("no text");
    EXPECT_EQ(Make(server.Blob()), "");
    common.base64Encode.NextDefault();
    common.base64Encode.NextThrows("no blob");
    EXPECT_EQ(Make(server.Blob()), "");
    EXPECT_EQ(Joined(Lines({Kind::Error})),
              "error SyncUserKeyService|GetTempAesKey|error:no cipher\n"
              "error SyncUserKeyService|GetTempAesKey|error:no text\n"
              "error SyncUserKeyService|GetTempAesKey|error:no blob\n");
}

// KEY-TEMP-12
TEST_F(TemporaryKey, CarriesAKeyOfAnyLength) {
    for (const std::size_t length : {0u, 1u, 32u, 100u}) {
        const Bytes any(length, 5);
        EXPECT_EQ(server.TemporaryKey(SyncUserKeyService().GetTempAesKey(KeyServer::Base64(server.Blob()), any)), any);
    }
}

// KEY-TEMP-13
TEST_F(TemporaryKey, TheBlobStandsBeforeTheColonAndTheCipherBehindIt) {
    const std::string text = Make(server.Blob());
    EXPECT_EQ(text.find(':'), 124u);  // 91 bytes in Base64
    EXPECT_EQ(KeyServer::FromBase64(text.substr(0, 124)).size(), 91u);
    EXPECT_EQ(text.size(), 124u + 1u + 60u);
}

// KEY-TEMP-14
TEST_F(TemporaryKey, TheSecretIsUsedAsItStandsAndNotDerivedFurther) {
    Bytes secret;
    common.aES_GCM_Encrypt.Before([&](const Bytes& data, const Bytes& given) {
        EXPECT_EQ(data, key);
        secret = given;
    });
    const KeyServer::Sent sent = KeyServer::TakeApart(Make(server.Blob()));
    EXPECT_EQ(secret.size(), 32u);
    EXPECT_EQ(KeyServer::Open(sent.cipher, secret), key);
}

}  // namespace
}  // namespace Drive::Testing
