#include <algorithm>

#include "collaborators/cloud/address.h"
#include "collaborators/cloud/address_request.h"
#include "collaborators/cloud/control_call.h"
#include "collaborators/cloud/file_counters.h"
#include "collaborators/cloud/guarded.h"
#include "collaborators/cloud/json_fields.h"
#include "collaborators/cloud/process_state.h"
#include "collaborators/cloud/text.h"
#include "interfaces/cloud/cloud_drive_interface.h"
#include "interfaces/cloud/wire/fields.h"
#include "interfaces/cloud/wire/routes.h"

namespace Drive::Cloud {

namespace {

constexpr const char* kInfoCall = "GetDownloadAddressInfo";
constexpr const char* kAddressCall = "GetDownloadKelpAddress";

void Log(const char* call, const std::string& text) { SyncPanelLog::WriteErrorLog("CloudClient", call, text); }

/// The wrapped keys, the entry of type "1" first because the engine uses the first one only. False when one cannot be
/// read: with a key fewer the file might be taken for a plain one.
bool ReadKeys(JsonFields& fields, std::vector<Common::DownloadEncFekList>& keys) {
    for (const Json::Value* element : fields.Elements(Wire::kEncFekList)) {
        JsonFields entry(*element, kInfoCall);
        Common::DownloadEncFekList key;
        key.efek = entry.Text(Wire::kEfek);
        key.encryptAlgorithm = entry.Text(Wire::kEncryptAlgorithm);
        key.keyType = entry.Text(Wire::kKeyType);
        key.iv = entry.Text(Wire::kIv);
        key.keyUid = entry.Text(Wire::kKeyUid);
        if (!entry.Sound()) return false;
        keys.push_back(std::move(key));
    }
    std::stable_partition(keys.begin(), keys.end(), [](const auto& key) { return key.keyType == L"1"; });
    return fields.Sound();
}

bool ReadAttributes(JsonFields& fields, std::vector<Common::DownloadAttributes>& attributes) {
    for (const Json::Value* element : fields.Elements(Wire::kAttributes)) {
        JsonFields entry(*element, kInfoCall);
        Common::DownloadAttributes attribute;
        attribute.name = entry.Text(Wire::kName);
        attribute.size = entry.Size(Wire::kSize);
        attributes.push_back(std::move(attribute));
    }
    return fields.Sound();
}

/// False for a list that the engine could not walk: it takes one key out of `synckeys` for each object, and an empty
/// list would end as a finished download of nothing.
bool ReadObjects(const Json::Value& element, Common::DownloadObjectInfoList& objects) {
    JsonFields entry(element, kInfoCall);
    objects.time = entry.Text(Wire::kTime);
    objects.objectIds = entry.Texts(Wire::kObjectIds);
    objects.length = entry.Size(Wire::kLength);
    objects.bucketId = entry.Text(Wire::kBucketId);
    objects.synckeys = entry.Texts(Wire::kSyncKeys);
    if (!ReadAttributes(entry, objects.attributes) || objects.objectIds.empty()) return false;
    if (objects.synckeys.size() != objects.objectIds.size()) return false;
    return std::none_of(objects.objectIds.begin(), objects.objectIds.end(), [](const auto& id) { return id.empty(); });
}

bool ReadContent(const Json::Value& body, Common::DownLoadAddressInfoModel& model) {
    JsonFields fields(body, kInfoCall);
    std::vector<Common::DownloadEncFekList> keys;
    std::vector<Common::DownloadObjectInfoList> lists;
    if (!ReadKeys(fields, keys)) return false;
    for (const Json::Value* element : fields.Elements(Wire::kObjectInfoList)) {
        Common::DownloadObjectInfoList objects;
        if (!ReadObjects(*element, objects)) return false;
        lists.push_back(std::move(objects));
    }
    const std::wstring url = fields.Text(Wire::kDownloadUrl);
    const bool plain = !url.empty() && !ResolveAddress(Narrow(url), CurrentLimits()->baseUrl).empty();
    if (!fields.Sound() || (keys.empty() ? !plain : lists.empty())) return false;
    model.SetFileName(fields.Name(Wire::kFileName));
    model.SetContentVersion(fields.Text(Wire::kContentVersion));
    model.SetRecordCursor(fields.Text(Wire::kRecordCursor));
    model.SetDownloadURL(url);
    model.SetEncFekList(std::move(keys));
    model.SetObjectInfoList(std::move(lists));
    return true;
}

bool AskForContent(const std::wstring& fileId, Common::DownLoadAddressInfoModel& model) {
    if (fileId.empty()) {
        Log(kInfoCall, "there is no file id to ask for");
        return false;
    }
    ControlRequest request;
    request.call = kInfoCall;
    request.route = FilePath(fileId, Wire::kDownloadSuffix);
    const ControlAnswer answer = CallCloud(request);
    if (!answer.ok) return false;
    Common::DownLoadAddressInfoModel read;
    read.SetFileId(fileId);
    if (!answer.body.isObject() || !ReadContent(answer.body, read)) {
        Log(kInfoCall, "the cloud's answer does not tell how the file is stored. fileid=" + Printable(fileId));
        return false;
    }
    model = std::move(read);
    NoteDownload(fileId, model.GetRecordCursor(), model.GetDownloadURL());
    return true;
}

bool AskForAddress(const Common::KelpAddressRequestModel& model, Common::DownloadKelpAddressInfo& info) {
    ControlRequest request;
    request.call = kAddressCall;
    request.method = "POST";
    request.route = Wire::kDownloadAddress;
    request.body = AddressRequestBody(model);
    const ControlAnswer answer = CallCloud(request);
    ObjectAddress address;
    if (!answer.ok || !ReadObjectAddress(answer.body, kAddressCall, address)) return false;
    NoteObjectAddress(model.recordCursor, address.url);
    info.SetUrl(address.url);
    info.SetHeaders(address.headers);
    return true;
}

}  // namespace

bool CloudDriveInterface::GetDownloadAddressInfo(const std::wstring& fileId, Common::DownLoadAddressInfoModel& model) {
    return Guarded(kInfoCall, false, [&] { return AskForContent(fileId, model); });
}

bool CloudDriveInterface::GetDownloadKelpAddress(const Common::KelpAddressRequestModel& request,
                                                 Common::DownloadKelpAddressInfo& info) {
    return Guarded(kAddressCall, false, [&] { return AskForAddress(request, info); });
}

}  // namespace Drive::Cloud
