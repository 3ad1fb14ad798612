#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "interfaces/common/wmap.h"

namespace Drive::Common {

/// What is sent to ask for the address of one object, up or down. Plain value.
struct KelpAddressRequestModel {
    std::wstring bucketId;
    std::wstring objectId;
    std::wstring synckey;
    std::wstring time;
    std::wstring recordCursor;
    std::int64_t length = 0;  ///< bytes as stored
    std::string md5;          ///< lower-case hexadecimal; empty on the download side
    std::string sha256;       ///< lower-case hexadecimal; empty on the download side
};

/// The answer for an upload: one request, ready to be sent.
class GetKelpAddressModel {
public:
    /// Request verb.
    const std::wstring& GetMethod() const { return method; }
    void SetMethod(std::wstring value) { method = std::move(value); }
    /// Bucket that the object goes to.
    const std::wstring& GetObjectBucketId() const { return objectBucketId; }
    void SetObjectBucketId(std::wstring value) { objectBucketId = std::move(value); }
    /// Where to send it; good for one request.
    const std::wstring& GetUrl() const { return url; }
    void SetUrl(std::wstring value) { url = std::move(value); }
    /// Sent with the request as they are.
    const WMap& GetKelpAddressHeaders() const { return headers; }
    void SetKelpAddressHeaders(WMap value) { headers = std::move(value); }

private:
    std::wstring method;
    std::wstring objectBucketId;
    std::wstring url;
    WMap headers;
};

/// The answer for a download: one GET, ready to be sent.
class DownloadKelpAddressInfo {
public:
    /// Sent with the request as they are.
    const WMap& GetHeaders() const { return headers; }
    void SetHeaders(WMap value) { headers = std::move(value); }
    /// Good for one GET.
    const std::wstring& GetUrl() const { return url; }
    void SetUrl(std::wstring value) { url = std::move(value); }

private:
    WMap headers;
    std::wstring url;
};

/// One wrapped copy of a file's key as the cloud gives it back.
struct DownloadEncFekList {
    std::wstring efek;
    std::wstring encryptAlgorithm;
    std::wstring keyType;  ///< exactly one character, "1" or "3"
    std::wstring iv;       ///< hexadecimal
    std::wstring keyUid;
};

/// A part of an object list: "small" and "large" are attachments, an empty name is the main content.
struct DownloadAttributes {
    std::wstring name;
    std::int64_t size = 0;  ///< bytes, plain
};

/// The objects of one file.
struct DownloadObjectInfoList {
    std::wstring time;
    std::vector<std::wstring> objectIds;  ///< in the order of the file's bytes
    std::int64_t length = 0;              ///< upper bound of one stored object, bytes
    std::vector<DownloadAttributes> attributes;
    std::wstring bucketId;
    std::vector<std::wstring> synckeys;  ///< one an object, in step with objectIds
};

/// How the cloud holds one file.
class DownLoadAddressInfoModel {
public:
    /// The file that was asked for.
    const std::wstring& GetFileId() const { return fileId; }
    void SetFileId(std::wstring value) { fileId = std::move(value); }
    /// Its name in the cloud.
    const std::wstring& GetFileName() const { return fileName; }
    void SetFileName(std::wstring value) { fileName = std::move(value); }
    /// Wrapped keys, the one of type "1" first; empty for a file with a plain address.
    const std::vector<DownloadEncFekList>& GetEncFekList() const { return encFekList; }
    void SetEncFekList(std::vector<DownloadEncFekList> value) { encFekList = std::move(value); }
    /// The objects of an encrypted file.
    const std::vector<DownloadObjectInfoList>& GetObjectInfoList() const { return objectInfoList; }
    void SetObjectInfoList(std::vector<DownloadObjectInfoList> value) { objectInfoList = std::move(value); }
    /// Plain address.
    const std::wstring& GetDownloadURL() const { return downloadUrl; }
    void SetDownloadURL(std::wstring value) { downloadUrl = std::move(value); }
    /// The cloud's handle on this download.
    const std::wstring& GetRecordCursor() const { return recordCursor; }
    void SetRecordCursor(std::wstring value) { recordCursor = std::move(value); }
    /// Version of the content.
    const std::wstring& GetContentVersion() const { return contentVersion; }
    void SetContentVersion(std::wstring value) { contentVersion = std::move(value); }

private:
    std::wstring fileId;
    std::wstring fileName;
    std::vector<DownloadEncFekList> encFekList;
    std::vector<DownloadObjectInfoList> objectInfoList;
    std::wstring downloadUrl;
    std::wstring recordCursor;
    std::wstring contentVersion;
};

}  // namespace Drive::Common
