// A stop of the host at each moment of a request, and a stop of downloads at each moment of one.
#include <sys/socket.h>

#include <atomic>
#include <chrono>
#include <thread>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <unistd.h>

#include "interfaces/cloud/cloud_drive_interface.h"
#include "interfaces/cloud/file_trans_request.h"
#include "interfaces/common/globals.h"
#include "tests/contract/cloud/cloud_test.h"

namespace Drive::Testing {
namespace {

using Cloud::CloudFile;
using Cloud::DriveAccount;
using Cloud::FileTransRequest;

/// A port of this machine that takes connections into its queue and never says a word. With `full` not even that: its
/// queue is full, so that a connection stays half made.
class SilentPort {
public:
    explicit SilentPort(bool full) : listener(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t length = sizeof address;
        const bool listens = bind(listener, reinterpret_cast<sockaddr*>(&address), length) == 0 &&
                             listen(listener, full ? 0 : 64) == 0 &&
                             getsockname(listener, reinterpret_cast<sockaddr*>(&address), &length) == 0;
        EXPECT_TRUE(listens);
        port = ntohs(address.sin_port);
        for (int count = 0; full && count < 4; ++count) {
            const int waiting = socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
            connect(waiting, reinterpret_cast<sockaddr*>(&address), length);
            descriptors.push_back(waiting);
        }
    }
    ~SilentPort() {
        for (const int descriptor : descriptors) close(descriptor);
        close(listener);
    }
    SilentPort(const SilentPort&) = delete;
    SilentPort& operator=(const SilentPort&) = delete;

