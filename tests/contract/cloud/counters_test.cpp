// Whose bytes they were.
#include <thread>

#include "interfaces/cloud/cloud_drive_interface.h"
#include "interfaces/cloud/file_trans_request.h"
#include "tests/contract/cloud/cloud_test.h"

namespace Drive::Testing {
namespace {

using Cloud::CloudDriveInterface;
using Cloud::DriveAccount;
using Cloud::FileTransRequest;
using HttpInterface::InterfaceName;

class Counters : public CloudTest {
protected:
    Counters() {
        server.Answer([this](const SeenRequest& request) {
            if (request.target == "/v1/uploads/address") {
                return Reply::Json(R"({"url":")" + server.Url("/put") + R"(","method":"PUT","headers":{}})");
            }
            if (request.target == "/v1/downloads/address") {
                return Reply::Json(R"({"url":")" + server.Url("/object") + R"(","headers":{}})");
            }
            if (request.target == "/v1/files/plain/download") {
                return Reply::Json(R"({"downloadUrl":")" + server.Url("/content") +
                                   R"(","recordCursor":"r1","encFekList":[],"objectInfoList":[]})");
            }
            if (request.target == "/v1/files/locked/download") {
                return Reply::Json(
                    R"({"downloadUrl":"","recordCursor":"r2","encFekList":[{"efek":"e","encryptAlgorithm":"AES_128",)"
                    R"("keyType":"1","iv":"i","keyUid":"u"}],"objectInfoList":[{"bucketId":"b","time":"t","length":16,)"
                    R"("objectIds":["o"],"synckeys":["k"],"attributes":[]}]})");
            }
            Reply reply;
            if (request.method == "GET") reply.body = std::string(70'000, 'x');
            return reply;
        });
    }

    void Get(const std::wstring& url) {
        FileTransRequest request;
        request.receiveDownloadFileCallBackFun([](const unsigned char*, const std::int64_t&) { return true; });
        EXPECT_EQ(200, FileTransRequest::DownloadCloudFileRequest(url, {}, &request));
    }

    void Put(const std::wstring& url, std::size_t size) {
        WMap headers;
        std::string text;
        EXPECT_TRUE(
            FileTransRequest::UploadRequest(url, {}, L"PUT", std::vector<unsigned char>(size, 7), headers, text));
    }

    std::wstring AskToPut(const std::wstring& fileId) {
        Common::FileItem file;
        file.SetFileId(fileId);
        Common::GetKelpAddressModel model;
        WMap result;
        EXPECT_TRUE(CloudDriveInterface::GetUploadKelpAddress(file, {}, model, result));
        return model.GetUrl();
    }
};

// CLOUD-LIMIT-07
TEST_F(Counters, GrowByWhatIsMovedWhateverItIs) {
    Reply reply;
    reply.body = Reply::Json(R"({"id":"f1"})").body + std::string(100'000, ' ');
    server.AnswerAll(reply);
    const auto before = DriveAccount::Counters();
    WMap result;
    CloudDriveInterface::FileproxyUpload(server.WideUrl("/p"), L"f1", InterfaceName::ResumeSlice, Content(300'000), "",
                                         {}, result);
    const auto after = DriveAccount::Counters();
    EXPECT_EQ(300'000u, after.sent - before.sent);
    EXPECT_EQ(reply.body.size(), after.received - before.received);
}

// CLOUD-LIMIT-07
TEST_F(Counters, OfAFileGrowByItsObjectsAndSlices) {
    Put(AskToPut(L"Local7"), 5'000);
    Put(AskToPut(L"Local8"), 60);
    Put(AskToPut(L"Local7"), 300);
    EXPECT_EQ(5'300u, DriveAccount::Counters(L"Local7").sent);
    EXPECT_EQ(60u, DriveAccount::Counters(L"Local8").sent);
    EXPECT_EQ(0u, DriveAccount::Counters(L"Local7").received);
    WMap result;
    CloudDriveInterface::FileproxyUpload(server.WideUrl("/p"), L"Local7", InterfaceName::ResumeSlice, Content(1'000),
                                         "", {}, result);
    EXPECT_EQ(6'300u, DriveAccount::Counters(L"Local7").sent);
}

// CLOUD-LIMIT-07
TEST_F(Counters, OfAFileGrowByItsContentOnTheWayDown) {
    Common::DownLoadAddressInfoModel plain, locked;
    ASSERT_TRUE(CloudDriveInterface::GetDownloadAddressInfo(L"plain", plain));
    Get(plain.GetDownloadURL());
    EXPECT_EQ(70'000u, DriveAccount::Counters(L"plain").received);
    Get(plain.GetDownloadURL());
    EXPECT_EQ(140'000u, DriveAccount::Counters(L"plain").received);
    ASSERT_TRUE(CloudDriveInterface::GetDownloadAddressInfo(L"locked", locked));
    Common::DownloadKelpAddressInfo info;
    ASSERT_TRUE(CloudDriveInterface::GetDownloadKelpAddress({L"b", L"o", L"k", L"t", L"r2", 16, "", ""}, info));
    const std::vector<unsigned char> key(16, 1);
    std::vector<unsigned char> received;
    FileTransRequest::DownloadDriveFileRequest(info.GetUrl(), {}, key, key, L"AES_128", 100'000, received);
    EXPECT_EQ(70'000u, DriveAccount::Counters(L"locked").received);
    EXPECT_EQ(140'000u, DriveAccount::Counters(L"plain").received);
}

// CLOUD-LIMIT-07
TEST_F(Counters, WhatNobodyOnThisThreadAskedForIsNobodys) {
    const std::wstring address = AskToPut(L"Local9");
    Get(server.WideUrl("/thumbnail"));
    std::thread([&] { Put(address, 500); }).join();
    Common::DownloadKelpAddressInfo info;
    ASSERT_TRUE(CloudDriveInterface::GetDownloadKelpAddress({L"b", L"o", L"k", L"t", L"other", 16, "", ""}, info));
    Get(info.GetUrl());
    const auto counters = DriveAccount::Counters(L"Local9");
    EXPECT_EQ(0u, counters.sent);
    EXPECT_EQ(0u, counters.received);
    EXPECT_EQ(0u, DriveAccount::Counters(L"never seen").received);
}

// CLOUD-LIMIT-07
TEST_F(Counters, FilesThatMovedLongAgoAreForgotten) {
    Put(AskToPut(L"first"), 10);
    Put(AskToPut(L"kept"), 20);
    WMap result;
    for (int number = 0; number < 999; ++number) {
        const bool sent = CloudDriveInterface::FileproxyUpload(server.WideUrl("/p"), L"file " + std::to_wstring(number),
                                                               InterfaceName::ResumeSlice, "x", "", {}, result);
        ASSERT_TRUE(sent);
    }
    EXPECT_EQ(0u, DriveAccount::Counters(L"first").sent);
    EXPECT_EQ(20u, DriveAccount::Counters(L"kept").sent);
}

}  // namespace
}  // namespace Drive::Testing
