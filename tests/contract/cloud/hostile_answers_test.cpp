// Every field of every answer, in turn, absent, twice, null, of another type, huge, negative and odd: nothing may crash
// or take memory without bound, what an operation calls a success must be safe to work with and right in everything
// else, and what it refuses is told.
#include <filesystem>
#include <fstream>
#include <set>

#include "interfaces/cloud/cloud_drive_interface.h"
#include "tests/contract/cloud/answer_table.h"
#include "tests/contract/cloud/cloud_test.h"
#include "tests/contract/cloud/memory_count.h"
#include "tests/contract/cloud/odd_answers.h"

namespace Drive::Testing {
namespace {

using Cloud::CloudFile;
using Cloud::DriveAccount;

/// Stands where a text of very many letters goes; no answer has it otherwise.
const std::string kFloodMark = "\x01 here";
constexpr std::size_t kFlood = std::size_t{100} << 20;
#ifdef ZELKOR_SANITIZED
constexpr int kFloodEvery = 8;  // of the fields: each takes a second or two there
#else
constexpr int kFloodEvery = 1;
#endif
/// The library keeps at most 16 MiB of an answer; a string that grows to that may hold three times as much meanwhile.
constexpr std::size_t kMostHeld = std::size_t{64} << 20;

class HostileAnswers : public CloudTest {
protected:
    /// Runs the case on the sound answer, which it must accept, and on every bent one.
    void Try(const AnswerCase& test) {
        Serve(Reply::Json(test.sound));
        const Taken right = test.ask(Settings());
        ASSERT_TRUE(right) << "the sound answer was refused";
        int tried = 0, accepted = 0;
        ForEachOddAnswer(ParseJson(test.sound), OddValues(), [&](const OddAnswer& odd) {
            if (HasFailure()) return;  // the first one tells enough
            Serve(Reply::Json(odd.text));
            const std::size_t lines = LogLines();
            const Taken taken = test.ask(Settings());
            EXPECT_TRUE(taken || LogHolds(told, lines)) << "refused without a line in the log";
            EXPECT_FALSE(taken && odd.ruined && !test.unread) << "an answer that nobody can read was used";
            if (taken) ExpectTheRestIsRight(*right, *taken, odd.field);
            accepted += taken ? 1 : 0;
            ++tried;
            if (HasFailure()) FAIL() << "with " << odd.field << " odd in the answer " << odd.text.substr(0, 2000);
        });
        EXPECT_GE(tried, 35);
        EXPECT_TRUE(accepted < tried || test.unread);
        if (test.flooded) Flood(test);
    }

    /// One odd field changes nothing of the others.
    static void ExpectTheRestIsRight(const std::map<std::string, std::string>& right,
                                     const std::map<std::string, std::string>& taken, const std::string& odd) {
        for (const auto& [name, value] : right) {
            const bool concerned = odd.empty() || name == odd || name.rfind(odd + ".", 0) == 0 ||
                                   odd.rfind(name + ".", 0) == 0 || DependsOn(name, odd);
            const auto found = taken.find(name);
            if (!concerned) {
                EXPECT_EQ(value, found == taken.end() ? "(absent)" : found->second) << name;
            }
        }
    }

    /// A list with one entry more or fewer, and what stands in the entries of a list that is another one.
    static bool DependsOn(const std::string& name, const std::string& odd) {
        return odd.find('.') == std::string::npos && name.find('.') != std::string::npos &&
               (odd == "items" || odd == "keys");
    }

