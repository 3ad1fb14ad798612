#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "interfaces/common/address_models.h"
#include "interfaces/common/completion_models.h"
#include "interfaces/common/file_item.h"
#include "interfaces/common/task_item.h"
#include "interfaces/common/upload_plan.h"
#include "interfaces/common/wmap.h"
#include "interfaces/platform/export.h"
#include "interfaces/platform/synchronisation.h"
#include "interfaces/platform/types.h"
#include "service/shared/flags.h"
#include "service/shared/never_destroyed.h"
#include "service/shared/task_result.h"
#include "upload/upload_records.h"

namespace Drive::TransferService {

struct UploadAttempt;

/// The upload engine. Process-wide, made on first use, lives until the process ends. It neither queues nor limits:
/// each pool work item is one worker, and any number of them run at once, each on a task and a file item of its own.
/// The private operations run on the worker that owns the task; no exception leaves a worker.
class UpLoadTaskManger {
public:
    /// (kind, client path); the answer is ignored. 1: the file was uploaded. 2: its pictures are about to be made, the
    /// host can prepare the file for reading. The host must install one: without it a successful upload keeps its task
    /// and media files do not go up.
    using ServiceCallback = std::function<bool(int, const std::wstring&)>;

    /// (kind, value). (1, 2): the user's space is full. (1, 3): it soon will be. (2, 0): a worker has begun.
    /// (2, 1): a worker has ended and gives its slot back.
    using TaskCallback = std::function<void(int, int)>;

    ZELKOR_API static UpLoadTaskManger& getInstance();

    /// Swap the callback in. Callbacks run on worker threads. The setters take no lock: call them before the service
    /// starts and not while it runs.
    ZELKOR_API void SetUploadServiceCallbackFun(ServiceCallback callback);
    ZELKOR_API void SetUploadTaskCallbackFun(TaskCallback callback);

    /// Whether a first will-be-full message is still due. There is no sister for the full message, deliberately: that
    /// flag starts true, is cleared by the first message and stays clear for the life of the process.
    ZELKOR_API void SetFirstNotifySpaceWillFull(const bool& due);

    /// Sets the stop flag, which is never cleared: every later upload of this process ends at once as stopped. Then
    /// waits until no worker runs, 10 seconds at most in all. A worker inside a network call may outlast the wait.
    ZELKOR_API void StopUpLoadMangerService();

    /// One worker, for the thread pool. `argument` is a heap TaskItem, never null, owned by the callee. Takes the task
    /// through one upload, writes its outcome into the rows and raises (2, 1) in every case. Always 0.
    ZELKOR_API static std::uint32_t UploadThreadFunc(void* argument);

private:
    UpLoadTaskManger();
    ~UpLoadTaskManger() = default;
    UpLoadTaskManger(const UpLoadTaskManger&) = delete;
    UpLoadTaskManger& operator=(const UpLoadTaskManger&) = delete;

    // worker.cpp
    void runWorker(Common::TaskItem& task, Common::FileItem& file, WMap& taskColumns);
    void applyResult(TaskResult result, const Common::TaskItem& task, const Common::FileItem& file, WMap& taskColumns,
                     WMap& fileColumns);
    void endAfterException(const Common::TaskItem& task, WMap& taskColumns, const std::string& what);

    // upload_engine.cpp
    /// Never lets the count go below zero; wakes the stop once.
    void updateUploadingTaskCount(int change);

    // task_flow.cpp
    /// One attempt: the gate, the start, one of three paths, the hash check, the completion. Never throws.
    TaskResult uploadTask(Common::TaskItem& task, Common::FileItem& file);
    TaskResult runAttempt(UploadAttempt& attempt);

    // gate.cpp, space_gate.cpp
    /// The checks before anything is asked of the plan; each step answers whether the attempt goes on, and if not sets
    /// the attempt's result.
    bool passGate(UploadAttempt& attempt);
    bool passParentFolder(UploadAttempt& attempt);
    bool passSpace(UploadAttempt& attempt);

    // parent_folder.cpp
    /// Exchanges a local parent id for the cloud's. False: the parent has no cloud identity yet, or the row could not
    /// be written.
    bool checkParentFolder(Common::FileItem& file);

    // start.cpp
    /// The handshake. True: `startInfo` is the state to work with. Sets hash and size on `file`. Never throws.
    bool uploadStart(Common::FileItem& file, const Common::TaskItem& task, Common::UploadStartInfo& startInfo);
    void noticeMigration(const std::wstring& errorCode);
    bool settlePlan(const std::string& answerText, const Common::UploadStartInfo& localStartInfo,
                    const Common::TaskItem& task, Common::UploadStartInfo& startInfo);
    /// Reads a start record. False for a text that is empty, unreadable or no object. Never throws.
    bool initUploadStartinfo(const std::string& text, Common::UploadStartInfo& info);

