// Preloaded into a host: writes a line into the host's own text log for every step that leaves no words of its own
// (rows changed, bytes written, calls to the cloud, looks at the file, events told, slots given back), on the thread
// that takes the step. So the order of words and deeds can be read from one file. Every call goes on to the real
// operation.
#include <dlfcn.h>
#include <link.h>

#include <cstring>
#include <string>
#include <utility>

#include "download/download_task_manager.h"
#include "interfaces/cloud/cloud_drive_interface.h"
#include "interfaces/cloud/file_trans_request.h"
#include "interfaces/common/drive_functions.h"
#include "interfaces/common/file_helper.h"
#include "interfaces/common/thumbnail_helper.h"
#include "interfaces/database/sqlite_db.h"
#include "interfaces/logging/sync_panel_log.h"
#include "upload/upload_task_manager.h"

namespace {

using Drive::WMap;

int NameOfOurs(dl_phdr_info* object, std::size_t, void* argument) {
    auto& search = *static_cast<std::pair<const char*, void*>*>(argument);
    if (strstr(object->dlpi_name, "libZelkorSyncFile.") == nullptr) return 0;
    void* library = dlopen(object->dlpi_name, RTLD_LAZY | RTLD_NOLOAD);
    if (library == nullptr) return 0;
    search.second = dlsym(library, search.first);
    dlclose(library);
    return search.second != nullptr ? 1 : 0;
}

/// The operation of that name in the project's own libraries. They are loaded privately, so the usual "next" does not
/// find them.
void* FindInLibraries(const char* name) {
    std::pair<const char*, void*> search(name, nullptr);
    dl_iterate_phdr(NameOfOurs, &search);
    return search.second;
}

/// The real operation behind one that is replaced here; both have the same name for the linker.
template <typename Function>
Function Real(void* here) {
    Dl_info info;
    dladdr(here, &info);
    return reinterpret_cast<Function>(FindInLibraries(info.dli_sname));
}

template <typename Member>
void* AddressOf(Member member) {
    void* address = nullptr;
    static_assert(sizeof member >= sizeof address);
    memcpy(&address, &member, sizeof address);
    return address;
}

std::string Narrow(const std::wstring& text) {
    std::string narrow;
    for (const wchar_t character : text) narrow += character < 0x80 ? static_cast<char>(character) : '?';
    return narrow;
}

void Record(const std::string& text) {
    using Write = void (*)(const std::string&);
    static const Write write = reinterpret_cast<Write>(FindInLibraries(
        "_ZN5Drive12SyncPanelLog13WriteDebugLogERKNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEE"));
    write("recorded " + text);
}

/// Looks at a file: a look that another look takes inside is the library's own affair and is not told.
class Look {
public:
    explicit Look(const char* what) {
        if (depth++ == 0) Record(std::string("look ") + what);
    }
    ~Look() { --depth; }

private:
    static thread_local int depth;
};

thread_local int Look::depth = 0;

std::string Columns(const WMap& columns) {
    std::string text;
    for (const auto& [name, value] : columns) text += ";" + Narrow(name) + "=" + Narrow(value);
    return text;
}

std::string Header(const WMap& headers, const wchar_t* name) {
    const auto found = headers.find(name);
    return found == headers.end() ? std::string() : Narrow(found->second);
}

}  // namespace

#define REPLACES_STATIC(TYPE, FUNCTION) static const auto real = Real<TYPE>(reinterpret_cast<void*>(&FUNCTION))
#define REPLACES_MEMBER(TYPE, FUNCTION) static const auto real = Real<TYPE>(AddressOf(&FUNCTION))

