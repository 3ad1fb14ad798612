#pragma once

#include <cstdint>
#include <functional>
#include <list>
#include <string>
#include <vector>

#include "interfaces/common/address_models.h"
#include "interfaces/common/file_item.h"
#include "interfaces/common/task_item.h"
#include "interfaces/platform/export.h"
#include "interfaces/platform/synchronisation.h"
#include "service/shared/flags.h"
#include "service/shared/never_destroyed.h"
#include "service/shared/task_result.h"
#include "service/shared/transfer_records.h"

namespace Drive::TransferService {

/// The download engine: carries out one job a worker. It owns no queue and no thread; jobs wait as rows of `T_task`.
/// Process-wide, made on first use.
class DownLoadTaskManger {
public:
    /// The host's callback; DownloadEvent tells what it is called for. Called on worker threads, several at once, with
    /// no lock held; must be fast, must not throw and must not call executeFetchData, CancleDownload or stop.
    using DownloadCallback = std::function<bool(DOWNLOADCALLBACK_CONTEXT&)>;

    /// Gives a slot back: the transfer key of a job that ended, or 0 when one began.
    using SemaphoreCallback = std::function<void(int)>;

    ZELKOR_API static DownLoadTaskManger& getInstance();

    /// Sets the host's callback. Before start, also when it does nothing: an empty one fails every job.
    ZELKOR_API void SetDownLoadTaskCallBackFun(DownloadCallback callback);

    /// Sets what gives slots back; the service does that.
    ZELKOR_API void SetTaskSemaphoreCallbackFun(SemaphoreCallback callback);

    /// Writes a batch of jobs into `T_task`; starts none. Any thread. A failure of the database is not told.
    ZELKOR_API void PushDownLoadTask(const std::list<DOWNLOADTASK_CONTEXT>& jobs);

    /// Jobs that run at this moment.
    ZELKOR_API int getDownloadingTaskCount();

    /// Asks the running job of the file to end (it does at its next check), or tells the host to end the fetch state of
    /// a placeholder whose download failed. A file without a row, or in another state, is passed over in silence.
    ZELKOR_API void CancleDownload(const std::wstring& localPath);

    /// Whether the job of the file may be stopped: false for one of the priority pool. Changes nothing.
    ZELKOR_API bool StopDownloadTask(const std::wstring& localPath);

    /// Ends all downloads for good and waits, without limit, until the last worker has ended. Thumbnails are not
    /// waited for.
    ZELKOR_API void StopDownLoadMangerService();

    /// Worker entry; `param` is a heap TaskItem that it owns. Returns 0.
    ZELKOR_API static std::uint32_t DownloadThreadFunc(void* param);

    /// Worker entry; `param` is a heap WMap that it owns. Returns 1, or 0 for null.
    ZELKOR_API static std::uint32_t DownloadThumbnailThreadFunc(void* param);

    DownLoadTaskManger(const DownLoadTaskManger&) = delete;
    DownLoadTaskManger& operator=(const DownLoadTaskManger&) = delete;

private:
    DownLoadTaskManger();
    ~DownLoadTaskManger();

    // Engine (download_engine.cpp).
    void updateDownloadingTaskCount(const int& delta);
    bool executeCallBack(DOWNLOADCALLBACK_CONTEXT& record, const int& event, const bool& ok);

    // Worker (worker.cpp) and what each outcome does (outcomes.cpp).
    void runJob(Common::TaskItem& task);
    void refuseUnopenedPlaceholder(const DOWNLOADTASK_CONTEXT& job, const Common::TaskItem& task);
    void carryOut(DOWNLOADTASK_CONTEXT& job, Common::TaskItem& task, const Common::FileItem& file);
    bool closePlaceholder(DOWNLOADTASK_CONTEXT& job);
    void finishJob(DOWNLOADTASK_CONTEXT& job, const Common::TaskItem& task);
    bool applyOutcome(TaskResult result, DOWNLOADTASK_CONTEXT& job, Common::TaskItem& task);
    void finishSuccess(const DOWNLOADTASK_CONTEXT& job);
    void finishFailure(const DOWNLOADTASK_CONTEXT& job);
    void finishCancel(const DOWNLOADTASK_CONTEXT& job);
    void finishStop(const DOWNLOADTASK_CONTEXT& job);
    bool finishRetry(const DOWNLOADTASK_CONTEXT& job, Common::TaskItem& task);
    void raiseEndWithoutFile(const DOWNLOADTASK_CONTEXT& job);
    void raiseClosingEvent(const DOWNLOADTASK_CONTEXT& job);

