#include "host/commands/cloud_content.h"

#include <openssl/crypto.h>
#include <openssl/evp.h>

#include <algorithm>
#include <exception>
#include <memory>
#include <vector>

#include "host/engine/engine_run.h"
#include "interfaces/cloud/cloud_drive_interface.h"
#include "interfaces/cloud/file_trans_request.h"
#include "interfaces/common/drive_functions.h"
#include "interfaces/common/encrypt_helper.h"
#include "interfaces/common/globals.h"
#include "interfaces/logging/type_convert.h"
#include "keys/sync_user_key_service.h"

namespace Drive::Host {
namespace {

using Cloud::CloudDriveInterface;
using Cloud::FileTransRequest;
using Bytes = std::vector<unsigned char>;

constexpr int kTries = 4;  // of one object, as the engine does it
constexpr const char* kUnread = "what the cloud holds cannot be brought down";

/// The digest of what came, and how much that was.
class Content {
public:
    explicit Content(const std::function<bool(std::int64_t)>& took) : took(took), context(EVP_MD_CTX_new()) {
        usable = context != nullptr && EVP_DigestInit_ex(context.get(), EVP_sha256(), nullptr) == 1;
    }

    /// False when the reading is to end.
    bool Take(const unsigned char* data, std::size_t size) {
        usable = usable && EVP_DigestUpdate(context.get(), data, size) == 1;
        bytes += static_cast<std::int64_t>(size);
        return usable && took(static_cast<std::int64_t>(size));
    }

    CloudContent Conclude() {
        unsigned char digest[EVP_MAX_MD_SIZE];
        unsigned int length = 0;
        if (!usable || EVP_DigestFinal_ex(context.get(), digest, &length) != 1) {
            return {L"", bytes, "its digest could not be made"};
        }
        std::wstring text;
        for (unsigned int index = 0; index < length; ++index) {
            text += L"0123456789abcdef"[digest[index] >> 4];
            text += L"0123456789abcdef"[digest[index] & 15];
        }
        return {text, bytes, ""};
    }

private:
    struct Free {
        void operator()(EVP_MD_CTX* context) const { EVP_MD_CTX_free(context); }
    };
    const std::function<bool(std::int64_t)>& took;
    std::unique_ptr<EVP_MD_CTX, Free> context;
    bool usable = false;
    std::int64_t bytes = 0;
};

/// The key and vector of a file, for as long as they are needed.
struct FileKey {
    Bytes key, iv;

