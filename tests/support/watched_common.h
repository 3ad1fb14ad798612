#pragma once

#include <string>
#include <vector>

#include "interfaces/common/client_messages.h"
#include "interfaces/common/drive_functions.h"
#include "interfaces/common/encrypt_helper.h"
#include "interfaces/common/file_helper.h"
#include "interfaces/common/thumbnail_helper.h"
#include "tests/support/operation.h"

namespace Drive::Testing {

/// The operations of Common that a test may want to see or to answer itself: each call is a line of the journal
/// ("common Operation(arguments)", of byte buffers the sizes), then the script answers, and without a script the real
/// one.
class WatchedCommon {
public:
    static WatchedCommon& Get();
    void Reset();

    Operation<bool(const std::wstring&)> isFileExists;
    Operation<bool(const std::wstring&)> isPlaceholder;
    Operation<std::int64_t(const std::wstring&)> getFileSizeApi;
    Operation<std::int64_t(const std::wstring&)> getLocalFileSize;
    Operation<std::wstring(const std::wstring&)> getFileSha256;
    Operation<bool(const std::wstring&, std::wstring&, std::wstring&)> getFileHash;
    Operation<std::string(const std::wstring&)> getFileHmac;
    Operation<std::string(const std::wstring&)> getFileMimeType;
    Operation<bool(const std::wstring&)> isImageFile;
    Operation<bool(const std::wstring&)> isVideoFile;
    Operation<bool(const Common::FileItem&)> hasAttachment;
    Operation<bool(const std::wstring&, const std::wstring&)> isLocalFile;
    Operation<bool(const std::wstring&, const std::wstring&)> isLocalDirectory;
    Operation<bool(const std::wstring&, std::wstring&, std::wstring&)> getFileFolderAndLocalname;
    Operation<bool(const std::wstring&, std::vector<char>&)> readLocalFile;
    Operation<bool(std::int64_t, const char*, std::size_t, const std::wstring&)> writeLocalFileV;
    Operation<bool(std::int64_t, const char*, std::size_t, Platform::HANDLE)> writeLocalFileByHandleV;
    Operation<bool(const std::wstring&)> createLocalDirectory;
    Operation<void(const std::wstring&)> removeFile;
    Operation<void(const std::wstring&)> deleteLocalFile;
    Operation<Common::Bytes(const Common::Bytes&, const Common::Bytes&, Platform::HANDLE, std::int64_t, std::int64_t)>
        aES_128_CBC_Encrypt_FileHandle;
    Operation<std::string(const Common::Bytes&, const Common::Bytes&, const Common::Bytes&)> aES_128_CBC_Encrypt;
    Operation<std::string(const Common::Bytes&)> mD5_Encode;
    Operation<std::string(const Common::Bytes&)> sHA256_Encode;
    Operation<std::string(const std::string&, const Common::Bytes&, const std::string&)> getEfek;
    Operation<std::string(const std::string&, const Common::Bytes&)> getFek;
    Operation<Common::Bytes(const Common::Bytes&, const Common::Bytes&)> aES_GCM_Encrypt;
    Operation<Common::Bytes(const Common::Bytes&, const Common::Bytes&)> aES_GCM_Decrypt;
    Operation<std::string(const unsigned char*, std::size_t, bool)> base64Encode;
    Operation<std::string(const std::string&, bool)> base64Decode;
    Operation<bool(unsigned char*, std::size_t)> getSecureRandom;
    Operation<bool(const Common::FileItem&, const Common::ThumbnailOptions&, const std::wstring&)> createThumbnail;
    Operation<void(const std::wstring&, FileChangeType)> insertOperatingFiles;
    Operation<void(const std::wstring&)> eraseOpetatingFile;
    Operation<void(const int&)> getAndTransferDiskStatus;
    Operation<void(int, const std::wstring&)> transferMessageCommand;
    Operation<void(const std::wstring&)> refreshFile;
};

}  // namespace Drive::Testing
