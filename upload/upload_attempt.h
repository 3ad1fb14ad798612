#pragma once

#include <string>
#include <utility>
#include <vector>

#include "interfaces/common/completion_models.h"
#include "interfaces/common/file_item.h"
#include "interfaces/common/task_item.h"
#include "interfaces/common/upload_plan.h"
#include "interfaces/common/wmap.h"
#include "service/shared/task_result.h"

namespace Drive::TransferService {

/// What one attempt holds; private to the worker's call. `file` is a working copy: the caller's item stays as it was.
struct UploadAttempt {
    explicit UploadAttempt(Common::TaskItem& task, const Common::FileItem& file) : task(task), file(file) {}

    /// The attempt ends with this outcome. Always false, so that a step can return it.
    bool end(TaskResult outcome) {
        result = outcome;
        return false;
    }

    std::wstring taskIdText() const { return std::to_wstring(task.GetTaskId()); }

    Common::TaskItem& task;
    Common::FileItem file;
    std::string fileId;  ///< narrow, for log lines
    Common::UploadStartInfo startInfo;
    bool hasAttachment = false;                          ///< noted before the file is opened
    WMap responseMap;                                    ///< the cloud's answer to the last finishing call
    std::vector<Common::ObjectInfoList> objectInfoList;  ///< what the finishing call tells of the stored objects
    TaskResult result = TaskResultFailure;               ///< set by the step that ends the attempt
};

}  // namespace Drive::TransferService
