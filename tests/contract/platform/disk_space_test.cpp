#include <gtest/gtest.h>

#include <filesystem>

#include "interfaces/platform/file_calls.h"
#include "tests/contract/platform/temporary_folder.h"

namespace Drive::Platform {

// PLAT-SPACE-01
TEST(DiskSpace, TellsTheThreeCountsOfTheVolume) {
    const Testing::TemporaryFolder folder;
    const std::filesystem::space_info volume = std::filesystem::space(folder.Native("."));
    DiskBytes forCaller = 0, total = 0, free = 0;
    ASSERT_TRUE(GetDiskFreeSpaceExW(folder.Engine(".").c_str(), &forCaller, &total, &free));
    EXPECT_EQ(total, volume.capacity);
    EXPECT_LE(forCaller, free);
    EXPECT_LE(free, total);
    // Others write to the volume meanwhile.
    EXPECT_NEAR(static_cast<double>(free), static_cast<double>(volume.free), 1e9);
    EXPECT_NEAR(static_cast<double>(forCaller), static_cast<double>(volume.available), 1e9);
}

// PLAT-SPACE-02
TEST(DiskSpace, AnyOfTheThreeMayBeLeftOut) {
    const Testing::TemporaryFolder folder;
    DiskBytes free = 0;
    EXPECT_TRUE(GetDiskFreeSpaceExW(folder.Engine(".").c_str(), nullptr, nullptr, &free));
    EXPECT_GT(free, 0u);
    EXPECT_TRUE(GetDiskFreeSpaceExW(folder.Engine(".").c_str(), nullptr, nullptr, nullptr));
}

// PLAT-SPACE-03
TEST(DiskSpace, AnAbsentFolderLeavesTheOutputsUntouched) {
    const Testing::TemporaryFolder folder;
    DiskBytes forCaller = 1, total = 2, free = 3;
    EXPECT_FALSE(GetDiskFreeSpaceExW(folder.Engine("absent").c_str(), &forCaller, &total, &free));
    EXPECT_FALSE(GetDiskFreeSpaceExW(L"", &forCaller, &total, &free));
    EXPECT_FALSE(GetDiskFreeSpaceExW(nullptr, &forCaller, &total, &free));
    EXPECT_FALSE(GetDiskFreeSpaceExW(L"\xD800", &forCaller, &total, &free));
    EXPECT_EQ(forCaller, 1u);
    EXPECT_EQ(total, 2u);
    EXPECT_EQ(free, 3u);
}

}  // namespace Drive::Platform
