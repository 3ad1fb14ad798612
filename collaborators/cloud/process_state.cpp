#include "collaborators/cloud/process_state.h"

#include <algorithm>
#include <exception>
#include <mutex>

#include "collaborators/cloud/text.h"
#include "interfaces/common/globals.h"
#include "interfaces/logging/sync_panel_log.h"
#include "interfaces/platform/clock.h"
#include "interfaces/platform/native_path.h"

namespace Drive::Cloud {

namespace {

constexpr std::int64_t kPauseStep = 100;

/// Never destroyed: threads may still be in a call when the process ends.
struct State {
    std::mutex mutex;
    std::shared_ptr<const Limits> limits = std::make_shared<const Limits>();  // guarded by mutex
    std::atomic<std::uint64_t> sent{0};
    std::atomic<std::uint64_t> received{0};
    std::atomic<bool> aborted{false};
};

State& Shared() {
    static State& state = *new State;
    return state;
}

std::int64_t Milliseconds(int seconds) { return std::max<std::int64_t>(1, seconds) * 1000; }

std::string WithoutClosingSlashes(std::string text) {
    while (!text.empty() && text.back() == '/') text.pop_back();
    return text;
}

}  // namespace

std::shared_ptr<const Limits> CurrentLimits() {
    const std::lock_guard lock(Shared().mutex);
    return Shared().limits;
}

void SetLimits(const CloudSettings& settings) {
    auto limits = std::make_shared<Limits>();
    try {
        limits->baseUrl = WithoutClosingSlashes(Narrow(settings.baseUrl));
        if (!settings.caFile.empty()) limits->caFile = Platform::NativePath(settings.caFile);
    } catch (const std::exception& error) {
        SyncPanelLog::WriteErrorLog(
            "CloudClient", "Configure",
            std::string("the cloud's address or the certificate file cannot be read as text: ") + error.what());
    }
    limits->connectMilliseconds = Milliseconds(settings.connectSeconds);
    limits->idleMilliseconds = Milliseconds(settings.idleSeconds);
    limits->controlMilliseconds = Milliseconds(settings.controlSeconds);
    limits->repeats = std::clamp(settings.repeats, 0, 100);
    limits->uploadBytesPerSecond = std::max<std::int64_t>(0, settings.uploadBytesPerSecond);
    limits->downloadBytesPerSecond = std::max<std::int64_t>(0, settings.downloadBytesPerSecond);
    limits->proxyForLoopback = settings.proxyForLoopback;
    const std::lock_guard lock(Shared().mutex);
    Shared().limits = std::move(limits);
}

void CountSent(std::uint64_t bytes) { Shared().sent.fetch_add(bytes, std::memory_order_relaxed); }
void CountReceived(std::uint64_t bytes) { Shared().received.fetch_add(bytes, std::memory_order_relaxed); }

TransferCounters CountersNow() {
    return {Shared().sent.load(std::memory_order_relaxed), Shared().received.load(std::memory_order_relaxed)};
}

void SetAborted(bool aborted) { Shared().aborted.store(aborted); }
bool IsAborted() { return Shared().aborted.load(); }

bool AreDownloadsStopped() { return std::atomic_ref<bool>(g_StopDownLoadTask).load(std::memory_order_relaxed); }

bool PauseUnlessAborted(std::int64_t milliseconds, bool download) {
    const auto goesOn = [download] { return !IsAborted() && !(download && AreDownloadsStopped()); };
    while (milliseconds > 0 && goesOn()) {
        const std::int64_t step = std::min(milliseconds, kPauseStep);
        Platform::Sleep(static_cast<Platform::DWORD>(step));
        milliseconds -= step;
    }
    return goesOn();
}

}  // namespace Drive::Cloud
