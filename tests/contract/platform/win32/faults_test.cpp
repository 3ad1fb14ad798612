#include <gtest/gtest.h>

#include "interfaces/platform/file_calls.h"
#include "interfaces/platform/thread_pool.h"
#include "tests/contract/platform/copy_files.h"
#include "tests/contract/platform/meeting.h"
#include "tests/contract/platform/reading_writing.h"
#include "tests/contract/platform/win32/faulty_calls.h"

namespace Drive::Platform {

using Testing::Faults;
using Testing::FaultScope;

// PLAT-HOME-26
TEST(ThreadPool, WithoutAThreadAtHomeTheAnswerIsFalseAndNothingIsCalled) {
    ASSERT_TRUE(BecomesIdle());
    Meeting meeting(1);
    const FaultScope scope;
    Faults().noThreads = true;
    EXPECT_FALSE(StartTaskThread(&ArriveAsTask, &meeting));
    EXPECT_FALSE(QueueUserWorkItem(&ArriveAsWorker, &meeting, 0));
    EXPECT_EQ(RunningWorkCount(), 0);
    EXPECT_EQ(meeting.Count(), 0);
    Faults().noThreads = false;
    EXPECT_TRUE(StartTaskThread(&ArriveAsTask, &meeting));
    EXPECT_TRUE(QueueUserWorkItem(&ArriveAsWorker, &meeting, 0));
    EXPECT_TRUE(BecomesIdle());
    EXPECT_EQ(meeting.Count(), 2);
}

// PLAT-HOME-29
TEST_F(ReadingWriting, ShortPiecesAreRepeatedUntilTheBlockIsWhole) {
    OpenWith("0123456789");
    const FaultScope scope;
    Faults().shortPieces = true;
    EXPECT_TRUE(WriteAt(handle, 2, "abcd", 4));
    char back[8] = {};
    EXPECT_EQ(ReadAt(handle, 1, back, 8), 8);
    EXPECT_EQ(std::string(back, 8), "1abcd678");
}

// PLAT-HOME-30
TEST_F(ReadingWriting, AFullDiskAndMissingEventsAreFailures) {
    OpenWith("content");
    const FaultScope scope;
    Faults().noWrite = true;
    EXPECT_FALSE(WriteAt(handle, 0, "x", 1));
    Faults().noWrite = false;
    Faults().noEvents = true;
    char byte = 0;
    EXPECT_EQ(ReadAt(handle, 0, &byte, 1), -1);
    EXPECT_FALSE(WriteAt(handle, 0, "x", 1));
    EXPECT_EQ(folder.Get("file"), "content");
}

// PLAT-HOME-31
TEST_F(ReadingWriting, WhatCannotBeFlushedIsNotSwornLaterEither) {
    OpenWith("content");
    const FaultScope scope;
    Faults().noFlush = true;
    EXPECT_FALSE(SyncToDisk(handle));
    Faults().noFlush = false;
    EXPECT_FALSE(SyncToDisk(handle));
    CloseHandle(handle);
    OpenWith("written once more");
    EXPECT_TRUE(SyncToDisk(handle));
}

// PLAT-HOME-32
TEST_F(CopyFiles, ACopyThatIsNotOnDiskOrCannotTakeItsNameLeavesTheTargetAsItWas) {
    folder.Put("from", "new");
    folder.Put("to", "old");
    const FaultScope scope;
    Faults().noFlush = true;
    EXPECT_FALSE(Copy("from", "to"));
    Faults().noFlush = false;
    Faults().noMove = true;
    EXPECT_FALSE(Copy("from", "to"));
    EXPECT_FALSE(Copy("from", "other", true));
    EXPECT_EQ(folder.Get("to"), "old");
    EXPECT_EQ(folder.CountEntries(), 2u);
}

// PLAT-HOME-33
TEST_F(CopyFiles, ATargetThatWentAsideInVainComesBack) {
    folder.Put("from", "new");
    folder.Put("to", "old");
    const FaultScope scope;
    Faults().noMove = true;
    Faults().halfReplace = true;
    EXPECT_FALSE(Copy("from", "to"));
    EXPECT_EQ(folder.Get("to"), "old");
    EXPECT_EQ(folder.CountEntries(), 2u);
}

}  // namespace Drive::Platform
