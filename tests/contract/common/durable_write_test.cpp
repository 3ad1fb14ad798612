#include <cerrno>

#include "interfaces/common/file_helper.h"
#include "tests/contract/common/faults.h"
#include "tests/contract/common/stepped_clock.h"
#include "tests/contract/common/test_folders.h"

namespace Drive::Common {

namespace {

using Trial::CurrentFaults;
using Calls = std::vector<std::string>;

class DurableWrite : public Trial::WithFolders {
protected:
    void SetUp() override {
        WithFolders::SetUp();
        Trial::TakeSlept();
    }
    bool Write(const std::string& data, const std::wstring& relative = L"f") const {
        return FileHepler::WriteLocalFileV(0, data.data(), data.size(), InRoot(relative));
    }
    Trial::FreshFaults fresh;
};

// COM-DURABLE-01
TEST_F(DurableWrite, SyncsTheNewNameAndTheBytesBeforeItAnswers) {
    EXPECT_TRUE(Write("x"));
    EXPECT_EQ(CurrentFaults().journal, (Calls{"fsync", "pwrite", "fdatasync"}));
}

// COM-DURABLE-02
TEST_F(DurableWrite, SyncsOnlyTheBytesOfALaterBlock) {
    Trial::Put(base / "root/f", "old");
    EXPECT_TRUE(FileHepler::WriteLocalFileV(3, "x", 1, InRoot(L"f")));
    EXPECT_EQ(CurrentFaults().journal, (Calls{"pwrite", "fdatasync"}));
}

// COM-DURABLE-03
TEST_F(DurableWrite, SyncsTheNameThatAnEarlierAttemptMadeAndDidNotSync) {
    CurrentFaults().pwrite = {EIO};
    EXPECT_FALSE(Write("x"));
    CurrentFaults().journal.clear();
    EXPECT_TRUE(Write("x"));
    EXPECT_EQ(CurrentFaults().journal, (Calls{"fsync", "pwrite", "fdatasync"}));
}

// COM-DURABLE-04
TEST_F(DurableWrite, SyncsAnEmptyFileAsWell) {
    EXPECT_TRUE(Write(""));
    EXPECT_EQ(CurrentFaults().journal, (Calls{"fsync", "fdatasync"}));
}

// COM-DURABLE-05
TEST_F(DurableWrite, SyncsEachNewFolderBeforeTheNext) {
    EXPECT_TRUE(Write("x", L"a\\b\\f"));
    EXPECT_EQ(CurrentFaults().journal,
              (Calls{"mkdirat a", "fsync", "mkdirat b", "fsync", "fsync", "pwrite", "fdatasync"}));
}

// COM-DURABLE-06
TEST_F(DurableWrite, IsFalseWhenTheDiskDoesNotTakeTheBytesOrTheName) {
    CurrentFaults().fdatasync = {EIO};
    EXPECT_FALSE(Write("x"));
    CurrentFaults().fsync = {EIO};
    EXPECT_FALSE(Write("x", L"g"));
    CurrentFaults().fsync = {EIO};
    EXPECT_FALSE(Write("x", L"folder\\g"));
}

// COM-DURABLE-07
TEST_F(DurableWrite, AcceptsAFileSystemThatSyncsItsFoldersItself) {
    CurrentFaults().fsync = {EINVAL};
    EXPECT_TRUE(Write("x"));
}

// COM-DURABLE-08
TEST_F(DurableWrite, RepeatsInterruptionsAndShortWrites) {
    const std::string data = Trial::Noise(100000);
    CurrentFaults().pwrite = {EINTR, -1, EINTR, -7, -50000, EINTR};
    EXPECT_TRUE(Write(data));
    EXPECT_EQ(Trial::Get(base / "root/f"), data);
    EXPECT_EQ(CurrentFaults().Count("pwrite"), 7u);
    EXPECT_EQ(Trial::TakeSlept(), 0);
}

// COM-DURABLE-09
TEST_F(DurableWrite, WaitsALittleForRoomOnTheDisk) {
    const std::string data = Trial::Noise(1000);
    CurrentFaults().pwrite = {-500, ENOSPC, EDQUOT, ENOSPC};
    EXPECT_TRUE(Write(data));
    EXPECT_EQ(Trial::Get(base / "root/f"), data);
    EXPECT_GT(Trial::TakeSlept(), 0);
}

// COM-DURABLE-10
TEST_F(DurableWrite, WritesAnewWhatADiskTurnedOutToHaveNoRoomForWhenItSynced) {
    CurrentFaults().fdatasync = {ENOSPC};
    EXPECT_TRUE(Write("x"));
    EXPECT_EQ(CurrentFaults().Count("pwrite"), 2u);
    EXPECT_GT(Trial::TakeSlept(), 0);
}

// COM-DURABLE-11
TEST_F(DurableWrite, GivesUpOnADiskThatStaysFull) {
    CurrentFaults().pwrite = Trial::Script(1000, ENOSPC);
    EXPECT_FALSE(Write("x"));
    EXPECT_LE(CurrentFaults().Count("pwrite"), 20u);
    EXPECT_LE(Trial::TakeSlept(), 10000);
    EXPECT_EQ(CurrentFaults().Count("fdatasync"), 0u);
}

// COM-DURABLE-12
TEST_F(DurableWrite, DoesNotRepeatWhatWillNotPass) {
    CurrentFaults().pwrite = {EIO};
    EXPECT_FALSE(Write("x"));
    EXPECT_EQ(CurrentFaults().Count("pwrite"), 1u);
    EXPECT_EQ(Trial::TakeSlept(), 0);
}

// COM-DURABLE-13
TEST_F(DurableWrite, ByHandleWaitsForRoomAndGivesUp) {
    int open = 0;
    CurrentFaults().writeAt = {ENOSPC, EDQUOT};
    EXPECT_TRUE(FileHepler::WriteLocalFileByHandleV(0, "x", 1, &open));
    EXPECT_EQ(CurrentFaults().Count("WriteAt"), 3u);
    EXPECT_GT(Trial::TakeSlept(), 0);
    CurrentFaults().writeAt = Trial::Script(1000, ENOSPC);
    EXPECT_FALSE(FileHepler::WriteLocalFileByHandleV(0, "x", 1, &open));
    EXPECT_LE(Trial::TakeSlept(), 10000);
}

// COM-DURABLE-14
TEST_F(DurableWrite, ByHandleDoesNotRepeatOtherFailures) {
    int open = 0;
    CurrentFaults().writeAt = {EIO};
    EXPECT_FALSE(FileHepler::WriteLocalFileByHandleV(0, "x", 1, &open));
    EXPECT_EQ(CurrentFaults().Count("WriteAt"), 1u);
}

}  // namespace

}  // namespace Drive::Common
