// The state folder on a disk of its own that becomes full or read-only.
#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <fstream>

#include "tests/contract/database/open_database.h"

namespace Drive::Testing {
namespace {

using SQLiteDB::OpenOutcome;
using SQLiteDB::SyncRows;

class SmallDisk : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(mount("tmpfs", folder.Native().c_str(), "tmpfs", 0, "size=2m"), 0) << errno;
        ASSERT_EQ(SQLiteDB::OpenDatabase(folder.Wide()).outcome, OpenOutcome::Created);
        PutDownload(L"kept");
    }
    void TearDown() override {
        SQLiteDB::CloseDatabase();
        umount2(folder.Native().c_str(), MNT_DETACH);
    }
    void Fill() { std::ofstream(folder.Native() / "filler") << std::string(4 << 20, 'x'); }
    bool Remount(unsigned long flags) const {
        return mount("", folder.Native().c_str(), "", MS_REMOUNT | flags, nullptr) == 0;
    }
    std::wstring Count() const { return Ask(L"SELECT count(*) FROM T_cloudDriveData"); }

    StateFolder folder;
};

// DB-FAIL-07
TEST_F(SmallDisk, ThatIsFullFailsWritesAndKeepsWhatWasCommitted) {
    Fill();
    int written = 0;
    for (; written < 1000; ++written) {
        if (!SyncRows::PutFile(File(L"n" + std::to_wstring(written), 1))) break;
    }
    ASSERT_LT(written, 1000);
    EXPECT_EQ(Count(), std::to_wstring(written + 1));
    EXPECT_TRUE(Db().GetDriveDataItemWithKey(L"n" + std::to_wstring(written)).GetFileId().empty());
    std::filesystem::remove(folder.Native() / "filler");
    EXPECT_TRUE(SyncRows::PutFile(File(L"after", 1)));
    SQLiteDB::CloseDatabase();
    ASSERT_EQ(SQLiteDB::OpenDatabase(folder.Wide()).outcome, OpenOutcome::Opened);
    EXPECT_EQ(Count(), std::to_wstring(written + 2));
}

// DB-FAIL-08
TEST_F(SmallDisk, ThatIsFullAtOpeningIsToldAndLosesNothing) {
    SQLiteDB::CloseDatabase();
    Fill();
    const auto result = SQLiteDB::OpenDatabase(folder.Wide());
    if (result.ok()) {
        EXPECT_EQ(Db().GetTaskItem(L"kept", 1).GetFileId(), L"kept");
    } else {
        EXPECT_EQ(result.outcome, OpenOutcome::Failed);
        EXPECT_NE(result.message.find("the disk is full"), std::string::npos) << result.message;
    }
    SQLiteDB::CloseDatabase();
    std::filesystem::remove(folder.Native() / "filler");
    ASSERT_EQ(SQLiteDB::OpenDatabase(folder.Wide()).outcome, OpenOutcome::Opened);
    EXPECT_EQ(Db().GetTaskItem(L"kept", 1).GetFileId(), L"kept");
}

// DB-FAIL-09
TEST_F(SmallDisk, ThatIsReadOnlyIsToldAtOpeningAndLosesNothing) {
    SQLiteDB::CloseDatabase();
    ASSERT_TRUE(Remount(MS_RDONLY));
    const auto result = SQLiteDB::OpenDatabase(folder.Wide());
    EXPECT_EQ(result.outcome, OpenOutcome::Failed);
    EXPECT_NE(result.message.find(folder.Native().string()), std::string::npos) << result.message;
    EXPECT_NE(result.message.find("Read-only file system"), std::string::npos) << result.message;
    EXPECT_FALSE(Db().DeleteTaskItem(L"kept", 1));
    ASSERT_TRUE(Remount(0));
    ASSERT_EQ(SQLiteDB::OpenDatabase(folder.Wide()).outcome, OpenOutcome::Opened);
    EXPECT_EQ(Db().GetTaskItem(L"kept", 1).GetFileId(), L"kept");
}

bool EnterOwnNameSpace() {
    const uid_t user = getuid();
    if (unshare(CLONE_NEWNS) != 0) {
        if (unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0) return false;
        std::ofstream("/proc/self/uid_map") << "0 " << user << " 1";
    }
    return mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0;
}

}  // namespace
}  // namespace Drive::Testing

int main(int count, char** arguments) {
    testing::InitGoogleTest(&count, arguments);
    if (!testing::GTEST_FLAG(list_tests) && !Drive::Testing::EnterOwnNameSpace()) {
        std::fprintf(stderr, "this test needs a name space for mounts: run it as root or allow user name spaces\n");
        return 1;
    }
    return RUN_ALL_TESTS();
}
