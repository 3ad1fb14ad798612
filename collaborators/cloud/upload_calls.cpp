#include "collaborators/cloud/address_request.h"
#include "collaborators/cloud/control_call.h"
#include "collaborators/cloud/file_counters.h"
#include "collaborators/cloud/guarded.h"
#include "collaborators/cloud/json_fields.h"
#include "collaborators/cloud/key_digest.h"
#include "collaborators/cloud/slice_bounds.h"
#include "collaborators/cloud/text.h"
#include "interfaces/cloud/cloud_drive_interface.h"
#include "interfaces/cloud/wire/fields.h"
#include "interfaces/cloud/wire/routes.h"
#include "interfaces/logging/type_convert.h"

namespace Drive::Cloud {

namespace {

constexpr const char* kStartCall = "ObjectsUploadStart";
constexpr const char* kAddressCall = "GetUploadKelpAddress";
constexpr const char* kObjectCall = "ObjectsUploadComplete";

void Log(const char* call, const std::string& text) { SyncPanelLog::WriteErrorLog("CloudClient", call, text); }

ControlRequest StartRequest(const Common::FileItem& file, const std::wstring& sha256,
                            const std::wstring& recordCursor) {
    ControlRequest request;
    request.call = kStartCall;
    request.method = "POST";
    request.route = Wire::kUploadStart;
    Json::Value& body = request.body;
    body[Wire::kFileId] = JsonText(file.GetFileId());
    body[Wire::kFileName] = WireName(file.GetLocalFileName().empty() ? file.GetName() : file.GetLocalFileName());
    body[Wire::kParentFolder] = JsonText(file.GetLocalParentId());
    body[Wire::kSize] = Json::Int64{file.GetSize()};
    body[Wire::kSha256] = JsonText(sha256);
    body[Wire::kMimeType] = JsonText(file.GetMimeType());
    body[Wire::kRecordCursor] = JsonText(recordCursor);
    body[Wire::kAttachmentSize] = Json::Value(Json::arrayValue);
    for (const int size : file.GetAttachmentSize()) body[Wire::kAttachmentSize].append(size);
    if (!file.GetContentVersion().empty()) body[Wire::kContentVersion] = JsonText(file.GetContentVersion());
    if (!file.GetFileMD5().empty()) body[Wire::kMd5] = JsonText(file.GetFileMD5());
    const std::string keyDigest = KeyDigest(file.GetFileHMAC());
    if (!keyDigest.empty()) body[Wire::kKeyDigest] = keyDigest;
    return request;
}

/// False for a plan that must not be begun: one of a type that nobody knows would go straight to the completion,
/// without content, and an object of a slice is held in memory as a whole.
bool CanBeFollowed(const Json::Value& plan) {
    if (!plan.isObject()) return false;
    JsonFields fields(plan, kStartCall);
    const std::wstring type = fields.Text(Wire::kUploadType);
    if (type != L"client") return type == L"exist" || type == L"server";
    return fields.Number(Wire::kSliceSize, 1, kLargestSlice) > 0 && fields.Sound();
}

std::string Start(const Common::FileItem& file, const std::wstring& sha256, const std::wstring& recordCursor,
                  std::wstring& errorCode) {
    const ControlAnswer answer = CallCloud(StartRequest(file, sha256, recordCursor));
    errorCode = answer.errorCode;
    if (!answer.ok) return {};
    if (CanBeFollowed(answer.body)) return answer.text;
    Log(kStartCall, "the cloud's answer is no upload plan that can be followed. fileid=" + Printable(file.GetFileId()));
    return {};
}

bool AskForAddress(const Common::FileItem& file, const Common::KelpAddressRequestModel& model,
                   Common::GetKelpAddressModel& out, WMap& result) {
    ControlRequest request;
    request.call = kAddressCall;
    request.method = "POST";
    request.route = Wire::kUploadAddress;
    request.body = AddressRequestBody(model);
    request.body[Wire::kFileId] = JsonText(file.GetFileId());
    const ControlAnswer answer = CallCloud(request);
    FillResult(answer, result);
    if (!answer.ok) return false;
    ObjectAddress address;
    const bool usable = ReadObjectAddress(answer.body, kAddressCall, address);
    if (!usable || address.method.empty()) {
        if (usable) Log(kAddressCall, "the cloud's answer tells no verb");
        result[L"description"] = L"the cloud's answer holds no address that can be used";
        return false;
    }
    NoteAddress(file.GetFileId(), address.url);
    out.SetUrl(address.url);
    out.SetMethod(address.method);
    out.SetKelpAddressHeaders(address.headers);
    out.SetObjectBucketId(address.bucketId.empty() ? model.bucketId : address.bucketId);
    return true;
}

bool Confirm(const Common::FileItem& file, const Common::FragmentInfo& fragment,
             const Common::GetKelpAddressModel& model, const std::string& response, const std::wstring& recordCursor) {
    ControlRequest request;
    request.call = kObjectCall;
    request.method = "POST";
    request.route = Wire::kUploadObject;
    Json::Value& body = request.body;
    body[Wire::kFileId] = JsonText(file.GetFileId());
    body[Wire::kRecordCursor] = JsonText(recordCursor);
    body[Wire::kObjectId] = JsonText(fragment.objectId);
    body[Wire::kBucketId] = JsonText(model.GetObjectBucketId());
    body[Wire::kSyncKey] = JsonText(fragment.synckey);
    body[Wire::kTime] = JsonText(fragment.time);
    body[Wire::kLength] = Json::Int64{fragment.length};
    body[Wire::kResponse] = TypeConvert::UTF82Unicode(response);
    return CallCloud(request).ok;
}

}  // namespace

std::string CloudDriveInterface::ObjectsUploadStart(Common::FileItem& file, const std::wstring& sha256,
                                                    const std::wstring& recordCursor, std::wstring& errorCode) {
    errorCode.clear();
    return Guarded(kStartCall, std::string(), [&] { return Start(file, sha256, recordCursor, errorCode); });
}

bool CloudDriveInterface::GetUploadKelpAddress(const Common::FileItem& file,
                                               const Common::KelpAddressRequestModel& request,
                                               Common::GetKelpAddressModel& model, WMap& result) {
    FillResult("0", "the request could not be made", result);
    return Guarded(kAddressCall, false, [&] { return AskForAddress(file, request, model, result); });
}

bool CloudDriveInterface::ObjectsUploadComplete(const Common::FileItem& file, const Common::FragmentInfo& fragment,
                                                const Common::GetKelpAddressModel& model, const std::string& response,
                                                const std::wstring& recordCursor) {
    return Guarded(kObjectCall, false, [&] { return Confirm(file, fragment, model, response, recordCursor); });
}

}  // namespace Drive::Cloud
