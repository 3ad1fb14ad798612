#pragma once

#include <unistd.h>

#include <cerrno>
#include <utility>

namespace Drive::Common {

/// A file descriptor that is closed with its owner. Closing keeps `errno`, so that a failed call can still be told.
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
            const int error = errno;
            close(descriptor);
            errno = error;
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
