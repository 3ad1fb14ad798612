#include <gtest/gtest.h>

#include "interfaces/common/globals.h"
#include "tests/unit/encrypted_download/encrypted_bench.h"

namespace Drive::Testing {
namespace {

using TransferService::DOWNLOADCALLBACK_CONTEXT;

class EncryptedEnd : public EncryptedBench {
protected:
    const std::string kFirstRecord = R"({"writePosition":10,"writeSliceIndex":1})";
};

// ENC-DL-28
TEST_F(EncryptedEnd, ACancelIsSeenBeforeTheNextObjectIsAskedFor) {
    Give(3);
    WhenWritten(1, [&] { MarkTask(3); });
    Run();
    EXPECT_EQ(cloud.getDownloadKelpAddress.Calls(), 1);
    EXPECT_EQ(RecordsWritten(), Texts{kFirstRecord});
    EXPECT_EQ(Outcome(), "Cancle");
    EXPECT_EQ(MarksTakenByTheTransfer(), 0);
    ExpectEndedWithoutFile();
}

// ENC-DL-28
TEST_F(EncryptedEnd, ACancelIsSeenAfterTheFetchAndItsObjectIsNotWritten) {
    Give(3);
    WhenFetching(2, [&] { MarkTask(3); });
    Run();
    EXPECT_EQ(common.writeLocalFileV.Calls(), 1);
    EXPECT_EQ(RecordsWritten(), Texts{kFirstRecord});
    EXPECT_EQ(Outcome(), "Cancle");
    ExpectEndedWithoutFile();
}

// ENC-DL-29
TEST_F(EncryptedEnd, AStopInTheRowIsSeenBeforeTheNextObjectIsAskedFor) {
    Give(3);
    WhenWritten(1, [&] { MarkTask(4); });
    Run();
    EXPECT_EQ(cloud.getDownloadKelpAddress.Calls(), 1);
    EXPECT_EQ(RecordsWritten(), Texts{kFirstRecord});
    EXPECT_EQ(Outcome(), "Stop");
    ExpectEndedWithoutFile();
}

// ENC-DL-29
TEST_F(EncryptedEnd, AStopInTheRowIsSeenAfterTheFetchAndItsObjectIsNotWritten) {
    Give(3);
    WhenFetching(2, [&] { MarkTask(4); });
    Run();
    EXPECT_EQ(common.writeLocalFileV.Calls(), 1);
    EXPECT_EQ(Outcome(), "Stop");
    ExpectEndedWithoutFile();
}

// ENC-DL-30
TEST_F(EncryptedEnd, TheStopOfTheEngineIsSeenBeforeTheNextObject) {
    Give(3);
    WhenWritten(1, [&] { g_StopDownLoadTask = true; });
    Run();
    EXPECT_EQ(cloud.getDownloadKelpAddress.Calls(), 1);
    EXPECT_TRUE(Journal::Has(Kind::Trace, "DownLoadTaskManger.downLoadTask.StopDownLoadTask fileId = F"));
    EXPECT_EQ(Outcome(), "Stop");
    EXPECT_EQ(MarksTakenByTheTransfer(), 0);
    ExpectEndedWithoutFile();
}

// ENC-DL-30
TEST_F(EncryptedEnd, TheRowIsLookedAtBeforeTheStopOfTheEngine) {
    Give(3);
    WhenWritten(1, [&] {
        g_StopDownLoadTask = true;
        MarkTask(3);
    });
    Run();
    EXPECT_EQ(Journal::Count(Kind::Trace, "DownLoadTaskManger.downLoadTask.StopDownLoadTask fileId = F"), 0);
    EXPECT_EQ(Outcome(), "Cancle");
}

// ENC-DL-26
TEST_F(EncryptedEnd, AStopBetweenAttemptsEndsTheJobAfterTheOneInProgress) {
    Give(3);
    WhenFetching(2, [&] { g_StopDownLoadTask = true; });
    cloud.downloadDriveFileRequest.AlwaysReturns(false);
    Run();
    EXPECT_EQ(cloud.downloadDriveFileRequest.Calls(), 2);
    EXPECT_TRUE(Journal::Has(Kind::Trace, "DownLoadTaskManger.driveDownloadFile.Stop Global Stop  fileId = F"));
    EXPECT_EQ(Errors(), Texts{});
    EXPECT_EQ(Outcome(), "Stop");
    EXPECT_EQ(MarksTakenByTheTransfer(), 0);
    ExpectEndedWithoutFile();
}

// ENC-DL-27
TEST_F(EncryptedEnd, AStopDuringTheLastAttemptIsSeenAtTheNextObject) {
    Give(3);
    for (int i = 0; i < 3; ++i) cloud.downloadDriveFileRequest.NextReturns(false);
    WhenFetching(4, [&] { g_StopDownLoadTask = true; });
    Run();
    EXPECT_EQ(common.writeLocalFileV.Calls(), 1) << "what has come is written";
    EXPECT_EQ(Journal::CountBeginning(Kind::Trace, "DownLoadTaskManger.driveDownloadFile.Stop Global Stop"), 0);
    EXPECT_TRUE(Journal::Has(Kind::Trace, "DownLoadTaskManger.downLoadTask.StopDownLoadTask fileId = F"));
    EXPECT_EQ(Outcome(), "Stop");
}

// ENC-DL-27
TEST_F(EncryptedEnd, AStopDuringTheLastAttemptThatBringsNothingLeavesAFailure) {
    Give(3);
    cloud.downloadDriveFileRequest.AlwaysReturns(false);
    WhenFetching(4, [&] { g_StopDownLoadTask = true; });
    Run();
    EXPECT_EQ(Errors(), (Texts{Error("Terminate download file task:ReceiveData is Empty! fileid = F")}));
    EXPECT_EQ(Outcome(), "Fail");
}

// ENC-DL-31
TEST_F(EncryptedEnd, ARefusedAddressFailsTheJobAtThePositionOfTheLastWholeObject) {
    Give(3);
    cloud.getDownloadKelpAddress.NextDefault();
    cloud.getDownloadKelpAddress.NextReturns(false);
    Run();
    EXPECT_EQ(Errors(), (Texts{Error("Terminate download file task:Filetask is failer. getdownloadkelpaddressrequest "
                                     "fail! fileid = F")}));
    EXPECT_EQ(cloud.downloadDriveFileRequest.Calls(), 1);
    EXPECT_EQ(RecordsWritten(), Texts{kFirstRecord});
    EXPECT_EQ(MarksTakenByTheTransfer(), 1);
    EXPECT_EQ(Outcome(), "Fail");
    ExpectEndedWithoutFile();
}

// ENC-DL-32
TEST_F(EncryptedEnd, AFailedWriteIsToldAndTriedAgainByTheWorker) {
    Give(2, 11);
    common.writeLocalFileV.NextDefault();
    common.writeLocalFileV.AlwaysReturns(false);
    Run();
    EXPECT_EQ(Errors(),
              (Texts{Error("Terminate download file task:Filetask is failer. WriteLocalFile fail! fileid = F")}));
    EXPECT_EQ(RecordsWritten(), Texts{kFirstRecord});
    EXPECT_EQ(MarksTakenByTheTransfer(), 1);
    EXPECT_EQ(Outcome(), "Fail For Retry");
    ExpectEndedWithoutFile();
}

// ENC-DL-34
TEST_F(EncryptedEnd, ARecordThatCannotBeWrittenGoesUnnoticed) {
    Give(2);
    database.updateTaskItem.AlwaysReturns(false);
    Run();
    EXPECT_EQ(Outcome(), "Success");
    EXPECT_EQ(world.ReadFile(L"f.txt"), Whole());
}

class EncryptedFetch : public EncryptedBench {
protected:
    EncryptedFetch() {
        host.Before([this](DOWNLOADCALLBACK_CONTEXT& record) {
            if (record.event != 2 || !record.ok) return;
            EXPECT_EQ(record.endOffset, record.offset + record.length);
            EXPECT_TRUE(record.isPlatformFetch);
            given += std::string(reinterpret_cast<const char*>(record.data), static_cast<std::size_t>(record.length));
        });
    }

