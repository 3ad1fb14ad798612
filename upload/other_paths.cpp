#include <utility>

#include "interfaces/logging/sync_panel_log.h"
#include "server_upload/server_upload.h"
#include "upload/upload_attempt.h"
#include "upload/upload_log.h"
#include "upload/upload_task_manager.h"

namespace Drive::TransferService {

void UpLoadTaskManger::uploadByExisting(UploadAttempt& attempt) {
    const std::vector<Common::FragmentInfo>& fragments = attempt.startInfo.GetFragmentInfos();
    if (!fragments.empty()) {
        // The bucket id stays empty here, deliberately, unlike on the client path.
        Common::ObjectInfoList objects;
        for (const Common::FragmentInfo& fragment : fragments) objects.objectIds.push_back(fragment.objectId);
        objects.sliceSize = attempt.startInfo.GetSliceSize();
        attempt.objectInfoList.push_back(std::move(objects));
    }
    if (attempt.file.GetName().empty()) attempt.file.SetName(attempt.file.GetLocalFileName());
    SyncPanelLog::WriteTraceLog("file exist upload. fileid=" + attempt.fileId);
    WriteTaskStatistic("file exist upload. fileid=" + attempt.fileId);
}

TaskResult UpLoadTaskManger::uploadByServer(UploadAttempt& attempt) {
    SyncPanelLog::WriteTraceLog("file server upload begin. fileid=" + attempt.fileId);
    WriteTaskStatistic("file server upload. fileid=" + attempt.fileId);
    if (!ServerUpload::getInstance().uploadFileWithServerType(attempt.file, attempt.startInfo, attempt.task,
                                                              attempt.responseMap)) {
        SyncPanelLog::WriteTraceLog("file server upload end and fail");
        return TaskResultFailure;
    }
    updateFileData(attempt.responseMap, attempt.file);
    SyncPanelLog::WriteTraceLog("file server upload end and success");
    return TaskResultSuccess;
}

}  // namespace Drive::TransferService
