#pragma once

#include <deque>
#include <mutex>
#include <utility>

namespace Drive::TransferService {

/// A queue for any number of producers and consumers. It holds a hundred items at most times, so a mutex and a deque
/// serve. No operation blocks for longer than a copy takes.
template <typename T>
class ConcurrentQueue {
public:
    bool empty() const {
        std::lock_guard lock(mutex);
        return items.empty();
    }

    void push(T item) {
        std::lock_guard lock(mutex);
        items.push_back(std::move(item));
    }

    /// Takes the oldest item. False when there was none; `item` is then untouched.
    bool pop_if_present(T& item) {
        std::lock_guard lock(mutex);
        if (items.empty()) return false;
        item = std::move(items.front());
        items.pop_front();
        return true;
    }

private:
    mutable std::mutex mutex;
    std::deque<T> items;
};

}  // namespace Drive::TransferService
