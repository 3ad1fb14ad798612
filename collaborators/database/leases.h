#pragma once

#include <cstdint>
#include <unordered_set>
#include <vector>

#include "collaborators/database/connection.h"

namespace Drive::SQLiteDB {

/// Which tasks were handed out and still look as they did then. A plain value; the owner of the writing connection
/// guards it. Changes that a transaction makes count when it commits: a rolled back one leaves all leases.
class TaskLeases {
public:
    bool Holds(std::int64_t taskId) const { return held.contains(taskId); }
    void Take(std::int64_t taskId) { held.insert(taskId); }
    std::size_t Size() const { return held.size(); }

    /// The open transaction has changed or deleted that row.
    void ReportChange(std::int64_t taskId);
    /// The open transaction ends all leases.
    void ReportEndOfAll() { allChanged = true; }

    void Commit();
    void RollBack();

private:
    std::unordered_set<std::int64_t> held;
    std::vector<std::int64_t> changed;
    bool allChanged = false;
};

/// Makes the writing connection report to the leases whatever changes a task row, raw statements and the schema's own
/// triggers included: `transfers` hears of changes of file status, task status, priority, record and of deletions,
/// `thumbnails` of deletions alone. Both must outlive the connection. Throws SQLite::Exception.
void WatchTaskRows(Connection& connection, TaskLeases& transfers, TaskLeases& thumbnails);

}  // namespace Drive::SQLiteDB
