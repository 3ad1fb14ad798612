// The agreement is told in terms of the classic curve interface, which newer library versions mark as old.
#define OPENSSL_SUPPRESS_DEPRECATED
#include <openssl/crypto.h>
#include <openssl/ec.h>
#include <openssl/ecdh.h>
#include <openssl/obj_mac.h>

#include <array>
#include <exception>
#include <memory>
#include <string>
#include <vector>

#include "interfaces/common/encrypt_helper.h"
#include "interfaces/logging/bi_logs_manager.h"
#include "interfaces/logging/sync_panel_log.h"
#include "interfaces/logging/type_convert.h"
#include "keys/sync_user_key_service.h"
#include "service/shared/codes.h"

namespace Drive::TransferService {

namespace {

constexpr std::size_t kPrefixBytes = 26;
constexpr std::size_t kPointBytes = 65;
constexpr std::size_t kBlobBytes = kPrefixBytes + kPointBytes;
constexpr std::size_t kSecretBytes = 32;
constexpr unsigned char kUncompressed = 4;

using Point = std::array<unsigned char, kPointBytes>;

struct Release {
    void operator()(EC_KEY* key) const { EC_KEY_free(key); }
    void operator()(EC_POINT* point) const { EC_POINT_free(point); }
};

// Throws std::out_of_range for a blob that is too short.
Point PeerPoint(const std::string& blob) {
    Point point;
    for (std::size_t index = 0; index < kPointBytes; ++index) {
        point[index] = static_cast<unsigned char>(blob.at(kPrefixBytes + index));
    }
    return point;
}

// Fills the own public point and the shared secret. A failure on the way leaves a secret of zeros, with which the
// caller goes on: it shows when the cloud cannot use the answer. Deliberate.
void Agree(const Point& peerPoint, Point& ownPoint, std::vector<unsigned char>& secret) {
    const std::unique_ptr<EC_KEY, Release> key(EC_KEY_new_by_curve_name(NID_X9_62_prime256v1));
    const EC_GROUP* group = EC_KEY_get0_group(key.get());
    const std::unique_ptr<EC_POINT, Release> point(EC_POINT_new(group));
    if (EC_KEY_generate_key(key.get()) != 1) return;
    if (peerPoint[0] == kUncompressed) {
        EC_POINT_point2oct(group, EC_KEY_get0_public_key(key.get()), POINT_CONVERSION_UNCOMPRESSED, ownPoint.data(),
                           ownPoint.size(), nullptr);
    }
    if (EC_POINT_oct2point(group, point.get(), peerPoint.data(), peerPoint.size(), nullptr) != 1) return;
    ECDH_compute_key(secret.data(), secret.size(), point.get(), key.get(), nullptr);
}

// The answer has the layout of the blob that came: its prefix, then the own point.
std::vector<unsigned char> AnswerBlob(const std::string& blob, const Point& ownPoint) {
    std::vector<unsigned char> answer(kBlobBytes);
    const std::size_t prefixLength = blob.size() - kPointBytes;
    for (std::size_t index = 0; index < kBlobBytes; ++index) {
        answer[index] =
            index < prefixLength ? static_cast<unsigned char>(blob.at(index)) : ownPoint.at(index - prefixLength);
    }
    return answer;
}

}  // namespace

std::string SyncUserKeyService::GetTempAesKey(std::string publicKey, std::vector<unsigned char> tempAesKey) {
    try {
        const std::string decoded = Common::EncryptHelper::Base64Decode(publicKey, false);
        const Point peerPoint = PeerPoint(decoded);
        Point ownPoint{};
        std::vector<unsigned char> secret(kSecretBytes);
        Agree(peerPoint, ownPoint, secret);
        const std::vector<unsigned char> cipher = Common::EncryptHelper::AES_GCM_Encrypt(tempAesKey, secret);
        OPENSSL_cleanse(secret.data(), secret.size());
        OPENSSL_cleanse(tempAesKey.data(), tempAesKey.size());
        const std::string cipherText = Common::EncryptHelper::Base64Encode(cipher.data(), cipher.size(), true);
        const std::vector<unsigned char> blob = AnswerBlob(decoded, ownPoint);
        return Common::EncryptHelper::Base64Encode(blob.data(), blob.size(), true) + ":" + cipherText;
    } catch (const std::exception& error) {
        const std::string text = std::string("error:") + error.what();
        SyncPanelLog::WriteErrorLog("SyncUserKeyService", "GetTempAesKey", text);
        Bilog::BiLogsManager::GetInstance().OperateLog(kStatisticKeys, L"SyncUserKeyService::GetTempAesKey ",
                                                       TypeConvert::StringToWString(text));
        return std::string();
    }
}

}  // namespace Drive::TransferService
