// Opening, a short life and the end of it while each system call goes wrong in turn, from whatever an earlier process
// left in the folder.
#include <gtest/gtest.h>

#include <algorithm>

#include "interfaces/logging/log_settings.h"
#include "tests/fault/database/scenario.h"
#include "tests/fault/support/system_calls.h"

namespace Drive::Testing {
namespace {

namespace fs = std::filesystem;
using SQLiteDB::OpenOutcome;

fs::path LogOf(const fs::path& database) { return database.string() + "-wal"; }

/// What stands in the folder when the process begins, and the rows in it.
struct Beginning {
    const char* name;
    void (*prepare)(const StateFolder& folder);
    bool hasRows;
};

void PrintTo(const Beginning& beginning, std::ostream* out) { *out << beginning.name; }

void LeaveNothing(const StateFolder&) {}

/// Earlier rows under ids of their own, so that the steps of this life meet none of them.
void PutEarlier() {
    for (int number = 0; number < 30; ++number) PutDownload(L"earlier" + std::to_wstring(number));
    ASSERT_TRUE(Db().UpdateTaskItem(Update(L"earlier7", {{L"fragmentInfo", std::wstring(9000, L'e')}}), 1));
}

void AddEarlier(Rows& rows) {
    for (int number = 0; number < 30; ++number) {
        rows.files[L"earlier" + std::to_wstring(number)] = {21, L""};
        rows.tasks[{L"earlier" + std::to_wstring(number), 1}] = {};
    }
    rows.tasks[{L"earlier7", 1}].record = 9000;
}

void LeaveInGoodOrder(const StateFolder& folder) {
    ASSERT_EQ(SQLiteDB::OpenDatabase(folder.Wide()).outcome, OpenOutcome::Created);
    PutEarlier();
    SQLiteDB::CloseDatabase();
}

/// The last rows stand in the log alone, as a process leaves them that is killed.
void LeaveAfterACrash(const StateFolder& folder) {
    const StateFolder living;
    LeaveInGoodOrder(living);
    ASSERT_TRUE(SQLiteDB::OpenDatabase(living.Wide()).ok());
    ASSERT_TRUE(Db().UpdateTaskItem(Update(L"earlier7", {{L"fragmentInfo", std::wstring(3, L'e')}}), 1));
    ASSERT_TRUE(Db().UpdateTaskItem(Update(L"earlier7", {{L"fragmentInfo", std::wstring(9000, L'e')}}), 1));
    ASSERT_TRUE(SQLiteDB::SyncRows::PutFile(File(L"in the log", 1)));
    fs::copy_file(living.Database(), folder.Database());
    fs::copy_file(LogOf(living.Database()), LogOf(folder.Database()));
    SQLiteDB::CloseDatabase();
}

struct Outcome {
    bool ended = false;  ///< nothing was left that could go wrong
    bool opened = false;
    std::vector<Rows> allowed;
};

struct Life {
    const char* name;
    CallFault fault;
    bool closesToo;  ///< the faults stand until the database is closed
};

void PrintTo(const Life& life, std::ostream* out) { *out << life.name; }

class OpeningInTurn : public testing::TestWithParam<std::tuple<Beginning, Life>> {
protected:
    void SetUp() override {
        Logging::SetTextSink([this](const Logging::TextRecord& record) { lines.push_back(record); });
    }
    void TearDown() override {
        EndCallFaults();
        Logging::SetTextSink({});
        SQLiteDB::CloseDatabase();
    }
    const Beginning& Before() const { return std::get<0>(GetParam()); }
    const Life& How() const { return std::get<1>(GetParam()); }

    Rows RowsBefore() const {
        Rows rows;
        if (Before().hasRows) AddEarlier(rows);
        if (std::string(Before().name) == "AfterACrash") rows.files[L"in the log"] = {1, L""};
        return rows;
    }

    /// The rows that may stand after the steps: those that were answered, and of one that failed last what it wrote
    /// before, when nothing that came later has written over it.
    std::vector<Rows> RunSteps() {
        std::vector<Rows> allowed = {RowsBefore()};
        for (const Step& step : FirstSteps()) {
            const std::size_t told = lines.size();
            Rows after = allowed.front();
            step.effect(after);
            if (step.run()) {
                allowed = {after};
                continue;
            }
            EXPECT_GT(lines.size(), told) << step.name << " failed without a word";
            allowed.push_back(after);
        }
        return allowed;
    }

