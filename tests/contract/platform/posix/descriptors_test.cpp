#include <fcntl.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "interfaces/platform/file_calls.h"
#include "tests/contract/platform/handles.h"

namespace Drive::Platform {

namespace {

std::size_t CountDescriptors() {
    return static_cast<std::size_t>(
        std::distance(std::filesystem::directory_iterator("/proc/self/fd"), std::filesystem::directory_iterator()));
}

}  // namespace

// PLAT-HANDLE-07
TEST_F(Handles, ClosingGivesTheDescriptorBack) {
    const std::size_t before = CountDescriptors();
    for (int count = 0; count < 50; ++count) CloseHandle(Open());
    EXPECT_EQ(CountDescriptors(), before);
}

// PLAT-HANDLE-08
TEST_F(Handles, DoNotReachAChildProcess) {
    const HANDLE handle = Open();
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        std::error_code gone;
        if (std::filesystem::read_symlink(entry.path(), gone) != folder.Native("file")) continue;
        const int flags = ::fcntl(std::stoi(entry.path().filename().string()), F_GETFD);
        EXPECT_NE(flags & FD_CLOEXEC, 0);
    }
    CloseHandle(handle);
}

}  // namespace Drive::Platform
