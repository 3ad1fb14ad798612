#include "tests/contract/cloud/answer_table.h"

#include <algorithm>

#include "interfaces/cloud/cloud_drive_interface.h"
#include "interfaces/cloud/file_trans_request.h"
#include "interfaces/common/encrypt_helper.h"
#include "tests/contract/cloud/cloud_test.h"

namespace Drive::Testing {

namespace {

using Cloud::CloudDriveInterface;
using Cloud::CloudFile;
using Cloud::CloudSettings;
using Cloud::DriveAccount;
using Common::EncryptHelper;
using HttpInterface::InterfaceName;

const std::string kEntry =
    R"({"attachmentSize":[1],"category":"image","contentVersion":"1","createdTime":1,"editedTime":2,"fileName":"n",)"
    R"("id":"f1","isDeleted":false,"isFolder":false,"md5":"m","mimeType":"image/jpeg","parentFolder":"p","sha256":"s",)"
    R"("size":5,"thumbnailLink":"http://127.0.0.1/t"})";
const std::string kLogin =
    R"({"accessToken":"t","refreshToken":"r","expiresIn":60,"userId":"u","rootFileId":"root1","serverVersion":"1"})";
const std::string kResume = R"({"resumeUrl":"http://127.0.0.1/p","sliceSize":5242880,"position":0})";

std::string PublicKeyText() {
    const std::string bytes = Content(91);
    return EncryptHelper::Base64Encode(reinterpret_cast<const unsigned char*>(bytes.data()), 91, true);
}

/// As bytes; what is no UTF-8 stays visible.
std::string Plain(const std::wstring& text) {
    std::string bytes;
    for (const wchar_t letter : text) {
        bytes += letter > 0 && letter < 0x80 ? std::string(1, static_cast<char>(letter)) : std::to_string(letter) + ";";
    }
    return bytes;
}

bool IsSafeId(const std::wstring& id) {
    return !id.empty() && id.rfind(L"Local", 0) != 0 && id.find_first_of(L"'\"\\\r\n") == std::wstring::npos &&
           id.find(L'\0') == std::wstring::npos;
}

bool IsSafeUrl(const std::wstring& url) {
    return (url.rfind(L"http://", 0) == 0 || url.rfind(L"https://", 0) == 0 || url.rfind(L"/", 0) == 0) &&
           url.find_first_of(L" \r\n\\") == std::wstring::npos;
}

bool AreSafe(const WMap& headers) {
    return std::all_of(headers.begin(), headers.end(), [](const auto& header) {
        return !header.first.empty() && header.first.find_first_of(L" :\r\n") == std::wstring::npos &&
               header.second.find_first_of(std::wstring(L"\r\n\0", 3)) == std::wstring::npos;
    });
}

bool IsComplete(const WMap& result) {
    return result.count(L"errorCode") == 1 && result.count(L"statuscode") == 1 && result.count(L"description") == 1;
}

std::string Joined(const WMap& map) {
    std::string text;
    for (const auto& [name, value] : map) text += Plain(name) + "=" + Plain(value) + "\n";
    return text;
}

Taken TakenFile(const CloudFile& file) {
    EXPECT_TRUE(IsSafeId(file.id));
    EXPECT_TRUE(file.parentFolder.empty() || IsSafeId(file.parentFolder));
    EXPECT_GE(file.size, 0);
    EXPECT_GE(file.editedTime, 0);
    std::string attachments;
    for (const int size : file.attachmentSize) {
        EXPECT_GE(size, 0);
        attachments += std::to_string(size) + ",";
    }
    return {{{"id", Plain(file.id)},
             {"fileName", Plain(file.fileName)},
             {"parentFolder", Plain(file.parentFolder)},
             {"isFolder", std::to_string(file.isFolder)},
             {"isDeleted", std::to_string(file.isDeleted)},
             {"size", std::to_string(file.size)},
             {"sha256", Plain(file.sha256)},
             {"mimeType", Plain(file.mimeType)},
             {"category", Plain(file.category)},
             {"contentVersion", Plain(file.contentVersion)},
             {"thumbnailLink", Plain(file.thumbnailLink)},
             {"attachmentSize", attachments},
             {"editedTime", std::to_string(file.editedTime)}}};
}

Taken TakenPage(bool ok, const std::vector<CloudFile>& files, const std::wstring& cursor) {
    if (!ok) {
        EXPECT_TRUE(files.empty());
        return std::nullopt;
    }
    std::map<std::string, std::string> taken{{"changeCursor", Plain(cursor)}, {"items", std::to_string(files.size())}};
    for (const auto& file : files) {
        const Taken fields = TakenFile(file);
        for (const auto& [name, value] : *fields) taken["items." + name] = value;
    }
    return taken;
}

/// A result map that tells of a whole file, or of none.
Taken TakenResult(bool done, const WMap& result) {
    EXPECT_TRUE(IsComplete(result));
    EXPECT_EQ(done, Get(result, L"statuscode") == L"200");
    if (!done) {
        EXPECT_EQ(0u, result.count(L"id"));
        return std::nullopt;
    }
    EXPECT_TRUE(IsSafeId(Get(result, L"id")));
    std::map<std::string, std::string> taken;
    for (const auto& [name, value] : result) taken[Plain(name)] = Plain(value);
    return taken;
}

Taken Done(bool done) { return done ? Taken(std::in_place) : std::nullopt; }

AnswerCase EntryCall(const char* operation, std::function<bool(CloudFile&)> call, bool flooded = false) {
    return {operation, operation, kEntry,
            [call](const CloudSettings&) -> Taken {
                CloudFile file;
                return call(file) ? TakenFile(file) : std::nullopt;
            },
            flooded};
}

Common::FileItem NewFile() {
    Common::FileItem file;
    file.SetFileId(L"Local1");
    return file;
}

AnswerCase Completion(const char* operation, bool create) {
    return {operation, operation, kEntry,
            [create](const CloudSettings&) {
                const Common::FileItem file = NewFile();
                Common::CreateUpdateRequestModel model(file);
                WMap result;
                const bool done = create ? CloudDriveInterface::FilesCreateComplete(file, L"", model, result)
                                         : CloudDriveInterface::FilesUpdateComplete(file, L"", model, result);
                // A 200 without an id is a failure whose status is another one; every other failure of one keeps it.
                if (!done) result[L"statuscode"] = L"(failure)";
                if (!done) result.erase(L"id");
                return TakenResult(done, result);
            },
            create};
}

Taken Proxy(const CloudSettings& settings, InterfaceName operation, const wchar_t* range, WMap& result) {
    return Done(CloudDriveInterface::FileproxyUpload(settings.baseUrl + L"/p", L"Local1", operation, "x", "",
                                                     {{L"Content-Range", range}}, result));
}

AnswerCase ProxyContent(const char* name, const char* operation, InterfaceName interface, bool flooded) {
    return {name, operation, kEntry,
            [interface](const CloudSettings& settings) {
                WMap result;
                const bool done = Proxy(settings, interface, L"bytes 0-0/1", result).has_value();
                if (!done) {
                    EXPECT_NE(L"200", Get(result, L"statuscode")) << "the engine would take it for the end";
                    result.erase(L"id");
                }
                return TakenResult(done, result);
            },
            flooded};
}

AnswerCase ProxyOpening(const char* name, const char* operation, InterfaceName interface, bool flooded) {
    return {
        name, operation, kResume,
        [interface](const CloudSettings& settings) -> Taken {
            WMap result;
            const bool done = Proxy(settings, interface, L"", result).has_value();
            EXPECT_TRUE(IsComplete(result));
            if (!done) {
                EXPECT_EQ(0u, result.count(L"resumeUrl"));
                return std::nullopt;
            }
            EXPECT_TRUE(IsSafeUrl(Get(result, L"resumeUrl")));
            EXPECT_GT(std::stol(Get(result, L"sliceSize")), 0);
            EXPECT_LE(std::stol(Get(result, L"sliceSize")), 1L << 30);
            return {{{"resumeUrl", Plain(Get(result, L"resumeUrl"))}, {"sliceSize", Plain(Get(result, L"sliceSize"))}}};
        },
        flooded};
}

/// A slice in the middle: whatever the answer holds, it never looks like the end unless it names a file.
AnswerCase ProxySlice() {
    return {"proxySliceInTheMiddle",
            "proxySlice",
            R"({"position":5})",
            [](const CloudSettings& settings) -> Taken {
                WMap result;
                const bool done = Proxy(settings, InterfaceName::ResumeSlice, L"bytes 0-0/9", result).has_value();
                EXPECT_TRUE(IsComplete(result));
                EXPECT_NE(L"200", Get(result, L"statuscode"));
                return Done(done);
            },
            false,
            true};
}

Taken AskForDownload(const CloudSettings&) {
    Common::DownLoadAddressInfoModel model;
    if (!CloudDriveInterface::GetDownloadAddressInfo(L"f1", model)) return std::nullopt;
    std::map<std::string, std::string> taken{{"fileName", Plain(model.GetFileName())},
                                             {"contentVersion", Plain(model.GetContentVersion())},
                                             {"recordCursor", Plain(model.GetRecordCursor())},
                                             {"downloadUrl", Plain(model.GetDownloadURL())}};
    if (model.GetEncFekList().empty()) {
        EXPECT_TRUE(IsSafeUrl(model.GetDownloadURL()));
        return taken;
    }
    for (const auto& key : model.GetEncFekList()) {
        taken["encFekList.efek"] += Plain(key.efek);
        taken["encFekList.encryptAlgorithm"] += Plain(key.encryptAlgorithm);
        taken["encFekList.keyType"] += Plain(key.keyType);
        taken["encFekList.iv"] += Plain(key.iv);
        taken["encFekList.keyUid"] += Plain(key.keyUid);
    }
    EXPECT_FALSE(model.GetObjectInfoList().empty());
    for (const auto& objects : model.GetObjectInfoList()) {
        EXPECT_FALSE(objects.objectIds.empty());
        EXPECT_EQ(objects.objectIds.size(), objects.synckeys.size());
        EXPECT_GE(objects.length, 0);
        for (const auto& id : objects.objectIds) EXPECT_NE(L"", id);
        for (const auto& id : objects.objectIds) taken["objectInfoList.objectIds"] += Plain(id) + ",";
        for (const auto& key : objects.synckeys) taken["objectInfoList.synckeys"] += Plain(key) + ",";
        taken["objectInfoList.length"] += std::to_string(objects.length);
        taken["objectInfoList.bucketId"] += Plain(objects.bucketId);
        taken["objectInfoList.time"] += Plain(objects.time);
    }
    return taken;
}

Taken AskForPlan(const CloudSettings&) {
    Common::FileItem file;
    std::wstring code;
    const std::string text = CloudDriveInterface::ObjectsUploadStart(file, L"", L"", code);
    if (text.empty()) return std::nullopt;
    // The engine reads the text itself; what the library hands on has to be one that it can follow.
    const Json::Value plan = ParseJson(text);
    const std::string type = plan["uploadType"].asString();
    EXPECT_TRUE(type == "client" || type == "exist" || type == "server");
    EXPECT_TRUE(type != "client" || (plan["sliceSize"].asInt64() > 0 && plan["sliceSize"].asInt64() <= 1L << 30));
    std::map<std::string, std::string> taken;
    for (const auto& name : plan.getMemberNames()) taken[name] = ToJson(plan[name]);
    return taken;
}

Taken AskForUploadAddress(const CloudSettings&) {
    Common::GetKelpAddressModel model;
    WMap result;
    const bool done = CloudDriveInterface::GetUploadKelpAddress({}, {}, model, result);
    EXPECT_TRUE(IsComplete(result));
    if (!done) return std::nullopt;
    EXPECT_TRUE(IsSafeUrl(model.GetUrl()));
    EXPECT_NE(L"", model.GetMethod());
    EXPECT_TRUE(AreSafe(model.GetKelpAddressHeaders()));
    return {{{"url", Plain(model.GetUrl())},
             {"method", Plain(model.GetMethod())},
             {"headers", Joined(model.GetKelpAddressHeaders())},
             {"bucketId", Plain(model.GetObjectBucketId())}}};
}

Taken AskForDownloadAddress(const CloudSettings&) {
    Common::DownloadKelpAddressInfo info;
    if (!CloudDriveInterface::GetDownloadKelpAddress({}, info)) return std::nullopt;
    EXPECT_TRUE(IsSafeUrl(info.GetUrl()));
    EXPECT_TRUE(AreSafe(info.GetHeaders()));
    return {{{"url", Plain(info.GetUrl())}, {"headers", Joined(info.GetHeaders())}}};
}

Taken AskForPublicKey(const CloudSettings&) {
    const std::string text = CloudDriveInterface::PublickKey();
    if (text.empty()) return std::nullopt;
    const Json::Value key = ParseJson(text);
    EXPECT_EQ(91u, EncryptHelper::Base64Decode(key["publicKey"].asString(), false).size());
    EXPECT_TRUE(key["version"].isString());
    return {{{"publicKey", key["publicKey"].asString()}, {"version", key["version"].asString()}}};
}

Taken AskForKeys(const CloudSettings&) {
    const std::string text = CloudDriveInterface::KeyList(1, L"", L"");
    if (text.empty() || ParseJson(text)["keys"].empty()) return std::nullopt;
    const Json::Value list = ParseJson(text);
    for (const auto& entry : list["keys"]) {
        EXPECT_LE(EncryptHelper::Base64Decode(entry["encryptedKey"].asString(), false).size(), 256u + 28u);
        EXPECT_TRUE(entry["keyUuid"].isString());
    }
    const Json::Value& first = list["keys"][0];
    return {{{"keys.keyType", ToJson(first["keyType"])},
             {"keys.encryptedKey", first["encryptedKey"].asString()},
             {"keys.keyUuid", first["keyUuid"].asString()}}};
}

Taken AskForLogin(const CloudSettings&) {
    Cloud::Login login;
    const bool done = DriveAccount::SignIn(L"u", L"p", login).ok;
    EXPECT_EQ(done, !login.accessToken.empty());
    EXPECT_TRUE(login.rootFileId.empty() || IsSafeId(login.rootFileId));
    if (!done) return std::nullopt;
    return {{{"accessToken", Plain(login.accessToken)},
             {"refreshToken", Plain(login.refreshToken)},
             {"userId", Plain(login.userId)},
             {"rootFileId", Plain(login.rootFileId)},
             {"serverVersion", Plain(login.serverVersion)}}};
}

Taken AskForSpace(const CloudSettings& settings) {
    DriveAccount::Configure(settings);  // forgets what was remembered
    std::wstring text;
    const std::int64_t space = CloudDriveInterface::GetUserSpace(text);
    EXPECT_GE(space, -1);
    return space < 0 ? std::nullopt : Taken({{"remaining", std::to_string(space)}});
}

std::vector<AnswerCase> MakeTable() {
    std::vector<AnswerCase> table{
        {"login", "login", kLogin, AskForLogin},
        {"logout", "logout", "{}", [](const CloudSettings&) { return Done(DriveAccount::SignOut().ok); }, true, true},
        {"space", "space", R"({"total":100,"used":40,"remaining":60})", AskForSpace},
        {"publicKey", "publicKey", R"({"publicKey":")" + PublicKeyText() + R"(","version":"1"})", AskForPublicKey},
        {"keyList", "keyList", R"({"keys":[{"keyType":1,"encryptedKey":")" + PublicKeyText() + R"(","keyUuid":"u"}]})",
         AskForKeys},
        {"listFiles", "listFiles", R"({"items":[)" + kEntry + R"(],"nextCursor":"","changeCursor":"c"})",
         [](const CloudSettings&) {
             std::vector<CloudFile> files;
             std::wstring cursor;
             const bool ok = DriveAccount::List(files, cursor).ok;
             return TakenPage(ok, files, cursor);
         }},
        {"changes", "changes", R"({"items":[)" + kEntry + R"(],"nextCursor":"","changeCursor":"c"})",
         [](const CloudSettings&) {
             std::vector<CloudFile> files;
             std::wstring cursor = L"before";
             const bool ok = DriveAccount::Changes(cursor, files).ok;
             EXPECT_TRUE(ok || cursor == L"before");
             return TakenPage(ok, files, cursor);
         },
         false},
        EntryCall("getFile", [](CloudFile& file) { return DriveAccount::Get(L"f1", file).ok; }),
        EntryCall("findFile", [](CloudFile& file) { return DriveAccount::Find(L"p", L"n", file).ok; }),
        EntryCall("createFolder", [](CloudFile& file) { return DriveAccount::CreateFolder(L"p", L"n", file).ok; }),
        EntryCall("createEmptyFile",
                  [](CloudFile& file) { return DriveAccount::CreateEmptyFile(L"p", L"n", file).ok; }),
        EntryCall("renameFile", [](CloudFile& file) { return DriveAccount::Rename(L"f1", L"n", file).ok; }),
        EntryCall("moveFile", [](CloudFile& file) { return DriveAccount::Move(L"f1", L"p", file).ok; }),
        EntryCall("restoreFile", [](CloudFile& file) { return DriveAccount::Restore(L"f1", file).ok; }),
        {"deleteFile", "deleteFile", "{}", [](const CloudSettings&) { return Done(DriveAccount::Delete(L"f1").ok); },
         false, true},
        {"inquiry", "findFile", kEntry,
         [](const CloudSettings&) {
             WMap result;
             const bool done = CloudDriveInterface::inQuireCloudFile(NewFile(), result);
             if (!done) result = {{L"errorCode", L""}, {L"statuscode", L"(failure)"}, {L"description", L""}};
             return TakenResult(done, result);
         },
         false},
        {"downloadInfo", "downloadInfo",
         R"({"fileId":"f1","fileName":"n","size":5,"sha256":"s","contentVersion":"4","recordCursor":"rc","downloadUrl":"",)"
         R"("encFekList":[{"efek":"e1","encryptAlgorithm":"AES_128","keyType":"1","iv":"i1","keyUid":"u1"}],)"
         R"("objectInfoList":[{"bucketId":"b","time":"t","length":4112,"objectIds":["o1","o2"],"synckeys":["k1","k2"],)"
         R"("attributes":[{"name":"","size":5}]}]})",
         AskForDownload},
        {"plainDownloadInfo", "downloadInfo",
         R"({"fileId":"f1","downloadUrl":"http://127.0.0.1/c","encFekList":[],"objectInfoList":[]})", AskForDownload},
        {"startUpload", "startUpload",
         R"({"uploadType":"client","version":7,"bucketId":"b","position":0,"recordCursor":"rc","uploadUrl":"","resumeUrl":"",)"
         R"("sliceSize":4194304,"items":[{"objectId":"o1","length":16,"synckey":"k","time":"t","status":false}]})",
         AskForPlan},
        {"uploadAddress", "uploadAddress",
         R"({"url":"http://127.0.0.1/store/b/o","method":"PUT","headers":{"A":"b"},"bucketId":"b"})",
         AskForUploadAddress},
        {"confirmObject", "confirmObject", "{}",
         [](const CloudSettings&) { return Done(CloudDriveInterface::ObjectsUploadComplete({}, {}, {}, "", L"")); },
         true, true},
        {"downloadAddress", "downloadAddress", R"({"url":"http://127.0.0.1/store/b/o","headers":{"A":"b"}})",
         AskForDownloadAddress},
        Completion("completeCreate", true),
        Completion("completeUpdate", false),
        ProxyContent("proxyCreate", "proxyCreate", InterfaceName::MultipartCreate, true),
        ProxyContent("proxyUpdate", "proxyUpdate", InterfaceName::MultipartUpdate, false),
        ProxyContent("proxyLastSlice", "proxySlice", InterfaceName::ResumeSlice, true),
        ProxyOpening("proxyResumeCreate", "proxyCreate", InterfaceName::ResumeCreate, true),
        ProxyOpening("proxyResumeUpdate", "proxyUpdate", InterfaceName::ResumeUpdate, false),
        ProxySlice()};
    return table;
}

}  // namespace

const std::vector<AnswerCase>& AnswerTable() {
    static const std::vector<AnswerCase> table = MakeTable();
    return table;
}

}  // namespace Drive::Testing
