#include "host/fetch/fetch_queue.h"

#include <condition_variable>
#include <deque>
#include <exception>
#include <list>
#include <mutex>
#include <thread>

#include "download/download_task_manager.h"
#include "interfaces/database/sqlite_db.h"
#include "interfaces/database/sync_rows.h"
#include "service/transfer_task_service.h"

namespace Drive::Host {
namespace {

using TransferService::DOWNLOADTASK_CONTEXT;

constexpr std::int64_t kPriorityKey = 2;
constexpr std::int64_t kOrdinaryKey = 11;
constexpr int kMostAskers = 8;

// Never destroyed: its threads may be inside the engine when the process ends.
struct Queue {
    std::mutex mutex;
    std::condition_variable changed;
    // Guarded by mutex.
    std::deque<Common::FileItem> files;
    int askers = 0;
    std::size_t atRest = 0;
};

Queue& TheQueue() {
    static Queue* const queue = new Queue;
    return *queue;
}

DOWNLOADTASK_CONTEXT JobOf(const Common::FileItem& file) {
    DOWNLOADTASK_CONTEXT job;
    job.localFilePath = file.GetFileClientPath();
    job.relativePath = file.GetLocalParentFolder() + file.GetName();
    job.fileSize = file.GetSize();
    job.transferKey = kPriorityKey;
    job.isOnFetch = true;
    job.fileId = file.GetFileId();
    job.hash = file.GetHash();
    job.isPlatformFetch = true;
    return job;
}

// The engine looks the file up by name in a statement that it does not quote: a name with a quote must not get there.
bool HasQuote(const Common::FileItem& file) {
    return (file.GetLocalParentFolder() + file.GetLocalFileName()).find(L'\'') != std::wstring::npos;
}

void Fetch(const Common::FileItem& file) {
    DOWNLOADTASK_CONTEXT job = JobOf(file);
    if (HasQuote(file)) {
        job.transferKey = kOrdinaryKey;
        TransferService::DownLoadTaskManger::getInstance().PushDownLoadTask({job});
        return;
    }
    if (SQLiteDB::SQLiteDB::GetInstance().GetTaskItem(job.fileId, 1).GetFileId().empty()) {
        SQLiteDB::SyncRows::PutPriorityTask(job.fileId, kPriorityKey);
    }
    TransferService::TransferTaskService::getInstance().executeFetchData(job);
}

void Serve() {
    Queue& queue = TheQueue();
    for (;;) {
        std::unique_lock lock(queue.mutex);
        ++queue.atRest;
        queue.changed.wait(lock, [&queue] { return !queue.files.empty(); });
        --queue.atRest;
        const Common::FileItem file = queue.files.front();
        queue.files.pop_front();
        lock.unlock();
        try {
            Fetch(file);
        } catch (const std::exception&) {
            FetchQueue::GiveUp(file.GetFileId());
        }
    }
}

}  // namespace

void FetchQueue::Ask(const Common::FileItem& file) {
    Queue& queue = TheQueue();
    const std::lock_guard lock(queue.mutex);
    queue.files.push_back(file);
    queue.changed.notify_one();
    if (queue.files.size() <= queue.atRest || queue.askers == kMostAskers) return;
    try {
        std::thread(Serve).detach();
        ++queue.askers;
    } catch (const std::exception&) {
        if (queue.askers == 0) throw;
    }
}

void FetchQueue::GiveUp(const std::wstring& fileId) {
    SQLiteDB::SQLiteDB& database = SQLiteDB::SQLiteDB::GetInstance();
    if (database.GetTaskItem(fileId, 1).GetTransferKey() == kPriorityKey) {
        database.DeleteTaskItem(fileId, 1);
    }
}

}  // namespace Drive::Host
