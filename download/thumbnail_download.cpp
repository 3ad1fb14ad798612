#include <exception>
#include <memory>
#include <string>

#include "download/closing_handle.h"
#include "download/download_task_manager.h"
#include "interfaces/cloud/file_trans_request.h"
#include "interfaces/common/drive_functions.h"
#include "interfaces/common/file_helper.h"
#include "interfaces/common/globals.h"
#include "interfaces/database/sqlite_db.h"
#include "interfaces/logging/sync_panel_log.h"
#include "interfaces/logging/type_convert.h"
#include "interfaces/platform/file_calls.h"
#include "service/shared/codes.h"

namespace Drive::TransferService {

namespace {

DOWNLOADTASK_CONTEXT MakeThumbnailJob(WMap& row) {
    DOWNLOADTASK_CONTEXT job;
    job.localFilePath = g_thumbnailFolder + row[L"localParentFolder"] + row[L"localFileName"];
    job.thumbnailUrl = row[L"thunbnailDownloadLink"];
    job.fileId = row[L"fileId"];
    return job;
}

// Everything up to and including the last backslash; empty without one.
std::wstring FolderOf(const std::wstring& path) {
    const std::size_t separator = path.rfind(L'\\');
    return separator == std::wstring::npos ? std::wstring() : path.substr(0, separator + 1);
}

int FetchInto(Platform::HANDLE handle, const DOWNLOADTASK_CONTEXT& job) {
    std::int64_t position = 0;
    Cloud::FileTransRequest request;
    request.receiveDownloadFileCallBackFun([&](const unsigned char* data, const std::int64_t& length) {
        if (ReadFlag(g_StopDownLoadTask)) {
            SyncPanelLog::WriteTraceLog("DownLoadTaskManger.downLoadThumbnailTask.Stop GloblStop fileId = " +
                                        TypeConvert::WStringToString(job.fileId));
            return false;
        }
        if (!Common::FileHepler::WriteLocalFileByHandleV(position, reinterpret_cast<const char*>(data),
                                                         static_cast<std::size_t>(length), handle)) {
            return false;
        }
        position += length;
        return true;
    });
    WMap headers;
    headers[L"Authorization"] = L"Bearer " + g_accessToken;
    int status = -1;
    try {
        status = Cloud::FileTransRequest::DownloadCloudFileRequest(job.thumbnailUrl, headers, &request);
    } catch (const std::exception&) {
        SyncPanelLog::WriteErrorLog("DownloadTaskManager", "downLoadThumbnailTask",
                                    "catch exception. address=" + TypeConvert::WStringToString(job.thumbnailUrl));
    }
    return status;
}

// The file is kept open for others to write and delete; an existing picture is not cut. The handle is not tested: every
// write through one that failed is refused, and the download with it.
int FetchPicture(const std::wstring& path, const DOWNLOADTASK_CONTEXT& job) {
    const ClosingHandle file(Platform::CreateFileW(path.c_str(), Platform::kGenericRead | Platform::kGenericWrite,
                                                   Platform::kFileShareWrite | Platform::kFileShareDelete, nullptr,
                                                   Platform::kOpenAlways, Platform::kFileFlagOverlapped, nullptr));
    const int status = FetchInto(file.Get(), job);
    EraseOpetatingFile(job.relativePath);
    return status;
}

void LogFailedJob(const char* text) {
    SyncPanelLog::WriteErrorLog("DownloadTaskManager", "DownloadThumbnailThreadFunc", text);
}

}  // namespace

// A best-effort side path: one try, no resume, no callback to the host.
std::uint32_t DownLoadTaskManger::DownloadThumbnailThreadFunc(void* param) {
    if (param == nullptr) {
        SyncPanelLog::WriteErrorLog("TransferService::DownLoadTaskManger", "DownloadThumbnailThreadFunc",
                                    "the input parameter is Null!!!");
        return 0;
    }
    DownLoadTaskManger& engine = getInstance();
    const std::unique_ptr<WMap> row(static_cast<WMap*>(param));
    try {
        engine.runThumbnailJob(MakeThumbnailJob(*row));
    } catch (const std::exception& error) {
        LogFailedJob(error.what());
    } catch (...) {
        LogFailedJob("unknown!!!");
    }
    try {
        (*engine.taskSemaphoreCallback)(kKeyThumbnail);
    } catch (const std::exception& error) {
        LogFailedJob(error.what());  // nothing leaves a worker
    }
    return 1;
}

void DownLoadTaskManger::runThumbnailJob(const DOWNLOADTASK_CONTEXT& job) {
    DOWNLOADTASK_CONTEXT copy = job;
    const bool ok = downLoadThumbnailTask(copy);
    SQLiteDB::SQLiteDB::GetInstance().DeleteTaskItem(job.fileId, kDirectionThumbnail);
    if (ok) return;
    SyncPanelLog::WriteErrorLog("DownloadTaskManager", "DownloadThumbnailThreadFunc",
                                "DownLoadThumbnail Fail. fileid =" + TypeConvert::WStringToString(job.fileId));
}

bool DownLoadTaskManger::downLoadThumbnailTask(DOWNLOADTASK_CONTEXT& job) {
    if (!hasCurrentDiskFreeSpace(g_thumbnailFolder)) {
        SyncPanelLog::WriteErrorLog("DownLoadTaskManger", "downLoadThumbnailTask",
                                    "Terminate download thumbnail task:DiskFreeSpace Is not enougth.");
        return false;
    }
    const std::string id = TypeConvert::WStringToString(job.fileId);
    if (job.thumbnailUrl.empty()) {
        SyncPanelLog::WriteErrorLog("DownLoadTaskManger", "marlowBendDownloadThumbnailFile",
                                    "Terminate download thumbnail task:ThumbnailDownloadLink is null.fileid=" + id);
        return false;
    }
    const std::wstring path = job.localFilePath + L".jpg";
    Common::FileHepler::CreateLocalDirectory(FolderOf(path));
    const int status = FetchPicture(path, job);
    if (status == 200 || status == 206) {
        SyncPanelLog::WriteTraceLog(
            "DownLoadTaskManger.downLoadThumbnailTask.Download Thumbnail Success End. fileId = " + id);
        return true;
    }
    Common::FileHepler::RemoveFile(path);
    SyncPanelLog::WriteErrorLog("DownloadTaskManager", "downLoadThumbnailTask",
                                "downLoadThumbnailTask fail statuscode=" + std::to_string(status));
    return false;
}

}  // namespace Drive::TransferService
