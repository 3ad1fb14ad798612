// The calls that the libraries below the writer make on its folder and files go wrong in turn: looking for a half
// line, making the folder, counting, renaming, opening.
#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>

#include "collaborators/log/line_channel.h"
#include "tests/contract/platform/temporary_folder.h"
#include "tests/fault/logging/file_faults.h"
#include "tests/fault/logging/found_lines.h"
#include "tests/fault/support/system_calls.h"

namespace Drive::Logging {

namespace {

using Testing::CallFault;
using Trial::Found;
using Trial::Record;

constexpr int kRecords = 30;
constexpr int kAfterwards = 3;
constexpr std::chrono::milliseconds kMost{20000};

struct Fault {
    const char* name;
    CallFault fault;
};

void PrintTo(const Fault& fault, std::ostream* out) { *out << fault.name; }

class LogCalls : public ::testing::TestWithParam<Fault> {
protected:
    void TearDown() override { Testing::EndCallFaults(); }

    LineChannel& Channel() {
        static LineChannel* const channel = new LineChannel(&Trial::LossLine);
        return *channel;
    }

    void LogOne(int number) {
        Channel().Push([number] { return Record(number); }, 200);
        Channel().Flush(kMost);
        if (number % 7 == 0) Trial::StepClock(2);
    }

    void LogAll(int first, int last) {
        for (int number = first; number <= last; ++number) LogOne(number);
    }

    /// A log that begins after half a line of an earlier process, with one fault in it, and a healthy end. Answers
    /// what went wrong.
    std::string Live(int nth) {
        const Testing::TemporaryFolder folder;
        folder.Put("t.log", Record(1) + '\n' + Record(2).substr(0, 50));
        const RotatingFile::Place place{folder.Native("t.log").string(), 700, 9};
        Testing::BeginCallFaults(folder.Native("").string(), GetParam().fault, nth);
        const bool opened = Channel().Open(place);
        if (opened) LogAll(3, kRecords);
        const std::string struck = Testing::EndCallFaults().struck;
        SCOPED_TRACE(struck);
        if (!opened) {
            EXPECT_FALSE(struck.empty());
            EXPECT_TRUE(Channel().Open(place)) << "tried once more";
            LogAll(3, kRecords);
        }
        Trial::StepClock(2);
        LogAll(kRecords + 1, kRecords + kAfterwards);
        EXPECT_TRUE(Channel().Flush(kMost)) << "the file can be written again";
        Channel().Silence();
        Check(Found(folder.Native("")), struck);
        return struck;
    }

    static void Check(const Found& found, const std::string& struck) {
        EXPECT_LE(found.cut, struck.empty() ? 1 : 2) << "the half line, and one that was glued to it at most";
        int missing = 0;
        for (int number = 1; number <= kRecords + kAfterwards; ++number) {
            if (number == 2) continue;
            EXPECT_LE(found.whole.count(number), 1u) << number << " stands twice";
            missing += found.whole.count(number) == 0 ? 1 : 0;
        }
        EXPECT_TRUE(found.whole.contains(kRecords + kAfterwards)) << "the last one, after all was well again";
        // What ends the half line is not sure to be written: the first record may be glued to it.
        EXPECT_LE(missing, static_cast<int>(found.lost) + (struck.empty() ? 0 : 1)) << "lost without a word";
        if (struck.empty()) {
            EXPECT_EQ(missing, 0);
            EXPECT_EQ(found.lost, 0u);
            EXPECT_EQ(found.cut, 1);
        }
    }
};

// LOG-FILE-06
TEST_P(LogCalls, AFaultAtAnyCallOfTheLibrariesBelowDisturbsNobodyAndWhatIsLostIsTold) {
    constexpr int kMostCalls = 2000;
    const std::size_t descriptors = Testing::CountOpenDescriptors();
    int nth = 1;
    while (nth < kMostCalls && !HasFailure() && !Live(nth).empty()) ++nth;
    EXPECT_FALSE(HasFailure()) << "at call " << nth;
    EXPECT_LT(nth, kMostCalls) << "the sweep did not end";
    EXPECT_GT(nth, 1) << "the sweep met no calls";
    EXPECT_EQ(Testing::CountOpenDescriptors(), descriptors);
    RecordProperty("calls", nth - 1);
}

using Kind = CallFault::Kind;
INSTANTIATE_TEST_SUITE_P(Disk, LogCalls,
                         ::testing::Values(Fault{"ErrorOnce", {Kind::Error, EIO, false, {}}},
                                           Fault{"ErrorFromThenOn", {Kind::Error, EIO, true, {}}},
                                           Fault{"NoDescriptorOnce", {Kind::Error, EMFILE, false, {}}},
                                           Fault{"QuotaFromThenOn", {Kind::Error, EDQUOT, true, {}}},
                                           Fault{"InterruptOnce", {Kind::Interrupt, EINTR, false, {}}},
                                           Fault{"ShortFromThenOn", {Kind::ShortMove, 0, true, {}}}),
                         [](const auto& info) { return info.param.name; });

}  // namespace

}  // namespace Drive::Logging
