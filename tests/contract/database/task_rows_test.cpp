#include <limits>

#include "tests/contract/database/open_database.h"

namespace Drive::Testing {
namespace {

using TaskRows = OpenDatabaseTest;

// DB-TASK-01
TEST_F(TaskRows, AreSelectedByFileAndDirectionTogether) {
    PutDownload(L"x", 0, 1);
    PutUpload(L"x", 0, 2);

    EXPECT_EQ(Db().GetTaskItem(L"x", 1).GetPriority(), 1);
    EXPECT_EQ(Db().GetTaskItem(L"x", 2).GetPriority(), 2);
    ASSERT_TRUE(Db().UpdateTaskItem(Update(L"x", {{L"TaskStatus", L"4"}}), 1));
    EXPECT_EQ(Db().GetTaskItem(L"x", 1).GetTaskstatus(), 4);
    EXPECT_EQ(Db().GetTaskItem(L"x", 2).GetTaskstatus(), 0);
    ASSERT_TRUE(Db().DeleteTaskItem(L"x", 1));
    EXPECT_TRUE(Db().GetTaskItem(L"x", 1).GetFileId().empty());
    EXPECT_EQ(Db().GetTaskItem(L"x", 2).GetFileId(), L"x");
}

// DB-TASK-02
TEST_F(TaskRows, AnAbsentOneIsEmpty) {
    const Common::TaskItem task = Db().GetTaskItem(L"nobody", 1);

    EXPECT_TRUE(task.GetFileId().empty());
    EXPECT_EQ(task.GetTaskId(), 0);
    EXPECT_EQ(task.GetTransferKey(), 0);
}

// DB-TASK-03
TEST_F(TaskRows, AMissingKeyIsReadAsElevenAndAnyOtherAsItStands) {
    PutDownload(L"x");

    EXPECT_EQ(Db().GetTaskItem(L"x", 1).GetTransferKey(), 11);
    for (const std::int64_t key : {0LL, 2LL, 11LL, 1LL << 40}) {
        ASSERT_TRUE(SQLiteDB::SyncRows::PutPriorityTask(L"x", key));
        EXPECT_EQ(Db().GetTaskItem(L"x", 1).GetTransferKey(), key);
    }
}

// DB-TASK-04
TEST_F(TaskRows, DeletingAnAbsentOneIsTrue) { EXPECT_TRUE(Db().DeleteTaskItem(L"nobody", 2)); }

// DB-TASK-05
TEST_F(TaskRows, DirectionThreeDeletesTheThumbnailTask) {
    ASSERT_TRUE(SQLiteDB::SyncRows::PutThumbnailTask(L"x"));
    ASSERT_TRUE(Db().DeleteTaskItem(L"x", 3));

    EXPECT_EQ(Ask(L"SELECT count(*) FROM T_task"), L"0");
}

// DB-TASK-06
TEST_F(TaskRows, UpdatingAnAbsentOneIsTrueAndMakesNone) {
    EXPECT_TRUE(Db().UpdateTaskItem(Update(L"nobody", {{L"TaskStatus", L"0"}}), 2));
    EXPECT_EQ(Ask(L"SELECT count(*) FROM T_task"), L"0");
}

// DB-TASK-07
TEST_F(TaskRows, ColumnNamesAreTakenInAnyCase) {
    PutUpload(L"x");

    ASSERT_TRUE(Db().UpdateTaskItem(Update(L"x", {{L"priority", L"4"}, {L"TASKSTATUS", L"1"}}), 2));
    EXPECT_EQ(Db().GetTaskItem(L"x", 2).GetPriority(), 4);
    EXPECT_EQ(Db().GetTaskItem(L"x", 2).GetTaskstatus(), 1);
    ASSERT_TRUE(Db().UpdateTaskItem(Update(L"x", {{L"Priority", L"7"}}), 2));
    EXPECT_EQ(Db().GetTaskItem(L"x", 2).GetPriority(), 7);
}

// DB-TASK-08
TEST_F(TaskRows, AnUnknownColumnIsFalseAndNothingIsWritten) {
    PutUpload(L"x");

    for (const wchar_t* column :
         {L"noSuch", L"", L"Priority = 9, TaskStatus", L"taskId", L"fileStatus", L"readyState", L"TaskStatus "}) {
        EXPECT_FALSE(Db().UpdateTaskItem(Update(L"x", {{L"Priority", L"9"}, {column, L"1"}}), 2)) << column;
    }
    const std::wstring behindNul(L"TaskStatus\0x", 12);
    EXPECT_FALSE(Db().UpdateTaskItem(Update(L"x", {{L"Priority", L"9"}, {behindNul, L"1"}}), 2));
    EXPECT_EQ(Db().GetTaskItem(L"x", 2).GetPriority(), 1);
}

// DB-TASK-09
TEST_F(TaskRows, AValueThatIsNoNumberIsFalseAndNothingIsWritten) {
    PutUpload(L"x");

    for (const std::wstring value : {L"soon", L"", L" 4", L"4 ", L"+4", L"4.0", L"1e3", L"0x4", L"NULL"}) {
        EXPECT_FALSE(Db().UpdateTaskItem(Update(L"x", {{L"Priority", L"9"}, {L"TaskStatus", value}}), 2)) << value;
    }
    EXPECT_FALSE(Db().UpdateTaskItem(Update(L"x", {{L"Priority", L"9"}, {L"TaskStatus", {L"4\0", 2}}}), 2));
    EXPECT_EQ(Db().GetTaskItem(L"x", 2).GetPriority(), 1);
}

// DB-TASK-14
TEST_F(TaskRows, ANumberThatWouldComeBackAsAnotherIsRefused) {
    PutUpload(L"x");
    const auto write = [](const wchar_t* column, const wchar_t* value) {
        return Db().UpdateTaskItem(Update(L"x", {{column, value}}), 2);
    };
    for (const wchar_t* column : {L"TaskStatus", L"Priority", L"module", L"direction"}) {
        for (const wchar_t* value : {L"2147483648", L"-2147483649", L"4294967297", L"9223372036854775808"}) {
            EXPECT_FALSE(write(column, value)) << column << value;
        }
    }
    EXPECT_FALSE(write(L"transferKey", L"9223372036854775808"));
    EXPECT_TRUE(write(L"Priority", L"-2147483648") && write(L"TaskStatus", L"2147483647"));
    EXPECT_TRUE(write(L"transferKey", L"9223372036854775807"));
    const Common::TaskItem task = Db().GetTaskItem(L"x", 2);
    EXPECT_EQ(task.GetPriority(), std::numeric_limits<int>::min());
    EXPECT_EQ(task.GetTaskstatus(), std::numeric_limits<int>::max());
    EXPECT_EQ(task.GetTransferKey(), std::numeric_limits<std::int64_t>::max());
}

// DB-TASK-15
TEST_F(TaskRows, AColumnThatIsNamedTwiceIsFalseAndNothingIsWritten) {
    PutUpload(L"x");

    EXPECT_FALSE(Db().UpdateTaskItem(Update(L"x", {{L"Priority", L"8"}, {L"PRIORITY", L"9"}}), 2));
    EXPECT_FALSE(Db().UpdateTaskItem(Update(L"x", {{L"fragmentInfo", L"a"}, {L"fragmentinfo", L"a"}}), 2));
    EXPECT_EQ(Db().GetTaskItem(L"x", 2).GetPriority(), 1);
    EXPECT_EQ(Db().GetTaskItem(L"x", 2).GetFragmentInfo(), L"");
}

// DB-TASK-16
TEST_F(TaskRows, EveryColumnOfATaskMayBeUpdated) {
    PutUpload(L"x");

    ASSERT_TRUE(Db().UpdateTaskItem(Update(L"x", {{L"fileId", L"y"},
                                                  {L"direction", L"1"},
                                                  {L"TaskStatus", L"4"},
                                                  {L"Priority", L"5"},
                                                  {L"module", L"1"},
                                                  {L"transferKey", L"6"},
                                                  {L"fragmentInfo", L"record"}}),
                                    2));
    EXPECT_TRUE(Db().GetTaskItem(L"x", 2).GetFileId().empty());
    const Common::TaskItem task = Db().GetTaskItem(L"y", 1);
    EXPECT_EQ(task.GetFileId(), L"y");
    EXPECT_EQ(task.GetDirection(), 1);
    EXPECT_EQ(task.GetTaskstatus(), 4);
    EXPECT_EQ(task.GetPriority(), 5);
    EXPECT_EQ(task.GetModule(), 1);
    EXPECT_EQ(task.GetTransferKey(), 6);
    EXPECT_EQ(task.GetFragmentInfo(), L"record");
}

// DB-TASK-10
TEST_F(TaskRows, AnEmptyMapWritesNothingAndIsTrue) {
    PutUpload(L"x");

    EXPECT_TRUE(Db().UpdateTaskItem(Update(L"x", {}), 2));
    EXPECT_EQ(Db().GetTaskItem(L"x", 2).GetPriority(), 1);
}

// DB-TASK-11
TEST_F(TaskRows, RecordsOfAnyLengthComeBackAsTheyWere) {
    PutUpload(L"x");
    const std::wstring record = L"{\"list\":\"" + std::wstring(300000, L'\u00e9') + L"\"}";

    ASSERT_TRUE(Db().UpdateTaskItem(Update(L"x", {SQLiteDB::MakePair(L"fragmentInfo", record)}), 2));
    EXPECT_EQ(Db().GetTaskItem(L"x", 2).GetFragmentInfo(), record);
    ASSERT_TRUE(Db().UpdateTaskItem(Update(L"x", {SQLiteDB::MakePair(L"fragmentInfo", std::wstring())}), 2));
    EXPECT_EQ(Db().GetTaskItem(L"x", 2).GetFragmentInfo(), L"");
}

// DB-TASK-12
TEST_F(TaskRows, KeysOfDeletedOnesDoNotComeBack) {
    PutDownload(L"x");
    const std::int64_t first = Db().GetTaskItem(L"x", 1).GetTaskId();
    ASSERT_TRUE(Db().DeleteTaskItem(L"x", 1));
    Reopen();
    PutDownload(L"x");

    EXPECT_GT(Db().GetTaskItem(L"x", 1).GetTaskId(), first);
}

// DB-TASK-13
TEST_F(TaskRows, MakePairWritesNumbersInDecimal) {
    EXPECT_EQ(SQLiteDB::MakePair(L"size", std::int64_t{-9223372036854775807LL - 1}).second, L"-9223372036854775808");
    EXPECT_EQ(SQLiteDB::MakePair(L"size", std::int64_t{12}), (std::pair<std::wstring, std::wstring>(L"size", L"12")));
    EXPECT_EQ(SQLiteDB::MakePair(L"name", std::wstring(L"a")), (std::pair<std::wstring, std::wstring>(L"name", L"a")));
}

}  // namespace
}  // namespace Drive::Testing
