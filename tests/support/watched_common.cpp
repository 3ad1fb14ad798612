#include "tests/support/watched_common.h"

#include <utility>

#include "tests/support/journal.h"
#include "tests/support/watching.h"

// The compiler gives a member function the place of a free one whose first argument is the object.

namespace Drive::Testing {

WatchedCommon& WatchedCommon::Get() {
    static auto* watched = new WatchedCommon;
    return *watched;
}

void WatchedCommon::Reset() {
    isFileExists.Reset();
    isPlaceholder.Reset();
    getFileSizeApi.Reset();
    getLocalFileSize.Reset();
    getFileSha256.Reset();
    getFileHash.Reset();
    getFileHmac.Reset();
    getFileMimeType.Reset();
    isImageFile.Reset();
    isVideoFile.Reset();
    hasAttachment.Reset();
    isLocalFile.Reset();
    isLocalDirectory.Reset();
    getFileFolderAndLocalname.Reset();
    readLocalFile.Reset();
    writeLocalFileV.Reset();
    writeLocalFileByHandleV.Reset();
    createLocalDirectory.Reset();
    removeFile.Reset();
    deleteLocalFile.Reset();
    aES_128_CBC_Encrypt_FileHandle.Reset();
    aES_128_CBC_Encrypt.Reset();
    mD5_Encode.Reset();
    sHA256_Encode.Reset();
    getEfek.Reset();
    getFek.Reset();
    aES_GCM_Encrypt.Reset();
    aES_GCM_Decrypt.Reset();
    base64Encode.Reset();
    base64Decode.Reset();
    getSecureRandom.Reset();
    createThumbnail.Reset();
    insertOperatingFiles.Reset();
    eraseOpetatingFile.Reset();
    getAndTransferDiskStatus.Reset();
    transferMessageCommand.Reset();
    refreshFile.Reset();
}

}  // namespace Drive::Testing

using namespace Drive;
using namespace Drive::Testing;

namespace {

template <class... Arguments>
void Record(const char* operation, const Arguments&... arguments) {
    RecordCall(Kind::Common, operation, arguments...);
}

}  // namespace

bool RealIsFileExists(const std::wstring& path) asm(
    "__real__ZN5Drive6Common10FileHepler12IsFileExistsERKNSt7__cxx1112basic_stringIwSt11char_traitsIwESaIwEEE");
bool WatchedIsFileExists(const std::wstring& path) asm(
    "__wrap__ZN5Drive6Common10FileHepler12IsFileExistsERKNSt7__cxx1112basic_stringIwSt11char_traitsIwESaIwEEE");
bool WatchedIsFileExists(const std::wstring& path) {
    if (Unwatched::On()) return RealIsFileExists(path);
    Record("IsFileExists", path);
    const auto real = [](auto&&... given) -> bool {
        KeepBaton keep;
        return RealIsFileExists(std::forward<decltype(given)>(given)...);
    };
    return WatchedCommon::Get().isFileExists.Call(real, path);
}

bool RealIsPlaceholder(const std::wstring& path) asm(
    "__real__ZN5Drive6Common10FileHepler13IsPlaceholderERKNSt7__cxx1112basic_stringIwSt11char_traitsIwESaIwEEE");
bool WatchedIsPlaceholder(const std::wstring& path) asm(
    "__wrap__ZN5Drive6Common10FileHepler13IsPlaceholderERKNSt7__cxx1112basic_stringIwSt11char_traitsIwESaIwEEE");
bool WatchedIsPlaceholder(const std::wstring& path) {
    if (Unwatched::On()) return RealIsPlaceholder(path);
    Record("IsPlaceholder", path);
    const auto real = [](auto&&... given) -> bool {
        KeepBaton keep;
        return RealIsPlaceholder(std::forward<decltype(given)>(given)...);
    };
    return WatchedCommon::Get().isPlaceholder.Call(real, path);
}

std::int64_t RealGetFileSizeApi(const std::wstring& path) asm(
    "__real__ZN5Drive6Common10FileHepler14GetFileSizeApiERKNSt7__cxx1112basic_stringIwSt11char_traitsIwESaIwEEE");
std::int64_t WatchedGetFileSizeApi(const std::wstring& path) asm(
    "__wrap__ZN5Drive6Common10FileHepler14GetFileSizeApiERKNSt7__cxx1112basic_stringIwSt11char_traitsIwESaIwEEE");
std::int64_t WatchedGetFileSizeApi(const std::wstring& path) {
    if (Unwatched::On()) return RealGetFileSizeApi(path);
    Record("GetFileSizeApi", path);
    const auto real = [](auto&&... given) -> std::int64_t {
        KeepBaton keep;
        return RealGetFileSizeApi(std::forward<decltype(given)>(given)...);
    };
    return WatchedCommon::Get().getFileSizeApi.Call(real, path);
}

