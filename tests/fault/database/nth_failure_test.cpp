#include <algorithm>

#include "interfaces/logging/log_settings.h"
#include "tests/fault/database/faulty_disk.h"
#include "tests/fault/database/scenario.h"

namespace Drive::Testing {
namespace {

using SQLiteDB::OpenOutcome;

struct Fault {
    bool lasting;
    FaultyDisk::Kind kind;
    bool wholeLife = true;
    const std::vector<Step>& Life() const { return wholeLife ? Steps() : FirstSteps(); }
};

std::string NameOf(const Fault& fault) {
    const std::string kind = fault.kind == FaultyDisk::Kind::Full ? "FullDisk" : "IoError";
    return kind + (fault.lasting ? "FromThenOn" : "Once");
}

void PrintTo(const Fault& fault, std::ostream* out) { *out << NameOf(fault); }

class EveryNthFailure : public testing::TestWithParam<Fault> {
protected:
    void SetUp() override {
        Logging::SetTextSink([this](const Logging::TextRecord& record) { lines.push_back(record); });
    }
    void TearDown() override {
        FaultyDisk::Get().Heal();
        Logging::SetTextSink({});
        SQLiteDB::CloseDatabase();
    }

    /// Runs the steps and gives the rows that the operations which answered true must have left.
    Rows RunSteps(const std::vector<Step>& steps, bool isOpen) {
        Rows expected;
        for (const Step& step : steps) {
            lines.clear();
            if (step.run()) {
                step.effect(expected);
            } else if (isOpen) {
                EXPECT_TRUE(IsTold()) << step.name << " failed without a word";
            }
        }
        return expected;
    }

    bool IsTold() const {
        return std::any_of(lines.begin(), lines.end(), [](const Logging::TextRecord& line) {
            return line.level == Logging::Level::Error && line.text.starts_with("Could not ") &&
                   line.text.find("transfer.db") != std::string::npos;
        });
    }

    /// One life with a fault at the Nth call. Answers whether there was one.
    bool Live(int nth) {
        StateFolder folder;
        FaultyDisk& disk = FaultyDisk::Get();
        disk.FailNth(nth, GetParam().lasting, GetParam().kind);
        const auto opened = SQLiteDB::OpenDatabase(folder.Wide());
        const Rows expected = RunSteps(GetParam().Life(), opened.ok());
        const bool injected = disk.Heal();
        EXPECT_NE(opened.outcome, OpenOutcome::Rebuilt) << "a failing disk is no damage";
        if (opened.ok()) {
            EXPECT_TRUE(ReadRows() == expected) << "while it is open";
        }
        SQLiteDB::CloseDatabase();
        const auto again = SQLiteDB::OpenDatabase(folder.Wide());
        EXPECT_TRUE(again.outcome == OpenOutcome::Opened || (!opened.ok() && again.ok())) << again.message;
        EXPECT_NE(again.outcome, OpenOutcome::Rebuilt) << again.message;
        EXPECT_TRUE(ReadRows() == expected) << "when it is opened again";
        SQLiteDB::CloseDatabase();
        EXPECT_EQ(IntegrityOf(folder.Database()), "ok");
        return injected;
    }

    std::vector<Logging::TextRecord> lines;
};

// DB-FAIL-06
TEST_P(EveryNthFailure, FailsTheOperationAndNothingElse) {
    int nth = 1;
    while (Live(nth) && !HasFailure()) ++nth;
    EXPECT_FALSE(HasFailure()) << "at call " << nth;
    EXPECT_GT(nth, GetParam().wholeLife ? 100 : 30) << "the sweep met nearly no calls";
    RecordProperty("calls", nth - 1);
}

constexpr auto kIoError = FaultyDisk::Kind::IoError;
constexpr auto kFull = FaultyDisk::Kind::Full;
INSTANTIATE_TEST_SUITE_P(WholeLife, EveryNthFailure,
                         testing::Values(Fault{false, kIoError}, Fault{true, kIoError}, Fault{false, kFull},
                                         Fault{true, kFull}),
                         [](const auto& info) { return NameOf(info.param); });
INSTANTIATE_TEST_SUITE_P(Beginning, EveryNthFailure,
                         testing::Values(Fault{false, kIoError, false}, Fault{true, kFull, false}),
                         [](const auto& info) { return NameOf(info.param); });

}  // namespace
}  // namespace Drive::Testing
