// The cloud behind a library that speaks the wire of interfaces/cloud/wire: a scripted server on loopback.
#include <json/json.h>

#include <map>
#include <mutex>
#include <set>
#include <utility>

#include "interfaces/cloud/drive_account.h"
#include "interfaces/cloud/wire/fields.h"
#include "interfaces/cloud/wire/routes.h"
#include "interfaces/logging/log_settings.h"
#include "interfaces/logging/type_convert.h"
#include "tests/contract/cloud/suite/cloud_behind.h"
#include "tests/support/http_server.h"

namespace Drive::Testing {
namespace {

namespace Wire = Cloud::Wire;

std::string Narrow(const std::wstring& text) { return TypeConvert::WStringToString(text); }
std::wstring Wide(const std::string& text) { return TypeConvert::StringToWString(text); }

bool Begins(const std::string& text, const std::string& beginning) { return text.rfind(beginning, 0) == 0; }
bool Ends(const std::string& text, const std::string& end) {
    return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

Json::Value List(const std::vector<std::wstring>& texts) {
    Json::Value list(Json::arrayValue);
    for (const std::wstring& text : texts) list.append(Narrow(text));
    return list;
}

Json::Value ObjectsAsSent(const Common::DownloadObjectInfoList& objects) {
    Json::Value body;
    body[Wire::kTime] = Narrow(objects.time);
    body[Wire::kObjectIds] = List(objects.objectIds);
    body[Wire::kLength] = Json::Int64{objects.length};
    body[Wire::kBucketId] = Narrow(objects.bucketId);
    body[Wire::kSyncKeys] = List(objects.synckeys);
    body[Wire::kAttributes] = Json::Value(Json::arrayValue);
    for (const auto& attribute : objects.attributes) {
        Json::Value entry;
        entry[Wire::kName] = Narrow(attribute.name);
        entry[Wire::kSize] = Json::Int64{attribute.size};
        body[Wire::kAttributes].append(entry);
    }
    return body;
}

Json::Value ContentAsSent(const Common::DownLoadAddressInfoModel& content) {
    Json::Value body;
    body[Wire::kFileName] = Narrow(content.GetFileName());
    body[Wire::kContentVersion] = Narrow(content.GetContentVersion());
    body[Wire::kRecordCursor] = Narrow(content.GetRecordCursor());
    body[Wire::kDownloadUrl] = Narrow(content.GetDownloadURL());
    body[Wire::kObjectInfoList] = Json::Value(Json::arrayValue);
    for (const auto& objects : content.GetObjectInfoList()) body[Wire::kObjectInfoList].append(ObjectsAsSent(objects));
    body[Wire::kEncFekList] = Json::Value(Json::arrayValue);
    for (const auto& key : content.GetEncFekList()) {
        Json::Value entry;
        entry[Wire::kEfek] = Narrow(key.efek);
        entry[Wire::kEncryptAlgorithm] = Narrow(key.encryptAlgorithm);
        entry[Wire::kKeyType] = Narrow(key.keyType);
        entry[Wire::kIv] = Narrow(key.iv);
        entry[Wire::kKeyUid] = Narrow(key.keyUid);
        body[Wire::kEncFekList].append(entry);
    }
    return body;
}

Json::Value AddressAsSent(const Common::GetKelpAddressModel& address) {
    Json::Value body;
    body[Wire::kUrl] = Narrow(address.GetUrl());
    body[Wire::kMethod] = Narrow(address.GetMethod());
    body[Wire::kBucketId] = Narrow(address.GetObjectBucketId());
    body[Wire::kHeaders] = Json::Value(Json::objectValue);
    for (const auto& [name, value] : address.GetKelpAddressHeaders())
        body[Wire::kHeaders][Narrow(name)] = Narrow(value);
    return body;
}

Reply Sent(const CloudAnswer& answer) {
    Json::Value body(Json::objectValue);
    for (const auto& [key, value] : answer.fields) {
        if (key == L"sliceSize") {
            body[Wire::kSliceSize] = Json::Int64{std::stoll(value)};
        } else {
            body[Narrow(key)] = Narrow(value);
        }
    }
    if (!answer.errorCode.empty()) body[Wire::kErrorCode] = Narrow(answer.errorCode);
    if (!answer.description.empty()) body[Wire::kDescription] = Narrow(answer.description);
    Reply reply = Reply::Json(Json::FastWriter().write(body), answer.status);
    reply.silent = answer.status == 0;
    return reply;
}

/// The operation that asks so; empty for one that the suite does not know.
std::string OperationOf(const SeenRequest& request) {
    static const auto& exact =
        *new std::map<std::string, std::string>{{Wire::kUploadStart, "ObjectsUploadStart"},
                                                {Wire::kUploadAddress, "GetUploadKelpAddress"},
                                                {Wire::kUploadObject, "ObjectsUploadComplete"},
                                                {Wire::kUploadCreate, "FilesCreateComplete"},
                                                {Wire::kUploadUpdate, "FilesUpdateComplete"},
                                                {Wire::kFindFile, "inQuireCloudFile"},
                                                {Wire::kDownloadAddress, "GetDownloadKelpAddress"},
                                                {Wire::kSpace, "GetUserSpace"},
                                                {Wire::kPublicKey, "PublickKey"},
                                                {Wire::kKeyList, "KeyList"}};
    const std::string path = request.target.substr(0, request.target.find('?'));
    if (const auto found = exact.find(path); found != exact.end()) return found->second;
    if (Begins(path, Wire::kFilePrefix)) {
        return Ends(path, Wire::kDownloadSuffix) ? "GetDownloadAddressInfo" : "inQuireCloudFile";
    }
    if (Begins(path, Wire::kProxyPrefix)) return "FileproxyUpload";
    if (Begins(path, "/content/")) return "DownloadCloudFileRequest";
    if (Begins(path, "/object/")) return "DownloadDriveFileRequest";
    return Begins(path, "/put/") ? "UploadRequest" : "";
}

HeardRequest Heard(const SeenRequest& request) {
    HeardRequest heard;
    heard.verb = Wide(request.method);
    heard.body = request.body;
    for (const auto& [name, value] : request.headers) {
        if (name != "Host" && name != "Content-Length") heard.headers[Wide(name)] = Wide(value);
    }
    return heard;
}

Reply ServedObject(const CloudObjectPlan& object) {
    Reply reply;
    reply.status = object.status;
    reply.silent = object.status == 0;
    reply.body = object.stored;
    reply.cutAfter = object.cutAfter;
    if (!object.toldDigest.empty()) reply.headers = {{Wire::kObjectDigestHeader, object.toldDigest}};
    return reply;
}

Reply ServedRange(const CloudContentPlan& content, std::size_t asked) {
    const std::size_t first = content.rangeBegin.value_or(asked);
    const std::size_t end = content.rangeEnd.value_or(content.bytes.size());
    Reply reply;
    if (first >= end) {
        reply.status = 416;
        return reply;
    }
    reply.status = 206;
    reply.body = content.bytes.substr(first, end - first);
    reply.headers = {{"Content-Range", "bytes " + std::to_string(first) + "-" + std::to_string(end - 1) + "/" +
                                           std::to_string(content.bytes.size())}};
    return reply;
}

Reply ServedContent(const CloudContentPlan& content, const std::string& range) {
    Reply reply;
    if (content.status) {
        reply.status = *content.status;
        reply.silent = reply.status == 0;
        reply.body = "nobody's";
        return reply;
    }
    if (content.takesRanges && Begins(range, "bytes=")) {
        reply = ServedRange(content, std::stoull(range.substr(6)));
    } else {
        reply.body = content.bytes;
    }
    reply.cutAfter = content.cutAfter;
    return reply;
}

class CloudOverHttp : public CloudBehind {
public:
    CloudOverHttp() {
        Logging::SetTextSink([](const Logging::TextRecord&) {});
        Cloud::CloudSettings settings;
        settings.baseUrl = server.WideUrl();
        settings.connectSeconds = 20;
        settings.idleSeconds = 40;
        settings.controlSeconds = 80;
        settings.repeats = 0;
        Cloud::DriveAccount::Configure(settings);
        Cloud::Login login;
        login.accessToken = L"live-token";
        Cloud::DriveAccount::UseLogin(login);
        HasNothingToldYet();
        server.Answer([this](const SeenRequest& request) { return Serve(request); });
    }
    ~CloudOverHttp() override { Logging::SetTextSink({}); }

    void Answers(const std::string& operation, const CloudAnswer& answer) override { Tell(operation, Sent(answer)); }
    void AnswersPlan(const std::string& plan) override { Tell("ObjectsUploadStart", Reply::Json(plan)); }
    void AnswersAddress(const Common::GetKelpAddressModel& address) override {
        for (const char* operation : {"GetUploadKelpAddress", "GetDownloadKelpAddress"}) {
            TellJson(operation, AddressAsSent(address));
        }
    }
    void AnswersContent(const Common::DownLoadAddressInfoModel& content) override {
        TellJson("GetDownloadAddressInfo", ContentAsSent(content));
    }
    void AnswersPublicKey(const std::string& key, const std::string& version) override {
        Json::Value body;
        body[Wire::kPublicKeyField] = key;
        body[Wire::kVersion] = version;
        TellJson("PublickKey", body);
    }
    void AnswersKeys(const std::vector<CloudKey>& keys) override {
        Json::Value body;
        body[Wire::kKeys] = Json::Value(Json::arrayValue);
        for (const CloudKey& key : keys) {
            Json::Value entry;
            entry[Wire::kKeyType] = key.type;
            entry[Wire::kEncryptedKey] = key.encryptedKey;
            entry[Wire::kKeyUuid] = key.uuid;
            body[Wire::kKeys].append(entry);
        }
        TellJson("KeyList", body);
    }
    void HasSpace(std::int64_t bytes) override {
        Json::Value body;
        body[Wire::kRemaining] = Json::Int64{bytes};
        TellJson("GetUserSpace", body);
    }

    void HasOneFile(const std::wstring& fileId, const std::wstring& parentId, const std::wstring& name) override {
        const std::lock_guard lock(mutex);
        told.erase("inQuireCloudFile");
        fileRoutes = {Wire::kFilePrefix + Narrow(fileId), std::string(Wire::kFindFile) + "?" + Wire::kParentFolder +
                                                              "=" + Narrow(parentId) + "&" + Wire::kFileName + "=" +
                                                              Narrow(name)};
        fileAtRoutes = Sent({200, L"", L"", {{L"id", fileId}, {L"fileName", name}}});
    }

    std::wstring Content(const CloudContentPlan& content) override { return Add("/content/", content, contents); }
    std::wstring Object(const CloudObjectPlan& object) override { return Add("/object/", object, objects); }
    std::wstring Store(const StoreAnswer& answer) override { return Add("/put/", answer, stores); }
    std::wstring Proxy() override { return server.WideUrl(std::string(Wire::kProxyPrefix) + "session"); }
    std::wstring SomeAddress() override { return server.WideUrl("/somewhere?expires=1&signature=s"); }

    int Asked(const std::string& operation) override {
        int count = 0;
        for (const SeenRequest& request : server.Requests()) count += OperationOf(request) == operation;
        return count;
    }
    HeardRequest LastHeard() override { return Heard(server.Last()); }
    std::string EverythingHeard() override {
        std::string heard;
        for (const SeenRequest& request : server.Requests()) heard += request.head + request.body;
        return heard;
    }

private:
    void HasNothingToldYet() {
        AnswersPlan(R"({"uploadType":"client","version":1,"position":0,"sliceSize":4194304,"items":[]})");
        Common::GetKelpAddressModel address;
        address.SetUrl(SomeAddress());
        address.SetMethod(L"PUT");
        AnswersAddress(address);
        Common::DownLoadAddressInfoModel content;
        content.SetDownloadURL(SomeAddress());
        AnswersContent(content);
        HasSpace(1000);
        for (const char* operation : {"ObjectsUploadComplete", "FilesUpdateComplete", "inQuireCloudFile"}) {
            Answers(operation, {});
        }
    }

    void Tell(const std::string& operation, const Reply& reply) {
        const std::lock_guard lock(mutex);
        told[operation] = reply;
    }
    void TellJson(const std::string& operation, const Json::Value& body) {
        Tell(operation, Reply::Json(Json::FastWriter().write(body)));
    }

    template <class Plan>
    std::wstring Add(const std::string& folder, const Plan& plan, std::map<std::string, Plan>& plans) {
        const std::lock_guard lock(mutex);
        const std::string path = folder + std::to_string(plans.size() + 1);
        plans[path] = plan;
        return server.WideUrl(path);
    }

    Reply Serve(const SeenRequest& request) {
        const std::lock_guard lock(mutex);
        if (const auto found = contents.find(request.target); found != contents.end()) {
            return ServedContent(found->second, request.Header("Range"));
        }
        if (const auto found = objects.find(request.target); found != objects.end()) {
            return ServedObject(found->second);
        }
        if (const auto found = stores.find(request.target); found != stores.end()) {
            const StoreAnswer& answer = found->second;
            CloudObjectPlan plain{answer.text, answer.toldDigest, answer.status, {}};
            return ServedObject(plain);
        }
        if (fileRoutes.count(request.target) != 0) return fileAtRoutes;
        const std::string operation = OperationOf(request);
        if (const auto found = told.find(operation); found != told.end()) return found->second;
        if (operation == "FileproxyUpload" && request.target.find(Wire::kProxyResume) != std::string::npos) {
            return Sent({200, L"", L"", {{L"resumeUrl", Proxy()}, {L"sliceSize", L"4194304"}}});
        }
        if (operation == "FileproxyUpload" || operation == "FilesCreateComplete") {
            return Sent({200, L"", L"", {{L"id", L"new-" + std::to_wstring(++created)}}});
        }
        return Reply::Json("{}", 404);
    }

    std::mutex mutex;  // guards what follows
    std::map<std::string, Reply> told;
    std::map<std::string, CloudContentPlan> contents;
    std::map<std::string, CloudObjectPlan> objects;
    std::map<std::string, StoreAnswer> stores;
    std::set<std::string> fileRoutes;  ///< of the one file
    Reply fileAtRoutes;
    int created = 0;

    HttpServer server;  // last, so that its threads end first
};

}  // namespace

std::unique_ptr<CloudBehind> CloudBehind::Begin() { return std::make_unique<CloudOverHttp>(); }

}  // namespace Drive::Testing