std::int64_t RealGetLocalFileSize(const std::wstring& path) asm(
    "__real__ZN5Drive6Common10FileHepler16GetLocalFileSizeERKNSt7__cxx1112basic_stringIwSt11char_traitsIwESaIwEEE");
std::int64_t WatchedGetLocalFileSize(const std::wstring& path) asm(
    "__wrap__ZN5Drive6Common10FileHepler16GetLocalFileSizeERKNSt7__cxx1112basic_stringIwSt11char_traitsIwESaIwEEE");
std::int64_t WatchedGetLocalFileSize(const std::wstring& path) {
    if (Unwatched::On()) return RealGetLocalFileSize(path);
    Record("GetLocalFileSize", path);
    const auto real = [](auto&&... given) -> std::int64_t {
        KeepBaton keep;
        return RealGetLocalFileSize(std::forward<decltype(given)>(given)...);
    };
    return WatchedCommon::Get().getLocalFileSize.Call(real, path);
}

std::wstring RealGetFileSha256(const std::wstring& path) asm(
    "__real__ZN5Drive6Common10FileHepler13GetFileSha256ERKNSt7__cxx1112basic_stringIwSt11char_traitsIwESaIwEEE");
std::wstring WatchedGetFileSha256(const std::wstring& path) asm(
    "__wrap__ZN5Drive6Common10FileHepler13GetFileSha256ERKNSt7__cxx1112basic_stringIwSt11char_traitsIwESaIwEEE");
std::wstring WatchedGetFileSha256(const std::wstring& path) {
    if (Unwatched::On()) return RealGetFileSha256(path);
    Record("GetFileSha256", path);
    const auto real = [](auto&&... given) -> std::wstring {
        KeepBaton keep;
        return RealGetFileSha256(std::forward<decltype(given)>(given)...);
    };
    return WatchedCommon::Get().getFileSha256.Call(real, path);
}

bool RealGetFileHash(const std::wstring& path, std::wstring& sha256, std::wstring& md5) asm(
    "__real__ZN5Drive6Common10FileHepler11GetFileHashERKNSt7__cxx1112basic_stringIwSt11char_traitsIwESaIwEEERS7_SA_");
bool WatchedGetFileHash(const std::wstring& path, std::wstring& sha256, std::wstring& md5) asm(
    "__wrap__ZN5Drive6Common10FileHepler11GetFileHashERKNSt7__cxx1112basic_stringIwSt11char_traitsIwESaIwEEERS7_SA_");
bool WatchedGetFileHash(const std::wstring& path, std::wstring& sha256, std::wstring& md5) {
    if (Unwatched::On()) return RealGetFileHash(path, sha256, md5);
    Record("GetFileHash", path);
    const auto real = [](auto&&... given) -> bool {
        KeepBaton keep;
        return RealGetFileHash(std::forward<decltype(given)>(given)...);
    };
    return WatchedCommon::Get().getFileHash.Call(real, path, sha256, md5);
}

std::string RealGetFileHmac(const std::wstring& path) asm(
    "__real__ZN5Drive6Common10FileHepler11GetFileHmacERKNSt7__cxx1112basic_stringIwSt11char_traitsIwESaIwEEE");
std::string WatchedGetFileHmac(const std::wstring& path) asm(
    "__wrap__ZN5Drive6Common10FileHepler11GetFileHmacERKNSt7__cxx1112basic_stringIwSt11char_traitsIwESaIwEEE");
std::string WatchedGetFileHmac(const std::wstring& path) {
    if (Unwatched::On()) return RealGetFileHmac(path);
    Record("GetFileHmac", path);
    const auto real = [](auto&&... given) -> std::string {
        KeepBaton keep;
        return RealGetFileHmac(std::forward<decltype(given)>(given)...);
    };
    return WatchedCommon::Get().getFileHmac.Call(real, path);
}

std::string RealGetFileMimeType(const std::wstring& localFileName) asm(
    "__real__ZN5Drive6Common10FileHepler15GetFileMimeTypeERKNSt7__cxx1112basic_stringIwSt11char_traitsIwESaIwEEE");
std::string WatchedGetFileMimeType(const std::wstring& localFileName) asm(
    "__wrap__ZN5Drive6Common10FileHepler15GetFileMimeTypeERKNSt7__cxx1112basic_stringIwSt11char_traitsIwESaIwEEE");
std::string WatchedGetFileMimeType(const std::wstring& localFileName) {
    if (Unwatched::On()) return RealGetFileMimeType(localFileName);
    Record("GetFileMimeType", localFileName);
    const auto real = [](auto&&... given) -> std::string {
        KeepBaton keep;
        return RealGetFileMimeType(std::forward<decltype(given)>(given)...);
    };
    return WatchedCommon::Get().getFileMimeType.Call(real, localFileName);
}

bool RealIsImageFile(const std::wstring& mimeType) asm(
    "__real__ZN5Drive6Common10FileHepler11IsImageFileERKNSt7__cxx1112basic_stringIwSt11char_traitsIwESaIwEEE");
