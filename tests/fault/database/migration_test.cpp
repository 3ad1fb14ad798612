// Bringing a database to a later schema while each system call goes wrong in turn.
#include "collaborators/database/schema.h"
#include "tests/fault/database/scenario.h"
#include "tests/fault/support/system_calls.h"

namespace Drive::Testing {
namespace {

using SQLiteDB::Connection;
using SQLiteDB::Migrate;
using SQLiteDB::Migration;

constexpr int kRows = 300;

const std::vector<Migration> kBefore = {{1, {"CREATE TABLE a (x, filler)"}}};
const std::vector<Migration> kAfter = {
    kBefore[0],
    {2, {"ALTER TABLE a ADD COLUMN y", "UPDATE a SET y = x + 1"}},
    {4, {"CREATE TABLE b AS SELECT x, y FROM a", "CREATE INDEX b_y ON b (y)", "DROP TABLE a"}}};

struct Life {
    const char* name;
    CallFault fault;
    bool withLog;  ///< with a write-ahead log, as the shipped database has one; else with a journal
};

void PrintTo(const Life& life, std::ostream* out) { *out << life.name; }

class Migrations : public testing::TestWithParam<Life> {
protected:
    void TearDown() override { EndCallFaults(); }

    static void Prepare(const std::string& path) {
        Connection connection(path, false);
        connection.Execute(GetParam().withLog ? "PRAGMA journal_mode = WAL" : "PRAGMA journal_mode = DELETE");
        Migrate(connection, kBefore);
        connection.Execute("WITH RECURSIVE n(x) AS (SELECT 1 UNION ALL SELECT x + 1 FROM n WHERE x < " +
                           std::to_string(kRows) + ") INSERT INTO a SELECT x, hex(zeroblob(100)) FROM n");
    }

    /// Every step stands whole or not at all, and no row is lost.
    static void CheckState(Connection& connection) {
        const int version = connection.Number("PRAGMA user_version");
        const std::string table = version < 4 ? "a" : "b";
        EXPECT_TRUE(version == 1 || version == 2 || version == 4) << version;
        EXPECT_EQ(connection.Number("SELECT count(*) FROM " + table), kRows);
        EXPECT_EQ(connection.Number("SELECT sum(x) FROM " + table), kRows * (kRows + 1) / 2);
        if (version > 1) {
            EXPECT_EQ(connection.Number("SELECT count(*) FROM " + table + " WHERE y = x + 1"), kRows);
        } else {
            EXPECT_EQ(connection.Number("SELECT count(*) FROM pragma_table_info('a') WHERE name = 'y'"), 0);
        }
        EXPECT_EQ(connection.Number("SELECT count(*) FROM sqlite_master WHERE name = 'b'"), version == 4 ? 1 : 0);
    }

    /// Answers whether anything went wrong.
    static bool Live(int nth) {
        const StateFolder folder;
        const std::string path = folder.Database();
        Prepare(path);
        BeginCallFaults(folder.Native(), GetParam().fault, nth);
        bool done = false;
        try {
            Connection connection(path, false);
            Migrate(connection, kAfter);
            done = true;
        } catch (const std::exception& error) {
            EXPECT_NE(std::string(error.what()), "");
        }
        const std::string struck = EndCallFaults().struck;
        SCOPED_TRACE(struck);
        EXPECT_TRUE(done || !struck.empty());
        Connection connection(path, false);
        EXPECT_TRUE(!done || connection.Number("PRAGMA user_version") == 4);
        CheckState(connection);
        Migrate(connection, kAfter);
        EXPECT_EQ(connection.Number("PRAGMA user_version"), 4);
        CheckState(connection);
        EXPECT_EQ(IntegrityOf(path), "ok");
        return !struck.empty();
    }
};

// DB-FAIL-18
TEST_P(Migrations, StandWholeOrNotAtAllWhicheverSystemCallFails) {
    constexpr int kMostCalls = 2000;
    int nth = 1;
    while (nth < kMostCalls && Live(nth) && !HasFailure()) ++nth;
    EXPECT_FALSE(HasFailure()) << "at call " << nth;
    EXPECT_LT(nth, kMostCalls) << "the sweep did not end";
    EXPECT_GT(nth, 20) << "the sweep met nearly no calls";
}

/// A lock that the system refuses looks like another program's, which is waited for: ten seconds an operation.
const std::set<std::string> kLocks = {"fcntl"};

INSTANTIATE_TEST_SUITE_P(
    Sweep, Migrations,
    testing::Values(Life{"ErrorOnce", {CallFault::Kind::Error, EIO, false, kLocks}, true},
                    Life{"ErrorFromThenOn", {CallFault::Kind::Error, EIO, true, kLocks}, true},
                    Life{"FullFromThenOn", {CallFault::Kind::Error, ENOSPC, true, kLocks}, true},
                    Life{"ShortOnce", {CallFault::Kind::ShortMove, 0, false, kLocks}, true},
                    Life{"JournalErrorOnce", {CallFault::Kind::Error, EIO, false, kLocks}, false},
                    Life{"JournalFullOnce", {CallFault::Kind::Error, ENOSPC, false, kLocks}, false}),
    [](const auto& info) { return info.param.name; });

}  // namespace
}  // namespace Drive::Testing