    // One pass of a job (task_flow.cpp) and its checks (checks.cpp).
    TaskResult downLoadTask(DOWNLOADTASK_CONTEXT& job, const Common::TaskItem& task);
    bool beginPlatformFetch(DOWNLOADTASK_CONTEXT& job);
    TaskResult transfer(DOWNLOADTASK_CONTEXT& job, const Common::TaskItem& task);
    bool checkTaskStatus(const std::wstring& fileId, DOWNLOADTASK_CONTEXT& job);
    bool hasCurrentDiskFreeSpace(const std::wstring& path);
    bool checkUpdatePlaceholder(DOWNLOADTASK_CONTEXT& job, const Common::DownLoadAddressInfoModel& model);
    bool setOrCloseDownlodFileHandle(Common::FileItem& file, const bool& open);

    // Plain transfer (plain_download.cpp).
    struct PlainTransfer;
    TaskResult downloadCloudFile(DOWNLOADTASK_CONTEXT& job, Common::DownLoadAddressInfoModel& model,
                                 const Common::TaskItem& task);
    bool receivePlainPiece(PlainTransfer& transfer, const unsigned char* data, std::int64_t length);
    bool deliverPlainBlock(PlainTransfer& transfer, std::uint32_t want);

    // Encrypted transfer (encrypted_download.cpp, decrypt_key.cpp).
    struct EncryptedTransfer;
    TaskResult downloadDriveFile(DOWNLOADTASK_CONTEXT& job, Common::DownLoadAddressInfoModel& model,
                                 const Common::TaskItem& task);
    TaskResult downloadObjects(EncryptedTransfer& transfer);
    bool requestAddress(EncryptedTransfer& transfer, const std::wstring& objectId);
    bool fetchObject(EncryptedTransfer& transfer);
    TaskResult deliverObject(EncryptedTransfer& transfer);
    bool getDecryptKeyType(const Common::DownLoadAddressInfoModel& model, std::wstring& keyType,
                           std::wstring& encryptAlgorithm, std::vector<unsigned char>& ivBytes,
                           std::vector<unsigned char>& fek);
    int checkFileHasAttachment(std::vector<Common::DownloadAttributes>& attributes);

    // Position record (position_record.cpp holds its text form).
    void readDownloadPosition(const Common::TaskItem& task, int& writeSliceIndex, std::int64_t& writePosition);
    void updateDownloadPosition(const std::wstring& fileId, const std::int64_t& writePosition,
                                const int& writeSliceIndex);

    // Thumbnails (thumbnail_download.cpp).
    void runThumbnailJob(const DOWNLOADTASK_CONTEXT& job);
    bool downLoadThumbnailTask(DOWNLOADTASK_CONTEXT& job);

    NeverDestroyed<Platform::Mutex> mutex;
    Relaxed<int> downloadingTaskCount{0};  // written under mutex, read without it for logs and by the feeders
    NeverDestroyed<Platform::ConditionVariable> countCondition;

    // Set before start.
    NeverDestroyed<SemaphoreCallback> taskSemaphoreCallback;
    NeverDestroyed<DownloadCallback> downLoadTaskCallBack;

    // Only locked and unlocked, to stand in line behind whoever holds it.
    static NeverDestroyed<Platform::Mutex> downloadFileHandleMutex;
};

}  // namespace Drive::TransferService
