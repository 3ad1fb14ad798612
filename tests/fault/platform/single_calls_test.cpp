#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>

#include "interfaces/platform/file_calls.h"
#include "tests/contract/platform/copy_files.h"
#include "tests/contract/platform/reading_writing.h"
#include "tests/fault/platform/call_faults.h"

namespace Drive::Platform {

// PLAT-FAULT-04
TEST_F(ReadingWriting, ASyncIsFalseWhenTheContentCannotBeBroughtToTheDisk) {
    OpenWith("content");
    Trial::FailEvery("fsync", EIO);
    EXPECT_FALSE(SyncToDisk(handle));
    Trial::EndFaults();
}

// PLAT-FAULT-05
TEST_F(ReadingWriting, ASyncTakesTheWholeFileSystemWhereTheFolderCannotBeOpened) {
    OpenWith("content");
    Trial::FailEvery("open", EACCES);
    EXPECT_TRUE(SyncToDisk(handle));
    const std::vector<std::string> made = Trial::EndFaults();
    EXPECT_EQ(std::count(made.begin(), made.end(), "syncfs"), 1);
    Trial::FailEvery("fsync", EIO);
    EXPECT_FALSE(SyncToDisk(handle));
    Trial::EndFaults();
}

// PLAT-FAULT-06
TEST_F(ReadingWriting, ASyncTriesTheFolderAgainUntilItsEntryIsOnTheDisk) {
    OpenWith("content");
    Trial::FailCall(2, EMFILE);
    EXPECT_TRUE(SyncToDisk(handle));
    Trial::EndFaults();
    Trial::FailCall(0, 0);
    EXPECT_TRUE(SyncToDisk(handle));
    // The entry is on the disk by then: only the content goes again.
    EXPECT_EQ(Trial::EndFaults(), std::vector<std::string>{"fsync"});
}

// PLAT-FAULT-09
TEST_F(ReadingWriting, ASyncThatFailedIsNotSwornLater) {
    OpenWith("content");
    Trial::FailCall(1, EIO);
    EXPECT_FALSE(SyncToDisk(handle));
    Trial::EndFaults();
    EXPECT_FALSE(SyncToDisk(handle));
    CloseHandle(handle);
    OpenWith("written once more");
    EXPECT_TRUE(SyncToDisk(handle));
}

// PLAT-FAULT-10
TEST_F(ReadingWriting, AFolderWhoseEntriesWereLostIsNotTakenForOneThatCannotTell) {
    OpenWith("content");
    Trial::FailCall(5, EIO);
    EXPECT_FALSE(SyncToDisk(handle));
    EXPECT_EQ(Trial::EndFaults(), (std::vector<std::string>{"fsync", "open", "fstatat", "fstat", "fsync"}));
    EXPECT_FALSE(SyncToDisk(handle));
    CloseHandle(handle);
    OpenWith("content");
    Trial::FailCall(5, EINVAL);
    EXPECT_TRUE(SyncToDisk(handle));
    EXPECT_EQ(Trial::EndFaults(), (std::vector<std::string>{"fsync", "open", "fstatat", "fstat", "fsync", "syncfs"}));
}

// PLAT-FAULT-11
TEST_F(ReadingWriting, ASyncTakesTheWholeFileSystemWhereTheFolderHoldsAnotherFileOfThatName) {
    OpenWith("content");
    std::filesystem::rename(folder.Native("file"), folder.Native("moved"));
    folder.Put("file", "another one");
    Trial::FailCall(0, 0);
    EXPECT_TRUE(SyncToDisk(handle));
    EXPECT_EQ(Trial::EndFaults().back(), "syncfs");
}

// PLAT-FAULT-12
TEST_F(ReadingWriting, ASyncTakesTheWholeFileSystemWhereALinkLedToTheFile) {
    folder.Put("elsewhere", "content");
    std::filesystem::create_symlink(folder.Native("elsewhere"), folder.Native("link"));
    handle = CreateFileW(folder.Engine("link").c_str(), kGenericWrite, 7, nullptr, kOpenExisting, 0, nullptr);
    Trial::FailCall(0, 0);
    EXPECT_TRUE(SyncToDisk(handle));
    EXPECT_EQ(Trial::EndFaults().back(), "syncfs");
}

// PLAT-FAULT-07
TEST_F(CopyFiles, AFileSystemThatCannotRefuseATakenNameGetsASecondNameInstead) {
    folder.Put("from", "new");
    folder.Put("taken", "old");
    for (const int error : {EINVAL, ENOSYS}) {
        const std::string free = "free" + std::to_string(error);
        Trial::FailEvery("renameat2", error);
        EXPECT_TRUE(Copy("from", free, true));
        EXPECT_FALSE(Copy("from", "taken", true));
        Trial::EndFaults();
        EXPECT_EQ(folder.Get(free), "new");
    }
    EXPECT_EQ(folder.Get("taken"), "old");
    EXPECT_EQ(folder.CountEntries(), 4u);
}

// PLAT-FAULT-08
TEST_F(CopyFiles, ATargetThatAppearsDuringTheCopyIsNotReplacedWhenThatIsRefused) {
    folder.Put("from", "new");
    folder.Put("taken", "old");
    // The early look at the target misses it.
    Trial::FailEvery("lstat", ENOENT);
    EXPECT_FALSE(Copy("from", "taken", true));
    Trial::EndFaults();
    EXPECT_EQ(folder.Get("taken"), "old");
    EXPECT_EQ(folder.CountEntries(), 2u);
}

}  // namespace Drive::Platform
