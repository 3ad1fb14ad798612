#include "tests/support/operation.h"

#include <gtest/gtest.h>

#include "tests/support/journal.h"
#include "tests/support/scripted_cloud.h"

namespace Drive::Testing {
namespace {

int Twice(int value) { return 2 * value; }

TEST(Operation, UsesQueuedAnswersThenTheStandingOneThenTheDefault) {
    Operation<int(int)> operation;
    EXPECT_EQ(operation.Call(Twice, 4), 8);
    operation.NextReturns(100);
    operation.NextDefault();
    operation.AlwaysReturns(7);
    EXPECT_EQ(operation.Call(Twice, 4), 100);
    EXPECT_EQ(operation.Call(Twice, 4), 8);
    EXPECT_EQ(operation.Call(Twice, 4), 7);
    EXPECT_EQ(operation.Call(Twice, 4), 7);
    EXPECT_EQ(operation.Calls(), 5);
    operation.Reset();
    EXPECT_EQ(operation.Call(Twice, 5), 10);
}

TEST(Operation, ThrowsWhenToldTo) {
    Operation<int(int)> operation;
    operation.NextThrows("broken");
    EXPECT_THROW(operation.Call(Twice, 1), std::runtime_error);
    EXPECT_EQ(operation.Call(Twice, 1), 2);
}

TEST(Operation, TakesVirtualTimeWhenToldTo) {
    VirtualTime::Run(0, [] {
        Operation<int(int)> operation;
        operation.Takes(1500);
        EXPECT_EQ(operation.Call(Twice, 1), 2);
        EXPECT_EQ(VirtualTime::Now(), 1500);
    });
}

TEST(ScriptedCloud, DeliversWholeBodyInPiecesThatNeverStraddleABlock) {
    ScriptedCloud& cloud = ScriptedCloud::Get();
    const std::string body(9 << 20, 'x');
    cloud.PutPlain(L"F", body);
    std::int64_t total = 0;
    bool straddled = false;
    Cloud::FileTransRequest request;
    request.receiveDownloadFileCallBackFun([&](const unsigned char*, const std::int64_t& length) {
        straddled = straddled || total / (4 << 20) != (total + length - 1) / (4 << 20);
        total += length;
        return true;
    });
    EXPECT_EQ(Cloud::FileTransRequest::DownloadCloudFileRequest(L"http://proxy/F", {{L"Range", L"bytes=5-"}}, &request),
              206);
    EXPECT_EQ(total, (9 << 20) - 5);
    EXPECT_FALSE(straddled);
    EXPECT_TRUE(Journal::Has(Kind::Cloud, "DownloadCloudFileRequest(http://proxy/F, {Range: bytes=5-})"));
}

TEST(ScriptedCloud, KeepsTheIdOfAKnownFileAndGivesOneToALocalFile) {
    Common::FileItem file;
    file.SetFileId(L"Local1");
    Common::CreateUpdateRequestModel model(file);
    WMap result;
    EXPECT_TRUE(Cloud::CloudDriveInterface::FilesCreateComplete(file, L"cursor", model, result));
    EXPECT_EQ(result[L"id"], L"cloud-1");
    file.SetFileId(L"known");
    EXPECT_TRUE(Cloud::CloudDriveInterface::FilesUpdateComplete(file, L"cursor", model, result));
    EXPECT_EQ(result[L"id"], L"known");
}

TEST(ScriptedCloud, GivesAnUploadedObjectBackDecryptedAndAPlainOneToAnyUsableKey) {
    ScriptedCloud& cloud = ScriptedCloud::Get();
    const std::vector<unsigned char> key(16, 5), iv(16, 6), plain{'t', 'e', 'x', 't'};
    // AES-128-CBC of "text" with this key and vector.
    const std::vector<unsigned char> stored{0x6d, 0x8d, 0xfe, 0xd5, 0xd0, 0x94, 0x89, 0x70,
                                            0xfe, 0x0c, 0x34, 0xb6, 0xa1, 0x48, 0x5c, 0xad};
    WMap headers;
    std::string text;
    std::vector<unsigned char> received;
    const auto fetch = [&](const wchar_t* url, const std::vector<unsigned char>& with) {
        return Cloud::FileTransRequest::DownloadDriveFileRequest(url, {}, with, iv, L"AES_128", 16, received);
    };
    ASSERT_TRUE(Cloud::FileTransRequest::UploadRequest(L"http://store/up", {}, L"PUT", stored, headers, text));
    EXPECT_EQ(cloud.objects[L"up"], stored);
    EXPECT_TRUE(fetch(L"http://store/up", key));
    EXPECT_EQ(received, plain);
    cloud.objects[L"put"] = plain;
    EXPECT_TRUE(fetch(L"http://store/put", std::vector<unsigned char>(16, 7)));
    EXPECT_EQ(received, plain);
    EXPECT_FALSE(fetch(L"http://store/put", std::vector<unsigned char>(16, 0)));
    EXPECT_TRUE(received.empty());
}

TEST(ScriptedCloud, ShowsSpaceThatATestAssignsAtOnceAndWhatBecomesOfItLater) {
    ScriptedCloud& cloud = ScriptedCloud::Get();
    VirtualTime::Run(0, [&] {
        std::wstring text;
        cloud.space = 10;
        EXPECT_EQ(Cloud::CloudDriveInterface::GetUserSpace(text), 10);
        cloud.space = 20;
        EXPECT_EQ(Cloud::CloudDriveInterface::GetUserSpace(text), 20);
        cloud.space.Becomes(30);
        VirtualTime::Pause(9'999);
        EXPECT_EQ(Cloud::CloudDriveInterface::GetUserSpace(text), 20);
        VirtualTime::Pause(1);
        EXPECT_EQ(Cloud::CloudDriveInterface::GetUserSpace(text), 30);
    });
}

TEST(Operation, FailsWhereTheChanceSaysSoUnlessAnAnswerIsQueued) {
    Operation<int(int)> operation;
    operation.Perhaps([](int value) { return value > 4; }, [](int) { return -1; });
    EXPECT_EQ(operation.Call(Twice, 4), 8);
    EXPECT_EQ(operation.Call(Twice, 5), -1);
    operation.NextReturns(100);
    EXPECT_EQ(operation.Call(Twice, 5), 100);
}

TEST(Operation, TellsAListenerOfEachAnswerAndItsArguments) {
    Operation<int(int)> operation;
    Operation<void(int)> silent;
    std::string told;
    operation.After(
        [&](const int& answer, int value) { told += std::to_string(value) + "=" + std::to_string(answer) + " "; });
    silent.After([&](int value) { told += std::to_string(value); });
    operation.Call(Twice, 4);
    operation.AlwaysReturns(7);
    operation.Call(Twice, 4);
    silent.Call([](int) {}, 3);
    EXPECT_EQ(told, "4=8 4=7 3");
}

}  // namespace
}  // namespace Drive::Testing
