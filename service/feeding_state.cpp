#include "service/feeding_state.h"

#include "interfaces/common/globals.h"

namespace Drive::TransferService {

NeverDestroyed<TaskSemaphore> downloadSemaphore(g_MaxDownloadTaskCount);
NeverDestroyed<TaskSemaphore> prioritySemaphore(static_cast<int>(g_PriorityDownloadTaskLimit));
NeverDestroyed<TaskSemaphore> thumbnailSemaphore(g_MaxThumbnailDownloadTaskCount);
NeverDestroyed<TaskSemaphore> uploadSemaphore(g_MaxUploadTaskCount);

Relaxed<bool> downloadFeedIdle(true);
Relaxed<bool> uploadFeedIdle(true);

}  // namespace Drive::TransferService
