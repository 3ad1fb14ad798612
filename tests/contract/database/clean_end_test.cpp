// Checking a large file takes a second: it is left out where it can find nothing new.
#include "collaborators/database/clean_end.h"

#include <sqlite3.h>
#include <sys/wait.h>
#include <unistd.h>

#include <ctime>
#include <fstream>

#include "tests/contract/database/open_database.h"

namespace Drive::Testing {
namespace {

namespace fs = std::filesystem;
using SQLiteDB::CloseDatabase;
using SQLiteDB::OpenDatabase;
using SQLiteDB::OpenOutcome;
using SQLiteDB::SyncRows;

int wholeChecks = 0;

int SeeStatement(unsigned, void*, void*, void* text) {
    if (std::string(static_cast<const char*>(text)).find("quick_check") != std::string::npos) ++wholeChecks;
    return 0;
}

int WatchConnection(sqlite3* connection, char**, const void*) {
    return sqlite3_trace_v2(connection, SQLITE_TRACE_STMT, &SeeStatement, nullptr);
}

class CleanEnd : public testing::Test {
protected:
    void SetUp() override {
        sqlite3_auto_extension(reinterpret_cast<void (*)()>(&WatchConnection));
        ASSERT_TRUE(OpenDatabase(folder.Wide()).ok());
        ASSERT_TRUE(SyncRows::PutFile(File(L"kept", 1)));
        CloseDatabase();
    }
    void TearDown() override {
        CloseDatabase();
        sqlite3_cancel_auto_extension(reinterpret_cast<void (*)()>(&WatchConnection));
    }
    fs::path Note() const { return folder.Native() / "transfer.clean"; }
    std::string NoteText() const {
        std::ifstream file(Note());
        return {std::istreambuf_iterator<char>(file), {}};
    }
    /// The same look, checked that long ago.
    void Age(std::int64_t seconds) const {
        const std::string text = NoteText();
        std::ofstream(Note()) << text.substr(0, text.find('\n') + 1) << std::time(nullptr) - seconds << '\n';
    }
    /// How often opening checks the whole file.
    int ChecksAtOpening() const {
        wholeChecks = 0;
        EXPECT_EQ(OpenDatabase(folder.Wide()).outcome, OpenOutcome::Opened);
        EXPECT_EQ(Db().GetDriveDataItemWithKey(L"kept").GetFileId(), L"kept");
        return wholeChecks;
    }
    StateFolder folder;
};

// DB-OPEN-19
TEST_F(CleanEnd, AFileThatWasClosedInGoodOrderIsNotCheckedAgain) {
    EXPECT_EQ(ChecksAtOpening(), 0);
    EXPECT_FALSE(fs::exists(Note())) << "nothing vouches for a file that is in use";
    CloseDatabase();
    EXPECT_EQ(ChecksAtOpening(), 0);
}

// DB-OPEN-20
TEST_F(CleanEnd, AfterACrashTheFileIsChecked) {
    const pid_t child = fork();
    if (child == 0) {
        const bool done = OpenDatabase(folder.Wide()).ok() && SyncRows::PutFile(File(L"late", 1));
        _exit(done ? 0 : 1);
    }
    int status = -1;
    waitpid(child, &status, 0);
    ASSERT_EQ(status, 0);
    EXPECT_EQ(ChecksAtOpening(), 1);
    EXPECT_EQ(Db().GetDriveDataItemWithKey(L"late").GetFileId(), L"late");
}

// DB-OPEN-20
TEST_F(CleanEnd, AfterAnybodyElseTouchedItTheFileIsChecked) {
    const auto written = fs::last_write_time(folder.Database());
    std::fstream file(folder.Database(), std::ios::in | std::ios::out | std::ios::binary);
    const char first = static_cast<char>(file.get());
    file.seekp(0);
    file.put(first);
    file.close();
    fs::last_write_time(folder.Database(), written);
    EXPECT_EQ(ChecksAtOpening(), 1) << "the same bytes, size and time of writing";
}

// DB-OPEN-20
TEST_F(CleanEnd, ALogBesideTheFileHasItChecked) {
    std::ofstream(folder.Database().string() + "-wal") << "what another program left";
    EXPECT_EQ(ChecksAtOpening(), 1);
}

// DB-OPEN-20
TEST_F(CleanEnd, AFileInThePlaceOfTheOldOneIsChecked) {
    fs::rename(folder.Database(), folder.Native() / "old");
    fs::copy_file(folder.Native() / "old", folder.Database());
    EXPECT_EQ(ChecksAtOpening(), 1);
}

// DB-OPEN-21
TEST_F(CleanEnd, OnceADayTheFileIsCheckedAllTheSame) {
    Age(23 * 3600);
    EXPECT_EQ(ChecksAtOpening(), 0);
    CloseDatabase();
    Age(25 * 3600);
    EXPECT_EQ(ChecksAtOpening(), 1);
    CloseDatabase();
    EXPECT_EQ(ChecksAtOpening(), 0) << "the day begins anew";
    CloseDatabase();
    Age(-3600);
    EXPECT_EQ(ChecksAtOpening(), 1) << "a clock that was set back";
}

// DB-OPEN-21
TEST_F(CleanEnd, AnOpeningWithoutACheckDoesNotMakeTheLastOneYounger) {
    Age(20 * 3600);
    EXPECT_EQ(ChecksAtOpening(), 0);
    CloseDatabase();
    const std::string text = NoteText();
    EXPECT_LT(std::stoll(text.substr(text.find('\n'))), std::time(nullptr) - 19 * 3600);
}

// DB-OPEN-20
TEST_F(CleanEnd, ANoteThatIsNoneHasTheFileChecked) {
    for (const std::string text : {"", "\n", "\n99999999999\n", "one line", "a\nb\n", "a\n1\n"}) {
        CloseDatabase();
        std::ofstream(Note(), std::ios::trunc) << text;
        EXPECT_EQ(ChecksAtOpening(), 1) << text;
    }
    CloseDatabase();
    fs::remove(Note());
    fs::create_directories(Note() / "in the way");
    EXPECT_EQ(ChecksAtOpening(), 1);
}

}  // namespace
}  // namespace Drive::Testing
