#include <mutex>
#include <utility>

#include "upload/upload_task_manager.h"

namespace Drive::TransferService {

Relaxed<std::int32_t> UpLoadTaskManger::uploadingTaskCount(0);
Relaxed<bool> UpLoadTaskManger::uploadStopFlag(false);

UpLoadTaskManger::UpLoadTaskManger()
    : existUploadType(L"exist"),
      serverUploadType(L"server"),
      clientUploadType(L"client"),
      firstNotifySpaceFull(true),
      firstNotifySpaceWillFull(true) {}

UpLoadTaskManger& UpLoadTaskManger::getInstance() {
    static UpLoadTaskManger instance;
    return instance;
}

void UpLoadTaskManger::SetUploadServiceCallbackFun(ServiceCallback callback) { uploadServiceCallback.swap(callback); }

void UpLoadTaskManger::SetUploadTaskCallbackFun(TaskCallback callback) { uploadTaskCallback.swap(callback); }

void UpLoadTaskManger::SetFirstNotifySpaceWillFull(const bool& due) { firstNotifySpaceWillFull = due; }

void UpLoadTaskManger::updateUploadingTaskCount(int change) {
    std::lock_guard lock(*uploadCountMutex);
    if (uploadingTaskCount < 1 && change < 0) {
        uploadingTaskCount = 0;
    } else if (uploadingTaskCount >= 0) {
        uploadingTaskCount = uploadingTaskCount + change;
    }
    uploadCountCondition->notify_one();
}

}  // namespace Drive::TransferService
