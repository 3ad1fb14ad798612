// Whom a request reaches and over which connection: hosts that take turns, the newer addresses, proxies.
#include <cstdlib>
#include <memory>
#include <system_error>

#include "interfaces/cloud/file_trans_request.h"
#include "tests/contract/cloud/cloud_test.h"

namespace Drive::Testing {
namespace {

using Cloud::CloudFile;
using Cloud::DriveAccount;
using Cloud::FileTransRequest;

class Connections : public CloudTest {
protected:
    ~Connections() override {
        for (const char* name : {"http_proxy", "https_proxy", "no_proxy"}) unsetenv(name);
    }

    int Download(const std::wstring& url) {
        FileTransRequest request;
        request.receiveDownloadFileCallBackFun([](const unsigned char*, const std::int64_t&) { return true; });
        return FileTransRequest::DownloadCloudFileRequest(url, {}, &request);
    }
};

// CLOUD-NET-03
TEST_F(Connections, HostsThatTakeTurnsKeepTheirConnections) {
    HttpServer store;
    for (int turn = 0; turn < 10; ++turn) {
        EXPECT_EQ(200, Download(server.WideUrl("/a")));
        EXPECT_EQ(200, Download(store.WideUrl("/b")));
    }
    EXPECT_EQ(1, server.Connections());
    EXPECT_EQ(1, store.Connections());
}

// CLOUD-NET-04
TEST_F(Connections, AConnectionThatTheServerHasClosedIsReplacedInSilence) {
    Reply last;
    last.closeAfter = true;
    server.AnswerAll(last);
    EXPECT_EQ(200, Download(server.WideUrl("/a")));
    EXPECT_EQ(200, Download(server.WideUrl("/a")));
    EXPECT_EQ(2, server.Connections());
    EXPECT_EQ(0u, LogLines());
}

// CLOUD-NET-05
TEST_F(Connections, ACloudIsReachedByItsNewerAddress) {
    std::unique_ptr<HttpServer> newer;
    try {
        newer = std::make_unique<HttpServer>("::1");
    } catch (const std::system_error&) {
        // A machine without such addresses: the call ends with a reason, and the cloud is not reached by another road.
        auto settings = Settings();
        settings.baseUrl = L"http://[::1]:" + std::to_wstring(server.Port());
        Configure(settings);
        CloudFile file;
        EXPECT_EQ(0, DriveAccount::Get(L"f1", file).status);
        EXPECT_TRUE(server.Requests().empty());
        return;
    }
    newer->AnswerAll(Reply::Json(R"({"id":"f1"})"));
    auto settings = Settings();
    settings.baseUrl = newer->WideUrl();
    Configure(settings);
    CloudFile file;
    EXPECT_TRUE(DriveAccount::Get(L"f1", file).ok);
    EXPECT_EQ("Bearer live-token", newer->Last().Header("Authorization"));
    EXPECT_EQ("[::1]:" + std::to_string(newer->Port()), newer->Last().Header("Host"));
    EXPECT_EQ(200, Download(newer->WideUrl("/x")));
    EXPECT_EQ(1, newer->Connections());
}

// CLOUD-NET-06
TEST_F(Connections, AProxyOfTheEnvironmentIsAskedForStrangers) {
    HttpServer proxy;
    setenv("http_proxy", proxy.Url().c_str(), 1);
    EXPECT_EQ(200, Download(L"http://stranger.example/x"));
    EXPECT_EQ("http://stranger.example/x", proxy.Last().target);
    EXPECT_TRUE(server.Requests().empty());
}

// CLOUD-NET-06
TEST_F(Connections, AHostThatTheEnvironmentTakesOutIsNotAskedThroughTheProxy) {
    HttpServer proxy;
    setenv("http_proxy", proxy.Url().c_str(), 1);
    setenv("no_proxy", "127.0.0.1", 1);
    auto settings = Settings();
    settings.proxyForLoopback = true;
    Configure(settings);
    EXPECT_EQ(200, Download(server.WideUrl("/x")));
    EXPECT_TRUE(proxy.Requests().empty());
    EXPECT_EQ(1u, server.Requests().size());
}

// CLOUD-NET-06
TEST_F(Connections, OverTlsTheProxyIsAskedForATunnelAndSeesNoLogin) {
    HttpServer proxy;
    Reply refusal;
    refusal.status = 403;
    proxy.AnswerAll(refusal);
    setenv("https_proxy", proxy.Url().c_str(), 1);
    auto settings = Settings();
    settings.baseUrl = L"https://cloud.example";
    Configure(settings);
    CloudFile file;
    EXPECT_EQ(0, DriveAccount::Get(L"f1", file).status);
    EXPECT_EQ("CONNECT", proxy.Last().method);
    EXPECT_EQ("cloud.example:443", proxy.Last().target);
    EXPECT_EQ(0, proxy.Last().CountHeader("Authorization"));
}

}  // namespace
}  // namespace Drive::Testing
