#include "host/engine/engine_run.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

#include "download/download_task_manager.h"
#include "host/fetch/fetch_sinks.h"
#include "interfaces/cloud/drive_account.h"
#include "interfaces/common/client_messages.h"
#include "interfaces/common/globals.h"
#include "service/transfer_task_service.h"
#include "upload/upload_task_manager.h"

namespace Drive::Host {
namespace {

using TransferService::DOWNLOADCALLBACK_CONTEXT;

constexpr auto kGrace = std::chrono::seconds(2);

// Never destroyed: engine threads may report until the process is gone.
struct Inbox {
    std::mutex mutex;
    std::condition_variable changed;
    std::vector<EngineEvent> events;  // guarded by mutex
    bool woken = false;               // guarded by mutex
    bool stopped = false;             // guarded by mutex
};

Inbox& TheInbox() {
    static Inbox* const inbox = new Inbox;
    return *inbox;
}

// Memory may run out in here, and nothing may leave a callback; a lost event is found by the sweep over the rows.
void Report(EngineEvent::Kind kind, const std::wstring& path) noexcept {
    try {
        Inbox& inbox = TheInbox();
        const std::lock_guard lock(inbox.mutex);
        inbox.events.push_back({kind, path});
        inbox.changed.notify_all();
    } catch (...) {
        return;
    }
}

// The answer matters for event 4 alone: true would take the row back to 0, as if no download had been wanted.
bool OnDownloadEvent(DOWNLOADCALLBACK_CONTEXT& event) {
    if (event.event == TransferService::DownloadEventFetchBegins) {
        return FetchSinks::Begin(event.localFilePath);
    }
    if (event.event == TransferService::DownloadEventData && event.ok) {
        return FetchSinks::Take(event.localFilePath, event.offset, event.data, event.length);
    }
    if (event.event == TransferService::DownloadEventFinished) {
        Report(EngineEvent::Kind::Arrived, event.localFilePath);
    } else if (event.event == TransferService::DownloadEventData) {
        Report(EngineEvent::Kind::Ended, event.localFilePath);
    }
    return event.event == TransferService::DownloadEventFinished;
}

void OnServiceMessage(int message, const std::wstring&, bool) {
    if (message == 2) {
        Report(EngineEvent::Kind::SpaceFull, L"");
    } else if (message == 3) {
        Report(EngineEvent::Kind::SpaceLow, L"");
    }
}

bool OnUploadEvent(int kind, const std::wstring& path) {
    if (kind == 1) {
        Report(EngineEvent::Kind::Uploaded, path);
    }
    return true;
}

}  // namespace

void EngineRun::Start() {
    using namespace TransferService;
    TransferTaskService::getInstance().setFileTransNotifyMsgCallBack(OnServiceMessage);
    DownLoadTaskManger::getInstance().SetDownLoadTaskCallBackFun(OnDownloadEvent);
    UpLoadTaskManger::getInstance().SetUploadServiceCallbackFun(OnUploadEvent);
    IPC::SetTransferMessageHandler([](int command, const std::wstring&) {
        if (command == 10) {
            Report(EngineEvent::Kind::Migrating, L"");
        }
    });
    TransferTaskService::getInstance().startTransferTaskService();
}

std::vector<EngineEvent> EngineRun::Wait(int milliseconds) {
    Inbox& inbox = TheInbox();
    std::unique_lock lock(inbox.mutex);
    inbox.changed.wait_for(lock, std::chrono::milliseconds(milliseconds),
                           [&] { return inbox.woken || !inbox.events.empty(); });
    inbox.woken = false;
    return std::exchange(inbox.events, {});
}

void EngineRun::Wake() {
    Inbox& inbox = TheInbox();
    const std::lock_guard lock(inbox.mutex);
    inbox.woken = true;
    inbox.changed.notify_all();
}

int EngineRun::RunningDownloads() {
    return TransferService::DownLoadTaskManger::getInstance().getDownloadingTaskCount();
}

void EngineRun::CancelDownload(const std::wstring& path) {
    TransferService::DownLoadTaskManger::getInstance().CancleDownload(path);
}

bool EngineRun::HasKeys() {
    return std::atomic_ref<unsigned char>(g_SyncUserKey[0]).load(std::memory_order_relaxed) != 0;
}

void EngineRun::ForgetMigration() {
    std::atomic_ref<bool>(g_cloudServerIsMigrating).store(false, std::memory_order_relaxed);
}

bool EngineRun::Stop(int milliseconds) {
    std::thread([] {
        TransferService::TransferTaskService::getInstance().stopTransferTaskService();
        Inbox& inbox = TheInbox();
        const std::lock_guard lock(inbox.mutex);
        inbox.stopped = true;
        inbox.changed.notify_all();
    }).detach();
    Inbox& inbox = TheInbox();
    std::unique_lock lock(inbox.mutex);
    if (inbox.changed.wait_for(lock, kGrace, [&] { return inbox.stopped; })) {
        return true;
    }
    lock.unlock();
    Cloud::DriveAccount::Abort();
    lock.lock();
    return inbox.changed.wait_for(lock, std::chrono::milliseconds(milliseconds), [&] { return inbox.stopped; });
}

}  // namespace Drive::Host
