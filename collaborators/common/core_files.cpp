#include "interfaces/common/core_files.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <string_view>

#include "collaborators/common/unique_fd.h"
#include "interfaces/common/globals.h"

namespace Drive::Common {

namespace {

/// Neither private nor shared, neither anonymous nor file memory: only the headers of mapped programs.
constexpr std::string_view kHeadersOnly = "0x10";

bool LeaveOut(const unsigned char* buffer) {
    const auto page = static_cast<std::uintptr_t>(sysconf(_SC_PAGESIZE));
    const std::uintptr_t begin = reinterpret_cast<std::uintptr_t>(buffer) / page * page;
    const std::uintptr_t end = reinterpret_cast<std::uintptr_t>(buffer) + kKeyBufferBytes;
    return madvise(reinterpret_cast<void*>(begin), end - begin, MADV_DONTDUMP) == 0;
}

/// At load, before anything can have put a key there.
const bool leftOut = LeaveOut(g_SyncUserKey) && LeaveOut(g_SyncUserKey_sfek);

}  // namespace

bool LeaveMemoryOutOfCoreFiles() {
    const UniqueFd filter(open("/proc/self/coredump_filter", O_WRONLY | O_CLOEXEC));
    return filter &&
           write(filter.Get(), kHeadersOnly.data(), kHeadersOnly.size()) == static_cast<ssize_t>(kHeadersOnly.size());
}

}  // namespace Drive::Common
