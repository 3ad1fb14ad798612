#include <functional>
#include <map>

#include "tests/contract/database/open_database.h"

namespace Drive::Testing {
namespace {

class Leases : public OpenDatabaseTest {
protected:
    void SetUp() override {
        OpenDatabaseTest::SetUp();
        PutDownload(L"a");
        PutDownload(L"b");
        ASSERT_EQ(Ids(FetchDownloads()), (IdList{L"a", L"b"}));
    }
};

// DB-LEASE-01
TEST_F(Leases, ARowHandedOutIsNotHandedOutAgain) {
    EXPECT_TRUE(FetchDownloads().empty());
    EXPECT_TRUE(FetchDownloads().empty());
}

// DB-LEASE-02
TEST_F(Leases, RowsBehindLeasedOnesAreFound) {
    PutDownload(L"c");

    EXPECT_EQ(Ids(FetchDownloads(1)), (IdList{L"c"}));
}

// DB-LEASE-03
TEST_F(Leases, AnyDifferenceOfFileStatusTaskStatusPriorityOrRecordEndsTheLeaseOfThatRowAlone) {
    const std::map<std::string, std::function<bool()>> changes = {
        {"file status",
         [] {
             return Db().UpdateDriveData(Update(L"a", {{L"fileStatus", L"23"}}));
         }},
        {"task status",
         [] {
             return Db().UpdateTaskItem(Update(L"a", {{L"TaskStatus", L"3"}}), 1);
         }},
        {"priority",
         [] {
             return Db().UpdateTaskItem(Update(L"a", {{L"priority", L"4"}}), 1);
         }},
        {"record",
         [] {
             return Db().UpdateTaskItem(Update(L"a", {{L"fragmentInfo", L"{}"}}), 1);
         }},
    };
    for (const auto& [name, change] : changes) {
        ASSERT_TRUE(change());
        EXPECT_EQ(Ids(FetchDownloads()), (IdList{L"a"})) << name;
        EXPECT_TRUE(FetchDownloads().empty()) << name;
    }
}

// DB-LEASE-04
TEST_F(Leases, ARowThatCameBackToItsOldLookIsHandedOutAgain) {
    // An upload that was stopped goes 13, 12, 13 and keeps its priority: it must be taken again.
    ASSERT_TRUE(Db().UpdateDriveData(Update(L"a", {{L"fileStatus", L"22"}})));
    ASSERT_TRUE(Db().UpdateDriveData(Update(L"a", {{L"fileStatus", L"21"}})));

    EXPECT_EQ(Ids(FetchDownloads()), (IdList{L"a"}));
}

// DB-LEASE-05
TEST_F(Leases, WritingTheSameValuesIsNoDifference) {
    ASSERT_TRUE(Db().UpdateDriveData(Update(L"a", {{L"fileStatus", L"21"}})));
    ASSERT_TRUE(Db().UpdateTaskItem(Update(L"a", {{L"TaskStatus", L"0"}, {L"Priority", L"1"}}), 1));

    EXPECT_TRUE(FetchDownloads().empty());
}

// DB-LEASE-06
TEST_F(Leases, OtherColumnsAreNoDifference) {
    ASSERT_TRUE(Db().UpdateDriveData(Update(L"a", {{L"size", L"77"}, {L"hash", L"ab"}})));
    ASSERT_TRUE(SQLiteDB::SyncRows::PutPriorityTask(L"a", 11));

    EXPECT_TRUE(FetchDownloads().empty());
}

// DB-LEASE-07
TEST_F(Leases, AChangeThatFailedEndsNoLease) {
    ASSERT_FALSE(Db().ExecuteMulitNoQuerySQL(
        {"UPDATE T_cloudDriveData SET fileStatus = 23 WHERE fileId = 'a'", "UPDATE no_such_table SET x = 1"}));
    ASSERT_FALSE(Db().ExecuteMulitNoQuerySQL({"UPDATE T_task SET TaskStatus = 1", "this is no statement"}));

    EXPECT_TRUE(FetchDownloads().empty());
}

// DB-LEASE-08
TEST_F(Leases, ABatchThatWritesTheTaskTableEndsAll) {
    ASSERT_TRUE(Db().ExecuteMulitNoQuerySQL({"UPDATE T_task SET TaskStatus = 0 WHERE TaskStatus = 1;"}));

    EXPECT_EQ(Ids(FetchDownloads()), (IdList{L"a", L"b"}));
}

// DB-LEASE-09
TEST_F(Leases, ABatchOnFilesAloneEndsOnlyTheLeasesOfFilesThatChanged) {
    ASSERT_TRUE(Db().ExecuteMulitNoQuerySQL(
        {"UPDATE T_cloudDriveData SET fileStatus = 23 WHERE fileId = 'b' AND fileId IN (SELECT fileId FROM T_task)"}));

    EXPECT_EQ(Ids(FetchDownloads()), (IdList{L"b"}));
}

// DB-LEASE-10
TEST_F(Leases, ARowThatWasDeletedAndMadeAnewIsHandedOut) {
    ASSERT_TRUE(Db().DeleteTaskItem(L"a", 1));
    ASSERT_TRUE(SQLiteDB::SyncRows::PutTask(L"a", 1, 1));

    EXPECT_EQ(Ids(FetchDownloads()), (IdList{L"a"}));
}

// DB-LEASE-11
TEST_F(Leases, InsertingOtherDownloadsEndsNoLease) {
    ASSERT_TRUE(SQLiteDB::SyncRows::PutFile(File(L"c", 21)));
    ASSERT_TRUE(Db().InsertTaskByOnFetch({Db().GetDownLoadTaskSqlcmd(L"", L"", L"c", true, 11)}));

    EXPECT_EQ(Ids(FetchDownloads()), (IdList{L"c"}));
}

// DB-LEASE-12
TEST_F(Leases, EndWithTheProcess) {
    Reopen();

    EXPECT_EQ(Ids(FetchDownloads()), (IdList{L"a", L"b"}));
}

// DB-LEASE-13
TEST_F(Leases, OfOneDirectionLeaveTheOtherAlone) {
    PutUpload(L"up");
    EXPECT_EQ(Ids(FetchUploads()), (IdList{L"up"}));
    EXPECT_TRUE(FetchUploads().empty());
}

// DB-LEASE-14
TEST_F(Leases, APriorityKeyTakesTheRowOutAndItsResetBringsItBackUnleasedOnlyIfItChanged) {
    ASSERT_TRUE(SQLiteDB::SyncRows::PutPriorityTask(L"a", 2));
    EXPECT_TRUE(FetchDownloads().empty());
    ASSERT_TRUE(SQLiteDB::SyncRows::ResetPriorityKeys());
    EXPECT_TRUE(FetchDownloads().empty());
}

}  // namespace
}  // namespace Drive::Testing
