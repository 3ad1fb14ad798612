#include "collaborators/database/update_row.h"

#include <charconv>
#include <limits>
#include <set>
#include <stdexcept>
#include <vector>

#include "collaborators/database/schema.h"
#include "collaborators/database/text_values.h"
#include "interfaces/platform/clock.h"
#include "interfaces/platform/text.h"

namespace Drive::SQLiteDB {

namespace {

/// What the cloud alone knows of a file: taken from a displaced row where our own has nothing.
constexpr std::string_view kCloudColumns[] = {
    "name", "parentId", "hash", "mimeType", "kind", "contentVersion", "thunbnailDownloadLink"};

struct Assignments {
    std::string text;
    std::vector<const std::wstring*> values;
};

/// SQLite itself takes "1e3" and " 7 ", and would keep a number that comes back as another one when the row is read.
bool Fits(ColumnKind kind, const std::string& value) {
    if (kind == ColumnKind::Text) return true;
    std::int64_t number = 0;
    const char* const end = value.data() + value.size();
    const auto parsed = std::from_chars(value.data(), end, number);
    if (parsed.ec != std::errc() || parsed.ptr != end) return false;
    return kind == ColumnKind::Int64 ||
           (number >= std::numeric_limits<int>::min() && number <= std::numeric_limits<int>::max());
}

Assignments Assign(std::span<const std::string_view> columns, const WMap& map) {
    Assignments result;
    std::set<std::string_view> named;
    for (const auto& [name, value] : map) {
        const std::string narrow = Platform::NarrowText(name);
        const std::string_view column = FindColumn(columns, narrow);
        if (column.empty()) throw std::invalid_argument("there is no column \"" + narrow + "\"");
        // Two spellings of one column: whichever were taken, the other would be dropped without a word.
        if (!named.insert(column).second) throw std::invalid_argument("there are two values for \"" + narrow + "\"");
        if (!Fits(KindOf(column), EncodeText(value)))
            throw std::invalid_argument("\"" + EncodeText(value) + "\" is no value for \"" + narrow + "\"");
        result.text += (result.text.empty() ? "" : ", ") + std::string(column) + " = ?";
        result.values.push_back(&value);
    }
    return result;
}

const std::wstring* NewFileId(const UpdateDBInfo& info) {
    for (const auto& [name, value] : info.columns) {
        if (SameName(Platform::NarrowText(name), "fileId")) return &value;
    }
    return nullptr;
}

bool HasFile(Connection& connection, const std::wstring& fileId) {
    auto statement = connection.Statement("SELECT 1 FROM T_cloudDriveData WHERE fileId = ?");
    BindText(*statement, 1, fileId);
    return statement->executeStep();
}

void RunForTwo(Connection& connection, const std::string& text, const std::wstring& mine, const std::wstring& other) {
    auto statement = connection.Statement(text);
    BindText(*statement, 1, mine);
    BindText(*statement, 2, other);
    statement->exec();
}

void KeepDisplacedRow(Connection& connection, const std::wstring& other) {
    auto statement =
        connection.Statement("INSERT INTO T_displacedDriveData (displacedAt, " + ColumnList(kFileColumns) +
                             ") SELECT ?, " + ColumnList(kFileColumns) + " FROM T_cloudDriveData WHERE fileId = ?");
    statement->bind(1, static_cast<std::int64_t>(Platform::UnixTimeSeconds()));
    BindText(*statement, 2, other);
    statement->exec();
}

/// An upload ends with an id that the change feed brought before: the row that knows the local file stays, takes what
/// only the other one knows, and the other one is kept in T_displacedDriveData. A download of the other that has not
/// begun would fetch what has just been sent, so its task goes; one that runs keeps it.
void SettleNewId(Connection& connection, const std::wstring& key, const std::wstring& other) {
    if (key == other || !HasFile(connection, key) || !HasFile(connection, other)) return;
    KeepDisplacedRow(connection, other);
    std::string changes;
    for (const std::string_view view : kCloudColumns) {
        const std::string column(view);
        changes += (changes.empty() ? "" : ", ") + column + " = iif(mine." + column + " = '', theirs." + column +
                   ", mine." + column + ")";
    }
    RunForTwo(connection,
              "UPDATE T_cloudDriveData AS mine SET " + changes +
                  " FROM T_cloudDriveData AS theirs WHERE mine.fileId = ? AND theirs.fileId = ?",
              key, other);
    auto downloads =
        connection.Statement("DELETE FROM T_task WHERE fileId = ? AND direction = 1 AND readyState IS NOT 22");
    BindText(*downloads, 1, other);
    downloads->exec();
    auto row = connection.Statement("DELETE FROM T_cloudDriveData WHERE fileId = ?");
    BindText(*row, 1, other);
    row->exec();
}

}  // namespace

void UpdateFileRow(Connection& connection, const UpdateDBInfo& info) {
    const Assignments assignments = Assign(kFileColumns, info.columns);
    if (assignments.values.empty()) return;
    if (const std::wstring* other = NewFileId(info)) SettleNewId(connection, info.key, *other);
    auto statement = connection.Statement("UPDATE T_cloudDriveData SET " + assignments.text + " WHERE fileId = ?");
    int index = 0;
    for (const std::wstring* value : assignments.values) BindText(*statement, ++index, *value);
    BindText(*statement, ++index, info.key);
    statement->exec();
}

void UpdateTaskRow(Connection& connection, const UpdateDBInfo& info, int direction) {
    const Assignments assignments = Assign(kTaskColumns, info.columns);
    if (assignments.values.empty()) return;
    auto statement =
        connection.Statement("UPDATE T_task SET " + assignments.text + " WHERE fileId = ? AND direction = ?");
    int index = 0;
    for (const std::wstring* value : assignments.values) BindText(*statement, ++index, *value);
    BindText(*statement, ++index, info.key);
    statement->bind(++index, direction);
    statement->exec();
}

bool IsPositionOnly(const UpdateDBInfo& info) {
    if (info.columns.size() != 1) return false;
    const auto& [name, value] = *info.columns.begin();
    return !value.empty() && SameName(Platform::NarrowText(name), "fragmentInfo");
}

}  // namespace Drive::SQLiteDB