bool WatchedIsImageFile(const std::wstring& mimeType) asm(
    "__wrap__ZN5Drive6Common10FileHepler11IsImageFileERKNSt7__cxx1112basic_stringIwSt11char_traitsIwESaIwEEE");
bool WatchedIsImageFile(const std::wstring& mimeType) {
    if (Unwatched::On()) return RealIsImageFile(mimeType);
    Record("IsImageFile", mimeType);
    const auto real = [](auto&&... given) -> bool {
        KeepBaton keep;
        return RealIsImageFile(std::forward<decltype(given)>(given)...);
    };
    return WatchedCommon::Get().isImageFile.Call(real, mimeType);
}

bool RealIsVideoFile(const std::wstring& mimeType) asm(
    "__real__ZN5Drive6Common10FileHepler11IsVideoFileERKNSt7__cxx1112basic_stringIwSt11char_traitsIwESaIwEEE");
bool WatchedIsVideoFile(const std::wstring& mimeType) asm(
    "__wrap__ZN5Drive6Common10FileHepler11IsVideoFileERKNSt7__cxx1112basic_stringIwSt11char_traitsIwESaIwEEE");
bool WatchedIsVideoFile(const std::wstring& mimeType) {
    if (Unwatched::On()) return RealIsVideoFile(mimeType);
    Record("IsVideoFile", mimeType);
    const auto real = [](auto&&... given) -> bool {
        KeepBaton keep;
        return RealIsVideoFile(std::forward<decltype(given)>(given)...);
    };
    return WatchedCommon::Get().isVideoFile.Call(real, mimeType);
}

bool RealHasAttachment(const Common::FileItem& file) asm(
    "__real__ZN5Drive6Common10FileHepler13HasAttachmentERKNS0_8FileItemE");
bool WatchedHasAttachment(const Common::FileItem& file) asm(
    "__wrap__ZN5Drive6Common10FileHepler13HasAttachmentERKNS0_8FileItemE");
bool WatchedHasAttachment(const Common::FileItem& file) {
    if (Unwatched::On()) return RealHasAttachment(file);
    Record("HasAttachment", file.GetFileId());
    const auto real = [](auto&&... given) -> bool {
        KeepBaton keep;
        return RealHasAttachment(std::forward<decltype(given)>(given)...);
    };
    return WatchedCommon::Get().hasAttachment.Call(real, file);
}

bool RealIsLocalFile(const std::wstring& fileId, const std::wstring& marker) asm(
    "__real__ZN5Drive6Common10FileHepler11IsLocalFileERKNSt7__cxx1112basic_stringIwSt11char_traitsIwESaIwEEES9_");
bool WatchedIsLocalFile(const std::wstring& fileId, const std::wstring& marker) asm(
    "__wrap__ZN5Drive6Common10FileHepler11IsLocalFileERKNSt7__cxx1112basic_stringIwSt11char_traitsIwESaIwEEES9_");
bool WatchedIsLocalFile(const std::wstring& fileId, const std::wstring& marker) {
    if (Unwatched::On()) return RealIsLocalFile(fileId, marker);
    Record("IsLocalFile", fileId, marker);
    const auto real = [](auto&&... given) -> bool {
        KeepBaton keep;
        return RealIsLocalFile(std::forward<decltype(given)>(given)...);
    };
    return WatchedCommon::Get().isLocalFile.Call(real, fileId, marker);
}

bool RealIsLocalDirectory(const std::wstring& folderId, const std::wstring& marker) asm(
    "__real__ZN5Drive6Common10FileHepler16IsLocalDirectoryERKNSt7__cxx1112basic_stringIwSt11char_traitsIwESaIwEEES9_");
bool WatchedIsLocalDirectory(const std::wstring& folderId, const std::wstring& marker) asm(
    "__wrap__ZN5Drive6Common10FileHepler16IsLocalDirectoryERKNSt7__cxx1112basic_stringIwSt11char_traitsIwESaIwEEES9_");
bool WatchedIsLocalDirectory(const std::wstring& folderId, const std::wstring& marker) {
    if (Unwatched::On()) return RealIsLocalDirectory(folderId, marker);
    Record("IsLocalDirectory", folderId, marker);
    const auto real = [](auto&&... given) -> bool {
        KeepBaton keep;
        return RealIsLocalDirectory(std::forward<decltype(given)>(given)...);
    };
    return WatchedCommon::Get().isLocalDirectory.Call(real, folderId, marker);
}

bool RealGetFileFolderAndLocalname(const std::wstring& path, std::wstring& folder, std::wstring& localName) asm(
    "__real__ZN5Drive6Common10FileHepler25GetFileFolderAndLocalnameERKNSt7__cxx1112basic_stringIwSt11char_"
    "traitsIwESaIwEEERS7_SA_");
