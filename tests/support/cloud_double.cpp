// The cloud library's operations, answered by ScriptedCloud.
#include <json/json.h>

#include <cstdlib>

#include "interfaces/cloud/base_http_request.h"
#include "tests/support/journal.h"
#include "tests/support/scripted_cloud.h"

namespace Drive::Cloud {

using namespace Drive::Common;
using Testing::CloudContent;
using Testing::Journal;
using Testing::Kind;
using Testing::Narrow;
using Testing::ScriptedCloud;
using Testing::Wide;

namespace {

ScriptedCloud& Script() { return ScriptedCloud::Get(); }

void Record(const std::string& text) { Journal::Write(Kind::Cloud, text); }

std::string List(const WMap& map) {
    std::string text = "{";
    for (const auto& [key, value] : map) {
        text += (text.size() > 1 ? ", " : "") + Narrow(key) + ": " + Narrow(value);
    }
    return text + "}";
}

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

bool Complete(const FileItem& file, const std::wstring& id, WMap& result) {
    result[L"id"] = id;
    result[L"fileName"] = file.GetName().empty() ? file.GetLocalFileName() : file.GetName();
    result[L"category"] = L"other";
    result[L"mimeType"] = file.GetMimeType();
    result[L"parentFolder"] = file.GetLocalParentId();
    result[L"contentVersion"] = L"1";
    result[L"errorCode"] = L"";
    result[L"statuscode"] = L"200";
    result[L"description"] = L"";
    return true;
}

std::wstring NewId(const std::wstring& fileId) {
    if (fileId.rfind(L"Local", 0) != 0) return fileId;
    return L"cloud-" + std::to_wstring(++Script().created);
}

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
    const auto plan = [](FileItem& item, const std::wstring&, const std::wstring&, std::wstring&) {
        return Plan(item);
    };
    return Script().objectsUploadStart.Call(plan, file, sha256, recordCursor, errorCode);
}

bool CloudDriveInterface::GetUploadKelpAddress(const FileItem& file, const KelpAddressRequestModel& request,
                                               GetKelpAddressModel& model, WMap& result) {
    Record("GetUploadKelpAddress(" + Narrow(file.GetFileId()) + ", " + Narrow(request.objectId) + ", " +
           std::to_string(request.length) + ")");
    const auto grant = [](const FileItem&, const KelpAddressRequestModel& asked, GetKelpAddressModel& answer,
                          WMap& map) {
        answer.SetMethod(L"PUT");
        answer.SetObjectBucketId(asked.bucketId.empty() ? L"bucket" : asked.bucketId);
        answer.SetUrl(L"http://store/" + asked.objectId);
        answer.SetKelpAddressHeaders({{L"Content-MD5", Wide(asked.md5)}});
        map[L"statuscode"] = L"200";
        return true;
    };
    return Script().getUploadKelpAddress.Call(grant, file, request, model, result);
}

bool CloudDriveInterface::ObjectsUploadComplete(const FileItem& file, const FragmentInfo& fragment,
                                                const GetKelpAddressModel& model, const std::string& response,
                                                const std::wstring& recordCursor) {
    Record("ObjectsUploadComplete(" + Narrow(file.GetFileId()) + ", " + Narrow(fragment.objectId) + ", " + response +
           ", " + Narrow(recordCursor) + ")");
    const auto accept = [](const FileItem&, const FragmentInfo&, const GetKelpAddressModel&, const std::string&,
                           const std::wstring&) { return true; };
    return Script().objectsUploadComplete.Call(accept, file, fragment, model, response, recordCursor);
}

bool CloudDriveInterface::FilesCreateComplete(const FileItem& file, const std::wstring& recordCursor,
                                              CreateUpdateRequestModel& model, WMap& result) {
    Record("FilesCreateComplete(" + Narrow(file.GetFileId()) + ", " + Narrow(recordCursor) + ")");
    const auto create = [](const FileItem& item, const std::wstring&, CreateUpdateRequestModel&, WMap& map) {
        return Complete(item, NewId(item.GetFileId()), map);
    };
    return Script().filesCreateComplete.Call(create, file, recordCursor, model, result);
}

bool CloudDriveInterface::FilesUpdateComplete(const FileItem& file, const std::wstring& recordCursor,
                                              CreateUpdateRequestModel& model, WMap& result) {
    Record("FilesUpdateComplete(" + Narrow(file.GetFileId()) + ", " + Narrow(recordCursor) + ")");
    const auto update = [](const FileItem& item, const std::wstring&, CreateUpdateRequestModel&, WMap& map) {
        return Complete(item, item.GetFileId(), map);
    };
    return Script().filesUpdateComplete.Call(update, file, recordCursor, model, result);
}

bool CloudDriveInterface::inQuireCloudFile(const FileItem& file, WMap& result) {
    Record("inQuireCloudFile(" + Narrow(file.GetFileId()) + ")");
    const auto find = [](const FileItem& item, WMap& map) {
        if (Script().files.count(item.GetFileId()) == 0) return false;
        return Complete(item, item.GetFileId(), map);
    };
    return Script().inQuireCloudFile.Call(find, file, result);
}

bool CloudDriveInterface::FileproxyUpload(const std::wstring& url, const std::wstring& fileId,
                                          HttpInterface::InterfaceName operation, const std::string& rawBody,
                                          const std::string& textBody, WMap headers, WMap& result) {
    Record("FileproxyUpload(" + Narrow(url) + ", " + Narrow(fileId) + ", " +
           std::to_string(static_cast<int>(operation)) + ", " + std::to_string(rawBody.size()) + ", " +
           std::to_string(textBody.size()) + ", " + List(headers) + ")");
    const auto accept = [](const std::wstring&, const std::wstring& id, HttpInterface::InterfaceName,
                           const std::string& raw, const std::string& text, WMap, WMap& map) {
        map[L"errorCode"] = L"";
        map[L"statuscode"] = raw.empty() && text.empty() ? L"404" : L"200";
        if (raw.empty() && text.empty()) return false;
        map[L"id"] = NewId(id);
        return true;
    };
    return Script().fileproxyUpload.Call(accept, url, fileId, operation, rawBody, textBody, headers, result);
}

bool CloudDriveInterface::GetDownloadAddressInfo(const std::wstring& fileId, DownLoadAddressInfoModel& model) {
    Record("GetDownloadAddressInfo(" + Narrow(fileId) + ")");
    const auto find = [](const std::wstring& id, DownLoadAddressInfoModel& answer) {
        const auto found = Script().files.find(id);
        if (found == Script().files.end()) return false;
        const CloudContent& content = found->second;
        answer.SetFileId(id);
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
        for (std::size_t i = 0; i < content.objects.size(); ++i)
            list.synckeys.push_back(L"synckey-" + std::to_wstring(i));
        const std::size_t ivCharacters = Script().keyType == L"3" ? 64 : 32;
        answer.SetEncFekList({{L"efek", L"AES_128", Script().keyType, std::wstring(ivCharacters, L'1'), L"uid"}});
        answer.SetObjectInfoList({list});
        return true;
    };
    return Script().getDownloadAddressInfo.Call(find, fileId, model);
}

bool CloudDriveInterface::GetDownloadKelpAddress(const KelpAddressRequestModel& request,
                                                 DownloadKelpAddressInfo& info) {
    Record("GetDownloadKelpAddress(" + Narrow(request.bucketId) + ", " + Narrow(request.objectId) + ", " +
           Narrow(request.synckey) + ", " + Narrow(request.time) + ", " + Narrow(request.recordCursor) + ", " +
           std::to_string(request.length) + ")");
    const auto grant = [](const KelpAddressRequestModel& asked, DownloadKelpAddressInfo& answer) {
        answer.SetUrl(L"http://store/" + asked.objectId);
        answer.SetHeaders({{L"x-store", L"yes"}});
        return true;
    };
    return Script().getDownloadKelpAddress.Call(grant, request, info);
}

std::int64_t CloudDriveInterface::GetUserSpace(std::wstring& text) {
    Record("GetUserSpace(" + Narrow(text) + ")");
    return Script().getUserSpace.Call([](std::wstring&) { return Script().space; }, text);
}

std::string CloudDriveInterface::PublickKey() {
    Record("PublickKey()");
    return Script().publickKey.Call([] { return std::string(); });
}

std::string CloudDriveInterface::KeyList(int kind, const std::wstring& temporaryKeyText, const std::wstring& version) {
    Record("KeyList(" + std::to_string(kind) + ", " + std::to_string(temporaryKeyText.size()) + " characters, " +
           Narrow(version) + ")");
    const auto none = [](int, const std::wstring&, const std::wstring&) { return std::string(); };
    return Script().keyList.Call(none, kind, temporaryKeyText, version);
}

FileTransRequest::FileTransRequest() = default;
FileTransRequest::FileTransRequest(const FileTransRequest& other) = default;
FileTransRequest& FileTransRequest::operator=(const FileTransRequest& other) = default;
FileTransRequest::~FileTransRequest() = default;

void FileTransRequest::receiveDownloadFileCallBackFun(Receiver taker) { receiver = std::move(taker); }

bool FileTransRequest::UploadRequest(const std::wstring& url, WMap headers, const std::wstring& verb,
                                     const std::vector<unsigned char>& body, WMap& responseHeaders,
                                     std::string& responseText) {
    Record("UploadRequest(" + Narrow(url) + ", " + Narrow(verb) + ", " + std::to_string(body.size()) + ", " +
           List(headers) + ")");
    const auto store = [](const std::wstring& address, WMap, const std::wstring&,
                          const std::vector<unsigned char>& bytes, WMap&, std::string& text) {
        Script().objects[address.substr(address.rfind(L'/') + 1)] = bytes;
        text = "stored";
        return true;
    };
    return Script().uploadRequest.Call(store, url, headers, verb, body, responseHeaders, responseText);
}

bool FileTransRequest::DownloadDriveFileRequest(const std::wstring& url, WMap headers,
                                                const std::vector<unsigned char>& fek,
                                                const std::vector<unsigned char>& iv, const std::wstring& algorithm,
                                                std::int64_t length, std::vector<unsigned char>& received) {
    Record("DownloadDriveFileRequest(" + Narrow(url) + ", " + List(headers) + ", " + std::to_string(fek.size()) + ", " +
           std::to_string(iv.size()) + ", " + Narrow(algorithm) + ", " + std::to_string(length) + ")");
    const auto fetch = [](const std::wstring& address, WMap, const std::vector<unsigned char>&,
                          const std::vector<unsigned char>&, const std::wstring&, std::int64_t,
                          std::vector<unsigned char>& bytes) {
        bytes.clear();
        const auto found = Script().objects.find(address.substr(address.rfind(L'/') + 1));
        if (found == Script().objects.end()) return false;
        bytes = found->second;
        return true;
    };
    return Script().downloadDriveFileRequest.Call(fetch, url, headers, fek, iv, algorithm, length, received);
}

int FileTransRequest::DownloadCloudFileRequest(const std::wstring& url, WMap headers, FileTransRequest* request) {
    Record("DownloadCloudFileRequest(" + Narrow(url) + ", " + List(headers) + ")");
    const Receiver receiver = request == nullptr ? Receiver() : request->receiver;
    const auto send = [](const std::wstring& address, WMap sent, const Receiver& taker) {
        const auto found = Script().files.find(address.substr(address.rfind(L'/') + 1));
        if (found == Script().files.end()) return 404;
        const std::string range = Narrow(sent[L"Range"]);
        const std::int64_t offset = range.rfind("bytes=", 0) == 0 ? std::strtoll(range.c_str() + 6, nullptr, 10) : 0;
        const auto size = static_cast<std::int64_t>(found->second.bytes.size());
        if (offset > 0 && offset >= size) return 416;
        return Script().Deliver(found->second.bytes, offset, taker);
    };
    return Script().downloadCloudFileRequest.Call(send, url, headers, receiver);
}

std::string FileTransRequest::GetBoundary() {
    Record("GetBoundary()");
    return Script().getBoundary.Call([] { return std::string("boundary-of-the-test"); });
}

}  // namespace Drive::Cloud
