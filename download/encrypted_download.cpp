#include <openssl/crypto.h>

#include <deque>
#include <exception>
#include <string>
#include <vector>

#include "download/download_task_manager.h"
#include "interfaces/cloud/cloud_drive_interface.h"
#include "interfaces/cloud/file_trans_request.h"
#include "interfaces/common/drive_functions.h"
#include "interfaces/common/file_helper.h"
#include "interfaces/common/globals.h"
#include "interfaces/logging/sync_panel_log.h"
#include "interfaces/logging/type_convert.h"

namespace Drive::TransferService {

namespace {

constexpr int kRepeatsOfOneSlice = 3;

void LogFailure(const std::string& text) {
    SyncPanelLog::WriteErrorLog("DownLoadTaskManger", "driveDownloadFile", text);
}

}  // namespace

/// The state of one call.
struct DownLoadTaskManger::EncryptedTransfer {
    EncryptedTransfer(DOWNLOADTASK_CONTEXT& job, const Common::DownLoadAddressInfoModel& model)
        : job(job), model(model), id(TypeConvert::WStringToString(job.fileId)) {}
    ~EncryptedTransfer() { OPENSSL_cleanse(fek.data(), fek.size()); }

    DOWNLOADTASK_CONTEXT& job;
    const Common::DownLoadAddressInfoModel& model;
    std::string id;  // of the file, for the log
    Common::DownloadObjectInfoList object;
    std::deque<std::wstring> synckeys;
    std::wstring encryptAlgorithm;
    std::vector<unsigned char> fek;
    std::vector<unsigned char> ivBytes;
    std::int64_t writePosition = 0;
    int writeSliceIndex = 0;
    Common::DownloadKelpAddressInfo address;
    std::vector<unsigned char> receiveData;  // the plain bytes of one slice
};

TaskResult DownLoadTaskManger::downloadDriveFile(DOWNLOADTASK_CONTEXT& job, Common::DownLoadAddressInfoModel& model,
                                                 const Common::TaskItem& task) {
    try {
        InsertOperatingFiles(job.relativePath, FileChangeType::Transfer);
        EncryptedTransfer transfer(job, model);
        SyncPanelLog::WriteTraceLog("DownLoadTaskManger.driveDownloadFile.getDecryptKeyType. fileId = " + transfer.id);
        std::wstring keyType;
        if (!getDecryptKeyType(model, keyType, transfer.encryptAlgorithm, transfer.ivBytes, transfer.fek)) {
            SyncPanelLog::WriteTraceLog("DownLoadTaskManger.driveDownloadFile.getDecryptKeyType fail. fileId = " +
                                        transfer.id);
            return TaskResultFailure;
        }
        SyncPanelLog::WriteTraceLog("DownLoadTaskManger.driveDownloadFile.readDownloadPosition. fileId = " +
                                    transfer.id);
        readDownloadPosition(task, transfer.writeSliceIndex, transfer.writePosition);
        transfer.object = model.GetObjectInfoList().at(0);
        transfer.synckeys.assign(transfer.object.synckeys.begin(), transfer.object.synckeys.end());
        // The walk always begins at the first object while the position is kept; deliberate.
        transfer.writeSliceIndex = 0;
        return downloadObjects(transfer);
    } catch (const std::exception& error) {
        LogFailure(TypeConvert::UTF82Unicode(error.what()));
        EraseOpetatingFile(job.relativePath);
        return TaskResultFailure;
    }
}

TaskResult DownLoadTaskManger::downloadObjects(EncryptedTransfer& transfer) {
    DOWNLOADTASK_CONTEXT& job = transfer.job;
    const auto endedByRow = [&] { return job.isStopped ? TaskResultStop : TaskResultCancel; };
    for (const std::wstring& objectId : transfer.object.objectIds) {
        if (!checkTaskStatus(job.fileId, job)) return endedByRow();
        if (ReadFlag(g_StopDownLoadTask)) {
            SyncPanelLog::WriteTraceLog("DownLoadTaskManger.downLoadTask.StopDownLoadTask fileId = " + transfer.id);
            return TaskResultStop;
        }
        if (!requestAddress(transfer, objectId)) return TaskResultFailure;
        if (!fetchObject(transfer)) return TaskResultStop;
        if (!checkTaskStatus(job.fileId, job)) return endedByRow();
        if (transfer.receiveData.empty()) {
            LogFailure("Terminate download file task:ReceiveData is Empty! fileid = " + transfer.id);
            EraseOpetatingFile(job.relativePath);
            return TaskResultFailure;
        }
        const TaskResult delivered = deliverObject(transfer);
        if (delivered != TaskResultSuccess) return delivered;
        ++transfer.writeSliceIndex;
        transfer.writePosition += static_cast<std::int64_t>(transfer.receiveData.size());
        updateDownloadPosition(job.fileId, transfer.writePosition, transfer.writeSliceIndex);
        if (transfer.writePosition >= job.fileSize) break;
    }
    SyncPanelLog::WriteTraceLog("DownLoadTaskManger.driveDownloadFile.Download Success End. fileId = " + transfer.id);
    EraseOpetatingFile(job.relativePath);
    return TaskResultSuccess;
}

bool DownLoadTaskManger::requestAddress(EncryptedTransfer& transfer, const std::wstring& objectId) {
    Common::KelpAddressRequestModel request;
    request.bucketId = transfer.object.bucketId;
    request.objectId = objectId;
    if (!transfer.synckeys.empty()) {
        request.synckey = transfer.synckeys.front();
        transfer.synckeys.pop_front();
    }
    request.time = transfer.object.time;
    request.recordCursor = transfer.model.GetRecordCursor();
    request.length = transfer.object.length;
    SyncPanelLog::WriteTraceLog("DownLoadTaskManger.downLoadTask.getDownloadKelpAddress Begin fileId = " + transfer.id);
    transfer.address = Common::DownloadKelpAddressInfo();
    if (Cloud::CloudDriveInterface::GetDownloadKelpAddress(request, transfer.address)) return true;
    LogFailure("Terminate download file task:Filetask is failer. getdownloadkelpaddressrequest fail! fileid = " +
               transfer.id);
    EraseOpetatingFile(transfer.job.relativePath);
    return false;
}

// Up to four attempts on one address, without a pause. The last answer is not looked at: what an attempt left in
// receiveData is the slice. False only when the engine is stopped between attempts.
bool DownLoadTaskManger::fetchObject(EncryptedTransfer& transfer) {
    for (int repeats = 0;;) {
        SyncPanelLog::WriteTraceLog("DownLoadTaskManger.downLoadTask.Download Slicefile Begin fileId = " + transfer.id);
        transfer.receiveData.clear();
        const bool arrived = Cloud::FileTransRequest::DownloadDriveFileRequest(
            transfer.address.GetUrl(), transfer.address.GetHeaders(), transfer.fek, transfer.ivBytes,
            transfer.encryptAlgorithm, transfer.object.length, transfer.receiveData);
        if (arrived || repeats >= kRepeatsOfOneSlice) return true;
        if (ReadFlag(g_StopDownLoadTask)) {
            SyncPanelLog::WriteTraceLog("DownLoadTaskManger.driveDownloadFile.Stop Global Stop  fileId = " +
                                        transfer.id);
            return false;
        }
        ++repeats;
        SyncPanelLog::WriteTraceLog("DownLoadTaskManger.downLoadTask. Download slicefile fail goto retry;retryCount=" +
                                    std::to_string(repeats) + ";fileId = " + transfer.id);
    }
}

TaskResult DownLoadTaskManger::deliverObject(EncryptedTransfer& transfer) {
    const DOWNLOADTASK_CONTEXT& job = transfer.job;
    const std::vector<unsigned char>& bytes = transfer.receiveData;
    if (job.isPlatformFetch) {
        SyncPanelLog::WriteTraceLog("DownLoadTaskManger.driveDownloadFile.ExecuteCallBack fileId = " + transfer.id);
        DOWNLOADCALLBACK_CONTEXT record(job);
        record.offset = transfer.writePosition;
        record.length = static_cast<std::int64_t>(bytes.size());
        record.endOffset = record.offset + record.length;
        record.data = bytes.data();
        return executeCallBack(record, DownloadEventData, true) ? TaskResultSuccess : TaskResultFailure;
    }
    SyncPanelLog::WriteTraceLog("DownLoadTaskManger.driveDownloadFile.WriteLocalFile. fileId = " + transfer.id);
    if (Common::FileHepler::WriteLocalFileV(transfer.writePosition, reinterpret_cast<const char*>(bytes.data()),
                                            bytes.size(), job.localFilePath)) {
        return TaskResultSuccess;
    }
    LogFailure("Terminate download file task:Filetask is failer. WriteLocalFile fail! fileid = " + transfer.id);
    EraseOpetatingFile(job.relativePath);
    return TaskResultRetry;
}

}  // namespace Drive::TransferService
