#include <gtest/gtest.h>

#include <cstring>

#include "interfaces/common/globals.h"
#include "keys/sync_user_key_service.h"
#include "tests/support/engine_bench.h"
#include "tests/unit/keys/key_server.h"

namespace Drive::Testing {
namespace {

using TransferService::SyncUserKeyService;

Bytes Key(unsigned char first, std::size_t length) {
    Bytes bytes(length);
    for (std::size_t i = 0; i < length; ++i) bytes[i] = static_cast<unsigned char>(first + i);
    return bytes;
}

class UserKeys : public EngineBench {
protected:
    UserKeys() {
        std::memset(g_SyncUserKey, 0, sizeof(g_SyncUserKey));
        std::memset(g_SyncUserKey_sfek, 0, sizeof(g_SyncUserKey_sfek));
        g_Keyuid.clear();
        g_Keyuid_sfek.clear();
        cloud.publickKey.Always([this] { return server.PublicKeyAnswer(); });
    }

    /// An entry of the list, sealed with the client's temporary key once that is known.
    struct Entry {
        std::string type;  // as it stands in the text
        Bytes key;
        std::string id;
    };

    void Answer(const std::vector<Entry>& entries) {
        cloud.keyList.Always([this, entries](int, const std::wstring& text, const std::wstring&) {
            temporaryKey = server.TemporaryKey(Narrow(text));
            std::string list;
            for (const Entry& entry : entries) {
                list += std::string(list.empty() ? "" : ",") + R"({"keyType":)" + entry.type + R"(,"encryptedKey":")" +
                        KeyServer::Base64(KeyServer::Seal(entry.key, temporaryKey)) + R"(","keyUuid":")" + entry.id +
                        "\"}";
            }
            return R"({"keys":[)" + list + "]}";
        });
    }
    void AnswerText(const std::string& text) {
        cloud.keyList.Always([text](int, const std::wstring&, const std::wstring&) { return text; });
    }

    void Init() { SyncUserKeyService().InitSyncUserKey(); }
    Texts Reports() const { return Lines({Kind::Begin, Kind::End, Kind::Error, Kind::Statistic, Kind::Trace}); }
    static Bytes First(const unsigned char* buffer, std::size_t count) { return {buffer, buffer + count}; }
    static bool NothingLoaded() { return g_SyncUserKey[0] == 0 && g_SyncUserKey_sfek[0] == 0 && g_Keyuid.empty(); }

    const std::string begin =
        "begin 10 15001|SyncUserKeyService|InitSyncUserKey|InitSyncUserKey Begin\n"
        "stat 15001|SyncUserKeyService::InitSyncUserKey |InitSyncUserKey Begin\n";
    static std::string Report(const std::string& text) {
        return "end 10 15001|SyncUserKeyService|InitSyncUserKey|" + text +
               "\nstat 15001|SyncUserKeyService::InitSyncUserKey |" + text + "\n";
    }
    static std::string ErrorReport(const std::string& text) {
        return "error SyncUserKeyService|InitSyncUserKey|" + text +
               "\nstat 15001|SyncUserKeyService::InitSyncUserKey |" + text + "\n";
    }
    static std::string Loaded(const std::string& text) {
        return "end 10 15002|SyncUserKeyService|InitSyncUserKey|" + text +
               "\nstat 15001|SyncUserKeyService::InitSyncUserKey |" + text + "\n";
    }
    const std::string closing = "stat 15001|SyncUserKeyService::InitSyncUserKey |get sync_user_drive failed\n";

