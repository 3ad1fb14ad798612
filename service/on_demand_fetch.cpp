#include <list>
#include <mutex>

#include "download/download_task_manager.h"
#include "interfaces/common/file_item.h"
#include "interfaces/common/globals.h"
#include "service/shared/codes.h"
#include "service/shared/transfer_common.h"
#include "service/transfer_task_service.h"

namespace Drive::TransferService {

namespace {

constexpr int kOnDemandModule = 1;
constexpr int kOnDemandPriority = 1;

// The limit is in mebibytes; shifted as unsigned, so that no setting of it is undefined.
std::int64_t PriorityLimitInBytes() {
    return static_cast<std::int64_t>(static_cast<std::uint64_t>(g_PriorityDownloadSizeLimit) << 20);
}

}  // namespace

void TransferTaskService::executeFetchData(DOWNLOADTASK_CONTEXT& job) {
    std::lock_guard lock(*priorityQueueMutex);
    if (job.fileSize >= PriorityLimitInBytes() || DownLoadTaskManger::getInstance().getDownloadingTaskCount() == 0) {
        fetchAsOrdinaryTask(job);
    } else {
        fetchAheadOfOthers(job);
    }
}

void TransferTaskService::fetchAsOrdinaryTask(DOWNLOADTASK_CONTEXT& job) {
    job.transferKey = kKeyBackground;
    DownLoadTaskManger::getInstance().PushDownLoadTask(std::list<DOWNLOADTASK_CONTEXT>{job});
}

void TransferTaskService::fetchAheadOfOthers(const DOWNLOADTASK_CONTEXT& job) {
    Common::TaskItem task;
    task.SetDirection(kDirectionDownload);
    task.SetTransferKey(job.transferKey);
    task.SetFragmentInfo(std::wstring());
    task.SetModule(kOnDemandModule);
    task.SetPriority(kOnDemandPriority);
    Common::FileItem file;
    if (!job.fileId.empty()) file.SetFileId(job.fileId);
    const std::wstring path = job.localFilePath;
    if (!TransferCommon::getInstance().getTransferFileItem(task, file, path, false)) return;
    priorityQueue->push(task);
    priorityCondition->notify_one();
}

}  // namespace Drive::TransferService
