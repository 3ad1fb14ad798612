#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "interfaces/common/file_item.h"
#include "interfaces/platform/export.h"
#include "interfaces/platform/types.h"

namespace Drive::Common {

/// File utilities. All operations are static, may be called from any thread at once, throw only for memory, and keep
/// no state but a small memory of digests. Paths are wide and full unless said otherwise, with backslash or slash as
/// separator. Digest texts are lower-case hexadecimal.
class ZELKOR_API FileHepler {
public:
    /// True for an existing file. For a path below the sync root, false is answered only for a real "no such file"
    /// while the root itself is there: an unmounted root, or one that cannot be asked, must not look like a deleted
    /// file, and gives true.
    static bool IsFileExists(const std::wstring& path);

    /// True for a placeholder with no local content: a file that carries the mark of placeholder.h.
    static bool IsPlaceholder(const std::wstring& path);

    /// Bytes of the file on disk, or -1.
    static std::int64_t GetFileSizeApi(const std::wstring& path);

    /// Bytes of the file on disk, not positive on failure.
    static std::int64_t GetLocalFileSize(const std::wstring& path);

    /// SHA-256 of the whole content; empty when it could not be read whole. Always reads the file.
    static std::wstring GetFileSha256(const std::wstring& path);

    /// SHA-256 and MD5 of the whole content, in one pass that always reads the file. False whenever the whole content
    /// could not be read, after repeats inside; both texts are then empty. Never true with an empty text.
    static bool GetFileHash(const std::wstring& path, std::wstring& sha256, std::wstring& md5);

    /// Keyed digest of the content: 64 hexadecimal characters, the first half the file's key, the second half its
    /// initialisation vector. The same for the same content and user, on every attempt and device, keyed by a secret
    /// derived from the user key. Empty without a user key or when the file cannot be read.
    static std::string GetFileHmac(const std::wstring& path);

    /// Media type by name; "application/octet-stream" when unknown.
    static std::string GetFileMimeType(const std::wstring& localFileName);

    static bool IsImageFile(const std::wstring& mimeType);
    static bool IsVideoFile(const std::wstring& mimeType);

    /// True when the item carries attachment bytes.
    static bool HasAttachment(const FileItem& file);

    /// True when `fileId` begins with `marker` ("Local"): an id that the cloud has not given. False for an empty id.
    static bool IsLocalFile(const std::wstring& fileId, const std::wstring& marker);

    /// The same for a folder id, but true for an empty one: a parent without a cloud row is no cloud folder.
    static bool IsLocalDirectory(const std::wstring& folderId, const std::wstring& marker);

    /// Splits a full path into the folder below the sync root, with its closing backslash, and the name. A file in the
    /// root gives the empty folder. False, with both texts empty, for a path that names nothing.
    static bool GetFileFolderAndLocalname(const std::wstring& path, std::wstring& folder, std::wstring& localName);

    /// Reads the whole file. False, with `content` empty, when it could not be read whole.
    static bool ReadLocalFile(const std::wstring& path, std::vector<char>& content);

    /// Writes `length` bytes at `position` (bytes from the start) without truncating; makes the file and its parent
    /// folder when absent; length 0 makes an empty file. Repeats interruptions and short writes, waits a little on a
    /// full disk. True only when the bytes would survive a loss of power; after false the file may hold a part of the
    /// block. Paths that leave the sync root and the cache folders, also through a link, are refused.
    static bool WriteLocalFileV(std::int64_t position, const char* data, std::size_t length, const std::wstring& path);

    /// The same on an open handle, which stays the caller's; no folder is made, and the bytes reach the file but not
    /// necessarily the disk.
    static bool WriteLocalFileByHandleV(std::int64_t position, const char* data, std::size_t length,
                                        Platform::HANDLE handle);

    /// Makes the folder and all its parents. True when it exists afterwards; false also for an empty path.
    static bool CreateLocalDirectory(const std::wstring& path);

    /// Removes a file; an absent one is no error, a failure is logged.
    static void RemoveFile(const std::wstring& path);

    /// The same, for cache files.
    static void DeleteLocalFile(const std::wstring& path);
};

}  // namespace Drive::Common
