#include "tests/fault/database/faulty_disk.h"
#include "tests/fault/database/scenario.h"

namespace Drive::Testing {
namespace {

using SQLiteDB::OpenOutcome;

/// The rows that a loss of power may leave, oldest first.
class Allowed {
public:
    void Answered(const Step& step, bool done) {
        if (cut) return;
        const Rows after = After(step);
        if (done && !step.mayLag) states.clear();
        // One that is in flight when the power goes stands whole or not at all.
        states.push_back(after);
        cut = !done;
    }
    bool Has(const Rows& rows) const { return std::find(states.begin(), states.end(), rows) != states.end(); }
    std::size_t Count() const { return states.size(); }

private:
    Rows After(const Step& step) const {
        Rows after = states.back();
        step.effect(after);
        return after;
    }
    std::vector<Rows> states = {Rows()};
    bool cut = false;
};

struct Cut {
    int seed;
    bool wholeLife = true;
    const std::vector<Step>& Life() const { return wholeLife ? Steps() : FirstSteps(); }
};

void PrintTo(const Cut& cut, std::ostream* out) { *out << "seed " << cut.seed; }

class PowerCut : public testing::TestWithParam<Cut> {
protected:
    void TearDown() override {
        FaultyDisk::Get().Heal();
        SQLiteDB::CloseDatabase();
    }

    /// One life that ends at the Nth call. Answers whether it came so far.
    bool Live(int nth) {
        StateFolder before, after;
        FaultyDisk& disk = FaultyDisk::Get();
        disk.Remember();
        disk.CutPowerAtNth(nth);
        const bool opened = SQLiteDB::OpenDatabase(before.Wide()).ok();
        Allowed allowed;
        for (const Step& step : GetParam().Life()) allowed.Answered(step, opened && step.run());
        SQLiteDB::CloseDatabase();
        const bool injected = disk.Heal();
        disk.LayOut(after.Native(), static_cast<std::uint32_t>(nth * 31 + GetParam().seed));

        const auto result = SQLiteDB::OpenDatabase(after.Wide());
        EXPECT_TRUE(result.outcome == OpenOutcome::Opened || (!opened && result.outcome == OpenOutcome::Created))
            << result.message;
        const Rows rows = ReadRows();
        EXPECT_TRUE(allowed.Has(rows)) << rows.files.size() << " files and " << rows.tasks.size()
                                       << " tasks are none of the " << allowed.Count() << " states that may stand";
        SQLiteDB::CloseDatabase();
        return injected;
    }
};

// DB-CRASH-02
TEST_P(PowerCut, AtAnyCallKeepsWhatWasAnsweredAndAtMostLosesLatePositions) {
    int nth = 1;
    while (Live(nth) && !HasFailure()) ++nth;
    EXPECT_FALSE(HasFailure()) << "at call " << nth;
    EXPECT_GT(nth, GetParam().wholeLife ? 100 : 30) << "the sweep met nearly no calls";
    RecordProperty("calls", nth - 1);
}

std::string NameOf(const testing::TestParamInfo<Cut>& info) { return "Chance" + std::to_string(info.param.seed); }

INSTANTIATE_TEST_SUITE_P(WholeLife, PowerCut, testing::Values(Cut{1}, Cut{2}, Cut{3}), NameOf);
INSTANTIATE_TEST_SUITE_P(Beginning, PowerCut, testing::Values(Cut{4, false}), NameOf);

}  // namespace
}  // namespace Drive::Testing
