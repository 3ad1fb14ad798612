#include <gtest/gtest.h>

#include <stdexcept>

#include "interfaces/common/globals.h"
#include "tests/support/virtual_time.h"
#include "tests/unit/upload/upload_bench.h"
#include "upload/upload_task_manager.h"

namespace Drive::Testing {
namespace {

using TransferService::UpLoadTaskManger;

class UploadWorker : public UploadBench {};

UpLoadTaskManger& Engine() { return UpLoadTaskManger::getInstance(); }

// UP-WORK-01, UP-WORK-08
TEST_F(UploadWorker, ASuccessfulUploadMakesEveryCallInOrder) {
    Give(L"Local-1", L"a.bin", Content(40));
    const std::string sha = Sha256(Content(40));
    const std::string taskId = std::to_string(world.Task(L"Local-1", 2).GetTaskId());
    Run(L"Local-1");

    const Texts lines = Lines({Kind::Trace, Kind::Debug, Kind::Error, Kind::Statistic, Kind::Cloud, Kind::Common,
                               Kind::File, Kind::Callback});
    const Texts expected = {
        "trace FileId=Local-1;Set TransferFileStatus To Uploading",
        "trace FileId=Local-1;Set Task To Run",
        "trace UpLoadTaskManger.UploadThreadFunc:file upload task begin fileId=Local-1;taskId=" + taskId + ";size=40",
        "debug file upload task begin:a.bin",
        "callback task(2, 0)",
        "trace UpLoadTaskManger.UploadThreadFunc: uploadTaskCount=:1",
        "common GetFileMimeType(a.bin)",
        "common GetFileSizeApi(ROOT\\a.bin)",
        "common IsPlaceholder(ROOT\\a.bin)",
        "common IsFileExists(ROOT\\a.bin)",
        "common IsLocalDirectory(root-id, Local)",
        "common GetFileHmac(ROOT\\a.bin)",
        "cloud GetUserSpace()",
        "common IsImageFile(application/octet-stream)",
        "common IsVideoFile(application/octet-stream)",
        "common GetFileSha256(ROOT\\a.bin)",
        "common GetLocalFileSize(ROOT\\a.bin)",
        "cloud ObjectsUploadStart(Local-1, " + sha + ", )",
        "trace UpLoadTaskManger.uploadTask:file client upload. fileid=Local-1",
        "stat 15002|UpLoadTaskManger::uploadTask |file client upload. fileid=Local-1",
        "common HasAttachment(Local-1)",
        "file CreateFileW(ROOT\\a.bin, 0x80000000, 5, none, 3, 0x40000000, none)",
        "common IsFileExists(ROOT\\a.bin)",
        "trace UpLoadTaskManger.fileUpload:upload slicefile stratoffset= 0;readlength=16",
        "common AES_128_CBC_Encrypt_FileHandle(16, 16, 0, 16)",
        "common MD5_Encode(32)",
        "common SHA256_Encode(32)",
        "cloud GetUploadKelpAddress(Local-1, Local-1-object-0, 32)",
        "cloud UploadRequest",
        "cloud ObjectsUploadComplete(Local-1, Local-1-object-0, stored, cursor-Local-1)",
        "common IsFileExists(ROOT\\a.bin)",
        "trace UpLoadTaskManger.fileUpload:upload slicefile stratoffset= 16;readlength=16",
        "common AES_128_CBC_Encrypt_FileHandle(16, 16, 16, 16)",
        "common MD5_Encode(32)",
        "common SHA256_Encode(32)",
        "cloud GetUploadKelpAddress(Local-1, Local-1-object-1, 32)",
        "cloud UploadRequest",
        "cloud ObjectsUploadComplete(Local-1, Local-1-object-1, stored, cursor-Local-1)",
        "common IsFileExists(ROOT\\a.bin)",
        "trace UpLoadTaskManger.fileUpload:upload slicefile stratoffset= 32;readlength=8",
        "common AES_128_CBC_Encrypt_FileHandle(16, 16, 32, 8)",
        "common MD5_Encode(16)",
        "common SHA256_Encode(16)",
        "cloud GetUploadKelpAddress(Local-1, Local-1-object-2, 16)",
        "cloud UploadRequest",
        "cloud ObjectsUploadComplete(Local-1, Local-1-object-2, stored, cursor-Local-1)",
        "file CloseHandle(open)",
        "trace UpLoadTaskManger.uploadTask:file client upload end.",
        "debug file uploadStart GetFileSha256 filename=:a.bin",
        "trace UpLoadTaskManger.uploadTask: Check file hash Begin fileId=Local-1",
        "common GetFileHash(ROOT\\a.bin)",
        "trace UpLoadTaskManger.uploadTask: Check file hash End fileId=Local-1",
        "common GetEfek",
        "common GetEfek",
        "common IsLocalFile(Local-1, Local)",
        "cloud FilesCreateComplete(Local-1, cursor-Local-1)",
        "trace fileCreateUpdateComplete success. [LocalFileId:Local-1][CloudFileId:cloud-1][parentId:root-id]",
        "stat 15002|UpLoadTaskManger::fileCreateUpdateComplete |fileCreateUpdateComplete success. "
        "[LocalFileId:Local-1][CloudFileId:cloud-1][parentId:root-id]",
        "callback service(1, ROOT\\a.bin)",
        "trace UpLoadTaskManger.UploadThreadFunc:file upload task end Success fileid=Local-1",
        "callback task(2, 1)",
        "trace UpLoadTaskManger.UploadThreadFunc: End uploadTaskCount=:0",
        "common RefreshFile(ROOT\\a.bin)",
        "cloud GetUserSpace()",
    };
    Texts shortened;
    for (const std::string& line : lines) {
        // Inside GetEfek.
        if (line.find("AES_GCM") + 1 || line.find("SecureRandom") + 1 || line.find("Base64") + 1) continue;
        const bool cut = line.rfind("cloud UploadRequest", 0) == 0 || line.rfind("common GetEfek", 0) == 0;
        shortened.push_back(cut ? line.substr(0, line.find('(')) : line);
    }
    EXPECT_EQ(Joined(shortened), Joined(expected));
}

// UP-WORK-02, UP-WORK-08, UP-START-05, UP-DONE-24
TEST_F(UploadWorker, ASuccessfulUploadWritesItsRowsInOrder) {
    Give(L"Local-1", L"a.bin", Content(10));
    const std::string sha = Sha256(Content(10));
    Run(L"Local-1");
    Texts rows = Lines({Kind::Database});
    for (std::string& row : rows) {
        if (row.find("fragmentInfo") != std::string::npos) row = "record";
    }
    EXPECT_EQ(rows, (Texts{"db GetDriveDataItemWithKey(Local-1)", "db UpdateDriveData(Local-1, {fileStatus: 12})",
                           "db GetTaskItem(Local-1, 2)", "db UpdateTaskItem(Local-1, {TaskStatus: 1}, 2)",
                           "db UpdateDriveData(Local-1, {hash: " + sha + ", localFileSha256: " + sha + ", size: 10})",
                           "record", "record",
                           "db UpdateDriveData(Local-1, {contentVersion: 1, fileId: cloud-1, fileStatus: 1, kind: "
                           "other, mimeType: application/octet-stream, name: a.bin, parentFolder: , parentId: "
                           "root-id, status: 0})",
                           "db DeleteTaskItem(Local-1, 2)", "db UpdateTaskItem(Local-1, {TaskStatus: 0}, 2)"}));
    EXPECT_EQ(world.Row(L"cloud-1").GetFileStatus(), 1);
    EXPECT_TRUE(world.Row(L"Local-1").GetFileId().empty());
    EXPECT_EQ(world.TaskCount(), 0);
}

// UP-WORK-03
TEST_F(UploadWorker, ARefusedClaimRaisesOneEndAndNoBeginAndWritesNoRow) {
    Common::FileItem file = Give(L"Local-1", L"a.bin", "content");
    file.SetFileStatus(12);
    world.Put(file);
    Journal::Clear();
    Run(L"Local-1");
    const std::string taskId = std::to_string(world.Task(L"Local-1", 2).GetTaskId());
    EXPECT_EQ(Lines(), (Texts{"db GetDriveDataItemWithKey(Local-1)", "trace FileId=Local-1;File is Uploading",
                              "callback task(2, 1)",
                              "trace UpLoadTaskManger.UploadThreadFunc: checkUpdateFileItemStatus fail "
                              "fileId=Local-1;taskId=" +
                                  taskId + ";fileStatus=12"}));
}

// UP-WORK-04
TEST_F(UploadWorker, ARefusedClaimLeavesTheCountUnchanged) {
    Common::FileItem file = Give(L"Local-1", L"a.bin", "content");
    file.SetFileStatus(12);
    world.Put(file);
    Run(L"Local-1");
    g_isOffLine = true;
    Give(L"Local-2", L"b.bin", "content");
    Run(L"Local-2");
    EXPECT_TRUE(Journal::Has(Kind::Trace, "UpLoadTaskManger.UploadThreadFunc: uploadTaskCount=:1"));
    EXPECT_TRUE(Journal::Has(Kind::Trace, "UpLoadTaskManger.UploadThreadFunc: End uploadTaskCount=:0"));
}

// UP-WORK-05, UP-WORK-15, UP-WORK-16
TEST_F(UploadWorker, AFailureKeepsTheTaskLessUrgentAndMarksTheFile) {
    g_isOffLine = true;
    Give(L"Local-1", L"a.bin", "content", 4);
    Run(L"Local-1");
    EXPECT_TRUE(InOrder(Lines(), {"trace UpLoadTaskManger.UploadThreadFunc:file upload task end failure fileid=Local-1",
                                  "db UpdateDriveData(Local-1, {fileStatus: 13})",
                                  "db UpdateTaskItem(Local-1, {Priority: 7, TaskStatus: 0}, 2)", "callback task(2, 1)",
                                  "trace UpLoadTaskManger.UploadThreadFunc: End uploadTaskCount=:0",
                                  "common RefreshFile(ROOT\\a.bin)"}))
        << Journal::Dump();
    EXPECT_EQ(world.Row(L"Local-1").GetFileStatus(), 13);
    EXPECT_EQ(world.Task(L"Local-1", 2).GetPriority(), 7);
    EXPECT_EQ(world.Task(L"Local-1", 2).GetTaskstatus(), 0);
}

// UP-WORK-06
TEST_F(UploadWorker, APriorityJustBelowTheCeilingIsStillRaised) {
    g_isOffLine = true;
    Give(L"Local-1", L"a.bin", "content", 2147483643);
    Run(L"Local-1");
    EXPECT_EQ(world.Task(L"Local-1", 2).GetPriority(), 2147483646);
}

// UP-WORK-07
TEST_F(UploadWorker, APriorityAtTheCeilingIsKept) {
    g_isOffLine = true;
    Give(L"Local-1", L"a.bin", "content", 2147483644);
    Run(L"Local-1");
    EXPECT_EQ(world.Task(L"Local-1", 2).GetPriority(), 2147483644);
    EXPECT_TRUE(Journal::Has(Kind::Database, "UpdateTaskItem(Local-1, {TaskStatus: 0}, 2)"));
}

// UP-WORK-09, UP-GATE-06
TEST_F(UploadWorker, AFileThatIsGoneLosesTaskAndRow) {
    Give(L"Local-1", L"a.bin", "content");
    std::remove(world.NativeFile(L"a.bin").c_str());
    Run(L"Local-1");
    EXPECT_TRUE(InOrder(
        Lines(), {"db DeleteDriveDataItem(Local-1)", "db DeleteTaskItem(Local-1, 2)",
                  "trace UpLoadTaskManger.UploadThreadFunc:file upload task end fail del for retry task fileid=Local-1",
                  "db UpdateDriveData(Local-1, {fileStatus: 13})", "db UpdateTaskItem(Local-1, {TaskStatus: 0}, 2)"}))
        << Journal::Dump();
    EXPECT_FALSE(world.HasTask(L"Local-1", 2));
    EXPECT_TRUE(world.Row(L"Local-1").GetFileId().empty());
}

// UP-WORK-10, UP-WORK-15
TEST_F(UploadWorker, AnEmptyFileIsHeldBack) {
    Give(L"Local-1", L"a.bin", "");
    Run(L"Local-1");
    EXPECT_TRUE(InOrder(
        Lines(),
        {"db DeleteTaskItem(Local-1, 2)",
         "trace UpLoadTaskManger.UploadThreadFunc:file upload task end fail del task fileid=Local-1",
         "db UpdateDriveData(Local-1, {fileStatus: 13, status: 5})", "db UpdateTaskItem(Local-1, {TaskStatus: 0}, 2)"}))
        << Journal::Dump();
    EXPECT_EQ(world.Row(L"Local-1").GetStatus(), 5);
    EXPECT_FALSE(world.HasTask(L"Local-1", 2));
}

// UP-WORK-11
TEST_F(UploadWorker, AStopKeepsTheTaskAtItsPriority) {
    g_cloudServerIsMigrating = true;
    Give(L"Local-1", L"a.bin", "content", 4);
    Run(L"Local-1");
    EXPECT_TRUE(InOrder(
        Lines(), {"trace UpLoadTaskManger.UploadThreadFunc:file upload task end fail stop task fileid=Local-1",
                  "db UpdateDriveData(Local-1, {fileStatus: 13})", "db UpdateTaskItem(Local-1, {TaskStatus: 0}, 2)"}))
        << Journal::Dump();
    EXPECT_EQ(world.Task(L"Local-1", 2).GetPriority(), 4);
    EXPECT_EQ(world.Row(L"Local-1").GetFileStatus(), 13);
}

// UP-WORK-12, UP-GATE-04
TEST_F(UploadWorker, APlaceholderLosesItsTaskAndKeepsTheStatusOfItsOwnStatement) {
    Give(L"Local-1", L"a.bin", "content");
    common.isPlaceholder.AlwaysReturns(true);
    Run(L"Local-1");
    EXPECT_TRUE(InOrder(
        Lines(), {"db ExecuteMulitNoQuerySQL([UPDATE T_cloudDriveData SET fileStatus = 0 WHERE fileId = 'Local-1' AND "
                  "fileStatus IN(1,11,12,13); ])",
                  "db DeleteTaskItem(Local-1, 2)",
                  "trace UpLoadTaskManger.UploadThreadFunc:file upload task end fail only del task fileid=Local-1",
                  "db UpdateTaskItem(Local-1, {TaskStatus: 0}, 2)"}))
        << Journal::Dump();
    EXPECT_EQ(Journal::Count(Kind::Database, "UpdateDriveData(Local-1, {fileStatus: 13})"), 0);
    EXPECT_EQ(world.Row(L"Local-1").GetFileStatus(), 0);
}

// UP-WORK-17, UP-WORK-19
TEST_F(UploadWorker, WithoutAServiceCallbackASuccessKeepsItsTaskWaiting) {
    Engine().SetUploadServiceCallbackFun(nullptr);
    Give(L"Local-1", L"a.bin", "content");
    Run(L"Local-1");
    EXPECT_EQ(Journal::CountBeginning(Kind::Database, "DeleteTaskItem"), 0);
    EXPECT_TRUE(InOrder(Lines(), {"db UpdateTaskItem(Local-1, {TaskStatus: 0}, 2)", "callback task(2, 1)",
                                  "error UpLoadTaskManger|StartUpLoadMangerService|error bad_function_call"}))
        << Journal::Dump();
    EXPECT_EQ(Journal::CountBeginning(Kind::Common, "RefreshFile"), 0);
    EXPECT_TRUE(world.HasTask(L"Local-1", 2));
    EXPECT_EQ(world.Task(L"Local-1", 2).GetTaskstatus(), 0);
}

// UP-WORK-18
TEST_F(UploadWorker, AThrowingBeginStillGivesTheSlotBackAndTheCountDown) {
    Engine().SetUploadTaskCallbackFun([](int kind, int value) {
        Journal::Write(Kind::Callback, "task(" + std::to_string(kind) + ", " + std::to_string(value) + ")");
        if (value == 0) throw std::runtime_error("no");
    });
    Give(L"Local-1", L"a.bin", "content");
    Run(L"Local-1");
    EXPECT_TRUE(InOrder(Lines(), {"callback task(2, 0)", "db UpdateTaskItem(Local-1, {TaskStatus: 0}, 2)",
                                  "callback task(2, 1)", "error UpLoadTaskManger|StartUpLoadMangerService|error no"}))
        << Journal::Dump();
    EXPECT_EQ(world.Task(L"Local-1", 2).GetTaskstatus(), 0);
}

// UP-WORK-20
TEST_F(UploadWorker, WithoutATaskCallbackNothingLeavesTheWorker) {
    Engine().SetUploadTaskCallbackFun(nullptr);
    Give(L"Local-1", L"a.bin", "content");
    Run(L"Local-1");
    EXPECT_EQ(Lines({Kind::Error}), (Texts{"error UpLoadTaskManger|StartUpLoadMangerService|error bad_function_call"}));
}

// UP-WORK-21
TEST_F(UploadWorker, AnExceptionThatIsNoStandardOneDoesNotLeaveTheWorkerEither) {
    Engine().SetUploadServiceCallbackFun([](int, const std::wstring&) -> bool { throw 7; });
    Give(L"Local-1", L"a.bin", "content");
    Run(L"Local-1");
    EXPECT_EQ(Journal::Count(Kind::Callback, "task(2, 1)"), 1);
    EXPECT_EQ(Journal::Count(Kind::Error, "UpLoadTaskManger|StartUpLoadMangerService|error unknown exception"), 1);
}

// UP-WORK-22
TEST_F(UploadWorker, AnExceptionBeforeTheCountWentUpLeavesItAtZero) {
    Engine().SetUploadTaskCallbackFun([](int, int) { throw std::runtime_error("no"); });
    Common::FileItem file = Give(L"Local-1", L"a.bin", "content");
    file.SetFileStatus(12);
    world.Put(file);
    Run(L"Local-1");
    EXPECT_EQ(Journal::Count(Kind::Error, "UpLoadTaskManger|StartUpLoadMangerService|error no"), 1);

    Engine().SetUploadTaskCallbackFun([](int, int) {});
    g_isOffLine = true;
    Give(L"Local-2", L"b.bin", "content");
    Run(L"Local-2");
    EXPECT_TRUE(Journal::Has(Kind::Trace, "UpLoadTaskManger.UploadThreadFunc: uploadTaskCount=:1"));
}

class UploadStop : public UploadBench {};

// UP-STOP-01
TEST_F(UploadStop, ReturnsAtOnceWhenNothingRuns) {
    VirtualTime::Run(0, [] {
        Engine().StopUpLoadMangerService();
        EXPECT_EQ(VirtualTime::Now(), 0);
    });
    EXPECT_EQ(Lines(), (Texts{"trace UpLoadTaskManger.StopUpLoadMangerService Begin ",
                              "stat 15002|StopUpLoadMangerService| StopUpLoadMangerService",
                              "trace UpLoadTaskManger.StopUpLoadMangerService End "}));
}

// UP-STOP-02
TEST_F(UploadStop, GivesUpOnAWorkerThatNeverEndsAfterTenSecondsInAll) {
    const auto takes = [](std::int64_t milliseconds) {
        return [milliseconds](std::wstring&) {
            VirtualTime::Pause(milliseconds);
            return std::int64_t{-1};
        };
    };
    cloud.getUserSpace.Next(takes(6000));
    cloud.getUserSpace.Always(takes(1000000));
    Give(L"Local-1", L"a.bin", "content");
    Give(L"Local-2", L"b.bin", "content");
    VirtualTime::Run(0, [&] {
        VirtualTime::Start("worker-a", [&] { Work(L"Local-1"); });
        VirtualTime::Start("worker-b", [&] { Work(L"Local-2"); });
        VirtualTime::Settle();
        Engine().StopUpLoadMangerService();
        EXPECT_EQ(VirtualTime::Now(), 10000);
        EXPECT_TRUE(Journal::Has(Kind::Trace, "UpLoadTaskManger.UploadThreadFunc: End uploadTaskCount=:1"));
    });
}

// UP-STOP-03
TEST_F(UploadStop, ReturnsAsSoonAsTheLastWorkerHasEnded) {
    cloud.getUserSpace.Takes(3000);
    cloud.getUserSpace.AlwaysReturns(std::int64_t{-1});
    Give(L"Local-1", L"a.bin", "content");
    VirtualTime::Run(0, [&] {
        VirtualTime::Start("worker", [&] { Work(L"Local-1"); });
        VirtualTime::Settle();
        Engine().StopUpLoadMangerService();
        EXPECT_EQ(VirtualTime::Now(), 3000);
    });
}

// UP-STOP-04
TEST_F(UploadStop, EveryLaterUploadEndsAsStoppedWithoutALine) {
    Engine().StopUpLoadMangerService();
    g_cloudServerIsMigrating = true;
    Give(L"Local-1", L"a.bin", "content", 5);
    Run(L"Local-1");
    EXPECT_EQ(Reports(), Texts{});
    EXPECT_EQ(world.Row(L"Local-1").GetFileStatus(), 13);
    EXPECT_TRUE(world.HasTask(L"Local-1", 2));
    EXPECT_EQ(world.Task(L"Local-1", 2).GetPriority(), 5);
    EXPECT_EQ(Journal::CountBeginning(Kind::Common, "GetFileMimeType"), 0);
}

// UP-STOP-05
TEST_F(UploadStop, AnUploadAmongItsObjectsStopsBeforeTheNextOne) {
    Give(L"Local-1", L"a.bin", Content(40));
    cloud.objectsUploadComplete.Before([](const Common::FileItem&, const Common::FragmentInfo&,
                                          const Common::GetKelpAddressModel&, const std::string&, const std::wstring&) {
        static bool stopping = false;
        if (stopping) return;
        stopping = true;
        VirtualTime::Start("stop", [] { Engine().StopUpLoadMangerService(); });
        VirtualTime::Pause(1);
    });
    Run(L"Local-1");
    EXPECT_TRUE(InOrder(Lines(),
                        {"file CloseHandle(open)", "trace UpLoadTaskManger.uploadTask:file upload stop  fileid=Local-1",
                         "debug StopUploadTask Close FileStream =ROOT\\a.bin",
                         "trace UpLoadTaskManger.UploadThreadFunc:file upload task end fail stop task "
                         "fileid=Local-1"}))
        << Journal::Dump();
    EXPECT_EQ(cloud.uploadRequest.Calls(), 1);
    EXPECT_EQ(Reports(), (Texts{"stat 15002|UpLoadTaskManger::uploadTask |file client upload. fileid=Local-1",
                                "stat 15002|StopUpLoadMangerService| StopUpLoadMangerService"}));
    EXPECT_NE(Record(L"Local-1").find("\"position\":16"), std::string::npos) << Record(L"Local-1");
}

}  // namespace
}  // namespace Drive::Testing