    ~FileKey() {
        OPENSSL_cleanse(key.data(), key.size());
        OPENSSL_cleanse(iv.data(), iv.size());
    }
};

Bytes FromHex(const std::string& text, std::size_t count) {
    Bytes bytes(std::max(count, text.size() / 2 + 1));
    HexstrToByte(text, bytes.data(), text.size());
    bytes.resize(count);
    return bytes;
}

bool HaveUserKeys() {
    if (!EngineRun::HasKeys()) {
        TransferService::SyncUserKeyService().InitSyncUserKey();
    }
    return EngineRun::HasKeys();
}

/// Why the key could not be formed; empty when it was. As a download forms it, the user key of type 1 for both types.
std::string OpenKey(const Common::DownloadEncFekList& entry, FileKey& opened) {
    const std::size_t count = entry.keyType == L"1" ? 16 : entry.keyType == L"3" ? 32 : 0;
    if (count == 0) {
        return "the cloud tells a key of a type that nobody knows";
    }
    if (!HaveUserKeys()) {
        return "the cloud gave no keys for this account, and without them nothing of it can be opened";
    }
    Bytes userKey(g_SyncUserKey, g_SyncUserKey + count);
    std::string text = Common::EncryptHelper::GetFek(TypeConvert::WStringToString(entry.efek), userKey);
    OPENSSL_cleanse(userKey.data(), userKey.size());
    opened.key = FromHex(text, count);
    opened.iv = FromHex(TypeConvert::WStringToString(entry.iv), count);
    const bool opens = !text.empty();
    OPENSSL_cleanse(text.data(), text.size());
    return opens ? "" : "its wrapped key does not open with the key of this account";
}

bool FetchObject(const Common::KelpAddressRequestModel& request, const std::wstring& algorithm, const FileKey& key,
                 Bytes& plain) {
    for (int attempt = 0; attempt < kTries; ++attempt) {
        Common::DownloadKelpAddressInfo address;
        if (CloudDriveInterface::GetDownloadKelpAddress(request, address) &&
            FileTransRequest::DownloadDriveFileRequest(address.GetUrl(), address.GetHeaders(), key.key, key.iv,
                                                       algorithm, request.length, plain)) {
            return true;
        }
    }
    return false;
}

CloudContent ReadEncrypted(const Common::DownLoadAddressInfoModel& model,
                           const std::function<bool(std::int64_t)>& took) {
    FileKey key;
    const Common::DownloadEncFekList& entry = model.GetEncFekList().front();
    if (std::string why = OpenKey(entry, key); !why.empty()) {
        return {L"", 0, why};
    }
    if (model.GetObjectInfoList().empty()) {
        return {L"", 0, "the cloud tells no objects of it"};
    }
    const Common::DownloadObjectInfoList& objects = model.GetObjectInfoList().front();
    Content content(took);
    Bytes plain;
    for (std::size_t index = 0; index < objects.objectIds.size(); ++index) {
        const std::wstring synckey = index < objects.synckeys.size() ? objects.synckeys[index] : L"";
        const Common::KelpAddressRequestModel request{
            objects.bucketId,        objects.objectIds[index], synckey, objects.time,
            model.GetRecordCursor(), objects.length,           "",      ""};
        const std::string which =
            "object " + std::to_string(index + 1) + " of " + std::to_string(objects.objectIds.size());
        if (!FetchObject(request, entry.encryptAlgorithm, key, plain)) {
            return {L"", 0, std::string(kUnread) + ": " + which + " is lost, damaged, or of another key"};
        }
        const bool goesOn = content.Take(plain.data(), plain.size());
        OPENSSL_cleanse(plain.data(), plain.size());
        if (!goesOn) {
            return {L"", 0, std::string(kUnread) + ": it was ended at " + which};
        }
    }
    return content.Conclude();
}

CloudContent ReadPlain(const std::wstring& url, const std::function<bool(std::int64_t)>& took) {
    Content content(took);
    FileTransRequest request;
    request.receiveDownloadFileCallBackFun([&](const unsigned char* data, const std::int64_t& length) {
        return content.Take(data, static_cast<std::size_t>(length));
    });
    // The live token takes the place of the one that is written here.
    const WMap headers{{L"Range", L"bytes=0-"}, {L"Authorization", L"Bearer " + g_accessToken}};
    const int status = FileTransRequest::DownloadCloudFileRequest(url, headers, &request);
    if (status == 200 || status == 206) {
        return content.Conclude();
    }
    return {L"", 0, std::string(kUnread) + (status > 0 ? ": status " + std::to_string(status) : "")};
}

}  // namespace

CloudContent ReadCloudContent(const std::wstring& fileId, const std::function<bool(std::int64_t)>& took) {
    try {
        Common::DownLoadAddressInfoModel model;
        if (!CloudDriveInterface::GetDownloadAddressInfo(fileId, model)) {
            CloudContent nothing{L"", 0, "the cloud does not tell how it holds the file"};
            nothing.unanswered = true;
            return nothing;
        }
        return model.GetEncFekList().empty() ? ReadPlain(model.GetDownloadURL(), took) : ReadEncrypted(model, took);
    } catch (const std::exception& failure) {
        return {L"", 0, std::string(kUnread) + ": " + failure.what()};
    }
}

}  // namespace Drive::Host
