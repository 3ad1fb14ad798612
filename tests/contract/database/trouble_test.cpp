#include <signal.h>
#include <sys/resource.h>
#include <unistd.h>

#include <sqlite3.h>

#include <atomic>
#include <chrono>
#include <fstream>
#include <set>
#include <thread>

#include "interfaces/logging/log_settings.h"
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

/// Another program that reads.
class ForeignReader {
public:
    explicit ForeignReader(const std::filesystem::path& database) {
        EXPECT_EQ(sqlite3_open_v2(database.c_str(), &handle, SQLITE_OPEN_READONLY, nullptr), SQLITE_OK);
    }
    ~ForeignReader() { sqlite3_close(handle); }
    ForeignReader(const ForeignReader&) = delete;
    ForeignReader& operator=(const ForeignReader&) = delete;
    void Begin() { Run("BEGIN; SELECT count(*) FROM T_task"); }
    void End() { Run("COMMIT"); }

private:
    void Run(const char* text) {
        EXPECT_EQ(sqlite3_exec(handle, text, nullptr, nullptr, nullptr), SQLITE_OK) << sqlite3_errmsg(handle);
    }
    sqlite3* handle = nullptr;
};

class LogBesideReaders : public OpenDatabaseTest {
protected:
    void TearDown() override {
        Logging::SetTextSink({});
        OpenDatabaseTest::TearDown();
    }
    std::uintmax_t MebibytesInLog() const {
        return std::filesystem::file_size(folder.Database().string() + "-wal") >> 20;
    }
    /// Another one each time that the log begins anew at its front.
    std::string BeginningOfLog() const {
        std::string bytes(32, '\0');
        std::ifstream(folder.Database().string() + "-wal", std::ios::binary).read(bytes.data(), 32);
        return bytes;
    }
    bool WriteAMebibyte(int number) {
        return Db().ExecuteMulitNoQuerySQL(
            {"UPDATE T_task SET TaskStatus = " + std::to_string(number) + ", fragmentInfo = hex(randomblob(524288))"});
    }
};

// DB-FAIL-12
TEST_F(LogBesideReaders, BeginsAnewThoughTheyOverlapWithoutAPause) {
    PutDownload(L"a");
    std::atomic<bool> done{false};
    std::thread readers([&] {
        ForeignReader one(folder.Database()), other(folder.Database());
        one.Begin();
        while (!done) {
            for (ForeignReader* next : {&other, &one}) {
                next->Begin();
                std::this_thread::sleep_for(std::chrono::milliseconds(5));
                (next == &one ? other : one).End();
            }
        }
        one.End();
    });
    std::set<std::string> beginnings;
    int written = 0;
    while (beginnings.size() < 5 && written < 300) {
        ASSERT_TRUE(WriteAMebibyte(++written));
        beginnings.insert(BeginningOfLog());
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    done = true;
    readers.join();
    EXPECT_EQ(beginnings.size(), 5u) << "after " << written << " MiB";
    EXPECT_EQ(Db().GetTaskItem(L"a", 1).GetTaskstatus(), written);
}

// DB-FAIL-13
TEST_F(LogBesideReaders, GrowsBesideOneThatNeverEndsIsToldOnceAndShrinksAfterwards) {
    PutDownload(L"a");
    std::vector<std::string> lines;
    Logging::SetTextSink([&](const Logging::TextRecord& record) { lines.push_back(record.text); });
    ForeignReader reader(folder.Database());
    reader.Begin();
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    int written = 0;
    while (lines.empty() && std::chrono::steady_clock::now() < end) {
        ASSERT_TRUE(WriteAMebibyte(++written)) << "nobody is held up";
        if (written >= 80) std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_NE(lines[0].find("transfer.db has grown to "), std::string::npos) << lines[0];
    EXPECT_NE(lines[0].find("Nothing is lost"), std::string::npos) << lines[0];
    ASSERT_TRUE(WriteAMebibyte(++written));

    reader.End();
    ASSERT_TRUE(WriteAMebibyte(++written) && WriteAMebibyte(++written));
    EXPECT_LE(MebibytesInLog(), 20u);
    EXPECT_EQ(lines.size(), 1u);
    EXPECT_EQ(Db().GetTaskItem(L"a", 1).GetTaskstatus(), written);
}

// DB-FAIL-14
TEST_F(LogBesideReaders, EndingBesideOneThatNeverEndsTakesAMomentAndLosesNothing) {
    PutDownload(L"a");
    ForeignReader reader(folder.Database());
    reader.Begin();
    ASSERT_TRUE(WriteAMebibyte(7));
    const auto before = std::chrono::steady_clock::now();
    SQLiteDB::CloseDatabase();
    EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::seconds(8));
    ASSERT_EQ(SQLiteDB::OpenDatabase(folder.Wide()).outcome, SQLiteDB::OpenOutcome::Opened);
    EXPECT_EQ(Db().GetTaskItem(L"a", 1).GetTaskstatus(), 7);
    reader.End();
}

}  // namespace
}  // namespace Drive::Testing
