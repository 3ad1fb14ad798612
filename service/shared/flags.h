#pragma once

#include <atomic>

namespace Drive::TransferService {

/// Reads a shared flag of Common that another thread may be writing.
inline bool ReadFlag(const bool& flag) {
    return std::atomic_ref<bool>(const_cast<bool&>(flag)).load(std::memory_order_relaxed);
}

inline void WriteFlag(bool& flag, bool value) { std::atomic_ref<bool>(flag).store(value, std::memory_order_relaxed); }

/// A plain value of our own that is read and written without a lock; a stale value does no harm.
template <typename T>
class Relaxed {
public:
    explicit Relaxed(T value) : value(value) {}
    operator T() const { return value.load(std::memory_order_relaxed); }
    Relaxed& operator=(T next) {
        value.store(next, std::memory_order_relaxed);
        return *this;
    }

private:
    std::atomic<T> value;
};

}  // namespace Drive::TransferService
