#include <gtest/gtest.h>

#include "interfaces/platform/file_calls.h"
#include "tests/contract/platform/copy_files.h"
#include "tests/contract/platform/file_limits.h"

namespace Drive::Platform {

// PLAT-COPY-07
TEST_F(CopyFiles, ADeviceIsNoSource) {
    EXPECT_FALSE(CopyFileW(L"\\dev\\null", folder.Engine("to").c_str(), 0));
    EXPECT_EQ(folder.CountEntries(), 0u);
}

// PLAT-COPY-17
TEST_F(CopyFiles, OddNamesAreCopiedAsTheyAre) {
    const std::string from = "a\\b\xEF\x81\x9C\xFF", to = "\xEF\x81\x9C\\\x80";
    folder.Put(from, "content");
    EXPECT_TRUE(Copy(from, to));
    EXPECT_TRUE(Copy(from, to, false));
    EXPECT_FALSE(Copy(from, to, true));
    EXPECT_EQ(folder.Get(to), "content");
    EXPECT_EQ(folder.CountEntries(), 2u);
}

// PLAT-COPY-11
TEST_F(CopyFiles, WithoutRoomTheTargetIsAsItWas) {
    folder.Put("from", std::string(3u << 20, 'n'));
    folder.Put("to", "old");
    {
        const Testing::FileSizeLimit limit(1u << 20);
        EXPECT_FALSE(Copy("from", "to"));
        EXPECT_FALSE(Copy("from", "new"));
    }
    EXPECT_EQ(folder.Get("to"), "old");
    EXPECT_EQ(folder.CountEntries(), 2u);
}

}  // namespace Drive::Platform
