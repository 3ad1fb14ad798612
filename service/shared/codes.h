#pragma once

/// Numbers that are the same in the database, in callbacks and in log texts.
namespace Drive::TransferService {

/// `direction` of a task.
inline constexpr int kDirectionDownload = 1;
inline constexpr int kDirectionUpload = 2;
inline constexpr int kDirectionThumbnail = 3;

/// `fileStatus` of a file: tens 1 upload, 2 download; units 1 waiting, 2 running, 3 failed.
inline constexpr int kFileIdle = 0;
inline constexpr int kFileInStep = 1;
inline constexpr int kFileUploadWaiting = 11;
inline constexpr int kFileUploading = 12;
inline constexpr int kFileUploadFailed = 13;
inline constexpr int kFileDownloadWaiting = 21;
inline constexpr int kFileDownloading = 22;
inline constexpr int kFileDownloadFailed = 23;

/// `TaskStatus` of a task. 2 does not exist.
inline constexpr int kTaskWaiting = 0;
inline constexpr int kTaskRunning = 1;
inline constexpr int kTaskCancelRequested = 3;
inline constexpr int kTaskStopRequested = 4;

/// `status` of a file held back from uploading.
inline constexpr int kStatusInStep = 0;
inline constexpr int kStatusPending = 1;
inline constexpr int kStatusHeldBack = 5;

/// Transfer keys: the pool that a slot came from.
inline constexpr int kKeyNormal = 1;
inline constexpr int kKeyPriority = 2;
inline constexpr int kKeyThumbnail = 3;
inline constexpr int kKeyBackground = 11;

/// Codes of the statistics.
inline constexpr int kStatisticKeys = 15001;
inline constexpr int kStatisticService = 15002;
inline constexpr int kStatisticDownload = 15003;

/// Priority that each retryable failure adds.
inline constexpr int kPriorityStep = 3;

}  // namespace Drive::TransferService
