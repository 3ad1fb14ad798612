#pragma once

#include <atomic>
#include <exception>
#include <functional>
#include <mutex>
#include <shared_mutex>
#include <utility>

namespace Drive::Logging {

/// Holds the function that stands in place of a channel's file. Any thread.
template <typename Record>
class SinkSlot {
public:
    /// Returns when the earlier function is neither running nor will be called again.
    void Set(std::function<void(const Record&)> function) {
        std::unique_lock<std::shared_mutex> lock(mutex);
        sink = std::move(function);
        isSet.store(static_cast<bool>(sink));
    }

    bool IsSet() const noexcept { return isSet.load(); }

    /// Hands the record over. False when there is no function; what a function throws is dropped.
    bool Deliver(const Record& record) noexcept {
        if (!IsSet()) return false;
        std::shared_lock<std::shared_mutex> lock(mutex);
        if (!sink) return false;
        try {
            sink(record);
        } catch (const std::exception&) {
            return true;
        } catch (...) {
            return true;
        }
        return true;
    }

private:
    std::shared_mutex mutex;
    // Guarded by mutex.
    std::function<void(const Record&)> sink;
    // Read without the lock, so that a log without a sink never touches it; true only while sink is set.
    std::atomic<bool> isSet{false};
};

}  // namespace Drive::Logging
