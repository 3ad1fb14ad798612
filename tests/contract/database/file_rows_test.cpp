#include "interfaces/common/globals.h"
#include "tests/contract/database/open_database.h"

namespace Drive::Testing {
namespace {

using FileRows = OpenDatabaseTest;

Common::FileItem FullFile() {
    Common::FileItem file = File(L"id1", 13);
    file.SetName(L"Cloud name.txt");
    file.SetLocalParentId(L"LocalParent");
    file.SetParentId(L"parent");
    file.SetParentFolder(L"settled\\");
    file.SetSize(1LL << 41);
    file.SetHash(L"aa");
    file.SetLocalFileSha256(L"bb");
    file.SetMimeType(L"text/plain");
    file.SetKind(L"doc");
    file.SetContentVersion(L"v7");
    file.SetThunbnailDownloadLink(L"https://link");
    file.SetStatus(5);
    file.SetAttachmentSize({1200, 56000});
    return file;
}

// DB-FILE-01
TEST_F(FileRows, ComeBackWithEveryColumn) {
    g_clientSyncRootFolder = L"/sync/";
    ASSERT_TRUE(SQLiteDB::SyncRows::PutFile(FullFile()));

    const Common::FileItem file = Db().GetDriveDataItemWithKey(L"id1");
    EXPECT_EQ(file.GetFileId(), L"id1");
    EXPECT_EQ(file.GetName(), L"Cloud name.txt");
    EXPECT_EQ(file.GetLocalFileName(), L"id1.txt");
    EXPECT_EQ(file.GetLocalParentFolder(), L"docs\\");
    EXPECT_EQ(file.GetLocalParentId(), L"LocalParent");
    EXPECT_EQ(file.GetParentId(), L"parent");
    EXPECT_EQ(file.GetParentFolder(), L"settled\\");
    EXPECT_EQ(file.GetFileClientPath(), L"/sync/docs\\id1.txt");
    EXPECT_EQ(file.GetSize(), 1LL << 41);
    EXPECT_EQ(file.GetHash(), L"aa");
    EXPECT_EQ(file.GetLocalFileSha256(), L"bb");
    EXPECT_EQ(file.GetMimeType(), L"text/plain");
    EXPECT_EQ(file.GetKind(), L"doc");
    EXPECT_EQ(file.GetContentVersion(), L"v7");
    EXPECT_EQ(file.GetThunbnailDownloadLink(), L"https://link");
    EXPECT_EQ(file.GetFileStatus(), 13);
    EXPECT_EQ(file.GetStatus(), 5);
    EXPECT_FALSE(file.GetIsFolder());
    EXPECT_EQ(file.GetAttachmentSize(), (std::vector<int>{1200, 56000}));
    g_clientSyncRootFolder.clear();
}

// DB-FILE-02
TEST_F(FileRows, HoldTheAttachmentSizesAsSmallBlankLarge) {
    ASSERT_TRUE(SQLiteDB::SyncRows::PutFile(FullFile()));
    EXPECT_EQ(Ask(L"SELECT attachmentSize FROM T_cloudDriveData"), L"1200 56000");

    ASSERT_TRUE(Db().UpdateDriveData(Update(L"id1", {{L"attachmentSize", L"7 8"}})));
    EXPECT_EQ(Db().GetDriveDataItemWithKey(L"id1").GetAttachmentSize(), (std::vector<int>{7, 8}));
    ASSERT_TRUE(Db().UpdateDriveData(Update(L"id1", {{L"attachmentSize", L""}})));
    EXPECT_TRUE(Db().GetDriveDataItemWithKey(L"id1").GetAttachmentSize().empty());
}

// DB-FILE-03
TEST_F(FileRows, AnAbsentOneIsEmpty) {
    EXPECT_TRUE(Db().GetDriveDataItemWithKey(L"nobody").GetFileId().empty());
    EXPECT_TRUE(Db().GetDriveDataItem({{L"localFileName", L"nobody"}}).GetFileId().empty());
}

// DB-FILE-04
TEST_F(FileRows, AreFoundWhenAllPairsHold) {
    for (const wchar_t* id : {L"a", L"b"}) ASSERT_TRUE(SQLiteDB::SyncRows::PutFile(File(id, 1)));
    Common::FileItem elsewhere = File(L"c", 1);
    elsewhere.SetLocalFileName(L"b.txt");
    elsewhere.SetLocalParentFolder(L"other\\");
    ASSERT_TRUE(SQLiteDB::SyncRows::PutFile(elsewhere));

    const auto find = [](const wchar_t* name, const wchar_t* parent) {
        return Db().GetDriveDataItem({{L"localFileName", name}, {L"localParentFolder", parent}}).GetFileId();
    };
    EXPECT_EQ(find(L"b.txt", L"docs\\"), L"b");
    EXPECT_EQ(find(L"b.txt", L"other\\"), L"c");
    EXPECT_EQ(find(L"a.txt", L"other\\"), L"");
    EXPECT_EQ(Db().GetDriveDataItem({{L"FILEID", L"c"}, {L"fileStatus", L"1"}}).GetFileId(), L"c");
}

// DB-FILE-05
TEST_F(FileRows, TheFirstOfSeveralIsTheOldest) {
    Common::FileItem twin = File(L"z", 1);
    twin.SetLocalFileName(L"same");
    ASSERT_TRUE(SQLiteDB::SyncRows::PutFile(twin));
    twin.SetFileId(L"a");
    ASSERT_TRUE(SQLiteDB::SyncRows::PutFile(twin));

    EXPECT_EQ(Db().GetDriveDataItem({{L"localFileName", L"same"}}).GetFileId(), L"z");
}

// DB-FILE-06
TEST_F(FileRows, AnUnknownColumnOrNoPairFindsNone) {
    ASSERT_TRUE(SQLiteDB::SyncRows::PutFile(File(L"a", 1)));

    EXPECT_TRUE(Db().GetDriveDataItem({{L"noSuch", L"a"}}).GetFileId().empty());
    EXPECT_TRUE(Db().GetDriveDataItem({{L"1=1 OR fileId", L"a"}}).GetFileId().empty());
    EXPECT_TRUE(Db().GetDriveDataItem({}).GetFileId().empty());
}

// DB-FILE-07
TEST_F(FileRows, NamesWithQuotesAreFound) {
    Common::FileItem file = File(L"q", 1);
    file.SetLocalFileName(L"it's \"here\"; DROP TABLE T_task; --");
    ASSERT_TRUE(SQLiteDB::SyncRows::PutFile(file));

    EXPECT_EQ(Db().GetDriveDataItem({{L"localFileName", file.GetLocalFileName()}}).GetFileId(), L"q");
}

// DB-FILE-08
TEST_F(FileRows, AnUpdateWritesItsColumnsAndNoOthers) {
    ASSERT_TRUE(SQLiteDB::SyncRows::PutFile(FullFile()));

    ASSERT_TRUE(Db().UpdateDriveData(Update(L"id1", {{L"fileStatus", L"1"}, {L"LOCALfilesha256", L"cc"}})));
    const Common::FileItem file = Db().GetDriveDataItemWithKey(L"id1");
    EXPECT_EQ(file.GetFileStatus(), 1);
    EXPECT_EQ(file.GetLocalFileSha256(), L"cc");
    EXPECT_EQ(file.GetHash(), L"aa");
    EXPECT_EQ(file.GetStatus(), 5);
}

// DB-FILE-09
TEST_F(FileRows, AnUpdateThatMatchesNoneIsTrueAndMakesNone) {
    EXPECT_TRUE(Db().UpdateDriveData(Update(L"nobody", {{L"fileStatus", L"22"}})));
    EXPECT_EQ(Ask(L"SELECT count(*) FROM T_cloudDriveData"), L"0");
}

// DB-FILE-10
TEST_F(FileRows, AnUnknownColumnOrValueOfTheWrongKindIsFalseAndNothingIsWritten) {
    ASSERT_TRUE(SQLiteDB::SyncRows::PutFile(FullFile()));

    EXPECT_FALSE(Db().UpdateDriveData(Update(L"id1", {{L"fileStatus", L"1"}, {L"TaskStatus", L"1"}})));
    EXPECT_FALSE(Db().UpdateDriveData(Update(L"id1", {{L"fileStatus", L"1"}, {L"size", L"large"}})));
    EXPECT_FALSE(Db().UpdateDriveData(Update(L"id1", {{L"fileStatus", L"1"}, {L"isFolder", L"2"}})));
    EXPECT_EQ(Db().GetDriveDataItemWithKey(L"id1").GetFileStatus(), 13);
    EXPECT_TRUE(Db().UpdateDriveData(Update(L"id1", {}))) << "nothing to write";
}

// DB-FILE-18
TEST_F(FileRows, ANumberThatWouldComeBackAsAnotherIsRefused) {
    ASSERT_TRUE(SQLiteDB::SyncRows::PutFile(FullFile()));

    EXPECT_FALSE(Db().UpdateDriveData(Update(L"id1", {{L"fileStatus", L"4294967297"}}))) << "as an int that is 1";
    EXPECT_FALSE(Db().UpdateDriveData(Update(L"id1", {{L"status", L"2147483648"}})));
    EXPECT_FALSE(Db().UpdateDriveData(Update(L"id1", {{L"size", L"9223372036854775808"}})));
    EXPECT_FALSE(Db().UpdateDriveData(Update(L"id1", {{L"size", L"1e3"}})));
    EXPECT_TRUE(Db().UpdateDriveData(Update(L"id1", {{L"size", L"9223372036854775807"}})));
    EXPECT_EQ(Db().GetDriveDataItemWithKey(L"id1").GetSize(), 9223372036854775807LL);
    EXPECT_EQ(Db().GetDriveDataItemWithKey(L"id1").GetFileStatus(), 13);
}

// DB-FILE-19
TEST_F(FileRows, AColumnThatIsNamedTwiceIsFalseAndNothingIsWritten) {
    PutUpload(L"Local1", 12);
    PutDownload(L"cloud1", 21);

    EXPECT_FALSE(Db().UpdateDriveData(Update(L"Local1", {{L"fileStatus", L"1"}, {L"FILESTATUS", L"13"}})));
    EXPECT_FALSE(Db().UpdateDriveData(Update(L"Local1", {{L"fileId", L"cloud2"}, {L"FILEID", L"cloud1"}})));
    EXPECT_EQ(Db().GetDriveDataItemWithKey(L"Local1").GetFileStatus(), 12);
    EXPECT_EQ(Db().GetDriveDataItemWithKey(L"cloud1").GetFileStatus(), 21);
    EXPECT_TRUE(SQLiteDB::SyncRows::DisplacedFiles(10).empty());
}

// DB-FILE-20
TEST_F(FileRows, EveryColumnMayBeUpdatedInOneMap) {
    ASSERT_TRUE(SQLiteDB::SyncRows::PutFile(FullFile()));
    const WMap texts{{L"fileId", L"id2"},
                     {L"name", L"n"},
                     {L"localFileName", L"l"},
                     {L"localParentFolder", L"f\\"},
                     {L"localParentId", L"lp"},
                     {L"parentId", L"p"},
                     {L"parentFolder", L"pf\\"},
                     {L"hash", L"h"},
                     {L"localFileSha256", L"s"},
                     {L"mimeType", L"m/t"},
                     {L"kind", L"k"},
                     {L"contentVersion", L"8"},
                     {L"thunbnailDownloadLink", L"link"},
                     {L"attachmentSize", L"3 4"}};
    WMap columns = texts;
    columns.insert({{L"size", L"7"}, {L"fileStatus", L"21"}, {L"status", L"3"}, {L"isFolder", L"1"}});
    ASSERT_TRUE(Db().UpdateDriveData(Update(L"id1", columns)));

    std::list<WMap> rows;
    Db().ExcuteQuerySQL(rows, L"SELECT * FROM T_cloudDriveData");
    ASSERT_EQ(rows.size(), 1u);
    EXPECT_EQ(rows.front(), columns);
}

// DB-FILE-11
TEST_F(FileRows, ANewIdMovesTheRowAndLeavesTheTaskUnderTheOld) {
    PutUpload(L"Local1", 12);

    ASSERT_TRUE(Db().UpdateDriveData(Update(L"Local1", {{L"fileId", L"cloud1"}, {L"fileStatus", L"1"}})));
    EXPECT_TRUE(Db().GetDriveDataItemWithKey(L"Local1").GetFileId().empty());
    EXPECT_EQ(Db().GetDriveDataItemWithKey(L"cloud1").GetFileStatus(), 1);
    EXPECT_EQ(Db().GetTaskItem(L"Local1", 2).GetFileId(), L"Local1");
    EXPECT_TRUE(Db().DeleteTaskItem(L"Local1", 2));
}

// DB-FILE-12
TEST_F(FileRows, AnEmptyNewIdIsRefusedAndTheRowStays) {
    PutUpload(L"Local1", 12);

    EXPECT_FALSE(Db().UpdateDriveData(Update(L"Local1", {{L"fileId", L""}, {L"fileStatus", L"1"}})));
    EXPECT_EQ(Db().GetDriveDataItemWithKey(L"Local1").GetFileStatus(), 12);
}

// DB-FILE-13
TEST_F(FileRows, ANewIdThatAnotherRowHasKeepsWhatBothKnow) {
    Common::FileItem mine = File(L"Local1", 12);
    mine.SetName(L"");
    mine.SetHash(L"mine");
    mine.SetLocalFileSha256(L"mine");
    ASSERT_TRUE(SQLiteDB::SyncRows::PutFileWithTask(mine, 2, 1));
    Common::FileItem theirs = File(L"cloud1", 21);
    theirs.SetName(L"cloud name");
    theirs.SetHash(L"theirs");
    theirs.SetThunbnailDownloadLink(L"https://link");
    theirs.SetLocalParentFolder(L"feed\\");
    ASSERT_TRUE(SQLiteDB::SyncRows::PutFileWithTask(theirs, 1, 1));

    ASSERT_TRUE(Db().UpdateDriveData(Update(L"Local1", {{L"fileId", L"cloud1"}, {L"fileStatus", L"1"}})));

    const Common::FileItem file = Db().GetDriveDataItemWithKey(L"cloud1");
    EXPECT_EQ(file.GetFileStatus(), 1);
    EXPECT_EQ(file.GetLocalFileName(), L"Local1.txt");
    EXPECT_EQ(file.GetLocalParentFolder(), L"docs\\");
    EXPECT_EQ(file.GetHash(), L"mine");
    EXPECT_EQ(file.GetName(), L"cloud name");
    EXPECT_EQ(file.GetThunbnailDownloadLink(), L"https://link");
    EXPECT_EQ(Ask(L"SELECT count(*) FROM T_cloudDriveData"), L"1");
    EXPECT_TRUE(Db().GetTaskItem(L"cloud1", 1).GetFileId().empty()) << "there is nothing left to download";
    EXPECT_EQ(Db().GetTaskItem(L"Local1", 2).GetFileId(), L"Local1");
    const auto displaced = SQLiteDB::SyncRows::DisplacedFiles(10);
    ASSERT_EQ(displaced.size(), 1u);
    EXPECT_EQ(displaced[0].GetLocalParentFolder(), L"feed\\");
    EXPECT_EQ(displaced[0].GetHash(), L"theirs");
}

// DB-FILE-14
TEST_F(FileRows, ANewIdThatAnotherRowHasLeavesADownloadThatRuns) {
    PutUpload(L"Local1", 12);
    PutDownload(L"cloud1", 22);

    ASSERT_TRUE(Db().UpdateDriveData(Update(L"Local1", {{L"fileId", L"cloud1"}, {L"fileStatus", L"1"}})));
    EXPECT_EQ(Db().GetTaskItem(L"cloud1", 1).GetFileId(), L"cloud1");
}

// DB-FILE-15
TEST_F(FileRows, ANewIdForARowThatIsNotThereLeavesTheOtherAlone) {
    ASSERT_TRUE(SQLiteDB::SyncRows::PutFile(FullFile()));

    ASSERT_TRUE(Db().UpdateDriveData(Update(L"nobody", {{L"fileId", L"id1"}, {L"hash", L"zz"}})));
    EXPECT_EQ(Db().GetDriveDataItemWithKey(L"id1").GetHash(), L"aa");
    EXPECT_TRUE(SQLiteDB::SyncRows::DisplacedFiles(10).empty());
}

// DB-FILE-16
TEST_F(FileRows, TheSameIdAgainIsAnOrdinaryUpdate) {
    ASSERT_TRUE(SQLiteDB::SyncRows::PutFile(FullFile()));

    ASSERT_TRUE(Db().UpdateDriveData(Update(L"id1", {{L"fileId", L"id1"}, {L"hash", L"zz"}})));
    EXPECT_EQ(Db().GetDriveDataItemWithKey(L"id1").GetHash(), L"zz");
    EXPECT_TRUE(SQLiteDB::SyncRows::DisplacedFiles(10).empty());
}

// DB-FILE-17
TEST_F(FileRows, DeletingLeavesTaskRowsAndAnAbsentOneIsTrue) {
    PutDownload(L"x");

    EXPECT_TRUE(Db().DeleteDriveDataItem(L"x"));
    EXPECT_TRUE(Db().DeleteDriveDataItem(L"x"));
    EXPECT_TRUE(Db().GetDriveDataItemWithKey(L"x").GetFileId().empty());
    EXPECT_EQ(Db().GetTaskItem(L"x", 1).GetFileId(), L"x");
}

}  // namespace
}  // namespace Drive::Testing
