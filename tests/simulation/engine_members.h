#pragma once

#include "service/feeding_state.h"
#include "service/transfer_task_service.h"
#include "tests/support/private_access.h"
#include "upload/upload_task_manager.h"

/// The members of the engine that the checks read without asking it.
namespace Drive::Testing {

using TransferService::ConcurrentQueue;
using TransferService::NeverDestroyed;
using TransferService::Relaxed;
using TransferService::TaskSemaphore;
using TransferService::TransferTaskService;
using TransferService::UpLoadTaskManger;

struct CountOfSlots {
    using Type = int TaskSemaphore::*;
    friend Type Reach(CountOfSlots);
};
struct DownloadQueueOf {
    using Type = NeverDestroyed<ConcurrentQueue<Common::TaskItem>> TransferTaskService::*;
    friend Type Reach(DownloadQueueOf);
};
struct UploadQueueOf {
    using Type = NeverDestroyed<ConcurrentQueue<Common::TaskItem>> TransferTaskService::*;
    friend Type Reach(UploadQueueOf);
};
struct PriorityQueueOf {
    using Type = NeverDestroyed<ConcurrentQueue<Common::TaskItem>> TransferTaskService::*;
    friend Type Reach(PriorityQueueOf);
};
struct ThumbnailQueueOf {
    using Type = NeverDestroyed<ConcurrentQueue<WMap>> TransferTaskService::*;
    friend Type Reach(ThumbnailQueueOf);
};
struct UploadCountOf {
    using Type = Relaxed<std::int32_t>*;
    friend Type Reach(UploadCountOf);
};

}  // namespace Drive::Testing
