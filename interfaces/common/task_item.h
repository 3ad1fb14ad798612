#pragma once

#include <cstdint>
#include <string>
#include <utility>

namespace Drive::Common {

/// One row of `T_task`: a plain value, copied whole wherever it changes hands. An absent row is a default-made one
/// (empty file id, task id 0).
class TaskItem {
public:
    /// Row key of `T_task` (column `taskId`); 0 in a task that was built in memory.
    std::int64_t GetTaskId() const { return taskId; }
    void SetTaskId(std::int64_t value) { taskId = value; }
    /// The file that the task moves (column `fileId`); may be empty in a task built for an on-demand fetch.
    const std::wstring& GetFileId() const { return fileId; }
    void SetFileId(std::wstring value) { fileId = std::move(value); }
    /// 1 download, 2 upload, 3 thumbnail (column `direction`).
    int GetDirection() const { return direction; }
    void SetDirection(int value) { direction = value; }
    /// 0 waiting, 1 running, 3 cancel requested, 4 stop requested (column `TaskStatus`).
    int GetTaskstatus() const { return taskStatus; }
    void SetTaskstatus(int value) { taskStatus = value; }
    /// Retry weight, lower is taken first; grows by 3 with each failure that is tried again (column `Priority`).
    int GetPriority() const { return priority; }
    void SetPriority(int value) { priority = value; }
    /// 1 for an on-demand fetch; nothing reads it back (column `module`).
    int GetModule() const { return module; }
    void SetModule(int value) { module = value; }
    /// Names the worker pool: 0 or less background, 1 and 11 download, 2 priority, 3 thumbnail (column `transferKey`).
    std::int64_t GetTransferKey() const { return transferKey; }
    void SetTransferKey(std::int64_t value) { transferKey = value; }
    /// The JSON resume record (column `fragmentInfo`): download, client upload or server upload form.
    const std::wstring& GetFragmentInfo() const { return fragmentInfo; }
    void SetFragmentInfo(std::wstring value) { fragmentInfo = std::move(value); }

private:
    std::int64_t taskId = 0;
    std::wstring fileId;
    int direction = 0;
    int taskStatus = 0;
    int priority = 0;
    int module = 0;
    std::int64_t transferKey = 0;
    std::wstring fragmentInfo;
};

}  // namespace Drive::Common
