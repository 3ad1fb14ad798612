#include "tests/contract/database/open_database.h"

namespace Drive::Testing {
namespace {

using ClearingTasks = OpenDatabaseTest;

std::wstring TaskCount() { return Ask(L"SELECT count(*) FROM T_task"); }

// DB-CLEAR-01
TEST_F(ClearingTasks, ClearInvalidateTaskRemovesUploadsWithoutAFileOrOfAFolder) {
    PutUpload(L"stays");
    PutUpload(L"deleted");
    PutUpload(L"folder");
    PutDownload(L"download");
    ASSERT_TRUE(SQLiteDB::SyncRows::PutTask(L"never", 2, 1));
    ASSERT_TRUE(SQLiteDB::SyncRows::PutTask(L"never", 1, 1));
    ASSERT_TRUE(Db().DeleteDriveDataItem(L"deleted"));
    ASSERT_TRUE(Db().DeleteDriveDataItem(L"download"));
    ASSERT_TRUE(Db().UpdateDriveData(Update(L"folder", {{L"isFolder", L"1"}})));

    Db().ClearInvalidateTask();

    EXPECT_EQ(Db().GetTaskItem(L"stays", 2).GetFileId(), L"stays");
    for (const wchar_t* gone : {L"deleted", L"folder", L"never"}) {
        EXPECT_TRUE(Db().GetTaskItem(gone, 2).GetFileId().empty()) << gone;
    }
    EXPECT_EQ(Db().GetTaskItem(L"download", 1).GetFileId(), L"download") << "other directions stay";
    EXPECT_EQ(Db().GetTaskItem(L"never", 1).GetFileId(), L"never");
}

// DB-CLEAR-02
TEST_F(ClearingTasks, ClearTaskTableEmptiesItOfEveryDirectionAndLeavesTheFiles) {
    PutUpload(L"up");
    PutDownload(L"down");
    ASSERT_TRUE(SQLiteDB::SyncRows::PutThumbnailTask(L"down"));

    Db().ClearTaskTable();

    EXPECT_EQ(TaskCount(), L"0");
    EXPECT_EQ(Ask(L"SELECT count(*) FROM T_cloudDriveData"), L"2");
    EXPECT_FALSE(Db().hasTransferTasks());
}

// DB-CLEAR-03
TEST_F(ClearingTasks, TransferTasksAreKnownThroughEveryOperation) {
    EXPECT_FALSE(Db().hasTransferTasks());
    ASSERT_TRUE(SQLiteDB::SyncRows::PutThumbnailTask(L"picture"));
    EXPECT_FALSE(Db().hasTransferTasks()) << "a thumbnail is no transfer";
    PutDownload(L"down");
    EXPECT_TRUE(Db().hasTransferTasks());
    ASSERT_TRUE(Db().DeleteTaskItem(L"down", 1));
    EXPECT_FALSE(Db().hasTransferTasks());
    ASSERT_TRUE(SQLiteDB::SyncRows::PutTask(L"up", 2, 1));
    EXPECT_TRUE(Db().hasTransferTasks());
    Db().ClearInvalidateTask();
    EXPECT_FALSE(Db().hasTransferTasks());
    ASSERT_TRUE(Db().InsertTaskByOnFetch({Db().GetDownLoadTaskSqlcmd(L"", L"", L"fetched", true, 11)}));
    EXPECT_TRUE(Db().hasTransferTasks());
}

// DB-CLEAR-04
TEST_F(ClearingTasks, TransferTasksAreKnownThroughStatementsOfOthers) {
    ASSERT_TRUE(Db().ExecuteMulitNoQuerySQL({"INSERT INTO T_task (fileId, direction) VALUES ('x', 1)"}));
    EXPECT_TRUE(Db().hasTransferTasks());
    ASSERT_TRUE(Db().ExecuteMulitNoQuerySQL({"REPLACE INTO T_task (fileId, direction) VALUES ('x', 1)"}));
    EXPECT_TRUE(Db().hasTransferTasks());
    ASSERT_TRUE(Db().ExecuteMulitNoQuerySQL({"UPDATE T_task SET direction = 3"}));
    EXPECT_FALSE(Db().hasTransferTasks());
    ASSERT_TRUE(Db().ExecuteMulitNoQuerySQL({"UPDATE T_task SET direction = 2"}));
    EXPECT_TRUE(Db().hasTransferTasks());
    ASSERT_FALSE(Db().ExecuteMulitNoQuerySQL({"DELETE FROM T_task", "nonsense"}));
    EXPECT_TRUE(Db().hasTransferTasks()) << "the batch was taken back";
    ASSERT_TRUE(Db().ExecuteMulitNoQuerySQL({"DELETE FROM T_task"}));
    EXPECT_FALSE(Db().hasTransferTasks());
}

// DB-CLEAR-05
TEST_F(ClearingTasks, TransferTasksAreKnownAfterAStart) {
    PutUpload(L"up");
    Reopen();

    EXPECT_TRUE(Db().hasTransferTasks());
}

}  // namespace
}  // namespace Drive::Testing