bool WatchedGetFileFolderAndLocalname(const std::wstring& path, std::wstring& folder, std::wstring& localName) asm(
    "__wrap__ZN5Drive6Common10FileHepler25GetFileFolderAndLocalnameERKNSt7__cxx1112basic_stringIwSt11char_"
    "traitsIwESaIwEEERS7_SA_");
bool WatchedGetFileFolderAndLocalname(const std::wstring& path, std::wstring& folder, std::wstring& localName) {
    if (Unwatched::On()) return RealGetFileFolderAndLocalname(path, folder, localName);
    Record("GetFileFolderAndLocalname", path);
    const auto real = [](auto&&... given) -> bool {
        KeepBaton keep;
        return RealGetFileFolderAndLocalname(std::forward<decltype(given)>(given)...);
    };
    return WatchedCommon::Get().getFileFolderAndLocalname.Call(real, path, folder, localName);
}

bool RealReadLocalFile(const std::wstring& path, std::vector<char>& content) asm(
    "__real__ZN5Drive6Common10FileHepler13ReadLocalFileERKNSt7__cxx1112basic_stringIwSt11char_"
    "traitsIwESaIwEEERSt6vectorIcSaIcEE");
bool WatchedReadLocalFile(const std::wstring& path, std::vector<char>& content) asm(
    "__wrap__ZN5Drive6Common10FileHepler13ReadLocalFileERKNSt7__cxx1112basic_stringIwSt11char_"
    "traitsIwESaIwEEERSt6vectorIcSaIcEE");
bool WatchedReadLocalFile(const std::wstring& path, std::vector<char>& content) {
    if (Unwatched::On()) return RealReadLocalFile(path, content);
    Record("ReadLocalFile", path);
    const auto real = [](auto&&... given) -> bool {
        KeepBaton keep;
        return RealReadLocalFile(std::forward<decltype(given)>(given)...);
    };
    return WatchedCommon::Get().readLocalFile.Call(real, path, content);
}

bool RealWriteLocalFileV(std::int64_t position, const char* data, std::size_t length, const std::wstring& path) asm(
    "__real__ZN5Drive6Common10FileHepler15WriteLocalFileVElPKcmRKNSt7__cxx1112basic_stringIwSt11char_traitsIwESaIwEEE");
bool WatchedWriteLocalFileV(std::int64_t position, const char* data, std::size_t length, const std::wstring& path) asm(
    "__wrap__ZN5Drive6Common10FileHepler15WriteLocalFileVElPKcmRKNSt7__cxx1112basic_stringIwSt11char_traitsIwESaIwEEE");
bool WatchedWriteLocalFileV(std::int64_t position, const char* data, std::size_t length, const std::wstring& path) {
    if (Unwatched::On()) return RealWriteLocalFileV(position, data, length, path);
    Record("WriteLocalFileV", position, length, path);
    const auto real = [](auto&&... given) -> bool {
        KeepBaton keep;
        return RealWriteLocalFileV(std::forward<decltype(given)>(given)...);
    };
    return WatchedCommon::Get().writeLocalFileV.Call(real, position, data, length, path);
}

bool RealWriteLocalFileByHandleV(
    std::int64_t position, const char* data, std::size_t length,
    Platform::HANDLE handle) asm("__real__ZN5Drive6Common10FileHepler23WriteLocalFileByHandleVElPKcmPv");
bool WatchedWriteLocalFileByHandleV(
    std::int64_t position, const char* data, std::size_t length,
    Platform::HANDLE handle) asm("__wrap__ZN5Drive6Common10FileHepler23WriteLocalFileByHandleVElPKcmPv");
bool WatchedWriteLocalFileByHandleV(std::int64_t position, const char* data, std::size_t length,
                                    Platform::HANDLE handle) {
    if (Unwatched::On()) return RealWriteLocalFileByHandleV(position, data, length, handle);
    Record("WriteLocalFileByHandleV", position, length);
    const auto real = [](auto&&... given) -> bool {
        KeepBaton keep;
        return RealWriteLocalFileByHandleV(std::forward<decltype(given)>(given)...);
    };
    return WatchedCommon::Get().writeLocalFileByHandleV.Call(real, position, data, length, handle);
}

bool RealCreateLocalDirectory(const std::wstring& path) asm(
    "__real__ZN5Drive6Common10FileHepler20CreateLocalDirectoryERKNSt7__cxx1112basic_stringIwSt11char_traitsIwESaIwEEE");
bool WatchedCreateLocalDirectory(const std::wstring& path) asm(
    "__wrap__ZN5Drive6Common10FileHepler20CreateLocalDirectoryERKNSt7__cxx1112basic_stringIwSt11char_traitsIwESaIwEEE");
