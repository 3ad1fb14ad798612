#include "collaborators/database/schema.h"

#include <sqlite3.h>

#include "tests/contract/database/open_database.h"

namespace Drive::Testing {
namespace {

using SQLiteDB::Connection;
using SQLiteDB::Migrate;
using SQLiteDB::Migration;

class Schema : public testing::Test {
protected:
    std::unique_ptr<Connection> Open() { return std::make_unique<Connection>(folder.Database().string(), false); }
    StateFolder folder;
    const std::vector<Migration> first = {{1, {"CREATE TABLE a (x)", "INSERT INTO a VALUES (1)"}}};
    const std::vector<Migration> both = {first[0], {3, {"ALTER TABLE a ADD COLUMN y", "UPDATE a SET y = x + 1"}}};
};

// DB-SCHEMA-01
TEST_F(Schema, StepsRunOnceAndInOrder) {
    Migrate(*Open(), both);
    Migrate(*Open(), both);

    const auto connection = Open();
    EXPECT_EQ(connection->Number("PRAGMA user_version"), 3);
    EXPECT_EQ(connection->Number("SELECT count(*) FROM a"), 1);
    EXPECT_EQ(connection->Number("SELECT y FROM a"), 2);
}

// DB-SCHEMA-02
TEST_F(Schema, AnOlderFileGetsOnlyTheStepsThatItLacks) {
    Migrate(*Open(), first);
    Open()->Execute("INSERT INTO a VALUES (5)");
    Migrate(*Open(), both);

    EXPECT_EQ(Open()->Number("SELECT sum(y) FROM a"), 8);
}

// DB-SCHEMA-03
TEST_F(Schema, AStepThatFailsLeavesTheVersionBefore) {
    std::vector<Migration> broken = both;
    broken[1].statements.push_back("nonsense");

    EXPECT_THROW(Migrate(*Open(), broken), SQLite::Exception);
    EXPECT_EQ(Open()->Number("PRAGMA user_version"), 1);
    EXPECT_THROW(Open()->Number("SELECT y FROM a"), SQLite::Exception) << "not half of it";
    Migrate(*Open(), both);
    EXPECT_EQ(Open()->Number("SELECT y FROM a"), 2);
}

// DB-SCHEMA-04
TEST_F(Schema, VersionsOfTheShippedStepsAscend) {
    int last = 0;
    for (const Migration& step : SQLiteDB::Migrations()) {
        EXPECT_GT(step.version, last);
        last = step.version;
    }
    EXPECT_EQ(SQLiteDB::SchemaVersion(), last);
}

// DB-SCHEMA-05
TEST_F(Schema, HasEveryColumnThatUpdatesMayName) {
    const auto connection = Open();
    Migrate(*connection, SQLiteDB::Migrations());
    EXPECT_NO_THROW(
        connection->Execute("SELECT " + SQLiteDB::ColumnList(SQLiteDB::kFileColumns) + " FROM T_cloudDriveData"));
    EXPECT_NO_THROW(connection->Execute("SELECT " + SQLiteDB::ColumnList(SQLiteDB::kTaskColumns) + " FROM T_task"));
    EXPECT_NO_THROW(connection->Execute("SELECT " + SQLiteDB::ColumnList(SQLiteDB::kConfColumns) + " FROM T_SyncConf"));
}

// DB-SCHEMA-06
TEST_F(Schema, ColumnsAreFoundInAnyCase) {
    EXPECT_EQ(SQLiteDB::FindColumn(SQLiteDB::kTaskColumns, "pRIORITY"), "Priority");
    EXPECT_EQ(SQLiteDB::FindColumn(SQLiteDB::kTaskColumns, "Priority "), "");
    EXPECT_EQ(SQLiteDB::FindColumn(SQLiteDB::kTaskColumns, ""), "");
}

}  // namespace
}  // namespace Drive::Testing
