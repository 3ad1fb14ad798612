// Every call with which the writer works on its file goes wrong in turn, until none is left that could.
#include <gtest/gtest.h>

#include <filesystem>

#include "collaborators/log/line_channel.h"
#include "tests/contract/platform/temporary_folder.h"
#include "tests/fault/logging/file_faults.h"
#include "tests/fault/logging/found_lines.h"

namespace Drive::Logging {

namespace {

namespace fs = std::filesystem;

using Trial::Found;
using Trial::Record;

constexpr int kRecords = 40;
constexpr int kAfterwards = 3;
constexpr std::chrono::milliseconds kMost{20000};

struct Fault {
    const char* name;
    Trial::Kind kind;
    bool lasting;
};

void PrintTo(const Fault& fault, std::ostream* out) { *out << fault.name; }

class LogSweep : public ::testing::TestWithParam<Fault> {
protected:
    LineChannel& Channel() {
        static LineChannel* const channel = new LineChannel(&Trial::LossLine);
        return *channel;
    }

    void LogOne(int number) {
        Channel().Push([number] { return Record(number); }, 200);
        // One batch a record, so that each run makes the same calls.
        Channel().Flush(kMost);
        if (number % 7 == 0) Trial::StepClock(2);
    }

    /// A log of many small files with one fault in it, and a healthy end. Answers what went wrong.
    std::string Live(int nth) {
        const Testing::TemporaryFolder folder;
        const RotatingFile::Place place{folder.Native("log").string() + "/t.log", 700, 60};
        Trial::BeginFaults(GetParam().kind, nth, GetParam().lasting);
        const bool opened = Channel().Open(place);
        if (opened) LogWithFaults();
        const std::string struck = Trial::EndFaults();
        if (!opened) {
            EXPECT_FALSE(struck.empty());
            EXPECT_TRUE(Channel().Open(place)) << "tried once more";
        }
        Trial::StepClock(2);
        for (int number = 1; number <= kAfterwards; ++number) LogOne(kRecords + number);
        EXPECT_TRUE(Channel().Flush(kMost)) << "the file can be written again";
        Channel().Silence();
        Check(Found(folder.Native("log")), struck, opened ? 1 : kRecords + 1);
        return struck;
    }

    void LogWithFaults() {
        Trial::Watch(std::this_thread::get_id());
        for (int number = 1; number <= kRecords; ++number) LogOne(number);
        EXPECT_EQ(Trial::EndWatch(), "") << "the thread that logs touched the file";
    }

    void Check(const Found& found, const std::string& struck, int first) {
        EXPECT_FALSE(found.foreign) << "a line that nobody wrote";
        EXPECT_LE(found.cut, struck.empty() ? 0 : 1 + kRecords / 7) << "at most one cut line a file that failed";
        int missing = 0;
        for (int number = first; number <= kRecords + kAfterwards; ++number) {
            EXPECT_LE(found.whole.count(number), 1u) << number << " stands twice";
            missing += found.whole.count(number) == 0 ? 1 : 0;
        }
        EXPECT_TRUE(found.whole.contains(kRecords + kAfterwards)) << "the last one, after all was well again";
        EXPECT_LE(missing, static_cast<int>(found.lost)) << "lost without a word";
        if (struck.empty()) {
            EXPECT_EQ(missing, 0);
            EXPECT_EQ(found.lost, 0u);
        }
    }
};

std::size_t OpenDescriptors() {
    return static_cast<std::size_t>(std::distance(fs::directory_iterator("/proc/self/fd"), {}));
}

// LOG-FILE-06
TEST_P(LogSweep, AFaultAtAnyCallDisturbsNobodyAndWhatIsLostIsTold) {
    const std::size_t before = OpenDescriptors();
    constexpr int kMostCalls = 5000;
    int nth = 1;
    while (nth < kMostCalls && !HasFailure() && !Live(nth).empty()) ++nth;
    EXPECT_FALSE(HasFailure()) << "at call " << nth;
    EXPECT_LT(nth, kMostCalls);
    EXPECT_GT(nth, kRecords) << "the sweep met nearly no calls";
    EXPECT_EQ(OpenDescriptors(), before);
    RecordProperty("calls", nth - 1);
}

INSTANTIATE_TEST_SUITE_P(Disk, LogSweep,
                         ::testing::Values(Fault{"ErrorOnce", Trial::Kind::Error, false},
                                           Fault{"ErrorFromThenOn", Trial::Kind::Error, true},
                                           Fault{"HalfALineOnce", Trial::Kind::HalfWritten, false},
                                           Fault{"HalfALineFromThenOn", Trial::Kind::HalfWritten, true}),
                         [](const auto& info) { return info.param.name; });

}  // namespace

}  // namespace Drive::Logging
