#include "tests/support/scripted_cloud.h"

#include <algorithm>

#include "tests/support/journal.h"

namespace Drive::Testing {

namespace {

constexpr std::int64_t kBlock = 4 << 20;

}  // namespace

ScriptedCloud& ScriptedCloud::Get() {
    static auto* cloud = new ScriptedCloud;
    return *cloud;
}

void ScriptedCloud::Reset() {
    objectsUploadStart.Reset();
    getUploadKelpAddress.Reset();
    objectsUploadComplete.Reset();
    filesCreateComplete.Reset();
    filesUpdateComplete.Reset();
    inQuireCloudFile.Reset();
    fileproxyUpload.Reset();
    getDownloadAddressInfo.Reset();
    getDownloadKelpAddress.Reset();
    getUserSpace.Reset();
    publickKey.Reset();
    keyList.Reset();
    uploadRequest.Reset();
    downloadDriveFileRequest.Reset();
    downloadCloudFileRequest.Reset();
    getBoundary.Reset();
    files.clear();
    replies.clear();
    objectFaults.clear();
    contentInfo.reset();
    publicKey.clear();
    publicKeyVersion.clear();
    userKeys.reset();
    const std::lock_guard lock(mutex);
    objects.clear();
    sealed.clear();
    space.Forget();
    created = 0;
    boundaries = 0;
    asked.clear();
}

void ScriptedCloud::PutPlain(const std::wstring& fileId, const std::string& bytes) {
    CloudContent content;
    content.bytes = bytes;
    files[fileId] = content;
}

void ScriptedCloud::PutEncrypted(const std::wstring& fileId, const std::string& bytes, std::size_t objectSize) {
    CloudContent content;
    content.bytes = bytes;
    content.encrypted = true;
    for (std::size_t start = 0; start < bytes.size(); start += objectSize) {
        const std::wstring id = fileId + L"-object-" + std::to_wstring(content.objects.size());
        const std::string part = bytes.substr(start, objectSize);
        objects[id].assign(part.begin(), part.end());
        content.objects.push_back(id);
    }
    files[fileId] = content;
}

int ScriptedCloud::Asked(const std::string& operation) const {
    const std::lock_guard lock(mutex);
    const auto found = asked.find(operation);
    return found == asked.end() ? 0 : found->second;
}

bool ScriptedCloud::Deliver(const std::string& body, std::int64_t offset, std::int64_t end,
                            const Cloud::FileTransRequest::Receiver& receiver) const {
    const std::int64_t total = end - offset;
    if (total <= 0) return receiver(reinterpret_cast<const unsigned char*>(body.data()), 0);
    for (std::int64_t done = 0; done < total;) {
        const std::int64_t toBlock = kBlock - done % kBlock;
        const std::int64_t length = std::min({total - done, toBlock, static_cast<std::int64_t>(pieceSize)});
        const auto* data = reinterpret_cast<const unsigned char*>(body.data()) + offset + done;
        if (!receiver(data, length)) return false;
        done += length;
        VirtualTime::MaybeYield();
    }
    return true;
}

}  // namespace Drive::Testing
