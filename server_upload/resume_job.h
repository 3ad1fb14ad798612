#pragma once

#include <pplx/pplxtasks.h>

#include <cstdint>
#include <string>

#include "interfaces/common/file_item.h"
#include "interfaces/common/task_item.h"
#include "interfaces/common/upload_plan.h"
#include "interfaces/common/wmap.h"
#include "server_upload/file_stream.h"
#include "server_upload/server_upload.h"

namespace Drive::TransferService {

/// One resumable upload with copies of all its state, used by one thread at a time.
struct ServerUpload::ResumeJob {
    Common::UploadStartInfo startInfo;
    Common::TaskItem task;
    Common::FileItem file;
    std::wstring resumeUrl;
    std::int32_t sliceLength = 0;
    std::string fileId;          ///< narrow, for log lines
    std::uint64_t position = 0;  ///< first byte not yet accepted
    WMap answer;                 ///< of the last slice only

    /// Sends the slices from the plan's position on, and logs what goes wrong. Throws only a cancellation.
    void sendGuarded(const pplx::task<ContentStream>& opened);

private:
    void sendSlices(const pplx::task<ContentStream>& opened);
    /// One slice. False: the proxy did not take it; there is no second try here.
    bool sendSlice(const ContentStream& stream, std::uint64_t size);
};

}  // namespace Drive::TransferService
