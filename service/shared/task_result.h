#pragma once

namespace Drive::TransferService {

/// Outcome of one transfer task. The workers turn it into rows.
enum TaskResult {
    TaskResultFailure = 0,         ///< upload: kept, less urgent; download: given up
    TaskResultSuccess = 1,         ///< done
    TaskResultDeleteForRetry = 2,  ///< upload: task deleted, the file is queued again by a later scan
    TaskResultDeleteTask = 3,      ///< upload: task deleted, file held back
    TaskResultNoSync = 4,          ///< upload: task kept, file held back
    TaskResultStop = 5,            ///< stopped
    TaskResultCancel = 6,          ///< download: cancelled
    TaskResultRetry = 7,           ///< download: the same worker tries again while the priority allows
    TaskResultOnlyDeleteTask = 8   ///< upload: task deleted, nothing else
};

}  // namespace Drive::TransferService
