#include <gtest/gtest.h>

#include <cstddef>

#include "interfaces/common/completion_models.h"
#include "interfaces/common/file_item.h"
#include "interfaces/common/task_item.h"
#include "interfaces/database/update_info.h"
#include "service/shared/codes.h"
#include "service/shared/task_result.h"
#include "service/shared/transfer_records.h"

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

}  // namespace
}  // namespace Drive::TransferService
