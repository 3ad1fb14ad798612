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