    KeyServer server;
    Bytes temporaryKey;
};

// KEY-SYNC-01
TEST_F(UserKeys, ComeInEncryptedUnderATemporaryKeyOfSixteenBytes) {
    Answer({{"1", Key(10, 16), "uuid-1"}, {"3", Key(50, 32), "uuid-3"}});
    Init();
    EXPECT_EQ(temporaryKey.size(), 16u);
    EXPECT_EQ(First(g_SyncUserKey, 16), Key(10, 16));
    EXPECT_EQ(First(g_SyncUserKey_sfek, 32), Key(50, 32));
    EXPECT_EQ(g_Keyuid, "uuid-1");
    EXPECT_EQ(g_Keyuid_sfek, "uuid-3");
}

// KEY-SYNC-02
TEST_F(UserKeys, AreToldWithTheseTextsAndTheClosingLineAfterEachKey) {
    Answer({{"1", Key(10, 16), "uuid-1"}, {"3", Key(50, 32), "uuid-3"}});
    Init();
    EXPECT_EQ(Joined(Reports()), begin + Loaded("get sync_user_drive efek Success") + closing +
                                     Loaded("get sync_user_drive sefek Success") + closing);
}

// KEY-SYNC-03
TEST_F(UserKeys, AreNotAskedForAgainOnceTheyAreIn) {
    g_SyncUserKey[0] = 1;
    Init();
    EXPECT_EQ(Joined(Lines()), begin + "trace g_SyncUserKey has inited\n");
}

// KEY-SYNC-04
TEST_F(UserKeys, AskForTheListWithKindOneAndTheVersionOfThePublicKey) {
    Answer(std::vector<Entry>());
    Init();
    const Texts lines = Lines({Kind::Cloud});
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0], "cloud PublickKey()");
    EXPECT_EQ(lines[1], "cloud KeyList(1, 185 characters, v-12)");
}

// KEY-SYNC-05
TEST_F(UserKeys, APublicKeyAnswerThatIsEmptyOrUnreadableEndsTheExchange) {
    for (const char* answer : {"", "not json", "{\"publicKey\":"}) {
        cloud.publickKey.NextReturns(std::string(answer));
        const std::size_t mark = Journal::Mark();
        Init();
        EXPECT_EQ(Joined(Journal::LinesSince(mark, {Kind::Begin, Kind::End, Kind::Error, Kind::Statistic})),
                  begin + Report("get publicKey reponse format error"));
    }
    EXPECT_EQ(cloud.keyList.Calls(), 0);
    EXPECT_TRUE(NothingLoaded());
}

// KEY-SYNC-06
TEST_F(UserKeys, APublicKeyAnswerWithoutTheKeyEndsTheExchange) {
    for (const char* answer : {"{}", "null", "{\"version\":\"1\"}"}) {
        cloud.publickKey.NextReturns(std::string(answer));
        const std::size_t mark = Journal::Mark();
        Init();
        EXPECT_EQ(Joined(Journal::LinesSince(mark, {Kind::Begin, Kind::End, Kind::Error, Kind::Statistic})),
                  begin + Report("get publicKey reponse format error not include pk"));
    }
    EXPECT_EQ(cloud.keyList.Calls(), 0);
}

// KEY-SYNC-07
TEST_F(UserKeys, ATemporaryKeyTextThatCannotBeMadeEndsTheExchange) {
    common.base64Decode.NextThrows("broken");
    Init();
    EXPECT_EQ(Joined(Lines({Kind::End})),
              "end 10 15001|SyncUserKeyService|InitSyncUserKey|tempAesKey creates failed\n");
    EXPECT_EQ(Lines({Kind::Statistic}).back(),
              "stat 15001|SyncUserKeyService::InitSyncUserKey |tempAesKey creates failed");
    EXPECT_EQ(cloud.keyList.Calls(), 0);
}

// KEY-SYNC-08
TEST_F(UserKeys, AListThatIsEmptyOrUnreadableIsAnError) {
    for (const char* answer : {"", "[1,"}) {
        AnswerText(answer);
        const std::size_t mark = Journal::Mark();
        Init();
        EXPECT_EQ(Joined(Journal::LinesSince(mark, {Kind::Begin, Kind::End, Kind::Error, Kind::Statistic})),
                  begin + ErrorReport("error:keylist format Illegal"));
    }
    EXPECT_TRUE(NothingLoaded());
}