    std::string given;
};

// ENC-DL-35
TEST_F(EncryptedFetch, HandsEachObjectToTheHostAndWritesNoFile) {
    Give(2);
    RunFetch();
    EXPECT_TRUE(InOrder(
        Lines(),
        {"callback download(event 1, ok)", "trace DownLoadTaskManger.driveDownloadFile.ExecuteCallBack fileId = F",
         "callback download(event 2, ok, offset 0, length 10, end 10)",
         "db UpdateTaskItem(F, {fragmentInfo: {\"writePosition\":10,\"writeSliceIndex\":1}}, "
         "1)",
         "trace DownLoadTaskManger.driveDownloadFile.ExecuteCallBack fileId = F",
         "callback download(event 2, ok, offset 10, length 10, end 20)", "callback download(event 3, ok)"}))
        << Journal::Dump();
    EXPECT_EQ(common.writeLocalFileV.Calls(), 0);
    EXPECT_EQ(given, Whole());
}

// ENC-DL-35
TEST_F(EncryptedFetch, GoesOnAtTheSavedPosition) {
    Give(3);
    SetRecord(R"({"writePosition":20,"writeSliceIndex":2})");
    RunFetch();
    EXPECT_TRUE(Journal::Has(Kind::Callback, "download(event 2, ok, offset 20, length 10, end 30)"));
    EXPECT_EQ(given, Object(0));
}

// ENC-DL-36
TEST_F(EncryptedFetch, ThatTheHostRefusesABlockOfFailsWithoutAnErrorLine) {
    Give(3);
    host.NextDefault();
    host.NextDefault();
    host.NextReturns(false);
    RunFetch();
    EXPECT_EQ(Errors(), Texts{});
    EXPECT_EQ(RecordsWritten(), Texts{R"({"writePosition":10,"writeSliceIndex":1})"});
    EXPECT_EQ(Outcome(), "Fail");
    EXPECT_EQ(world.Row(L"F").GetFileStatus(), 23);
    EXPECT_EQ(MarksTakenByTheTransfer(), 0);
}

// ENC-DL-37
TEST_F(EncryptedFetch, WhoseHostThrowsAtABlockFails) {
    Give(2);
    host.NextDefault();
    host.NextThrows("host broke");
    RunFetch();
    EXPECT_EQ(Errors(), Texts{Error("host broke")});
    EXPECT_EQ(Outcome(), "Fail");
    EXPECT_EQ(MarksTakenByTheTransfer(), 1);
    EXPECT_EQ(RecordsWritten(), Texts{});
}

}  // namespace
}  // namespace Drive::Testing
