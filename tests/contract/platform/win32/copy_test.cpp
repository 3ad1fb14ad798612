#include <gtest/gtest.h>
#include <windows.h>

#include "interfaces/platform/file_calls.h"
#include "tests/contract/platform/copy_files.h"

namespace Drive::Platform {

// PLAT-HOME-07
TEST_F(CopyFiles, ASourceOrTargetThatIsSharedWithNobodyIsRefusedAndStaysAsItWas) {
    folder.Put("from", "new");
    folder.Put("to", "old");
    for (const char* held : {"from", "to"}) {
        const HANDLE alone =
            CreateFileW(folder.Engine(held).c_str(), kGenericRead, 0, nullptr, kOpenExisting, 0, nullptr);
        EXPECT_FALSE(Copy("from", "to")) << held;
        CloseHandle(alone);
    }
    EXPECT_EQ(folder.Get("to"), "old");
    EXPECT_EQ(folder.CountEntries(), 2u);
}

// PLAT-HOME-08
TEST_F(CopyFiles, AReadOnlySourceGivesAReadOnlyCopy) {
    folder.Put("from", "content");
    ASSERT_TRUE(::SetFileAttributesW(folder.Native("from").c_str(), FILE_ATTRIBUTE_READONLY));
    EXPECT_TRUE(Copy("from", "to"));
    EXPECT_EQ(folder.Get("to"), "content");
    EXPECT_EQ(::GetFileAttributesW(folder.Native("to").c_str()) & FILE_ATTRIBUTE_READONLY, FILE_ATTRIBUTE_READONLY);
    EXPECT_EQ(folder.CountEntries(), 2u);
    for (const char* name : {"from", "to"}) ::SetFileAttributesW(folder.Native(name).c_str(), FILE_ATTRIBUTE_NORMAL);
}

// PLAT-HOME-09
TEST_F(CopyFiles, AReadOnlyTargetIsNotReplaced) {
    folder.Put("from", "new");
    folder.Put("to", "old");
    ASSERT_TRUE(::SetFileAttributesW(folder.Native("to").c_str(), FILE_ATTRIBUTE_READONLY));
    EXPECT_FALSE(Copy("from", "to"));
    EXPECT_EQ(folder.Get("to"), "old");
    EXPECT_EQ(folder.CountEntries(), 2u);
    ::SetFileAttributesW(folder.Native("to").c_str(), FILE_ATTRIBUTE_NORMAL);
}

// PLAT-HOME-10
TEST_F(CopyFiles, ADeviceOfTheHomePlatformIsNoSource) {
    EXPECT_FALSE(CopyFileW(L"\\\\.\\NUL", folder.Engine("to").c_str(), 0));
    EXPECT_EQ(folder.CountEntries(), 0u);
}

// PLAT-HOME-11
TEST_F(CopyFiles, AReplacedTargetThatIsStillReadLeavesNothingBesideIt) {
    folder.Put("from", "new");
    folder.Put("to", "old");
    const HANDLE reader = CreateFileW(folder.Engine("to").c_str(), kGenericRead, 7, nullptr, kOpenExisting, 0, nullptr);
    EXPECT_TRUE(Copy("from", "to"));
    CloseHandle(reader);
    EXPECT_EQ(folder.Get("to"), "new");
    EXPECT_EQ(folder.CountEntries(), 2u);
}

}  // namespace Drive::Platform
