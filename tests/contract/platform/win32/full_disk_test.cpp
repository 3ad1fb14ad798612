#include <gtest/gtest.h>
#include <windows.h>

#include <filesystem>

#include "interfaces/platform/file_calls.h"
#include "tests/contract/platform/copy_files.h"

namespace Drive::Platform {

// PLAT-HOME-27
TEST_F(CopyFiles, ABlockThatFitsOnlyPartlyIsAFailureAtHomeAsWell) {
    const HANDLE handle =
        CreateFileW(folder.Engine("file").c_str(), kGenericWrite, 0, nullptr, kOpenAlways, 0, nullptr);
    const std::string block(3u << 20, 'x');
    EXPECT_FALSE(WriteAt(handle, 0, block.data(), block.size()));
    EXPECT_TRUE(WriteAt(handle, 0, block.data(), 1000));
    CloseHandle(handle);
}

// PLAT-HOME-28
TEST_F(CopyFiles, WithoutRoomTheTargetAtHomeIsAsItWas) {
    wchar_t self[1024] = {};
    ::GetModuleFileNameW(nullptr, self, 1023);
    ASSERT_GT(std::filesystem::file_size(self), 1u << 20);
    folder.Put("to", "old");
    EXPECT_FALSE(CopyFileW(self, folder.Engine("to").c_str(), 0));
    EXPECT_FALSE(CopyFileW(self, folder.Engine("new").c_str(), 1));
    EXPECT_EQ(folder.Get("to"), "old");
    EXPECT_EQ(folder.CountEntries(), 1u);
}

}  // namespace Drive::Platform
