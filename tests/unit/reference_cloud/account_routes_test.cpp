#include <algorithm>
#include <cctype>
#include <fstream>
#include <set>
#include <sstream>

#include "reference_cloud/http_message.h"
#include "reference_cloud/text.h"
#include "tests/unit/reference_cloud/cloud_fixture.h"

namespace Drive::ReferenceCloud {

namespace {

Json::Value LoginBody(const std::string& user, const std::string& password) {
    Json::Value body(Json::objectValue);
    body["user"] = user;
    body["password"] = password;
    return body;
}

class AccountRoutes : public CloudTest {
protected:
    const std::string user_ = Shared().lastUser;
    TestClient stranger_{Shared().base};

    Answer Login(const std::string& password = "secret") {
        return stranger_.Post("/v1/account/login", LoginBody(user_, password));
    }
    Answer Refresh(const std::string& token) {
        Json::Value body(Json::objectValue);
        body["refreshToken"] = token;
        return stranger_.Post("/v1/account/refresh", body);
    }
    bool Works(const std::string& token) {
        stranger_.token = token;
        const int status = stranger_.Get("/v1/account/space").status;
        stranger_.token.clear();
        EXPECT_TRUE(status == 200 || status == 401);
        return status == 200;
    }
};

// REF-ACCOUNT-01
TEST_F(AccountRoutes, HealthNeedsNoToken) {
    const Answer answer = stranger_.Get("/health");
    EXPECT_EQ(answer.status, 200);
    EXPECT_EQ(answer.json["status"], "ok");
}

// REF-ACCOUNT-02
TEST_F(AccountRoutes, LoginGivesTokensAndTheRoot) {
    const Answer answer = Login();
    ASSERT_EQ(answer.status, 200);
    for (const char* name : {"accessToken", "refreshToken", "userId", "rootFileId", "serverVersion"}) {
        EXPECT_FALSE(answer.json[name].asString().empty()) << name;
    }
    EXPECT_EQ(answer.json["expiresIn"], 3600);
    EXPECT_TRUE(Works(answer.json["accessToken"].asString()));
    EXPECT_FALSE(Works(answer.json["refreshToken"].asString()));
}

// REF-ACCOUNT-03
TEST_F(AccountRoutes, WrongPasswordsAndUnknownUsersAreRefusedAlike) {
    const Answer wrong = Login("Secret");
    const Answer unknown = stranger_.Post("/v1/account/login", LoginBody("nobody", "secret"));
    EXPECT_EQ(wrong.status, 401);
    EXPECT_EQ(wrong.json["errorCode"], "21004011");
    EXPECT_EQ(unknown.status, 401);
    EXPECT_EQ(unknown.body, wrong.body);
}

// REF-ACCOUNT-04
TEST_F(AccountRoutes, TenFailedSignInsMakeTheUserWaitAMinute) {
    for (int attempt = 0; attempt < 10; ++attempt) ASSERT_EQ(Login("wrong").status, 401);
    const Answer answer = Login();
    EXPECT_EQ(answer.status, 429);
    EXPECT_EQ(answer.json["errorCode"], "21004291");
    EXPECT_GT(std::stoi(answer.headers.at("retry-after")), 0);
    Shared().skipped += 61;
    EXPECT_EQ(Login().status, 200);
}

std::string Filled(std::string pattern) {
    for (std::size_t at = 0; (at = pattern.find('{')) != std::string::npos;) {
        pattern.replace(at, pattern.find('}') - at + 1, "x");
    }
    return pattern;
}

// REF-ACCOUNT-05
TEST_F(AccountRoutes, EveryRouteOfTheServerButFiveRefusesEveryTokenThatMustNotDo) {
    const Answer login = Login(), ended = Login(), late = Login();
    const std::string token = login.json["accessToken"].asString();
    TestClient leaving(Shared().base);
    leaving.token = ended.json["accessToken"].asString();
    ASSERT_EQ(leaving.Post("/v1/account/logout", Json::Value(Json::objectValue)).status, 200);
    Shared().server->GetCloud().metadata->Change([&](Rows& rows) {
        Token old = *rows.TokenByHash(Sha256(late.json["accessToken"].asString()));
        old.expires = Shared().server->GetCloud().now();
        rows.PutToken(old);
    });
    const std::pair<const char*, std::string> wrong[] = {
        {"none", ""},
        {"no token", "Bearer "},
        {"made up", "Bearer " + std::string(64, 'a')},
        {"half", "Bearer " + token.substr(1)},
        {"longer", "Bearer " + token + "0"},
        {"another scheme", "Basic " + token},
        {"a refresh token", "Bearer " + login.json["refreshToken"].asString()},
        {"signed out", "Bearer " + leaving.token},
        {"expired", "Bearer " + late.json["accessToken"].asString()}};
    std::vector<std::string> open;
    for (const auto& route : Shared().server->Routes()) {
        if (route.access == Router::Access::open) {
            open.push_back(route.method + " " + route.pattern);
            continue;
        }
        for (const auto& [name, header] : wrong) {
            const Headers headers = header.empty() ? Headers{} : Headers{{"Authorization", header}};
            const Answer answer = stranger_.Send(route.method, Filled(route.pattern), "", headers);
            EXPECT_EQ(answer.status, 401) << route.method << " " << route.pattern << " with " << name;
            EXPECT_EQ(answer.json["errorCode"], "21004011") << route.method << " " << route.pattern;
        }
    }
    EXPECT_EQ(open, (std::vector<std::string>{"GET /health", "POST /v1/account/login", "POST /v1/account/refresh",
                                              "PUT /store/{bucket}/{object}", "GET /store/{bucket}/{object}"}));
    EXPECT_TRUE(Works(token)) << "and the right one still does";
}

// REF-HTTP-20
TEST_F(AccountRoutes, TheServerHasTheRoutesOfTheDocumentAndNoOthers) {
    std::ifstream stream(ZELKOR_PROTOCOL_DOCUMENT);
    std::ostringstream text;
    text << stream.rdbuf();
    const Json::Value paths = (*ParseJson(text.str()))["paths"];
    std::set<std::string> documented, present;
    for (const auto& path : paths.getMemberNames()) {
        for (std::string method : paths[path].getMemberNames()) {
            const Json::Value& security = paths[path][method]["security"];
            const bool open = security.isArray() && security.empty();
            std::transform(method.begin(), method.end(), method.begin(), ::toupper);
            documented.insert(method + " " + path + (open ? " open" : ""));
        }
    }
    for (const auto& route : Shared().server->Routes()) {
        present.insert(route.method + " " + route.pattern + (route.access == Router::Access::open ? " open" : ""));
    }
    EXPECT_EQ(present, documented);
    EXPECT_GT(present.size(), 25U);
}

// REF-ACCOUNT-06
TEST_F(AccountRoutes, TokensEndWithTheirTime) {
    const std::string token = Login().json["accessToken"].asString();
    EXPECT_TRUE(Works(token));
    Shared().skipped += 3601;
    EXPECT_FALSE(Works(token));
}

// REF-ACCOUNT-07
TEST_F(AccountRoutes, RefreshGivesANewPairAndTheOldOneLivesOnForALostAnswer) {
    const Answer login = Login();
    const std::string old = login.json["refreshToken"].asString();
    const Answer first = Refresh(old), repeated = Refresh(old);
    EXPECT_EQ(first.status, 200);
    EXPECT_EQ(repeated.status, 200);
    EXPECT_TRUE(Works(first.json["accessToken"].asString()));
    Shared().skipped += 121;
    EXPECT_EQ(Refresh(old).status, 401);
    EXPECT_FALSE(Works(login.json["accessToken"].asString()));
    EXPECT_TRUE(Works(first.json["accessToken"].asString()));
}

// REF-ACCOUNT-08
TEST_F(AccountRoutes, LogoutRevokesBothTokens) {
    const Answer login = Login();
    TestClient signedIn(Shared().base);
    signedIn.token = login.json["accessToken"].asString();
    EXPECT_EQ(signedIn.Post("/v1/account/logout", Json::Value(Json::objectValue)).status, 200);
    EXPECT_FALSE(Works(signedIn.token));
    EXPECT_EQ(Refresh(login.json["refreshToken"].asString()).status, 401);
    EXPECT_TRUE(Works(client.token)) << "another sign-in of the same user goes on";
}

// REF-ACCOUNT-11
TEST_F(AccountRoutes, SigningOutEndsWhatARefreshHasLeftAliveAndNoOtherSignIn) {
    const Answer login = Login(), elsewhere = Login();
    const std::string old = login.json["refreshToken"].asString();
    const Answer second = Refresh(old), third = Refresh(second.json["refreshToken"].asString());
    ASSERT_EQ(third.status, 200);
    TestClient signedIn(Shared().base);
    signedIn.token = third.json["accessToken"].asString();
    EXPECT_EQ(signedIn.Post("/v1/account/logout", Json::Value(Json::objectValue)).status, 200);
    for (const Answer& pair : {login, second, third}) {
        EXPECT_FALSE(Works(pair.json["accessToken"].asString()));
        EXPECT_EQ(Refresh(pair.json["refreshToken"].asString()).status, 401) << "it would give a fresh pair";
    }
    EXPECT_TRUE(Works(elsewhere.json["accessToken"].asString()));
    EXPECT_EQ(Refresh(elsewhere.json["refreshToken"].asString()).status, 200);
}

// REF-ACCOUNT-09
TEST_F(AccountRoutes, SpaceCountsLiveBytes) {
    const std::int64_t total = client.Get("/v1/account/space").json["total"].asInt64();
    UploadEncrypted(client, SampleUpload(std::string(1500, 'x')));
    const Json::Value space = client.Get("/v1/account/space").json;
    EXPECT_EQ(space["used"], 1500);
    EXPECT_EQ(space["remaining"].asInt64(), total - 1500);
}

// REF-HTTP-04
TEST_F(AccountRoutes, BodiesThatAreNoObjectAreRefused) {
    for (const char* body : {"[]", "{", "null", "{} {}"}) {
        const Answer answer = stranger_.Post("/v1/account/login", std::string(body));
        EXPECT_EQ(answer.status, 400) << body;
        EXPECT_EQ(answer.json["errorCode"], "21004001") << body;
    }
    EXPECT_EQ(stranger_.Post("/v1/account/login", std::string(60000, '[')).status, 400);
    EXPECT_EQ(stranger_.Post("/v1/account/login", std::string((64 << 10) + 1, ' ')).status, 413);
}

// REF-HTTP-11
TEST_F(AccountRoutes, UnknownAddressesAndMethodsAreTold) {
    EXPECT_EQ(client.Get("/v2/files").status, 404);
    EXPECT_EQ(client.Get("/v1/account/login").status, 405);
    EXPECT_EQ(client.Send("PUT", "/v1/files", "x").status, 405);
    EXPECT_EQ(client.Send("OPTIONS", "/v1/files", "x").status, 405);
    EXPECT_EQ(client.Send("get", "/v1/files", "x").status, 405) << "methods are told apart by case";
    const Answer odd = client.Send("B\xffT", "/v1/files", "x");
    EXPECT_EQ(odd.status, 405);
    EXPECT_EQ(odd.json["errorCode"], "21004001") << "an answer is JSON, and JSON is UTF-8: " << odd.body;
    EXPECT_TRUE(IsUtf8(odd.body));
}

}  // namespace

}  // namespace Drive::ReferenceCloud
