#include <gtest/gtest.h>

#include <cstddef>

#include "interfaces/common/address_models.h"
#include "interfaces/common/completion_models.h"
#include "interfaces/common/file_item.h"
#include "interfaces/common/task_item.h"
#include "interfaces/database/update_info.h"
#include "service/shared/codes.h"
#include "service/shared/task_result.h"
#include "service/shared/transfer_records.h"
#include "tests/support/engine_bench.h"

namespace Drive::TransferService {
namespace {

// SVC-REC-01
TEST(Records, ATaskThatNobodyFilledIsAnAbsentRow) {
    const Common::TaskItem task;
    EXPECT_EQ(task.GetTaskId(), 0);
    EXPECT_TRUE(task.GetFileId().empty());
    EXPECT_EQ(task.GetTransferKey(), 0);
    EXPECT_TRUE(task.GetFragmentInfo().empty());
}

// SVC-REC-02
TEST(Records, AFileThatNobodyFilledHasNoIdAndIsAnAbsentRow) {
    const Common::FileItem file;
    EXPECT_TRUE(file.GetFileId().empty());
    EXPECT_EQ(file.GetFileStatus(), 0);
}

// SVC-REC-03
TEST(Records, AttachmentsStandInDescendingOrderOfTheirNames) {
    Common::FileItem file;
    file.SetAttachmentFilePath({{L"large", L"l"}, {L"small", L"s"}});
    EXPECT_EQ(file.GetAttachmentFilePath().begin()->first, L"small");
    file.SetAttachmentData({{L"large", {1}}, {L"small", {2}}});
    EXPECT_EQ(file.GetAttachmentData().begin()->first, L"small");
}

// SVC-REC-04
TEST(Records, ResultsAreTheseNumbers) {
    EXPECT_EQ(TaskResultFailure, 0);
    EXPECT_EQ(TaskResultSuccess, 1);
    EXPECT_EQ(TaskResultDeleteForRetry, 2);
    EXPECT_EQ(TaskResultDeleteTask, 3);
    EXPECT_EQ(TaskResultNoSync, 4);
    EXPECT_EQ(TaskResultStop, 5);
    EXPECT_EQ(TaskResultCancel, 6);
    EXPECT_EQ(TaskResultRetry, 7);
    EXPECT_EQ(TaskResultOnlyDeleteTask, 8);
}

// SVC-REC-05
TEST(Records, CodesAreTheseNumbers) {
    EXPECT_EQ(kDirectionDownload, 1);
    EXPECT_EQ(kDirectionUpload, 2);
    EXPECT_EQ(kDirectionThumbnail, 3);
    EXPECT_EQ(kFileIdle, 0);
    EXPECT_EQ(kFileInStep, 1);
    EXPECT_EQ(kFileUploadWaiting, 11);
    EXPECT_EQ(kFileUploading, 12);
    EXPECT_EQ(kFileUploadFailed, 13);
    EXPECT_EQ(kFileDownloadWaiting, 21);
    EXPECT_EQ(kFileDownloading, 22);
    EXPECT_EQ(kFileDownloadFailed, 23);
    EXPECT_EQ(kTaskWaiting, 0);
    EXPECT_EQ(kTaskRunning, 1);
    EXPECT_EQ(kTaskCancelRequested, 3);
    EXPECT_EQ(kTaskStopRequested, 4);
    EXPECT_EQ(kStatusInStep, 0);
    EXPECT_EQ(kStatusPending, 1);
    EXPECT_EQ(kStatusHeldBack, 5);
    EXPECT_EQ(kKeyNormal, 1);
    EXPECT_EQ(kKeyPriority, 2);
    EXPECT_EQ(kKeyThumbnail, 3);
    EXPECT_EQ(kKeyBackground, 11);
    EXPECT_EQ(kStatisticKeys, 15001);
    EXPECT_EQ(kStatisticService, 15002);
    EXPECT_EQ(kStatisticDownload, 15003);
}

// SVC-REC-06
TEST(Records, AJobIsCopiedWholeAndBeginsEmpty) {
    DOWNLOADTASK_CONTEXT job;
    EXPECT_EQ(job.fileHandle, nullptr);
    EXPECT_FALSE(job.isPlatformFetch || job.isCancelled || job.isStopped || job.isOnFetch);
    job.localFilePath = L"p";
    job.relativePath = L"r";
    job.fileSize = 1;
    job.carried1 = 2;
    job.carried2 = 3;
    job.transferKey = 4;
    job.isOnFetch = true;
    job.fileId = L"id";
    job.thumbnailUrl = L"u";
    job.hash = L"h";
    job.attachmentSize = {5, 6};
    const DOWNLOADTASK_CONTEXT copy = job;
    EXPECT_EQ(copy.carried1 + copy.carried2, 5);
    EXPECT_EQ(copy.attachmentSize, (std::vector<int>{5, 6}));
    EXPECT_EQ(copy.thumbnailUrl + copy.hash + copy.fileId + copy.relativePath + copy.localFilePath, L"uhidrp");
}

// SVC-REC-07
TEST(Records, ACallbackRecordTakesTheseFieldsOfItsJob) {
    DOWNLOADTASK_CONTEXT job;
    job.localFilePath = L"path";
    job.transferKey = 2;
    job.fileSize = 99;
    job.fileHandle = &job;
    job.isPlatformFetch = true;
    const DOWNLOADCALLBACK_CONTEXT record(job);
    EXPECT_EQ(record.localFilePath, L"path");
    EXPECT_EQ(record.transferKey, 2);
    EXPECT_EQ(record.fileSize, 99);
    EXPECT_EQ(record.fileHandle, &job);
    EXPECT_TRUE(record.isPlatformFetch);
    EXPECT_TRUE(record.ok);
    EXPECT_TRUE(record.message.empty());
    EXPECT_EQ(record.data, nullptr);
    EXPECT_EQ(record.offset + record.length + record.endOffset, 0);
}

// SVC-REC-08
TEST(Records, AnUpdateNamesItsRowAndNothingElseAndItsNumbersAreDecimal) {
    const SQLiteDB::UpdateDBInfo info;
    EXPECT_TRUE(info.key.empty() && info.condition.empty() && info.reserved.empty() && info.columns.empty());
    EXPECT_FALSE(info.reservedFlag);
    EXPECT_EQ(SQLiteDB::MakePair(L"c", std::int64_t{-12}), std::make_pair(std::wstring(L"c"), std::wstring(L"-12")));
    EXPECT_EQ(SQLiteDB::MakePair(L"c", std::wstring(L"text")).second, L"text");
}

// SVC-REC-09
TEST(Records, AnAttachmentsDataAndPathsDoNotMixAndItsSizesKeepTheirOrder) {
    Common::FileItem file;
    file.SetAttachmentSize({7, 3, 5});
    EXPECT_EQ(file.GetAttachmentSize(), (std::vector<int>{7, 3, 5}));
    file.SetAttachmentFilePath({{L"small", L"path"}});
    EXPECT_TRUE(file.GetAttachmentData().empty());
}

// SVC-REC-10
TEST(Records, ATaskIsCopiedByValueWithAllItsFields) {
    Common::TaskItem task;
    task.SetTaskId(std::int64_t{1} << 40);
    task.SetFileId(L"F");
    task.SetDirection(2);
    task.SetPriority(2147483644);
    task.SetModule(1);
    task.SetTransferKey(std::int64_t{1} << 41);
    task.SetFragmentInfo(L"record");
    Common::TaskItem copy;
    copy = task;
    task.SetFileId(L"other");
    task.SetFragmentInfo(L"");
    EXPECT_EQ(copy.GetTaskId(), std::int64_t{1} << 40);
    EXPECT_EQ(copy.GetFileId(), L"F");
    EXPECT_EQ(copy.GetDirection(), 2);
    EXPECT_EQ(copy.GetPriority(), 2147483644);
    EXPECT_EQ(copy.GetModule(), 1);
    EXPECT_EQ(copy.GetTransferKey(), std::int64_t{1} << 41);
    EXPECT_EQ(copy.GetFragmentInfo(), L"record");
}

// SVC-REC-11
TEST(Records, AFileIsCopiedByValueWithAllItsFields) {
    Common::FileItem file;
    file.SetFileId(L"F");
    file.SetName(L"cloud");
    file.SetLocalParentId(L"local parent");
    file.SetParentId(L"parent");
    file.SetSize(std::int64_t{50} << 30);
    file.SetHash(L"hash");
    file.SetFileHMAC("digest");
    file.SetMimeType(L"text/plain");
    file.SetFileStatus(23);
    Common::FileItem copy(file);
    file.SetName(L"other");
    EXPECT_EQ(copy.GetFileId() + copy.GetName() + copy.GetLocalParentId(), L"Fcloudlocal parent");
    EXPECT_EQ(copy.GetSize(), std::int64_t{50} << 30);
    EXPECT_EQ(copy.GetHash() + copy.GetMimeType(), L"hashtext/plain");
    EXPECT_EQ(copy.GetFileHMAC(), "digest");
    EXPECT_EQ(copy.GetFileStatus(), 23);
}

// SVC-REC-12
TEST(Records, EventsAndTheStepOfThePriorityAreTheseNumbers) {
    EXPECT_EQ(DownloadEventFetchBegins, 1);
    EXPECT_EQ(DownloadEventData, 2);
    EXPECT_EQ(DownloadEventFinished, 3);
    EXPECT_EQ(DownloadEventEnd, 4);
    EXPECT_EQ(DownloadEventNewSize, 5);
    EXPECT_EQ(kPriorityStep, 3);
}

class StoredRecords : public Testing::EngineBench {};

// SVC-REC-13
TEST_F(StoredRecords, BothSpellingsOfThePriorityAreOneColumn) {
    world.PutWithTask(world.File(L"F", L"f.txt", 7, 21), 1);
    auto& database = SQLiteDB::SQLiteDB::GetInstance();
    SQLiteDB::UpdateDBInfo info;
    info.key = L"F";
    info.columns = {SQLiteDB::MakePair(L"priority", std::int64_t{4})};
    EXPECT_TRUE(database.UpdateTaskItem(info, 1));
    EXPECT_EQ(world.Task(L"F", 1).GetPriority(), 4);
    info.columns = {SQLiteDB::MakePair(L"Priority", std::int64_t{7})};
    EXPECT_TRUE(database.UpdateTaskItem(info, 1));
    EXPECT_EQ(world.Task(L"F", 1).GetPriority(), 7);
}

// SVC-REC-14
TEST_F(StoredRecords, AnAbsentRowIsReadAsAnEmptyRecord) {
    auto& database = SQLiteDB::SQLiteDB::GetInstance();
    EXPECT_TRUE(database.GetDriveDataItemWithKey(L"none").GetFileId().empty());
    EXPECT_TRUE(database.GetDriveDataItem({{L"localFileName", L"none"}}).GetFileId().empty());
    EXPECT_TRUE(database.GetTaskItem(L"none", 1).GetFileId().empty());
}

// SVC-REC-16
TEST_F(StoredRecords, AnUpdateWithoutColumnsWritesNothing) {
    world.PutWithTask(world.File(L"F", L"f.txt", 7, 21), 1, 5);
    auto& database = SQLiteDB::SQLiteDB::GetInstance();
    SQLiteDB::UpdateDBInfo info;
    info.key = L"F";
    database.UpdateTaskItem(info, 1);
    database.UpdateDriveData(info);
    EXPECT_EQ(world.Task(L"F", 1).GetPriority(), 5);
    EXPECT_EQ(world.Row(L"F").GetFileStatus(), 21);
    EXPECT_EQ(world.Row(L"F").GetLocalFileName(), L"f.txt");
}

// SVC-REC-15
TEST(Records, TheAnswersOfTheCloudAreCopiedByValue) {
    Common::DownLoadAddressInfoModel model;
    model.SetDownloadURL(L"url");
    model.SetRecordCursor(L"cursor");
    model.SetEncFekList({{L"efek", L"algorithm", L"1", L"iv", L"uid"}});
    Common::DownloadObjectInfoList object;
    object.objectIds = {L"a", L"b"};
    model.SetObjectInfoList({object});
    const Common::DownLoadAddressInfoModel copy = model;
    model.SetObjectInfoList({});
    EXPECT_EQ(copy.GetDownloadURL() + copy.GetRecordCursor(), L"urlcursor");
    EXPECT_EQ(copy.GetEncFekList().front().encryptAlgorithm, L"algorithm");
    EXPECT_EQ(copy.GetObjectInfoList().front().objectIds.size(), 2u);
    Common::DownloadKelpAddressInfo address;
    address.SetUrl(L"url");
    address.SetHeaders({{L"h", L"v"}});
    EXPECT_EQ(Common::DownloadKelpAddressInfo(address).GetHeaders().at(L"h"), L"v");
}

}  // namespace
}  // namespace Drive::TransferService