// KEY-SYNC-09
TEST_F(UserKeys, AListWithoutKeysIsAnError) {
    for (const char* answer : {"{}", "null", "{\"other\":[]}"}) {
        AnswerText(answer);
        const std::size_t mark = Journal::Mark();
        Init();
        EXPECT_EQ(Joined(Journal::LinesSince(mark, {Kind::Begin, Kind::End, Kind::Error, Kind::Statistic})),
                  begin + ErrorReport("error:keylist format Illegal,keys is not member"));
    }
}

// KEY-SYNC-10
TEST_F(UserKeys, KeysThatAreNoArrayOrNoneEndInSilence) {
    for (const char* answer : {R"({"keys":null})", R"({"keys":[]})", R"({"keys":7})", R"({"keys":{}})"}) {
        AnswerText(answer);
        const std::size_t mark = Journal::Mark();
        Init();
        EXPECT_EQ(Joined(Journal::LinesSince(mark, {Kind::Begin, Kind::End, Kind::Error, Kind::Statistic})), begin);
    }
}

// KEY-SYNC-11
TEST_F(UserKeys, OfTypeThreeAloneLeaveTheServiceEmptySoThatTheExchangeIsRepeated) {
    Answer({{"3", Key(50, 32), "uuid-3"}});
    Init();
    EXPECT_EQ(First(g_SyncUserKey_sfek, 32), Key(50, 32));
    EXPECT_EQ(g_SyncUserKey[0], 0);
    Init();
    EXPECT_EQ(cloud.publickKey.Calls(), 2);
}

// KEY-SYNC-12
TEST_F(UserKeys, OfAnotherTypeArePassedOverWithoutALine) {
    for (const char* type : {"2", "0", "\"1\"", "1.0", "null", "true", "-1"}) {
        Answer({{type, Key(10, 16), "uuid"}});
        const std::size_t mark = Journal::Mark();
        EXPECT_NO_THROW(Init()) << type;
        EXPECT_EQ(Joined(Journal::LinesSince(mark, {Kind::Begin, Kind::End, Kind::Error, Kind::Statistic})), begin)
            << type;
    }
    EXPECT_TRUE(NothingLoaded());
}

// KEY-SYNC-13
TEST_F(UserKeys, ALaterOneOfTheSameTypeReplacesTheEarlierOne) {
    Answer({{"1", Key(10, 16), "first"}, {"1", Key(90, 16), "second"}});
    Init();
    EXPECT_EQ(First(g_SyncUserKey, 16), Key(90, 16));
    EXPECT_EQ(g_Keyuid, "second");
}

// KEY-SYNC-14
TEST_F(UserKeys, ThatCannotBeOpenedAreToldAndLeaveTheGlobalsAsTheyWere) {
    AnswerText(R"({"keys":[{"keyType":1,"encryptedKey":"AAAA","keyUuid":"u"}]})");
    Init();
    EXPECT_EQ(Joined(Reports()),
              begin + "end 10 15002|SyncUserKeyService|InitSyncUserKey|get sync_user_drive failed\n" + closing);
    EXPECT_TRUE(NothingLoaded());
}

// KEY-SYNC-15
TEST_F(UserKeys, AnEmptyPlainKeyCountsAsSuccess) {
    Answer({{"1", Bytes(), "uuid-1"}});
    Init();
    EXPECT_EQ(Joined(Reports()), begin + Loaded("get sync_user_drive efek Success") + closing);
    EXPECT_EQ(g_Keyuid, "uuid-1");
    EXPECT_EQ(g_SyncUserKey[0], 0);
}

// KEY-SYNC-16
TEST_F(UserKeys, AKeyWhoseFirstByteIsZeroCountsAsNotLoaded) {
    Bytes key = Key(10, 16);
    key[0] = 0;
    Answer({{"1", key, "uuid-1"}});
    Init();
    Init();
    EXPECT_EQ(cloud.publickKey.Calls(), 2);
}

