// Every operation of the cloud library on an answer as it may come off the wire, head and body: whatever stands there,
// an operation that calls itself a success has given back what can be worked with.
//
// First byte: the operation. Second: how many bytes the body comes in at a time. The rest is the answer; one that does
// not begin with a status line gets a good one.
#include <algorithm>
#include <array>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "collaborators/cloud/answer_reader.h"
#include "collaborators/cloud/header_list.h"
#include "collaborators/cloud/json_fields.h"
#include "interfaces/cloud/cloud_drive_interface.h"
#include "interfaces/cloud/drive_account.h"
#include "interfaces/cloud/file_trans_request.h"
#include "interfaces/logging/sync_panel_log.h"
#include "tests/fuzz/platform/require.h"

namespace {

std::string wire;
std::size_t pieceSize = 1;

}  // namespace

namespace Drive {

void SyncPanelLog::WriteErrorLog(const std::string&, const std::string&, const std::string&) {}

namespace Cloud {

const std::string* HttpAnswer::Header(const char* name) const { return FindHeader(headers, name); }
std::string HttpAnswer::Told() const { return message + advice; }

namespace {

/// Feeds the head line by line; where the body begins.
std::size_t FeedHead(AnswerReader& reader, bool& goesOn) {
    std::size_t at = 0;
    while (goesOn && !reader.HeadDone() && at < wire.size()) {
        const std::size_t end = std::min(wire.find('\n', at), wire.size() - 1) + 1;
        goesOn = reader.TakeHeaderLine(wire.substr(at, end - at));
        at = end;
    }
    return at;
}

}  // namespace

/// In place of the network: the answer of this run, whatever was asked.
HttpAnswer Perform(const HttpRequest& request, BodySink* sink) {
    AnswerReader reader(request, sink, 0);
    bool goesOn = true;
    std::size_t at = FeedHead(reader, goesOn);
    while (goesOn && reader.HeadDone() && at < wire.size()) {
        const std::size_t size = std::min(pieceSize, wire.size() - at);
        goesOn = reader.TakeBody(reinterpret_cast<const unsigned char*>(wire.data()) + at, size) && reader.Tick();
        at += size;
    }
    if (goesOn) reader.Finish();
    HttpAnswer answer = std::move(reader.Answer());
    ZELKOR_REQUIRE(answer.status == 0 || (answer.status >= 100 && answer.status <= 999));
    ZELKOR_REQUIRE(sink != nullptr || answer.body.size() <= request.answerLimit);
    return answer;
}

}  // namespace Cloud
}  // namespace Drive

