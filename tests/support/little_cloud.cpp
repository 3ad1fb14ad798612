#include "tests/support/little_cloud.h"

#include <json/json.h>

#include <algorithm>

#include "interfaces/platform/clock.h"
#include "tests/support/cloud_answers.h"
#include "tests/support/journal.h"

namespace Drive::Testing::LittleCloud {

namespace {

using namespace Drive::Common;

ScriptedCloud& Script() { return ScriptedCloud::Get(); }

bool IsTold(const char* operation) { return Script().replies.count(operation) != 0; }

std::int64_t Stored(std::int64_t plain) { return plain / 16 * 16 + 16; }

// Plan: objects of sliceSize, then one for the attachments.
std::string Plan(const FileItem& file) {
    Json::Value plan;
    plan["uploadType"] = "client";
    plan["version"] = Json::Value::Int64(Script().planVersion);
    plan["bucketId"] = "bucket";
    plan["position"] = 0;
    plan["recordCursor"] = "cursor-" + Narrow(file.GetFileId());
    plan["uploadUrl"] = "";
    plan["resumeUrl"] = "";
    plan["sliceSize"] = Json::Value::Int64(Script().sliceSize);
    plan["items"] = Json::Value(Json::arrayValue);
    const auto add = [&](std::int64_t stored) {
        const std::string number = std::to_string(plan["items"].size());
        Json::Value item;
        item["objectId"] = Narrow(file.GetFileId()) + "-object-" + number;
        item["length"] = Json::Value::Int64(stored);
        item["synckey"] = "synckey-" + number;
        item["time"] = "time-" + number;
        item["status"] = false;
        plan["items"].append(item);
    };
    for (std::int64_t left = file.GetSize(); left > 0; left -= Script().sliceSize) {
        add(Stored(std::min(left, Script().sliceSize)));
    }
    std::int64_t attachments = 0;
    for (const int size : file.GetAttachmentSize()) attachments += Stored(size);
    if (attachments > 0) add(attachments);
    return Json::FastWriter().write(plan);
}

std::wstring NewId(const std::wstring& fileId) {
    if (fileId.rfind(L"Local", 0) != 0) return fileId;
    const std::lock_guard lock(Script().mutex);
    return L"cloud-" + std::to_wstring(++Script().created);
}

std::wstring NameOf(const FileItem& file) { return file.GetName().empty() ? file.GetLocalFileName() : file.GetName(); }

WMap FieldsOf(const FileItem& file, const std::wstring& id) {
    return {{L"id", id},
            {L"fileName", NameOf(file)},
            {L"category", L"other"},
            {L"mimeType", file.GetMimeType()},
            {L"parentFolder", file.GetLocalParentId()},
            {L"contentVersion", L"1"}};
}

/// Whatever becomes of the call: the space is asked for anew after it.
class SpaceChanges {
public:
    SpaceChanges() { Forget(); }
    ~SpaceChanges() { Forget(); }
    SpaceChanges(const SpaceChanges&) = delete;
    SpaceChanges& operator=(const SpaceChanges&) = delete;

private:
    static void Forget() {
        const std::lock_guard lock(Script().mutex);
        Script().space.Forget();
    }
};

/// The id of the file by its id or, for a local one, by parent and name; empty when there is none.
std::wstring Known(const FileItem& file) {
    if (Script().files.count(file.GetFileId()) != 0) return file.GetFileId();
    if (file.GetFileId().rfind(L"Local", 0) != 0) return {};
    for (const auto& [id, content] : Script().files) {
        const bool same = content.name == NameOf(file) && content.parent == file.GetLocalParentId();
        if (same && !content.name.empty()) return id;
    }
    return {};
}

WMap ProxyFields(const std::wstring& fileId, InterfaceName operation, bool last) {
    if (operation == InterfaceName::ResumeCreate || operation == InterfaceName::ResumeUpdate) {
        return {{L"resumeUrl", L"http://proxy/resume-" + fileId}, {L"sliceSize", std::to_wstring(Script().sliceSize)}};
    }
    if (operation == InterfaceName::ResumeSlice && !last) return {};
    return {{L"id", NewId(fileId)}};
}

CloudReply AddressOf(const KelpAddressRequestModel& asked, const WMap& headers) {
    CloudReply own;
    own.fields = {{L"url", L"http://store/" + asked.objectId},
                  {L"method", L"PUT"},
                  {L"bucketId", asked.bucketId.empty() ? L"bucket" : asked.bucketId}};
    own.headers = headers;
    return own;
}

/// False when the little cloud has no such file.
bool Find(const std::wstring& id, DownLoadAddressInfoModel& answer) {
    const auto found = Script().files.find(id);
    if (found == Script().files.end()) return false;
    const CloudContent& content = found->second;
    answer.SetFileName(content.name);
    answer.SetRecordCursor(L"cursor-" + id);
    if (!content.encrypted) {
        answer.SetDownloadURL(L"http://proxy/" + id);
        return true;
    }
    DownloadObjectInfoList list;
    list.time = L"time";
    list.objectIds = content.objects;
    list.length = static_cast<std::int64_t>(content.bytes.size());
    list.bucketId = L"bucket";
    for (std::size_t i = 0; i < content.objects.size(); ++i) list.synckeys.push_back(L"synckey-" + std::to_wstring(i));
    const std::size_t ivCharacters = Script().keyType == L"3" ? 64 : 32;
    answer.SetEncFekList({{L"efek", L"AES_128", Script().keyType, std::wstring(ivCharacters, L'1'), L"uid"}});
    answer.SetObjectInfoList({list});
    return true;
}

}  // namespace

std::string StartUpload(FileItem& file, std::wstring& errorCode) {
    const CloudReply reply = Ask("ObjectsUploadStart");
    errorCode = reply.errorCode;
    if (!reply.Accepts()) return {};
    return reply.text ? *reply.text : Plan(file);
}

bool GiveUploadAddress(const KelpAddressRequestModel& asked, GetKelpAddressModel& answer, WMap& result) {
    const CloudReply reply = Ask("GetUploadKelpAddress", AddressOf(asked, {{L"Content-MD5", Wide(asked.md5)}}));
    if (!Conclude(reply, result)) return false;
    if (result[L"url"].empty() || result[L"method"].empty()) {
        result[L"description"] = L"no address";
        return false;
    }
    answer.SetMethod(result[L"method"]);
    answer.SetObjectBucketId(result[L"bucketId"].empty() ? asked.bucketId : result[L"bucketId"]);
    answer.SetUrl(result[L"url"]);
    answer.SetKelpAddressHeaders(reply.headers);
    return true;
}

bool Complete(const char* operation, const FileItem& file, WMap& result) {
    const SpaceChanges changes;
    CloudReply own;
    if (!IsTold(operation)) own.fields = FieldsOf(file, NewId(file.GetFileId()));
    return Conclude(Ask(operation, own), result) && EnsureId(file.GetFileId(), result);
}

bool Inquire(const FileItem& file, WMap& result) {
    const std::wstring id = Known(file);
    CloudReply own{404, L"21004041", L"there is no such file"};
    if (!id.empty()) own = {200, L"", L"", FieldsOf(file, id)};
    return Conclude(Ask("inQuireCloudFile", own), result) && EnsureId(file.GetFileId(), result);
}

bool TakeByProxy(const std::wstring& fileId, InterfaceName operation, const std::string& raw, const std::string& text,
                 const WMap& headers, WMap& result) {
    if (operation == InterfaceName::ResumeSlice && raw.empty()) {
        return Conclude({404, L"", L"an empty slice was not sent"}, result);
    }
    const SpaceChanges changes;
    const std::size_t bytes = raw.empty() ? text.size() : raw.size();
    CloudReply own;
    if (!IsTold("FileproxyUpload")) own.fields = ProxyFields(fileId, operation, IsLastSlice(headers, bytes));
    return ConcludeProxy(operation, fileId, headers, bytes, Ask("FileproxyUpload", own), result);
}

bool TellContent(const std::wstring& fileId, DownLoadAddressInfoModel& answer) {
    DownLoadAddressInfoModel found;
    const bool known = Find(fileId, found);
    if (Script().contentInfo) found = *Script().contentInfo;
    CloudReply own;
    own.status = known || Script().contentInfo ? 200 : 404;
    if (!Ask("GetDownloadAddressInfo", own).Accepts()) return false;
    std::vector<DownloadEncFekList> keys = found.GetEncFekList();
    std::stable_partition(keys.begin(), keys.end(), [](const auto& key) { return key.keyType == L"1"; });
    const bool walkable = keys.empty() ? !found.GetDownloadURL().empty() : !found.GetObjectInfoList().empty();
    if (!walkable) return false;
    found.SetEncFekList(std::move(keys));
    found.SetFileId(fileId);
    answer = std::move(found);
    return true;
}

bool GiveDownloadAddress(const KelpAddressRequestModel& asked, DownloadKelpAddressInfo& answer) {
    const CloudReply reply = Ask("GetDownloadKelpAddress", AddressOf(asked, {{L"x-store", L"yes"}}));
    const auto url = reply.fields.find(L"url");
    if (!reply.Accepts() || url == reply.fields.end() || url->second.empty()) return false;
    answer.SetUrl(url->second);
    answer.SetHeaders(reply.headers);
    return true;
}

std::int64_t TellSpace() {
    const std::int64_t now = Platform::MonotonicMilliseconds();
    const std::lock_guard lock(Script().mutex);
    const auto told = Script().replies.find("GetUserSpace");
    return Script().space.Tell(now, [&](std::int64_t space) {
        ++Script().asked["GetUserSpace"];
        return told == Script().replies.end() || told->second.Accepts() ? space : -1;
    });
}

std::string TellPublicKey() {
    constexpr std::size_t kPublicKeyBytes = 91;
    if (!Ask("PublickKey").Accepts() || Base64Length(Script().publicKey) != kPublicKeyBytes) return {};
    Json::Value answer;
    answer["publicKey"] = Script().publicKey;
    answer["version"] = Script().publicKeyVersion;
    return Json::FastWriter().write(answer);
}

std::string TellKeys() {
    constexpr std::size_t kNonceAndTag = 12 + 16;
    constexpr std::size_t kKeyBuffer = 256;
    if (!Ask("KeyList").Accepts() || !Script().userKeys) return {};
    Json::Value answer;
    answer["keys"] = Json::Value(Json::arrayValue);
    for (const UserKey& key : *Script().userKeys) {
        const std::size_t length = Base64Length(key.encryptedKey);
        if (length < kNonceAndTag || length > kKeyBuffer + kNonceAndTag) continue;
        Json::Value entry;
        entry["keyType"] = key.type;
        entry["encryptedKey"] = key.encryptedKey;
        entry["keyUuid"] = key.uuid;
        answer["keys"].append(entry);
    }
    return Json::FastWriter().write(answer);
}

}  // namespace Drive::Testing::LittleCloud