    /// A hundred mebibytes of text in each field, with the length told before and without.
    void Flood(const AnswerCase& test) {
        int field = 0;
        ForEachOddAnswer(ParseJson(test.sound), {{"\"" + kFloodMark + "\""}}, [&](const OddAnswer& odd) {
            const std::size_t at = odd.text.find(kFloodMark);
            if (at == std::string::npos) return;  // absent, or there twice
            if (field++ % kFloodEvery != 0) return;
            Reply reply = Reply::Json(std::string(odd.text).erase(at, kFloodMark.size()));
            reply.padding = kFlood;
            reply.paddingAt = at;
            for (const bool chunked : {false, true}) {
                reply.chunked = chunked;
                Serve(reply);
                const std::size_t lines = LogLines();
                const MemoryPeak peak;
                EXPECT_FALSE(test.ask(Settings())) << reply.body;
                EXPECT_LT(peak.Bytes(), kMostHeld) << reply.body;
                EXPECT_TRUE(LogHolds("the answer is longer than", lines)) << reply.body;
            }
        });
    }

    void Serve(const Reply& reply) {
        server.Answer([reply, only = route](const SeenRequest& request) {
            return only.empty() || request.target == only ? reply : Reply::Json("", 401);
        });
    }

    std::string route;                  ///< which alone gets the odd answers; empty: all
    std::string told = "CloudClient ";  ///< what the line of a refusal has in it
};

class EveryAnswer : public HostileAnswers, public testing::WithParamInterface<AnswerCase> {};

// CLOUD-HOSTILE-01
TEST_P(EveryAnswer, WithAnOddFieldIsRefusedOrSafeAndRightInTheRest) { Try(GetParam()); }

INSTANTIATE_TEST_SUITE_P(Table, EveryAnswer, testing::ValuesIn(AnswerTable()),
                         [](const auto& info) { return info.param.name; });

// CLOUD-HOSTILE-01
TEST_F(HostileAnswers, ToTheRenewalOfALogin) {
    // Everything else is refused, so that the token has to be renewed.
    route = "/v1/account/refresh";
    told = "CloudClient RefreshLogin";
    Try({"refresh", "refresh",
         R"({"accessToken":"t","refreshToken":"r","expiresIn":60,"userId":"u","rootFileId":"root1","serverVersion":"1"})",
         [](const Cloud::CloudSettings&) -> Taken {
             Cloud::Login old;
             old.accessToken = L"old";
             old.refreshToken = L"r";
             DriveAccount::UseLogin(old);
             Cloud::Login fresh;
             DriveAccount::OnRefresh([&](const Cloud::Login& login) { fresh = login; });
             CloudFile file;
             EXPECT_FALSE(DriveAccount::Get(L"f1", file).ok);
             DriveAccount::OnRefresh({});
             if (fresh.accessToken.empty()) return std::nullopt;
             const auto narrow = [](const std::wstring& text) { return std::string(text.begin(), text.end()); };
             return {{{"accessToken", narrow(fresh.accessToken)},
                      {"refreshToken", narrow(fresh.refreshToken)},
                      {"userId", narrow(fresh.userId)},
                      {"rootFileId", narrow(fresh.rootFileId)},
                      {"serverVersion", narrow(fresh.serverVersion)}}};
         }});
}

// CLOUD-HOSTILE-01
TEST_F(HostileAnswers, ToARefusalWhateverItHoldsItStaysOne) {
    for (const int status : {400, 404, 409, 500, 507}) {
        const auto refusal = ParseJson(R"({"errorCode":"21004041","description":"gone","position":5})");
        ForEachOddAnswer(refusal, OddValues(), [&](const OddAnswer& odd) {
            server.AnswerAll(Reply::Json(odd.text, status));
            CloudFile file;
            const std::size_t lines = LogLines();
            const auto outcome = DriveAccount::Get(L"f1", file);
            EXPECT_FALSE(outcome.ok);
            EXPECT_EQ(status, outcome.status);
            EXPECT_FALSE(outcome.message.empty());
            EXPECT_TRUE(LogHolds("CloudClient Get", lines));
            EXPECT_EQ(L"", file.id);
            const bool codeIsSound = !odd.ruined && odd.field != "errorCode" && !odd.field.empty();
            EXPECT_EQ(codeIsSound, outcome.errorCode == L"21004041") << odd.text.substr(0, 200);
            EXPECT_TRUE(!odd.ruined || outcome.errorCode.empty());
        });
    }
}

/// The fields of a schema of the protocol's document, named as in FieldsOf.
std::set<std::string> FieldsOfSchema(const Json::Value& document, const Json::Value& schema) {
    if (schema.isMember("$ref")) {
        const std::string name = schema["$ref"].asString();
        return FieldsOfSchema(document, document["components"]["schemas"][name.substr(name.rfind('/') + 1)]);
    }
    std::set<std::string> fields;
    for (const auto& choice : schema["anyOf"]) fields.merge(FieldsOfSchema(document, choice));
    if (schema.isMember("items")) fields.merge(FieldsOfSchema(document, schema["items"]));
    for (const auto& name : schema["properties"].getMemberNames()) {
        fields.insert(name);
        for (const auto& field : FieldsOfSchema(document, schema["properties"][name]))
            fields.insert(name + "." + field);
    }
    return fields;
}

std::string Joined(const std::set<std::string>& names) {
    std::string text;
    for (const auto& name : names) text += name + " ";
    return text;
}

// CLOUD-HOSTILE-03
TEST(AnswerTableTest, HasEveryFieldOfEveryAnswerOfTheProtocol) {
    std::ifstream file(ZELKOR_PROTOCOL_DOCUMENT);
    const std::string text{std::istreambuf_iterator<char>(file), {}};
    const Json::Value document = ParseJson(text);
    std::map<std::string, std::set<std::string>> tried;
    for (const auto& test : AnswerTable()) tried[test.operation].merge(FieldsOf(ParseJson(test.sound)));
    tried["refresh"] = tried["login"];  // with a test of its own
    const std::set<std::string> unread{"health",
                                       "storeObject"};  // of which the library uses the status alone, or nothing
    int operations = 0;
    for (const auto& path : document["paths"]) {
        for (const auto& operation : path) {
            const Json::Value& schema = operation["responses"]["200"]["content"]["application/json"]["schema"];
            const std::string id = operation["operationId"].asString();
            if (schema.isNull() || unread.count(id) != 0) continue;
            ++operations;
            ASSERT_EQ(1u, tried.count(id)) << id << " is in no test";
            std::set<std::string> missing;
            for (const auto& field : FieldsOfSchema(document, schema)) {
                if (tried[id].count(field) == 0) missing.insert(field);
            }
            EXPECT_EQ("", Joined(missing)) << "no test bends these in the answer to " << id;
        }
    }
    EXPECT_GE(operations, 24);
}

// CLOUD-HOSTILE-02
TEST_F(HostileAnswers, ALongTextCostsABoundedMultipleOfItself) {
    Reply reply = Reply::Json(
        R"({"items":[{"id":"f1","fileName":"n","parentFolder":"p","size":5}],"nextCursor":"","changeCursor":"c"})");
    reply.padding = std::size_t{1} << 20;
    reply.paddingAt = reply.body.find("n\",\"parentFolder");
    server.AnswerAll(reply);
    std::vector<CloudFile> files;
    std::wstring cursor;
    const MemoryPeak peak;
    EXPECT_TRUE(DriveAccount::List(files, cursor).ok);
    EXPECT_EQ(reply.padding + 1, files.at(0).fileName.size());
    EXPECT_LT(peak.Bytes(), std::size_t{20} * reply.padding);
}

// CLOUD-HOSTILE-04
TEST_F(HostileAnswers, AShortTextOfVeryManyValuesIsNotTakenApart) {
    for (const char* value : {"0,", "{},", "[],", "\"\","}) {
        std::string body = R"({"items":[)";
        for (int count = 0; count < 1'200'000; ++count) body += value;
        server.AnswerAll(Reply::Json(body + "0]}"));
        std::vector<CloudFile> files;
        std::wstring cursor;
        const MemoryPeak peak;
        EXPECT_FALSE(DriveAccount::List(files, cursor).ok);
        EXPECT_LT(peak.Bytes(), kMostHeld) << value;
        EXPECT_TRUE(LogHolds("the answer holds more than 1000000 values"));
    }
}

}  // namespace
}  // namespace Drive::Testing
