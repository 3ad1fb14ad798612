#include "reference_cloud/proxy_sessions.h"

#include <algorithm>
#include <stdexcept>

#include "interfaces/cloud/wire/codes.h"
#include "reference_cloud/cloud.h"
#include "reference_cloud/content_source.h"
#include "reference_cloud/refusal.h"

namespace Drive::ReferenceCloud {

namespace {

constexpr std::size_t kMostKept = 1000;  // sessions whose digests are remembered

}  // namespace

std::unique_ptr<ProxySessions::Turn> ProxySessions::Take(const std::string& cursor) {
    const std::lock_guard lock(mutex_);
    if (!busy_.emplace(cursor, true).second) {
        throw Refusal(409, Drive::Cloud::Wire::kConflict,
                      "another request is sending to this session; wait for its end");
    }
    return std::make_unique<Turn>(*this, cursor);
}

void ProxySessions::GiveBack(const std::string& cursor) {
    const std::lock_guard lock(mutex_);
    busy_.erase(cursor);
}

RunningDigests ProxySessions::At(const std::string& cursor, std::int64_t position,
                                 const std::vector<StoredObject>& pieces) {
    {
        const std::lock_guard lock(mutex_);
        const auto kept = kept_.find(cursor);
        if (kept != kept_.end() && kept->second.position == position) return kept->second.digests.Copy();
    }
    RunningDigests digests;
    PiecesSource source(*cloud_.objects, pieces);
    std::string buffer(1024 * 1024, '\0');
    for (std::int64_t at = 0; at < position;) {
        const auto wanted = static_cast<std::size_t>(std::min<std::int64_t>(buffer.size(), position - at));
        const std::size_t count = source.Read(at, buffer.data(), wanted);
        if (count == 0) throw std::runtime_error("a session's pieces are shorter than their rows say");
        digests.Add({buffer.data(), count});
        at += static_cast<std::int64_t>(count);
    }
    return digests;
}

void ProxySessions::Keep(const std::string& cursor, std::int64_t position, RunningDigests digests) {
    const std::lock_guard lock(mutex_);
    kept_.erase(cursor);
    if (kept_.size() >= kMostKept) kept_.erase(kept_.begin());
    kept_.emplace(cursor, Kept{position, std::move(digests)});
}

void ProxySessions::Forget(const std::string& cursor) {
    const std::lock_guard lock(mutex_);
    kept_.erase(cursor);
}

}  // namespace Drive::ReferenceCloud
