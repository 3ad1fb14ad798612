#pragma once

#include <chrono>
#include <string>

#include "collaborators/database/connection.h"

namespace Drive::SQLiteDB {

/// Folds the log of the writing connection into the file as it grows, in place of SQLite's own rule: that one waits for
/// nobody, and readers who overlap never leave it a moment in which the log could begin anew. Guarded by whoever guards
/// the connection. Never throws: what could not be folded in stays in the log and is tried again.
class WriteAheadLog {
public:
    /// From now on the length of the log is known. This must outlive the connection.
    void Watch(Connection& connection);

    /// Called after each commit, outside a transaction. Nearly always free; beside readers it waits a moment for them,
    /// in vain once a second at most. Gives a sentence when the log has become long for the first time and cannot begin
    /// anew, otherwise nothing.
    std::string FoldIn(Connection& connection);

private:
    static int Remember(void* self, sqlite3* handle, const char* schema, int pages);
    std::string TellOnce(int pages, int result, const std::string& message);

    int pagesInLog = 0;
    bool told = false;
    std::chrono::steady_clock::time_point nextWait;
};

}  // namespace Drive::SQLiteDB
