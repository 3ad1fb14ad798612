// Any map of columns and texts: known columns get just those values or nothing is written; unknown ones are refused.
#include <cstdint>
#include <exception>
#include <stdexcept>
#include <string>

#include "collaborators/database/schema.h"
#include "collaborators/database/text_values.h"
#include "collaborators/database/update_row.h"
#include "interfaces/platform/text.h"
#include "tests/fuzz/database/fuzz_database.h"
#include "tests/fuzz/platform/require.h"

namespace {

using namespace Drive;
using Fuzz::Database;

struct Table {
    const char* name;
    std::span<const std::string_view> columns;
    bool hasDirection;  ///< a row is known by its id and direction 1
};

/// The input as lines: the first begins with a letter that picks the table and goes on with the key, the others are
/// "column=value".
SQLiteDB::UpdateDBInfo InfoOf(const std::string& text) {
    SQLiteDB::UpdateDBInfo info;
    std::size_t begin = text.find('\n');
    info.key = SQLiteDB::DecodeText(text.substr(0, begin));
    while (begin != std::string::npos) {
        const std::size_t end = text.find('\n', begin + 1);
        const std::string line = text.substr(begin + 1, end == std::string::npos ? end : end - begin - 1);
        const std::size_t sign = line.find('=');
        if (sign != std::string::npos) {
            info.columns[SQLiteDB::DecodeText(line.substr(0, sign))] = SQLiteDB::DecodeText(line.substr(sign + 1));
        }
        begin = end;
    }
    return info;
}

bool HasUnknown(std::span<const std::string_view> columns, const WMap& map) {
    for (const auto& [name, value] : map) {
        if (SQLiteDB::FindColumn(columns, Platform::NarrowText(name)).empty()) return true;
    }
    return false;
}

/// Where the row is after the update: under its new id, and direction, when the map holds one.
std::wstring Given(const SQLiteDB::UpdateDBInfo& info, const char* column, const std::wstring& otherwise) {
    for (const auto& [name, value] : info.columns) {
        if (SQLiteDB::SameName(Platform::NarrowText(name), column)) return value;
    }
    return otherwise;
}

bool IsSame(const std::wstring& found, const std::wstring& given, SQLiteDB::ColumnKind kind) {
    if (kind == SQLiteDB::ColumnKind::Text) return found == given;
    return std::stoll(found) == std::stoll(given);
}

/// The columns of the row that the update was for, as they can be read back.
void CheckTaken(const SQLiteDB::UpdateDBInfo& info, const Table& table) {
    for (const auto& [name, value] : info.columns) {
        const std::string column(SQLiteDB::FindColumn(table.columns, Platform::NarrowText(name)));
        SQLite::Statement row(Database().Raw(), "SELECT " + column + " FROM " + table.name + " WHERE fileId = ?" +
                                                    (table.hasDirection ? " AND direction = ?" : ""));
        SQLiteDB::BindText(row, 1, Given(info, "fileId", info.key));
        if (table.hasDirection) row.bind(2, std::int64_t{std::stoll(Given(info, "direction", L"1"))});
        ZELKOR_REQUIRE(row.executeStep());
        ZELKOR_REQUIRE(IsSame(SQLiteDB::TextAt(row, 0), value, SQLiteDB::KindOf(column)));
    }
}

bool IsThere(const SQLiteDB::UpdateDBInfo& info, const Table& table) {
    SQLite::Statement row(Database().Raw(), std::string("SELECT 1 FROM ") + table.name + " WHERE fileId = ?" +
                                                (table.hasDirection ? " AND direction = 1" : ""));
    SQLiteDB::BindText(row, 1, info.key);
    return row.executeStep();
}

template <typename Update>
void Check(const SQLiteDB::UpdateDBInfo& info, const Table& table, const Update& update) {
    static const std::string schema = Fuzz::Schema();
    const Fuzz::Attempt attempt;
    const std::string before = Fuzz::Rows();
    bool done = false, wasThere = false;
    Fuzz::Allow(1000000);
    try {
        wasThere = IsThere(info, table);
        update();
        done = true;
    } catch (const std::invalid_argument&) {
        ZELKOR_REQUIRE(Fuzz::Rows() == before);
    } catch (const std::exception&) {
    }
    ZELKOR_REQUIRE(!done || !HasUnknown(table.columns, info.columns));
    if (done && wasThere) CheckTaken(info, table);
    if (!wasThere || info.columns.empty()) ZELKOR_REQUIRE(Fuzz::Rows() == before);
    ZELKOR_REQUIRE(Fuzz::Schema() == schema);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    const SQLiteDB::UpdateDBInfo info = InfoOf(std::string(reinterpret_cast<const char*>(data) + 1, size - 1));
    if (data[0] % 2 == 0) {
        Check(info, {"T_cloudDriveData", SQLiteDB::kFileColumns, false},
              [&] { SQLiteDB::UpdateFileRow(Database(), info); });
    } else {
        Check(info, {"T_task", SQLiteDB::kTaskColumns, true}, [&] { SQLiteDB::UpdateTaskRow(Database(), info, 1); });
    }
    try {
        SQLiteDB::IsPositionOnly(info);
    } catch (const std::range_error&) {
        // A column name without a narrow form; the caller refuses it.
    }
    return 0;
}
