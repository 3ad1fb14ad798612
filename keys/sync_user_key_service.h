#pragma once

#include <string>
#include <vector>

#include "interfaces/platform/export.h"

namespace Drive::TransferService {

/// Brings the user's two content keys from the cloud, once a process. The keys never travel in the clear: a random
/// temporary key goes to the cloud under an elliptic-curve agreement, and the content keys come back encrypted with it.
/// They stand in the globals of Common for the life of the process and are not written to disk. Used by one thread.
class SyncUserKeyService {
public:
    /// Fetches the keys unless they are there. Success shows only in the globals: the first byte of g_SyncUserKey is
    /// then not zero. Every failure is logged and leaves the globals as they were; the caller tries again. Exceptions
    /// of the JSON library leave it.
    ZELKOR_API void InitSyncUserKey();

    /// Carries `tempAesKey` (16 bytes) to the cloud: an ephemeral agreement against the point in `publicKey` (Base64 of
    /// 91 bytes: 26 of prefix, 65 of point). Returns Base64 of the own blob of the same layout, ":", and Base64 of the
    /// encrypted key; empty after an exception, which is logged.
    ZELKOR_API std::string GetTempAesKey(std::string publicKey, std::vector<unsigned char> tempAesKey);

private:
    void readKeyList(const std::string& response, const std::vector<unsigned char>& tempAesKey);
    void encodeSyncUserKey(const std::string& encryptedKey, const std::string& keyUuid, const int& keyType,
                           const std::vector<unsigned char>& tempAesKey);
};

}  // namespace Drive::TransferService
