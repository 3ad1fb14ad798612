#include "collaborators/common/beneath.h"

#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/syscall.h>

#include <cerrno>

#include "collaborators/common/native_parts.h"

namespace Drive::Common {

namespace {

// The kernel answers EAGAIN when a rename raced with its lookup; each repeat looks anew.
constexpr int kMostLookups = 64;

int OpenAt2(int base, const char* relative, int flags, mode_t mode) {
    open_how how{};
    how.flags = static_cast<unsigned>(flags | O_CLOEXEC | ((flags & O_DIRECTORY) != 0 ? 0 : O_NOFOLLOW));
    how.mode = (flags & O_CREAT) != 0 ? mode : 0;
    how.resolve = RESOLVE_BENEATH | RESOLVE_NO_MAGICLINKS;
    return static_cast<int>(syscall(SYS_openat2, base, relative, &how, sizeof how));
}

}  // namespace

UniqueFd OpenBeneath(int base, const std::string& relative, int flags, mode_t mode) {
    const char* path = relative.empty() ? "." : relative.c_str();
    for (int lookup = 0; lookup < kMostLookups; ++lookup) {
        const int descriptor = OpenAt2(base, path, flags, mode);
        if (descriptor >= 0) {
            return UniqueFd(descriptor);
        }
        // EPERM is also what a sandbox answers that does not know the call.
        if (errno == ENOSYS || errno == EPERM) {
            return OpenByWalk(base, relative, flags, mode);
        }
        if (errno != EAGAIN && errno != EINTR) {
            return UniqueFd();
        }
    }
    return UniqueFd();
}

UniqueFd OpenByWalk(int base, const std::string& relative, int flags, mode_t mode) {
    const NativeParts parts = SplitNative(relative);
    if (parts.absolute) {
        errno = EXDEV;
        return UniqueFd();
    }
    UniqueFd folder;
    for (std::size_t index = 0; index < parts.names.size(); ++index) {
        const std::string& name = parts.names[index];
        if (name == "..") {
            errno = EXDEV;
            return UniqueFd();
        }
        const bool last = index + 1 == parts.names.size();
        const int stepFlags = last ? flags : O_PATH | O_DIRECTORY;
        const int from = folder ? folder.Get() : base;
        UniqueFd next(openat(from, name.c_str(), stepFlags | O_CLOEXEC | O_NOFOLLOW, mode));
        if (!next || last) {
            return next;
        }
        folder = std::move(next);
    }
    return UniqueFd(openat(base, ".", flags | O_CLOEXEC, mode));
}

}  // namespace Drive::Common
