// Calls of every kind from many threads at once.
#include <atomic>
#include <functional>
#include <thread>

#include "tests/contract/cloud/suite/cloud_suite.h"

namespace Drive::Testing {
namespace {

using Cloud::CloudDriveInterface;
using Cloud::FileTransRequest;
using Bytes = std::vector<unsigned char>;

constexpr int kThreads = 8;
constexpr int kRounds = 10;

class ManyThreads : public CloudSuite {
protected:
    /// Every thread does its work so many times; how often it was not right.
    static int Wrong(const std::function<bool(int thread)>& work) {
        std::atomic<int> wrong{0};
        std::vector<std::thread> threads;
        for (int thread = 0; thread < kThreads; ++thread) {
            threads.emplace_back([&, thread] {
                for (int round = 0; round < kRounds; ++round) wrong += !work(thread);
            });
        }
        for (std::thread& thread : threads) thread.join();
        return wrong;
    }

    static std::wstring IdOf(int thread) { return L"file" + std::to_wstring(thread); }
};

// CLOUD-CALL-20
TEST_F(ManyThreads, EachGetsTheAnswerToItsOwnControlCall) {
    cloud->HasSpace(60);
    for (const char* operation : {"FilesUpdateComplete", "inQuireCloudFile", "FileproxyUpload"}) {
        cloud->Answers(operation, {});
    }
    const int wrong = Wrong([&](int thread) {
        std::wstring text;
        bool right = CloudDriveInterface::GetUserSpace(text) == 60;
        for (const MappedCall& call : CompletingCalls()) {
            if (std::string(call.operation) == "FilesCreateComplete") continue;
            WMap result;
            right = call.call(*cloud, IdOf(thread), result) && ValueOf(result, L"id") == IdOf(thread) && right;
        }
        Common::FileItem file = FileWithId(IdOf(thread));
        std::wstring errorCode = L"old";
        right = !CloudDriveInterface::ObjectsUploadStart(file, L"sum", L"", errorCode).empty() && right;
        return right && errorCode.empty();
    });
    EXPECT_EQ(0, wrong);
}

// CLOUD-CALL-20, CLOUD-CONTENT-01
TEST_F(ManyThreads, EachGetsItsOwnContent) {
    std::vector<std::wstring> addresses;
    const std::string bytes = SomeBytes(200'000);
    for (int thread = 0; thread < kThreads; ++thread) {
        addresses.push_back(cloud->Content({bytes.substr(static_cast<std::size_t>(thread))}));
    }
    const int wrong = Wrong([&](int thread) {
        std::string delivered;
        FileTransRequest request;
        request.receiveDownloadFileCallBackFun([&](const unsigned char* data, const std::int64_t& length) {
            delivered.append(reinterpret_cast<const char*>(data), static_cast<std::size_t>(length));
            return true;
        });
        const std::wstring& address = addresses[static_cast<std::size_t>(thread)];
        return FileTransRequest::DownloadCloudFileRequest(address, {}, &request) == 200 &&
               delivered == bytes.substr(static_cast<std::size_t>(thread));
    });
    EXPECT_EQ(0, wrong);
}

// CLOUD-CALL-20, CLOUD-STORE-01
TEST_F(ManyThreads, EachPutsAnObjectAndIsToldSo) {
    const std::wstring address = cloud->Store({200, "stored", ""});
    const int wrong = Wrong([&](int thread) {
        WMap headers;
        std::string text;
        return FileTransRequest::UploadRequest(address, {}, L"PUT", Bytes(5000, static_cast<unsigned char>(thread)),
                                               headers, text) &&
               text == "stored";
    });
    EXPECT_EQ(0, wrong);
    EXPECT_EQ(kThreads * kRounds, cloud->Asked("UploadRequest"));
}

}  // namespace
}  // namespace Drive::Testing
