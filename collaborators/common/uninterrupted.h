#pragma once

#include <cerrno>

namespace Drive::Common {

/// Makes a system call again for as long as a signal interrupts it, and gives its answer. Network and user-space file
/// systems interrupt calls that a local disk never does.
template <typename Call>
auto Uninterrupted(const Call& call) {
    auto answer = call();
    while (answer < 0 && errno == EINTR) answer = call();
    return answer;
}

}  // namespace Drive::Common
