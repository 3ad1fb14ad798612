#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace Drive::Common {

/// Attachments by name in descending order, so that "small" comes before "large".
using AttachmentPaths = std::map<std::wstring, std::wstring, std::greater<>>;
using AttachmentBytes = std::map<std::wstring, std::vector<unsigned char>, std::greater<>>;

/// One row of `T_cloudDriveData`: a plain value. A default-made one has an empty file id and stands for "no row";
/// callers test GetFileId for emptiness, never a status.
class FileItem {
public:
    /// Cloud id; one that begins with "Local" marks a file that is not yet on the cloud; empty means that there is no
    /// row.
    const std::wstring& GetFileId() const { return fileId; }
    void SetFileId(std::wstring value) { fileId = std::move(value); }
    /// Name in the cloud.
    const std::wstring& GetName() const { return name; }
    void SetName(std::wstring value) { name = std::move(value); }
    /// Name in the sync folder.
    const std::wstring& GetLocalFileName() const { return localFileName; }
    void SetLocalFileName(std::wstring value) { localFileName = std::move(value); }
    /// Path of the parent folder below the sync root, with a closing backslash; empty for the root itself.
    const std::wstring& GetLocalParentFolder() const { return localParentFolder; }
    void SetLocalParentFolder(std::wstring value) { localParentFolder = std::move(value); }
    /// Id of the parent as this side knows it; may begin with "Local".
    const std::wstring& GetLocalParentId() const { return localParentId; }
    void SetLocalParentId(std::wstring value) { localParentId = std::move(value); }
    /// Id of the parent in the cloud.
    const std::wstring& GetParentId() const { return parentId; }
    void SetParentId(std::wstring value) { parentId = std::move(value); }
    /// Column `parentFolder`: the parent's path as last settled with the cloud.
    const std::wstring& GetParentFolder() const { return parentFolder; }
    void SetParentFolder(std::wstring value) { parentFolder = std::move(value); }
    /// Full local path: sync root, parent folder and local name. Filled in by the database library, not a column.
    const std::wstring& GetFileClientPath() const { return fileClientPath; }
    void SetFileClientPath(std::wstring value) { fileClientPath = std::move(value); }
    /// Bytes.
    std::int64_t GetSize() const { return size; }
    void SetSize(std::int64_t value) { size = value; }
    /// SHA-256 of the content as the cloud knows it, lower-case hexadecimal.
    const std::wstring& GetHash() const { return hash; }
    void SetHash(std::wstring value) { hash = std::move(value); }
    /// SHA-256 of the local copy, lower-case hexadecimal; trusted by an upload, so whoever sees the file change blanks
    /// it.
    const std::wstring& GetLocalFileSha256() const { return localFileSha256; }
    void SetLocalFileSha256(std::wstring value) { localFileSha256 = std::move(value); }
    /// MD5 of the content; set during an upload, not a column.
    const std::wstring& GetFileMD5() const { return fileMd5; }
    void SetFileMD5(std::wstring value) { fileMd5 = std::move(value); }
    /// Keyed content digest, 64 hexadecimal characters; set during an upload, not a column.
    const std::string& GetFileHMAC() const { return fileHmac; }
    void SetFileHMAC(std::string value) { fileHmac = std::move(value); }
    /// Media type.
    const std::wstring& GetMimeType() const { return mimeType; }
    void SetMimeType(std::wstring value) { mimeType = std::move(value); }
    /// The cloud's category.
    const std::wstring& GetKind() const { return kind; }
    void SetKind(std::wstring value) { kind = std::move(value); }
    /// The cloud's version of the content.
    const std::wstring& GetContentVersion() const { return contentVersion; }
    void SetContentVersion(std::wstring value) { contentVersion = std::move(value); }
    /// Address of the thumbnail.
    const std::wstring& GetThunbnailDownloadLink() const { return thunbnailDownloadLink; }
    void SetThunbnailDownloadLink(std::wstring value) { thunbnailDownloadLink = std::move(value); }
    /// Transfer state (column `fileStatus`): 0, 1, 11 to 13, 21 to 23.
    int GetFileStatus() const { return fileStatus; }
    void SetFileStatus(int value) { fileStatus = value; }
    /// Sync state (column `status`).
    int GetStatus() const { return status; }
    void SetStatus(int value) { status = value; }
    /// True for a folder.
    bool GetIsFolder() const { return isFolder; }
    void SetIsFolder(bool value) { isFolder = value; }
    /// Bytes of the attachments, "small" first.
    const std::vector<int>& GetAttachmentSize() const { return attachmentSize; }
    void SetAttachmentSize(std::vector<int> value) { attachmentSize = std::move(value); }
    /// Attachment name to local path.
    const AttachmentPaths& GetAttachmentFilePath() const { return attachmentFilePath; }
    void SetAttachmentFilePath(AttachmentPaths value) { attachmentFilePath = std::move(value); }
    /// Attachment name to bytes.
    const AttachmentBytes& GetAttachmentData() const { return attachmentData; }
    void SetAttachmentData(AttachmentBytes value) { attachmentData = std::move(value); }

private:
    std::wstring fileId;
    std::wstring name;
    std::wstring localFileName;
    std::wstring localParentFolder;
    std::wstring localParentId;
    std::wstring parentId;
    std::wstring parentFolder;
    std::wstring fileClientPath;
    std::int64_t size = 0;
    std::wstring hash;
    std::wstring localFileSha256;
    std::wstring fileMd5;
    std::string fileHmac;
    std::wstring mimeType;
    std::wstring kind;
    std::wstring contentVersion;
    std::wstring thunbnailDownloadLink;
    int fileStatus = 0;
    int status = 0;
    bool isFolder = false;
    std::vector<int> attachmentSize;
    AttachmentPaths attachmentFilePath;
    AttachmentBytes attachmentData;
};

}  // namespace Drive::Common
