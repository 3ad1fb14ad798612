#pragma once

#include <cstdint>
#include <string>

#include "interfaces/common/file_item.h"
#include "interfaces/common/task_item.h"
#include "interfaces/common/upload_plan.h"
#include "interfaces/common/wmap.h"

namespace Drive::TransferService {

/// Sends plain content through the cloud's file proxy. Process-wide, made on first use; it keeps nothing of an upload,
/// so any number of them may run at once. All operations block their thread until everything they began has ended.
class ServerUpload {
public:
    static ServerUpload& getInstance();

    /// Sends one file: in one request below 10 MiB, slice by slice from there on. True: the file is on the cloud, and
    /// `result` holds the cloud's answer. False: the reason is in the log, and the next attempt is a later one.
    /// Throws only what a cancelled task and a failed allocation throw.
    bool uploadFileWithServerType(Common::FileItem& file, Common::UploadStartInfo& startInfo, Common::TaskItem& task,
                                  WMap& result);

    /// The whole content in one multipart request. True only for an answer of exactly 200.
    bool multipartUpload(Common::FileItem& file, Common::UploadStartInfo& startInfo, Common::TaskItem& task,
                         WMap& result);

    /// One request for a resume URL, unless one is known, then the content slice by slice. True only when the last
    /// answer is exactly 200. Sets the slice size of `startInfo`. Leaves the position reached in the task's record, or
    /// an empty record when the URL is gone.
    bool resumeUpload(Common::FileItem& file, Common::UploadStartInfo& startInfo, Common::TaskItem& task, WMap& result);

    /// The metadata of the file as JSON text with a line feed at its end. Always true.
    bool buildUploadMetadata(const Common::FileItem& file, std::string& metadata);

    /// Writes the position record of the task. Always true; a failed write goes unnoticed.
    bool SaveResumUploadPostion(const Common::UploadStartInfo& startInfo, const std::wstring& fileId,
                                std::uint64_t position, const std::wstring& resumeUrl);

private:
    struct ResumeJob;

    ServerUpload();
    ~ServerUpload() = default;
    ServerUpload(const ServerUpload&) = delete;
    ServerUpload& operator=(const ServerUpload&) = delete;

    /// Asks for a resume URL and the slice size. False: the upload has failed.
    bool openResumeUpload(const Common::FileItem& file, const std::string& fileId, Common::UploadStartInfo& startInfo,
                          const std::string& metadata, std::wstring& resumeUrl, std::int32_t& sliceLength,
                          WMap& result);
    /// Keeps what the slices have reached.
    void keepPosition(ResumeJob& job);

    /// Constant: carriage return, line feed, blank. The blank belongs to it, deliberately: the proxy sees it as it
    /// stands.
    std::string lineBreak;
};

}  // namespace Drive::TransferService
