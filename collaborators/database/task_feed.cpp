#include "collaborators/database/task_feed.h"

#include <charconv>
#include <set>
#include <stdexcept>

#include "collaborators/database/rows.h"
#include "collaborators/database/text_values.h"

namespace Drive::SQLiteDB {

namespace {

[[noreturn]] void RefuseList(const std::string& text) {
    throw std::invalid_argument("\"" + text + "\" is no list of file states");
}

/// "'0','21','23'" to its numbers, in ascending order, so that equal sets give equal statements.
std::set<int> StatesOf(const std::string& text) {
    std::set<int> states;
    const char* at = text.data();
    const char* const end = at + text.size();
    const auto expect = [&](char wanted) {
        if (at == end || *at++ != wanted) RefuseList(text);
    };
    while (true) {
        while (at != end && *at == ' ') ++at;
        expect('\'');
        int state = 0;
        const auto parsed = std::from_chars(at, end, state);
        if (parsed.ec != std::errc()) RefuseList(text);
        at = parsed.ptr;
        expect('\'');
        states.insert(state);
        while (at != end && *at == ' ') ++at;
        if (at == end) return states;
        expect(',');
    }
}

std::string ListOf(const std::set<int>& states) {
    std::string list;
    for (const int state : states) list += (list.empty() ? "" : ",") + std::to_string(state);
    return list;
}

WMap ThumbnailRow(Connection& connection, const std::string& fileId) {
    auto file = connection.Statement(
        "SELECT fileId, localFileName, localParentFolder, thunbnailDownloadLink FROM T_cloudDriveData WHERE fileId = "
        "?");
    file->bind(1, fileId);
    WMap row;
    if (!file->executeStep()) return row;
    const wchar_t* const keys[] = {L"fileId", L"localFileName", L"localParentFolder", L"thunbnailDownloadLink"};
    for (int column = 0; column < 4; ++column) row[keys[column]] = TextAt(*file, column);
    return row;
}

std::string IndexFor(const std::string& direction, const std::string& list) {
    if (direction == "1" && list == "0,21,23") return "T_task_download";
    if (direction == "2" && list == "0,11,13") return "T_task_upload";
    return "T_task_direction";
}

}  // namespace

std::string FeedStatement(const std::string& fileStatus, const std::string& direction) {
    if (direction != "1" && direction != "2") throw std::invalid_argument("\"" + direction + "\" is no direction");
    const std::string list = ListOf(StatesOf(fileStatus));
    // Rows of the priority and the thumbnail pool are not of this feed.
    const std::string pools = direction == "1" ? " AND ifnull(transferKey, 0) NOT IN (2,3)" : "";
    return SelectTask() + "INDEXED BY " + IndexFor(direction, list) + " WHERE direction = " + direction +
           " AND readyState IN (" + list + ")" + pools + " ORDER BY Priority, taskId";
}

void HandOutTasks(Connection& connection, TaskLeases& leases, const std::string& statement, int limit,
                  std::vector<Common::TaskItem>& tasks) {
    std::vector<Common::TaskItem> found;
    auto rows = connection.Statement(statement);
    while (static_cast<int>(found.size()) < limit && rows->executeStep()) {
        if (leases.Holds(rows->getColumn(0).getInt64())) continue;
        found.push_back(TaskOfRow(*rows, kMissingKeyInBatch));
    }
    tasks.insert(tasks.end(), found.begin(), found.end());
    for (const Common::TaskItem& task : found) leases.Take(task.GetTaskId());
}

const char* const kThumbnailStatement =
    "SELECT taskId, fileId FROM T_task INDEXED BY T_task_thumbnail WHERE direction = 3 AND readyState IS NOT NULL "
    "ORDER BY taskId";

void HandOutThumbnails(Connection& connection, TaskLeases& leases, int limit, std::list<WMap>& rows) {
    std::list<WMap> found;
    std::vector<std::int64_t> taskIds;
    auto tasks = connection.Statement(kThumbnailStatement);
    while (static_cast<int>(found.size()) < limit && tasks->executeStep()) {
        const std::int64_t taskId = tasks->getColumn(0).getInt64();
        if (leases.Holds(taskId)) continue;
        WMap row = ThumbnailRow(connection, tasks->getColumn(1).getString());
        if (row.empty()) continue;
        found.push_back(std::move(row));
        taskIds.push_back(taskId);
    }
    rows.splice(rows.end(), found);
    for (const std::int64_t taskId : taskIds) leases.Take(taskId);
}

}  // namespace Drive::SQLiteDB
