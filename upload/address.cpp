#include <exception>
#include <mutex>

#include "interfaces/cloud/cloud_drive_interface.h"
#include "interfaces/logging/sync_panel_log.h"
#include "interfaces/logging/type_convert.h"
#include "upload/upload_task_manager.h"

namespace Drive::TransferService {

namespace {

void WriteAddressError(const std::string& text) {
    SyncPanelLog::WriteErrorLog("UpLoadTaskManger", "getKelpAddress", text);
}

Common::KelpAddressRequestModel RequestOf(const Common::FragmentInfo& fragment, const UPLOAD_OBJECT_CONTEXT& context,
                                          const std::wstring& bucketId, const std::string& md5,
                                          const std::string& sha256) {
    Common::KelpAddressRequestModel request;
    request.bucketId = bucketId;
    request.objectId = fragment.objectId;
    request.synckey = fragment.synckey;
    request.time = fragment.time;
    request.recordCursor = context.recordCursor;
    request.length = fragment.length;
    request.md5 = md5;
    request.sha256 = sha256;
    return request;
}

}  // namespace

bool UpLoadTaskManger::getKelpAddress(const Common::FileItem& file, const Common::FragmentInfo& fragment,
                                      const std::string& md5, const std::string& sha256, std::int64_t /*unused*/,
                                      UPLOAD_OBJECT_CONTEXT context, Common::GetKelpAddressModel& model,
                                      bool& clearCacheNeeded) {
    try {
        // Held over the call, deliberately: the workers of the process ask for addresses one at a time.
        const std::lock_guard lock(*addressLock);
        std::wstring bucketId = context.bucketId;
        if (bucketId.empty() && !cachedBucketId.empty()) bucketId = cachedBucketId;

        WMap result;
        if (Cloud::CloudDriveInterface::GetUploadKelpAddress(file, RequestOf(fragment, context, bucketId, md5, sha256),
                                                             model, result)) {
            cachedBucketId = model.GetObjectBucketId();
            return true;
        }
        if (result[L"errorCode"] == L"21000400" || result[L"statuscode"] == L"500") clearCacheNeeded = true;
        WriteAddressError("Upload getKelpAddress fail errorCode" + TypeConvert::WStringToString(result[L"errorCode"]) +
                          "; description =" + TypeConvert::WStringToString(result[L"description"]));
    } catch (const std::exception& error) {
        WriteAddressError(std::string("Error:") + error.what());
    }
    return false;
}

}  // namespace Drive::TransferService