namespace Drive::SQLiteDB {

int SQLiteDB::GetTaskAllItem(std::vector<Common::TaskItem>& tasks, const std::string& status,
                             const std::string& direction, int limit) {
    using Type = int (*)(SQLiteDB*, std::vector<Common::TaskItem>&, const std::string&, const std::string&, int);
    REPLACES_MEMBER(Type, SQLiteDB::GetTaskAllItem);
    const std::size_t before = tasks.size();
    const int count = real(this, tasks, status, direction, limit);
    if (tasks.size() == before) return count;
    Record("feed direction=" + direction + ";status=" + status + ";limit=" + std::to_string(limit));
    for (std::size_t index = before; index < tasks.size(); ++index) {
        Record("fed fileId=" + Narrow(tasks[index].GetFileId()) +
               ";taskId=" + std::to_string(tasks[index].GetTaskId()));
    }
    return count;
}

bool SQLiteDB::UpdateDriveData(const UpdateDBInfo& info) {
    using Type = bool (*)(SQLiteDB*, const UpdateDBInfo&);
    REPLACES_MEMBER(Type, SQLiteDB::UpdateDriveData);
    Record("file row " + Narrow(info.key) + Columns(info.columns));
    return real(this, info);
}

bool SQLiteDB::UpdateTaskItem(const UpdateDBInfo& info, int direction) {
    using Type = bool (*)(SQLiteDB*, const UpdateDBInfo&, int);
    REPLACES_MEMBER(Type, SQLiteDB::UpdateTaskItem);
    Record("task row " + Narrow(info.key) + ";direction=" + std::to_string(direction) + Columns(info.columns));
    return real(this, info, direction);
}

bool SQLiteDB::DeleteTaskItem(const std::wstring& fileId, int direction) {
    using Type = bool (*)(SQLiteDB*, const std::wstring&, int);
    REPLACES_MEMBER(Type, SQLiteDB::DeleteTaskItem);
    Record("task gone " + Narrow(fileId) + ";direction=" + std::to_string(direction));
    return real(this, fileId, direction);
}

bool SQLiteDB::ExecuteMulitNoQuerySQL(const std::vector<std::string>& statements) {
    using Type = bool (*)(SQLiteDB*, const std::vector<std::string>&);
    REPLACES_MEMBER(Type, SQLiteDB::ExecuteMulitNoQuerySQL);
    Record("statements " + std::to_string(statements.size()));
    return real(this, statements);
}

}  // namespace Drive::SQLiteDB

namespace Drive::Common {

bool FileHepler::WriteLocalFileV(std::int64_t position, const char* data, std::size_t length,
                                 const std::wstring& path) {
    REPLACES_STATIC(decltype(&FileHepler::WriteLocalFileV), FileHepler::WriteLocalFileV);
    const bool written = real(position, data, length, path);
    Record("written position=" + std::to_string(position) + ";length=" + std::to_string(length));
    return written;
}

bool FileHepler::IsPlaceholder(const std::wstring& path) {
    REPLACES_STATIC(decltype(&FileHepler::IsPlaceholder), FileHepler::IsPlaceholder);
    const Look look("placeholder");
    return real(path);
}

bool FileHepler::IsFileExists(const std::wstring& path) {
    REPLACES_STATIC(decltype(&FileHepler::IsFileExists), FileHepler::IsFileExists);
    const Look look("exists");
    return real(path);
}

std::int64_t FileHepler::GetFileSizeApi(const std::wstring& path) {
    REPLACES_STATIC(decltype(&FileHepler::GetFileSizeApi), FileHepler::GetFileSizeApi);
    const Look look("size");
    return real(path);
}

std::int64_t FileHepler::GetLocalFileSize(const std::wstring& path) {
    REPLACES_STATIC(decltype(&FileHepler::GetLocalFileSize), FileHepler::GetLocalFileSize);
    const Look look("local size");
    return real(path);
}

std::wstring FileHepler::GetFileSha256(const std::wstring& path) {
    REPLACES_STATIC(decltype(&FileHepler::GetFileSha256), FileHepler::GetFileSha256);
    const Look look("digest");
    return real(path);
}

bool FileHepler::GetFileHash(const std::wstring& path, std::wstring& sha256, std::wstring& md5) {
    REPLACES_STATIC(decltype(&FileHepler::GetFileHash), FileHepler::GetFileHash);
    const Look look("both digests");
    return real(path, sha256, md5);
}

std::string FileHepler::GetFileHmac(const std::wstring& path) {
    REPLACES_STATIC(decltype(&FileHepler::GetFileHmac), FileHepler::GetFileHmac);
    const Look look("key text");
    return real(path);
}

std::string FileHepler::GetFileMimeType(const std::wstring& name) {
    REPLACES_STATIC(decltype(&FileHepler::GetFileMimeType), FileHepler::GetFileMimeType);
    const Look look("media type");
    return real(name);
}

void FileHepler::DeleteLocalFile(const std::wstring& path) {
    REPLACES_STATIC(decltype(&FileHepler::DeleteLocalFile), FileHepler::DeleteLocalFile);
    Record("picture gone");
    real(path);
}

bool ThumbnailHelper::CreateThumbnail(const FileItem& file, const ThumbnailOptions& option,
                                      const std::wstring& target) {
    REPLACES_STATIC(decltype(&ThumbnailHelper::CreateThumbnail), ThumbnailHelper::CreateThumbnail);
    Record("picture option=" + std::to_string(static_cast<int>(option)));
    return real(file, option, target);
}

}  // namespace Drive::Common

