// A name whose look-up hangs, as with a network that swallows every question: neither the stop nor the limit on
// connecting waits for it.
#include <dlfcn.h>
#include <netdb.h>

#include <atomic>
#include <chrono>
#include <cstring>
#include <thread>

#include "interfaces/cloud/file_trans_request.h"
#include "tests/contract/cloud/cloud_test.h"

namespace {

std::atomic<bool> hanging{false};
std::atomic<int> waiting{0};

}  // namespace

/// Stands in front of the system's for every library of this process.
extern "C" [[gnu::visibility("default")]] int getaddrinfo(const char* name, const char* service, const addrinfo* hints,
                                                          addrinfo** found) {
    using Real = int (*)(const char*, const char*, const addrinfo*, addrinfo**);
    if (name == nullptr || std::strcmp(name, "hangs.example") != 0) {
        return reinterpret_cast<Real>(dlsym(RTLD_NEXT, "getaddrinfo"))(name, service, hints, found);
    }
    ++waiting;
    for (int step = 0; step < 8'000 && hanging; ++step) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    --waiting;
    return EAI_AGAIN;
}

namespace Drive::Testing {
namespace {

using Cloud::CloudFile;
using Cloud::DriveAccount;
using Cloud::FileTransRequest;

class SlowLookUp : public CloudTest {
protected:
    SlowLookUp() { hanging = true; }
    ~SlowLookUp() override {
        hanging = false;
        for (int step = 0; step < 10'000 && waiting > 0; ++step) Pause();
        std::this_thread::sleep_for(std::chrono::milliseconds(50));  // what comes after the look-up in its thread
    }

    static void Pause() { std::this_thread::sleep_for(std::chrono::milliseconds(1)); }

    void Use(int connectSeconds) {
        auto settings = Settings();
        settings.baseUrl = L"http://hangs.example";
        settings.connectSeconds = connectSeconds;
        settings.idleSeconds = settings.controlSeconds = 60;
        Configure(settings);
    }

    static int Download() {
        FileTransRequest request;
        request.receiveDownloadFileCallBackFun([](const unsigned char*, const std::int64_t&) { return true; });
        return FileTransRequest::DownloadCloudFileRequest(L"http://hangs.example/x", {}, &request);
    }
};

// CLOUD-LIMIT-04
TEST_F(SlowLookUp, TheStopOfTheHostDoesNotWaitForIt) {
    Use(60);
    std::thread control([] {
        CloudFile file;
        EXPECT_EQ(0, DriveAccount::Get(L"f1", file).status);
    });
    std::thread download([] { EXPECT_EQ(-1, Download()); });
    for (int step = 0; step < 10'000 && waiting < 2; ++step) Pause();
    EXPECT_EQ(2, waiting);
    const auto took = MillisecondsOf([&] {
        DriveAccount::Abort();
        control.join();
        download.join();
    });
    EXPECT_LT(took, 4'000);  // a second is what is promised; the rest is for a busy machine
    EXPECT_EQ(2, waiting) << "the look-ups ended by themselves, so that nothing was shown";
}

// CLOUD-LIMIT-01
TEST_F(SlowLookUp, TheLimitOnConnectingHoldsForItToo) {
    Use(1);
    const auto took = MillisecondsOf([] { EXPECT_EQ(-1, Download()); });
    EXPECT_GE(took, 900);
    EXPECT_LT(took, 10'000);
    EXPECT_EQ(1, waiting);
}

}  // namespace
}  // namespace Drive::Testing
