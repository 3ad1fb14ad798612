#pragma once

#include <array>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "collaborators/database/connection.h"

/// Tables, indexes and how an older file is brought to the present form.
namespace Drive::SQLiteDB {

/// The columns of T_cloudDriveData in the order in which rows are read and written.
inline constexpr std::array<std::string_view, 18> kFileColumns = {"fileId",
                                                                  "name",
                                                                  "localFileName",
                                                                  "localParentFolder",
                                                                  "localParentId",
                                                                  "parentId",
                                                                  "parentFolder",
                                                                  "hash",
                                                                  "localFileSha256",
                                                                  "mimeType",
                                                                  "kind",
                                                                  "contentVersion",
                                                                  "thunbnailDownloadLink",
                                                                  "attachmentSize",
                                                                  "size",
                                                                  "fileStatus",
                                                                  "status",
                                                                  "isFolder"};

/// The columns of T_task that an update may write. taskId is the row's identity, readyState is kept by triggers.
inline constexpr std::array<std::string_view, 7> kTaskColumns = {"fileId", "direction",   "TaskStatus",  "Priority",
                                                                 "module", "transferKey", "fragmentInfo"};

/// The columns of T_SyncConf that an update may write.
inline constexpr std::array<std::string_view, 1> kConfColumns = {"LastNotifySpaceFull"};

/// What a column's value has to fit into when its row is read.
enum class ColumnKind { Text, Int, Int64 };
ColumnKind KindOf(std::string_view column);

/// The name as the schema spells it, or an empty view when there is no such column.
std::string_view FindColumn(std::span<const std::string_view> columns, const std::string& name);

/// "a, b, c".
std::string ColumnList(std::span<const std::string_view> columns);

/// One step of the schema: what leads from the version before to `version`.
struct Migration {
    int version;
    std::vector<std::string> statements;
};

/// All steps, in ascending order.
const std::vector<Migration>& Migrations();

/// Version that this library writes: that of the last step.
int SchemaVersion();

/// Runs the steps above the file's version, each in a transaction of its own together with its number, so that an
/// interrupted one leaves the version before. Throws SQLite::Exception.
void Migrate(Connection& connection, const std::vector<Migration>& steps);

/// Marks the file as one of this system.
inline constexpr int kApplicationId = 0x5A4B4454;

}  // namespace Drive::SQLiteDB
