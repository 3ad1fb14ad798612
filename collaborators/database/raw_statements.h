#pragma once

#include <list>
#include <string>
#include <vector>

#include "collaborators/database/connection.h"
#include "interfaces/common/wmap.h"

/// Statements that others compose. Throw SQLite::Exception and std::invalid_argument.
namespace Drive::SQLiteDB {

/// Appends a map a row for one read-only statement; nothing is appended when it throws.
void QueryRows(Connection& connection, const std::string& statement, std::list<WMap>& rows);

/// Runs the statements in order, inside the caller's transaction. They may change rows and nothing else. True when one
/// of them writes T_task.
bool RunBatch(Connection& connection, const std::vector<std::string>& statements);

/// The statement of SQLiteDB::GetDownLoadTaskSqlcmd.
std::wstring DownloadTaskStatement(const std::wstring& localFileName, const std::wstring& localParentFolder,
                                   const std::wstring& fileId, bool isOnFetch, std::int64_t transferKey);

}  // namespace Drive::SQLiteDB
