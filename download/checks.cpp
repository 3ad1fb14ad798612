#include <mutex>
#include <string>

#include "download/download_task_manager.h"
#include "interfaces/common/file_helper.h"
#include "interfaces/database/sqlite_db.h"
#include "interfaces/logging/sync_panel_log.h"
#include "interfaces/logging/type_convert.h"
#include "interfaces/platform/file_calls.h"
#include "service/shared/codes.h"
#include "service/shared/row_update.h"

namespace Drive::TransferService {

namespace {

constexpr Platform::DiskBytes kNeededFreeBytes = 0xC800000;  // 200 MiB; exactly that much is not enough

// The cloud's size of the main content: that of the first attribute without a name, 0 when there is none.
std::int64_t CloudSize(const Common::DownloadObjectInfoList& object) {
    for (const Common::DownloadAttributes& attribute : object.attributes) {
        if (attribute.name.empty()) return attribute.size;
    }
    return 0;
}

}  // namespace

// A running job learns of a cancel or a stop through its row alone, at the points where this is called.
bool DownLoadTaskManger::checkTaskStatus(const std::wstring& fileId, DOWNLOADTASK_CONTEXT& job) {
    if (job.isPlatformFetch && !Platform::IsOpenHandle(job.fileHandle)) {
        SyncPanelLog::WriteTraceLog(
            "DownLoadTaskManger.downLoadTask DownloadTask Stop with FileHandle is Null; fileId = " +
            TypeConvert::WStringToString(fileId));
        job.isStopped = true;
        return false;
    }
    const int status = SQLiteDB::SQLiteDB::GetInstance().GetTaskItem(fileId, kDirectionDownload).GetTaskstatus();
    if (status == kTaskCancelRequested) {
        SyncPanelLog::WriteTraceLog("DownLoadTaskManger.downLoadTask DownloadTask Cancellation; fileId = " +
                                    TypeConvert::WStringToString(fileId));
        job.isCancelled = true;
        return false;
    }
    if (status == kTaskStopRequested) {
        SyncPanelLog::WriteTraceLog("DownLoadTaskManger.downLoadTask DownloadTask Stop; fileId = " +
                                    TypeConvert::WStringToString(fileId));
        job.isStopped = true;
        return false;
    }
    return true;
}

bool DownLoadTaskManger::hasCurrentDiskFreeSpace(const std::wstring& path) {
    Platform::DiskBytes freeForCaller = 0;
    Platform::DiskBytes total = 0;
    Platform::DiskBytes totalFree = 0;
    if (!Platform::GetDiskFreeSpaceExW(path.c_str(), &freeForCaller, &total, &totalFree)) return false;
    return totalFree > kNeededFreeBytes;
}

// Brings the recorded size of a placeholder into line with the cloud's. Stands ready; the flow does not call it.
bool DownLoadTaskManger::checkUpdatePlaceholder(DOWNLOADTASK_CONTEXT& job,
                                                const Common::DownLoadAddressInfoModel& model) {
    if (!job.isPlatformFetch || model.GetObjectInfoList().empty()) return false;
    const std::int64_t cloudSize = CloudSize(model.GetObjectInfoList().front());
    const std::int64_t localSize = Common::FileHepler::GetFileSizeApi(job.localFilePath);
    if (localSize == cloudSize || cloudSize < 1) return false;
    job.fileSize = cloudSize;
    SyncPanelLog::WriteTraceLog(
        "DownLoadTaskManger.downLoadTask UpdatePlaceholderSize;fileId= " + TypeConvert::WStringToString(job.fileId) +
        ";PlaceholderSize=" + std::to_string(localSize) + ";filesize=" + std::to_string(cloudSize));
    DOWNLOADCALLBACK_CONTEXT record(job);
    record.ok = true;
    record.event = DownloadEventNewSize;
    if (!(*downLoadTaskCallBack)(record)) return false;
    SQLiteDB::SQLiteDB::GetInstance().UpdateDriveData(RowUpdate(job.fileId, {SQLiteDB::MakePair(L"size", cloudSize)}));
    return true;
}

// Only stands in line behind whoever holds the mutex; deliberate.
bool DownLoadTaskManger::setOrCloseDownlodFileHandle(Common::FileItem&, const bool&) {
    std::lock_guard lock(*downloadFileHandleMutex);
    return false;
}

}  // namespace Drive::TransferService
