// Both ends of the wire together: the shipped library against the shipped cloud.
#include <algorithm>
#include <thread>

#include "interfaces/cloud/cloud_drive_interface.h"
#include "interfaces/cloud/file_trans_request.h"
#include "interfaces/common/encrypt_helper.h"
#include "tests/contract/cloud/cloud_test.h"
#include "tests/contract/cloud/reference_process.h"

namespace Drive::Testing {
namespace {

using Cloud::CloudDriveInterface;
using Cloud::CloudFile;
using Cloud::DriveAccount;
using Cloud::FileTransRequest;
using Common::EncryptHelper;
using HttpInterface::InterfaceName;
using Bytes = std::vector<unsigned char>;

const std::string kKey = "0123456789abcdef";
const std::string kIv = "fedcba9876543210";

Bytes ToBytes(const std::string& text) { return {text.begin(), text.end()}; }

std::wstring Hex(const std::string& bytes) {
    std::wstring text;
    for (const char byte : bytes) {
        text += L"0123456789abcdef"[static_cast<unsigned char>(byte) >> 4];
        text += L"0123456789abcdef"[static_cast<unsigned char>(byte) & 0xF];
    }
    return text;
}

std::wstring Wide(const std::string& text) { return {text.begin(), text.end()}; }

class WithReferenceCloud : public CloudTest {
protected:
    void Begin(const std::string& uploadType) {
        cloud = std::make_unique<ReferenceCloud>(uploadType);
        auto settings = Settings();
        settings.baseUrl = cloud->Url();
        settings.idleSeconds = settings.controlSeconds = 20;
        settings.repeats = 3;
        Configure(settings);
        const auto outcome = DriveAccount::SignIn(L"anna", ReferenceCloud::Password(), login);
        ASSERT_TRUE(outcome.ok) << outcome.message;
    }

    Common::FileItem NewFile(const std::wstring& name, const std::string& content) {
        Common::FileItem file;
        file.SetFileId(L"Local" + name);
        file.SetName(name);
        file.SetLocalFileName(name);
        file.SetLocalParentId(login.rootFileId);
        file.SetSize(static_cast<std::int64_t>(content.size()));
        file.SetHash(Wide(Sha256(content)));
        file.SetMimeType(L"application/octet-stream");
        return file;
    }

    Json::Value StartUpload(Common::FileItem& file, const std::wstring& cursor = L"") {
        std::wstring code;
        const std::string answer = CloudDriveInterface::ObjectsUploadStart(file, file.GetHash(), cursor, code);
        EXPECT_EQ(L"", code);
        return answer.empty() ? Json::Value() : ParseJson(answer);
    }

    /// Sends all objects of a plan and makes the file exist. Returns its id.
    std::wstring UploadAsClient(Common::FileItem& file, const std::string& content, const Json::Value& plan);

    std::string DownloadEncrypted(const std::wstring& id, std::size_t size);

    static int DownloadPlain(const std::wstring& url, std::size_t start, std::string& got) {
        FileTransRequest request;
        request.receiveDownloadFileCallBackFun([&](const unsigned char* data, const std::int64_t& length) {
            got.append(reinterpret_cast<const char*>(data), static_cast<std::size_t>(length));
            return true;
        });
        return FileTransRequest::DownloadCloudFileRequest(
            url, {{L"Range", L"bytes=" + std::to_wstring(start) + L"-"}, {L"Authorization", L"Bearer stale"}},
            &request);
    }

