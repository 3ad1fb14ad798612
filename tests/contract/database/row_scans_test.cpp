#include "tests/contract/database/open_database.h"

namespace Drive::Testing {
namespace {

using SQLiteDB::SyncRows;
using RowScans = OpenDatabaseTest;

void PutAt(const std::wstring& id, const std::wstring& parent, const std::wstring& name, bool isFolder = false) {
    Common::FileItem file = File(id, 1);
    file.SetLocalParentFolder(parent);
    file.SetLocalFileName(name);
    file.SetIsFolder(isFolder);
    ASSERT_TRUE(SyncRows::PutFile(file));
}

// DB-SCAN-01
TEST_F(RowScans, ForEachFileWalksFoldersAndFilesInOrderOfFolderAndName) {
    PutAt(L"1", L"b\\", L"x");
    PutAt(L"2", L"", L"b", true);
    PutAt(L"3", L"a\\", L"z");
    PutAt(L"4", L"a\\", L"y");
    IdList ids;

    EXPECT_TRUE(SyncRows::ForEachFile([&](const Common::FileItem& file) {
        ids.push_back(file.GetFileId());
        return true;
    }));
    EXPECT_EQ(ids, (IdList{L"2", L"4", L"3", L"1"}));
}

// DB-SCAN-02
TEST_F(RowScans, ForEachFileEndsWhenTheVisitorSaysSo) {
    PutAt(L"1", L"", L"a");
    PutAt(L"2", L"", L"b");
    int visits = 0;

    EXPECT_TRUE(SyncRows::ForEachFile([&](const Common::FileItem&) { return ++visits < 1; }));
    EXPECT_EQ(visits, 1);
}

// DB-SCAN-03
TEST_F(RowScans, AVisitorThatThrowsMakesItFalse) {
    PutAt(L"1", L"", L"a");

    EXPECT_FALSE(SyncRows::ForEachFile([](const Common::FileItem&) -> bool { throw std::runtime_error("no"); }));
    EXPECT_TRUE(SyncRows::PutFile(File(L"x", 1))) << "and leaves nothing locked";
}

// DB-SCAN-04
TEST_F(RowScans, FilesWithoutTaskGivesFilesOfTheStatesThatHaveNoTaskOfTheDirection) {
    PutDownload(L"has", 21);
    PutUpload(L"other-direction", 21);
    for (const int status : {1, 21, 22, 23}) {
        ASSERT_TRUE(SyncRows::PutFile(File(L"s" + std::to_wstring(status), status)));
    }
    Common::FileItem folderRow = File(L"folder", 21);
    folderRow.SetIsFolder(true);
    ASSERT_TRUE(SyncRows::PutFile(folderRow));
    const auto ids = [](const std::vector<Common::FileItem>& files) {
        std::vector<std::wstring> list;
        for (const auto& file : files) list.push_back(file.GetFileId());
        std::sort(list.begin(), list.end());
        return list;
    };

    EXPECT_EQ(ids(SyncRows::FilesWithoutTask({21, 23}, 1, 100)), (IdList{L"other-direction", L"s21", L"s23"}));
    EXPECT_EQ(SyncRows::FilesWithoutTask({21, 23}, 1, 2).size(), 2u);
    EXPECT_TRUE(SyncRows::FilesWithoutTask({}, 1, 100).empty());
    EXPECT_TRUE(SyncRows::FilesWithoutTask({21}, 1, 0).empty());
}

// DB-SCAN-05
TEST_F(RowScans, TasksListsAllDirectionsLowestPriorityFirst) {
    PutDownload(L"late", 1, 9);
    PutUpload(L"early", 22, 1);
    ASSERT_TRUE(SyncRows::PutThumbnailTask(L"picture"));

    EXPECT_EQ(Ids(SyncRows::Tasks(100)), (IdList{L"early", L"picture", L"late"}));
    EXPECT_EQ(SyncRows::Tasks(100).back().GetTransferKey(), 0);
    EXPECT_EQ(SyncRows::Tasks(1).size(), 1u);
    EXPECT_TRUE(SyncRows::Tasks(0).empty());
}

// DB-SCAN-07
TEST_F(RowScans, DisplacedFilesAreGivenLatestFirst) {
    for (const std::wstring id : {L"1", L"2", L"3"}) {
        PutUpload(L"Local" + id, 12);
        ASSERT_TRUE(SyncRows::PutFile(File(L"cloud" + id, 21)));
        ASSERT_TRUE(Db().UpdateDriveData(Update(L"Local" + id, {{L"fileId", L"cloud" + id}})));
    }
    const auto latest = SyncRows::DisplacedFiles(2);
    ASSERT_EQ(latest.size(), 2u);
    EXPECT_EQ(latest[0].GetFileId(), L"cloud3");
    EXPECT_EQ(latest[1].GetFileId(), L"cloud2");
    EXPECT_EQ(SyncRows::DisplacedFiles(10).size(), 3u);
    EXPECT_TRUE(SyncRows::DisplacedFiles(0).empty() && SyncRows::DisplacedFiles(-1).empty());
}

// DB-SCAN-06
TEST_F(RowScans, CountsFilesByStatusAndTasksByDirection) {
    PutDownload(L"a", 21);
    PutDownload(L"b", 21);
    PutUpload(L"c", 13);
    ASSERT_TRUE(SyncRows::PutThumbnailTask(L"a"));
    PutAt(L"folder", L"", L"folder", true);
    using Counts = std::vector<std::pair<int, std::int64_t>>;

    EXPECT_EQ(SyncRows::CountByStatus(), (Counts{{13, 1}, {21, 2}}));
    EXPECT_EQ(SyncRows::CountTasksByDirection(), (Counts{{1, 2}, {2, 1}, {3, 1}}));
}

}  // namespace
}  // namespace Drive::Testing
