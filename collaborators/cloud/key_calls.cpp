#include "collaborators/cloud/control_call.h"
#include "collaborators/cloud/guarded.h"
#include "collaborators/cloud/json_fields.h"
#include "collaborators/cloud/text.h"
#include "interfaces/cloud/cloud_drive_interface.h"
#include "interfaces/cloud/wire/fields.h"
#include "interfaces/cloud/wire/routes.h"
#include "interfaces/common/encrypt_helper.h"
#include "interfaces/common/globals.h"

namespace Drive::Cloud {

namespace {

using Common::EncryptHelper;

constexpr std::size_t kPublicKeyBytes = 91;
constexpr std::size_t kGcmNonceAndTag = 12 + 16;
/// The engine copies a decrypted key into its buffer without looking at the length.
constexpr std::size_t kMostCipherBytes = kKeyBufferBytes + kGcmNonceAndTag;

void Log(const char* call, const std::string& text) { SyncPanelLog::WriteErrorLog("CloudClient", call, text); }

std::string AskForPublicKey() {
    ControlRequest request;
    request.call = "PublickKey";
    request.route = Wire::kPublicKey;
    const ControlAnswer answer = CallCloud(request);
    if (!answer.ok) return {};
    JsonFields fields(answer.body, request.call);
    const std::string key = Narrow(fields.Text(Wire::kPublicKeyField));
    if (EncryptHelper::Base64Decode(key, true).size() != kPublicKeyBytes) {
        Log(request.call, "the cloud's public key is not 91 bytes in Base64; the keys cannot be fetched");
        return {};
    }
    Json::Value out;
    out[Wire::kPublicKeyField] = key;
    out[Wire::kVersion] = Narrow(fields.Text(Wire::kVersion));
    return WriteJson(out);
}

/// False for an entry that the engine could not take safely.
bool FitsKeyBuffers(const Json::Value& entry, const char* call) {
    JsonFields fields(entry, call);
    const std::string cipher = Narrow(fields.Text(Wire::kEncryptedKey));
    fields.Text(Wire::kKeyUuid);
    if (!fields.Sound() || !entry[Wire::kEncryptedKey].isString() || !entry[Wire::kKeyUuid].isString()) {
        Log(call, "an entry of the cloud's key list is not complete; it was left out");
        return false;
    }
    // Decoded as the engine does it: whatever that makes of the text is what has to fit.
    const std::size_t length = EncryptHelper::Base64Decode(cipher, false).size();
    if (length >= kGcmNonceAndTag && length <= kMostCipherBytes) return true;
    Log(call, "a key of " + std::to_string(length) + " encrypted bytes does not fit; it was left out");
    return false;
}

std::string AskForKeys(int kind, const std::wstring& temporaryKeyText, const std::wstring& version) {
    ControlRequest request;
    request.call = "KeyList";
    request.method = "POST";
    request.route = Wire::kKeyList;
    request.body[Wire::kKeyKind] = kind;
    request.body[Wire::kTemporaryKey] = JsonText(temporaryKeyText);
    request.body[Wire::kVersion] = JsonText(version);
    const ControlAnswer answer = CallCloud(request);
    if (!answer.ok) return {};
    JsonFields fields(answer.body, request.call);
    Json::Value out;
    out[Wire::kKeys] = Json::Value(Json::arrayValue);
    if (!fields.Has(Wire::kKeys)) {
        Log(request.call, "the cloud's answer holds no key list");
        return {};
    }
    for (const Json::Value* entry : fields.Elements(Wire::kKeys)) {
        if (!FitsKeyBuffers(*entry, request.call)) continue;
        Json::Value kept;
        kept[Wire::kKeyType] = (*entry)[Wire::kKeyType];
        kept[Wire::kEncryptedKey] = (*entry)[Wire::kEncryptedKey];
        kept[Wire::kKeyUuid] = (*entry)[Wire::kKeyUuid];
        out[Wire::kKeys].append(kept);
    }
    if (out[Wire::kKeys].empty())
        Log(request.call, "the cloud's key list holds no usable key; nothing can be moved without");
    return fields.Sound() ? WriteJson(out) : std::string();
}

}  // namespace

std::string CloudDriveInterface::PublickKey() { return Guarded("PublickKey", std::string(), AskForPublicKey); }

std::string CloudDriveInterface::KeyList(int kind, const std::wstring& temporaryKeyText, const std::wstring& version) {
    return Guarded("KeyList", std::string(), [&] { return AskForKeys(kind, temporaryKeyText, version); });
}

}  // namespace Drive::Cloud