    std::unique_ptr<ReferenceCloud> cloud;
    Cloud::Login login;
};

std::wstring WithReferenceCloud::UploadAsClient(Common::FileItem& file, const std::string& content,
                                                const Json::Value& plan) {
    const std::wstring cursor = Wide(plan["recordCursor"].asString());
    const std::wstring bucket = Wide(plan["bucketId"].asString());
    const std::size_t slice = plan["sliceSize"].asUInt();
    Common::ObjectInfoList objects{bucket, static_cast<int>(slice), {}, {}};
    for (Json::ArrayIndex index = 0; index < plan["items"].size(); ++index) {
        const auto& item = plan["items"][index];
        const Common::FragmentInfo fragment{Wide(item["objectId"].asString()), item["length"].asInt64(),
                                            Wide(item["synckey"].asString()), Wide(item["time"].asString()), false};
        const Bytes stored = ToBytes(EncryptHelper::AES_128_CBC_Encrypt(ToBytes(kKey), ToBytes(kIv),
                                                                        ToBytes(content.substr(index * slice, slice))));
        EXPECT_EQ(fragment.length, static_cast<std::int64_t>(stored.size()));
        const Common::KelpAddressRequestModel request{bucket,
                                                      fragment.objectId,
                                                      fragment.synckey,
                                                      fragment.time,
                                                      cursor,
                                                      fragment.length,
                                                      EncryptHelper::MD5_Encode(stored),
                                                      EncryptHelper::SHA256_Encode(stored)};
        Common::GetKelpAddressModel address;
        WMap result, headers;
        std::string response;
        EXPECT_TRUE(CloudDriveInterface::GetUploadKelpAddress(file, request, address, result));
        EXPECT_TRUE(FileTransRequest::UploadRequest(address.GetUrl(), address.GetKelpAddressHeaders(),
                                                    address.GetMethod(), stored, headers, response));
        EXPECT_TRUE(CloudDriveInterface::ObjectsUploadComplete(file, fragment, address, response, cursor));
        objects.objectIds.push_back(fragment.objectId);
    }
    Common::CreateUpdateRequestModel model(file);
    model.SetObjectInfoList({objects});
    model.SetEncFekList(
        {{L"uid1", 1, L"wrapped1", Hex(kIv), L"AES_128"}, {L"uid3", 3, L"wrapped3", Hex(kIv), L"AES_256"}});
    WMap result;
    EXPECT_TRUE(CloudDriveInterface::FilesCreateComplete(file, cursor, model, result)) << Log().back();
    return Get(result, L"id");
}

std::string WithReferenceCloud::DownloadEncrypted(const std::wstring& id, std::size_t size) {
    Common::DownLoadAddressInfoModel info;
    EXPECT_TRUE(CloudDriveInterface::GetDownloadAddressInfo(id, info));
    if (info.GetEncFekList().empty()) return "(plain)";
    EXPECT_EQ(L"1", info.GetEncFekList()[0].keyType);
    EXPECT_EQ(Hex(kIv), info.GetEncFekList()[0].iv);
    const auto& objects = info.GetObjectInfoList()[0];
    std::string content;
    for (std::size_t index = 0; index < objects.objectIds.size() && content.size() < size; ++index) {
        Common::DownloadKelpAddressInfo address;
        EXPECT_TRUE(CloudDriveInterface::GetDownloadKelpAddress(
            {objects.bucketId, objects.objectIds[index], objects.synckeys[index], objects.time, info.GetRecordCursor(),
             objects.length, "", ""},
            address));
        Bytes received;
        EXPECT_TRUE(FileTransRequest::DownloadDriveFileRequest(address.GetUrl(), address.GetHeaders(), ToBytes(kKey),
                                                               ToBytes(kIv), info.GetEncFekList()[0].encryptAlgorithm,
                                                               objects.length, received));
        content.append(received.begin(), received.end());
    }
    return content;
}

// CLOUD-BOTH-01
TEST_F(WithReferenceCloud, AFileGoesUpInObjectsAndComesDownTheSame) {
    Begin("client");
    const std::string content = Content(9'000'017);
    auto file = NewFile(L"big.bin", content);
    const auto plan = StartUpload(file);
    ASSERT_EQ("client", plan["uploadType"].asString());
    std::wstring text;
    const auto before = CloudDriveInterface::GetUserSpace(text);
    EXPECT_GT(before, 0);
    const std::wstring id = UploadAsClient(file, content, plan);
    EXPECT_EQ(before - static_cast<std::int64_t>(content.size()), CloudDriveInterface::GetUserSpace(text));
    EXPECT_TRUE(content == DownloadEncrypted(id, content.size()));
    // The same content under another name needs no sending.
    auto copy = NewFile(L"copy.bin", content);
    const auto second = StartUpload(copy);
    EXPECT_EQ("exist", second["uploadType"].asString());
    // The same name and content is there already, and can be asked for by either name.
    WMap result;
    EXPECT_TRUE(CloudDriveInterface::inQuireCloudFile(file, result));
    EXPECT_EQ(id, Get(result, L"id"));
    file.SetFileId(id);
    EXPECT_TRUE(CloudDriveInterface::inQuireCloudFile(file, result));
    EXPECT_EQ(L"big.bin", Get(result, L"fileName"));
}

// CLOUD-BOTH-01
TEST_F(WithReferenceCloud, ASmallFileGoesThroughTheProxyAndComesDownFromAnyPosition) {
    Begin("server");
    const std::string content = Content(300'001);
    auto file = NewFile(L"small.bin", content);
    const auto plan = StartUpload(file);
    ASSERT_EQ("server", plan["uploadType"].asString());
    const std::string boundary = FileTransRequest::GetBoundary(), line = "\r\n ";
    const std::string body = "--" + boundary + line + "Content-Type: application/json; charset=UTF-8" + line +
                             R"({"fileName":"small.bin","mimeType":"","parentFolder":["x"],"sha256":""})" + "\n" +
                             line + "--" + boundary + line + "Content-Type: application/octet-stream; charset=UTF-8" +
                             line + content + line + "--" + boundary + "--";
    WMap result;
    EXPECT_TRUE(CloudDriveInterface::FileproxyUpload(
        Wide(plan["uploadUrl"].asString()), file.GetFileId(), InterfaceName::MultipartCreate, "", body,
        {{L"Content-Type", L"multipart/related;boundary=" + Wide(boundary)}, {L"Cache-Control", L"no-cache"}}, result))
        << Log().back();
    EXPECT_EQ(L"200", Get(result, L"statuscode"));
    Common::DownLoadAddressInfoModel info;
    ASSERT_TRUE(CloudDriveInterface::GetDownloadAddressInfo(Get(result, L"id"), info));
    EXPECT_TRUE(info.GetEncFekList().empty());
    for (const std::size_t start : {std::size_t{0}, std::size_t{1}, std::size_t{131'072}, content.size() - 1}) {
        std::string got;
        EXPECT_EQ(206, DownloadPlain(info.GetDownloadURL(), start, got));
        EXPECT_TRUE(got == content.substr(start)) << start;
    }
    std::string got;
    EXPECT_EQ(416, DownloadPlain(info.GetDownloadURL(), content.size(), got));
    EXPECT_EQ("", got);
}

// CLOUD-BOTH-01
TEST_F(WithReferenceCloud, ALargeFileGoesThroughTheProxySliceBySlice) {
    Begin("server");
    const std::string content = Content(11'000'003);
    auto file = NewFile(L"large.bin", content);
    const auto plan = StartUpload(file);
    ASSERT_EQ("server", plan["uploadType"].asString());
    WMap result;
    ASSERT_TRUE(CloudDriveInterface::FileproxyUpload(
        Wide(plan["uploadUrl"].asString()), file.GetFileId(), InterfaceName::ResumeCreate, "",
        R"({"fileName":"large.bin","mimeType":"video/mp4","parentFolder":["x"],"sha256":""})"
        "\n",
        {{L"X-Upload-Content-Typ", L"video/mp4"},
         {L"X-Upload-Content-Length", std::to_wstring(content.size())},
         {L"Content-Type", L"application/json"}},
        result))
        << Log().back();
    const std::wstring url = Get(result, L"resumeUrl");
    const std::size_t slice = std::stoul(Get(result, L"sliceSize"));
    for (std::size_t position = 0; position < content.size();) {
        EXPECT_NE(L"200", position == 0 ? L"" : Get(result, L"statuscode"));
        const std::string bytes = content.substr(position, slice);
        ASSERT_TRUE(CloudDriveInterface::FileproxyUpload(
            url, file.GetFileId(), InterfaceName::ResumeSlice, bytes, "",
            {{L"Content-Range", L"bytes " + std::to_wstring(position) + L"-" + std::to_wstring(bytes.size() - 1) +
                                    L"/" + std::to_wstring(content.size())},
             {L"Content-Length", std::to_wstring(bytes.size())},
             {L"Content-Type", L"video/mp4"}},
            result))
            << Log().back();
        position += bytes.size();
    }
    EXPECT_EQ(L"200", Get(result, L"statuscode"));
    Common::DownLoadAddressInfoModel info;
    ASSERT_TRUE(CloudDriveInterface::GetDownloadAddressInfo(Get(result, L"id"), info));
    std::string got;
    EXPECT_EQ(206, DownloadPlain(info.GetDownloadURL(), 0, got));
    EXPECT_TRUE(got == content);
    EXPECT_FALSE(CloudDriveInterface::FileproxyUpload(url + L"gone", file.GetFileId(), InterfaceName::ResumeSlice, "x",
                                                      "", {{L"Content-Range", L"bytes 0-0/1"}}, result));
    EXPECT_EQ(L"404", Get(result, L"statuscode"));
}

// CLOUD-CALL-02
TEST_F(WithReferenceCloud, NamesOfEveryKindRoundTrip) {
    Begin("");
    const std::vector<std::wstring> names{L"plain",
                                          L"caf\u00e9 \u65e5\u672c \U0001F600",
                                          L"quote ' and \" and %41 & ? # +",
                                          std::wstring(L"bad ") + wchar_t(0xDCFF) + wchar_t(0xDC80) + L" byte",
                                          std::wstring(L"real ") + wchar_t(0xF7FF) + L" " + wchar_t(0xF780),
                                          std::wstring(L"mapped ") + wchar_t(0xF05C) + L" backslash",
                                          L"line\nbreak and \x01",
                                          L" leading and trailing ",
                                          std::wstring(200, L'x')};
    std::vector<std::wstring> ids;
    for (const auto& name : names) {
        CloudFile made, found;
        auto outcome = DriveAccount::CreateFolder(login.rootFileId, name, made);
        ASSERT_TRUE(outcome.ok) << outcome.message;
        EXPECT_EQ(name, made.fileName);
        EXPECT_TRUE(made.isFolder);
        outcome = DriveAccount::Find(login.rootFileId, name, found);
        EXPECT_TRUE(outcome.ok) << outcome.message;
        EXPECT_EQ(made.id, found.id);
        EXPECT_TRUE(DriveAccount::CreateFolder(login.rootFileId, name, found).ok) << "it stands there already";
        EXPECT_EQ(made.id, found.id);
        ids.push_back(made.id);
    }
    std::vector<CloudFile> files;
    std::wstring cursor;
    ASSERT_TRUE(DriveAccount::List(files, cursor).ok);
    ASSERT_EQ(names.size(), files.size());
    for (std::size_t index = 0; index < names.size(); ++index) {
        EXPECT_TRUE(std::any_of(files.begin(), files.end(), [&](const CloudFile& file) {
            return file.id == ids[index] && file.fileName == names[index];
        }));
    }
}

// CLOUD-LIST-05
TEST_F(WithReferenceCloud, FilesAreRenamedMovedDeletedAndBroughtBackAndTheChangesTell) {
    Begin("");
    std::vector<CloudFile> files;
    std::wstring cursor;
    ASSERT_TRUE(DriveAccount::List(files, cursor).ok);
    EXPECT_TRUE(files.empty());
    CloudFile folder, file;
    ASSERT_TRUE(DriveAccount::CreateFolder(login.rootFileId, L"folder", folder).ok);
    ASSERT_TRUE(DriveAccount::CreateEmptyFile(login.rootFileId, L"empty", file).ok);
    EXPECT_EQ(0, file.size);
    EXPECT_FALSE(file.isFolder);
    ASSERT_TRUE(DriveAccount::Rename(file.id, L"renamed", file).ok);
    EXPECT_EQ(L"renamed", file.fileName);
    ASSERT_TRUE(DriveAccount::Move(file.id, folder.id, file).ok);
    EXPECT_EQ(folder.id, file.parentFolder);
    ASSERT_TRUE(DriveAccount::Changes(cursor, files).ok);
    ASSERT_FALSE(files.empty());
    EXPECT_EQ(L"renamed", files.back().fileName);
    EXPECT_EQ(folder.id, files.back().parentFolder);
    ASSERT_TRUE(DriveAccount::Delete(folder.id).ok);
    ASSERT_TRUE(DriveAccount::Changes(cursor, files).ok);
    EXPECT_EQ(2, std::count_if(files.begin(), files.end(), [](const CloudFile& entry) { return entry.isDeleted; }));
    ASSERT_TRUE(DriveAccount::CreateEmptyFile(login.rootFileId, L"taken", file).ok);
    EXPECT_EQ(409, DriveAccount::CreateFolder(login.rootFileId, L"taken", file).status);
    ASSERT_TRUE(DriveAccount::Restore(folder.id, folder).ok);
    ASSERT_TRUE(DriveAccount::Find(folder.id, L"renamed", file).ok);
    Common::DownLoadAddressInfoModel info;
    ASSERT_TRUE(CloudDriveInterface::GetDownloadAddressInfo(file.id, info));
    std::string got;
    EXPECT_EQ(200, DownloadPlain(info.GetDownloadURL(), 0, got)) << "an empty file";
    const auto missing = DriveAccount::Get(L"nothing", file);
    EXPECT_EQ(404, missing.status);
    EXPECT_EQ(L"21004041", missing.errorCode);
}

// CLOUD-LIST-01
TEST_F(WithReferenceCloud, ListsOfMoreThanOnePageAreWholeAndParentsComeFirst) {
    Begin("");
    CloudFile parent;
    ASSERT_TRUE(DriveAccount::CreateFolder(login.rootFileId, L"top", parent).ok);
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 4; ++thread) {
        threads.emplace_back([&, thread] {
            for (int count = 0; count < 275; ++count) {
                CloudFile made;
                const auto name = std::to_wstring(thread) + L"-" + std::to_wstring(count);
                EXPECT_TRUE(DriveAccount::CreateEmptyFile(parent.id, name, made).ok);
            }
        });
    }
    for (auto& thread : threads) thread.join();
    std::vector<CloudFile> files;
    std::wstring cursor;
    ASSERT_TRUE(DriveAccount::List(files, cursor).ok);
    ASSERT_EQ(1101u, files.size());
    EXPECT_EQ(parent.id, files[0].id);
}

// CLOUD-CALL-15
TEST_F(WithReferenceCloud, KeysAreAnnouncedWithNinetyOneBytes) {
    Begin("");
    const auto key = ParseJson(CloudDriveInterface::PublickKey());
    EXPECT_EQ(91u, EncryptHelper::Base64Decode(key["publicKey"].asString(), true).size());
    EXPECT_NE("", key["version"].asString());
    EXPECT_EQ("", CloudDriveInterface::KeyList(1, L"no:key", Wide(key["version"].asString())));
}

// CLOUD-LOGIN-03
TEST_F(WithReferenceCloud, AStaleTokenIsRenewedAndARevokedOneIsNot) {
    Begin("");
    Cloud::Login stale = login;
    stale.accessToken = L"stale";
    DriveAccount::UseLogin(stale);
    Cloud::Login heard;
    DriveAccount::OnRefresh([&](const Cloud::Login& fresh) { heard = fresh; });
    CloudFile file;
    EXPECT_EQ(404, DriveAccount::Get(L"nothing", file).status);
    EXPECT_NE(L"", heard.accessToken);
    EXPECT_NE(L"stale", heard.accessToken);
    cloud->RevokeTokens();
    EXPECT_EQ(401, DriveAccount::Get(L"nothing", file).status);
    Cloud::Login wrong;
    EXPECT_EQ(401, DriveAccount::SignIn(L"anna", L"wrong", wrong).status);
    EXPECT_TRUE(DriveAccount::SignIn(L"anna", ReferenceCloud::Password(), wrong).ok);
    EXPECT_TRUE(DriveAccount::SignOut().ok);
    EXPECT_EQ(401, DriveAccount::Get(L"nothing", file).status);
}

}  // namespace
}  // namespace Drive::Testing
