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

template <typename Update>
void Check(const SQLiteDB::UpdateDBInfo& info, std::span<const std::string_view> columns, const Update& update) {
    static const std::string schema = Fuzz::Schema();
    const Fuzz::Attempt attempt;
    const std::string before = Fuzz::Rows();
    bool done = false;
    Fuzz::Allow(1000000);
    try {
        update();
        done = true;
    } catch (const std::invalid_argument&) {
        ZELKOR_REQUIRE(Fuzz::Rows() == before);
    } catch (const std::exception&) {
    }
    ZELKOR_REQUIRE(!done || !HasUnknown(columns, info.columns));
    ZELKOR_REQUIRE(!done || !info.columns.empty() || Fuzz::Rows() == before);
    ZELKOR_REQUIRE(Fuzz::Schema() == schema);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    const SQLiteDB::UpdateDBInfo info = InfoOf(std::string(reinterpret_cast<const char*>(data) + 1, size - 1));
    if (data[0] % 2 == 0) {
        Check(info, SQLiteDB::kFileColumns, [&] { SQLiteDB::UpdateFileRow(Database(), info); });
    } else {
        Check(info, SQLiteDB::kTaskColumns, [&] { SQLiteDB::UpdateTaskRow(Database(), info, 1); });
    }
    try {
        SQLiteDB::IsPositionOnly(info);
    } catch (const std::range_error&) {
        // A column name without a narrow form; the caller refuses it.
    }
    return 0;
}