bool WatchedCreateLocalDirectory(const std::wstring& path) {
    if (Unwatched::On()) return RealCreateLocalDirectory(path);
    Record("CreateLocalDirectory", path);
    const auto real = [](auto&&... given) -> bool {
        KeepBaton keep;
        return RealCreateLocalDirectory(std::forward<decltype(given)>(given)...);
    };
    return WatchedCommon::Get().createLocalDirectory.Call(real, path);
}

void RealRemoveFile(const std::wstring& path) asm(
    "__real__ZN5Drive6Common10FileHepler10RemoveFileERKNSt7__cxx1112basic_stringIwSt11char_traitsIwESaIwEEE");
void WatchedRemoveFile(const std::wstring& path) asm(
    "__wrap__ZN5Drive6Common10FileHepler10RemoveFileERKNSt7__cxx1112basic_stringIwSt11char_traitsIwESaIwEEE");
void WatchedRemoveFile(const std::wstring& path) {
    if (Unwatched::On()) return RealRemoveFile(path);
    Record("RemoveFile", path);
    const auto real = [](auto&&... given) -> void {
        KeepBaton keep;
        return RealRemoveFile(std::forward<decltype(given)>(given)...);
    };
    return WatchedCommon::Get().removeFile.Call(real, path);
}

void RealDeleteLocalFile(const std::wstring& path) asm(
    "__real__ZN5Drive6Common10FileHepler15DeleteLocalFileERKNSt7__cxx1112basic_stringIwSt11char_traitsIwESaIwEEE");
void WatchedDeleteLocalFile(const std::wstring& path) asm(
    "__wrap__ZN5Drive6Common10FileHepler15DeleteLocalFileERKNSt7__cxx1112basic_stringIwSt11char_traitsIwESaIwEEE");
void WatchedDeleteLocalFile(const std::wstring& path) {
    if (Unwatched::On()) return RealDeleteLocalFile(path);
    Record("DeleteLocalFile", path);
    const auto real = [](auto&&... given) -> void {
        KeepBaton keep;
        return RealDeleteLocalFile(std::forward<decltype(given)>(given)...);
    };
    return WatchedCommon::Get().deleteLocalFile.Call(real, path);
}

Common::Bytes
RealAES_128_CBC_Encrypt_FileHandle(const Common::Bytes& key, const Common::Bytes& iv, Platform::HANDLE handle, std::int64_t offset, std::int64_t length) asm(
    "__real__ZN5Drive6Common13EncryptHelper30AES_128_CBC_Encrypt_FileHandleERKSt6vectorIhSaIhEES6_Pvll");
Common::Bytes
WatchedAES_128_CBC_Encrypt_FileHandle(const Common::Bytes& key, const Common::Bytes& iv, Platform::HANDLE handle, std::int64_t offset, std::int64_t length) asm(
    "__wrap__ZN5Drive6Common13EncryptHelper30AES_128_CBC_Encrypt_FileHandleERKSt6vectorIhSaIhEES6_Pvll");
Common::Bytes WatchedAES_128_CBC_Encrypt_FileHandle(const Common::Bytes& key, const Common::Bytes& iv,
                                                    Platform::HANDLE handle, std::int64_t offset, std::int64_t length) {
    if (Unwatched::On()) return RealAES_128_CBC_Encrypt_FileHandle(key, iv, handle, offset, length);
    Record("AES_128_CBC_Encrypt_FileHandle", key.size(), iv.size(), offset, length);
    const auto real = [](auto&&... given) -> Common::Bytes {
        KeepBaton keep;
        return RealAES_128_CBC_Encrypt_FileHandle(std::forward<decltype(given)>(given)...);
    };
    return WatchedCommon::Get().aES_128_CBC_Encrypt_FileHandle.Call(real, key, iv, handle, offset, length);
}

std::string RealAES_128_CBC_Encrypt(const Common::Bytes& key, const Common::Bytes& iv, const Common::Bytes& plain) asm(
    "__real__ZN5Drive6Common13EncryptHelper19AES_128_CBC_EncryptB5cxx11ERKSt6vectorIhSaIhEES6_S6_");
std::string
WatchedAES_128_CBC_Encrypt(const Common::Bytes& key, const Common::Bytes& iv, const Common::Bytes& plain) asm(
    "__wrap__ZN5Drive6Common13EncryptHelper19AES_128_CBC_EncryptB5cxx11ERKSt6vectorIhSaIhEES6_S6_");
std::string WatchedAES_128_CBC_Encrypt(const Common::Bytes& key, const Common::Bytes& iv, const Common::Bytes& plain) {
    if (Unwatched::On()) return RealAES_128_CBC_Encrypt(key, iv, plain);
    Record("AES_128_CBC_Encrypt", key.size(), iv.size(), plain.size());
    const auto real = [](auto&&... given) -> std::string {
        KeepBaton keep;
        return RealAES_128_CBC_Encrypt(std::forward<decltype(given)>(given)...);
    };
    return WatchedCommon::Get().aES_128_CBC_Encrypt.Call(real, key, iv, plain);
}

