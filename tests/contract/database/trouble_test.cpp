#include <signal.h>
#include <sys/resource.h>
#include <unistd.h>

#include <sqlite3.h>

#include <thread>

#include "tests/contract/database/open_database.h"

namespace Drive::Testing {
namespace {

using SQLiteDB::SyncRows;
using Trouble = OpenDatabaseTest;

/// No file of this process can grow beyond that many bytes while this stands, as on a disk without space.
class GrowthLimit {
public:
    explicit GrowthLimit(rlim_t bytes) {
        signal(SIGXFSZ, SIG_IGN);
        getrlimit(RLIMIT_FSIZE, &before);
        const rlimit limit{bytes, before.rlim_max};
        setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~GrowthLimit() { setrlimit(RLIMIT_FSIZE, &before); }
    GrowthLimit(const GrowthLimit&) = delete;
    GrowthLimit& operator=(const GrowthLimit&) = delete;

private:
    rlimit before{};
};

// DB-FAIL-02
TEST_F(Trouble, ADiskThatTakesNoMoreFailsTheWriteAndKeepsWhatWasCommitted) {
    PutDownload(L"kept");
    const std::wstring record(2000000, L'x');
    {
        const GrowthLimit limit(1 << 20);
        EXPECT_FALSE(Db().UpdateTaskItem(Update(L"kept", {{L"fragmentInfo", record}}), 1));
        EXPECT_FALSE(Db().ExecuteMulitNoQuerySQL(
            {"UPDATE T_task SET Priority = 9", "UPDATE T_task SET fragmentInfo = hex(randomblob(1000000))"}));
        EXPECT_EQ(Db().GetTaskItem(L"kept", 1).GetPriority(), 1);
        EXPECT_EQ(Db().GetTaskItem(L"kept", 1).GetFragmentInfo(), L"");
        EXPECT_EQ(Ids(FetchDownloads()), (IdList{L"kept"}));
        EXPECT_TRUE(FetchDownloads().empty()) << "the failed writes ended no lease";
    }
    EXPECT_TRUE(Db().UpdateTaskItem(Update(L"kept", {{L"fragmentInfo", record}}), 1)) << "and it goes on afterwards";
    Reopen();
    EXPECT_EQ(Db().GetTaskItem(L"kept", 1).GetFragmentInfo(), record);
}

// DB-FAIL-03
TEST_F(Trouble, AnotherProgramThatHoldsTheWriteLockForAMomentIsWaitedFor) {
    sqlite3* other = nullptr;
    ASSERT_EQ(sqlite3_open(folder.Database().c_str(), &other), SQLITE_OK);
    ASSERT_EQ(sqlite3_exec(other, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr), SQLITE_OK);
    std::thread release([other] {
        usleep(200000);
        sqlite3_exec(other, "COMMIT", nullptr, nullptr, nullptr);
    });

    EXPECT_TRUE(SyncRows::PutFile(File(L"a", 1)));
    release.join();
    sqlite3_close(other);
}

// DB-FAIL-04
TEST(TroubleAtOpening, ADiskThatTakesNothingFailsAndNothingIsLeftHeld) {
    StateFolder folder;
    {
        const GrowthLimit limit(100);
        EXPECT_EQ(SQLiteDB::OpenDatabase(folder.Wide()).outcome, SQLiteDB::OpenOutcome::Failed);
    }
    EXPECT_EQ(SQLiteDB::OpenDatabase(folder.Wide()).outcome, SQLiteDB::OpenOutcome::Created);
    SQLiteDB::CloseDatabase();
}

// DB-FAIL-05
TEST_F(Trouble, TheWriteAheadLogStaysSmall) {
    PutDownload(L"a");
    for (int round = 0; round < 1500; ++round) {
        ASSERT_TRUE(Db().ExecuteMulitNoQuerySQL({"UPDATE T_task SET fragmentInfo = hex(randomblob(10000))"}));
    }

    EXPECT_LT(std::filesystem::file_size(folder.Database().string() + "-wal"), 20u << 20);
}

}  // namespace
}  // namespace Drive::Testing
