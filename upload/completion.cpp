#include <exception>
#include <string>
#include <vector>

#include "interfaces/cloud/cloud_drive_interface.h"
#include "interfaces/common/encrypt_helper.h"
#include "interfaces/common/file_helper.h"
#include "interfaces/common/globals.h"
#include "interfaces/logging/sync_panel_log.h"
#include "interfaces/logging/type_convert.h"
#include "upload/file_key.h"
#include "upload/upload_task_manager.h"

namespace Drive::TransferService {

namespace {

constexpr int kUserKeyType = 1;
constexpr int kSecondKeyType = 3;
constexpr std::size_t kUserKeyBytes = 16;
constexpr std::size_t kSecondKeyBytes = 32;

void WriteCompletionError(const std::string& text) {
    SyncPanelLog::WriteErrorLog("UpLoadTaskManger", "fileCreateComplete", text);
}

/// Both wrapped copies, the type 1 entry first.
std::vector<Common::EncFekList> KeyListOf(const std::string& efek, const std::string& sfek, const std::string& ivHex) {
    const std::wstring iv = TypeConvert::StringToWString(ivHex);
    return {Common::EncFekList(TypeConvert::StringToWString(g_Keyuid), kUserKeyType, TypeConvert::StringToWString(efek),
                               iv, L"AES_128"),
            Common::EncFekList(TypeConvert::StringToWString(g_Keyuid_sfek), kSecondKeyType,
                               TypeConvert::StringToWString(sfek), iv, L"AES_256")};
}

bool Complete(Common::FileItem& file, const std::wstring& recordCursor, Common::CreateUpdateRequestModel& model,
              WMap& result) {
    // A local id: the cloud has never seen this file.
    const bool isNew = Common::FileHepler::IsLocalFile(file.GetFileId(), L"Local");
    model.SetIsCreateNew(isNew);
    return isNew ? Cloud::CloudDriveInterface::FilesCreateComplete(file, recordCursor, model, result)
                 : Cloud::CloudDriveInterface::FilesUpdateComplete(file, recordCursor, model, result);
}

}  // namespace

std::string UpLoadTaskManger::getUserKey(const std::string& keyHex, const std::string& ivHex, const int& keyType) {
    const unsigned char* source = nullptr;
    std::size_t length = 0;
    if (keyType == kUserKeyType) {
        source = g_SyncUserKey;
        length = kUserKeyBytes;
    } else if (keyType == kSecondKeyType) {
        source = g_SyncUserKey_sfek;
        length = kSecondKeyBytes;
    } else {
        return std::string();
    }
    const KeyBytes userKey(std::vector<unsigned char>(source, source + length));
    return Common::EncryptHelper::GetEfek(keyHex, userKey, ivHex);
}

bool UpLoadTaskManger::fileCreateComplete(Common::FileItem& file, const std::vector<Common::ObjectInfoList>& objects,
                                          const std::wstring& recordCursor, WMap& result) {
    try {
        const FileKeyText text(file.GetFileHMAC());
        const std::string efek = getUserKey(text.keyHex, text.ivHex, kUserKeyType);
        const std::string sfek = getUserKey(text.keyHex, text.ivHex, kSecondKeyType);
        if (efek.empty() || sfek.empty()) {
            WriteCompletionError("efek or sfek is empty; efek=" + efek + ";sfek=" + sfek);
            return false;
        }
        Common::CreateUpdateRequestModel model(file);
        model.SetObjectInfoList(objects);
        model.SetEncFekList(KeyListOf(efek, sfek, text.ivHex));
        return Complete(file, recordCursor, model, result);
    } catch (const std::exception& error) {
        WriteCompletionError(std::string("fileCreateComplete error. ") + error.what());
        return false;
    }
}

}  // namespace Drive::TransferService
