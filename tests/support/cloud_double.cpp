// The cloud library's control calls, answered by ScriptedCloud.
#include "interfaces/cloud/base_http_request.h"
#include "tests/support/cloud_answers.h"
#include "tests/support/journal.h"
#include "tests/support/little_cloud.h"

namespace Drive::Cloud {

using namespace Drive::Common;
using Testing::Narrow;
using Testing::ScriptedCloud;
namespace LittleCloud = Testing::LittleCloud;

namespace {

ScriptedCloud& Script() { return ScriptedCloud::Get(); }

void Record(const std::string& text) { Testing::Journal::Write(Testing::Kind::Cloud, text); }

}  // namespace

void AddCommonHeaders(WMap& wideHeaders, std::map<std::string, std::string>& narrowHeaders) {
    Record("AddCommonHeaders()");
    wideHeaders[L"common"] = L"yes";
    narrowHeaders["common"] = "yes";
}

std::string CloudDriveInterface::ObjectsUploadStart(FileItem& file, const std::wstring& sha256,
                                                    const std::wstring& recordCursor, std::wstring& errorCode) {
    Record("ObjectsUploadStart(" + Narrow(file.GetFileId()) + ", " + Narrow(sha256) + ", " + Narrow(recordCursor) +
           ")");
    const auto plan = [](FileItem& item, const std::wstring&, const std::wstring&, std::wstring& code) {
        return LittleCloud::StartUpload(item, code);
    };
    return Script().objectsUploadStart.Call(plan, file, sha256, recordCursor, errorCode);
}

bool CloudDriveInterface::GetUploadKelpAddress(const FileItem& file, const KelpAddressRequestModel& request,
                                               GetKelpAddressModel& model, WMap& result) {
    Record("GetUploadKelpAddress(" + Narrow(file.GetFileId()) + ", " + Narrow(request.objectId) + ", " +
           std::to_string(request.length) + ")");
    const auto grant = [](const FileItem&, const KelpAddressRequestModel& asked, GetKelpAddressModel& answer,
                          WMap& map) { return LittleCloud::GiveUploadAddress(asked, answer, map); };
    return Script().getUploadKelpAddress.Call(grant, file, request, model, result);
}

bool CloudDriveInterface::ObjectsUploadComplete(const FileItem& file, const FragmentInfo& fragment,
                                                const GetKelpAddressModel& model, const std::string& response,
                                                const std::wstring& recordCursor) {
    Record("ObjectsUploadComplete(" + Narrow(file.GetFileId()) + ", " + Narrow(fragment.objectId) + ", " + response +
           ", " + Narrow(recordCursor) + ")");
    const auto accept = [](const FileItem&, const FragmentInfo&, const GetKelpAddressModel&, const std::string&,
                           const std::wstring&) { return Testing::Ask("ObjectsUploadComplete").Accepts(); };
    return Script().objectsUploadComplete.Call(accept, file, fragment, model, response, recordCursor);
}

bool CloudDriveInterface::FilesCreateComplete(const FileItem& file, const std::wstring& recordCursor,
                                              CreateUpdateRequestModel& model, WMap& result) {
    Record("FilesCreateComplete(" + Narrow(file.GetFileId()) + ", " + Narrow(recordCursor) + ")");
    const auto create = [](const FileItem& item, const std::wstring&, CreateUpdateRequestModel&, WMap& map) {
        return LittleCloud::Complete("FilesCreateComplete", item, map);
    };
    return Script().filesCreateComplete.Call(create, file, recordCursor, model, result);
}

bool CloudDriveInterface::FilesUpdateComplete(const FileItem& file, const std::wstring& recordCursor,
                                              CreateUpdateRequestModel& model, WMap& result) {
    Record("FilesUpdateComplete(" + Narrow(file.GetFileId()) + ", " + Narrow(recordCursor) + ")");
    const auto update = [](const FileItem& item, const std::wstring&, CreateUpdateRequestModel&, WMap& map) {
        return LittleCloud::Complete("FilesUpdateComplete", item, map);
    };
    return Script().filesUpdateComplete.Call(update, file, recordCursor, model, result);
}

bool CloudDriveInterface::inQuireCloudFile(const FileItem& file, WMap& result) {
    Record("inQuireCloudFile(" + Narrow(file.GetFileId()) + ")");
    return Script().inQuireCloudFile.Call(LittleCloud::Inquire, file, result);
}

bool CloudDriveInterface::FileproxyUpload(const std::wstring& url, const std::wstring& fileId,
                                          HttpInterface::InterfaceName operation, const std::string& rawBody,
                                          const std::string& textBody, WMap headers, WMap& result) {
    Record("FileproxyUpload(" + Narrow(url) + ", " + Narrow(fileId) + ", " +
           std::to_string(static_cast<int>(operation)) + ", " + std::to_string(rawBody.size()) + ", " +
           std::to_string(textBody.size()) + ", " + Testing::ListOf(headers) + ")");
    const auto take = [](const std::wstring&, const std::wstring& id, HttpInterface::InterfaceName kind,
                         const std::string& raw, const std::string& text, const WMap& sent,
                         WMap& map) { return LittleCloud::TakeByProxy(id, kind, raw, text, sent, map); };
    return Script().fileproxyUpload.Call(take, url, fileId, operation, rawBody, textBody, headers, result);
}

bool CloudDriveInterface::GetDownloadAddressInfo(const std::wstring& fileId, DownLoadAddressInfoModel& model) {
    Record("GetDownloadAddressInfo(" + Narrow(fileId) + ")");
    return Script().getDownloadAddressInfo.Call(LittleCloud::TellContent, fileId, model);
}

bool CloudDriveInterface::GetDownloadKelpAddress(const KelpAddressRequestModel& request,
                                                 DownloadKelpAddressInfo& info) {
    Record("GetDownloadKelpAddress(" + Narrow(request.bucketId) + ", " + Narrow(request.objectId) + ", " +
           Narrow(request.synckey) + ", " + Narrow(request.time) + ", " + Narrow(request.recordCursor) + ", " +
           std::to_string(request.length) + ")");
    return Script().getDownloadKelpAddress.Call(LittleCloud::GiveDownloadAddress, request, info);
}

std::int64_t CloudDriveInterface::GetUserSpace(std::wstring& text) {
    Record("GetUserSpace(" + Narrow(text) + ")");
    return Script().getUserSpace.Call([](std::wstring&) { return LittleCloud::TellSpace(); }, text);
}

std::string CloudDriveInterface::PublickKey() {
    Record("PublickKey()");
    return Script().publickKey.Call(LittleCloud::TellPublicKey);
}

std::string CloudDriveInterface::KeyList(int kind, const std::wstring& temporaryKeyText, const std::wstring& version) {
    Record("KeyList(" + std::to_string(kind) + ", " + std::to_string(temporaryKeyText.size()) + " characters, " +
           Narrow(version) + ")");
    const auto tell = [](int, const std::wstring&, const std::wstring&) { return LittleCloud::TellKeys(); };
    return Script().keyList.Call(tell, kind, temporaryKeyText, version);
}

}  // namespace Drive::Cloud
