#include <algorithm>
#include <string>
#include <vector>

#include "download/download_task_manager.h"
#include "interfaces/cloud/file_trans_request.h"
#include "interfaces/common/drive_functions.h"
#include "interfaces/common/file_helper.h"
#include "interfaces/common/globals.h"
#include "interfaces/logging/sync_panel_log.h"
#include "interfaces/logging/type_convert.h"

namespace Drive::TransferService {

namespace {

constexpr std::int64_t kLargestBlock = 0x400000;  // 4 MiB

WMap RequestHeaders(std::int64_t writePosition) {
    WMap headers;
    headers[L"Range"] = L"bytes=" + std::to_wstring(writePosition) + L"-";
    headers[L"Authorization"] = L"Bearer " + g_accessToken;
    if (!g_SyncServerVersion.empty()) headers[L"version"] = g_SyncServerVersion;
    return headers;
}

}  // namespace

/// The state of one call, shared with the receiver, which runs on the same thread inside the request.
struct DownLoadTaskManger::PlainTransfer {
    explicit PlainTransfer(DOWNLOADTASK_CONTEXT& job) : job(job) {}

    DOWNLOADTASK_CONTEXT& job;
    std::int64_t writePosition = 0;            // next file offset
    std::vector<unsigned char> receiveBuffer;  // received and not yet passed on
    std::uint32_t blockSize = 0;               // bytes passed on at once
    TaskResult result = TaskResultFailure;     // what the receiver thinks; the status overrules it
};

TaskResult DownLoadTaskManger::downloadCloudFile(DOWNLOADTASK_CONTEXT& job, Common::DownLoadAddressInfoModel& model,
                                                 const Common::TaskItem& task) {
    const std::string id = TypeConvert::WStringToString(job.fileId);
    InsertOperatingFiles(job.relativePath, FileChangeType::Transfer);
    const std::wstring url = model.GetDownloadURL();
    SyncPanelLog::WriteTraceLog("DownLoadTaskManger.cloudDownloadFile.readDownloadPosition. fileId = " + id);
    PlainTransfer transfer(job);
    int writeSliceIndex = 0;
    readDownloadPosition(task, writeSliceIndex, transfer.writePosition);
    SyncPanelLog::WriteTraceLog("DownLoadTaskManger.cloudDownloadFile.DownloadCloudFileRequest. fileId = " + id);
    const WMap headers = RequestHeaders(transfer.writePosition);
    transfer.blockSize = static_cast<std::uint32_t>(std::min(job.fileSize, kLargestBlock));
    Cloud::FileTransRequest request;
    request.receiveDownloadFileCallBackFun([&](const unsigned char* data, const std::int64_t& length) {
        return receivePlainPiece(transfer, data, length);
    });
    const int status = Cloud::FileTransRequest::DownloadCloudFileRequest(url, headers, &request);
    EraseOpetatingFile(job.relativePath);
    // The status alone decides, also about a job that was cancelled or stopped on the way: the row and the position
    // record carry the truth. Deliberate.
    if (status == 200 || status == 206) {
        SyncPanelLog::WriteTraceLog("DownLoadTaskManger.cloudDownloadFile.Download Success End. fileId = " + id);
        transfer.result = TaskResultSuccess;
    } else {
        SyncPanelLog::WriteErrorLog(
            "DownloadTaskManager", "cloudDownloadFile",
            "Terminate download file task:Filetask is failer. DownloadCloudFileRequest faile statuscode=" +
                std::to_string(status));
        transfer.result = TaskResultFailure;
    }
    return transfer.result;
}

bool DownLoadTaskManger::receivePlainPiece(PlainTransfer& transfer, const unsigned char* data, std::int64_t length) {
    DOWNLOADTASK_CONTEXT& job = transfer.job;
    if (!checkTaskStatus(job.fileId, job)) {
        updateDownloadPosition(job.fileId, transfer.writePosition, 0);
        if (job.isStopped) transfer.result = TaskResultStop;
        transfer.result = TaskResultCancel;
        return false;
    }
    if (ReadFlag(g_StopDownLoadTask)) {
        updateDownloadPosition(job.fileId, transfer.writePosition, 0);
        SyncPanelLog::WriteTraceLog("DownLoadTaskManger.cloudDownloadFile.Stop GloblStop fileId = " +
                                    TypeConvert::WStringToString(job.fileId));
        transfer.result = TaskResultStop;
        return false;
    }
    std::vector<unsigned char>& buffer = transfer.receiveBuffer;
    buffer.insert(buffer.end(), data, data + length);
    const auto want =
        static_cast<std::uint32_t>(std::min<std::int64_t>(transfer.blockSize, job.fileSize - transfer.writePosition));
    if (buffer.size() < want) return true;
    if (!deliverPlainBlock(transfer, want)) {
        std::vector<unsigned char>().swap(buffer);
        transfer.result = TaskResultFailure;
        return false;
    }
    transfer.writePosition += want;
    buffer.erase(buffer.begin(), buffer.begin() + want);
    updateDownloadPosition(job.fileId, transfer.writePosition, 0);
    return true;
}

bool DownLoadTaskManger::deliverPlainBlock(PlainTransfer& transfer, std::uint32_t want) {
    const DOWNLOADTASK_CONTEXT& job = transfer.job;
    const unsigned char* block = transfer.receiveBuffer.data();
    if (!job.isPlatformFetch) {
        return Common::FileHepler::WriteLocalFileV(transfer.writePosition, reinterpret_cast<const char*>(block), want,
                                                   job.localFilePath);
    }
    DOWNLOADCALLBACK_CONTEXT record(job);
    record.offset = transfer.writePosition;
    record.length = want;
    record.endOffset = record.offset + record.length;
    record.data = block;
    record.ok = true;
    record.event = DownloadEventData;
    return (*downLoadTaskCallBack)(record);
}

}  // namespace Drive::TransferService
