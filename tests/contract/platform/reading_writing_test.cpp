#include <gtest/gtest.h>

#include <limits>
#include <string>

#include "interfaces/platform/file_calls.h"
#include "tests/contract/platform/reading_writing.h"

namespace Drive::Platform {

// PLAT-IO-01
TEST_F(ReadingWriting, ReadsTheBytesAtTheOffset) {
    OpenWith("0123456789");
    char data[4] = {};
    EXPECT_EQ(ReadAt(handle, 3, data, 4), 4);
    EXPECT_EQ(std::string(data, 4), "3456");
}

// PLAT-IO-02
TEST_F(ReadingWriting, ReadsFewerBytesOnlyAtTheEnd) {
    OpenWith("0123456789");
    char data[8] = {};
    EXPECT_EQ(ReadAt(handle, 7, data, 8), 3);
    EXPECT_EQ(std::string(data, 3), "789");
    EXPECT_EQ(ReadAt(handle, 10, data, 8), 0);
    EXPECT_EQ(ReadAt(handle, 1000, data, 8), 0);
}

// PLAT-IO-03
TEST_F(ReadingWriting, NeverMovesAFilePointer) {
    OpenWith("0123456789");
    char data[3] = {};
    EXPECT_EQ(ReadAt(handle, 0, data, 3), 3);
    EXPECT_EQ(ReadAt(handle, 0, data, 3), 3);
    EXPECT_EQ(std::string(data, 3), "012");
    EXPECT_TRUE(WriteAt(handle, 5, "X", 1));
    EXPECT_EQ(ReadAt(handle, 0, data, 3), 3);
    EXPECT_EQ(std::string(data, 3), "012");
}

// PLAT-IO-04
TEST_F(ReadingWriting, WritesAtTheOffsetWithoutTruncating) {
    OpenWith("0123456789");
    EXPECT_TRUE(WriteAt(handle, 2, "ab", 2));
    EXPECT_EQ(folder.Get("file"), "01ab456789");
}

// PLAT-IO-05
TEST_F(ReadingWriting, WritingBehindTheEndFillsTheGapWithZeroes) {
    OpenWith("01");
    EXPECT_TRUE(WriteAt(handle, 4, "ab", 2));
    EXPECT_EQ(folder.Get("file"), std::string("01\0\0ab", 6));
    EXPECT_EQ(SizeOf(handle), 6);
}

// PLAT-IO-06
TEST_F(ReadingWriting, NothingIsReadOrWrittenForNoBytes) {
    OpenWith("01");
    EXPECT_EQ(ReadAt(handle, 0, nullptr, 0), 0);
    EXPECT_TRUE(WriteAt(handle, 9, nullptr, 0));
    EXPECT_EQ(SizeOf(handle), 2);
}

// PLAT-IO-07
TEST_F(ReadingWriting, ALargeBlockArrivesWhole) {
    OpenWith("");
    std::string block(9u << 20, '\0');
    for (std::size_t index = 0; index < block.size(); ++index) block[index] = static_cast<char>(index * 31 >> 8);
    EXPECT_TRUE(WriteAt(handle, 1, block.data(), block.size()));
    std::string back(block.size(), '\0');
    EXPECT_EQ(ReadAt(handle, 1, back.data(), back.size()), static_cast<std::int64_t>(block.size()));
    EXPECT_TRUE(back == block);
}

// PLAT-IO-08
TEST_F(ReadingWriting, OffsetsBeyondFourGibibytesWork) {
    OpenWith("");
    const std::int64_t offset = 5ll << 30;
    EXPECT_TRUE(WriteAt(handle, offset, "end", 3));
    EXPECT_EQ(SizeOf(handle), offset + 3);
    char data[3] = {};
    EXPECT_EQ(ReadAt(handle, offset, data, 3), 3);
    EXPECT_EQ(std::string(data, 3), "end");
}

// PLAT-IO-09
TEST_F(ReadingWriting, AnImpossibleOffsetFails) {
    OpenWith("01");
    char byte = 0;
    const std::int64_t last = std::numeric_limits<std::int64_t>::max();
    EXPECT_EQ(ReadAt(handle, -1, &byte, 1), -1);
    EXPECT_FALSE(WriteAt(handle, -1, "x", 1));
    EXPECT_EQ(ReadAt(handle, last, &byte, 1), -1);
    EXPECT_FALSE(WriteAt(handle, last, "x", 1));
    EXPECT_EQ(folder.Get("file"), "01");
}

// PLAT-IO-10
TEST_F(ReadingWriting, FailsWithoutAHandle) {
    char byte = 0;
    for (const HANDLE none : {HANDLE{nullptr}, kInvalidHandle}) {
        EXPECT_EQ(ReadAt(none, 0, &byte, 1), -1);
        EXPECT_FALSE(WriteAt(none, 0, "x", 1));
        EXPECT_EQ(SizeOf(none), -1);
        EXPECT_FALSE(SyncToDisk(none));
    }
}

// PLAT-IO-13
TEST_F(ReadingWriting, WhatWasWrittenCanBeSynced) {
    OpenWith("");
    EXPECT_TRUE(WriteAt(handle, 0, "x", 1));
    EXPECT_TRUE(SyncToDisk(handle));
    EXPECT_TRUE(WriteAt(handle, 1, "y", 1));
    EXPECT_TRUE(SyncToDisk(handle));
}

}  // namespace Drive::Platform
