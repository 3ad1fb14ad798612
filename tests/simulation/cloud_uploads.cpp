#include <json/json.h>

#include <algorithm>
#include <cstdlib>

#include "interfaces/common/drive_functions.h"
#include "interfaces/common/encrypt_helper.h"
#include "interfaces/common/globals.h"
#include "tests/simulation/cloud.h"
#include "tests/support/journal.h"
#include "tests/support/watching.h"
#include "tests/support/world.h"

namespace Drive::Simulation {

using Common::EncryptHelper;
using Common::FileItem;
using Testing::Narrow;
using Testing::ScriptedCloud;
using Testing::Unwatched;
using Testing::Wide;

namespace {

std::int64_t Stored(std::int64_t plain) { return plain / 16 * 16 + 16; }

std::string Text(const std::vector<unsigned char>& bytes) { return {bytes.begin(), bytes.end()}; }

Common::Bytes Key(const std::string& hex) {
    Common::Bytes bytes(std::max<std::size_t>(16, hex.size() / 2 + 1));
    HexstrToByte(hex, bytes.data(), hex.size());
    bytes.resize(16);
    return bytes;
}

}  // namespace

std::string PlaceOf(const FileItem& file) { return Narrow(file.GetLocalParentFolder() + file.GetLocalFileName()); }

bool Cloud::Confirmed(const std::wstring& objectId) const { return memory.Has("confirmed/" + Narrow(objectId)); }

void Cloud::InstallUploads() {
    ScriptedCloud& cloud = ScriptedCloud::Get();
    cloud.objectsUploadStart.Always(
        [this](FileItem& file, const std::wstring& sha256, const std::wstring&, std::wstring& errorCode) {
            Call();
            return Start(file, sha256, errorCode);
        });
    cloud.getUploadKelpAddress.Always([this](const FileItem&, const Common::KelpAddressRequestModel& request,
                                             Common::GetKelpAddressModel& model, WMap& result) {
        Call();
        if (Fails(weather.address)) {
            result[L"errorCode"] = dice.Pick<std::wstring>({L"", L"21000400", L"21000777"});
            result[L"statuscode"] = dice.Pick<std::wstring>({L"403", L"500", L"503"});
            return false;
        }
        model.SetMethod(L"PUT");
        model.SetObjectBucketId(L"bucket");
        model.SetUrl(L"http://store/" + request.objectId);
        model.SetKelpAddressHeaders({{L"Content-MD5", Wide(request.md5)}});
        return request.bucketId.empty() || request.bucketId == L"bucket";
    });
    cloud.uploadRequest.Always([this](const std::wstring& url, WMap headers, const std::wstring&,
                                      const std::vector<unsigned char>& body, WMap&,
                                      std::string&) { return Put(url, headers, body); });
    cloud.objectsUploadComplete.Always([this](const FileItem&, const Common::FragmentInfo& fragment,
                                              const Common::GetKelpAddressModel&, const std::string&,
                                              const std::wstring&) { return Confirm(fragment); });
}

std::string Cloud::Start(const FileItem& file, const std::wstring& sha256, std::wstring& errorCode) {
    if (Fails(weather.start)) {
        if (down) return {};
        switch (dice.Below(8)) {
            case 0:
                errorCode = L"21084031";
                return std::string();
            case 1:
                return "{";
            case 2:
                return "[]";
            default:
                errorCode = L"21000401";
                return std::string();
        }
    }
    const std::string sum = Narrow(sha256);
    return ByProxy(file) && !memory.Has("content/" + sum) ? ProxyPlan(file, sum) : PlanFor(file, sum);
}

// A plan is bound to the content and to the file's key: other bytes get another plan, with a version of their own, and
// so do the same bytes under another key. A file that is edited between its keyed digest and its hash is sent under a
// key that a later attempt does not form again; objects of two keys must never come together in one file.
std::string Cloud::PlanFor(const FileItem& file, const std::string& sha256) {
    const std::string id = Narrow(file.GetFileId());
    const std::string bound = sha256 + "/" + Testing::Sha256(file.GetFileHMAC());
    if (memory.Get("bound/" + id) != bound) {
        memory.Set("version", std::to_string(std::atoll(memory.Get("version").c_str()) + 1));
        memory.Set("bound/" + id, bound);
        memory.Set("version/" + id, memory.Get("version"));
    }
    const std::string version = memory.Get("version/" + id);
    Json::Value answer;
    answer["uploadType"] = memory.Has("content/" + sha256) ? "exist" : "client";
    answer["version"] = Json::Value::Int64(std::atoll(version.c_str()));
    answer["bucketId"] = "bucket";
    answer["position"] = 0;
    answer["recordCursor"] = "cursor-" + version;
    answer["sliceSize"] = Json::Value::Int64(plan.sliceSize);
    answer["items"] = Json::Value(Json::arrayValue);
    for (std::int64_t left = file.GetSize(); left > 0; left -= plan.sliceSize) {
        Json::Value item;
        item["objectId"] = "object-" + version + "-" + std::to_string(answer["items"].size());
        item["length"] = Json::Value::Int64(Stored(std::min(left, plan.sliceSize)));
        item["synckey"] = "synckey";
        item["time"] = "time";
        item["status"] = false;
        answer["items"].append(item);
    }
    return Json::FastWriter().write(answer);
}

bool Cloud::Put(const std::wstring& url, const WMap& headers, const std::vector<unsigned char>& body) {
    Call();
    const std::string object = Narrow(url.substr(url.rfind(L'/') + 1));
    const bool fails = Fails(weather.put);
    if (fails && (down || dice.OneOf(2))) return false;
    Unwatched past;
    const auto digest = headers.find(L"Content-MD5");
    if (digest == headers.end() || Narrow(digest->second) != EncryptHelper::MD5_Encode(body)) return false;
    memory.Set("object/" + object, Text(body));
    return !fails;
}

bool Cloud::Confirm(const Common::FragmentInfo& fragment) {
    Call();
    if (Fails(weather.put)) return false;
    const std::string object = Narrow(fragment.objectId);
    if (static_cast<std::int64_t>(memory.Get("object/" + object).size()) != fragment.length) return false;
    memory.Set("confirmed/" + object, "yes");
    return true;
}

void Cloud::InstallFinish() {
    ScriptedCloud& cloud = ScriptedCloud::Get();
    const auto finish = [this](const FileItem& file, const std::wstring&, Common::CreateUpdateRequestModel& model,
                               WMap& result) {
        Call();
        return Finish(file, model, result);
    };
    cloud.filesCreateComplete.Always(finish);
    cloud.filesUpdateComplete.Always(finish);
    cloud.inQuireCloudFile.Always([this](const FileItem& file, WMap& result) {
        Call();
        const std::string id = memory.Get("named/" + PlaceOf(file));
        if (Fails(weather.finish) || id.empty()) return false;
        Answer(file, Wide(id), result);
        return true;
    });
}

bool Cloud::FailFinish(WMap& result) {
    result[L"errorCode"] = dice.Pick<std::wstring>({L"", L"", L"21000401", L"21004932", L"21000999"});
    result[L"description"] = L"refused";
    return false;
}

bool Cloud::Finish(const FileItem& file, Common::CreateUpdateRequestModel& model, WMap& result) {
    const bool fails = Fails(weather.finish);
    if (down) return false;
    if (fails && !dice.OneOf(3)) return FailFinish(result);
    const std::string sha256 = Narrow(file.GetHash());
    const std::string place = PlaceOf(file);
    const std::string known = memory.Get("named/" + place);
    std::string id = Narrow(file.GetFileId());
    if (model.GetIsCreateNew()) {
        if (!known.empty() && memory.Get("sum/" + known) == sha256) {
            result[L"errorCode"] = L"21015002";
            return false;
        }
        id = known.empty() ? "Cloud-" + place : known;
    }
    std::string bytes;
    if (!Gather(model, sha256, bytes)) {
        result[L"description"] = L"objects are missing";
        return false;
    }
    memory.Set("named/" + place, id);
    memory.Set("sum/" + id, Testing::Sha256(bytes));
    // Now and then the cloud has taken the file and its answer is lost.
    if (fails) return false;
    Answer(file, Wide(id), result);
    return true;
}

// The plain bytes of the file, decrypted with the key that the client has wrapped for its user.
bool Cloud::Gather(const Common::CreateUpdateRequestModel& model, const std::string& sha256, std::string& bytes) const {
    if (memory.Has("content/" + sha256)) {
        bytes = memory.Get("content/" + sha256);
        return true;
    }
    if (model.GetEncFekList().empty()) return false;
    Unwatched past;
    const Common::EncFekList first = model.GetEncFekList().front();
    const Common::Bytes userKey(g_SyncUserKey, g_SyncUserKey + 16);
    const Common::Bytes key = Key(EncryptHelper::GetFek(Narrow(first.efek), userKey));
    const Common::Bytes iv = Key(Narrow(first.iv));
    for (const Common::ObjectInfoList& list : model.GetObjectInfoList()) {
        for (const std::wstring& objectId : list.objectIds) {
            const std::string stored = memory.Get("object/" + Narrow(objectId));
            Common::Bytes plain;
            if (!Confirmed(objectId)) return false;
            if (!EncryptHelper::AES_128_CBC_Decrypt(key, iv, Common::Bytes(stored.begin(), stored.end()), plain)) {
                plain = {'?'};
            }
            bytes += Text(plain);
        }
    }
    return !bytes.empty();
}

void Cloud::Answer(const FileItem& file, const std::wstring& id, WMap& result) const {
    result[L"id"] = id;
    result[L"fileName"] = file.GetLocalFileName();
    result[L"mimeType"] = file.GetMimeType();
    result[L"parentFolder"] = file.GetLocalParentId();
    result[L"contentVersion"] = L"1";
    result[L"errorCode"] = L"";
    result[L"statuscode"] = L"200";
}

}  // namespace Drive::Simulation
