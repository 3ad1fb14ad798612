#pragma once

#include <list>
#include <string>
#include <vector>

#include "collaborators/database/connection.h"
#include "collaborators/database/leases.h"
#include "interfaces/common/task_item.h"
#include "interfaces/common/wmap.h"

/// What the feeds fetch. Run on the writing connection with its mutex held. Throw SQLite::Exception and
/// std::invalid_argument for a status list or direction that is none.
namespace Drive::SQLiteDB {

/// The statement that walks the tasks of a direction whose files have one of the values, in the order of the feed.
/// The two lists of the engine run on partial indexes that hold their rows alone. A literal list and no parameters,
/// since only then does the planner see that the index applies.
std::string FeedStatement(const std::string& fileStatus, const std::string& direction);

/// Appends rows that are not leased, and leases them.
void HandOutTasks(Connection& connection, TaskLeases& leases, const std::string& statement, int limit,
                  std::vector<Common::TaskItem>& tasks);

extern const char* const kThumbnailStatement;

/// What follows SELECT or DELETE to mean the uploads whose file row is absent or a folder. The index is named: without
/// statistics the planner would rather walk the direction.
inline constexpr const char* kTasksWithoutFile =
    " FROM T_task INDEXED BY T_task_invalid WHERE direction = 2 AND readyState IS NULL";

void HandOutThumbnails(Connection& connection, TaskLeases& leases, int limit, std::list<WMap>& rows);

}  // namespace Drive::SQLiteDB
