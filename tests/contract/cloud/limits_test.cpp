// Time limits, the stop, bandwidth, and many threads at once.
#include <atomic>
#include <thread>

#include "interfaces/cloud/cloud_drive_interface.h"
#include "interfaces/cloud/file_trans_request.h"
#include "interfaces/common/globals.h"
#include "tests/contract/cloud/cloud_test.h"

namespace Drive::Testing {
namespace {

using Cloud::CloudFile;
using Cloud::DriveAccount;
using Cloud::FileTransRequest;

/// As patient as every other test, since nothing here waits for a limit of time.
class Sharing : public CloudTest {
protected:
    int Download(const std::function<bool()>& each = [] { return true; }) {
        FileTransRequest request;
        request.receiveDownloadFileCallBackFun([&](const unsigned char*, const std::int64_t&) { return each(); });
        return FileTransRequest::DownloadCloudFileRequest(server.WideUrl("/x"), {}, &request);
    }
};

class Limits : public Sharing {
protected:
    Limits() { GiveUpEarly(); }
};

// CLOUD-LIMIT-01
TEST_F(Limits, ASilentCallIsGivenUpAfterTheIdleLimit) {
    Reply reply = Reply::Json("{}");
    reply.delayMilliseconds = 20'000;
    server.AnswerAll(reply);
    CloudFile file;
    const auto took = MillisecondsOf([&] { EXPECT_EQ(0, DriveAccount::Get(L"f", file).status); });
    EXPECT_GE(took, 900);
    EXPECT_LT(took, 8000);
}

// CLOUD-LIMIT-02
TEST_F(Limits, AControlCallThatTricklesIsGivenUpAfterItsTotalLimit) {
    Reply reply = Reply::Json(R"({"id":"f"})" + std::string(500, ' '));
    reply.writeSize = 1;
    reply.pauseMilliseconds = 50;
    server.AnswerAll(reply);
    CloudFile file;
    const auto took = MillisecondsOf([&] { EXPECT_EQ(0, DriveAccount::Get(L"f", file).status); });
    EXPECT_GE(took, 1900);
    EXPECT_LT(took, 8000);
}

// CLOUD-LIMIT-02
TEST_F(Limits, AnAnswerToAnUploadThatTricklesIsGivenUpToo) {
    Reply reply;
    reply.body = std::string(500, 'x');
    reply.writeSize = 1;
    reply.pauseMilliseconds = 50;
    server.AnswerAll(reply);
    WMap headers;
    std::string text;
    const auto took = MillisecondsOf(
        [&] { EXPECT_FALSE(FileTransRequest::UploadRequest(server.WideUrl("/x"), {}, L"PUT", {1}, headers, text)); });
    EXPECT_LT(took, 8000);
}

// CLOUD-LIMIT-02
TEST_F(Limits, ContentThatTricklesIsGivenUp) {
    Reply reply;
    reply.body = Content(100'000);
    reply.writeSize = 1;
    reply.pauseMilliseconds = 50;
    server.AnswerAll(reply);
    const auto took = MillisecondsOf([&] { EXPECT_EQ(-1, Download()); });
    EXPECT_LT(took, 15000);
}

// CLOUD-LIMIT-03
TEST_F(Limits, ContentThatFlowsHasNoTotalLimit) {
    Reply reply;
    reply.body = Content(60'000);
    reply.writeSize = 1000;
    reply.pauseMilliseconds = 50;
    server.AnswerAll(reply);
    const auto took = MillisecondsOf([&] { EXPECT_EQ(200, Download()); });
    EXPECT_GT(took, 2500);
}

// CLOUD-LIMIT-03
TEST_F(Limits, AReceiverMayTakeItsTime) {
    Reply reply;
    reply.body = Content(200'000);
    server.AnswerAll(reply);
    bool slow = true;
    EXPECT_EQ(200, Download([&] {
                  if (slow) std::this_thread::sleep_for(std::chrono::milliseconds(1500));
                  slow = false;
                  return true;
              }));
}

// CLOUD-LIMIT-04
TEST_F(Limits, TheStopEndsEveryCallWithinASecondAndRefusesNewOnes) {
    Reply reply;
    reply.body = Content(1000);
    reply.stallAfter = 500;
    server.Answer([reply](const SeenRequest& request) {
        Reply silent;
        silent.delayMilliseconds = 20'000;
        return request.target == "/x" ? reply : silent;
    });
    auto settings = Settings();
    settings.idleSeconds = settings.controlSeconds = 30;
    settings.repeats = 5;
    Configure(settings);
    std::atomic<int> ended{0};
    std::thread download([&] {
        EXPECT_EQ(-1, Download());
        ++ended;
    });
    std::thread control([&] {
        CloudFile file;
        EXPECT_FALSE(DriveAccount::Get(L"f", file).ok);
        ++ended;
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    EXPECT_EQ(0, ended);
    const auto took = MillisecondsOf([&] {
        DriveAccount::Abort();
        download.join();
        control.join();
    });
    EXPECT_LT(took, 3000);
    server.Forget();
    EXPECT_EQ(-1, Download());
    CloudFile file;
    EXPECT_FALSE(DriveAccount::Get(L"f", file).ok);
    EXPECT_TRUE(server.Requests().empty());
    Configure(Settings());
    server.AnswerAll(Reply{});
    EXPECT_EQ(200, Download());
}

// CLOUD-LIMIT-04
TEST_F(Limits, TheStopEndsThePauseBeforeARepeat) {
    Reply reply = Reply::Json("", 503);
    reply.headers = {{"Retry-After", "10"}};
    server.AnswerAll(reply);
    auto settings = Settings();
    settings.controlSeconds = 60;
    settings.repeats = 5;
    Configure(settings);
    std::thread control([] {
        CloudFile file;
        EXPECT_FALSE(DriveAccount::Get(L"f", file).ok);
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    const auto took = MillisecondsOf([&] {
        DriveAccount::Abort();
        control.join();
    });
    EXPECT_LT(took, 3000);
}

// CLOUD-LIMIT-05
TEST_F(Limits, TheStopOfDownloadsEndsASilentOneSoonAndLeavesCallsAlone) {
    Reply reply;
    reply.body = Content(1000);
    reply.stallAfter = 500;
    server.AnswerAll(reply);
    auto settings = Settings();
    settings.idleSeconds = settings.controlSeconds = 30;
    Configure(settings);
    std::thread stopper([] {
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
        std::atomic_ref<bool>{g_StopDownLoadTask}.store(true);
    });
    const auto took = MillisecondsOf([&] { EXPECT_EQ(-1, Download()); });
    stopper.join();
    EXPECT_LT(took, 5000);
    Reply slow = Reply::Json(R"({"id":"f1"})");
    slow.delayMilliseconds = 800;
    server.AnswerAll(slow);
    CloudFile file;
    EXPECT_TRUE(DriveAccount::Get(L"f1", file).ok);
    server.AnswerAll(Reply::Json("", 503));
    settings.repeats = 5;
    Configure(settings);
    server.Forget();
    EXPECT_EQ(503, Download());
    EXPECT_EQ(1u, server.Requests().size());
    g_StopDownLoadTask = false;
}

// CLOUD-LIMIT-06
TEST_F(Sharing, ADownloadKeepsToItsBandwidth) {
    Reply reply;
    reply.body = Content(300'000);
    server.AnswerAll(reply);
    auto settings = Settings();
    settings.downloadBytesPerSecond = 300'000;
    Configure(settings);
    const auto took = MillisecondsOf([&] { EXPECT_EQ(200, Download()); });
    EXPECT_GT(took, 700);
    EXPECT_LT(took, 15000);
}

// CLOUD-LIMIT-08
TEST_F(Sharing, AControlCallIsNotHeldUpByALimitedBandwidthButCountsForTheOthers) {
    server.Answer([](const SeenRequest& request) {
        if (request.target == "/x") return Reply{};
        return Reply::Json(R"({"id":"f1","mimeType":")" + std::string(100'000, 'x') + "\"}");
    });
    auto settings = Settings();
    settings.uploadBytesPerSecond = settings.downloadBytesPerSecond = 25'000;
    settings.controlSeconds = 3;  // less than either way would take
    Configure(settings);
    CloudFile file;
    const auto took = MillisecondsOf([&] {
        const auto outcome = DriveAccount::Rename(L"f1", std::wstring(100'000, L'n'), file);
        EXPECT_TRUE(outcome.ok) << outcome.message;
        EXPECT_EQ(100'000u, file.mimeType.size());
        WMap headers;
        std::string text;
        EXPECT_TRUE(FileTransRequest::UploadRequest(server.WideUrl("/x"), {}, L"PUT", {1}, headers, text));
    });
    EXPECT_GT(took, 1500) << "what the call sent is not on the others' account";
}

// CLOUD-LIMIT-03
TEST_F(Limits, AnUploadOverASlowLineIsNotTakenForASilentOne) {
    server.ReadSlowly(65'536, 40);
    auto settings = Settings();
    settings.controlSeconds = 1;
    Configure(settings);
    WMap headers;
    std::string text;
    const std::vector<unsigned char> body(4 << 20, 7);
    const auto took = MillisecondsOf(
        [&] { EXPECT_TRUE(FileTransRequest::UploadRequest(server.WideUrl("/x"), {}, L"PUT", body, headers, text)); });
    EXPECT_GT(took, 2000);
    EXPECT_EQ(body.size(), server.Last().body.size());
}

// CLOUD-LIMIT-06
TEST_F(Sharing, TwoUploadsShareOneBandwidth) {
    server.AnswerAll(Reply{});
    auto settings = Settings();
    settings.uploadBytesPerSecond = 400'000;
    Configure(settings);
    const std::vector<unsigned char> body(200'000, 7);
    const auto send = [&] {
        WMap headers;
        std::string text;
        EXPECT_TRUE(FileTransRequest::UploadRequest(server.WideUrl("/x"), {}, L"PUT", body, headers, text));
    };
    const auto took = MillisecondsOf([&] {
        std::thread other(send);
        send();
        other.join();
    });
    EXPECT_GT(took, 700);
    EXPECT_LT(took, 15000);
}

// CLOUD-NET-03
TEST_F(Sharing, ManyThreadsAtOnceGetEachItsOwnAnswer) {
    server.Answer([](const SeenRequest& request) {
        Reply reply;
        reply.body = Content(50'000, static_cast<unsigned>(std::stoul(request.target.substr(1))));
        return reply;
    });
    std::vector<std::thread> threads;
    for (unsigned thread = 0; thread < 8; ++thread) {
        threads.emplace_back([this, thread] {
            for (unsigned count = 0; count < 20; ++count) {
                const unsigned number = thread * 1000 + count;
                std::string got;
                FileTransRequest request;
                request.receiveDownloadFileCallBackFun([&](const unsigned char* data, const std::int64_t& length) {
                    got.append(reinterpret_cast<const char*>(data), static_cast<std::size_t>(length));
                    return true;
                });
                EXPECT_EQ(200, FileTransRequest::DownloadCloudFileRequest(server.WideUrl("/" + std::to_string(number)),
                                                                          {}, &request));
                EXPECT_TRUE(got == Content(50'000, number));
            }
        });
    }
    for (auto& thread : threads) thread.join();
    EXPECT_LE(server.Connections(), 8 + 1);
}

// CLOUD-NET-06
TEST_F(Sharing, AProxyOfTheEnvironmentIsNotAskedForThisMachine) {
    HttpServer proxy;
    proxy.AnswerAll(Reply::Json(R"({"id":"proxied"})"));
    server.AnswerAll(Reply::Json(R"({"id":"direct"})"));
    setenv("http_proxy", proxy.Url().c_str(), 1);
    CloudFile file;
    EXPECT_TRUE(DriveAccount::Get(L"f", file).ok);
    EXPECT_EQ(L"direct", file.id);
    auto settings = Settings();
    settings.proxyForLoopback = true;
    Configure(settings);
    EXPECT_TRUE(DriveAccount::Get(L"f", file).ok);
    EXPECT_EQ(L"proxied", file.id);
    unsetenv("http_proxy");
    EXPECT_EQ(server.Url("/v1/files/f"), proxy.Last().target);
}

}  // namespace
}  // namespace Drive::Testing
