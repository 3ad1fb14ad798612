#include <exception>
#include <string>
#include <vector>

#include "interfaces/cloud/cloud_drive_interface.h"
#include "interfaces/cloud/file_trans_request.h"
#include "interfaces/common/encrypt_helper.h"
#include "interfaces/logging/bi_logs_manager.h"
#include "interfaces/logging/sync_panel_log.h"
#include "interfaces/logging/type_convert.h"
#include "service/shared/codes.h"
#include "upload/file_key.h"
#include "upload/slice_plan.h"
#include "upload/upload_task_manager.h"

namespace Drive::TransferService {

namespace {

using Common::Bytes;
using Common::EncryptHelper;

void WriteSliceError(const std::string& text) { SyncPanelLog::WriteErrorLog("UpLoadTaskManger", "fileUpload", text); }

void ReportSliceFailure(const std::string& text) {
    WriteSliceError(text);
    Bilog::BiLogsManager::GetInstance().OperateLog(kStatisticService, L"UpLoadTaskManger::fileUpload ",
                                                   TypeConvert::StringToWString(text));
}

std::string IdOf(const UPLOAD_OBJECT_CONTEXT& context) {
    return TypeConvert::WStringToString(context.fragment.objectId);
}

/// Each attachment is a stream of its own that starts anew from the same initialisation vector.
Bytes EncryptAttachments(const Common::FileItem& file, const Bytes& key, const Bytes& iv) {
    std::int64_t total = 0;
    for (const int size : file.GetAttachmentSize()) total += PaddedLength(size);
    Bytes encrypted;
    encrypted.reserve(static_cast<std::size_t>(total));
    for (const auto& [name, bytes] : file.GetAttachmentData()) {
        const std::string part = EncryptHelper::AES_128_CBC_Encrypt(key, iv, bytes);
        encrypted.insert(encrypted.end(), part.begin(), part.end());
    }
    return encrypted;
}

Bytes ProduceObject(const UPLOAD_OBJECT_CONTEXT& context, Platform::HANDLE handle, std::int64_t offset,
                    std::int64_t readLength) {
    const FileKeyText text(context.fileItem.GetFileHMAC());
    const KeyBytes key(DecodeKeyHalf(text.keyHex));
    const KeyBytes iv(DecodeKeyHalf(text.ivHex));
    if (context.isAttachment) return EncryptAttachments(context.fileItem, key, iv);
    SyncPanelLog::WriteTraceLog("UpLoadTaskManger.fileUpload:upload slicefile stratoffset= " + std::to_string(offset) +
                                ";readlength=" + std::to_string(readLength));
    return EncryptHelper::AES_128_CBC_Encrypt_FileHandle(key, iv, handle, offset, readLength);
}

}  // namespace

UPLOAD_REAULT_CONTEXT UpLoadTaskManger::uploadSliceFile(const Common::FileItem& file, UPLOAD_OBJECT_CONTEXT& context,
                                                        Platform::HANDLE& handle, std::int64_t& offset,
                                                        const std::int64_t& readLength) {
    UPLOAD_REAULT_CONTEXT result;
    try {
        const Bytes bytes = ProduceObject(context, handle, offset, readLength);
        if (checkObjectBytes(file, context, bytes, result)) deliverObject(file, context, bytes, result);
    } catch (const std::exception& error) {
        WriteSliceError(std::string("fileslice upload exception:") + error.what());
    }
    return result;
}

bool UpLoadTaskManger::checkObjectBytes(const Common::FileItem& file, const UPLOAD_OBJECT_CONTEXT& context,
                                        const std::vector<unsigned char>& bytes, UPLOAD_REAULT_CONTEXT& result) {
    if (bytes.empty()) {
        ReportSliceFailure("encrypt slicefile error objectId=" + IdOf(context));
        return false;
    }
    if (static_cast<std::int64_t>(bytes.size()) == context.fragment.length) return true;
    // The cloud sized the object in advance: the file has changed under the plan, and the plan is dropped.
    ReportSliceFailure("encrypt buffer length not equal fragmentinfo length objectId=" + IdOf(context) +
                       ";encryptlength=" + std::to_string(bytes.size()) +
                       ";length=" + std::to_string(context.fragment.length));
    clearCache(context.taskId, file);
    result.persistFragment = false;
    return false;
}

void UpLoadTaskManger::deliverObject(const Common::FileItem& file, const UPLOAD_OBJECT_CONTEXT& context,
                                     const std::vector<unsigned char>& bytes, UPLOAD_REAULT_CONTEXT& result) {
    const std::string md5 = EncryptHelper::MD5_Encode(bytes);
    const std::string sha256 = EncryptHelper::SHA256_Encode(bytes);
    Common::GetKelpAddressModel model;
    bool clearCacheNeeded = false;
    if (!getKelpAddress(context.fileItem, context.fragment, md5, sha256, 0, context, model, clearCacheNeeded)) {
        ReportSliceFailure("fileslice getKelpAddress false:" + IdOf(context));
        if (clearCacheNeeded) clearCache(context.taskId, file);
        result.persistFragment = false;
        return;
    }
    WMap responseHeaders;
    std::string response;
    if (!Cloud::FileTransRequest::UploadRequest(model.GetUrl(), model.GetKelpAddressHeaders(), model.GetMethod(), bytes,
                                                responseHeaders, response)) {
        ReportSliceFailure("fileslice upload false:" + IdOf(context));
        return;
    }
    const bool confirmed = Cloud::CloudDriveInterface::ObjectsUploadComplete(file, context.fragment, model, response,
                                                                             context.recordCursor);
    result.objectId = context.fragment.objectId;
    result.uploadSucceeded = confirmed;
    result.bucketId = model.GetObjectBucketId();
}

}  // namespace Drive::TransferService
