#include <SQLiteCpp/SQLiteCpp.h>

#include "collaborators/database/task_feed.h"
#include "tests/contract/database/open_database.h"

namespace Drive::Testing {
namespace {

class QueryPlan : public OpenDatabaseTest {
protected:
    /// The steps of the plan, one a line, on a file without statistics, as it is in use.
    std::string PlanOf(const std::string& statement) {
        SQLite::Database database(folder.Database().string(), SQLite::OPEN_READWRITE);
        SQLite::Statement plan(database, "EXPLAIN QUERY PLAN " + statement);
        std::string text;
        while (plan.executeStep()) text += plan.getColumn(3).getString() + "\n";
        return text;
    }
};

// DB-PLAN-01
TEST_F(QueryPlan, TheDownloadFeedWalksItsOwnIndexInOrder) {
    EXPECT_EQ(PlanOf(SQLiteDB::FeedStatement(kDownloadStates, "1")), "SCAN T_task USING INDEX T_task_download\n");
    EXPECT_EQ(PlanOf(SQLiteDB::FeedStatement("'23','0','21'", "1")), "SCAN T_task USING INDEX T_task_download\n");
}

// DB-PLAN-02
TEST_F(QueryPlan, TheUploadFeedWalksItsOwnIndexInOrder) {
    EXPECT_EQ(PlanOf(SQLiteDB::FeedStatement(kUploadStates, "2")), "SCAN T_task USING INDEX T_task_upload\n");
}

// DB-PLAN-03
TEST_F(QueryPlan, AnyOtherListWalksTheDirectionInOrder) {
    const std::string plan = PlanOf(SQLiteDB::FeedStatement("'22'", "1"));
    EXPECT_EQ(plan, "SEARCH T_task USING INDEX T_task_direction (direction=?)\n");
}

// DB-PLAN-04
TEST_F(QueryPlan, TheThumbnailFeedWalksItsOwnIndexInOrder) {
    EXPECT_EQ(PlanOf(SQLiteDB::kThumbnailStatement), "SCAN T_task USING INDEX T_task_thumbnail\n");
}

// DB-PLAN-05
TEST_F(QueryPlan, TasksWithoutAFileAreAnIndexOfTheirOwn) {
    for (const std::string verb : {"SELECT 1", "DELETE"}) {
        EXPECT_EQ(PlanOf(verb + SQLiteDB::kTasksWithoutFile).find("SCAN T_task USING"), 0u);
        EXPECT_NE(PlanOf(verb + SQLiteDB::kTasksWithoutFile).find("T_task_invalid"), std::string::npos);
    }
}

// DB-PLAN-06
TEST_F(QueryPlan, WhetherTransfersExistIsOneLookInAnIndex) {
    EXPECT_NE(PlanOf("SELECT EXISTS (SELECT 1 FROM T_task WHERE direction IN (1,2))")
                  .find("SEARCH T_task USING COVERING "
                        "INDEX T_task_direction"),
              std::string::npos);
}

// DB-PLAN-07
TEST_F(QueryPlan, RowsOfOneFileAreFoundByIndex) {
    EXPECT_NE(PlanOf("SELECT * FROM T_task WHERE fileId = 'a' AND direction = 1").find("(fileId=? AND direction=?)"),
              std::string::npos);
    EXPECT_NE(PlanOf("UPDATE T_cloudDriveData SET fileStatus = 22 WHERE fileId = 'a'").find("(fileId=?)"),
              std::string::npos);
    EXPECT_NE(PlanOf("SELECT * FROM T_cloudDriveData WHERE localFileName = 'a' AND localParentFolder = 'b' ORDER BY "
                     "rowid LIMIT 1")
                  .find("T_file_place (localParentFolder=? AND localFileName=?)"),
              std::string::npos);
}

// DB-PLAN-08
TEST_F(QueryPlan, TheEnginesLookupByPlaceUsesIndexesOnBothTables) {
    const std::string plan = PlanOf(
        "SELECT IFNULL(c.fileId,'') as fileId, IFNULL(t.taskId,0) as taskId,c.fileStatus FROM T_cloudDriveData c LEFT "
        "JOIN T_task t ON t.fileId = c.fileId WHERE isFolder = 0  AND localFileName = 'a' AND localParentFolder = 'b' "
        "AND c.fileId NOT LIKE 'Local%'");
    EXPECT_EQ(plan.find("SCAN"), std::string::npos) << plan;
    EXPECT_NE(plan.find("T_file_place"), std::string::npos) << plan;
}

// DB-PLAN-09
TEST_F(QueryPlan, TheStartUpRepairReadsOnlyFilesThatRan) {
    const std::string plan = PlanOf(
        "UPDATE T_cloudDriveData SET fileStatus = 21 WHERE fileStatus IN (12,22) AND isFolder = 0 AND fileId IN "
        "(SELECT "
        "fileId FROM T_task WHERE direction IN (1,2) AND T_task.fileId = T_cloudDriveData.fileId)");
    EXPECT_NE(plan.find("T_file_status (fileStatus=? AND isFolder=?)"), std::string::npos) << plan;
    EXPECT_NE(plan.find("(fileId=? AND direction=?)"), std::string::npos) << plan;
}

// DB-PLAN-10
TEST_F(QueryPlan, AWalkOverTheFilesNeedsNoSorting) {
    EXPECT_EQ(PlanOf("SELECT * FROM T_cloudDriveData ORDER BY localParentFolder, localFileName, rowid").find("TEMP"),
              std::string::npos);
}

// DB-PLAN-11
TEST_F(QueryPlan, WhatAHostAsksWhileTransfersRunUsesIndexes) {
    for (const std::string statement :
         {"SELECT fileId FROM T_cloudDriveData WHERE fileStatus = 12 AND isFolder = 0 LIMIT 1",
          "SELECT fileId FROM T_task WHERE direction = 2 AND Priority >= 7",
          "SELECT c.fileId FROM T_cloudDriveData c JOIN T_task t ON t.fileId = c.fileId AND t.direction = 2 WHERE "
          "c.isFolder = 0 AND c.fileStatus = 13",
          "SELECT t.fragmentInfo FROM T_cloudDriveData c JOIN T_task t ON t.fileId = c.fileId AND t.direction = 1 "
          "WHERE "
          "c.isFolder = 0 AND c.fileStatus IN (22)",
          "SELECT fileId FROM T_task WHERE direction = 3"}) {
        EXPECT_EQ(PlanOf(statement).find("SCAN"), std::string::npos) << statement << "\n" << PlanOf(statement);
    }
}

}  // namespace
}  // namespace Drive::Testing
