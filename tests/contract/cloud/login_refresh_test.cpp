// The login that is kept inside: stale values, renewal, where it may travel, what is never logged.
#include <atomic>
#include <thread>

#include "interfaces/cloud/base_http_request.h"
#include "interfaces/cloud/cloud_drive_interface.h"
#include "interfaces/cloud/file_trans_request.h"
#include "interfaces/common/globals.h"
#include "tests/contract/cloud/cloud_test.h"

namespace Drive::Testing {
namespace {

using Cloud::CloudFile;
using Cloud::DriveAccount;
using Cloud::FileTransRequest;

Cloud::Login Pair(const std::wstring& access, const std::wstring& refresh) {
    Cloud::Login login;
    login.accessToken = access;
    login.refreshToken = refresh;
    login.userId = L"u";
    login.rootFileId = L"root1";
    login.serverVersion = L"9";
    return login;
}

class LoginRefresh : public CloudTest {
protected:
    LoginRefresh() { DriveAccount::UseLogin(Pair(L"old", L"r1")); }

    /// A cloud that knows the token "new" only, and gives it for the refresh token "r1".
    void ServeNewToken() {
        server.Answer([this](const SeenRequest& request) {
            if (request.target == "/v1/account/refresh") {
                ++refreshes;
                return ParseJson(request.body)["refreshToken"].asString() == "r1"
                           ? Reply::Json(R"({"accessToken":"new","refreshToken":"r2","expiresIn":60})")
                           : Reply::Json(R"({"errorCode":"21004011"})", 401);
            }
            if (request.Header("Authorization") == "Bearer new") {
                return Reply::Json(R"({"id":"f1","remaining":5})");
            }
            ++refused;
            return Reply::Json(R"({"errorCode":"21004011"})", 401);
        });
    }

    static int Download(const std::wstring& url, std::string& got) {
        FileTransRequest request;
        request.receiveDownloadFileCallBackFun([&](const unsigned char* data, const std::int64_t& length) {
            got.append(reinterpret_cast<const char*>(data), static_cast<std::size_t>(length));
            return true;
        });
        return FileTransRequest::DownloadCloudFileRequest(url, {{L"Authorization", L"Bearer stale"}}, &request);
    }

