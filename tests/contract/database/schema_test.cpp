#include "collaborators/database/schema.h"

#include <signal.h>
#include <sqlite3.h>
#include <sys/wait.h>
#include <unistd.h>

#include "interfaces/common/encrypt_helper.h"
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

void EndProcess(sqlite3_context*, int, sqlite3_value**) { kill(getpid(), SIGKILL); }

/// Brings the file up in a process of its own, which is killed before the statement with that number of the last step.
void MigrateUntilKilled(const std::filesystem::path& database, std::vector<Migration> steps, std::size_t at) {
    auto& statements = steps.back().statements;
    statements.insert(statements.begin() + static_cast<std::ptrdiff_t>(at), "SELECT end_process()");
    const pid_t child = fork();
    if (child == 0) {
        Connection connection(database.string(), false);
        sqlite3_create_function(connection.Handle(), "end_process", 0, SQLITE_UTF8, nullptr, &EndProcess, nullptr,
                                nullptr);
        connection.Execute("PRAGMA journal_mode = WAL");
        Migrate(connection, steps);
        _exit(0);
    }
    int status = 0;
    waitpid(child, &status, 0);
    ASSERT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL) << at;
}

// DB-SCHEMA-07
TEST_F(Schema, AProcessThatIsKilledInTheMiddleOfAStepLeavesTheVersionBefore) {
    Migrate(*Open(), first);
    for (std::size_t at = 0; at <= both.back().statements.size(); ++at) {
        MigrateUntilKilled(folder.Database(), both, at);
        EXPECT_EQ(Open()->Number("PRAGMA user_version"), 1) << at;
        EXPECT_EQ(Open()->Number("SELECT count(*) FROM a"), 1) << at;
        EXPECT_THROW(Open()->Number("SELECT y FROM a"), SQLite::Exception) << "not half of it";
    }
    Migrate(*Open(), both);
    EXPECT_EQ(Open()->Number("SELECT y FROM a"), 2);
}

// DB-SCHEMA-08
TEST_F(Schema, AnOpeningThatIsKilledAnywhereIsMadeUpForByTheNext) {
    const std::size_t statements = SQLiteDB::Migrations().back().statements.size();
    for (std::size_t at = 0; at <= statements; ++at) {
        MigrateUntilKilled(folder.Database(), SQLiteDB::Migrations(), at);
        const SQLiteDB::OpenResult result = SQLiteDB::OpenDatabase(folder.Wide());
        EXPECT_EQ(result.outcome, SQLiteDB::OpenOutcome::Created) << at << ": " << result.message;
        EXPECT_TRUE(SQLiteDB::SyncRows::PutFileWithTask(File(L"a", 21), 1, 1));
        SQLiteDB::CloseDatabase();
        for (const char* suffix : {"", "-wal", "-shm"}) {
            std::filesystem::remove(folder.Database().string() + suffix);
        }
    }
}

// DB-SCHEMA-09
TEST_F(Schema, TheStepsThatWereShippedNeverChange) {
    // Files with these versions exist: what is to be otherwise needs a step of its own. By version.
    const std::vector<std::string> shipped = {"d41012dc777c12d1763ea17ad8655c5d0bd43a6311a0fb53e8bf0afe6fe880a9"};
    ASSERT_EQ(SQLiteDB::Migrations().size(), shipped.size()) << "add the digest of the new step";
    for (std::size_t step = 0; step < shipped.size(); ++step) {
        Common::Bytes text;
        for (const std::string& statement : SQLiteDB::Migrations()[step].statements) {
            text.insert(text.end(), statement.begin(), statement.end());
            text.push_back(';');
        }
        EXPECT_EQ(Common::EncryptHelper::SHA256_Encode(text), shipped[step]) << "version " << step + 1;
    }
}

/// The file of each version as the program that shipped it left it, by the statements that it ran.
class OldFile : public Schema, public testing::WithParamInterface<int> {};

// DB-SCHEMA-10
TEST_P(OldFile, IsBroughtToThePresentWithItsRows) {
    std::vector<Migration> steps = SQLiteDB::Migrations();
    while (steps.back().version > GetParam()) steps.pop_back();
    {
        const auto connection = Open();
        connection->Execute("PRAGMA journal_mode = WAL");
        Migrate(*connection, steps);
        connection->Execute("INSERT INTO T_cloudDriveData (fileId, localFileName, fileStatus) VALUES ('a', 'a', 21)");
        connection->Execute("INSERT INTO T_task (fileId, direction, fragmentInfo) VALUES ('a', 1, 'record')");
        connection->Execute("UPDATE T_SyncConf SET LastNotifySpaceFull = 5");
    }
    const SQLiteDB::OpenResult result = SQLiteDB::OpenDatabase(folder.Wide());
    ASSERT_EQ(result.outcome, SQLiteDB::OpenOutcome::Opened) << result.message;
    EXPECT_EQ(Ids(FetchDownloads()), (IdList{L"a"}));
    EXPECT_EQ(Db().GetTaskItem(L"a", 1).GetFragmentInfo(), L"record");
    EXPECT_EQ(Ask(L"SELECT LastNotifySpaceFull FROM T_SyncConf"), L"5");
    SQLiteDB::CloseDatabase();
    EXPECT_EQ(Open()->Number("PRAGMA user_version"), SQLiteDB::SchemaVersion());
}

INSTANTIATE_TEST_SUITE_P(OfVersion, OldFile, testing::Range(1, SQLiteDB::SchemaVersion() + 1));

}  // namespace
}  // namespace Drive::Testing
