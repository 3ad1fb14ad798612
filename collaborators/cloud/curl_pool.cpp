#include "collaborators/cloud/curl_pool.h"

#include <poll.h>

#include <algorithm>
#include <array>
#include <iterator>
#include <memory>
#include <mutex>
#include <vector>

namespace Drive::Cloud {

namespace {

constexpr std::size_t kIdleHandlesKept = 32;
constexpr long kConnectionsPerHandle = 1;

/// Never destroyed: a transfer may still run when the process ends.
struct Pool {
    std::mutex mutex;
    std::vector<std::unique_ptr<CurlHandle>> idle;  // guarded by mutex; the latest used last
    std::array<std::mutex, CURL_LOCK_DATA_LAST> shareLocks;
    CURLSH* share = nullptr;

    Pool();
};

void LockShare(CURL*, curl_lock_data data, curl_lock_access, void* pool) {
    static_cast<Pool*>(pool)->shareLocks[data].lock();
}

void UnlockShare(CURL*, curl_lock_data data, void* pool) { static_cast<Pool*>(pool)->shareLocks[data].unlock(); }

Pool::Pool() {
    curl_global_init(CURL_GLOBAL_ALL);
    share = curl_share_init();
    if (share == nullptr) return;
    curl_share_setopt(share, CURLSHOPT_LOCKFUNC, LockShare);
    curl_share_setopt(share, CURLSHOPT_UNLOCKFUNC, UnlockShare);
    curl_share_setopt(share, CURLSHOPT_USERDATA, this);
    curl_share_setopt(share, CURLSHOPT_SHARE, CURL_LOCK_DATA_DNS);
    curl_share_setopt(share, CURLSHOPT_SHARE, CURL_LOCK_DATA_SSL_SESSION);
}

Pool& ThePool() {
    static Pool& pool = *new Pool;
    return pool;
}

std::unique_ptr<CurlHandle> TakeIdle(Pool& pool, const std::string& origin) {
    const std::lock_guard lock(pool.mutex);
    const auto same = std::find_if(pool.idle.rbegin(), pool.idle.rend(),
                                   [&](const auto& candidate) { return candidate->origin == origin; });
    if (same == pool.idle.rend() && pool.idle.size() < kIdleHandlesKept) return nullptr;
    const auto chosen = same == pool.idle.rend() ? pool.idle.begin() : std::prev(same.base());
    std::unique_ptr<CurlHandle> taken = std::move(*chosen);
    pool.idle.erase(chosen);
    return taken;
}

}  // namespace

CurlHandle::CurlHandle() : easy(curl_easy_init()), multi(curl_multi_init()) {
    if (multi != nullptr) curl_multi_setopt(multi, CURLMOPT_MAXCONNECTS, kConnectionsPerHandle);
}

CurlHandle::~CurlHandle() {
    curl_easy_cleanup(easy);
    curl_multi_cleanup(multi);
}

void CurlHandle::NoteConnection() {
    kept = CURL_SOCKET_BAD;
    curl_easy_getinfo(easy, CURLINFO_ACTIVESOCKET, &kept);
}

bool CurlHandle::IsSpoilt() const {
    pollfd waiting{kept, POLLIN | POLLRDHUP, 0};
    return kept != CURL_SOCKET_BAD && poll(&waiting, 1, 0) > 0;
}

CurlLease::CurlLease(const std::string& origin) : handle(nullptr) {
    Pool& pool = ThePool();
    std::unique_ptr<CurlHandle> taken = TakeIdle(pool, origin);
    if (!taken) taken = std::make_unique<CurlHandle>();
    if (taken->easy == nullptr || taken->multi == nullptr) return;
    if (pool.share != nullptr) curl_easy_setopt(taken->easy, CURLOPT_SHARE, pool.share);
    taken->origin = origin;
    handle = taken.release();
}

CurlLease::~CurlLease() {
    if (handle == nullptr) return;
    curl_easy_reset(handle->easy);  // nothing of the request that ended may be pointed to any more
    std::unique_ptr<CurlHandle> back(handle);
    std::unique_ptr<CurlHandle> surplus;
    Pool& pool = ThePool();
    const std::lock_guard lock(pool.mutex);
    pool.idle.push_back(std::move(back));
    if (pool.idle.size() <= kIdleHandlesKept) return;
    surplus = std::move(pool.idle.front());
    pool.idle.erase(pool.idle.begin());
}

}  // namespace Drive::Cloud