namespace {

using namespace Drive;
using Cloud::CloudDriveInterface;
using Cloud::CloudFile;
using Cloud::DriveAccount;
using Cloud::FileTransRequest;
using HttpInterface::InterfaceName;

bool IsId(const std::wstring& id) {
    return !id.empty() && id.rfind(L"Local", 0) != 0 && id.find_first_of(L"'\"\\\r\n") == std::wstring::npos;
}

bool IsUrl(const std::wstring& url) {
    return (url.rfind(L"http", 0) == 0 || url.rfind(L"HTTP", 0) == 0 || url.rfind(L"/", 0) == 0 ||
            url.rfind(L"H", 0) == 0 || url.rfind(L"h", 0) == 0) &&
           url.find_first_of(L" \r\n\\") == std::wstring::npos;
}

void RequireMap(const WMap& result) {
    for (const wchar_t* key : {L"errorCode", L"statuscode", L"description"}) ZELKOR_REQUIRE(result.count(key) == 1);
}

void Complete() {
    Common::FileItem file;
    file.SetFileId(L"Local1");
    Common::CreateUpdateRequestModel model(file);
    WMap result;
    const bool done = CloudDriveInterface::FilesCreateComplete(file, L"", model, result);
    RequireMap(result);
    ZELKOR_REQUIRE(!done || IsId(result[L"id"]));
    WMap inquired;
    const bool found = CloudDriveInterface::inQuireCloudFile(file, inquired);
    ZELKOR_REQUIRE(!found || IsId(inquired[L"id"]));
}

void Start() {
    Common::FileItem file;
    std::wstring code;
    CloudDriveInterface::ObjectsUploadStart(file, L"", L"", code);
    Common::GetKelpAddressModel model;
    WMap result;
    const bool granted = CloudDriveInterface::GetUploadKelpAddress(file, {}, model, result);
    RequireMap(result);
    ZELKOR_REQUIRE(!granted || (IsUrl(model.GetUrl()) && !model.GetMethod().empty()));
    CloudDriveInterface::ObjectsUploadComplete(file, {}, {}, wire, L"");
}

void Proxy() {
    for (const auto operation :
         {InterfaceName::MultipartCreate, InterfaceName::ResumeCreate, InterfaceName::ResumeSlice}) {
        WMap result;
        const bool done = CloudDriveInterface::FileproxyUpload(L"http://127.0.0.1/p", L"Local1", operation, "x", "",
                                                               {{L"Content-Range", L"bytes 0-0/1"}}, result);
        RequireMap(result);
        if (operation == InterfaceName::ResumeCreate) {
            ZELKOR_REQUIRE(!done || (IsUrl(result[L"resumeUrl"]) && std::stoll(result[L"sliceSize"]) > 0));
        } else {
            ZELKOR_REQUIRE(!done || IsId(result[L"id"]) || result[L"statuscode"] != L"200");
        }
    }
}

void Addresses() {
    Common::DownLoadAddressInfoModel model;
    if (CloudDriveInterface::GetDownloadAddressInfo(L"f1", model)) {
        ZELKOR_REQUIRE(!model.GetEncFekList().empty() || IsUrl(model.GetDownloadURL()));
        for (const auto& objects : model.GetObjectInfoList()) {
            ZELKOR_REQUIRE(objects.length >= 0 && objects.objectIds.size() == objects.synckeys.size());
        }
    }
    Common::DownloadKelpAddressInfo info;
    if (CloudDriveInterface::GetDownloadKelpAddress({}, info)) ZELKOR_REQUIRE(IsUrl(info.GetUrl()));
}

void Keys() {
    const std::string key = CloudDriveInterface::PublickKey(), keys = CloudDriveInterface::KeyList(1, L"", L"");
    Json::Value root;
    std::string why;
    for (const auto& text : {key, keys}) {
        ZELKOR_REQUIRE(text.empty() || Cloud::ParseObject(text, root, why));
    }
}

void Account() {
    std::vector<CloudFile> files;
    std::wstring cursor;
    const bool done = DriveAccount::List(files, cursor).ok;
    ZELKOR_REQUIRE(done || files.empty());
    for (const auto& file : files) ZELKOR_REQUIRE(IsId(file.id) && file.size >= 0);
    CloudFile file;
    if (DriveAccount::Get(L"f1", file).ok) ZELKOR_REQUIRE(IsId(file.id));
    std::wstring text;
    ZELKOR_REQUIRE(CloudDriveInterface::GetUserSpace(text) >= -1);
    Cloud::Login login;
    const bool in = DriveAccount::SignIn(L"u", L"p", login).ok;
    ZELKOR_REQUIRE(in == !login.accessToken.empty());
    login.accessToken = L"t";
    login.refreshToken = L"r";
    DriveAccount::UseLogin(login);
}

void Contents() {
    std::int64_t delivered = 0;
    bool emptyPiece = false;
    FileTransRequest request;
    request.receiveDownloadFileCallBackFun([&](const unsigned char*, const std::int64_t& length) {
        ZELKOR_REQUIRE(length >= 0 && !emptyPiece);
        emptyPiece = length == 0;
        delivered += length;
        return true;
    });
    for (const auto& headers : {WMap{}, WMap{{L"Range", L"bytes=3-"}}}) {
        delivered = 0;
        emptyPiece = false;
        const int status = FileTransRequest::DownloadCloudFileRequest(L"http://127.0.0.1/x", headers, &request);
        ZELKOR_REQUIRE(status >= -1 && status <= 999);
        ZELKOR_REQUIRE((status != 200 && status != 206) || delivered > 0 || emptyPiece);
        ZELKOR_REQUIRE(static_cast<std::size_t>(delivered) <= wire.size());
    }
    const std::vector<unsigned char> key(16, 1);
    std::vector<unsigned char> received(1);
    const bool good =
        FileTransRequest::DownloadDriveFileRequest(L"http://127.0.0.1/x", {}, key, key, L"AES_128", 4096, received);
    ZELKOR_REQUIRE(good || received.empty());
    ZELKOR_REQUIRE(received.size() <= 4096);
    WMap answered;
    std::string text;
    FileTransRequest::UploadRequest(L"http://127.0.0.1/x", {}, L"PUT", key, answered, text);
}

constexpr std::array<void (*)(), 7> kOperations{Start, Complete, Proxy, Addresses, Keys, Account, Contents};

bool Configured() {
    Cloud::CloudSettings settings;
    settings.baseUrl = L"http://127.0.0.1:1";
    settings.repeats = 0;
    DriveAccount::Configure(settings);
    Cloud::Login login;
    login.accessToken = L"t";
    login.refreshToken = L"r";
    DriveAccount::UseLogin(login);
    return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const bool configured = Configured();
    if (!configured || size < 2) return 0;
    pieceSize = data[1] + std::size_t{1};
    wire.assign(reinterpret_cast<const char*>(data) + 2, size - 2);
    if (wire.rfind("HTTP/", 0) != 0) wire.insert(0, "HTTP/1.1 200 OK\r\n\r\n");
    kOperations[data[0] % kOperations.size()]();
    return 0;
}