namespace Drive {

void InsertOperatingFiles(const std::wstring& relativePath, FileChangeType type) {
    REPLACES_STATIC(decltype(&InsertOperatingFiles), InsertOperatingFiles);
    Record("operating begins " + Narrow(relativePath) + ";type=" + std::to_string(static_cast<int>(type)));
    real(relativePath, type);
}

void EraseOpetatingFile(const std::wstring& relativePath) {
    REPLACES_STATIC(decltype(&EraseOpetatingFile), EraseOpetatingFile);
    Record("operating ends " + Narrow(relativePath));
    real(relativePath);
}

}  // namespace Drive

namespace Drive::Cloud {

std::string CloudDriveInterface::ObjectsUploadStart(Common::FileItem& file, const std::wstring& sha256,
                                                    const std::wstring& recordCursor, std::wstring& errorCode) {
    REPLACES_STATIC(decltype(&CloudDriveInterface::ObjectsUploadStart), CloudDriveInterface::ObjectsUploadStart);
    Record("call start;sha256=" + Narrow(sha256) + ";cursor=" + (recordCursor.empty() ? "none" : "kept"));
    return real(file, sha256, recordCursor, errorCode);
}

bool CloudDriveInterface::GetUploadKelpAddress(const Common::FileItem& file,
                                               const Common::KelpAddressRequestModel& request,
                                               Common::GetKelpAddressModel& model, WMap& result) {
    REPLACES_STATIC(decltype(&CloudDriveInterface::GetUploadKelpAddress), CloudDriveInterface::GetUploadKelpAddress);
    Record("call put address;length=" + std::to_string(request.length));
    return real(file, request, model, result);
}

bool CloudDriveInterface::ObjectsUploadComplete(const Common::FileItem& file, const Common::FragmentInfo& fragment,
                                                const Common::GetKelpAddressModel& model, const std::string& response,
                                                const std::wstring& recordCursor) {
    REPLACES_STATIC(decltype(&CloudDriveInterface::ObjectsUploadComplete), CloudDriveInterface::ObjectsUploadComplete);
    Record("call confirm");
    return real(file, fragment, model, response, recordCursor);
}

bool CloudDriveInterface::FilesCreateComplete(const Common::FileItem& file, const std::wstring& recordCursor,
                                              Common::CreateUpdateRequestModel& model, WMap& result) {
    REPLACES_STATIC(decltype(&CloudDriveInterface::FilesCreateComplete), CloudDriveInterface::FilesCreateComplete);
    Record("call create");
    return real(file, recordCursor, model, result);
}

bool CloudDriveInterface::FilesUpdateComplete(const Common::FileItem& file, const std::wstring& recordCursor,
                                              Common::CreateUpdateRequestModel& model, WMap& result) {
    REPLACES_STATIC(decltype(&CloudDriveInterface::FilesUpdateComplete), CloudDriveInterface::FilesUpdateComplete);
    Record("call update");
    return real(file, recordCursor, model, result);
}

bool CloudDriveInterface::FileproxyUpload(const std::wstring& url, const std::wstring& fileId,
                                          HttpInterface::InterfaceName operation, const std::string& rawBody,
                                          const std::string& textBody, WMap headers, WMap& result) {
    REPLACES_STATIC(decltype(&CloudDriveInterface::FileproxyUpload), CloudDriveInterface::FileproxyUpload);
    Record("call proxy " + std::to_string(static_cast<int>(operation)) + ";fileId=" + Narrow(fileId) +
           ";raw=" + std::to_string(rawBody.size()) + ";range=" + Header(headers, L"Content-Range"));
    return real(url, fileId, operation, rawBody, textBody, std::move(headers), result);
}

bool CloudDriveInterface::GetDownloadAddressInfo(const std::wstring& fileId, Common::DownLoadAddressInfoModel& model) {
    REPLACES_STATIC(decltype(&CloudDriveInterface::GetDownloadAddressInfo),
                    CloudDriveInterface::GetDownloadAddressInfo);
    Record("call how stored;fileId=" + Narrow(fileId));
    return real(fileId, model);
}

bool CloudDriveInterface::GetDownloadKelpAddress(const Common::KelpAddressRequestModel& request,
                                                 Common::DownloadKelpAddressInfo& info) {
    REPLACES_STATIC(decltype(&CloudDriveInterface::GetDownloadKelpAddress),
                    CloudDriveInterface::GetDownloadKelpAddress);
    Record("call get address");
    return real(request, info);
}

std::int64_t CloudDriveInterface::GetUserSpace(std::wstring& text) {
    REPLACES_STATIC(decltype(&CloudDriveInterface::GetUserSpace), CloudDriveInterface::GetUserSpace);
    Record("call space");
    return real(text);
}

bool FileTransRequest::UploadRequest(const std::wstring& url, WMap headers, const std::wstring& verb,
                                     const std::vector<unsigned char>& body, WMap& responseHeaders,
                                     std::string& responseText) {
    REPLACES_STATIC(decltype(&FileTransRequest::UploadRequest), FileTransRequest::UploadRequest);
    Record("call " + Narrow(verb) + ";bytes=" + std::to_string(body.size()));
    return real(url, std::move(headers), verb, body, responseHeaders, responseText);
}

bool FileTransRequest::DownloadDriveFileRequest(const std::wstring& url, WMap headers,
                                                const std::vector<unsigned char>& fek,
                                                const std::vector<unsigned char>& iv, const std::wstring& algorithm,
                                                std::int64_t length, std::vector<unsigned char>& received) {
    REPLACES_STATIC(decltype(&FileTransRequest::DownloadDriveFileRequest), FileTransRequest::DownloadDriveFileRequest);
    Record("call get object");
    return real(url, std::move(headers), fek, iv, algorithm, length, received);
}

int FileTransRequest::DownloadCloudFileRequest(const std::wstring& url, WMap headers, FileTransRequest* request) {
    REPLACES_STATIC(decltype(&FileTransRequest::DownloadCloudFileRequest), FileTransRequest::DownloadCloudFileRequest);
    Record("call get;range=" + Header(headers, L"Range"));
    const int status = real(url, std::move(headers), request);
    Record("got " + std::to_string(status));
    return status;
}

}  // namespace Drive::Cloud

