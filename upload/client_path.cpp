#include <string>
#include <utility>

#include "interfaces/common/file_helper.h"
#include "interfaces/common/globals.h"
#include "interfaces/logging/sync_panel_log.h"
#include "interfaces/logging/type_convert.h"
#include "interfaces/platform/file_calls.h"
#include "service/shared/flags.h"
#include "upload/slice_plan.h"
#include "upload/upload_attempt.h"
#include "upload/upload_log.h"
#include "upload/upload_task_manager.h"

namespace Drive::TransferService {

namespace {

using Common::FileHepler;
using Platform::HANDLE;

/// Readable and deletable by others during the upload, but not writable. One handle serves all objects of an attempt.
HANDLE OpenForSlices(const std::wstring& path) {
    return Platform::CreateFileW(path.c_str(), Platform::kGenericRead,
                                 Platform::kFileShareRead | Platform::kFileShareDelete, nullptr,
                                 Platform::kOpenExisting, Platform::kFileFlagOverlapped, nullptr);
}

/// The attachments ride on the last object, and their list is built only when that object is sent in this attempt.
void ListAttachments(const Common::FileItem& file, Common::ObjectInfoList& objects) {
    for (const auto& [name, bytes] : file.GetAttachmentData()) {
        objects.attachmentList.push_back(Common::Attributes{name, static_cast<std::int64_t>(bytes.size())});
    }
    SyncPanelLog::WriteTraceLog("UpLoadTaskManger.uploadTask:upload attachment");
}

UPLOAD_OBJECT_CONTEXT ContextOf(const UploadAttempt& attempt, const Common::FragmentInfo& fragment) {
    UPLOAD_OBJECT_CONTEXT context;
    context.taskId = attempt.taskIdText();
    context.sliceSize = attempt.startInfo.GetSliceSize();
    context.fileItem = attempt.file;
    context.fragment = fragment;
    context.recordCursor = attempt.startInfo.GetRecordCursor();
    context.bucketId = attempt.startInfo.GetBucketId();
    return context;
}

}  // namespace

bool UpLoadTaskManger::uploadByClient(UploadAttempt& attempt) {
    SyncPanelLog::WriteTraceLog("UpLoadTaskManger.uploadTask:file client upload. fileid=" + attempt.fileId);
    WriteTaskStatistic("file client upload. fileid=" + attempt.fileId);
    attempt.file.SetName(attempt.file.GetLocalFileName());

    Common::ObjectInfoList objects;
    attempt.hasAttachment = FileHepler::HasAttachment(attempt.file);
    const HANDLE handle = OpenForSlices(attempt.file.GetFileClientPath());
    if (handle == Platform::kInvalidHandle) {
        WriteTaskError("Terminate upload task:Create file handle fail. fileid=" + attempt.fileId);
        WriteTaskStatistic("Create file handle fail. fileid=" + attempt.fileId);
        return attempt.end(TaskResultDeleteForRetry);
    }
    if (!sendFragments(attempt, handle, objects)) return false;
    Platform::CloseHandle(handle);

    objects.sliceSize = attempt.startInfo.GetSliceSize();
    objects.bucketId = attempt.startInfo.GetBucketId();
    attempt.objectInfoList.push_back(std::move(objects));
    SyncPanelLog::WriteTraceLog("UpLoadTaskManger.uploadTask:file client upload end.");
    return true;
}

bool UpLoadTaskManger::sendFragments(UploadAttempt& attempt, HANDLE handle, Common::ObjectInfoList& objects) {
    std::vector<Common::FragmentInfo> fragments = attempt.startInfo.GetFragmentInfos();
    std::int64_t position = 0;
    for (std::size_t index = 0; index < fragments.size(); ++index) {
        if (!mayGoOn(attempt, handle)) return false;
        const std::int64_t length = SliceLength(attempt.startInfo.GetSliceSize(), attempt.file.GetSize(), position);
        if (fragments[index].status) {
            // Stored in an earlier attempt: nothing is read or sent.
            objects.objectIds.push_back(fragments[index].objectId);
            position += length;
            continue;
        }
        if (!sendFragment(attempt, handle, fragments, index, position, length, objects)) return false;
    }
    return true;
}

bool UpLoadTaskManger::mayGoOn(UploadAttempt& attempt, HANDLE handle) {
    if (!FileHepler::IsFileExists(attempt.file.GetFileClientPath())) {
        // On this one road the handle stays open, deliberately.
        WriteTaskError("Terminate upload task:File is not exists. fileid=" + attempt.fileId);
        return attempt.end(TaskResultStop);
    }
    if (uploadStopFlag) {
        Platform::CloseHandle(handle);
        SyncPanelLog::WriteTraceLog("UpLoadTaskManger.uploadTask:file upload stop  fileid=" + attempt.fileId);
        SyncPanelLog::WriteDebugLog("StopUploadTask Close FileStream =" +
                                    TypeConvert::WStringToString(attempt.file.GetFileClientPath()));
        return attempt.end(TaskResultStop);
    }
    if (ReadFlag(g_cloudServerIsMigrating)) {
        Platform::CloseHandle(handle);
        WriteTaskError("CloudServerIsMigrating Stop upload Task fileid:" +
                       TypeConvert::WStringToString(attempt.task.GetFileId()));
        return attempt.end(TaskResultStop);
    }
    return true;
}

bool UpLoadTaskManger::sendFragment(UploadAttempt& attempt, HANDLE handle, std::vector<Common::FragmentInfo>& fragments,
                                    std::size_t index, std::int64_t& position, std::int64_t length,
                                    Common::ObjectInfoList& objects) {
    UPLOAD_OBJECT_CONTEXT context = ContextOf(attempt, fragments[index]);
    context.isAttachment = attempt.hasAttachment && index + 1 == fragments.size();
    if (context.isAttachment) ListAttachments(attempt.file, objects);

    const UPLOAD_REAULT_CONTEXT result = uploadSliceFile(attempt.file, context, handle, position, length);
    fragments[index].status = result.uploadSucceeded;
    if (result.persistFragment) {
        // What lets the upload resume after a restart. After some failures the bucket id is empty here, deliberately.
        attempt.startInfo.SetFragmentInfos(fragments);
        attempt.startInfo.SetBucketId(result.bucketId);
        if (result.uploadSucceeded) position += length;
        attempt.startInfo.SetPosition(static_cast<std::uint64_t>(position));
        updateTaskFragmentinfo(attempt.startInfo, attempt.task.GetFileId());
    }
    if (!result.uploadSucceeded) {
        Platform::CloseHandle(handle);
        return attempt.end(TaskResultFailure);
    }
    objects.objectIds.push_back(result.objectId);
    return true;
}

}  // namespace Drive::TransferService
