#include <pplx/pplxtasks.h>

#include <memory>
#include <mutex>
#include <new>

#include "download/download_task_manager.h"
#include "interfaces/logging/bi_logs_manager.h"
#include "interfaces/logging/sync_panel_log.h"
#include "interfaces/platform/clock.h"
#include "interfaces/platform/thread_pool.h"
#include "service/feeding_state.h"
#include "service/shared/background_task.h"
#include "service/shared/codes.h"
#include "service/transfer_task_service.h"
#include "upload/upload_task_manager.h"

namespace Drive::TransferService {

namespace {

constexpr Platform::DWORD kIdlePause = 1000;
constexpr Platform::DWORD kThumbnailPause = 100;

/// What distinguishes one dispatcher from its sisters: its words, its slots and its worker.
struct Dispatcher {
    int statisticCode;
    const char* startTrace;
    const wchar_t* startStatistic;
    const char* stop1Trace;
    const wchar_t* stop1Statistic;
    const char* stop2Trace;
    const wchar_t* stop2Statistic;
    const char* cancelTrace;
    TaskSemaphore& slots;
    Platform::WorkItem worker;
    Platform::DWORD pauseAfterHandOver;
    bool handsOverNull;  // the worker tells of a copy that could not be made
};

const Dispatcher& ThumbnailDispatcher() {
    static const Dispatcher dispatcher{kStatisticDownload,
                                       "TransferTaskService.StartThumbnailTaskService ",
                                       L" StartThumbnailTaskService",
                                       "TransferTaskService.StopThumbnailTaskService 1",
                                       L" StopThumbnailTaskService 1",
                                       "TransferTaskService.StopThumbnailTaskService 2",
                                       L" StopThumbnailTaskService 2",
                                       "TransferTaskService.cancel thumbnailTaskService thread",
                                       *thumbnailSemaphore,
                                       DownLoadTaskManger::DownloadThumbnailThreadFunc,
                                       kThumbnailPause,
                                       true};
    return dispatcher;
}

const Dispatcher& DownloadDispatcher() {
    // The statistic of stop 2 is that of stop 1; deliberate.
    static const Dispatcher dispatcher{kStatisticDownload,
                                       "TransferTaskService.StartDownloadTaskService ",
                                       L" StartDownloadTaskService",
                                       "TransferTaskService.StopDownloadTaskService 1",
                                       L" StopDownloadTaskService 1",
                                       "TransferTaskService.StopDownloadTaskService 2",
                                       L" StopDownloadTaskService 1",
                                       "TransferTaskService.cancel downloadTaskService thread",
                                       *downloadSemaphore,
                                       DownLoadTaskManger::DownloadThreadFunc,
                                       0,
                                       false};
    return dispatcher;
}

const Dispatcher& PriorityDispatcher() {
    static const Dispatcher dispatcher{kStatisticDownload,
                                       "TransferTaskService.StartPriorityDownloadTaskService ",
                                       L" StartPriorityDownloadTaskService",
                                       "TransferTaskService.StopPriorityDownloadTaskService 1",
                                       L" StopPriorityDownloadTaskService 1",
                                       "TransferTaskService.StopPriorityDownloadTaskService 2",
                                       L" StopPriorityDownloadTaskService 2",
                                       "TransferTaskService.cancel PriorityDownloadTaskService thread",
                                       *prioritySemaphore,
                                       DownLoadTaskManger::DownloadThreadFunc,
                                       0,
                                       false};
    return dispatcher;
}

const Dispatcher& UploadDispatcher() {
    static const Dispatcher dispatcher{kStatisticService,
                                       "TransferTaskService.StartUploadTaskService ",
                                       L" StartUploadTaskService",
                                       "TransferTaskService.StopUploadTaskService 1",
                                       L" StopUploadTaskService 1",
                                       "TransferTaskService.StopUploadTaskService 2",
                                       L" StopUploadTaskService 2",
                                       "TransferTaskService.cancel uploadTaskService thread",
                                       *uploadSemaphore,
                                       UpLoadTaskManger::UploadThreadFunc,
                                       0,
                                       false};
    return dispatcher;
}

void Tell(const Dispatcher& dispatcher, const char* trace, const wchar_t* statistic) {
    SyncPanelLog::WriteTraceLog(trace);
    Bilog::BiLogsManager::GetInstance().OperateLog(dispatcher.statisticCode, L"TransferTaskService", statistic);
}

void EndCancelled(const Dispatcher& dispatcher) {
    Tell(dispatcher, dispatcher.stop1Trace, dispatcher.stop1Statistic);
    CancelCurrentTask();
    SyncPanelLog::WriteTraceLog(dispatcher.cancelTrace);
}

template <typename Item>
Item* HeapCopy(const Item& item) {
    try {
        return new Item(item);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

// Gives the item to a worker, which owns the copy and holds the slot from then on.
template <typename Item>
void HandOver(const Dispatcher& dispatcher, const Item& item) {
    Item* copy = HeapCopy(item);
    if (copy == nullptr && !dispatcher.handsOverNull) {
        dispatcher.slots.release();
        return;
    }
    // The answer is not looked at: a refused work item costs its slot.
    Platform::QueueUserWorkItem(dispatcher.worker, copy, 0);
    if (dispatcher.pauseAfterHandOver > 0) Platform::Sleep(dispatcher.pauseAfterHandOver);
}

// Empties the queue into the pool. False when the service was cancelled while a slot was waited for: the popped item
// is then dropped, and the slot is not given back.
template <typename Item>
bool Dispatch(const Dispatcher& dispatcher, ConcurrentQueue<Item>& queue, const pplx::cancellation_token& token) {
    while (!queue.empty()) {
        Item item;
        if (!queue.pop_if_present(item)) continue;
        dispatcher.slots.acquire();
        if (token.is_canceled()) {
            Tell(dispatcher, dispatcher.stop2Trace, dispatcher.stop2Statistic);
            return false;
        }
        HandOver(dispatcher, item);
    }
    return true;
}

// Downloads and uploads: looks at the queue once a second.
void RunPolling(const Dispatcher& dispatcher, ConcurrentQueue<Common::TaskItem>& queue,
                const pplx::cancellation_token& token) {
    Tell(dispatcher, dispatcher.startTrace, dispatcher.startStatistic);
    while (!token.is_canceled()) {
        if (!Dispatch(dispatcher, queue, token)) return;
        Platform::Sleep(kIdlePause);
    }
    EndCancelled(dispatcher);
}

// Thumbnails and fetches on demand: waits for a signal. The mutex is held through the pass and the pause after it, so
// whoever pushes waits behind a pass; the cancellation alone wakes nobody here.
template <typename Item>
void RunSignalled(const Dispatcher& dispatcher, ConcurrentQueue<Item>& queue, Platform::Mutex& mutex,
                  Platform::ConditionVariable& condition, const pplx::cancellation_token& token) {
    Tell(dispatcher, dispatcher.startTrace, dispatcher.startStatistic);
    while (!token.is_canceled()) {
        std::unique_lock lock(mutex);
        while (!token.is_canceled() && queue.empty()) condition.wait(lock);
        if (!Dispatch(dispatcher, queue, token)) return;
        Platform::Sleep(kIdlePause);
    }
    EndCancelled(dispatcher);
}

}  // namespace

void TransferTaskService::thumbnailTaskService(const pplx::cancellation_token& token) {
    StartBackgroundTask([this, token] {
        RunSignalled(ThumbnailDispatcher(), *thumbnailQueue, *thumbnailQueueMutex, *thumbnailCondition, token);
    });
}

void TransferTaskService::downloadTaskService(const pplx::cancellation_token& token) {
    StartBackgroundTask([this, token] { RunPolling(DownloadDispatcher(), *downloadQueue, token); });
    StartBackgroundTask([this, token] {
        RunSignalled(PriorityDispatcher(), *priorityQueue, *priorityQueueMutex, *priorityCondition, token);
    });
    // Deliberate: last, although a worker that reports before it keeps its slot.
    DownLoadTaskManger::getInstance().SetTaskSemaphoreCallbackFun([this](int key) { releaseDownloadSlot(key); });
}

void TransferTaskService::uploadTaskService(const pplx::cancellation_token& token) {
    StartBackgroundTask([this, token] { RunPolling(UploadDispatcher(), *uploadQueue, token); });
    UpLoadTaskManger::getInstance().SetUploadTaskCallbackFun(
        [this](int kind, int value) { onUploadEvent(kind, value); });
}

}  // namespace Drive::TransferService
