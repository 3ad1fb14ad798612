// This process and a connection of another program write against each other: nothing is lost, and nobody waits longer
// than the busy timeout lets him.
#include <sqlite3.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "tests/contract/database/open_database.h"

namespace Drive::Testing {
namespace {

using SQLiteDB::SyncRows;

constexpr int kBatch = 500;
constexpr double kBusySeconds = 10;

struct Amount {
    int rowsEach;
};

void PrintTo(const Amount& amount, std::ostream* out) { *out << amount.rowsEach; }

/// Runs it and remembers the longest time that one took.
class Stopwatch {
public:
    template <typename Body>
    void Time(const Body& body) {
        const auto begin = std::chrono::steady_clock::now();
        body();
        const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - begin;
        longest = std::max(longest, taken.count());
    }
    double Longest() const { return longest; }

private:
    double longest = 0;
};

class TwoWriters : public OpenDatabaseTest, public testing::WithParamInterface<Amount> {
protected:
    void SetUp() override {
        OpenDatabaseTest::SetUp();
        ASSERT_EQ(sqlite3_open(folder.Database().c_str(), &other), SQLITE_OK);
        sqlite3_busy_handler(other, &WaitABit, this);
        sqlite3_exec(other, "PRAGMA synchronous = FULL", nullptr, nullptr, nullptr);
    }
    void TearDown() override {
        sqlite3_close(other);
        OpenDatabaseTest::TearDown();
    }

    /// Each looks as often as the other, or one of them would starve.
    static int WaitABit(void* self, int attempt) {
        auto* const test = static_cast<TwoWriters*>(self);
        const auto now = std::chrono::steady_clock::now();
        if (attempt == 0) test->waitingSince = now;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
        return now - test->waitingSince < std::chrono::duration<double>(kBusySeconds) ? 1 : 0;
    }

    static bool PutOwn(int first) {
        std::vector<Common::FileItem> files;
        for (int number = first; number < first + kBatch; ++number) {
            files.push_back(File(L"own" + std::to_wstring(number), 21));
        }
        return SyncRows::PutFilesWithTasks(files, 1, 1);
    }

    bool PutOther(int first) {
        const std::string text = "BEGIN IMMEDIATE; WITH RECURSIVE n(i) AS (SELECT " + std::to_string(first) +
                                 " UNION ALL SELECT i + 1 FROM n WHERE i + 1 < " + std::to_string(first + kBatch) +
                                 ") INSERT INTO T_task (fileId, direction, TaskStatus, Priority) SELECT 'other' || i, "
                                 "2, 0, 1 FROM n; COMMIT";
        const bool done = sqlite3_exec(other, text.c_str(), nullptr, nullptr, nullptr) == SQLITE_OK;
        if (!done) sqlite3_exec(other, "ROLLBACK", nullptr, nullptr, nullptr);
        return done;
    }

    sqlite3* other = nullptr;
    std::chrono::steady_clock::time_point waitingSince;
};

// DB-SHARE-06
TEST_P(TwoWriters, LoseNothingAndNeverWaitBeyondTheBusyTimeout) {
    const int rows = GetParam().rowsEach;
    std::atomic<int> failures{0};
    Stopwatch own, foreign;
    std::thread thread([&] {
        for (int first = 0; first < rows; first += kBatch) {
            foreign.Time([&] { failures += PutOther(first) ? 0 : 1; });
        }
    });
    for (int first = 0; first < rows; first += kBatch) {
        own.Time([&] { failures += PutOwn(first) ? 0 : 1; });
    }
    thread.join();

    EXPECT_EQ(failures, 0);
    EXPECT_LT(own.Longest(), kBusySeconds);
    EXPECT_LT(foreign.Longest(), kBusySeconds);
    const std::wstring count = std::to_wstring(rows);
    EXPECT_EQ(Ask(L"SELECT count(*) FROM T_cloudDriveData WHERE fileId LIKE 'own%'"), count);
    EXPECT_EQ(Ask(L"SELECT count(*) FROM T_task WHERE fileId LIKE 'own%' AND direction = 1"), count);
    EXPECT_EQ(Ask(L"SELECT count(*) FROM T_task WHERE fileId LIKE 'other%' AND direction = 2"), count);
    Reopen();
    EXPECT_EQ(Ask(L"SELECT count(*) FROM T_task"), std::to_wstring(2 * rows));
    EXPECT_TRUE(Db().hasTransferTasks());
}

std::string NameOf(const testing::TestParamInfo<Amount>& info) { return std::to_string(info.param.rowsEach) + "Each"; }

INSTANTIATE_TEST_SUITE_P(Beginning, TwoWriters, testing::Values(Amount{10000}), NameOf);
INSTANTIATE_TEST_SUITE_P(WholeLife, TwoWriters, testing::Values(Amount{500000}), NameOf);

class HeldLock : public OpenDatabaseTest {};

// DB-FAIL-11
TEST_F(HeldLock, FailsAWriteAfterTheBusyTimeoutAndNothingIsLost) {
    PutDownload(L"kept");
    sqlite3* other = nullptr;
    ASSERT_EQ(sqlite3_open(folder.Database().c_str(), &other), SQLITE_OK);
    ASSERT_EQ(sqlite3_exec(other, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr), SQLITE_OK);
    Stopwatch waiting;
    waiting.Time([] { EXPECT_FALSE(SyncRows::PutFile(File(L"refused", 1))); });
    EXPECT_GT(waiting.Longest(), kBusySeconds - 1);
    EXPECT_EQ(Db().GetTaskItem(L"kept", 1).GetFileId(), L"kept") << "readers do not wait";
    ASSERT_EQ(sqlite3_exec(other, "COMMIT", nullptr, nullptr, nullptr), SQLITE_OK);
    sqlite3_close(other);
    EXPECT_TRUE(SyncRows::PutFile(File(L"after", 1)));
    EXPECT_EQ(Ask(L"SELECT group_concat(fileId) FROM (SELECT fileId FROM T_cloudDriveData ORDER BY fileId)"),
              L"after,kept");
}

// DB-FAIL-15
TEST_F(HeldLock, KeepsManyWritersNoLongerThanOne) {
    sqlite3* other = nullptr;
    ASSERT_EQ(sqlite3_open(folder.Database().c_str(), &other), SQLITE_OK);
    ASSERT_EQ(sqlite3_exec(other, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr), SQLITE_OK);
    std::vector<std::thread> writers;
    Stopwatch waiting;
    waiting.Time([&] {
        for (int number = 0; number < 8; ++number) {
            writers.emplace_back([] { EXPECT_FALSE(SyncRows::PutFile(File(L"refused", 1))); });
        }
        for (std::thread& writer : writers) writer.join();
    });
    EXPECT_LT(waiting.Longest(), 2 * kBusySeconds);
    ASSERT_EQ(sqlite3_exec(other, "COMMIT", nullptr, nullptr, nullptr), SQLITE_OK);
    sqlite3_close(other);
    EXPECT_TRUE(SyncRows::PutFile(File(L"after", 1)));
}

}  // namespace
}  // namespace Drive::Testing