std::string RealMD5_Encode(const Common::Bytes& data) asm(
    "__real__ZN5Drive6Common13EncryptHelper10MD5_EncodeB5cxx11ERKSt6vectorIhSaIhEE");
std::string WatchedMD5_Encode(const Common::Bytes& data) asm(
    "__wrap__ZN5Drive6Common13EncryptHelper10MD5_EncodeB5cxx11ERKSt6vectorIhSaIhEE");
std::string WatchedMD5_Encode(const Common::Bytes& data) {
    if (Unwatched::On()) return RealMD5_Encode(data);
    Record("MD5_Encode", data.size());
    const auto real = [](auto&&... given) -> std::string {
        KeepBaton keep;
        return RealMD5_Encode(std::forward<decltype(given)>(given)...);
    };
    return WatchedCommon::Get().mD5_Encode.Call(real, data);
}

std::string RealSHA256_Encode(const Common::Bytes& data) asm(
    "__real__ZN5Drive6Common13EncryptHelper13SHA256_EncodeB5cxx11ERKSt6vectorIhSaIhEE");
std::string WatchedSHA256_Encode(const Common::Bytes& data) asm(
    "__wrap__ZN5Drive6Common13EncryptHelper13SHA256_EncodeB5cxx11ERKSt6vectorIhSaIhEE");
std::string WatchedSHA256_Encode(const Common::Bytes& data) {
    if (Unwatched::On()) return RealSHA256_Encode(data);
    Record("SHA256_Encode", data.size());
    const auto real = [](auto&&... given) -> std::string {
        KeepBaton keep;
        return RealSHA256_Encode(std::forward<decltype(given)>(given)...);
    };
    return WatchedCommon::Get().sHA256_Encode.Call(real, data);
}

std::string RealGetEfek(const std::string& fek, const Common::Bytes& userKey, const std::string& iv) asm(
    "__real__ZN5Drive6Common13EncryptHelper7GetEfekERKNSt7__cxx1112basic_stringIcSt11char_"
    "traitsIcESaIcEEERKSt6vectorIhSaIhEES9_");
std::string WatchedGetEfek(const std::string& fek, const Common::Bytes& userKey, const std::string& iv) asm(
    "__wrap__ZN5Drive6Common13EncryptHelper7GetEfekERKNSt7__cxx1112basic_stringIcSt11char_"
    "traitsIcESaIcEEERKSt6vectorIhSaIhEES9_");
std::string WatchedGetEfek(const std::string& fek, const Common::Bytes& userKey, const std::string& iv) {
    if (Unwatched::On()) return RealGetEfek(fek, userKey, iv);
    Record("GetEfek", fek.size(), userKey.size(), iv);
    const auto real = [](auto&&... given) -> std::string {
        KeepBaton keep;
        return RealGetEfek(std::forward<decltype(given)>(given)...);
    };
    return WatchedCommon::Get().getEfek.Call(real, fek, userKey, iv);
}

std::string RealGetFek(const std::string& efek, const Common::Bytes& userKey) asm(
    "__real__ZN5Drive6Common13EncryptHelper6GetFekERKNSt7__cxx1112basic_stringIcSt11char_"
    "traitsIcESaIcEEERKSt6vectorIhSaIhEE");
std::string WatchedGetFek(const std::string& efek, const Common::Bytes& userKey) asm(
    "__wrap__ZN5Drive6Common13EncryptHelper6GetFekERKNSt7__cxx1112basic_stringIcSt11char_"
    "traitsIcESaIcEEERKSt6vectorIhSaIhEE");
std::string WatchedGetFek(const std::string& efek, const Common::Bytes& userKey) {
    if (Unwatched::On()) return RealGetFek(efek, userKey);
    Record("GetFek", efek, userKey.size());
    const auto real = [](auto&&... given) -> std::string {
        KeepBaton keep;
        return RealGetFek(std::forward<decltype(given)>(given)...);
    };
    return WatchedCommon::Get().getFek.Call(real, efek, userKey);
}

Common::Bytes RealAES_GCM_Encrypt(const Common::Bytes& data, const Common::Bytes& key) asm(
    "__real__ZN5Drive6Common13EncryptHelper15AES_GCM_EncryptERKSt6vectorIhSaIhEES6_");
Common::Bytes WatchedAES_GCM_Encrypt(const Common::Bytes& data, const Common::Bytes& key) asm(
    "__wrap__ZN5Drive6Common13EncryptHelper15AES_GCM_EncryptERKSt6vectorIhSaIhEES6_");
Common::Bytes WatchedAES_GCM_Encrypt(const Common::Bytes& data, const Common::Bytes& key) {
    if (Unwatched::On()) return RealAES_GCM_Encrypt(data, key);
    Record("AES_GCM_Encrypt", data.size(), key.size());
    const auto real = [](auto&&... given) -> Common::Bytes {
        KeepBaton keep;
        return RealAES_GCM_Encrypt(std::forward<decltype(given)>(given)...);
    };
    return WatchedCommon::Get().aES_GCM_Encrypt.Call(real, data, key);
}

