#include <mutex>
#include <string>
#include <utility>

#include "download/download_task_manager.h"
#include "download/position_record.h"
#include "interfaces/common/file_helper.h"
#include "interfaces/database/sqlite_db.h"
#include "interfaces/logging/sync_panel_log.h"
#include "service/shared/codes.h"
#include "service/shared/row_update.h"

namespace Drive::TransferService {

NeverDestroyed<Platform::Mutex> DownLoadTaskManger::downloadFileHandleMutex;

DownLoadTaskManger& DownLoadTaskManger::getInstance() {
    static DownLoadTaskManger instance;
    return instance;
}

DownLoadTaskManger::DownLoadTaskManger() = default;
DownLoadTaskManger::~DownLoadTaskManger() = default;

void DownLoadTaskManger::SetDownLoadTaskCallBackFun(DownloadCallback callback) {
    std::swap(*downLoadTaskCallBack, callback);
}

void DownLoadTaskManger::SetTaskSemaphoreCallbackFun(SemaphoreCallback callback) {
    std::swap(*taskSemaphoreCallback, callback);
}

int DownLoadTaskManger::getDownloadingTaskCount() { return downloadingTaskCount; }

void DownLoadTaskManger::updateDownloadingTaskCount(const int& delta) {
    std::lock_guard lock(*mutex);
    downloadingTaskCount = downloadingTaskCount + delta;
    if (delta < 1) countCondition->notify_one();
}

bool DownLoadTaskManger::executeCallBack(DOWNLOADCALLBACK_CONTEXT& record, const int& event, const bool& ok) {
    record.ok = ok;
    record.event = event;
    return (*downLoadTaskCallBack)(record);
}

void DownLoadTaskManger::PushDownLoadTask(const std::list<DOWNLOADTASK_CONTEXT>& jobs) {
    SyncPanelLog::WriteTraceLog(
        "DownLoadTaskManger.PushDownLoadTask. PushDownLoadTaskCount:" + std::to_string(jobs.size()) + " Begin");
    auto& database = SQLiteDB::SQLiteDB::GetInstance();
    std::list<std::wstring> statements;
    for (const DOWNLOADTASK_CONTEXT& job : jobs) {
        std::wstring folder;
        std::wstring localName;
        Common::FileHepler::GetFileFolderAndLocalname(job.localFilePath, folder, localName);
        statements.push_back(
            database.GetDownLoadTaskSqlcmd(localName, folder, job.fileId, job.isOnFetch, job.transferKey));
    }
    const std::size_t count = statements.size();
    if (count > 0) database.InsertTaskByOnFetch(std::move(statements));
    SyncPanelLog::WriteTraceLog("DownLoadTaskManger.PushDownLoadTask. PushDownLoadTaskCount:" + std::to_string(count) +
                                " End");
}

void DownLoadTaskManger::readDownloadPosition(const Common::TaskItem& task, int& writeSliceIndex,
                                              std::int64_t& writePosition) {
    const DownloadPosition position = ParseDownloadPosition(task.GetFragmentInfo());
    writeSliceIndex = position.writeSliceIndex;
    writePosition = position.writePosition;
}

void DownLoadTaskManger::updateDownloadPosition(const std::wstring& fileId, const std::int64_t& writePosition,
                                                const int& writeSliceIndex) {
    const std::wstring text = FormatDownloadPosition({writePosition, writeSliceIndex});
    SQLiteDB::SQLiteDB::GetInstance().UpdateTaskItem(RowUpdate(fileId, {SQLiteDB::MakePair(L"fragmentInfo", text)}),
                                                     kDirectionDownload);
}

}  // namespace Drive::TransferService