    std::atomic<int> refreshes{0};
    std::atomic<int> refused{0};
};

// CLOUD-LOGIN-03
TEST_F(LoginRefresh, AnExpiredTokenIsRenewedInsideAControlCall) {
    ServeNewToken();
    CloudFile file;
    EXPECT_TRUE(DriveAccount::Get(L"f1", file).ok);
    EXPECT_EQ(1, refreshes);
    EXPECT_TRUE(DriveAccount::Get(L"f1", file).ok);
    EXPECT_EQ(1, refreshes);
}

// CLOUD-LOGIN-03
TEST_F(LoginRefresh, AndInsideADownloadAndAProxyUpload) {
    ServeNewToken();
    std::string got;
    EXPECT_EQ(200, Download(server.WideUrl("/x"), got));
    EXPECT_EQ(R"({"id":"f1","remaining":5})", got);
    DriveAccount::UseLogin(Pair(L"old", L"r1"));
    WMap result;
    EXPECT_TRUE(Cloud::CloudDriveInterface::FileproxyUpload(
        server.WideUrl("/proxy/s"), L"f1", HttpInterface::InterfaceName::MultipartCreate, "", "body", {}, result));
    EXPECT_EQ("body", server.Last().body);
    EXPECT_EQ(2, refreshes);
}

// CLOUD-LOGIN-04
TEST_F(LoginRefresh, TheListenerHearsOfTheNewPairWithWhatTheAnswerLeftOut) {
    ServeNewToken();
    Cloud::Login heard;
    DriveAccount::OnRefresh([&](const Cloud::Login& login) { heard = login; });
    CloudFile file;
    DriveAccount::Get(L"f1", file);
    EXPECT_EQ(L"new", heard.accessToken);
    EXPECT_EQ(L"r2", heard.refreshToken);
    EXPECT_EQ(L"u", heard.userId);
    EXPECT_EQ(L"root1", heard.rootFileId);
    EXPECT_EQ(L"9", heard.serverVersion);
}

// CLOUD-LOGIN-04
TEST_F(LoginRefresh, AListenerThatThrowsCostsNothingButALine) {
    ServeNewToken();
    DriveAccount::OnRefresh([](const Cloud::Login&) { throw std::runtime_error("disk full"); });
    CloudFile file;
    EXPECT_TRUE(DriveAccount::Get(L"f1", file).ok);
    EXPECT_TRUE(LogHolds("disk full"));
}

// CLOUD-LOGIN-03
TEST_F(LoginRefresh, ManyThreadsRenewOnce) {
    ServeNewToken();
    std::vector<std::thread> threads;
    std::atomic<int> good{0};
    for (int index = 0; index < 12; ++index) {
        threads.emplace_back([&] {
            CloudFile file;
            if (DriveAccount::Get(L"f1", file).ok) ++good;
        });
    }
    for (auto& thread : threads) thread.join();
    EXPECT_EQ(12, good);
    EXPECT_EQ(1, refreshes);
}

// CLOUD-LOGIN-08
TEST_F(LoginRefresh, ARenewalThatFailsIsWaitedForOnceByAll) {
    server.Answer([this](const SeenRequest& request) {
        if (request.target != "/v1/account/refresh") {
            ++refused;
            return Reply::Json("{}", 401);
        }
        ++refreshes;
        for (int step = 0; step < 5000 && refused < 12; ++step) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        Reply reply = Reply::Json("{}", 503);
        reply.delayMilliseconds = 500;  // until all who were refused have come to wait
        return reply;
    });
    std::vector<std::thread> threads;
    for (int index = 0; index < 12; ++index) {
        threads.emplace_back([] {
            CloudFile file;
            EXPECT_EQ(401, DriveAccount::Get(L"f1", file).status);
        });
    }
    for (auto& thread : threads) thread.join();
    EXPECT_EQ(12, refused);
    EXPECT_LE(refreshes, 3);
    ServeNewToken();
    CloudFile file;
    EXPECT_TRUE(DriveAccount::Get(L"f1", file).ok) << "what failed once is not given up";
}

// CLOUD-LOGIN-08
TEST_F(LoginRefresh, AnAnswerThatIsNoneOfTheCloudsDoesNotEndTheLogin) {
    for (const Reply& odd :
         {Reply::Json("{}", 407), Reply::Json("{}", 404), Reply::Json("{}", 408), Reply::Json("{}", 429),
          Reply::Json("{}", 302), Reply::Json("{}", 500), Reply::Json("<html>"), Reply::Json(""), Reply::Json("{}"),
          Reply::Json(R"({"accessToken":5})"), Reply::Json(R"({"accessToken":"a\r\nb"})"),
          Reply::Json(R"({"accessToken":""})"), Reply::Json(R"({"accessToken":"new","errorCode":"21005001"})")}) {
        DriveAccount::UseLogin(Pair(L"old", L"r1"));
        server.Answer([&](const SeenRequest& request) {
            return request.target == "/v1/account/refresh" ? odd : Reply::Json("{}", 401);
        });
        CloudFile file;
        EXPECT_EQ(401, DriveAccount::Get(L"f1", file).status);
        ServeNewToken();
        EXPECT_TRUE(DriveAccount::Get(L"f1", file).ok) << odd.status << " " << odd.body;
    }
}

// CLOUD-LOGIN-05
TEST_F(LoginRefresh, ARefusedRenewalIsNotAskedForAgainUntilTheNextLogin) {
    ServeNewToken();
    DriveAccount::UseLogin(Pair(L"old", L"wrong"));
    CloudFile file;
    for (int count = 0; count < 3; ++count) {
        const auto outcome = DriveAccount::Get(L"f1", file);
        EXPECT_EQ(401, outcome.status);
        EXPECT_EQ(L"21004011", outcome.errorCode);
    }
    EXPECT_EQ(1, refreshes);
    DriveAccount::UseLogin(Pair(L"old", L"r1"));
    EXPECT_TRUE(DriveAccount::Get(L"f1", file).ok);
}

// CLOUD-LOGIN-05
TEST_F(LoginRefresh, ATokenThatIsRefusedAfterRenewalIsNotRenewedForEver) {
    server.Answer([this](const SeenRequest& request) {
        if (request.target != "/v1/account/refresh") return Reply::Json("{}", 401);
        return Reply::Json(R"({"accessToken":"new)" + std::to_string(++refreshes) + R"(","refreshToken":"r"})");
    });
    CloudFile file;
    EXPECT_EQ(401, DriveAccount::Get(L"f1", file).status);
    EXPECT_EQ(1, refreshes);
    std::string got;
    EXPECT_EQ(401, Download(server.WideUrl("/x"), got));
    EXPECT_EQ(2, refreshes);
}

// CLOUD-LOGIN-05
TEST_F(LoginRefresh, WithoutARefreshTokenTheRefusalStands) {
    ServeNewToken();
    DriveAccount::UseLogin(Pair(L"old", L""));
    CloudFile file;
    EXPECT_EQ(401, DriveAccount::Get(L"f1", file).status);
    EXPECT_EQ(0, refreshes);
}

// CLOUD-LOGIN-06
TEST_F(LoginRefresh, BeforeAnyLoginTheTokenOfTheStartIsUsed) {
    g_accessToken = L"from-start";
    g_SyncServerVersion = L"12";
    DriveAccount::UseLogin({});
    server.AnswerAll(Reply::Json("{}"));
    CloudFile file;
    DriveAccount::Get(L"f1", file);
    EXPECT_EQ("Bearer from-start", server.Last().Header("Authorization"));
    EXPECT_EQ("12", server.Last().Header("version"));
    g_accessToken.clear();
    g_SyncServerVersion.clear();
}

// CLOUD-LOGIN-07
TEST_F(LoginRefresh, TheLoginTravelsInClearToTheCloudAndThisMachineOnly) {
    server.AnswerAll(Reply{});
    auto settings = Settings();
    settings.baseUrl = L"http://cloud.example";
    Configure(settings);
    std::string got;
    Download(L"http://localhost:" + std::to_wstring(server.Port()) + L"/x", got);
    EXPECT_EQ("Bearer old", server.Last().Header("Authorization"));
    // A stranger is reached through the server as a proxy, which sees what would have been sent.
    setenv("http_proxy", server.Url().c_str(), 1);
    Download(L"http://stranger.example/x", got);
    EXPECT_EQ("http://stranger.example/x", server.Last().target);
    EXPECT_EQ(0, server.Last().CountHeader("Authorization"));
    WMap result;
    Cloud::CloudDriveInterface::FileproxyUpload(L"http://stranger.example/p", L"f1",
                                                HttpInterface::InterfaceName::MultipartCreate, "", "x", {}, result);
    EXPECT_EQ(0, server.Last().CountHeader("Authorization"));
    Download(L"http://CLOUD.example:8080/x", got);
    EXPECT_EQ("Bearer old", server.Last().Header("Authorization"));
    // A cloud that is spoken to over TLS once gave an address in clear.
    settings.baseUrl = L"https://cloud.example";
    Configure(settings);
    Download(L"http://cloud.example/x", got);
    EXPECT_EQ("http://cloud.example/x", server.Last().target);
    EXPECT_EQ(0, server.Last().CountHeader("Authorization"));
    EXPECT_TRUE(LogHolds("the login is not sent to http://cloud.example/x"));
    unsetenv("http_proxy");
}

struct OpenRequest : Cloud::BaseHttpRequest {
    using BaseHttpRequest::BaseHttpRequest;
};

// CLOUD-LOGIN-06
TEST_F(LoginRefresh, TheCommonHeadersStandInBothMapsAlike) {
    WMap wide{{L"Kept", L"x"}};
    std::map<std::string, std::string> narrow;
    Cloud::AddCommonHeaders(wide, narrow);
    EXPECT_EQ((WMap{{L"Authorization", L"Bearer old"}, {L"Kept", L"x"}, {L"version", L"9"}}), wide);
    EXPECT_EQ((std::map<std::string, std::string>{{"Authorization", "Bearer old"}, {"version", "9"}}), narrow);
}

// CLOUD-NET-02
TEST_F(LoginRefresh, NoSecretIsEverLogged) {
    const std::string secret = "s3cr3t";
    DriveAccount::UseLogin(Pair(L"s3cr3t-access", L"s3cr3t-refresh"));
    std::vector<Reply> replies{Reply::Json("", 401),
                               Reply::Json("", 500),
                               Reply::Json("{\"accessToken\": s3cr3t}"),
                               Reply::Json(R"({"accessToken":["s3cr3t"],"url":{"s3cr3t":1}})"),
                               Reply::Json(R"({"id":"s3cr3t' x"})"),
                               {}};
    replies.back().silent = true;
    for (const Reply& reply : replies) {
        server.AnswerAll(reply);
        Cloud::Login login;
        CloudFile file;
        WMap result, headers{{L"Authorization", L"Bearer s3cr3t"}};
        std::wstring text;
        std::string response;
        std::vector<unsigned char> received;
        Common::DownloadKelpAddressInfo info;
        DriveAccount::SignIn(L"u", L"s3cr3t-password", login);
        DriveAccount::UseLogin(Pair(L"s3cr3t-access", L"s3cr3t-refresh"));
        DriveAccount::Get(L"f", file);
        Cloud::CloudDriveInterface::GetUserSpace(text);
        Cloud::CloudDriveInterface::KeyList(1, L"s3cr3t-blob", L"1");
        Cloud::CloudDriveInterface::GetDownloadKelpAddress({L"b", L"o", L"s3cr3t-sync", L"t", L"c", 1, "", ""}, info);
        Cloud::CloudDriveInterface::FileproxyUpload(server.WideUrl("/proxy/s3cr3t-session"), L"f",
                                                    HttpInterface::InterfaceName::MultipartCreate, "", "s3cr3t", {},
                                                    result);
        FileTransRequest::UploadRequest(server.WideUrl("/store/b/o?signature=s3cr3t"), headers, L"PUT", {}, result,
                                        response);
        FileTransRequest::DownloadDriveFileRequest(server.WideUrl("/store/b/o?signature=s3cr3t"), headers,
                                                   std::vector<unsigned char>(16, 's'),
                                                   std::vector<unsigned char>(16, 's'), L"AES_128", 16, received);
        Download(server.WideUrl("/x?token=s3cr3t"), response);
    }
    EXPECT_GT(LogLines(), 20u);
    for (const auto& line : Log()) EXPECT_EQ(std::string::npos, line.find(secret)) << line;
}

}  // namespace
}  // namespace Drive::Testing