// KEY-SYNC-17
TEST_F(UserKeys, AKeyThatFillsItsBufferIsTakenWhole) {
    Answer({{"1", Key(1, kKeyBufferBytes), "uuid-1"}});
    Init();
    EXPECT_EQ(First(g_SyncUserKey, kKeyBufferBytes), Key(1, kKeyBufferBytes));
    EXPECT_EQ(g_SyncUserKey_sfek[0], 0);
}

// KEY-SYNC-18
TEST_F(UserKeys, AnswersOfAnotherShapeThrowOutOfTheRoutineForItsCallerToTell) {
    cloud.publickKey.NextReturns(std::string("[1, 2]"));
    EXPECT_ANY_THROW(Init());
    AnswerText(R"({"keys":[5]})");
    EXPECT_ANY_THROW(Init());
}

// KEY-SYNC-19
TEST_F(UserKeys, AnExceptionOfTheCloudLeavesTheRoutineAndTheGlobalsAsTheyWere) {
    cloud.publickKey.NextThrows("no answer");
    EXPECT_THROW(Init(), std::runtime_error);
    cloud.keyList.NextThrows("no list");
    EXPECT_THROW(Init(), std::runtime_error);
    EXPECT_TRUE(NothingLoaded());
}

// KEY-SYNC-20
TEST_F(UserKeys, TheTemporaryKeyIsRandomAndNewForEachExchange) {
    Answer(std::vector<Entry>());
    Init();
    const Bytes first = temporaryKey;
    Init();
    EXPECT_EQ(temporaryKey.size(), 16u);
    EXPECT_NE(first, temporaryKey);
    EXPECT_NE(temporaryKey, Bytes(16));
    EXPECT_EQ(Journal::Count(Kind::Common, "GetSecureRandom(16)"), 2) << Joined(Lines({Kind::Common}));
}

// KEY-SYNC-21
TEST_F(UserKeys, WithoutAVersionTheListIsAskedForWithAnEmptyOne) {
    cloud.publickKey.NextReturns(R"({"publicKey":")" + KeyServer::Base64(server.Blob()) + "\"}");
    Answer(std::vector<Entry>());
    Init();
    EXPECT_EQ(Lines({Kind::Cloud}).back(), "cloud KeyList(1, 185 characters, )");
}

// KEY-SYNC-22
TEST_F(UserKeys, AreDecodedWithoutStrictnessAndOpenedWithTheTemporaryKey) {
    Answer({{"1", Key(10, 16), "uuid-1"}});
    Bytes key;
    common.aES_GCM_Decrypt.Before([&](const Bytes& sealed, const Bytes& given) {
        EXPECT_EQ(sealed.size(), 12u + 16u + 16u);
        key = given;
    });
    Init();
    EXPECT_EQ(key, temporaryKey);
    EXPECT_EQ(common.base64Decode.Calls(), 2);
    for (const std::string& line : Lines({Kind::Common})) {
        if (line.rfind("common Base64Decode(", 0) != 0) continue;
        EXPECT_EQ(line.substr(line.size() - 8), ", false)") << line;
    }
}

// KEY-SYNC-23
TEST_F(UserKeys, OnlyAnAnswerOfExactlyOneByteIsAFailure) {
    for (const std::size_t length : {0u, 2u, 15u}) {
        Answer({{"1", Key(0, length), "uuid-" + std::to_string(length)}});
        Init();
        EXPECT_EQ(g_Keyuid, "uuid-" + std::to_string(length));
    }
    Answer({{"1", Key(7, 1), "uuid-one"}});
    Init();
    EXPECT_EQ(g_Keyuid, "uuid-15");
    EXPECT_EQ(Joined(Lines({Kind::End})).substr(Joined(Lines({Kind::End})).rfind("end ")),
              "end 10 15002|SyncUserKeyService|InitSyncUserKey|get sync_user_drive failed\n");
}

// KEY-SYNC-24
TEST_F(UserKeys, AKeyThatIsLongerThanItsBufferIsCut) {
    Answer({{"1", Key(1, kKeyBufferBytes + 50), "uuid-1"}});
    const std::string other = g_Keyuid_sfek;
    Init();
    EXPECT_EQ(First(g_SyncUserKey, kKeyBufferBytes), Key(1, kKeyBufferBytes));
    EXPECT_EQ(First(g_SyncUserKey_sfek, kKeyBufferBytes), Bytes(kKeyBufferBytes));
    EXPECT_EQ(g_Keyuid_sfek, other);
}

