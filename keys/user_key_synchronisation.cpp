#include <json/json.h>
#include <openssl/crypto.h>

#include <algorithm>
#include <atomic>
#include <string>
#include <vector>

#include "interfaces/cloud/cloud_drive_interface.h"
#include "interfaces/common/encrypt_helper.h"
#include "interfaces/common/globals.h"
#include "interfaces/logging/bi_logs_manager.h"
#include "interfaces/logging/sync_panel_log.h"
#include "interfaces/logging/type_convert.h"
#include "keys/sync_user_key_service.h"
#include "service/shared/codes.h"

namespace Drive::TransferService {

namespace {

constexpr int kTraceKind = 10;
constexpr int kUserKeyType = 1;
constexpr int kSecondKeyType = 3;
constexpr std::size_t kTemporaryKeyBytes = 16;

void OperateLog(const char* text) {
    Bilog::BiLogsManager::GetInstance().OperateLog(kStatisticKeys, L"SyncUserKeyService::InitSyncUserKey ",
                                                   TypeConvert::StringToWString(text));
}

void Report(const char* text) {
    SyncPanelLog::WriteEndTraceLog(kTraceKind, kStatisticKeys, "SyncUserKeyService", "InitSyncUserKey", text);
    OperateLog(text);
}

void ReportError(const char* text) {
    SyncPanelLog::WriteErrorLog("SyncUserKeyService", "InitSyncUserKey", text);
    OperateLog(text);
}

bool Parse(const std::string& response, Json::Value& value) {
    Json::Reader reader;
    return !response.empty() && reader.parse(response, value);
}

// A null passes for an object, which the JSON library's own test does not do.
bool LacksMember(const Json::Value& value, const char* name) {
    return (value.isObject() || value.isNull()) && !value.isMember(name);
}

// No key is longer than its buffer; what would run over is cut. A host may look at the first byte meanwhile.
void CopyKey(const std::vector<unsigned char>& plain, unsigned char* buffer) {
    for (std::size_t i = 0; i < std::min<std::size_t>(plain.size(), kKeyBufferBytes); ++i) {
        std::atomic_ref<unsigned char>(buffer[i]).store(plain[i], std::memory_order_relaxed);
    }
}

}  // namespace

void SyncUserKeyService::InitSyncUserKey() {
    SyncPanelLog::WriteBeginTraceLog(kTraceKind, kStatisticKeys, "SyncUserKeyService", "InitSyncUserKey",
                                     "InitSyncUserKey Begin");
    OperateLog("InitSyncUserKey Begin");
    if (g_SyncUserKey[0] != 0) {
        SyncPanelLog::WriteTraceLog("g_SyncUserKey has inited");
        return;
    }
    Json::Value answer;
    if (!Parse(Cloud::CloudDriveInterface::PublickKey(), answer)) {
        Report("get publicKey reponse format error");
        return;
    }
    if (LacksMember(answer, "publicKey")) {
        Report("get publicKey reponse format error not include pk");
        return;
    }
    const std::string publicKey = answer["publicKey"].asString();
    const std::string version = answer["version"].asString();
    std::vector<unsigned char> tempAesKey(kTemporaryKeyBytes);
    Common::EncryptHelper::GetSecureRandom(tempAesKey.data(), tempAesKey.size());
    const std::string temporaryKeyText = GetTempAesKey(publicKey, tempAesKey);
    if (temporaryKeyText.empty()) {
        Report("tempAesKey creates failed");
        return;
    }
    readKeyList(Cloud::CloudDriveInterface::KeyList(1, TypeConvert::StringToWString(temporaryKeyText),
                                                    TypeConvert::StringToWString(version)),
                tempAesKey);
    OPENSSL_cleanse(tempAesKey.data(), tempAesKey.size());
}

void SyncUserKeyService::readKeyList(const std::string& response, const std::vector<unsigned char>& tempAesKey) {
    Json::Value answer;
    if (!Parse(response, answer)) {
        ReportError("error:keylist format Illegal");
        return;
    }
    if (LacksMember(answer, "keys")) {
        ReportError("error:keylist format Illegal,keys is not member");
        return;
    }
    const Json::Value keys = answer["keys"];
    if (!keys.isArray()) return;
    for (const Json::Value& entry : keys) {
        for (const int keyType : {kUserKeyType, kSecondKeyType}) {
            // Compared as values: a text or a fraction is no key type, and asking for an int would throw.
            if (entry["keyType"] != Json::Value(keyType)) continue;
            encodeSyncUserKey(entry["encryptedKey"].asString(), entry["keyUuid"].asString(), keyType, tempAesKey);
        }
    }
}

void SyncUserKeyService::encodeSyncUserKey(const std::string& encryptedKey, const std::string& keyUuid,
                                           const int& keyType, const std::vector<unsigned char>& tempAesKey) {
    const std::string decoded = Common::EncryptHelper::Base64Decode(encryptedKey, false);
    std::vector<unsigned char> plain =
        Common::EncryptHelper::AES_GCM_Decrypt(std::vector<unsigned char>(decoded.begin(), decoded.end()), tempAesKey);
    const auto endTrace = [](const char* text) {
        SyncPanelLog::WriteEndTraceLog(kTraceKind, kStatisticService, "SyncUserKeyService", "InitSyncUserKey", text);
    };
    if (plain.size() == 1) {
        endTrace("get sync_user_drive failed");
    } else if (keyType == kUserKeyType) {
        CopyKey(plain, g_SyncUserKey);
        endTrace("get sync_user_drive efek Success");
        OperateLog("get sync_user_drive efek Success");
        g_Keyuid = keyUuid;
    } else if (keyType == kSecondKeyType) {
        CopyKey(plain, g_SyncUserKey_sfek);
        endTrace("get sync_user_drive sefek Success");
        OperateLog("get sync_user_drive sefek Success");
        g_Keyuid_sfek = keyUuid;
    }
    OPENSSL_cleanse(plain.data(), plain.size());
    // The closing line is written in every case, success too; deliberate.
    OperateLog("get sync_user_drive failed");
}

}  // namespace Drive::TransferService
