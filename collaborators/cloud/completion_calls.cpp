#include "collaborators/cloud/address.h"
#include "collaborators/cloud/control_call.h"
#include "collaborators/cloud/guarded.h"
#include "collaborators/cloud/json_fields.h"
#include "collaborators/cloud/result_id.h"
#include "collaborators/cloud/text.h"
#include "collaborators/cloud/user_space.h"
#include "interfaces/cloud/cloud_drive_interface.h"
#include "interfaces/cloud/wire/fields.h"
#include "interfaces/cloud/wire/routes.h"

namespace Drive::Cloud {

namespace {

using Common::CreateUpdateRequestModel;

Json::Value ObjectListBody(const Common::ObjectInfoList& list) {
    Json::Value body;
    body[Wire::kBucketId] = JsonText(list.bucketId);
    body[Wire::kSliceSize] = list.sliceSize;
    body[Wire::kObjectIds] = Json::Value(Json::arrayValue);
    for (const auto& id : list.objectIds) body[Wire::kObjectIds].append(JsonText(id));
    body[Wire::kAttachmentList] = Json::Value(Json::arrayValue);
    for (const auto& attachment : list.attachmentList) {
        Json::Value entry;
        entry[Wire::kName] = JsonText(attachment.name);
        entry[Wire::kLength] = Json::Int64{attachment.length};
        body[Wire::kAttachmentList].append(entry);
    }
    return body;
}

Json::Value KeyBody(const Common::EncFekList& key) {
    Json::Value body;
    body[Wire::kKeyUid] = JsonText(key.keyUid);
    body[Wire::kKeyType] = key.keyType;
    body[Wire::kEfek] = JsonText(key.efek);
    body[Wire::kIv] = JsonText(key.iv);
    body[Wire::kEncryptAlgorithm] = JsonText(key.encryptAlgorithm);
    return body;
}

Json::Value CompletionBody(const std::wstring& recordCursor, const CreateUpdateRequestModel& model) {
    Json::Value body;
    body[Wire::kRecordCursor] = JsonText(recordCursor);
    body[Wire::kFileId] = JsonText(model.GetFileId());
    body[Wire::kFileName] = WireName(model.GetFileName());
    body[Wire::kParentFolder] = JsonText(model.GetParentFolder().empty() ? L"" : model.GetParentFolder().front());
    body[Wire::kMimeType] = JsonText(model.GetMimeType());
    body[Wire::kSha256] = JsonText(model.GetSha256());
    body[Wire::kMd5] = JsonText(model.GetMD5());
    body[Wire::kSize] = Json::Int64{model.GetSize()};
    body[Wire::kContentVersion] = JsonText(model.GetContentVersion());
    if (model.GetCreatedTime() > 0) body[Wire::kCreatedTime] = Json::Int64{model.GetCreatedTime()};
    if (model.GetEditedTime() > 0) body[Wire::kEditedTime] = Json::Int64{model.GetEditedTime()};
    body[Wire::kObjectInfoList] = Json::Value(Json::arrayValue);
    for (const auto& list : model.GetObjectInfoList()) body[Wire::kObjectInfoList].append(ObjectListBody(list));
    body[Wire::kEncFekList] = Json::Value(Json::arrayValue);
    for (const auto& key : model.GetEncFekList()) body[Wire::kEncFekList].append(KeyBody(key));
    return body;
}

bool Complete(const char* call, const char* route, const Common::FileItem& file, const std::wstring& recordCursor,
              const CreateUpdateRequestModel& model, WMap& result) {
    const SpaceChanges changes;
    ControlRequest request;
    request.call = call;
    request.method = "POST";
    request.route = route;
    request.body = CompletionBody(recordCursor, model);
    // A completion whose answer was lost may have gone through: the next attempt of the engine finds out.
    request.idempotent = false;
    const ControlAnswer answer = CallCloud(request);
    FillResult(answer, result);
    return answer.ok && EnsureId(call, file.GetFileId(), result);
}

bool Inquire(const Common::FileItem& file, WMap& result) {
    ControlRequest request;
    request.call = "inQuireCloudFile";
    if (IsCloudId(file.GetFileId())) {
        request.route = FilePath(file.GetFileId());
    } else {
        const std::wstring& name = file.GetName().empty() ? file.GetLocalFileName() : file.GetName();
        request.route = std::string(Wire::kFindFile) + "?" + Wire::kParentFolder + "=" +
                        PercentEncode(Narrow(file.GetLocalParentId())) + "&" + Wire::kFileName + "=" +
                        PercentEncode(WireName(name));
    }
    const ControlAnswer answer = CallCloud(request);
    FillResult(answer, result);
    return answer.ok && EnsureId(request.call, file.GetFileId(), result);
}

}  // namespace

bool EnsureId(const char* call, const std::wstring& givenId, WMap& result) {
    std::wstring& id = result[L"id"];
    if (!id.empty()) return true;
    if (IsCloudId(givenId)) {
        id = givenId;
        return true;
    }
    result.erase(L"id");
    result[L"statuscode"] = kUnusableAnswer;
    result[L"description"] = L"the cloud's answer does not tell the id of the new file";
    SyncPanelLog::WriteErrorLog(
        "CloudClient", call, "the cloud's answer does not tell the id of the new file. fileid=" + Printable(givenId));
    return false;
}

bool CloudDriveInterface::FilesCreateComplete(const Common::FileItem& file, const std::wstring& recordCursor,
                                              CreateUpdateRequestModel& model, WMap& result) {
    FillResult("0", "the request could not be made", result);
    return Guarded("FilesCreateComplete", false, [&] {
        return Complete("FilesCreateComplete", Wire::kUploadCreate, file, recordCursor, model, result);
    });
}

bool CloudDriveInterface::FilesUpdateComplete(const Common::FileItem& file, const std::wstring& recordCursor,
                                              CreateUpdateRequestModel& model, WMap& result) {
    FillResult("0", "the request could not be made", result);
    return Guarded("FilesUpdateComplete", false, [&] {
        return Complete("FilesUpdateComplete", Wire::kUploadUpdate, file, recordCursor, model, result);
    });
}

bool CloudDriveInterface::inQuireCloudFile(const Common::FileItem& file, WMap& result) {
    FillResult("0", "the request could not be made", result);
    return Guarded("inQuireCloudFile", false, [&] { return Inquire(file, result); });
}

}  // namespace Drive::Cloud
