#include "collaborators/database/leases.h"

#include <sqlite3.h>

namespace Drive::SQLiteDB {

namespace {

void Report(sqlite3_context* context, int, sqlite3_value** values) {
    static_cast<TaskLeases*>(sqlite3_user_data(context))->ReportChange(sqlite3_value_int64(values[0]));
    sqlite3_result_null(context);
}

void AddReporter(Connection& connection, const char* name, TaskLeases& leases) {
    const int result = sqlite3_create_function_v2(connection.Handle(), name, 1, SQLITE_UTF8, &leases, &Report, nullptr,
                                                  nullptr, nullptr);
    if (result != SQLITE_OK) throw SQLite::Exception(connection.Handle(), result);
}

}  // namespace

void TaskLeases::ReportChange(std::int64_t taskId) {
    if (held.contains(taskId)) changed.push_back(taskId);
}

void TaskLeases::Commit() {
    if (allChanged) held.clear();
    for (const std::int64_t taskId : changed) held.erase(taskId);
    RollBack();
}

void TaskLeases::RollBack() {
    changed.clear();
    allChanged = false;
}

void WatchTaskRows(Connection& connection, TaskLeases& transfers, TaskLeases& thumbnails) {
    AddReporter(connection, "zelkor_task_changed", transfers);
    AddReporter(connection, "zelkor_task_gone", thumbnails);
    // Temporary triggers: they belong to this connection and leave no trace in the file.
    connection.Execute(
        "CREATE TEMP TRIGGER zelkor_watch_update "
        "AFTER UPDATE OF fileId, direction, TaskStatus, Priority, fragmentInfo, readyState ON main.T_task "
        "WHEN OLD.readyState IS NOT NEW.readyState OR OLD.TaskStatus <> NEW.TaskStatus OR "
        "OLD.Priority <> NEW.Priority OR OLD.fragmentInfo <> NEW.fragmentInfo OR OLD.fileId <> NEW.fileId OR "
        "OLD.direction <> NEW.direction "
        "BEGIN SELECT zelkor_task_changed(OLD.taskId); END");
    connection.Execute(
        "CREATE TEMP TRIGGER zelkor_watch_delete AFTER DELETE ON main.T_task "
        "BEGIN SELECT zelkor_task_changed(OLD.taskId), zelkor_task_gone(OLD.taskId); END");
}

}  // namespace Drive::SQLiteDB
