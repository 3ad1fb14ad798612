#include "tests/contract/database/open_database.h"

namespace Drive::Testing {
namespace {

using Texts = OpenDatabaseTest;

const std::wstring kOddTexts[] = {
    L"plain",
    L"\u00fcml\u00e4ut \u4e2d\u6587",
    L"\U0001F600 emoji",
    L"undecodable \xDC80\xDCFF byte",
    L"backslash as a letter \uF05C",
    L"escaped private letter \xDCEF\xDC81\xDC9C",
    L"escaped private letter amid text \uF05C\xDCEF\xDC81\xDC9C\xDC80.txt",
    L"three bytes of a surrogate code \xDCED\xDCB2\xDC80",
    L"a surrogate code cut short \xDCED\xDCB2",
    L"line\nbreak\ttab",
    L"quote ' and \" and % and _",
    std::wstring(L"with a\0nul", 10),
    L" leading and trailing ",
    L"123",
    L"0x1F",
    L"1e5",
    L"NULL",
};

// DB-TEXT-01
TEST_F(Texts, RoundTripThroughFileRows) {
    for (const std::wstring& text : kOddTexts) {
        Common::FileItem file = File(L"id " + text, 21);
        file.SetName(text);
        file.SetLocalFileName(text);
        file.SetLocalParentFolder(text + L"\\");
        ASSERT_TRUE(SQLiteDB::SyncRows::PutFile(file));

        const Common::FileItem read = Db().GetDriveDataItemWithKey(L"id " + text);
        EXPECT_EQ(read.GetFileId(), L"id " + text);
        EXPECT_EQ(read.GetName(), text);
        EXPECT_EQ(Db().GetDriveDataItem({{L"localFileName", text}, {L"localParentFolder", text + L"\\"}}).GetFileId(),
                  L"id " + text);
    }
}

// DB-TEXT-02
TEST_F(Texts, RoundTripThroughTasksUpdatesAndQueries) {
    for (const std::wstring& text : kOddTexts) {
        ASSERT_TRUE(SQLiteDB::SyncRows::PutFile(File(text, 21)));
        ASSERT_TRUE(SQLiteDB::SyncRows::PutTask(text, 1, 1));
        ASSERT_TRUE(Db().UpdateTaskItem(Update(text, {{L"fragmentInfo", text}}), 1));
        ASSERT_TRUE(Db().UpdateDriveData(Update(text, {{L"mimeType", text}})));

        EXPECT_EQ(Db().GetTaskItem(text, 1).GetFragmentInfo(), text);
        EXPECT_EQ(Ids(FetchDownloads()), (IdList{text}));
        EXPECT_EQ(Ask(L"SELECT mimeType FROM T_cloudDriveData ORDER BY rowid DESC LIMIT 1"), text);
    }
}

// DB-TEXT-03
TEST_F(Texts, ThatLookAlikeAsBytesAreKeptApart) {
    // The first name holds a backslash, the second the letter that stands for one: two files of one folder.
    const std::wstring backslash = L"a\uF05Cb";
    const std::wstring letter =
        L"a\xDCEF\xDC81\xDC9C"
        L"b";
    for (const std::wstring& name : {backslash, letter}) {
        ASSERT_TRUE(SQLiteDB::SyncRows::PutFile(File(name, 21)));
        ASSERT_TRUE(Db().InsertTaskByOnFetch({Db().GetDownLoadTaskSqlcmd(name + L".txt", L"docs\\", L"", true, 11)}));
    }

    EXPECT_EQ(Ids(FetchDownloads()), (IdList{backslash, letter}));
    for (const std::wstring& name : {backslash, letter}) {
        EXPECT_EQ(Db().GetDriveDataItem({{L"localFileName", name + L".txt"}}).GetFileId(), name);
        EXPECT_EQ(Ask(L"SELECT fileId FROM T_cloudDriveData WHERE localFileName = '" + name + L".txt'"), name);
    }
}

// DB-TEXT-04
TEST_F(Texts, UndecodableBytesPassThroughStatements) {
    const std::wstring id = L"a\xDC80z";
    ASSERT_TRUE(SQLiteDB::SyncRows::PutFile(File(id, 21)));

    ASSERT_TRUE(Db().InsertTaskByOnFetch({Db().GetDownLoadTaskSqlcmd(id + L".txt", L"docs\\", L"", true, 11)}));
    EXPECT_EQ(Db().GetTaskItem(id, 1).GetFileId(), id);
    EXPECT_EQ(Ask(L"SELECT fileStatus FROM T_cloudDriveData WHERE fileId = '" + id + L"'"), L"21");
}

// DB-TEXT-05
TEST_F(Texts, WithoutANarrowFormAreRefusedAndNothingThrows) {
    const std::wstring bad = L"half a pair \xD800";

    EXPECT_FALSE(SQLiteDB::SyncRows::PutFile(File(bad, 1)));
    EXPECT_FALSE(SQLiteDB::SyncRows::WriteSetting(bad, L"x"));
    EXPECT_FALSE(Db().UpdateDriveData(Update(bad, {{L"hash", L"x"}})));
    EXPECT_FALSE(Db().UpdateDriveData(Update(L"x", {{bad, L"x"}})));
    EXPECT_FALSE(Db().UpdateTaskItem(Update(bad, {{bad, bad}}), 1));
    EXPECT_FALSE(Db().DeleteTaskItem(bad, 1));
    EXPECT_FALSE(Db().DeleteDriveDataItem(bad));
    EXPECT_FALSE(Db().UpdateSyncConfItem(bad, 1));
    EXPECT_FALSE(Db().InsertTaskByOnFetch({Db().GetDownLoadTaskSqlcmd(bad, bad, bad, true, 11)}));
    EXPECT_TRUE(Db().GetDriveDataItemWithKey(bad).GetFileId().empty());
    EXPECT_TRUE(Db().GetDriveDataItem({{bad, bad}}).GetFileId().empty());
    EXPECT_TRUE(Db().GetTaskItem(bad, 1).GetFileId().empty());
    EXPECT_EQ(Ask(L"SELECT '" + bad + L"'"), L"");
    EXPECT_EQ(SQLiteDB::SyncRows::ReadSetting(bad), L"");
    EXPECT_EQ(SQLiteDB::OpenDatabaseReadOnly(bad).outcome, SQLiteDB::OpenOutcome::Failed);
}

}  // namespace
}  // namespace Drive::Testing
