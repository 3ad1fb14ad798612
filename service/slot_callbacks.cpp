#include "service/feeding_state.h"
#include "service/shared/codes.h"
#include "service/transfer_task_service.h"

namespace Drive::TransferService {

// A download worker calls with 0 when it has begun and with its key when it has ended. The feed opens when the last
// task of the batch has been taken and its worker has reported.
void TransferTaskService::releaseDownloadSlot(int transferKey) {
    switch (transferKey) {
        case 0:
            break;
        case kKeyNormal:
        case kKeyBackground:
            downloadSemaphore->release();
            break;
        case kKeyPriority:
            prioritySemaphore->release();
            break;
        case kKeyThumbnail:
            thumbnailSemaphore->release();
            return;
        default:
            return;
    }
    downloadFeedIdle = downloadQueue->empty();
}

void TransferTaskService::onUploadEvent(int kind, int value) {
    constexpr int kSpaceMessage = 1;
    constexpr int kWorkerReport = 2;
    constexpr int kWorkerEnded = 1;
    if (kind == kSpaceMessage) {
        notifyUserSpaceMsg(value);
    } else if (kind == kWorkerReport) {
        if (value == kWorkerEnded) uploadSemaphore->release();
        uploadFeedIdle = uploadQueue->empty();
    }
}

}  // namespace Drive::TransferService
