#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "interfaces/common/task_item.h"
#include "interfaces/common/wmap.h"
#include "interfaces/platform/export.h"
#include "interfaces/platform/synchronisation.h"
#include "service/shared/concurrent_queue.h"
#include "service/shared/flags.h"
#include "service/shared/never_destroyed.h"
#include "service/shared/transfer_records.h"

namespace pplx {
class cancellation_token;
class cancellation_token_source;
}  // namespace pplx

namespace Drive::TransferService {

/// The singleton that owns the transfer service: it takes rows out of the database and hands them to the engines'
/// workers. A host calls, in this order and from one thread: setFileTransNotifyMsgCallBack and the setters of the two
/// engines, startTransferTaskService, and at the end stopTransferTaskService; executeFetchData at any time between, on
/// a thread of its own.
class TransferTaskService {
public:
    /// The host's callback: message 1 transfer activity (the flag says whether tasks exist, once a second), 2 user
    /// space is full, 3 user space will soon be full. The text is empty. Called on engine threads, for 2 and 3 under a
    /// mutex of the service; it must be fast, must not throw and must not call the service.
    using NotifyCallback = std::function<void(int, const std::wstring&, bool)>;

    /// The one service, made on first use, thread-safe.
    ZELKOR_API static TransferTaskService& getInstance();

    /// Sets the callback, replacing an earlier one. Before start, and not while the service runs.
    ZELKOR_API void setFileTransNotifyMsgCallBack(NotifyCallback callback);

    /// Repairs what a crash left behind and starts the main loop and the dispatchers. Returns at once. The flags that
    /// an earlier stop set in the engines are not cleared: a service that was stopped starts only in a new process.
    ZELKOR_API void startTransferTaskService();

    /// Cancels the loops, then waits for the running downloads without limit and for the running uploads for 10
    /// seconds at most. Rows of tasks that were not begun stay as they are and are found by the next start.
    ZELKOR_API void stopTransferTaskService();

    /// Fetches the content of one file now. `job` holds at least localFilePath, fileSize, transferKey (2) and, where
    /// known, fileId. While the engine is busy a file below g_PriorityDownloadSizeLimit jumps the queue; every other
    /// becomes an ordinary task, and `job.transferKey` is 11 afterwards. May block for seconds behind a pass of the
    /// priority dispatcher. What becomes of it is told through the download callback alone; a file that is being
    /// downloaded already, or that has no row, is passed over in silence.
    ZELKOR_API void executeFetchData(DOWNLOADTASK_CONTEXT& job);

    TransferTaskService(const TransferTaskService&) = delete;
    TransferTaskService& operator=(const TransferTaskService&) = delete;

private:
    TransferTaskService();
    ~TransferTaskService();

    // Lifecycle (lifecycle.cpp, main_loop.cpp).
    void initializeTransferService();
    void drainQueues();
    void repairRows();
    void backgroundMainServiceTask(const pplx::cancellation_token& token);
    bool userKeyIsThere();
    void runMainPass();

    // Feeds (feeds.cpp).
    void pushLatestThumbnailTask();
    void pushLatestDownloadTask();
    void pushLatestUploadTask();
    void fetchThumbnailTasks();
    void fetchDownloadTasks();
    void fetchUploadTasks();

    // Dispatchers (dispatchers.cpp) and the callbacks that give slots back (slot_callbacks.cpp).
    void thumbnailTaskService(const pplx::cancellation_token& token);
    void downloadTaskService(const pplx::cancellation_token& token);
    void uploadTaskService(const pplx::cancellation_token& token);
    void releaseDownloadSlot(int transferKey);
    void onUploadEvent(int kind, int value);

    // Space (space_inspection.cpp).
    bool shouldNotifySpaceFull(std::int64_t lastTime, std::int64_t& remaining);
    bool shouldNotifySpaceWillFull(std::int64_t lastTime, std::int64_t& remaining);
    void regularInspectionSpace();
    void inspectSpaceFull();
    void inspectSpaceWillFull();
    void notifyUserSpaceMsg(const int& message);

    // On-demand fetch (on_demand_fetch.cpp).
    void fetchAsOrdinaryTask(DOWNLOADTASK_CONTEXT& job);
    void fetchAheadOfOthers(const DOWNLOADTASK_CONTEXT& job);

    // Mutexes, each for what its name says. priorityQueueMutex is the only one under which another is taken.
    NeverDestroyed<Platform::Mutex> thumbnailQueueMutex;
    NeverDestroyed<Platform::Mutex> downloadFeedMutex;
    NeverDestroyed<Platform::Mutex> uploadFeedMutex;
    NeverDestroyed<Platform::Mutex> priorityQueueMutex;
    NeverDestroyed<Platform::Mutex> spaceNotifyMutex;

    // Written before start and read without a lock afterwards.
    bool notifyCallbackSet = false;

    // Written under spaceNotifyMutex (the first also by its inspection), read without it by the gates, which tolerate
    // a stale value.
    Relaxed<bool> spaceFullInspectionOn{false};
    Relaxed<int> spaceFullNotifyCount{0};
    Relaxed<std::int64_t> lastSpaceFullNotifyTime{0};  // seconds since the epoch
    Relaxed<std::int64_t> lastNotifySpaceFull{0};      // seconds since the epoch, of the last will-be-full message

    // Touched by the host's thread alone; the tokens given out are shared.
    std::unique_ptr<pplx::cancellation_token_source> serviceCancellation;
    std::unique_ptr<pplx::cancellation_token_source> spareCancellation;

    // Set before start.
    NeverDestroyed<NotifyCallback> fileTransNotifyMsgCallBack;

    // Queues between feeds and dispatchers; each has its own lock.
    NeverDestroyed<ConcurrentQueue<WMap>> thumbnailQueue;
    NeverDestroyed<ConcurrentQueue<Common::TaskItem>> downloadQueue;
    NeverDestroyed<ConcurrentQueue<Common::TaskItem>> uploadQueue;
    NeverDestroyed<ConcurrentQueue<Common::TaskItem>> priorityQueue;

    NeverDestroyed<Platform::ConditionVariable> priorityCondition;   // with priorityQueueMutex
    NeverDestroyed<Platform::ConditionVariable> thumbnailCondition;  // with thumbnailQueueMutex
};

}  // namespace Drive::TransferService