namespace Drive::TransferService {

void DownLoadTaskManger::SetDownLoadTaskCallBackFun(DownloadCallback callback) {
    using Type = void (*)(DownLoadTaskManger*, DownloadCallback);
    REPLACES_MEMBER(Type, DownLoadTaskManger::SetDownLoadTaskCallBackFun);
    real(this, [callback = std::move(callback)](DOWNLOADCALLBACK_CONTEXT& event) {
        Record("event " + std::to_string(event.event) + ";ok=" + std::to_string(event.ok));
        return callback(event);
    });
}

void DownLoadTaskManger::SetTaskSemaphoreCallbackFun(SemaphoreCallback callback) {
    using Type = void (*)(DownLoadTaskManger*, SemaphoreCallback);
    REPLACES_MEMBER(Type, DownLoadTaskManger::SetTaskSemaphoreCallbackFun);
    real(this, [callback = std::move(callback)](int key) {
        Record("slot " + std::to_string(key));
        callback(key);
    });
}

void UpLoadTaskManger::SetUploadServiceCallbackFun(ServiceCallback callback) {
    using Type = void (*)(UpLoadTaskManger*, ServiceCallback);
    REPLACES_MEMBER(Type, UpLoadTaskManger::SetUploadServiceCallbackFun);
    real(this, [callback = std::move(callback)](int kind, const std::wstring& path) {
        Record("hook " + std::to_string(kind));
        return callback(kind, path);
    });
}

void UpLoadTaskManger::SetUploadTaskCallbackFun(TaskCallback callback) {
    using Type = void (*)(UpLoadTaskManger*, TaskCallback);
    REPLACES_MEMBER(Type, UpLoadTaskManger::SetUploadTaskCallbackFun);
    real(this, [callback = std::move(callback)](int kind, int value) {
        Record("report " + std::to_string(kind) + " " + std::to_string(value));
        callback(kind, value);
    });
}

}  // namespace Drive::TransferService
