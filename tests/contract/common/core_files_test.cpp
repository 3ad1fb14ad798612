#include "interfaces/common/core_files.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdint>
#include <fstream>
#include <sstream>
#include <string>

#include "interfaces/common/globals.h"

namespace Drive::Common {

namespace {

/// The kernel's marks of the mapping that holds an address.
std::string MarksOf(const void* address) {
    std::ifstream maps("/proc/self/smaps");
    const auto wanted = reinterpret_cast<std::uintptr_t>(address);
    bool inside = false;
    for (std::string line; std::getline(maps, line);) {
        std::uintptr_t begin = 0;
        std::uintptr_t end = 0;
        char dash = 0;
        std::istringstream head(line);
        if (head >> std::hex >> begin >> dash >> end && dash == '-') inside = wanted >= begin && wanted < end;
        if (inside && line.starts_with("VmFlags:")) return line + ' ';
    }
    return {};
}

std::string CoreFilter() {
    std::ifstream file("/proc/self/coredump_filter");
    std::string text;
    file >> text;
    return text;
}

// COM-KEYS-01
TEST(CoreFiles, NeverHoldTheKeyBuffers) {
    for (const unsigned char* buffer : {g_SyncUserKey, g_SyncUserKey_sfek}) {
        EXPECT_NE(MarksOf(buffer).find(" dd "), std::string::npos);
        EXPECT_NE(MarksOf(buffer + kKeyBufferBytes - 1).find(" dd "), std::string::npos);
    }
    const int onStack = 0;
    EXPECT_EQ(MarksOf(&onStack).find(" dd "), std::string::npos) << "the mark means something";
}

// COM-KEYS-02
TEST(CoreFiles, HoldNoMemoryAtAllOnceAHostAskedForThat) {
    const pid_t child = fork();
    if (child == 0) {
        const bool set = LeaveMemoryOutOfCoreFiles();
        _exit(set && CoreFilter() == "00000010" ? 0 : 1);
    }
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
}

// COM-KEYS-03
TEST(CoreFiles, KeepTheirMemoryWhenTheSystemDoesNotLetItBeSet) {
    const pid_t child = fork();
    if (child == 0) {
        const std::string before = CoreFilter();
        rlimit files{};
        getrlimit(RLIMIT_NOFILE, &files);
        const rlimit none{0, files.rlim_max};
        setrlimit(RLIMIT_NOFILE, &none);
        const bool set = LeaveMemoryOutOfCoreFiles();
        setrlimit(RLIMIT_NOFILE, &files);
        _exit(!set && CoreFilter() == before ? 0 : 1);
    }
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
}

}  // namespace

}  // namespace Drive::Common
