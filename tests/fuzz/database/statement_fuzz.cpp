// Any text as a statement: a query changes nothing, a batch changes rows and nothing else, and neither leaves its
// transaction. The statement of a download keeps its texts apart whatever they hold.
#include <sqlite3.h>

#include <cstdint>
#include <exception>
#include <list>
#include <string>

#include "collaborators/database/raw_statements.h"
#include "collaborators/database/text_values.h"
#include "tests/fuzz/database/fuzz_database.h"
#include "tests/fuzz/platform/require.h"

namespace {

using namespace Drive;
using Fuzz::Database;

void CheckQuery(const std::string& text) {
    static const std::string rows = Fuzz::Rows();
    const int changes = sqlite3_total_changes(Database().Handle());
    std::list<WMap> found;
    Fuzz::Allow(20000);
    try {
        SQLiteDB::QueryRows(Database(), text, found);
    } catch (const std::exception&) {
        ZELKOR_REQUIRE(found.empty());
    }
    ZELKOR_REQUIRE(sqlite3_total_changes(Database().Handle()) == changes);
    ZELKOR_REQUIRE(sqlite3_get_autocommit(Database().Handle()) != 0);
    ZELKOR_REQUIRE(Fuzz::Rows() == rows);
}

void CheckBatch(const std::string& text) {
    static const std::string schema = Fuzz::Schema();
    const Fuzz::Attempt attempt;
    Fuzz::Allow(20000);
    try {
        SQLiteDB::RunBatch(Database(), {text});
        ZELKOR_REQUIRE(sqlite3_get_autocommit(Database().Handle()) == 0);
    } catch (const std::exception&) {
    }
    ZELKOR_REQUIRE(Fuzz::Schema() == schema);
}

/// With any name, folder and id one task with just that id is made, or none for a place that is unknown.
void CheckDownloadStatement(const std::wstring& text) {
    const std::string statement = SQLiteDB::EncodeText(SQLiteDB::DownloadTaskStatement(text, text, text, true, 11));
    if (text.empty() || statement.find('\0') != std::string::npos) return;
    const Fuzz::Attempt attempt;
    Fuzz::Allow(1000000);
    SQLiteDB::RunBatch(Database(), {statement});
    auto count = Database().Statement("SELECT count(*) FROM T_task WHERE direction = 1 AND fileId = ?");
    SQLiteDB::BindText(*count, 1, text);
    ZELKOR_REQUIRE(count->executeStep() && count->getColumn(0).getInt() == 1);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    CheckQuery(text);
    CheckBatch(text);
    const std::wstring wide = SQLiteDB::DecodeText(text);
    ZELKOR_REQUIRE(SQLiteDB::DecodeText(SQLiteDB::EncodeText(wide)) == wide);
    CheckDownloadStatement(wide);
    return 0;
}
