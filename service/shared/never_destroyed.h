#pragma once

#include <new>
#include <utility>

namespace Drive::TransferService {

/// Holds an object that is made as usual and never destroyed. For what threads may still touch or wait on while the
/// process ends: destroying a condition that has a waiter hangs the exit.
template <typename T>
class NeverDestroyed {
public:
    template <typename... Arguments>
    explicit NeverDestroyed(Arguments&&... arguments) {
        new (storage) T(std::forward<Arguments>(arguments)...);
    }
    NeverDestroyed(const NeverDestroyed&) = delete;
    NeverDestroyed& operator=(const NeverDestroyed&) = delete;

    T& operator*() { return *std::launder(reinterpret_cast<T*>(storage)); }
    const T& operator*() const { return *std::launder(reinterpret_cast<const T*>(storage)); }
    T* operator->() { return &**this; }
    const T* operator->() const { return &**this; }

private:
    alignas(T) unsigned char storage[sizeof(T)];
};

}  // namespace Drive::TransferService
