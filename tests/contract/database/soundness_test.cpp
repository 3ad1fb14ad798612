// An index that lost rows: SQLite's quick check does not see it, and a feed that walks it would never see the rows.
#include <sqlite3.h>

#include "interfaces/logging/log_settings.h"
#include "tests/contract/database/open_database.h"

namespace Drive::Testing {
namespace {

using SQLiteDB::SyncRows;

const char* const kMoreRows =
    "INSERT INTO T_cloudDriveData (fileId, fileStatus) VALUES ('late', 21), ('late up', 11);"
    "INSERT INTO T_task (fileId, direction) VALUES ('late', 1), ('late', 3), ('late up', 2), ('nobody', 2);"
    "INSERT INTO T_task (fileId, direction, transferKey) VALUES ('fetched', 1, 2)";

class Indexes : public OpenDatabaseTest, public testing::WithParamInterface<const char*> {
protected:
    void TearDown() override {
        Logging::SetTextSink({});
        OpenDatabaseTest::TearDown();
    }
    /// The first value that the statements give, on a connection of their own.
    std::string Run(const std::string& statements) const {
        sqlite3* raw = nullptr;
        std::string first;
        EXPECT_EQ(sqlite3_open(folder.Database().c_str(), &raw), SQLITE_OK);
        const auto take = [](void* text, int, char** values, char**) {
            if (values[0] != nullptr) static_cast<std::string*>(text)->append(values[0]);
            return 0;
        };
        EXPECT_EQ(sqlite3_exec(raw, statements.c_str(), take, &first, nullptr), SQLITE_OK) << sqlite3_errmsg(raw);
        sqlite3_close(raw);
        return first;
    }
    /// Rows that come while the index is not known to be there.
    void LoseRowsOf(const std::string& index) const {
        const std::string name = "name = '" + index + "'";
        const std::string entry =
            Run("SELECT quote(type) || ',' || quote(name) || ',' || quote(tbl_name) || ',' || "
                "rootpage || ',' || quote(sql) FROM sqlite_master WHERE " +
                name);
        ASSERT_FALSE(entry.empty());
        Run("PRAGMA writable_schema = ON; DELETE FROM sqlite_master WHERE " + name);
        Run(kMoreRows);
        Run("PRAGMA writable_schema = ON; INSERT INTO sqlite_master VALUES (" + entry + ")");
    }
};

// DB-OPEN-28
TEST_P(Indexes, ThatLostRowsAreMadeAnewAtOpeningAndItIsTold) {
    PutDownload(L"early");
    SQLiteDB::CloseDatabase();
    LoseRowsOf(GetParam());
    ASSERT_EQ(Run("PRAGMA quick_check"), "ok") << "the hole that this closes";
    std::vector<std::string> lines;
    Logging::SetTextSink([&](const Logging::TextRecord& record) { lines.push_back(record.text); });

    const SQLiteDB::OpenResult result = SQLiteDB::OpenDatabase(folder.Wide());
    EXPECT_EQ(result.outcome, SQLiteDB::OpenOutcome::Opened);
    EXPECT_NE(result.message.find("An index of it did not hold all rows"), std::string::npos) << result.message;
    EXPECT_EQ(lines.size(), 1u);
    EXPECT_EQ(Ids(FetchDownloads()), (IdList{L"early", L"late"}));
    EXPECT_EQ(Ids(FetchUploads()), (IdList{L"late up"}));
    SQLiteDB::CloseDatabase();
    EXPECT_EQ(Run("PRAGMA integrity_check"), "ok");
}

INSTANTIATE_TEST_SUITE_P(Each, Indexes,
                         testing::Values("T_task_direction", "T_task_download", "T_task_upload", "T_task_thumbnail",
                                         "T_task_invalid", "T_task_key", "T_file_place", "T_file_status"),
                         [](const auto& info) { return std::string(info.param); });

// DB-OPEN-28
TEST_F(Indexes, OfASoundFileAreLeftAsTheyAre) {
    PutDownload(L"early");
    SQLiteDB::CloseDatabase();
    Run(kMoreRows);
    const SQLiteDB::OpenResult result = SQLiteDB::OpenDatabase(folder.Wide());
    EXPECT_EQ(result.message.find("index"), std::string::npos) << result.message;
    // Each index of the schema is among those that are tried above, or is made for a key.
    EXPECT_EQ(Ask(L"SELECT count(*) FROM sqlite_master WHERE type = 'index' AND name NOT LIKE 'sqlite_%'"), L"8");
}

}  // namespace
}  // namespace Drive::Testing
