// Sign-in, lists and the calls on files.
#include <atomic>

#include "interfaces/cloud/cloud_drive_interface.h"
#include "tests/contract/cloud/cloud_test.h"

namespace Drive::Testing {
namespace {

using Cloud::CloudFile;
using Cloud::DriveAccount;

const char* const kLogin =
    R"({"accessToken":"fresh","refreshToken":"r1","expiresIn":3600,"userId":"u","rootFileId":"root1","serverVersion":"9"})";

std::string Entry(const std::string& id) {
    return R"({"id":")" + id +
           R"(","fileName":"a\uf7ff","parentFolder":"p","isFolder":false,"isDeleted":false,"size":5,"sha256":"s",)"
           R"("mimeType":"m","category":"image","contentVersion":"2","thumbnailLink":"http://t/","attachmentSize":[3,4],)"
           R"("createdTime":1,"editedTime":1700000000})";
}

std::string Page(const std::string& items, const std::string& next, const std::string& change) {
    return R"({"items":[)" + items + R"(],"nextCursor":")" + next + R"(","changeCursor":")" + change + R"("})";
}

class Account : public CloudTest {};

// CLOUD-LOGIN-01
TEST_F(Account, SigningInKeepsTheTokenForEveryLaterCall) {
    server.AnswerAll(Reply::Json(kLogin));
    Cloud::Login login;
    const auto outcome = DriveAccount::SignIn(L"us\u00e9r", L"pass", login);
    EXPECT_TRUE(outcome.ok) << outcome.message;
    EXPECT_EQ(200, outcome.status);
    EXPECT_EQ("POST /v1/account/login", server.Last().method + " " + server.Last().target);
    EXPECT_EQ(0, server.Last().CountHeader("Authorization"));
    EXPECT_EQ(R"({"password":"pass","user":"us\u00e9r"})", ToJson(ParseJson(server.Last().body)));
    EXPECT_EQ(L"fresh", login.accessToken);
    EXPECT_EQ(L"r1", login.refreshToken);
    EXPECT_EQ(L"u", login.userId);
    EXPECT_EQ(L"root1", login.rootFileId);
    EXPECT_EQ(L"9", login.serverVersion);
    EXPECT_GT(login.expiresAt, 1'700'000'000);
    CloudFile file;
    DriveAccount::Get(L"f", file);
    EXPECT_EQ("Bearer fresh", server.Last().Header("Authorization"));
    EXPECT_EQ("9", server.Last().Header("version"));
}

// CLOUD-LOGIN-02
TEST_F(Account, AWrongPasswordIsToldToThePersonAndKeepsTheOldLogin) {
    server.AnswerAll(Reply::Json(R"({"errorCode":"21004011","description":"no"})", 401));
    Cloud::Login login;
    login.userId = L"untouched";
    const auto outcome = DriveAccount::SignIn(L"u", L"p", login);
    EXPECT_FALSE(outcome.ok);
    EXPECT_EQ(401, outcome.status);
    EXPECT_EQ(L"21004011", outcome.errorCode);
    EXPECT_NE(std::string::npos, outcome.message.find("password"));
    EXPECT_EQ(L"untouched", login.userId);
    EXPECT_EQ(1u, server.Requests().size());
}

class BadLogin : public Account, public testing::WithParamInterface<const char*> {};

// CLOUD-LOGIN-02
TEST_P(BadLogin, IsNotTakenForOne) {
    server.AnswerAll(Reply::Json(GetParam()));
    Cloud::Login login;
    const auto outcome = DriveAccount::SignIn(L"u", L"p", login);
    EXPECT_FALSE(outcome.ok);
    EXPECT_NE("", outcome.message);
    CloudFile file;
    DriveAccount::Get(L"f", file);
    EXPECT_EQ("Bearer live-token", server.Last().Header("Authorization"));
}

INSTANTIATE_TEST_SUITE_P(Answers, BadLogin,
                         testing::Values("", "{}", "[]", "x", R"({"accessToken":""})", R"({"accessToken":null})",
                                         R"({"accessToken":{}})", R"({"accessToken":"a\r\nX: y"})",
                                         R"({"accessToken":"a","errorCode":"21004011"})"));

// CLOUD-LOGIN-02
TEST_F(Account, DamagedExtrasOfALoginCostThemselvesOnly) {
    server.AnswerAll(
        Reply::Json(R"({"accessToken":"t","refreshToken":[],"expiresIn":"soon","userId":{},"rootFileId":"x'y"})"));
    Cloud::Login login;
    EXPECT_TRUE(DriveAccount::SignIn(L"u", L"p", login).ok);
    EXPECT_EQ(L"t", login.accessToken);
    EXPECT_EQ(L"", login.refreshToken);
    EXPECT_EQ(L"", login.rootFileId);
}

// CLOUD-LOGIN-02
TEST_F(Account, AServerVersionThatNoHeaderCanHoldCostsItselfOnly) {
    server.AnswerAll(Reply::Json(R"({"accessToken":"t","serverVersion":"9\r\nX-Other: y"})"));
    Cloud::Login login;
    EXPECT_TRUE(DriveAccount::SignIn(L"u", L"p", login).ok);
    EXPECT_EQ(L"", login.serverVersion);
    EXPECT_TRUE(LogHolds("the server version cannot be sent"));
    server.AnswerAll(Reply::Json(R"({"id":"f1"})"));
    CloudFile file;
    EXPECT_TRUE(DriveAccount::Get(L"f1", file).ok);
    EXPECT_EQ(0, server.Last().CountHeader("X-Other"));
}

// CLOUD-LOGIN-01
TEST_F(Account, AfterSigningOutNoTokenIsSent) {
    server.AnswerAll(Reply::Json("{}"));
    EXPECT_TRUE(DriveAccount::SignOut().ok);
    EXPECT_EQ("POST /v1/account/logout", server.Last().method + " " + server.Last().target);
    EXPECT_EQ("Bearer live-token", server.Last().Header("Authorization"));
    CloudFile file;
    DriveAccount::Get(L"f", file);
    EXPECT_EQ(0, server.Last().CountHeader("Authorization"));
}

// CLOUD-LIST-01
TEST_F(Account, ListGathersAllPagesInOrderAndTheCursorOfTheFirst) {
    server.AnswerInTurn({Reply::Json(Page(Entry("f1") + "," + Entry("f2"), "next & more", "c1")),
                         Reply::Json(Page(Entry("f3"), "", "c2"))});
    std::vector<CloudFile> files;
    std::wstring cursor;
    const auto outcome = DriveAccount::List(files, cursor);
    ASSERT_TRUE(outcome.ok) << outcome.message;
    ASSERT_EQ(3u, files.size());
    EXPECT_EQ(L"f1", files[0].id);
    EXPECT_EQ(L"f3", files[2].id);
    EXPECT_EQ(L"c1", cursor);
    const auto requests = server.Requests();
    EXPECT_EQ("/v1/files?cursor=&limit=1000", requests[0].target);
    EXPECT_EQ("/v1/files?cursor=next%20%26%20more&limit=1000", requests[1].target);
}

// CLOUD-LIST-02
TEST_F(Account, AnEntryIsReadWhole) {
    server.AnswerAll(Reply::Json(Entry("f1")));
    CloudFile file;
    ASSERT_TRUE(DriveAccount::Get(L"f1", file).ok);
    EXPECT_EQ(L"f1", file.id);
    EXPECT_EQ(std::wstring(L"a") + wchar_t(0xDCFF), file.fileName);
    EXPECT_EQ(L"p", file.parentFolder);
    EXPECT_FALSE(file.isFolder);
    EXPECT_FALSE(file.isDeleted);
    EXPECT_EQ(5, file.size);
    EXPECT_EQ(L"s", file.sha256);
    EXPECT_EQ(L"m", file.mimeType);
    EXPECT_EQ(L"image", file.category);
    EXPECT_EQ(L"2", file.contentVersion);
    EXPECT_EQ(L"http://t/", file.thumbnailLink);
    EXPECT_EQ((std::vector<int>{3, 4}), file.attachmentSize);
    EXPECT_EQ(1'700'000'000, file.editedTime);
}

// CLOUD-LIST-01
TEST_F(Account, ChangesMoveTheCursorOnOverAllPages) {
    server.AnswerInTurn({Reply::Json(Page(Entry("f1"), "c1", "c1")), Reply::Json(Page(Entry("f2"), "", "c2"))});
    std::vector<CloudFile> files;
    std::wstring cursor = L"c0";
    ASSERT_TRUE(DriveAccount::Changes(cursor, files).ok);
    EXPECT_EQ(2u, files.size());
    EXPECT_EQ(L"c2", cursor);
    EXPECT_EQ("/v1/changes?cursor=c0&limit=1000", server.Requests()[0].target);
    EXPECT_EQ("/v1/changes?cursor=c1&limit=1000", server.Requests()[1].target);
}

// CLOUD-LIST-03
TEST_F(Account, AListThatBreaksOffGivesNothingAndKeepsTheCursor) {
    server.AnswerInTurn({Reply::Json(Page(Entry("f1"), "c1", "c1")), Reply::Json("", 500)});
    std::vector<CloudFile> files(1);
    std::wstring cursor = L"c0";
    EXPECT_FALSE(DriveAccount::Changes(cursor, files).ok);
    EXPECT_TRUE(files.empty());
    EXPECT_EQ(L"c0", cursor);
    EXPECT_FALSE(DriveAccount::List(files, cursor).ok);
    EXPECT_EQ(L"c0", cursor);
}

// CLOUD-LIST-03
TEST_F(Account, AListThatGoesRoundInCirclesIsGivenUp) {
    server.AnswerAll(Reply::Json(Page(Entry("f1"), "again", "c1")));
    std::vector<CloudFile> files;
    std::wstring cursor;
    const auto outcome = DriveAccount::List(files, cursor);
    EXPECT_FALSE(outcome.ok);
    EXPECT_NE("", outcome.message);
    EXPECT_LE(server.Requests().size(), 3u);
}

struct Field {
    const char* key;
    const char* value;
};

// CLOUD-LIST-03
TEST_F(Account, AListWithoutEndIsGivenUp) {
    std::atomic<int> pages{0};
    server.Answer([&](const SeenRequest&) { return Reply::Json(Page("", "p" + std::to_string(++pages), "c")); });
    std::vector<CloudFile> files;
    std::wstring cursor = L"kept";
    const auto outcome = DriveAccount::Changes(cursor, files);
    EXPECT_FALSE(outcome.ok);
    EXPECT_EQ(L"kept", cursor);
    EXPECT_EQ(1001, pages);
    EXPECT_TRUE(LogHolds("the list has no end"));
}

// CLOUD-LIST-03
TEST_F(Account, PagesWithoutEntriesBetweenOthersAreNoHarm) {
    std::atomic<int> pages{0};
    server.Answer([&](const SeenRequest&) {
        const int page = ++pages;
        const std::string entry = page % 400 == 0 ? R"({"id":"f)" + std::to_string(page) + R"("})" : "";
        return Reply::Json(Page(entry, page == 2000 ? "" : "p" + std::to_string(page), "c"));
    });
    std::vector<CloudFile> files;
    std::wstring cursor;
    EXPECT_TRUE(DriveAccount::Changes(cursor, files).ok);
    EXPECT_EQ(5u, files.size());
}

class DamagedEntry : public Account, public testing::WithParamInterface<Field> {};

// CLOUD-LIST-02
TEST_P(DamagedEntry, MakesTheListAFailureSoThatNoFileSeemsDeleted) {
    auto entry = ParseJson(Entry("f1"));
    entry[GetParam().key] = ParseJson(std::string(R"({"v":)") + GetParam().value + "}")["v"];
    server.AnswerAll(Reply::Json(Page(Entry("f0") + "," + ToJson(entry), "", "c")));
    std::vector<CloudFile> files;
    std::wstring cursor;
    EXPECT_FALSE(DriveAccount::List(files, cursor).ok) << ToJson(entry);
    EXPECT_TRUE(files.empty());
    EXPECT_TRUE(LogHolds("cannot be used"));
    server.AnswerAll(Reply::Json(ToJson(entry)));
    CloudFile file;
    EXPECT_FALSE(DriveAccount::Get(L"f1", file).ok);
    EXPECT_EQ(L"", file.id);
}

INSTANTIATE_TEST_SUITE_P(
    Fields, DamagedEntry,
    testing::Values(Field{"id", "null"}, Field{"id", "\"\""}, Field{"id", "{}"}, Field{"id", "[\"f1\"]"},
                    Field{"id", "true"}, Field{"id", "1.5"}, Field{"id", "\"Local1\""}, Field{"id", "\"a'b\""},
                    Field{"id", "\"a\\u0000b\""}, Field{"id", "\"a\\nb\""}, Field{"id", "\"a\\\"b\""},
                    Field{"fileName", "{}"}, Field{"fileName", "[\"a\"]"}, Field{"fileName", "false"},
                    Field{"parentFolder", "{}"}, Field{"parentFolder", "[{}]"}, Field{"parentFolder", "\"Local1\""},
                    Field{"parentFolder", "\"a'b\""}, Field{"isFolder", "1"}, Field{"isFolder", "\"false\""},
                    Field{"isDeleted", "[]"}, Field{"isDeleted", "0"}, Field{"size", "-1"}, Field{"size", "1e300"},
                    Field{"size", "\"5\""}, Field{"size", "5.5"}, Field{"size", "18446744073709551615"},
                    Field{"size", "9223372036854775807"}, Field{"sha256", "[]"}, Field{"contentVersion", "{}"}));

class DamagedExtra : public Account, public testing::WithParamInterface<Field> {};

// CLOUD-LIST-02
TEST_P(DamagedExtra, CostsItselfOnly) {
    auto entry = ParseJson(Entry("f1"));
    entry[GetParam().key] = ParseJson(std::string(R"({"v":)") + GetParam().value + "}")["v"];
    server.AnswerAll(Reply::Json(ToJson(entry)));
    CloudFile file;
    EXPECT_TRUE(DriveAccount::Get(L"f1", file).ok) << ToJson(entry);
    EXPECT_EQ(L"f1", file.id);
    EXPECT_EQ(5, file.size);
}

INSTANTIATE_TEST_SUITE_P(Fields, DamagedExtra,
                         testing::Values(Field{"mimeType", "[]"}, Field{"category", "{}"}, Field{"thumbnailLink", "{}"},
                                         Field{"thumbnailLink", "null"}, Field{"editedTime", "\"yesterday\""},
                                         Field{"editedTime", "-5"}, Field{"editedTime", "1e300"},
                                         Field{"attachmentSize", "null"}, Field{"attachmentSize", "5"},
                                         Field{"attachmentSize", "[1,\"x\"]"}, Field{"attachmentSize", "[-1]"},
                                         Field{"attachmentSize", "[99999999999]"}, Field{"attachmentSize", "[[],{}]"},
                                         Field{"createdTime", "{}"}, Field{"unknown", "[[[[]]]]"}, Field{"size", "5.0"},
                                         Field{"contentVersion", "2"}, Field{"parentFolder", "[\"p\"]"},
                                         Field{"parentFolder", "null"}));

// CLOUD-LIST-04
TEST_F(Account, APageWithoutItemsIsNoEmptyAccount) {
    for (const char* body :
         {"", "{}", R"({"items":null})", R"({"items":{}})", R"({"items":[],"nextCursor":[]})", "[]"}) {
        server.AnswerAll(Reply::Json(body));
        std::vector<CloudFile> files;
        std::wstring cursor;
        EXPECT_FALSE(DriveAccount::List(files, cursor).ok) << body;
    }
}

// CLOUD-LIST-04
TEST_F(Account, AnEmptyAccountIsASuccess) {
    server.AnswerAll(Reply::Json(Page("", "", "c")));
    std::vector<CloudFile> files(3);
    std::wstring cursor;
    EXPECT_TRUE(DriveAccount::List(files, cursor).ok);
    EXPECT_TRUE(files.empty());
    EXPECT_EQ(L"c", cursor);
}

struct FileCall {
    const char* line;
    const char* body;
    std::function<Cloud::CallOutcome(CloudFile&)> make;
};

class FileCalls : public Account, public testing::WithParamInterface<FileCall> {};

// CLOUD-LIST-05
TEST_P(FileCalls, GoToTheirRouteAndBringTheEntryBack) {
    server.AnswerAll(Reply::Json(Entry("f9")));
    CloudFile file;
    EXPECT_TRUE(GetParam().make(file).ok);
    EXPECT_EQ(GetParam().line, server.Last().method + " " + server.Last().target);
    EXPECT_EQ(GetParam().body, server.Last().body.empty() ? "" : ToJson(ParseJson(server.Last().body)));
    EXPECT_EQ("Bearer live-token", server.Last().Header("Authorization"));
    if (server.Last().method != "DELETE") {
        EXPECT_EQ(L"f9", file.id);
    }
    server.AnswerAll(Reply::Json(R"({"errorCode":"21004091","description":"taken"})", 409));
    CloudFile untouched;
    const auto outcome = GetParam().make(untouched);
    EXPECT_FALSE(outcome.ok);
    EXPECT_EQ(409, outcome.status);
    EXPECT_EQ(L"21004091", outcome.errorCode);
    EXPECT_NE(std::string::npos, outcome.message.find("taken"));
    EXPECT_EQ(L"", untouched.id);
}

INSTANTIATE_TEST_SUITE_P(
    Calls, FileCalls,
    testing::Values(
        FileCall{"GET /v1/files/a%2Fb", "", [](CloudFile& file) { return DriveAccount::Get(L"a/b", file); }},
        FileCall{"GET /v1/files/find?parentFolder=p&fileName=a%EF%9F%BF%20b", "",
                 [](CloudFile& file) {
                     return DriveAccount::Find(L"p", std::wstring(L"a") + wchar_t(0xDCFF) + L" b", file);
                 }},
        FileCall{"POST /v1/folders", R"({"fileName":"n","parentFolder":"p"})",
                 [](CloudFile& file) { return DriveAccount::CreateFolder(L"p", L"n", file); }},
        FileCall{"POST /v1/files/empty", R"({"fileName":"n","parentFolder":"p"})",
                 [](CloudFile& file) { return DriveAccount::CreateEmptyFile(L"p", L"n", file); }},
        FileCall{"POST /v1/files/f/rename", R"({"fileName":"n"})",
                 [](CloudFile& file) { return DriveAccount::Rename(L"f", L"n", file); }},
        FileCall{"POST /v1/files/f/move", R"({"parentFolder":"p2"})",
                 [](CloudFile& file) { return DriveAccount::Move(L"f", L"p2", file); }},
        FileCall{"POST /v1/files/f/restore", "{}", [](CloudFile& file) { return DriveAccount::Restore(L"f", file); }},
        FileCall{"DELETE /v1/files/f", "", [](CloudFile&) { return DriveAccount::Delete(L"f"); }}));

// CLOUD-LIST-05
TEST_F(Account, AnEmptyIdNeverBecomesAnotherRoute) {
    CloudFile file;
    EXPECT_FALSE(DriveAccount::Get(L"", file).ok);
    EXPECT_FALSE(DriveAccount::Rename(L"", L"n", file).ok);
    EXPECT_FALSE(DriveAccount::Move(L"", L"p", file).ok);
    EXPECT_FALSE(DriveAccount::Restore(L"", file).ok);
    EXPECT_FALSE(DriveAccount::Delete(L"").ok);
    EXPECT_TRUE(server.Requests().empty());
}

// CLOUD-CALL-02
TEST_F(Account, ANameThatCannotBeToldIsAFailureWithAMessage) {
    CloudFile file;
    const auto outcome = DriveAccount::CreateFolder(L"p", std::wstring(1, wchar_t(0xD800)), file);
    EXPECT_FALSE(outcome.ok);
    EXPECT_EQ(0, outcome.status);
    EXPECT_NE("", outcome.message);
    EXPECT_TRUE(server.Requests().empty());
}

// CLOUD-LIST-06
TEST_F(Account, ATransportFailureSaysWhereAndHowToGoOn) {
    Reply reply;
    reply.silent = true;
    server.AnswerAll(reply);
    CloudFile file;
    const auto outcome = DriveAccount::Get(L"f", file);
    EXPECT_FALSE(outcome.ok);
    EXPECT_EQ(0, outcome.status);
    EXPECT_NE(std::string::npos, outcome.message.find(server.Url())) << outcome.message;
    EXPECT_NE(std::string::npos, outcome.message.find("try again"));
}

// CLOUD-LIST-06
TEST_F(Account, WithoutACloudEveryCallFailsAtOnce) {
    Configure({});
    CloudFile file;
    const auto outcome = DriveAccount::Get(L"f", file);
    EXPECT_FALSE(outcome.ok);
    EXPECT_NE("", outcome.message);
}

}  // namespace
}  // namespace Drive::Testing
