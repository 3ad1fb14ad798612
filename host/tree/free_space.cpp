#include "host/tree/free_space.h"

#include <sys/statvfs.h>

namespace Drive::Host {

std::int64_t FreeBytes(const std::string& folder) {
    struct statvfs facts {};
    if (statvfs(folder.c_str(), &facts) != 0) {
        return -1;
    }
    return static_cast<std::int64_t>(facts.f_bfree) * static_cast<std::int64_t>(facts.f_frsize);
}

}  // namespace Drive::Host
