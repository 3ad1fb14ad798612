// Moving a damaged database aside while each system call goes wrong in turn: whatever happens, its bytes stay.
#include <algorithm>
#include <fstream>
#include <iterator>

#include "tests/fault/database/scenario.h"
#include "tests/fault/support/system_calls.h"

namespace Drive::Testing {
namespace {

namespace fs = std::filesystem;
using SQLiteDB::OpenOutcome;

std::string ContentOf(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

bool IsKept(const fs::path& folder, const std::string& content) {
    return std::any_of(fs::directory_iterator(folder), {},
                       [&](const fs::directory_entry& entry) { return ContentOf(entry.path()) == content; });
}

constexpr std::size_t kPage = 4096;

struct Life {
    const char* name;
    CallFault fault;
};

void PrintTo(const Life& life, std::ostream* out) { *out << life.name; }

class DamagedFile : public testing::TestWithParam<Life> {
protected:
    void TearDown() override {
        EndCallFaults();
        SQLiteDB::CloseDatabase();
    }

    /// A database of which nothing but the first page can be made out, with the log of its last rows beside it.
    static void Prepare(const StateFolder& folder) {
        const StateFolder living;
        ASSERT_TRUE(SQLiteDB::OpenDatabase(living.Wide()).ok());
        PutDownload(L"old");
        SQLiteDB::CloseDatabase();
        ASSERT_TRUE(SQLiteDB::OpenDatabase(living.Wide()).ok());
        ASSERT_TRUE(Db().UpdateTaskItem(Update(L"old", {{L"Priority", L"7"}}), 1));
        fs::copy_file(living.Database(), folder.Database());
        fs::copy_file(living.Database().string() + "-wal", folder.Database().string() + "-wal");
        SQLiteDB::CloseDatabase();
        std::fstream file(folder.Database(), std::ios::binary | std::ios::in | std::ios::out);
        file.seekp(kPage);
        file << std::string(fs::file_size(folder.Database()) - kPage, 'x');
    }

    /// Answers whether anything went wrong.
    static bool Live(int nth) {
        const StateFolder folder;
        Prepare(folder);
        const std::string damaged = ContentOf(folder.Database());
        const std::string log = ContentOf(folder.Database().string() + "-wal");
        BeginCallFaults(folder.Native(), GetParam().fault, nth);
        const auto opened = SQLiteDB::OpenDatabase(folder.Wide());
        const std::string struck = EndCallFaults().struck;
        SCOPED_TRACE(struck);
        EXPECT_TRUE(opened.outcome == OpenOutcome::Rebuilt || (!opened.ok() && !struck.empty())) << opened.message;
        EXPECT_TRUE(IsKept(folder.Native(), damaged));
        EXPECT_TRUE(IsKept(folder.Native(), log));
        SQLiteDB::CloseDatabase();
        const auto again = SQLiteDB::OpenDatabase(folder.Wide());
        EXPECT_TRUE(again.ok()) << again.message;
        EXPECT_TRUE(SQLiteDB::SyncRows::PutFile(File(L"new", 1)));
        EXPECT_EQ(Ask(L"SELECT group_concat(fileId) FROM T_cloudDriveData"), L"new");
        SQLiteDB::CloseDatabase();
        EXPECT_TRUE(IsKept(folder.Native(), damaged)) << "after the new one was made";
        EXPECT_TRUE(IsKept(folder.Native(), log)) << "after the new one was made";
        return !struck.empty();
    }
};

// DB-FAIL-17
TEST_P(DamagedFile, KeepsItsBytesWhicheverSystemCallFails) {
    constexpr int kMostCalls = 2000;
    int nth = 1;
    while (nth < kMostCalls && Live(nth) && !HasFailure()) ++nth;
    EXPECT_FALSE(HasFailure()) << "at call " << nth;
    EXPECT_LT(nth, kMostCalls) << "the sweep did not end";
    EXPECT_GT(nth, 30) << "the sweep met nearly no calls";
}

/// A lock that the system refuses looks like another program's, which is waited for: ten seconds an operation.
const std::set<std::string> kLocks = {"fcntl"};

INSTANTIATE_TEST_SUITE_P(Sweep, DamagedFile,
                         testing::Values(Life{"ErrorOnce", {CallFault::Kind::Error, EIO, false, kLocks}},
                                         Life{"ErrorFromThenOn", {CallFault::Kind::Error, EIO, true, kLocks}},
                                         Life{"FullOnce", {CallFault::Kind::Error, ENOSPC, false, kLocks}},
                                         Life{"ShortOnce", {CallFault::Kind::ShortMove, 0, false, kLocks}}),
                         [](const auto& info) { return info.param.name; });

}  // namespace
}  // namespace Drive::Testing
