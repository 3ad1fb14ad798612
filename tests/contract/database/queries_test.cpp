#include "tests/contract/database/open_database.h"

namespace Drive::Testing {
namespace {

using Queries = OpenDatabaseTest;

/// The lookup of a file by its place, as the engine composes it.
std::wstring Lookup(const std::wstring& name, const std::wstring& parent, const std::wstring& end) {
    return L"SELECT IFNULL(c.fileId,'') as fileId, IFNULL(t.taskId,0) as taskId,c.fileStatus FROM T_cloudDriveData c "
           L"LEFT JOIN T_task t ON t.fileId = c.fileId WHERE isFolder = 0  AND localFileName = '" +
           name + L"' AND localParentFolder = '" + parent + L"'" + end;
}

std::list<WMap> Query(const std::wstring& statement) {
    std::list<WMap> rows;
    Db().ExcuteQuerySQL(rows, statement);
    return rows;
}

// DB-QUERY-01
TEST_F(Queries, GiveAMapARowAndAppend) {
    PutDownload(L"a");
    PutDownload(L"b");
    std::list<WMap> rows(1);

    Db().ExcuteQuerySQL(rows, L"SELECT fileId, fileStatus FROM T_cloudDriveData ORDER BY fileId");
    ASSERT_EQ(rows.size(), 3u);
    EXPECT_EQ(rows.back(), (WMap{{L"fileId", L"b"}, {L"fileStatus", L"21"}}));
}

// DB-QUERY-02
TEST_F(Queries, GiveNullAsTheEmptyText) {
    EXPECT_EQ(Query(L"SELECT NULL AS blank").front().at(L"blank"), L"");
    EXPECT_EQ(Query(L"SELECT LastNotifySpaceFull FROM T_SyncConf").front().at(L"LastNotifySpaceFull"), L"");
}

// DB-QUERY-03
TEST_F(Queries, TheSettingsRowReadsAsNoughtUntilItIsWritten) {
    const std::wstring query = L"SELECT IFNULL(LastNotifySpaceFull,0) as LastNotifySpaceFull FROM T_SyncConf";

    EXPECT_EQ(Query(query).front().at(L"LastNotifySpaceFull"), L"0");
    ASSERT_TRUE(Db().UpdateSyncConfItem(L"LastNotifySpaceFull", 1234567890123));
    EXPECT_EQ(Query(query).size(), 1u);
    EXPECT_EQ(Query(query).front().at(L"LastNotifySpaceFull"), L"1234567890123");
    ASSERT_TRUE(Db().ExecuteMulitNoQuerySQL({"DELETE FROM T_SyncConf"}));
    EXPECT_TRUE(Query(query).empty());
    ASSERT_TRUE(Db().UpdateSyncConfItem(L"lastnotifyspacefull", 5)) << "a missing row is made";
    EXPECT_EQ(Query(query).front().at(L"LastNotifySpaceFull"), L"5");
}

// DB-QUERY-04
TEST_F(Queries, AnUnknownSettingIsFalse) {
    EXPECT_FALSE(Db().UpdateSyncConfItem(L"noSuch", 1));
    EXPECT_FALSE(Db().UpdateSyncConfItem(L"id", 1));
}

// DB-QUERY-05
TEST_F(Queries, TheLookupByPlaceFindsTheFileAndItsTask) {
    PutDownload(L"a", 23);

    const auto rows = Query(Lookup(L"a.txt", L"docs\\", L" AND c.fileId NOT LIKE 'Local%'"));
    ASSERT_EQ(rows.size(), 1u);
    EXPECT_EQ(rows.front().at(L"fileId"), L"a");
    EXPECT_EQ(rows.front().at(L"fileStatus"), L"23");
    EXPECT_EQ(rows.front().at(L"taskId"), std::to_wstring(Db().GetTaskItem(L"a", 1).GetTaskId()));
    EXPECT_EQ(Query(Lookup(L"a.txt", L"docs\\", L" AND c.fileId = 'a'")).size(), 1u);
    EXPECT_TRUE(Query(Lookup(L"a.txt", L"docs\\", L" AND c.fileId = 'b'")).empty());
}

// DB-QUERY-06
TEST_F(Queries, TheLookupByPlaceGivesNoughtWithoutATaskAndSkipsLocalIdsAndFolders) {
    ASSERT_TRUE(SQLiteDB::SyncRows::PutFile(File(L"a", 1)));
    ASSERT_TRUE(SQLiteDB::SyncRows::PutFile(File(L"Local7", 0)));
    Common::FileItem folderRow = File(L"folder", 1);
    folderRow.SetIsFolder(true);
    ASSERT_TRUE(SQLiteDB::SyncRows::PutFile(folderRow));

    const std::wstring end = L" AND c.fileId NOT LIKE 'Local%'";
    EXPECT_EQ(Query(Lookup(L"a.txt", L"docs\\", end)).front().at(L"taskId"), L"0");
    EXPECT_TRUE(Query(Lookup(L"Local7.txt", L"docs\\", end)).empty());
    EXPECT_EQ(Query(Lookup(L"Local7.txt", L"docs\\", L" AND c.fileId = 'Local7'")).size(), 1u);
    EXPECT_TRUE(Query(Lookup(L"folder.txt", L"docs\\", end)).empty());
}

// DB-QUERY-07
TEST_F(Queries, AStatementBrokenByAQuoteGivesNoRow) {
    ASSERT_TRUE(SQLiteDB::SyncRows::PutFile(File(L"a", 1)));

    EXPECT_TRUE(Query(Lookup(L"it's.txt", L"docs\\", L" AND c.fileId NOT LIKE 'Local%'")).empty());
}

// DB-QUERY-08
TEST_F(Queries, WhatWritesGivesNoRowAndWritesNothing) {
    PutDownload(L"a");

    for (const wchar_t* statement :
         {L"DELETE FROM T_task", L"DELETE FROM T_task RETURNING fileId", L"UPDATE T_task SET Priority = 9",
          L"INSERT INTO T_SyncConf (id) VALUES (1) ON CONFLICT DO UPDATE SET LastNotifySpaceFull = 9 RETURNING id",
          L"PRAGMA user_version = 99", L"PRAGMA journal_mode", L"ATTACH '/tmp/none' AS other", L"VACUUM", L"BEGIN",
          L"CREATE TABLE x (y)", L"", L"   ", L"-- nothing"}) {
        EXPECT_TRUE(Query(statement).empty()) << statement;
    }
    EXPECT_EQ(Db().GetTaskItem(L"a", 1).GetPriority(), 1);
    EXPECT_EQ(Ask(L"SELECT count(*) FROM sqlite_master WHERE name = 'x'"), L"0");
}

// DB-QUERY-09
TEST_F(Queries, AFollowingStatementIsRefusedButNotASemicolon) {
    PutDownload(L"a");

    EXPECT_TRUE(Query(L"SELECT 1; SELECT 2").empty());
    EXPECT_TRUE(Query(L"SELECT 1; DELETE FROM T_task").empty());
    EXPECT_TRUE(Query(L"SELECT 1;; nonsense").empty());
    EXPECT_EQ(Query(L"SELECT 1;").size(), 1u);
    EXPECT_EQ(Query(L"SELECT 1; ; -- end").size(), 1u);
    EXPECT_TRUE(Query(std::wstring(L"SELECT 1\0; DELETE FROM T_task", 30)).empty());
    EXPECT_EQ(Ask(L"SELECT count(*) FROM T_task"), L"1");
}

// DB-QUERY-10
TEST_F(Queries, ThatFailHalfWayGiveNoRow) {
    PutDownload(L"a");
    PutDownload(L"b");

    EXPECT_TRUE(Query(L"SELECT CASE fileId WHEN 'a' THEN 1 ELSE json_extract('{', '$') END FROM T_task ORDER BY taskId")
                    .empty());
    EXPECT_TRUE(Query(L"SELECT noSuch FROM T_task").empty());
    EXPECT_TRUE(Query(L"SELEKT").empty());
}

// DB-QUERY-11
TEST_F(Queries, SeeWhatWasWrittenBefore) {
    for (int round = 0; round < 50; ++round) {
        ASSERT_TRUE(Db().UpdateSyncConfItem(L"LastNotifySpaceFull", round));
        ASSERT_EQ(Ask(L"SELECT LastNotifySpaceFull FROM T_SyncConf"), std::to_wstring(round));
    }
}

}  // namespace
}  // namespace Drive::Testing
