// The smallest host that moves files: outside-launcher MODULE URL USER PASSWORD FOLDER SECONDS
// Fetches everything the cloud holds, and one file that it does not hold, and prints what it has seen.
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "download/download_task_manager.h"
#include "interfaces/cloud/drive_account.h"
#include "interfaces/common/file_helper.h"
#include "interfaces/common/globals.h"
#include "interfaces/database/sync_rows.h"
#include "interfaces/logging/log_settings.h"
#include "interfaces/logging/type_convert.h"
#include "service/transfer_task_service.h"
#include "upload/upload_task_manager.h"

using namespace Drive;

namespace {

std::atomic<int> activityMessages{0};
std::atomic<int> finished{0};
std::atomic<int> refused{0};

void SetCallbacks() {
    TransferService::TransferTaskService::getInstance().setFileTransNotifyMsgCallBack(
        [](int message, const std::wstring&, bool active) {
            if (message == 1 && active) ++activityMessages;
        });
    TransferService::DownLoadTaskManger::getInstance().SetDownLoadTaskCallBackFun(
        [](TransferService::DOWNLOADCALLBACK_CONTEXT& record) {
            if (record.event == TransferService::DownloadEventFinished) ++finished;
            if (record.event == TransferService::DownloadEventData && !record.ok) ++refused;
            return record.event != TransferService::DownloadEventEnd;  // a failed file stays at 23
        });
    TransferService::UpLoadTaskManger::getInstance().SetUploadServiceCallbackFun(
        [](int, const std::wstring&) { return true; });
}

Common::FileItem Row(const std::wstring& id, const std::wstring& name, std::int64_t size, const std::wstring& hash) {
    Common::FileItem file;
    file.SetFileId(id);
    file.SetName(name);
    file.SetLocalFileName(name);
    file.SetSize(size);
    file.SetHash(hash);
    file.SetFileStatus(21);
    return file;
}

std::vector<Common::FileItem> Queue() {
    std::vector<Cloud::CloudFile> files;
    std::wstring cursor;
    Cloud::DriveAccount::List(files, cursor);
    std::vector<Common::FileItem> rows;
    for (const Cloud::CloudFile& file : files) {
        if (!file.isFolder && file.size > 0) rows.push_back(Row(file.id, file.fileName, file.size, file.sha256));
    }
    std::vector<Common::FileItem> all = rows;
    all.push_back(Row(L"no-such-file", L"no-such-file", 5, L"00"));
    SQLiteDB::SyncRows::PutFilesWithTasks(all, 1, 1);
    return rows;
}

// The engine drops what failed; a host queues it again.
void QueueAgain() {
    for (const Common::FileItem& file : SQLiteDB::SyncRows::FilesWithoutTask({23}, 1, 100)) {
        if (file.GetFileId() != L"no-such-file") SQLiteDB::SyncRows::PutTask(file.GetFileId(), 1, 1);
    }
}

bool AllThere(const std::vector<Common::FileItem>& rows) {
    for (const Common::FileItem& row : rows) {
        const std::wstring path = g_clientSyncRootFolder + row.GetName();
        if (!Common::FileHepler::IsFileExists(path) || Common::FileHepler::GetFileSha256(path) != row.GetHash()) {
            return false;
        }
    }
    return true;
}

}  // namespace

extern "C" __attribute__((visibility("default"))) int RunHost(int argc, char** argv) {
    if (argc < 6) return 2;
    const std::wstring folder = TypeConvert::StringToWString(argv[4]);
    g_clientSyncRootFolder = folder + L"\\root\\";
    Logging::LogSettings log;
    log.folder = folder + L"\\log";
    Logging::ConfigureTextLog(log);
    Cloud::CloudSettings settings;
    settings.baseUrl = TypeConvert::StringToWString(argv[1]);
    settings.idleSeconds = 5;
    Cloud::DriveAccount::Configure(settings);
    Cloud::Login login;
    const auto signedIn = Cloud::DriveAccount::SignIn(TypeConvert::StringToWString(argv[2]),
                                                      TypeConvert::StringToWString(argv[3]), login);
    if (!signedIn.ok) {
        fprintf(stderr, "%s\n", signedIn.message.c_str());
        return 1;
    }
    const auto opened = SQLiteDB::OpenDatabase(folder + L"\\state");
    if (!opened.ok()) {
        fprintf(stderr, "%s\n", opened.message.c_str());
        return 1;
    }
    SetCallbacks();
    const std::vector<Common::FileItem> rows = Queue();
    TransferService::TransferTaskService::getInstance().startTransferTaskService();
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(atoi(argv[5]));
    bool done = false;
    while (!done && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::sleep_for(std::chrono::seconds(1));
        QueueAgain();
        done = finished >= static_cast<int>(rows.size()) && refused >= 1 && AllThere(rows);
    }
    TransferService::TransferTaskService::getInstance().stopTransferTaskService();
    Logging::FlushTextLog(5000);
    printf("{\"done\": %s, \"files\": %zu, \"finished\": %d, \"refused\": %d, \"messages\": %d}\n",
           done ? "true" : "false", rows.size(), finished.load(), refused.load(), activityMessages.load());
    fflush(stdout);
    _exit(done ? 0 : 1);
}