Common::Bytes RealAES_GCM_Decrypt(const Common::Bytes& data, const Common::Bytes& key) asm(
    "__real__ZN5Drive6Common13EncryptHelper15AES_GCM_DecryptERKSt6vectorIhSaIhEES6_");
Common::Bytes WatchedAES_GCM_Decrypt(const Common::Bytes& data, const Common::Bytes& key) asm(
    "__wrap__ZN5Drive6Common13EncryptHelper15AES_GCM_DecryptERKSt6vectorIhSaIhEES6_");
Common::Bytes WatchedAES_GCM_Decrypt(const Common::Bytes& data, const Common::Bytes& key) {
    if (Unwatched::On()) return RealAES_GCM_Decrypt(data, key);
    Record("AES_GCM_Decrypt", data.size(), key.size());
    const auto real = [](auto&&... given) -> Common::Bytes {
        KeepBaton keep;
        return RealAES_GCM_Decrypt(std::forward<decltype(given)>(given)...);
    };
    return WatchedCommon::Get().aES_GCM_Decrypt.Call(real, data, key);
}

std::string RealBase64Encode(const unsigned char* data, std::size_t length,
                             bool singleLine) asm("__real__ZN5Drive6Common13EncryptHelper12Base64EncodeB5cxx11EPKhmb");
std::string WatchedBase64Encode(const unsigned char* data, std::size_t length, bool singleLine) asm(
    "__wrap__ZN5Drive6Common13EncryptHelper12Base64EncodeB5cxx11EPKhmb");
std::string WatchedBase64Encode(const unsigned char* data, std::size_t length, bool singleLine) {
    if (Unwatched::On()) return RealBase64Encode(data, length, singleLine);
    Record("Base64Encode", length, singleLine);
    const auto real = [](auto&&... given) -> std::string {
        KeepBaton keep;
        return RealBase64Encode(std::forward<decltype(given)>(given)...);
    };
    return WatchedCommon::Get().base64Encode.Call(real, data, length, singleLine);
}

std::string RealBase64Decode(const std::string& text, bool strict) asm(
    "__real__ZN5Drive6Common13EncryptHelper12Base64DecodeERKNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEEb");
std::string WatchedBase64Decode(const std::string& text, bool strict) asm(
    "__wrap__ZN5Drive6Common13EncryptHelper12Base64DecodeERKNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEEb");
std::string WatchedBase64Decode(const std::string& text, bool strict) {
    if (Unwatched::On()) return RealBase64Decode(text, strict);
    Record("Base64Decode", text, strict);
    const auto real = [](auto&&... given) -> std::string {
        KeepBaton keep;
        return RealBase64Decode(std::forward<decltype(given)>(given)...);
    };
    return WatchedCommon::Get().base64Decode.Call(real, text, strict);
}

bool RealGetSecureRandom(unsigned char* buffer,
                         std::size_t length) asm("__real__ZN5Drive6Common13EncryptHelper15GetSecureRandomEPhm");
bool WatchedGetSecureRandom(unsigned char* buffer,
                            std::size_t length) asm("__wrap__ZN5Drive6Common13EncryptHelper15GetSecureRandomEPhm");
bool WatchedGetSecureRandom(unsigned char* buffer, std::size_t length) {
    if (Unwatched::On()) return RealGetSecureRandom(buffer, length);
    Record("GetSecureRandom", length);
    const auto real = [](auto&&... given) -> bool {
        KeepBaton keep;
        return RealGetSecureRandom(std::forward<decltype(given)>(given)...);
    };
    return WatchedCommon::Get().getSecureRandom.Call(real, buffer, length);
}

bool RealCreateThumbnail(const Common::FileItem& file, const Common::ThumbnailOptions& option, const std::wstring& target) asm(
    "__real__ZN5Drive6Common15ThumbnailHelper15CreateThumbnailERKNS0_8FileItemERKNS0_16ThumbnailOptionsERKNSt7__"
    "cxx1112basic_stringIwSt11char_traitsIwESaIwEEE");
bool WatchedCreateThumbnail(const Common::FileItem& file, const Common::ThumbnailOptions& option, const std::wstring& target) asm(
    "__wrap__ZN5Drive6Common15ThumbnailHelper15CreateThumbnailERKNS0_8FileItemERKNS0_16ThumbnailOptionsERKNSt7__"
    "cxx1112basic_stringIwSt11char_traitsIwESaIwEEE");
bool WatchedCreateThumbnail(const Common::FileItem& file, const Common::ThumbnailOptions& option,
                            const std::wstring& target) {
    if (Unwatched::On()) return RealCreateThumbnail(file, option, target);
    Record("CreateThumbnail", file.GetFileId(), static_cast<int>(option), target);
    const auto real = [](auto&&... given) -> bool {
        KeepBaton keep;
        return RealCreateThumbnail(std::forward<decltype(given)>(given)...);
    };
    return WatchedCommon::Get().createThumbnail.Call(real, file, option, target);
}

