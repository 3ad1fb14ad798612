#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "interfaces/platform/types.h"

namespace Drive::TransferService {

/// One download job, copied whole wherever it changes hands.
struct DOWNLOADTASK_CONTEXT {
    std::wstring localFilePath;    ///< full local path
    std::wstring relativePath;     ///< path below the sync root
    std::int64_t fileSize = 0;     ///< bytes; the size that ends a download
    std::int64_t carried1 = 0;     ///< carried along, never read
    std::int64_t carried2 = 0;     ///< carried along, never read
    std::int64_t transferKey = 0;  ///< key of the platform fetch and name of the pool
    bool isOnFetch = false;        ///< handed on to the statement that makes the task
    std::wstring fileId;           ///< may be empty
    std::wstring thumbnailUrl;     ///< only for thumbnails
    std::wstring hash;             ///< content hash as the cloud knows it
    std::vector<int> attachmentSize;
    Platform::HANDLE fileHandle = nullptr;  ///< the open local placeholder, or none
    bool isPlatformFetch = false;           ///< data goes through the callback and not to the disk
    bool isCancelled = false;               ///< a cancel request was seen
    bool isStopped = false;                 ///< a stop request was seen
};

/// Events of the download callback.
enum DownloadEvent {
    DownloadEventFetchBegins = 1,  ///< the host fills in `fileHandle` and `transferKey`; false ends the job
    DownloadEventData = 2,         ///< ok: a block of plain data, false fails the job; not ok: ended without the file
    DownloadEventFinished = 3,     ///< the file is complete
    DownloadEventEnd = 4,          ///< end the placeholder's fetch state; true lets the worker reset the row
    DownloadEventNewSize = 5       ///< the cloud's size differs from the placeholder's
};

/// What the host's download callback is given, on the worker's thread, for the time of the call.
struct DOWNLOADCALLBACK_CONTEXT {
    explicit DOWNLOADCALLBACK_CONTEXT(const DOWNLOADTASK_CONTEXT& job)
        : localFilePath(job.localFilePath),
          transferKey(job.transferKey),
          fileSize(job.fileSize),
          fileHandle(job.fileHandle),
          isPlatformFetch(job.isPlatformFetch) {}

    std::wstring localFilePath;
    std::int64_t transferKey;             ///< on event 1 the host may replace it
    std::int64_t endOffset = 0;           ///< offset + length of the block
    std::int64_t offset = 0;              ///< file offset of the block, bytes
    std::int64_t length = 0;              ///< bytes in the block
    std::int64_t fileSize;                ///< bytes
    std::string message;                  ///< empty
    const unsigned char* data = nullptr;  ///< the block's bytes, good for the call only
    bool ok = true;
    std::int32_t event = 0;       ///< a DownloadEvent
    Platform::HANDLE fileHandle;  ///< on event 1 the host may replace it; closed by the worker
    bool isPlatformFetch;
};

}  // namespace Drive::TransferService
