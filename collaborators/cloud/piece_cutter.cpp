#include "collaborators/cloud/piece_cutter.h"

#include <algorithm>
#include <exception>
#include <string>

#include "interfaces/logging/sync_panel_log.h"
#include "interfaces/platform/clock.h"

namespace Drive::Cloud {

namespace {

constexpr std::size_t kPiece = 64 * 1024;
constexpr std::int64_t kGatherMilliseconds = 200;

}  // namespace

PieceCutter::PieceCutter(const FileTransRequest::Receiver& receiver) : receiver(receiver) {}

std::size_t PieceCutter::RoomInPiece() const {
    return kPiece - static_cast<std::size_t>(delivered % static_cast<std::int64_t>(kPiece));
}

bool PieceCutter::Deliver(const unsigned char* data, std::size_t size) {
    static constexpr unsigned char kNothing = 0;
    const auto length = static_cast<std::int64_t>(size);
    try {
        refused = !receiver || !receiver(data == nullptr ? &kNothing : data, length);
    } catch (const std::exception& error) {
        refused = true;
        SyncPanelLog::WriteErrorLog("CloudClient", "DownloadCloudFileRequest",
                                    std::string("the receiver failed: ") + error.what());
    } catch (...) {
        refused = true;
        SyncPanelLog::WriteErrorLog("CloudClient", "DownloadCloudFileRequest", "the receiver failed");
    }
    if (!refused) delivered += length;
    return !refused;
}

bool PieceCutter::Take(const unsigned char* data, std::size_t size) {
    while (size > 0 && !refused) {
        const std::size_t step = std::min(size, RoomInPiece() - gathered.size());
        if (gathered.empty() && step == RoomInPiece()) {
            if (!Deliver(data, step)) return false;
        } else {
            if (gathered.empty()) gatheredSince = Platform::MonotonicMilliseconds();
            gathered.insert(gathered.end(), data, data + step);
            if (gathered.size() == RoomInPiece() && !Flush()) return false;
        }
        data += step;
        size -= step;
    }
    return !refused && Tick();
}

bool PieceCutter::Tick() {
    if (gathered.empty() || refused) return !refused;
    return Platform::MonotonicMilliseconds() - gatheredSince < kGatherMilliseconds || Flush();
}

bool PieceCutter::Flush() {
    if (gathered.empty() || refused) return !refused;
    const bool taken = Deliver(gathered.data(), gathered.size());
    gathered.clear();
    return taken;
}

bool PieceCutter::Finish() {
    if (!Flush()) return false;
    return delivered > 0 || Deliver(nullptr, 0);
}

}  // namespace Drive::Cloud
