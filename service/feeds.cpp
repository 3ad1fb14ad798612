#include <list>
#include <mutex>
#include <vector>

#include "interfaces/database/sqlite_db.h"
#include "interfaces/platform/clock.h"
#include "service/feeding_state.h"
#include "service/shared/background_task.h"
#include "service/transfer_task_service.h"

namespace Drive::TransferService {

namespace {

constexpr int kBatch = 100;
constexpr Platform::DWORD kUploadFetchPause = 5000;

SQLiteDB::SQLiteDB& Database() { return SQLiteDB::SQLiteDB::GetInstance(); }

// Fetches one batch into the queue. The flag stays false when something was found: a worker may set it meanwhile, so
// false is never stored a second time.
void FetchBatch(ConcurrentQueue<Common::TaskItem>& queue, Relaxed<bool>& idle, const char* fileStatus,
                const char* direction) {
    std::vector<Common::TaskItem> tasks;
    Database().GetTaskAllItem(tasks, fileStatus, direction, kBatch);
    if (tasks.empty()) idle = true;
    for (const Common::TaskItem& task : tasks) queue.push(task);
}

}  // namespace

void TransferTaskService::pushLatestDownloadTask() {
    if (!downloadFeedIdle) return;
    StartBackgroundTask([this] { fetchDownloadTasks(); });
}

void TransferTaskService::fetchDownloadTasks() {
    std::lock_guard lock(*downloadFeedMutex);
    if (!downloadQueue->empty()) return;
    downloadFeedIdle = false;
    FetchBatch(*downloadQueue, downloadFeedIdle, "'0','21','23'", "1");
}

void TransferTaskService::pushLatestUploadTask() {
    if (!uploadFeedIdle) return;
    StartBackgroundTask([this] { fetchUploadTasks(); });
}

void TransferTaskService::fetchUploadTasks() {
    std::lock_guard lock(*uploadFeedMutex);
    Database().ClearInvalidateTask();
    if (!uploadQueue->empty()) return;
    uploadFeedIdle = false;
    Platform::Sleep(kUploadFetchPause);
    FetchBatch(*uploadQueue, uploadFeedIdle, "'0','11','13'", "2");
}

void TransferTaskService::pushLatestThumbnailTask() {
    if (!thumbnailQueue->empty()) {
        thumbnailCondition->notify_one();
        return;
    }
    StartBackgroundTask([this] { fetchThumbnailTasks(); });
}

void TransferTaskService::fetchThumbnailTasks() {
    std::lock_guard lock(*thumbnailQueueMutex);
    if (!thumbnailQueue->empty()) return;
    std::list<WMap> rows;
    Database().GetThumbnailFileDownLoadTask(rows, kBatch);
    for (const WMap& row : rows) thumbnailQueue->push(row);
    thumbnailCondition->notify_one();
}

}  // namespace Drive::TransferService
