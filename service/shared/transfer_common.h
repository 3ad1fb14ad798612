#pragma once

#include <string>

#include "interfaces/common/file_item.h"
#include "interfaces/common/task_item.h"
#include "interfaces/platform/synchronisation.h"
#include "service/shared/never_destroyed.h"

namespace Drive::TransferService {

/// The gate that makes sure of one running transfer a file and direction. Process-wide, made on first use.
class TransferCommon {
public:
    static TransferCommon& getInstance();

    /// Looks a transfer up and claims it. `task` gives direction and file id, the latter possibly empty; it takes the
    /// task id and the file id found. `file` may hold a file id and takes the row. `path` is the full local path, used
    /// for a download without a file id only. `claim` false only looks (downloads; an upload always claims).
    ///
    /// True: the caller may go on; with a claim the file is at 22, or the file at 12 and the task at 1. False: another
    /// worker has it, there is no such file, or the database failed. The mutex of the direction is held over the read
    /// of the status and the write of the claim. Any thread; never throws.
    bool getTransferFileItem(Common::TaskItem& task, Common::FileItem& file, const std::wstring& path, bool claim);

private:
    TransferCommon() = default;
    bool lookUpDownload(Common::TaskItem& task, Common::FileItem& file, const std::wstring& path, bool claim);
    bool claimUpload(const Common::TaskItem& task, Common::FileItem& file);

    NeverDestroyed<Platform::Mutex> downloadItemMutex;
    NeverDestroyed<Platform::Mutex> uploadItemMutex;
};

}  // namespace Drive::TransferService
