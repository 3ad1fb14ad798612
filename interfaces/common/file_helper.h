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
/// separator; one that ends in a separator names a folder, and no operation takes it for a file. Digest texts are
/// lower-case hexadecimal.
class ZELKOR_API FileHepler {
public:
    /// True for an existing file, false for a folder. For a path below the sync root, false is answered only for a real
    /// "no such file" while the root itself is there: an unmounted root, one that cannot be asked, or a link whose
    /// target is away must not look like a deleted file, and gives true.
    static bool IsFileExists(const std::wstring& path);

    /// True for a placeholder with no local content: a file that carries the mark of placeholder.h.
    static bool IsPlaceholder(const std::wstring& path);

    /// Bytes of the file on disk, or -1.
    static std::int64_t GetFileSizeApi(const std::wstring& path);

    /// Bytes of the file on disk, not positive on failure.
    static std::int64_t GetLocalFileSize(const std::wstring& path);

    /// SHA-256 of the whole content; empty when it could not be read whole, also when it would not hold still. The
    /// file is read, or the digest of an earlier reading is given: only while device, inode, size and both times are
    /// still the same and any change since would have shown in them (never for a file changed within the last two
    /// seconds). To find out what the disk gives now, ask GetFileHash.
    static std::wstring GetFileSha256(const std::wstring& path);

    /// SHA-256 and MD5 of the whole content, in one pass that always reads the file. False whenever the whole content
    /// could not be read, after repeats inside; both texts are then empty. Never true with an empty text. A file that
    /// changes while it is read is read again; one that never holds still gets the digests of the last pass, so that a
    /// comparison with an earlier digest fails rather than being left out.
    static bool GetFileHash(const std::wstring& path, std::wstring& sha256, std::wstring& md5);

    /// Keyed digest of the content: 64 hexadecimal characters, the first half the file's key, the second half its
    /// initialisation vector. The same for the same content and user, on every attempt and device, keyed by a secret
    /// derived from the user key. Empty without a user key or when the file cannot be read. Made from the SHA-256 of
    /// the content, which may be remembered as for GetFileSha256.
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
    /// root gives the empty folder, a path outside the root its whole folder. False, with both texts empty, for a path
    /// that names nothing.
    static bool GetFileFolderAndLocalname(const std::wstring& path, std::wstring& folder, std::wstring& localName);

    /// Reads the whole file. False, with `content` empty, when it could not be read whole.
    static bool ReadLocalFile(const std::wstring& path, std::vector<char>& content);

    /// Writes `length` bytes at `position` (bytes from the start) without truncating; makes the file and its parent
    /// folder when absent; length 0 makes an empty file. Repeats interruptions and short writes, waits a little on a
    /// full disk. True only when the bytes would survive a loss of power; after false the file may hold a part of the
    /// block. Paths that leave the sync root and the cache folders, also through a link, are refused, and so is a link
    /// in the place of the file. While no sync root is set, paths are taken as they are.
    static bool WriteLocalFileV(std::int64_t position, const char* data, std::size_t length, const std::wstring& path);

    /// The same on an open handle, which stays the caller's; no folder is made, and the bytes reach the file but not
    /// necessarily the disk.
    static bool WriteLocalFileByHandleV(std::int64_t position, const char* data, std::size_t length,
                                        Platform::HANDLE handle);

    /// Makes the folder and all its parents. True when it exists afterwards; false also for an empty path. The sync
    /// root itself is never made, a cache folder is. Refuses paths as WriteLocalFileV does.
    static bool CreateLocalDirectory(const std::wstring& path);

    /// Removes a file; an absent one is no error, a failure is logged. Refuses paths as WriteLocalFileV does; a link is
    /// removed itself.
    static void RemoveFile(const std::wstring& path);

    /// The same, for cache files.
    static void DeleteLocalFile(const std::wstring& path);
};

}  // namespace Drive::Common
