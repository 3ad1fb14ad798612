#pragma once

#include <unistd.h>

#include <utility>

namespace Drive::Common {

/// A file descriptor that is closed with its owner. Moving keeps `errno`, so that a failed call can still be told.
class UniqueFd {
public:
    UniqueFd() = default;
    explicit UniqueFd(int descriptor) : descriptor(descriptor) {}
    UniqueFd(UniqueFd&& other) noexcept : descriptor(std::exchange(other.descriptor, -1)) {}
    UniqueFd& operator=(UniqueFd&& other) noexcept {
        std::swap(descriptor, other.descriptor);
        return *this;
    }
    ~UniqueFd() {
        if (descriptor >= 0) {
            close(descriptor);
        }
    }

    int Get() const { return descriptor; }
    /// Hands the descriptor over to the caller.
    int Release() { return std::exchange(descriptor, -1); }
    explicit operator bool() const { return descriptor >= 0; }

private:
    int descriptor = -1;
};

}  // namespace Drive::Common
