// Handing tasks out while each system call goes wrong in turn: a task that nobody got is handed out later, one that
// somebody got is not handed out again, and a write that failed ends no lease.
#include <algorithm>

#include "tests/fault/database/scenario.h"
#include "tests/fault/support/system_calls.h"

namespace Drive::Testing {
namespace {

constexpr int kTasks = 12;
/// Long enough to lie on pages of its own, so that reading a row reads the file.
constexpr std::size_t kRecord = 30000;

struct Life {
    const char* name;
    CallFault fault;
};

void PrintTo(const Life& life, std::ostream* out) { *out << life.name; }

class LeasesUnderFaults : public testing::TestWithParam<Life> {
protected:
    void TearDown() override {
        EndCallFaults();
        SQLiteDB::CloseDatabase();
    }

    static std::wstring Id(int number) { return L"task" + std::to_wstring(100 + number); }

    static IdList All() {
        IdList all;
        for (int number = 0; number < kTasks; ++number) all.push_back(Id(number));
        return all;
    }

    static void Prepare(const StateFolder& folder) {
        ASSERT_TRUE(SQLiteDB::OpenDatabase(folder.Wide()).ok());
        for (int number = 0; number < kTasks; ++number) {
            PutDownload(Id(number));
            ASSERT_TRUE(Db().UpdateTaskItem(Update(Id(number), {{L"fragmentInfo", std::wstring(kRecord, L'r')}}), 1));
        }
        // Nothing of it is remembered by the connections that read it next.
        SQLiteDB::CloseDatabase();
        ASSERT_TRUE(SQLiteDB::OpenDatabase(folder.Wide()).ok());
    }

    static void Append(IdList& to, const IdList& more) { to.insert(to.end(), more.begin(), more.end()); }

    /// Answers whether anything went wrong.
    static bool Live(int nth) {
        const StateFolder folder;
        Prepare(folder);
        BeginCallFaults(folder.Native(), GetParam().fault, nth);
        IdList handed = Ids(FetchDownloads(4));
        const bool isWritten = Db().UpdateTaskItem(Update(Id(0), {{L"Priority", L"0"}}), 1);
        Append(handed, Ids(FetchDownloads(3)));
        const bool isBatched = Db().ExecuteMulitNoQuerySQL({"UPDATE T_cloudDriveData SET localFileSha256 = 'x'"});
        const std::string struck = EndCallFaults().struck;
        SCOPED_TRACE(struck);
        EXPECT_TRUE((isWritten && isBatched) || !struck.empty());
        Append(handed, Ids(FetchDownloads(100)));
        std::sort(handed.begin(), handed.end());
        // The changed row is handed out once more when it had been handed out before it changed.
        const auto changed = std::count(handed.begin(), handed.end(), Id(0));
        EXPECT_TRUE(changed == 1 || (changed == 2 && isWritten)) << changed;
        handed.erase(std::unique(handed.begin(), handed.begin() + changed), handed.begin() + changed);
        EXPECT_EQ(handed, All());
        SQLiteDB::CloseDatabase();
        return !struck.empty();
    }
};

// DB-FAIL-19
TEST_P(LeasesUnderFaults, HandOutEachTaskOnceWhicheverSystemCallFails) {
    constexpr int kMostCalls = 2000;
    int nth = 1;
    while (nth < kMostCalls && Live(nth) && !HasFailure()) ++nth;
    EXPECT_FALSE(HasFailure()) << "at call " << nth;
    EXPECT_LT(nth, kMostCalls) << "the sweep did not end";
    EXPECT_GT(nth, 20) << "the sweep met nearly no calls";
}

/// A lock that the system refuses looks like another program's, which is waited for: ten seconds an operation.
const std::set<std::string> kLocks = {"fcntl"};

INSTANTIATE_TEST_SUITE_P(Sweep, LeasesUnderFaults,
                         testing::Values(Life{"ErrorOnce", {CallFault::Kind::Error, EIO, false, kLocks}},
                                         Life{"ErrorFromThenOn", {CallFault::Kind::Error, EIO, true, kLocks}},
                                         Life{"FullOnce", {CallFault::Kind::Error, ENOSPC, false, kLocks}}),
                         [](const auto& info) { return info.param.name; });

}  // namespace
}  // namespace Drive::Testing