// KEY-SYNC-25
TEST_F(UserKeys, ASecondOneThatCannotBeOpenedLeavesTheFirstOneIn) {
    Answer({{"1", Key(10, 16), "uuid-1"}, {"3", Key(7, 1), "uuid-3"}});
    Init();
    EXPECT_EQ(First(g_SyncUserKey, 16), Key(10, 16));
    EXPECT_EQ(g_SyncUserKey_sfek[0], 0);
    EXPECT_EQ(g_Keyuid_sfek, "");
}

// KEY-SYNC-26
TEST_F(UserKeys, AnEntryWithoutCipherTextFailsAndOneWithoutIdHasAnEmptyOne) {
    AnswerText(R"({"keys":[{"keyType":1,"keyUuid":"u"},{"keyUuid":"none"}]})");
    Init();
    EXPECT_EQ(Joined(Reports()),
              begin + "end 10 15002|SyncUserKeyService|InitSyncUserKey|get sync_user_drive failed\n" + closing);
    g_Keyuid = "old";
    cloud.keyList.Always([this](int, const std::wstring& text, const std::wstring&) {
        const Bytes sealed = KeyServer::Seal(Key(10, 16), server.TemporaryKey(Narrow(text)));
        return R"({"keys":[{"keyType":1,"encryptedKey":")" + KeyServer::Base64(sealed) + "\"}]}";
    });
    Init();
    EXPECT_EQ(g_Keyuid, "");
    EXPECT_EQ(First(g_SyncUserKey, 16), Key(10, 16));
}

// KEY-SYNC-27
TEST_F(UserKeys, AShorterKeyLeavesTheRestOfItsBufferAsItWas) {
    g_SyncUserKey[5] = 99;
    Answer({{"1", Key(0, 4), "uuid-1"}});
    Init();
    EXPECT_EQ(g_SyncUserKey[3], 3);
    EXPECT_EQ(g_SyncUserKey[5], 99);
}

// KEY-SYNC-28
TEST_F(UserKeys, ComeInWhateverTheOrderOfTheirTypes) {
    Answer({{"3", Key(50, 32), "uuid-3"}, {"2", Key(1, 16), "uuid-2"}, {"1", Key(10, 16), "uuid-1"}});
    Init();
    EXPECT_EQ(g_Keyuid, "uuid-1");
    EXPECT_EQ(g_Keyuid_sfek, "uuid-3");
    EXPECT_EQ(Joined(Reports()), begin + Loaded("get sync_user_drive sefek Success") + closing +
                                     Loaded("get sync_user_drive efek Success") + closing);
}

// KEY-SYNC-29
TEST_F(UserKeys, AnUnreadableListLeavesKeysOfAnEarlierExchangeIn) {
    Answer({{"3", Key(50, 32), "uuid-3"}});
    Init();
    AnswerText("");
    Init();
    EXPECT_EQ(First(g_SyncUserKey_sfek, 32), Key(50, 32));
    EXPECT_EQ(g_Keyuid_sfek, "uuid-3");
}

// KEY-SYNC-30
TEST_F(UserKeys, NoLogHoldsAPlainKeyOrTheTemporaryOne) {
    Answer({{"1", Key(65, 16), "uuid-1"}, {"3", Key(65, 26), "uuid-3"}});  // "ABCD..."
    Init();
    const std::string all = Joined(Reports());
    EXPECT_EQ(all.find("ABCDEFGH"), std::string::npos);
    EXPECT_EQ(all.find(std::string(temporaryKey.begin(), temporaryKey.end())), std::string::npos);
    EXPECT_EQ(all.find(KeyServer::Base64(temporaryKey)), std::string::npos);
}

}  // namespace
}  // namespace Drive::Testing
