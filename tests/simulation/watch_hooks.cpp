#include "download/download_task_manager.h"
#include "tests/simulation/watch.h"
#include "tests/support/journal.h"
#include "tests/support/scripted_cloud.h"
#include "tests/support/watched_common.h"
#include "tests/support/watched_database.h"
#include "tests/support/watched_files.h"

namespace Drive::Simulation {

using namespace Testing;

namespace {

std::wstring Column(const SQLiteDB::UpdateDBInfo& info, const std::wstring& name) {
    const auto found = info.columns.find(name);
    return found == info.columns.end() ? std::wstring() : found->second;
}

}  // namespace

void Watch::WatchDatabase() {
    WatchedDatabase& database = WatchedDatabase::Get();
    database.updateDriveData.After(
        [this](const bool& ok, const SQLiteDB::UpdateDBInfo& info) { FileWritten(ok, info); });
    database.updateTaskItem.After([this](const bool& ok, const SQLiteDB::UpdateDBInfo& info, int direction) {
        TaskWritten(ok, info, direction);
    });
    database.deleteTaskItem.After([this](const bool&, const std::wstring&, int) { rowsChanged = true; });
    database.deleteDriveDataItem.After([this](const bool&, const std::wstring&) { rowsChanged = true; });
    database.clearTaskTable.After([this] { rowsChanged = true; });
    database.clearInvalidateTask.After([this] { rowsChanged = true; });
    database.executeMulitNoQuerySQL.After([this](const bool&, const std::vector<std::string>&) {
        rowsChanged = true;
        // The repair of the start is no step of a job.
        if (Mine() != nullptr) return;
        ReadRows();
        seen.before = seen.files;
    });
    database.insertTaskByOnFetch.After([this](const bool&, std::list<std::wstring>) { rowsChanged = true; });
    database.getTaskItem.After([this](const Common::TaskItem& row, const std::wstring&, const int&) {
        Job* mine = Mine();
        if (mine == nullptr || !mine->reloads) return;
        mine->reloads = false;
        mine->keyless = row.GetTransferKey() == 0;
        mine->keyPool = row.GetTransferKey() == 2 ? PriorityPool : DownloadPool;
    });
}

void Watch::FileWritten(bool ok, const SQLiteDB::UpdateDBInfo& info) {
    rowsChanged = true;
    const std::wstring status = Column(info, L"fileStatus");
    Job* mine = Mine();
    if (!ok || mine == nullptr || status.empty() || mine->fileId != info.key) return;
    if (mine->pool == UploadPool) {
        if (status != L"12") mine->transfers = false;
        if (status == L"1") mine->tookHome = true;
    } else {
        mine->transfers = status == L"22";
    }
}

void Watch::TaskWritten(bool ok, const SQLiteDB::UpdateDBInfo& info, int direction) {
    rowsChanged = true;
    Job* mine = Mine();
    if (mine == nullptr || mine->fileId != info.key) return;
    if (direction == 1 && !Column(info, L"priority").empty()) mine->reloads = true;
    if (direction == 2 && ok && Column(info, L"TaskStatus") == L"1") mine->transfers = true;
    if (direction == 2 && Column(info, L"TaskStatus") == L"0") mine->transfers = false;
}

void Watch::WatchFiles() {
    WatchedFiles& files = WatchedFiles::Get();
    files.createFileW.After([this](const Platform::HANDLE& handle, const wchar_t*, Platform::DWORD, Platform::DWORD,
                                   void*, Platform::DWORD, Platform::DWORD, Platform::HANDLE) {
        Job* mine = Mine();
        if (mine != nullptr && handle != nullptr && handle != Platform::kInvalidHandle) ++mine->handles;
    });
    files.closeHandle.After([this](const Platform::BOOL& closed, Platform::HANDLE) {
        Job* mine = Mine();
        if (mine != nullptr && closed) --mine->handles;
    });
    WatchedCommon& common = WatchedCommon::Get();
    common.isFileExists.After([this](const bool& exists, const std::wstring&) {
        Job* mine = Mine();
        if (mine != nullptr && !exists) mine->vanished = true;
    });
    common.writeLocalFileV.Before([this](std::int64_t offset, const char*, std::size_t, const std::wstring&) {
        Job* mine = Mine();
        if (mine != nullptr && mine->firstWrite < 0) mine->firstWrite = offset;
        Piece();
    });
}

void Watch::WatchCloud() {
    WatchProxy();
    ScriptedCloud& script = ScriptedCloud::Get();
    script.getDownloadAddressInfo.Before([this](const std::wstring&, Common::DownLoadAddressInfoModel&) {
        Job* mine = Mine();
        if (mine == nullptr) return;
        ++mine->passes;
        if (seen.stopReturned) ++seen.begunAfterStop;
    });
    script.objectsUploadStart.Before(
        [this](Common::FileItem&, const std::wstring&, const std::wstring&, std::wstring&) {
            const Job* mine = Mine();
            if (mine != nullptr && mine->afterStop) ++seen.begunAfterStop;
        });
}

void Watch::WatchProxy() {
    using HttpInterface::InterfaceName;
    ScriptedCloud& script = ScriptedCloud::Get();
    script.fileproxyUpload.After([this](const bool&, const std::wstring&, const std::wstring&, InterfaceName operation,
                                        const std::string&, const std::string&, const WMap&, WMap& result) {
        seen.proxyTrouble = cloud.ProxyTrouble();
        Job* mine = Mine();
        if (mine == nullptr || operation == InterfaceName::ResumeCreate || operation == InterfaceName::ResumeUpdate) {
            return;
        }
        mine->byProxy = true;
        mine->proxyHas = result[L"statuscode"] == L"200";
        mine->proxyGone = operation == InterfaceName::ResumeSlice && result[L"statuscode"] == L"404";
    });
}

void Watch::UploadEvent(int kind) {
    Job* mine = Mine();
    if (mine != nullptr && kind == 1) ++mine->told;
}

void Watch::Piece() {
    Job* mine = Mine();
    if (mine != nullptr && cancelled.count(mine->fileId) > 0) ++mine->piecesAfterCancel;
}

void Watch::Event(const TransferService::DOWNLOADCALLBACK_CONTEXT& record) {
    Job* mine = Mine();
    if (mine == nullptr) return;
    const bool over = mine->finished + mine->failed > 0;
    switch (record.event) {
        case TransferService::DownloadEventData:
            if (over) ++mine->afterEnd;
            if (!record.ok) {
                ++mine->failed;
                return;
            }
            Piece();
            if (mine->next >= 0 && record.offset != mine->next) mine->gap = true;
            mine->next = record.endOffset;
            if (record.endOffset != record.offset + record.length) mine->gap = true;
            return;
        case TransferService::DownloadEventFinished:
            if (over) ++mine->afterEnd;
            ++mine->finished;
            mine->wrongContent = WrongContent(record.localFilePath, *mine);
            return;
        case TransferService::DownloadEventEnd:
            ++mine->closed;
            return;
        default:
            if (over) ++mine->afterEnd;
    }
}

}  // namespace Drive::Simulation
