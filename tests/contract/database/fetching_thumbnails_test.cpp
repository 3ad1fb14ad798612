#include "tests/contract/database/open_database.h"

namespace Drive::Testing {
namespace {

using FetchingThumbnails = OpenDatabaseTest;

void PutThumbnail(const std::wstring& fileId) {
    Common::FileItem file = File(fileId, 1);
    file.SetThunbnailDownloadLink(L"https://cloud/" + fileId);
    ASSERT_TRUE(SQLiteDB::SyncRows::PutFile(file));
    ASSERT_TRUE(SQLiteDB::SyncRows::PutThumbnailTask(fileId));
}

// DB-THUMB-01
TEST_F(FetchingThumbnails, GivesTheFourKeys) {
    PutThumbnail(L"one");
    std::list<WMap> rows;

    ASSERT_EQ(Db().GetThumbnailFileDownLoadTask(rows, 100), 1);
    EXPECT_EQ(rows.front(), (WMap{{L"fileId", L"one"},
                                  {L"localFileName", L"one.txt"},
                                  {L"localParentFolder", L"docs\\"},
                                  {L"thunbnailDownloadLink", L"https://cloud/one"}}));
}

// DB-THUMB-02
TEST_F(FetchingThumbnails, AppendsAtMostTheLimitAndAnswersTheNumber) {
    for (int number = 0; number < 5; ++number) PutThumbnail(L"t" + std::to_wstring(number));
    std::list<WMap> rows(1);

    EXPECT_EQ(Db().GetThumbnailFileDownLoadTask(rows, 3), 3);
    EXPECT_EQ(rows.size(), 4u);
    EXPECT_EQ(Db().GetThumbnailFileDownLoadTask(rows, 3), 2) << "those handed out are left out";
    EXPECT_EQ(Db().GetThumbnailFileDownLoadTask(rows, 3), 0);
}

// DB-THUMB-03
TEST_F(FetchingThumbnails, AChangeOfTheFileDoesNotHandARowOutAgain) {
    PutThumbnail(L"one");
    std::list<WMap> rows;
    Db().GetThumbnailFileDownLoadTask(rows, 100);
    ASSERT_TRUE(Db().UpdateDriveData(Update(L"one", {{L"fileStatus", L"21"}})));

    EXPECT_EQ(Db().GetThumbnailFileDownLoadTask(rows, 100), 0);
}

// DB-THUMB-04
TEST_F(FetchingThumbnails, ARowThatWasDeletedAndMadeAnewIsHandedOutAgain) {
    PutThumbnail(L"one");
    std::list<WMap> rows;
    Db().GetThumbnailFileDownLoadTask(rows, 100);
    ASSERT_TRUE(Db().DeleteTaskItem(L"one", 3));
    ASSERT_TRUE(SQLiteDB::SyncRows::PutThumbnailTask(L"one"));

    EXPECT_EQ(Db().GetThumbnailFileDownLoadTask(rows, 100), 1);
}

// DB-THUMB-05
TEST_F(FetchingThumbnails, LeavesTransfersAndTasksWithoutAFileOut) {
    PutDownload(L"down");
    PutUpload(L"up");
    ASSERT_TRUE(SQLiteDB::SyncRows::PutThumbnailTask(L"nobody"));
    std::list<WMap> rows;

    EXPECT_EQ(Db().GetThumbnailFileDownLoadTask(rows, 100), 0);
}

// DB-THUMB-06
TEST_F(FetchingThumbnails, HandsOutAFileWithoutALink) {
    // The worker reports it and deletes the task; otherwise the row would stand for ever.
    ASSERT_TRUE(SQLiteDB::SyncRows::PutFile(File(L"plain", 1)));
    ASSERT_TRUE(SQLiteDB::SyncRows::PutThumbnailTask(L"plain"));
    std::list<WMap> rows;

    EXPECT_EQ(Db().GetThumbnailFileDownLoadTask(rows, 100), 1);
    EXPECT_EQ(rows.front().at(L"thunbnailDownloadLink"), L"");
}

}  // namespace
}  // namespace Drive::Testing
