#pragma once

#include <SQLiteCpp/SQLiteCpp.h>

#include <string>

#include "interfaces/common/file_item.h"
#include "interfaces/common/task_item.h"

/// Rows as values. Throws SQLite::Exception, and std::range_error for a text without a narrow form.
namespace Drive::SQLiteDB {

/// "SELECT <columns> FROM T_cloudDriveData ", to which a condition is added.
std::string SelectFile();

/// "SELECT <columns> FROM T_task ".
std::string SelectTask();

/// The statement's row, selected by SelectFile, with the full local path filled in.
Common::FileItem FileOfRow(const SQLite::Statement& statement);

/// The statement's row, selected by SelectTask; `missingKey` stands in for a null transfer key.
Common::TaskItem TaskOfRow(const SQLite::Statement& statement, std::int64_t missingKey);

/// The statement that inserts a file row or replaces all its columns, bound by BindFile.
std::string UpsertFile();
void BindFile(SQLite::Statement& statement, const Common::FileItem& file);

/// A background row in a fetched batch, and one that is read alone: the engine takes the first for a job of its own
/// pool, and gives the slot of the second back by that number.
inline constexpr std::int64_t kMissingKeyInBatch = 0;
inline constexpr std::int64_t kMissingKeyAlone = 11;

}  // namespace Drive::SQLiteDB