    // fragment_record.cpp
    /// Rewrites the resume record of the file's task; a failed write goes unnoticed and costs objects sent again.
    void updateTaskFragmentinfo(const Common::UploadStartInfo& info, const std::wstring& fileId);

    // client_path.cpp
    /// Sends the objects of the plan that are not stored yet. False: the attempt ended, its result is set.
    bool uploadByClient(UploadAttempt& attempt);
    bool sendFragments(UploadAttempt& attempt, Platform::HANDLE handle, Common::ObjectInfoList& objects);
    bool mayGoOn(UploadAttempt& attempt, Platform::HANDLE handle);
    bool sendFragment(UploadAttempt& attempt, Platform::HANDLE handle, std::vector<Common::FragmentInfo>& fragments,
                      std::size_t index, std::int64_t& position, std::int64_t length, Common::ObjectInfoList& objects);

    // object_slice.cpp
    /// Produces and delivers one object; changes neither `handle` nor `offset`. `readLength` is in plain bytes. Never
    /// throws, never retries, reads no stop flag.
    UPLOAD_REAULT_CONTEXT uploadSliceFile(const Common::FileItem& file, UPLOAD_OBJECT_CONTEXT& context,
                                          Platform::HANDLE& handle, std::int64_t& offset,
                                          const std::int64_t& readLength);
    bool checkObjectBytes(const Common::FileItem& file, const UPLOAD_OBJECT_CONTEXT& context,
                          const std::vector<unsigned char>& bytes, UPLOAD_REAULT_CONTEXT& result);
    void deliverObject(const Common::FileItem& file, const UPLOAD_OBJECT_CONTEXT& context,
                       const std::vector<unsigned char>& bytes, UPLOAD_REAULT_CONTEXT& result);

    // address.cpp
    /// Asks where to put one object, one request of the process at a time. `unused` is not read. `clearCacheNeeded`
    /// is set when the answer says that the plan is lost. Never throws.
    bool getKelpAddress(const Common::FileItem& file, const Common::FragmentInfo& fragment, const std::string& md5,
                        const std::string& sha256, std::int64_t unused, UPLOAD_OBJECT_CONTEXT context,
                        Common::GetKelpAddressModel& model, bool& clearCacheNeeded);

    // other_paths.cpp
    void uploadByExisting(UploadAttempt& attempt);
    TaskResult uploadByServer(UploadAttempt& attempt);

    // hash_check.cpp
    /// Proves that the local file is still the one that the plan was made for.
    bool checkFileHash(UploadAttempt& attempt);

    // finish.cpp
    TaskResult finishUpload(UploadAttempt& attempt);
    TaskResult decideFailedCompletion(UploadAttempt& attempt);
    void refreshSpaceInBackground();

    // completion.cpp
    /// The file key wrapped for the user: type 1 or 3; any other type, or a key that is not there, gives an empty text.
    std::string getUserKey(const std::string& keyHex, const std::string& ivHex, const int& keyType);
    /// The one finishing call, create or update. False with an empty `result` when a key could not be wrapped. Never
    /// throws.
    bool fileCreateComplete(Common::FileItem& file, const std::vector<Common::ObjectInfoList>& objects,
                            const std::wstring& recordCursor, WMap& result);

    // row_update.cpp
    /// Takes the cloud's answer into the file's row; a failed write goes unnoticed.
    void updateFileData(WMap& answer, const Common::FileItem& file);

    // pictures.cpp
    /// Makes the two attachments of an image or a video. False ends the attempt. Never throws.
    bool createThumbnailFile(Common::FileItem& file, Common::TaskItem& task);
    bool makePictures(Common::FileItem& file, Common::TaskItem& task);

    // cleanup.cpp
    /// Forgets the resume record and removes the cached pictures. The task id is not used: rows are keyed by file id.
    /// Never throws.
    void clearCache(const std::wstring& taskId, const Common::FileItem& file);

    // The mutexes and the condition may still be in use by a worker while the process ends.
    NeverDestroyed<Platform::Mutex> addressLock;       ///< held across the address call; guards cachedBucketId
    NeverDestroyed<Platform::Mutex> uploadCountMutex;  ///< guards uploadingTaskCount for writers and for the stop
    std::wstring cachedBucketId;                       ///< last bucket that the cloud named; never cleared
    NeverDestroyed<Platform::ConditionVariable> uploadCountCondition;

    // Set before the service starts, then only read.
    ServiceCallback uploadServiceCallback;
    TaskCallback uploadTaskCallback;

    // Constant after construction.
    std::wstring existUploadType;
    std::wstring serverUploadType;
    std::wstring clientUploadType;

    // Tested, then cleared, without a lock: two workers that find the space full at once may both notify.
    Relaxed<bool> firstNotifySpaceFull;
    Relaxed<bool> firstNotifySpaceWillFull;

    // Log lines read the count without the lock; nothing decides on a stale value.
    static Relaxed<std::int32_t> uploadingTaskCount;
    static Relaxed<bool> uploadStopFlag;
};

}  // namespace Drive::TransferService
