#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "interfaces/platform/file_calls.h"
#include "tests/contract/platform/file_limits.h"
#include "tests/contract/platform/reading_writing.h"

namespace Drive::Platform {

// PLAT-IO-11
TEST_F(ReadingWriting, ABlockThatFitsOnlyPartlyIsAFailure) {
    OpenWith("");
    const std::string block(6000, 'x');
    const Testing::FileSizeLimit limit(4096);
    EXPECT_FALSE(WriteAt(handle, 0, block.data(), block.size()));
}

// PLAT-IO-12
TEST_F(ReadingWriting, AFullDiskIsAFailure) {
    handle = CreateFileW(L"\\dev\\full", kGenericWrite, 7, nullptr, kOpenExisting, 0, nullptr);
    ASSERT_TRUE(IsOpenHandle(handle));
    EXPECT_FALSE(WriteAt(handle, 0, "x", 1));
}

// PLAT-IO-15
TEST_F(ReadingWriting, SyncIsFalseWhereNothingCanBeSworn) {
    handle = CreateFileW(L"\\dev\\full", kGenericWrite, 7, nullptr, kOpenExisting, 0, nullptr);
    EXPECT_FALSE(SyncToDisk(handle));
}

// PLAT-IO-14
TEST_F(ReadingWriting, WhatWasWrittenCanBeSyncedAlthoughItsFolderMoved) {
    std::filesystem::create_directory(folder.Native("before"));
    handle =
        CreateFileW((folder.Engine("before") + L"\\file").c_str(), kGenericWrite, 7, nullptr, kOpenAlways, 0, nullptr);
    std::filesystem::rename(folder.Native("before"), folder.Native("after"));
    EXPECT_TRUE(WriteAt(handle, 0, "x", 1));
    EXPECT_TRUE(SyncToDisk(handle));
}

}  // namespace Drive::Platform