    Outcome Live(int nth) {
        const StateFolder folder;
        Before().prepare(folder);
        lines.clear();
        Outcome outcome;
        BeginCallFaults(folder.Native(), How().fault, nth);
        const auto opened = SQLiteDB::OpenDatabase(folder.Wide());
        outcome.opened = opened.ok();
        outcome.allowed = {RowsBefore()};
        if (opened.ok()) outcome.allowed = RunSteps();
        if (How().closesToo) SQLiteDB::CloseDatabase();
        const std::string struck = EndCallFaults().struck;
        SCOPED_TRACE(struck);
        outcome.ended = struck.empty();
        if (!How().closesToo) {
            outcome.allowed.resize(1);
            SQLiteDB::CloseDatabase();
        }
        CheckOpening(opened, folder);
        CheckAfterwards(outcome, folder);
        return outcome;
    }

    void CheckOpening(const SQLiteDB::OpenResult& opened, const StateFolder& folder) {
        EXPECT_NE(opened.outcome, OpenOutcome::Rebuilt) << "a failing disk is no damage";
        if (opened.ok()) return;
        EXPECT_EQ(opened.outcome, OpenOutcome::Failed);
        EXPECT_NE(opened.message.find(folder.Native().string()), std::string::npos) << opened.message;
        EXPECT_GT(opened.message.size(), folder.Database().string().size() + 30) << opened.message;
    }

    void CheckAfterwards(const Outcome& outcome, const StateFolder& folder) {
        const auto again = SQLiteDB::OpenDatabase(folder.Wide());
        const bool mayBeNew = !Before().hasRows && !outcome.opened;
        EXPECT_TRUE(again.outcome == OpenOutcome::Opened || (mayBeNew && again.outcome == OpenOutcome::Created))
            << again.message;
        const Rows rows = ReadRows();
        EXPECT_NE(std::find(outcome.allowed.begin(), outcome.allowed.end(), rows), outcome.allowed.end())
            << rows.files.size() << " files and " << rows.tasks.size() << " tasks are none of the "
            << outcome.allowed.size() << " states that may stand";
        SQLiteDB::CloseDatabase();
        EXPECT_EQ(IntegrityOf(folder.Database()), "ok");
        for (const auto& entry : fs::directory_iterator(folder.Native())) {
            EXPECT_EQ(entry.path().filename().string().find("damaged"), std::string::npos) << entry.path();
        }
    }

    std::vector<Logging::TextRecord> lines;
};

// DB-FAIL-16
TEST_P(OpeningInTurn, LosesNothingWhicheverSystemCallFails) {
    constexpr int kMostCalls = 5000;
    const std::size_t descriptors = CountOpenDescriptors();
    int nth = 1;
    while (nth < kMostCalls && !HasFailure() && !Live(nth).ended) ++nth;
    EXPECT_FALSE(HasFailure()) << "at call " << nth;
    EXPECT_LT(nth, kMostCalls) << "the sweep did not end";
    EXPECT_GT(nth, 5) << "the sweep met nearly no calls";
    EXPECT_EQ(CountOpenDescriptors(), descriptors);
    RecordProperty("calls", nth - 1);
}

constexpr Beginning kBeginnings[] = {{"InAnEmptyFolder", LeaveNothing, false},
                                     {"AfterAGoodEnd", LeaveInGoodOrder, true},
                                     {"AfterACrash", LeaveAfterACrash, true}};

/// A lock that the system refuses looks like another program's, which is waited for: ten seconds an operation.
const std::set<std::string> kLocks = {"fcntl"};

const Life kLives[] = {{"ErrorOnce", {CallFault::Kind::Error, EIO, false, kLocks}, false},
                       {"ErrorFromThenOn", {CallFault::Kind::Error, EIO, true, kLocks}, false},
                       {"ErrorUntilTheEnd", {CallFault::Kind::Error, EIO, true, kLocks}, true},
                       {"FullOnce", {CallFault::Kind::Error, ENOSPC, false, kLocks}, true},
                       {"QuotaFromThenOn", {CallFault::Kind::Error, EDQUOT, true, kLocks}, true},
                       {"InterruptOnce", {CallFault::Kind::Interrupt, EINTR, false, kLocks}, true},
                       {"ShortOnce", {CallFault::Kind::ShortMove, 0, false, kLocks}, true},
                       {"ShortFromThenOn", {CallFault::Kind::ShortMove, 0, true, kLocks}, true},
                       {"ClosingOnce", {CallFault::Kind::LostClose, EIO, false, kLocks}, true}};

INSTANTIATE_TEST_SUITE_P(Sweep, OpeningInTurn,
                         testing::Combine(testing::ValuesIn(kBeginnings), testing::ValuesIn(kLives)),
                         [](const auto& info) {
                             return std::string(std::get<0>(info.param).name) + std::get<1>(info.param).name;
                         });

}  // namespace
}  // namespace Drive::Testing
