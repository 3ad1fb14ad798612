#include "tests/contract/database/open_database.h"

namespace Drive::Testing {
namespace {

using DownloadStatements = OpenDatabaseTest;

bool Insert(const std::wstring& name, const std::wstring& parent, const std::wstring& id, std::int64_t key = 11) {
    return Db().InsertTaskByOnFetch({Db().GetDownLoadTaskSqlcmd(name, parent, id, true, key)});
}

// DB-INSERT-01
TEST_F(DownloadStatements, AreBuiltButNotRun) {
    EXPECT_FALSE(Db().GetDownLoadTaskSqlcmd(L"a.txt", L"docs\\", L"a", true, 11).empty());
    EXPECT_EQ(Ask(L"SELECT count(*) FROM T_task"), L"0");
}

// DB-INSERT-02
TEST_F(DownloadStatements, InsertTheDownloadWithItsKey) {
    ASSERT_TRUE(SQLiteDB::SyncRows::PutFile(File(L"a", 21)));
    ASSERT_TRUE(Insert(L"a.txt", L"docs\\", L"a", 11));

    const Common::TaskItem task = Db().GetTaskItem(L"a", 1);
    EXPECT_EQ(task.GetTransferKey(), 11);
    EXPECT_EQ(task.GetTaskstatus(), 0);
    EXPECT_EQ(task.GetPriority(), 1);
    EXPECT_EQ(task.GetModule(), 1);
    EXPECT_EQ(task.GetFragmentInfo(), L"");
    EXPECT_EQ(Ids(FetchDownloads()), (IdList{L"a"}));
}

// DB-INSERT-03
TEST_F(DownloadStatements, FindAnEmptyIdByFolderAndName) {
    ASSERT_TRUE(SQLiteDB::SyncRows::PutFile(File(L"a", 21)));
    Common::FileItem elsewhere = File(L"b", 21);
    elsewhere.SetLocalFileName(L"a.txt");
    elsewhere.SetLocalParentFolder(L"other\\");
    ASSERT_TRUE(SQLiteDB::SyncRows::PutFile(elsewhere));

    ASSERT_TRUE(Insert(L"a.txt", L"other\\", L""));
    EXPECT_EQ(Db().GetTaskItem(L"b", 1).GetFileId(), L"b");
    EXPECT_TRUE(Db().GetTaskItem(L"a", 1).GetFileId().empty());
}

// DB-INSERT-04
TEST_F(DownloadStatements, GiveNoTaskToAPlaceThatIsUnknownAFolderOrNotYetInTheCloud) {
    ASSERT_TRUE(SQLiteDB::SyncRows::PutFile(File(L"Local1", 0)));
    Common::FileItem folderRow = File(L"f", 1);
    folderRow.SetIsFolder(true);
    ASSERT_TRUE(SQLiteDB::SyncRows::PutFile(folderRow));

    for (const wchar_t* name : {L"Local1.txt", L"f.txt", L"nobody"}) EXPECT_TRUE(Insert(name, L"docs\\", L""));
    EXPECT_EQ(Ask(L"SELECT count(*) FROM T_task"), L"0");
}

// DB-INSERT-05
TEST_F(DownloadStatements, QuoteTheirTexts) {
    const std::wstring name = L"it's '); DELETE FROM T_cloudDriveData; --.txt";
    Common::FileItem file = File(L"q", 21);
    file.SetLocalFileName(name);
    file.SetLocalParentFolder(L"o'brien\\");
    ASSERT_TRUE(SQLiteDB::SyncRows::PutFile(file));
    ASSERT_TRUE(SQLiteDB::SyncRows::PutFile(File(L"id'1", 21)));

    ASSERT_TRUE(Insert(name, L"o'brien\\", L""));
    ASSERT_TRUE(Insert(L"x", L"y", L"id'1"));
    EXPECT_EQ(Ids(FetchDownloads()), (IdList{L"q", L"id'1"}));
}

// DB-INSERT-10
TEST_F(DownloadStatements, FindsExactlyTheFileWhateverItsNameHolds) {
    std::vector<std::wstring> names = {L"'",      L"''",          L"%",      L"_",          L"a%",    L"a_",
                                       L"\\\\",   L"?1",          L":x",     L"\n",         L"\"",    L"--",
                                       L"/* */;", L"'); DROP --", L"\uFFFF", L"\U0001F600", L"\xDC80"};
    names.push_back(std::wstring(1 << 16, L'n'));
    names.push_back(std::wstring(1 << 16, L'\''));
    for (std::size_t number = 0; number < names.size(); ++number) {
        Common::FileItem file = File(L"id" + std::to_wstring(number), 0);
        file.SetLocalFileName(names[number]);
        file.SetLocalParentFolder(names[number] + L"\\");
        ASSERT_TRUE(SQLiteDB::SyncRows::PutFile(file));
    }
    for (std::size_t number = 0; number < names.size(); ++number) {
        const std::wstring id = L"id" + std::to_wstring(number);
        ASSERT_TRUE(Db().InsertTaskByOnFetch(
            {Db().GetDownLoadTaskSqlcmd(names[number], names[number] + L"\\", L"", true, 11)}));
        EXPECT_EQ(Db().GetTaskItem(id, 1).GetTransferKey(), 11) << number;
        EXPECT_EQ(Ask(L"SELECT count(*) FROM T_task"), std::to_wstring(number + 1));
        const WMap place{{L"localFileName", names[number]}, {L"localParentFolder", names[number] + L"\\"}};
        EXPECT_EQ(Db().GetDriveDataItem(place).GetFileId(), id);
    }
    const std::wstring nul(L"a\0b", 3);
    EXPECT_FALSE(Db().InsertTaskByOnFetch({Db().GetDownLoadTaskSqlcmd(nul, nul, nul, true, 11)}));
    EXPECT_EQ(Ask(L"SELECT count(*) FROM T_task"), std::to_wstring(names.size()));
}

// DB-INSERT-06
TEST_F(DownloadStatements, OnAnExistingRowSetTheKeyAndLeaveRecordAndPriority) {
    PutDownload(L"a", 21, 7);
    ASSERT_TRUE(Db().UpdateTaskItem(Update(L"a", {{L"fragmentInfo", L"record"}, {L"TaskStatus", L"4"}}), 1));
    ASSERT_TRUE(Insert(L"", L"", L"a", 2));

    const Common::TaskItem task = Db().GetTaskItem(L"a", 1);
    EXPECT_EQ(task.GetTransferKey(), 2);
    EXPECT_EQ(task.GetFragmentInfo(), L"record");
    EXPECT_EQ(task.GetPriority(), 7);
    EXPECT_EQ(task.GetTaskstatus(), 0) << "a stop of old does not stop the new fetch";
    EXPECT_EQ(Ask(L"SELECT count(*) FROM T_task"), L"1");
}

// DB-INSERT-07
TEST_F(DownloadStatements, LeaveThePendingCancelOfARunningDownload) {
    PutDownload(L"a", 22);
    ASSERT_TRUE(Db().UpdateTaskItem(Update(L"a", {{L"TaskStatus", L"3"}}), 1));
    ASSERT_TRUE(Insert(L"", L"", L"a"));

    EXPECT_EQ(Db().GetTaskItem(L"a", 1).GetTaskstatus(), 3);
}

// DB-INSERT-08
TEST_F(DownloadStatements, LeaveAnUploadOfTheSameFileAlone) {
    PutUpload(L"a", 11, 4);
    ASSERT_TRUE(Insert(L"", L"", L"a"));

    EXPECT_EQ(Db().GetTaskItem(L"a", 2).GetPriority(), 4);
    EXPECT_EQ(Db().GetTaskItem(L"a", 1).GetFileId(), L"a");
}

// DB-INSERT-09
TEST_F(DownloadStatements, RunAsOneBatchThatFailsWhole) {
    ASSERT_TRUE(Db().InsertTaskByOnFetch({Db().GetDownLoadTaskSqlcmd(L"", L"", L"a", false, 11),
                                          Db().GetDownLoadTaskSqlcmd(L"", L"", L"b", false, 11)}));
    EXPECT_EQ(Ask(L"SELECT count(*) FROM T_task"), L"2");

    EXPECT_FALSE(Db().InsertTaskByOnFetch({Db().GetDownLoadTaskSqlcmd(L"", L"", L"c", false, 11), L"nonsense"}));
    EXPECT_EQ(Ask(L"SELECT count(*) FROM T_task"), L"2");
    EXPECT_TRUE(Db().InsertTaskByOnFetch({}));
}

}  // namespace
}  // namespace Drive::Testing
