#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "interfaces/common/file_item.h"
#include "interfaces/common/wmap.h"

namespace Drive::Common {

/// Three texts of the cloud's own; carried, never read by the engine.
struct Properties {
    std::wstring name;
    std::wstring value;
    std::wstring scope;
};

/// The same shape, for the cloud's application settings.
struct AppSettings {
    std::wstring name;
    std::wstring value;
    std::wstring scope;
};

/// An attachment: its name and its plain byte count.
struct Attributes {
    std::wstring name;
    std::int64_t length = 0;
};

/// One wrapped copy of a file's key as it is sent.
struct EncFekList {
    EncFekList() = default;
    EncFekList(std::wstring keyUid, int keyType, std::wstring efek, std::wstring iv, std::wstring encryptAlgorithm)
        : keyUid(std::move(keyUid)),
          keyType(keyType),
          efek(std::move(efek)),
          iv(std::move(iv)),
          encryptAlgorithm(std::move(encryptAlgorithm)) {}

    std::wstring keyUid;
    int keyType = 0;  ///< 1 or 3
    std::wstring efek;
    std::wstring iv;                ///< hexadecimal
    std::wstring encryptAlgorithm;  ///< "AES_128" or "AES_256"
};

/// What makes up a file's content in the store.
struct ObjectInfoList {
    std::wstring bucketId;
    int sliceSize = 0;                       ///< plain bytes an object
    std::vector<std::wstring> objectIds;     ///< in the order of the file's bytes
    std::vector<Attributes> attachmentList;  ///< in the order in which they stand in the last object
};

/// The body of the finishing call of an upload, filled from the file's own row.
class CreateUpdateRequestModel {
public:
    explicit CreateUpdateRequestModel(const FileItem& file)
        : fileId(file.GetFileId()),
          fileName(file.GetName().empty() ? file.GetLocalFileName() : file.GetName()),
          mimeType(file.GetMimeType()),
          parentFolder{file.GetLocalParentId()},
          sha256(file.GetHash()),
          size(file.GetSize()),
          md5(file.GetFileMD5()),
          contentVersion(file.GetContentVersion()) {}

    /// Free properties of the file.
    const WMap& GetProperties() const { return properties; }
    void SetProperties(WMap value) { properties = std::move(value); }
    /// Seconds since the epoch; 0 when unknown.
    std::int64_t GetCreatedTime() const { return createdTime; }
    void SetCreatedTime(std::int64_t value) { createdTime = value; }
    /// Seconds since the epoch; 0 when unknown.
    std::int64_t GetEditedTime() const { return editedTime; }
    void SetEditedTime(std::int64_t value) { editedTime = value; }
    /// Id of the file; a local one on a create.
    const std::wstring& GetFileId() const { return fileId; }
    void SetFileId(std::wstring value) { fileId = std::move(value); }
    /// Name in the cloud.
    const std::wstring& GetFileName() const { return fileName; }
    void SetFileName(std::wstring value) { fileName = std::move(value); }
    /// Carried for the cloud; never set here.
    bool GetFavorite() const { return favorite; }
    void SetFavorite(bool value) { favorite = value; }
    /// Media type.
    const std::wstring& GetMimeType() const { return mimeType; }
    void SetMimeType(std::wstring value) { mimeType = std::move(value); }
    /// Carried for the cloud; never set here.
    const std::wstring& GetDescription() const { return description; }
    void SetDescription(std::wstring value) { description = std::move(value); }
    /// Ids of the parents; one entry.
    const std::vector<std::wstring>& GetParentFolder() const { return parentFolder; }
    void SetParentFolder(std::vector<std::wstring> value) { parentFolder = std::move(value); }
    /// Carried for the cloud; never set here.
    const WMap& GetAppSettings() const { return appSettings; }
    void SetAppSettings(WMap value) { appSettings = std::move(value); }
    /// Carried for the cloud; never set here.
    bool GetRecycled() const { return recycled; }
    void SetRecycled(bool value) { recycled = value; }
    /// The content is stored as encrypted objects.
    bool GetEncrypted() const { return encrypted; }
    void SetEncrypted(bool value) { encrypted = value; }
    /// SHA-256 of the plain content, lower-case hexadecimal.
    const std::wstring& GetSha256() const { return sha256; }
    void SetSha256(std::wstring value) { sha256 = std::move(value); }
    /// Plain bytes.
    std::int64_t GetSize() const { return size; }
    void SetSize(std::int64_t value) { size = value; }
    /// MD5 of the plain content, lower-case hexadecimal; may be empty.
    const std::wstring& GetMD5() const { return md5; }
    void SetMD5(std::wstring value) { md5 = std::move(value); }
    /// Wrapped keys, type 1 first.
    const std::vector<EncFekList>& GetEncFekList() const { return encFekList; }
    void SetEncFekList(std::vector<EncFekList> value) { encFekList = std::move(value); }
    /// What makes up the content.
    const std::vector<ObjectInfoList>& GetObjectInfoList() const { return objectInfoList; }
    void SetObjectInfoList(std::vector<ObjectInfoList> value) { objectInfoList = std::move(value); }
    /// Version that the update replaces.
    const std::wstring& GetContentVersion() const { return contentVersion; }
    void SetContentVersion(std::wstring value) { contentVersion = std::move(value); }
    /// True for a file that the cloud has never seen.
    bool GetIsCreateNew() const { return isCreateNew; }
    void SetIsCreateNew(bool value) { isCreateNew = value; }

private:
    WMap properties;
    std::int64_t createdTime = 0;
    std::int64_t editedTime = 0;
    std::wstring fileId;
    std::wstring fileName;
    bool favorite = false;
    std::wstring mimeType;
    std::wstring description;
    std::vector<std::wstring> parentFolder;
    WMap appSettings;
    bool recycled = false;
    bool encrypted = true;
    std::wstring sha256;
    std::int64_t size = 0;
    std::wstring md5;
    std::vector<EncFekList> encFekList;
    std::vector<ObjectInfoList> objectInfoList;
    std::wstring contentVersion;
    bool isCreateNew = false;
};

}  // namespace Drive::Common