    std::wstring Url(const std::wstring& scheme) const { return scheme + L"://127.0.0.1:" + std::to_wstring(port); }

private:
    const int listener;
    int port = 0;
    std::vector<int> descriptors;
};

bool Download(const std::wstring& url) {
    FileTransRequest request;
    request.receiveDownloadFileCallBackFun([](const unsigned char*, const std::int64_t&) { return true; });
    return FileTransRequest::DownloadCloudFileRequest(url, {}, &request) == 200;
}

/// Its receiver says what the engine's says; it only has to be asked.
bool DownloadUntilStop(const std::wstring& url) {
    FileTransRequest request;
    request.receiveDownloadFileCallBackFun(
        [](const unsigned char*, const std::int64_t&) { return !std::atomic_ref<bool>{g_StopDownLoadTask}.load(); });
    return FileTransRequest::DownloadCloudFileRequest(url, {}, &request) == 200;
}

bool DownloadObject(const std::wstring& url) {
    std::vector<unsigned char> received;
    return FileTransRequest::DownloadDriveFileRequest(url, {}, std::vector<unsigned char>(16, 1),
                                                      std::vector<unsigned char>(16, 2), L"AES_128", 1 << 24, received);
}

bool Upload(const std::wstring& url) {
    WMap headers;
    std::string text;
    const std::vector<unsigned char> body(16 << 20, 7);
    return FileTransRequest::UploadRequest(url, {}, L"PUT", body, headers, text);
}

bool Renew(const std::wstring& fileId) {
    CloudFile file;
    return DriveAccount::Get(fileId, file).ok;
}

class StopMoments : public CloudTest {
protected:
    StopMoments() {
        Cloud::Login login;
        login.accessToken = L"old";
        login.refreshToken = L"r";
        DriveAccount::UseLogin(login);
        auto settings = Settings();
        settings.connectSeconds = settings.idleSeconds = settings.controlSeconds = 60;
        settings.repeats = 20;
        settings.uploadBytesPerSecond = settings.downloadBytesPerSecond = 1'000;
        Configure(settings);
        server.Answer([](const SeenRequest& request) {
            Reply reply;
            reply.body = std::string(100'000, 'x');
            if (request.target.rfind("/v1/files/", 0) == 0) return Reply::Json("{}", 401);
            if (request.target == "/waiting" || request.target == "/v1/account/refresh")
                reply.delayMilliseconds = 60'000;
            if (request.target == "/stalled") reply.stallAfter = 0;
            if (request.target == "/pause") reply = Reply::Json("", 503);
            if (request.target == "/pause") reply.headers = {{"Retry-After", "15"}};
            return reply;
        });
    }

    /// Runs all of them at once, lets them get to their moment, calls `stop`, and tells how long the last one took.
    long long StopAll(const std::vector<std::function<bool()>>& calls, const std::function<void()>& stop) {
        std::vector<std::thread> threads;
        std::atomic<int> ended{0};
        for (const auto& call : calls) {
            threads.emplace_back([&] {
                EXPECT_FALSE(call());
                ++ended;
            });
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(700));
        EXPECT_EQ(0, ended) << "one of them did not get to its moment";
        return MillisecondsOf([&] {
            stop();
            for (auto& thread : threads) thread.join();
        });
    }

    const SilentPort full{true};
    const SilentPort silent{false};
};

// A second is what is promised; the rest of the bound is for a machine that other work keeps busy.
constexpr long long kSoon = 4'000;

// CLOUD-LIMIT-04
TEST_F(StopMoments, TheStopOfTheHostEndsARequestWhereverItIs) {
    const auto took = StopAll(
        {
            [&] { return Download(full.Url(L"http")); },           // not yet connected
            [&] { return Download(silent.Url(L"https")); },        // in the middle of the handshake
            [&] { return Upload(silent.Url(L"http")); },           // sending to somebody who does not read
            [&] { return Upload(server.WideUrl("/slow")); },       // sending as slowly as the bandwidth allows
            [&] { return Download(server.WideUrl("/waiting")); },  // waiting for an answer
            [&] { return Download(server.WideUrl("/stalled")); },  // waiting for the content
            [&] { return Download(server.WideUrl("/content")); },  // receiving as slowly as the bandwidth allows
            [&] { return DownloadObject(server.WideUrl("/object")); },
            [&] { return Download(server.WideUrl("/pause")); },  // in the pause before a repeat
            [&] { return Renew(L"f1"); },                        // renewing the login
            [&] { return Renew(L"f2"); },                        // waiting for somebody else who does
        },
        [] { DriveAccount::Abort(); });
    EXPECT_LT(took, kSoon);
}

// CLOUD-LIMIT-05
TEST_F(StopMoments, TheStopOfDownloadsEndsOneThatCannotTellItToItsReceiver) {
    const auto took = StopAll({
                                  [&] { return Download(full.Url(L"http")); },
                                  [&] { return Download(silent.Url(L"https")); },
                                  [&] { return Download(server.WideUrl("/waiting")); },
                                  [&] { return Download(server.WideUrl("/stalled")); },
                                  [&] { return DownloadObject(server.WideUrl("/stalled")); },
                                  [&] { return Download(server.WideUrl("/pause")); },
                                  [&] { return DownloadUntilStop(server.WideUrl("/content")); },
                              },
                              [] { std::atomic_ref<bool>{g_StopDownLoadTask}.store(true); });
    EXPECT_LT(took, kSoon);
    g_StopDownLoadTask = false;
}

// CLOUD-LIMIT-01
TEST_F(StopMoments, AnUploadThatNobodyReadsIsGivenUpAfterTheIdleLimit) {
    GiveUpEarly();
    const auto took = MillisecondsOf([&] { EXPECT_FALSE(Upload(silent.Url(L"http"))); });
    EXPECT_GE(took, 900);
    EXPECT_LT(took, 10'000);
}

// CLOUD-LIMIT-01
TEST_F(StopMoments, AConnectionThatIsNotMadeIsGivenUpAfterItsOwnLimit) {
    GiveUpEarly();
    const auto took = MillisecondsOf([&] { EXPECT_FALSE(Download(full.Url(L"http"))); });
    EXPECT_GE(took, 900);
    EXPECT_LT(took, 10'000);
}

}  // namespace
}  // namespace Drive::Testing
