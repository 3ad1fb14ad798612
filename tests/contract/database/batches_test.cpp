#include "tests/contract/database/open_database.h"

namespace Drive::Testing {
namespace {

using Batches = OpenDatabaseTest;

const std::string kRepairFiles =
    "UPDATE T_cloudDriveData SET fileStatus = CASE WHEN  fileStatus = 22 THEN 21 WHEN  fileStatus = 12 THEN 11 ELSE "
    "fileStatus END WHERE fileStatus IN (12,22) AND isFolder = 0 AND fileId IN (SELECT fileId FROM T_task WHERE "
    "direction IN (1,2) AND T_task.fileId = T_cloudDriveData.fileId);";
const std::string kRepairTasks = "UPDATE T_task SET TaskStatus = 0 WHERE TaskStatus = 1;";

int StatusOf(const std::wstring& fileId) { return Db().GetDriveDataItemWithKey(fileId).GetFileStatus(); }

// DB-BATCH-01
TEST_F(Batches, TheStartUpRepairMovesFilesThatHaveATransferAndTasksThatRan) {
    PutDownload(L"down", 22);
    PutUpload(L"up", 12);
    PutUpload(L"other", 13);
    ASSERT_TRUE(Db().UpdateTaskItem(Update(L"up", {{L"TaskStatus", L"1"}}), 2));
    ASSERT_TRUE(Db().UpdateTaskItem(Update(L"down", {{L"TaskStatus", L"3"}}), 1));
    ASSERT_TRUE(SQLiteDB::SyncRows::PutFile(File(L"no-task", 22)));
    ASSERT_TRUE(SQLiteDB::SyncRows::PutFile(File(L"thumbnail", 12)));
    ASSERT_TRUE(SQLiteDB::SyncRows::PutThumbnailTask(L"thumbnail"));

    ASSERT_TRUE(Db().ExecuteMulitNoQuerySQL({kRepairFiles, kRepairTasks}));

    EXPECT_EQ(StatusOf(L"down"), 21);
    EXPECT_EQ(StatusOf(L"up"), 11);
    EXPECT_EQ(StatusOf(L"other"), 13);
    EXPECT_EQ(StatusOf(L"no-task"), 22);
    EXPECT_EQ(StatusOf(L"thumbnail"), 12);
    EXPECT_EQ(Db().GetTaskItem(L"up", 2).GetTaskstatus(), 0);
    EXPECT_EQ(Db().GetTaskItem(L"down", 1).GetTaskstatus(), 3) << "a cancel stands";
    EXPECT_EQ(Ids(FetchDownloads()), (IdList{L"down"}));
    EXPECT_EQ(Ids(FetchUploads()), (IdList{L"up", L"other"}));
}

// DB-BATCH-02
TEST_F(Batches, TheGuardedUpdatesOfAnUploadMoveOnlyTheStatesTheyName) {
    for (const int status : {1, 11, 12, 13, 21}) {
        const std::wstring id = std::to_wstring(status);
        ASSERT_TRUE(SQLiteDB::SyncRows::PutFile(File(id, status)));
        const std::string narrow = std::to_string(status);
        ASSERT_TRUE(Db().ExecuteMulitNoQuerySQL({"UPDATE T_cloudDriveData SET fileStatus = 11 WHERE fileId = '" +
                                                 narrow + "' AND fileStatus IN(1,12,13); "}));
        EXPECT_EQ(StatusOf(id), status == 21 ? 21 : 11);
        ASSERT_TRUE(Db().ExecuteMulitNoQuerySQL({"UPDATE T_cloudDriveData SET fileStatus = 0 WHERE fileId = '" +
                                                 narrow + "' AND fileStatus IN(1,11,12,13); "}));
        EXPECT_EQ(StatusOf(id), status == 21 ? 21 : 0);
    }
}

// DB-BATCH-03
TEST_F(Batches, RunInTheirOrder) {
    ASSERT_TRUE(Db().ExecuteMulitNoQuerySQL({"INSERT INTO T_task (fileId, direction) VALUES ('x', 1)",
                                             "UPDATE T_task SET Priority = 5 WHERE fileId = 'x'",
                                             "UPDATE T_task SET Priority = Priority * 2 WHERE fileId = 'x'"}));

    EXPECT_EQ(Db().GetTaskItem(L"x", 1).GetPriority(), 10);
}

// DB-BATCH-04
TEST_F(Batches, TakeNoEffectWhenOneFails) {
    PutUpload(L"up");

    EXPECT_FALSE(Db().ExecuteMulitNoQuerySQL({"UPDATE T_task SET Priority = 9", "UPDATE T_task SET noSuch = 1"}));
    EXPECT_FALSE(Db().ExecuteMulitNoQuerySQL({"UPDATE T_task SET Priority = 9; UPDATE T_task SET Priority = 'x'"}));
    EXPECT_FALSE(Db().ExecuteMulitNoQuerySQL({"DELETE FROM T_task", "COMMIT", "nonsense"}));
    EXPECT_EQ(Db().GetTaskItem(L"up", 2).GetPriority(), 1);
}

// DB-BATCH-05
TEST_F(Batches, MayNotEndTheTransactionOrChangeTheSchema) {
    PutUpload(L"up");

    for (const char* statement :
         {"COMMIT", "ROLLBACK", "BEGIN", "SAVEPOINT x", "PRAGMA synchronous = OFF", "DROP TABLE T_task",
          "CREATE TABLE x (y)", "ATTACH '/tmp/none' AS other", "UPDATE sqlite_master SET sql = ''"}) {
        EXPECT_FALSE(Db().ExecuteMulitNoQuerySQL({"UPDATE T_task SET Priority = 9", statement})) << statement;
    }
    EXPECT_EQ(Db().GetTaskItem(L"up", 2).GetPriority(), 1);
}

// DB-BATCH-06
TEST_F(Batches, AnEmptyOneIsTrue) {
    EXPECT_TRUE(Db().ExecuteMulitNoQuerySQL({}));
    EXPECT_TRUE(Db().ExecuteMulitNoQuerySQL({"", " ; "}));
}

// DB-BATCH-07
TEST_F(Batches, AStatementWithNulIsRefused) {
    PutUpload(L"up");

    EXPECT_FALSE(Db().ExecuteMulitNoQuerySQL({std::string("UPDATE T_task SET Priority = 9\0 WHERE 0", 39)}));
    EXPECT_EQ(Db().GetTaskItem(L"up", 2).GetPriority(), 1);
}

}  // namespace
}  // namespace Drive::Testing
