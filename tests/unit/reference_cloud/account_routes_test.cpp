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

TEST_F(AccountRoutes, HealthNeedsNoToken) {
    const Answer answer = stranger_.Get("/health");
    EXPECT_EQ(answer.status, 200);
    EXPECT_EQ(answer.json["status"], "ok");
}

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

TEST_F(AccountRoutes, WrongPasswordsAndUnknownUsersAreRefusedAlike) {
    const Answer wrong = Login("Secret");
    const Answer unknown = stranger_.Post("/v1/account/login", LoginBody("nobody", "secret"));
    EXPECT_EQ(wrong.status, 401);
    EXPECT_EQ(wrong.json["errorCode"], "21004011");
    EXPECT_EQ(unknown.status, 401);
    EXPECT_EQ(unknown.body, wrong.body);
}

TEST_F(AccountRoutes, TenFailedSignInsMakeTheUserWaitAMinute) {
    for (int attempt = 0; attempt < 10; ++attempt) ASSERT_EQ(Login("wrong").status, 401);
    const Answer answer = Login();
    EXPECT_EQ(answer.status, 429);
    EXPECT_EQ(answer.json["errorCode"], "21004291");
    EXPECT_GT(std::stoi(answer.headers.at("retry-after")), 0);
    Shared().skipped += 61;
    EXPECT_EQ(Login().status, 200);
}

TEST_F(AccountRoutes, MissingAndForeignTokensAreRefusedOnEveryRoute) {
    for (const char* path : {"/v1/account/space", "/v1/files", "/v1/changes", "/v1/files/x", "/v1/files/x/content",
                             "/v1/files/x/download", "/v1/keys/public"}) {
        stranger_.token = "made up";
        const Answer answer = stranger_.Get(path);
        EXPECT_EQ(answer.status, 401) << path;
        EXPECT_EQ(answer.json["errorCode"], "21004011") << path;
    }
    for (const char* path :
         {"/v1/uploads/start", "/v1/uploads/address", "/v1/uploads/object-complete", "/v1/uploads/create-complete",
          "/v1/uploads/update-complete", "/v1/downloads/address", "/v1/folders", "/v1/keys/list", "/proxy/x"}) {
        EXPECT_EQ(stranger_.Post(path, Json::Value(Json::objectValue)).status, 401) << path;
    }
}

TEST_F(AccountRoutes, TokensEndWithTheirTime) {
    const std::string token = Login().json["accessToken"].asString();
    EXPECT_TRUE(Works(token));
    Shared().skipped += 3601;
    EXPECT_FALSE(Works(token));
}

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

TEST_F(AccountRoutes, LogoutRevokesBothTokens) {
    const Answer login = Login();
    TestClient signedIn(Shared().base);
    signedIn.token = login.json["accessToken"].asString();
    EXPECT_EQ(signedIn.Post("/v1/account/logout", Json::Value(Json::objectValue)).status, 200);
    EXPECT_FALSE(Works(signedIn.token));
    EXPECT_EQ(Refresh(login.json["refreshToken"].asString()).status, 401);
    EXPECT_TRUE(Works(client.token)) << "another sign-in of the same user goes on";
}

TEST_F(AccountRoutes, SpaceCountsLiveBytes) {
    const std::int64_t total = client.Get("/v1/account/space").json["total"].asInt64();
    UploadEncrypted(client, SampleUpload(std::string(1500, 'x')));
    const Json::Value space = client.Get("/v1/account/space").json;
    EXPECT_EQ(space["used"], 1500);
    EXPECT_EQ(space["remaining"].asInt64(), total - 1500);
}

TEST_F(AccountRoutes, BodiesThatAreNoObjectAreRefused) {
    for (const char* body : {"[]", "{", "null", "{} {}"}) {
        const Answer answer = stranger_.Post("/v1/account/login", std::string(body));
        EXPECT_EQ(answer.status, 400) << body;
        EXPECT_EQ(answer.json["errorCode"], "21004001") << body;
    }
    EXPECT_EQ(stranger_.Post("/v1/account/login", std::string(60000, '[')).status, 400);
    EXPECT_EQ(stranger_.Post("/v1/account/login", std::string((64 << 10) + 1, ' ')).status, 413);
}

TEST_F(AccountRoutes, UnknownAddressesAndMethodsAreTold) {
    EXPECT_EQ(client.Get("/v2/files").status, 404);
    EXPECT_EQ(client.Get("/v1/account/login").status, 405);
    EXPECT_EQ(client.Send("PUT", "/v1/files", "x").status, 405);
}

}  // namespace

}  // namespace Drive::ReferenceCloud
