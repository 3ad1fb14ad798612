#include "tests/contract/database/open_database.h"

namespace Drive::Testing {
namespace {

using FetchingTasks = OpenDatabaseTest;

// DB-FEED-01
TEST_F(FetchingTasks, GivesOnlyTasksWhoseFileHasOneOfTheStates) {
    for (const int status : {0, 1, 11, 12, 13, 21, 22, 23}) PutDownload(L"file" + std::to_wstring(status), status);

    EXPECT_EQ(Ids(FetchDownloads()), (IdList{L"file0", L"file21", L"file23"}));
}

// DB-FEED-02
TEST_F(FetchingTasks, GivesOnlyTasksOfTheDirectionAlsoForTheSameFile) {
    PutDownload(L"both", 0);
    PutUpload(L"both", 0);
    PutUpload(L"up", 11);

    for (const auto& task : FetchDownloads()) EXPECT_EQ(task.GetDirection(), 1);
    const auto uploads = FetchUploads();
    EXPECT_EQ(Ids(uploads), (IdList{L"both", L"up"}));
    for (const auto& task : uploads) EXPECT_EQ(task.GetDirection(), 2);
}

// DB-FEED-03
TEST_F(FetchingTasks, OrdersByPriorityThenByTaskId) {
    PutDownload(L"late", 21, 7);
    PutDownload(L"first", 23, 1);
    PutDownload(L"second", 21, 1);
    PutDownload(L"middle", 0, 4);

    EXPECT_EQ(Ids(FetchDownloads()), (IdList{L"first", L"second", L"middle", L"late"}));
}

// DB-FEED-04
TEST_F(FetchingTasks, OrdersByNumberNotByText) {
    PutUpload(L"ten", 13, 10);
    PutUpload(L"nine", 13, 9);

    EXPECT_EQ(Ids(FetchUploads()), (IdList{L"nine", L"ten"}));
}

// DB-FEED-05
TEST_F(FetchingTasks, GivesNoMoreThanTheLimitAndAnswersTheNumber) {
    for (int number = 0; number < 5; ++number) PutDownload(L"f" + std::to_wstring(number));
    std::vector<Common::TaskItem> tasks(1);

    EXPECT_EQ(Db().GetTaskAllItem(tasks, kDownloadStates, "1", 3), 3);
    EXPECT_EQ(tasks.size(), 4u) << "rows are appended";
    EXPECT_EQ(Db().GetTaskAllItem(tasks, kDownloadStates, "1", 3), 2);
    EXPECT_EQ(Db().GetTaskAllItem(tasks, kDownloadStates, "1", 3), 0);
    EXPECT_EQ(Db().GetTaskAllItem(tasks, kDownloadStates, "1", 0), 0);
    EXPECT_EQ(Db().GetTaskAllItem(tasks, kDownloadStates, "1", -1), 0);
}

// DB-FEED-06
TEST_F(FetchingTasks, LeavesFoldersOut) {
    Common::FileItem folderRow = File(L"folder", 21);
    folderRow.SetIsFolder(true);
    ASSERT_TRUE(SQLiteDB::SyncRows::PutFileWithTask(folderRow, 1, 1));
    ASSERT_TRUE(SQLiteDB::SyncRows::PutFileWithTask(folderRow, 2, 1));

    EXPECT_TRUE(FetchDownloads().empty());
    EXPECT_TRUE(FetchUploads().empty());
}

// DB-FEED-07
TEST_F(FetchingTasks, LeavesTasksWithoutAFileRowOut) {
    ASSERT_TRUE(SQLiteDB::SyncRows::PutTask(L"nobody", 1, 1));

    EXPECT_TRUE(FetchDownloads().empty());
}

// DB-FEED-08
TEST_F(FetchingTasks, LeavesDownloadsOfThePriorityAndThumbnailPoolsOut) {
    for (const int key : {0, 1, 2, 3, 11}) {
        PutDownload(L"key" + std::to_wstring(key));
        ASSERT_TRUE(SQLiteDB::SyncRows::PutPriorityTask(L"key" + std::to_wstring(key), key));
    }

    EXPECT_EQ(Ids(FetchDownloads()), (IdList{L"key0", L"key1", L"key11"}));
}

// DB-FEED-09
TEST_F(FetchingTasks, TakesUploadsWhateverTheirKey) {
    PutUpload(L"up");
    ASSERT_TRUE(Db().UpdateTaskItem(Update(L"up", {{L"transferKey", L"2"}}), 2));

    EXPECT_EQ(Ids(FetchUploads()), (IdList{L"up"}));
}

// DB-FEED-10
TEST_F(FetchingTasks, ReadsAMissingKeyAsNought) {
    PutDownload(L"background");

    ASSERT_EQ(FetchDownloads().at(0).GetTransferKey(), 0);
}

// DB-FEED-11
TEST_F(FetchingTasks, FillsTheWholeTask) {
    PutDownload(L"whole", 23, 4);
    ASSERT_TRUE(Db().UpdateTaskItem(
        Update(L"whole", {{L"TaskStatus", L"3"}, {L"fragmentInfo", L"{\"writePosition\":7}"}, {L"module", L"1"}}), 1));

    const Common::TaskItem task = FetchDownloads().at(0);
    EXPECT_GT(task.GetTaskId(), 0);
    EXPECT_EQ(task.GetFileId(), L"whole");
    EXPECT_EQ(task.GetDirection(), 1);
    EXPECT_EQ(task.GetTaskstatus(), 3);
    EXPECT_EQ(task.GetPriority(), 4);
    EXPECT_EQ(task.GetModule(), 1);
    EXPECT_EQ(task.GetFragmentInfo(), L"{\"writePosition\":7}");
}

// DB-FEED-12
TEST_F(FetchingTasks, TakesAnyListOfStatesInAnyOrder) {
    PutDownload(L"running", 22);
    PutDownload(L"waiting", 21);
    std::vector<Common::TaskItem> tasks;

    EXPECT_EQ(Db().GetTaskAllItem(tasks, "'22', '21'", "1", 100), 2);
}

// DB-FEED-13
TEST_F(FetchingTasks, AnswersNoughtForAListOrDirectionThatIsNone) {
    PutDownload(L"there");
    std::vector<Common::TaskItem> tasks;

    for (const char* list : {"", "21", "'21'; DELETE FROM T_task", "'21','", "'21',", "''", "'21') OR 1=1 --"}) {
        EXPECT_EQ(Db().GetTaskAllItem(tasks, list, "1", 100), 0) << list;
    }
    for (const char* direction : {"", "0", "3", "1 OR 1=1", "'1'"}) {
        EXPECT_EQ(Db().GetTaskAllItem(tasks, kDownloadStates, direction, 100), 0) << direction;
    }
    EXPECT_TRUE(tasks.empty());
    EXPECT_EQ(Ids(FetchDownloads()), (IdList{L"there"}));
}

// DB-FEED-14
TEST_F(FetchingTasks, SeesEveryWayInWhichAFileBecomesReady) {
    // The state of the file comes to the task by an insert of either row, an update, a new id and a folder mark.
    ASSERT_TRUE(SQLiteDB::SyncRows::PutTask(L"task-first", 1, 1));
    ASSERT_TRUE(SQLiteDB::SyncRows::PutFile(File(L"task-first", 21)));
    ASSERT_TRUE(SQLiteDB::SyncRows::PutFile(File(L"file-first", 21)));
    ASSERT_TRUE(SQLiteDB::SyncRows::PutTask(L"file-first", 1, 1));
    PutDownload(L"by-update", 1);
    ASSERT_TRUE(Db().UpdateDriveData(Update(L"by-update", {{L"fileStatus", L"23"}})));
    PutDownload(L"by-statement", 1);
    ASSERT_TRUE(
        Db().ExecuteMulitNoQuerySQL({"UPDATE T_cloudDriveData SET fileStatus = 21 WHERE fileId = 'by-statement'"}));
    ASSERT_TRUE(SQLiteDB::SyncRows::PutTask(L"new-id", 1, 1));
    ASSERT_TRUE(SQLiteDB::SyncRows::PutFile(File(L"old-id", 21)));
    ASSERT_TRUE(Db().UpdateDriveData(Update(L"old-id", {{L"fileId", L"new-id"}})));
    PutDownload(L"was-folder", 21);
    ASSERT_TRUE(Db().UpdateDriveData(Update(L"was-folder", {{L"isFolder", L"1"}})));
    ASSERT_TRUE(Db().UpdateDriveData(Update(L"was-folder", {{L"isFolder", L"0"}})));

    EXPECT_EQ(Ids(FetchDownloads()),
              (IdList{L"task-first", L"file-first", L"by-update", L"by-statement", L"new-id", L"was-folder"}));
}

// DB-FEED-15
TEST_F(FetchingTasks, SeesEveryWayInWhichAFileStopsBeingReady) {
    for (const wchar_t* id : {L"status", L"folder", L"deleted", L"renumbered", L"stays"}) PutDownload(id);
    ASSERT_TRUE(Db().UpdateDriveData(Update(L"status", {{L"fileStatus", L"22"}})));
    ASSERT_TRUE(Db().UpdateDriveData(Update(L"folder", {{L"isFolder", L"1"}})));
    ASSERT_TRUE(Db().DeleteDriveDataItem(L"deleted"));
    ASSERT_TRUE(Db().UpdateDriveData(Update(L"renumbered", {{L"fileId", L"other"}})));

    EXPECT_EQ(Ids(FetchDownloads()), (IdList{L"stays"}));
}

}  // namespace
}  // namespace Drive::Testing
