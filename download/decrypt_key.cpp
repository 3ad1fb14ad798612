#include <openssl/crypto.h>

#include <algorithm>
#include <cctype>
#include <string>
#include <vector>

#include "download/download_task_manager.h"
#include "interfaces/common/drive_functions.h"
#include "interfaces/common/encrypt_helper.h"
#include "interfaces/common/globals.h"
#include "interfaces/logging/type_convert.h"

namespace Drive::TransferService {

namespace {

constexpr std::size_t kKeyBytesType1 = 16;
constexpr std::size_t kKeyBytesType3 = 32;

// The first `count` bytes of a hexadecimal text, of which `characters` are read; what is missing is zero.
std::vector<unsigned char> HexBytes(const std::string& text, std::size_t characters, std::size_t count) {
    std::vector<unsigned char> bytes(std::max(count, characters / 2 + 1));
    HexstrToByte(text, bytes.data(), characters);
    bytes.resize(count);
    return bytes;
}

}  // namespace

// The system never holds a file key in the clear on disk; it is formed here, in memory, for one job.
bool DownLoadTaskManger::getDecryptKeyType(const Common::DownLoadAddressInfoModel& model, std::wstring& keyType,
                                           std::wstring& encryptAlgorithm, std::vector<unsigned char>& ivBytes,
                                           std::vector<unsigned char>& fek) {
    const Common::DownloadEncFekList entry = model.GetEncFekList().front();
    encryptAlgorithm = entry.encryptAlgorithm;
    keyType = entry.keyType;
    std::size_t keyBytes = 0;
    if (keyType == L"1") {
        keyBytes = kKeyBytesType1;
    } else if (keyType == L"3") {
        keyBytes = kKeyBytesType3;
    } else {
        return false;
    }
    ivBytes = HexBytes(TypeConvert::WStringToString(entry.iv), keyBytes * 2, keyBytes);
    const std::string efek = TypeConvert::WStringToString(entry.efek);
    // The user key of type 1 serves type 3 as well, although uploads wrap with the other one; deliberate.
    std::vector<unsigned char> userKey(g_SyncUserKey, g_SyncUserKey + keyBytes);
    std::string text = Common::EncryptHelper::GetFek(efek, userKey);
    for (char& character : text) {
        character = static_cast<char>(std::toupper(static_cast<unsigned char>(character)));
    }
    fek = HexBytes(text, text.size(), keyBytes);
    OPENSSL_cleanse(userKey.data(), userKey.size());
    OPENSSL_cleanse(text.data(), text.size());
    return true;
}

// Stands ready; the transfer does not call it.
int DownLoadTaskManger::checkFileHasAttachment(std::vector<Common::DownloadAttributes>& attributes) {
    for (const Common::DownloadAttributes& attribute : attributes) {
        if (attribute.name == L"small" || attribute.name == L"large") return 1;
    }
    return 0;
}

}  // namespace Drive::TransferService
