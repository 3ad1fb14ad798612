#include "tests/contract/database/open_database.h"

namespace Drive::Testing {
namespace {

using SQLiteDB::SyncRows;
using SyncLogicRows = OpenDatabaseTest;

// DB-SYNC-01
TEST_F(SyncLogicRows, PutFileReplacesAllColumns) {
    Common::FileItem file = File(L"a", 21);
    file.SetHash(L"old");
    file.SetAttachmentSize({1, 2});
    ASSERT_TRUE(SyncRows::PutFile(file));
    ASSERT_TRUE(SyncRows::PutFile(File(L"a", 1)));

    const Common::FileItem read = Db().GetDriveDataItemWithKey(L"a");
    EXPECT_EQ(read.GetHash(), L"");
    EXPECT_TRUE(read.GetAttachmentSize().empty());
    EXPECT_EQ(read.GetFileStatus(), 1);
    EXPECT_EQ(Ask(L"SELECT count(*) FROM T_cloudDriveData"), L"1");
}

// DB-SYNC-02
TEST_F(SyncLogicRows, AFileWithoutAnIdIsRefused) {
    EXPECT_FALSE(SyncRows::PutFile(File(L"", 1)));
    EXPECT_FALSE(SyncRows::PutTask(L"", 1, 1));
    EXPECT_FALSE(SyncRows::PutThumbnailTask(L""));
    EXPECT_FALSE(SyncRows::PutPriorityTask(L"", 2));
}

// DB-SYNC-03
TEST_F(SyncLogicRows, AFileAndItsTaskStandTogetherOrNotAtAll) {
    EXPECT_TRUE(SyncRows::PutFileWithTask(File(L"a", 21), 1, 5));
    EXPECT_EQ(Db().GetTaskItem(L"a", 1).GetPriority(), 5);
    EXPECT_EQ(Ask(L"SELECT transferKey IS NULL FROM T_task"), L"1") << "the key is left open";

    EXPECT_FALSE(SyncRows::PutFileWithTask(File(L"b", 21), 3, 1));
    EXPECT_FALSE(SyncRows::PutFileWithTask(File(L"b", 21), 0, 1));
    EXPECT_TRUE(Db().GetDriveDataItemWithKey(L"b").GetFileId().empty());
}

// DB-SYNC-04
TEST_F(SyncLogicRows, AnExistingTaskKeepsItsRecord) {
    PutUpload(L"a", 13, 7);
    ASSERT_TRUE(Db().UpdateTaskItem(
        Update(L"a", {{L"fragmentInfo", L"plan"}, {L"TaskStatus", L"4"}, {L"transferKey", L"2"}}), 2));
    PutUpload(L"a", 11, 1);

    const Common::TaskItem task = Db().GetTaskItem(L"a", 2);
    EXPECT_EQ(task.GetFragmentInfo(), L"plan");
    EXPECT_EQ(task.GetPriority(), 1);
    EXPECT_EQ(task.GetTaskstatus(), 0);
    EXPECT_EQ(task.GetTransferKey(), 11) << "open again";
}

// DB-SYNC-05
TEST_F(SyncLogicRows, AnExistingTaskOfAFileThatIsTransferredKeepsItsStatus) {
    PutDownload(L"a", 22);
    ASSERT_TRUE(Db().UpdateTaskItem(Update(L"a", {{L"TaskStatus", L"3"}}), 1));
    PutDownload(L"a", 22);

    EXPECT_EQ(Db().GetTaskItem(L"a", 1).GetTaskstatus(), 3);
}

// DB-SYNC-06
TEST_F(SyncLogicRows, ManyStandTogetherOrNotAtAll) {
    ASSERT_TRUE(SyncRows::PutFilesWithTasks({File(L"a", 11), File(L"b", 11)}, 2, 3));
    EXPECT_EQ(Ids(FetchUploads()), (IdList{L"a", L"b"}));

    EXPECT_FALSE(SyncRows::PutFilesWithTasks({File(L"c", 11), File(L"", 11), File(L"d", 11)}, 2, 3));
    EXPECT_EQ(Ask(L"SELECT count(*) FROM T_cloudDriveData"), L"2");
    EXPECT_TRUE(SyncRows::PutFilesWithTasks({}, 1, 1));
}

// DB-SYNC-07
TEST_F(SyncLogicRows, PutTaskLeavesAnExistingOneAlone) {
    PutUpload(L"a", 11, 7);
    ASSERT_TRUE(SyncRows::PutTask(L"a", 2, 1));
    EXPECT_EQ(Db().GetTaskItem(L"a", 2).GetPriority(), 7);
    ASSERT_TRUE(SyncRows::PutTask(L"a", 1, 2));
    EXPECT_EQ(Db().GetTaskItem(L"a", 1).GetPriority(), 2);
    EXPECT_FALSE(SyncRows::PutTask(L"a", 3, 1));
}

// DB-SYNC-08
TEST_F(SyncLogicRows, PutThumbnailTaskLeavesAnExistingOneAlone) {
    ASSERT_TRUE(SyncRows::PutThumbnailTask(L"a"));
    const std::int64_t taskId = Db().GetTaskItem(L"a", 3).GetTaskId();
    ASSERT_TRUE(SyncRows::PutThumbnailTask(L"a"));
    EXPECT_EQ(Db().GetTaskItem(L"a", 3).GetTaskId(), taskId);
}

// DB-SYNC-09
TEST_F(SyncLogicRows, PutPriorityTaskSetsTheKeyOrMakesTheRow) {
    PutDownload(L"a", 23, 7);
    ASSERT_TRUE(Db().UpdateTaskItem(Update(L"a", {{L"fragmentInfo", L"record"}}), 1));
    ASSERT_TRUE(SyncRows::PutPriorityTask(L"a", 2));
    EXPECT_EQ(Db().GetTaskItem(L"a", 1).GetTransferKey(), 2);
    EXPECT_EQ(Db().GetTaskItem(L"a", 1).GetPriority(), 7);
    EXPECT_EQ(Db().GetTaskItem(L"a", 1).GetFragmentInfo(), L"record");

    ASSERT_TRUE(SyncRows::PutPriorityTask(L"b", 2));
    EXPECT_EQ(Db().GetTaskItem(L"b", 1).GetTransferKey(), 2);
    EXPECT_EQ(Db().GetTaskItem(L"b", 1).GetModule(), 1);
}

// DB-SYNC-10
TEST_F(SyncLogicRows, ResetPriorityKeysMakesLeftOverOnesBackground) {
    PutDownload(L"a");
    PutDownload(L"b");
    PutUpload(L"up");
    ASSERT_TRUE(SyncRows::PutPriorityTask(L"a", 2));
    ASSERT_TRUE(SyncRows::PutPriorityTask(L"b", 1));
    ASSERT_TRUE(Db().UpdateTaskItem(Update(L"up", {{L"transferKey", L"2"}}), 2));

    ASSERT_TRUE(SyncRows::ResetPriorityKeys());
    EXPECT_EQ(Db().GetTaskItem(L"a", 1).GetTransferKey(), 11);
    EXPECT_EQ(Db().GetTaskItem(L"b", 1).GetTransferKey(), 1);
    EXPECT_EQ(Db().GetTaskItem(L"up", 2).GetTransferKey(), 2);
}

// DB-SYNC-11
TEST_F(SyncLogicRows, ForgetEncryptedPositionsEmptiesRecordsWithASliceIndexAndNoOthers) {
    const std::map<std::wstring, std::wstring> records = {
        {L"plain", L"{\"writePosition\":4194304,\"writeSliceIndex\":0}"},
        {L"encrypted", L"{\"writePosition\":4194304,\"writeSliceIndex\":1}"},
        {L"as-double", L"{\"writeSliceIndex\":2.0,\"writePosition\":9}"},
        {L"without", L"{\"writePosition\":4194304}"},
        {L"broken", L"{\"writeSliceIndex\":3"},
        {L"list", L"[3]"},
        {L"empty", L""}};
    for (const auto& [id, record] : records) {
        PutDownload(id);
        ASSERT_TRUE(Db().UpdateTaskItem(Update(id, {{L"fragmentInfo", record}}), 1));
    }
    PutUpload(L"up");
    ASSERT_TRUE(Db().UpdateTaskItem(Update(L"up", {{L"fragmentInfo", records.at(L"encrypted")}}), 2));

    ASSERT_TRUE(SyncRows::ForgetEncryptedPositions());

    for (const auto& [id, record] : records) {
        const bool forgotten = id == L"encrypted" || id == L"as-double";
        EXPECT_EQ(Db().GetTaskItem(id, 1).GetFragmentInfo(), forgotten ? L"" : record);
    }
    EXPECT_EQ(Db().GetTaskItem(L"up", 2).GetFragmentInfo(), records.at(L"encrypted"));
}

// DB-SYNC-12
TEST_F(SyncLogicRows, SettingsOfTheHostAreKept) {
    EXPECT_EQ(SyncRows::ReadSetting(L"cursor"), L"");
    ASSERT_TRUE(SyncRows::WriteSetting(L"cursor", L"one"));
    ASSERT_TRUE(SyncRows::WriteSetting(L"cursor", L"two"));
    ASSERT_TRUE(SyncRows::WriteSetting(L"other", L""));
    Reopen();

    EXPECT_EQ(SyncRows::ReadSetting(L"cursor"), L"two");
    EXPECT_EQ(SyncRows::ReadSetting(L"other"), L"");
}

}  // namespace
}  // namespace Drive::Testing