void RealInsertOperatingFiles(const std::wstring& relativePath, FileChangeType change) asm(
    "__real__ZN5Drive20InsertOperatingFilesERKNSt7__cxx1112basic_stringIwSt11char_traitsIwESaIwEEENS_"
    "14FileChangeTypeE");
void WatchedInsertOperatingFiles(const std::wstring& relativePath, FileChangeType change) asm(
    "__wrap__ZN5Drive20InsertOperatingFilesERKNSt7__cxx1112basic_stringIwSt11char_traitsIwESaIwEEENS_"
    "14FileChangeTypeE");
void WatchedInsertOperatingFiles(const std::wstring& relativePath, FileChangeType change) {
    if (Unwatched::On()) return RealInsertOperatingFiles(relativePath, change);
    Record("InsertOperatingFiles", relativePath, static_cast<int>(change));
    const auto real = [](auto&&... given) -> void {
        KeepBaton keep;
        return RealInsertOperatingFiles(std::forward<decltype(given)>(given)...);
    };
    return WatchedCommon::Get().insertOperatingFiles.Call(real, relativePath, change);
}

void RealEraseOpetatingFile(const std::wstring& relativePath) asm(
    "__real__ZN5Drive18EraseOpetatingFileERKNSt7__cxx1112basic_stringIwSt11char_traitsIwESaIwEEE");
void WatchedEraseOpetatingFile(const std::wstring& relativePath) asm(
    "__wrap__ZN5Drive18EraseOpetatingFileERKNSt7__cxx1112basic_stringIwSt11char_traitsIwESaIwEEE");
void WatchedEraseOpetatingFile(const std::wstring& relativePath) {
    if (Unwatched::On()) return RealEraseOpetatingFile(relativePath);
    Record("EraseOpetatingFile", relativePath);
    const auto real = [](auto&&... given) -> void {
        KeepBaton keep;
        return RealEraseOpetatingFile(std::forward<decltype(given)>(given)...);
    };
    return WatchedCommon::Get().eraseOpetatingFile.Call(real, relativePath);
}

void RealGetAndTransferDiskStatus(const int& status) asm("__real__ZN5Drive24GetAndTransferDiskStatusERKi");
void WatchedGetAndTransferDiskStatus(const int& status) asm("__wrap__ZN5Drive24GetAndTransferDiskStatusERKi");
void WatchedGetAndTransferDiskStatus(const int& status) {
    if (Unwatched::On()) return RealGetAndTransferDiskStatus(status);
    Record("GetAndTransferDiskStatus", status);
    const auto real = [](auto&&... given) -> void {
        KeepBaton keep;
        return RealGetAndTransferDiskStatus(std::forward<decltype(given)>(given)...);
    };
    return WatchedCommon::Get().getAndTransferDiskStatus.Call(real, status);
}

void RealTransferMessageCommand(int command, const std::wstring& text) asm(
    "__real__ZN5Drive3IPC14IPCDriveClient22TransferMessageCommandEiRKNSt7__cxx1112basic_stringIwSt11char_"
    "traitsIwESaIwEEE");
void WatchedTransferMessageCommand(int command, const std::wstring& text) asm(
    "__wrap__ZN5Drive3IPC14IPCDriveClient22TransferMessageCommandEiRKNSt7__cxx1112basic_stringIwSt11char_"
    "traitsIwESaIwEEE");
void WatchedTransferMessageCommand(int command, const std::wstring& text) {
    if (Unwatched::On()) return RealTransferMessageCommand(command, text);
    Record("TransferMessageCommand", command, text);
    const auto real = [](auto&&... given) -> void {
        KeepBaton keep;
        return RealTransferMessageCommand(std::forward<decltype(given)>(given)...);
    };
    return WatchedCommon::Get().transferMessageCommand.Call(real, command, text);
}

void RealRefreshFile(const std::wstring& path) asm(
    "__real__ZN5Drive6Common16RefreshShellIcon11RefreshFileERKNSt7__cxx1112basic_stringIwSt11char_traitsIwESaIwEEE");
void WatchedRefreshFile(const std::wstring& path) asm(
    "__wrap__ZN5Drive6Common16RefreshShellIcon11RefreshFileERKNSt7__cxx1112basic_stringIwSt11char_traitsIwESaIwEEE");
void WatchedRefreshFile(const std::wstring& path) {
    if (Unwatched::On()) return RealRefreshFile(path);
    Record("RefreshFile", path);
    const auto real = [](auto&&... given) -> void {
        KeepBaton keep;
        return RealRefreshFile(std::forward<decltype(given)>(given)...);
    };
    return WatchedCommon::Get().refreshFile.Call(real, path);
}
