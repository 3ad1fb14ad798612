#pragma once

#include "service/shared/flags.h"
#include "service/shared/never_destroyed.h"
#include "service/task_semaphore.h"

namespace Drive::TransferService {

/// Slots of the four kinds of workers. The counts are Common's at the moment when this library is loaded; what is set
/// later has no effect.
extern NeverDestroyed<TaskSemaphore> downloadSemaphore;
extern NeverDestroyed<TaskSemaphore> prioritySemaphore;
extern NeverDestroyed<TaskSemaphore> thumbnailSemaphore;
extern NeverDestroyed<TaskSemaphore> uploadSemaphore;

/// Whether the feed of a direction may fetch again. Read and written without a lock: a stale value costs a second or
/// one superfluous fetch.
extern Relaxed<bool> downloadFeedIdle;
extern Relaxed<bool> uploadFeedIdle;

}  // namespace Drive::TransferService
