// Every call that WriteLocalFileV makes goes wrong in turn, until none is left that could.
#include <cerrno>
#include <functional>

#include "interfaces/common/file_helper.h"
#include "interfaces/logging/log_settings.h"
#include "tests/contract/common/stepped_clock.h"
#include "tests/contract/common/test_folders.h"
#include "tests/fault/common/call_faults.h"

namespace Drive::Common {

namespace {

using Trial::Fault;

/// Where a block goes, and what stands there before.
struct Target {
    const char* name;
    std::wstring relative;
    std::int64_t position;
    bool exists;
};

const Target kTargets[] = {
    {"NewFileInNewFolders", L"a\\b\\c\\file", 0, false},
    {"NewFileBehindItsStart", L"late", 70000, false},
    {"LaterBlock", L"old", 70000, true},
    {"FirstBlockAgain", L"old", 0, true},
};

void PrintTo(const Target& target, std::ostream* out) { *out << target.name; }

constexpr std::size_t kLength = 50000;

struct Outcome {
    bool answer = false;
    std::string struck;
    std::size_t calls = 0;
};

class WriteSweep : public Trial::WithFolders, public ::testing::WithParamInterface<Target> {
protected:
    void SetUp() override {
        WithFolders::SetUp();
        Logging::SetTextSink([this](const Logging::TextRecord& record) { lines.push_back(record); });
        descriptors = OpenDescriptors();
    }
    void TearDown() override {
        Trial::EndFaults();
        Trial::ForgetDisk();
        Logging::SetTextSink({});
        WithFolders::TearDown();
    }

    fs::path Native() const { return base / "root" / Platform::NativePath(GetParam().relative); }

    /// The place as it was before the first write.
    void LayOut() {
        fs::remove_all(base / "root");
        fs::create_directory(base / "root");
        if (GetParam().exists) Trial::Put(Native(), before);
        Trial::ForgetDisk();
        Trial::TakeSlept();
        lines.clear();
    }

    std::string Expected() const {
        std::string content = GetParam().exists ? before : std::string();
        const auto position = static_cast<std::size_t>(GetParam().position);
        content.resize(std::max(content.size(), position + kLength));
        return content.replace(position, kLength, block);
    }

    bool Write() const {
        return FileHepler::WriteLocalFileV(GetParam().position, block.data(), block.size(),
                                           InRoot(GetParam().relative));
    }

    Outcome WriteWith(const Fault& fault, int first, int second = 0) {
        LayOut();
        Outcome outcome;
        Trial::BeginFaults(fault, first, second);
        outcome.answer = Write();
        outcome.calls = Trial::CallCount();
        outcome.struck = Trial::EndFaults();
        return outcome;
    }

    /// What must hold whatever went wrong.
    void Check(const Outcome& outcome) {
        if (outcome.answer) {
            EXPECT_EQ(Trial::NotOnDisk(), "") << "answered true";
            EXPECT_TRUE(Trial::Get(Native()) == Expected()) << "answered true";
            EXPECT_TRUE(lines.empty()) << lines.front().text;
        } else {
            CheckNothingElseChanged();
            CheckTheFailureIsTold();
        }
        EXPECT_LE(Trial::TakeSlept(), 10000);
        EXPECT_EQ(OpenDescriptors(), descriptors) << "descriptors";
        EXPECT_TRUE(Write()) << "again, on a disk that works";
        EXPECT_EQ(Trial::NotOnDisk(), "") << "again, on a disk that works";
        EXPECT_TRUE(Trial::Get(Native()) == Expected()) << "again, on a disk that works";
    }

    void CheckNothingElseChanged() const {
        if (!GetParam().exists) return;
        const std::string content = Trial::Get(Native());
        const auto begin = static_cast<std::size_t>(GetParam().position);
        ASSERT_GE(content.size(), before.size());
        EXPECT_EQ(content.substr(0, begin), before.substr(0, begin));
        if (begin + kLength < before.size()) {
            EXPECT_EQ(content.substr(begin + kLength), before.substr(begin + kLength));
        }
    }

    void CheckTheFailureIsTold() const {
        ASSERT_EQ(lines.size(), 1u);
        EXPECT_EQ(lines[0].level, Logging::Level::Error);
        EXPECT_NE(lines[0].text.find(Native().filename().string()), std::string::npos) << lines[0].text;
    }

    /// Goes on until a run meets nothing more that could go wrong. Gives the number of runs that did.
    int Sweep(const Fault& fault, const std::function<void(const Outcome&)>& also) {
        constexpr int kMostCalls = 10000;
        for (int nth = 1; nth < kMostCalls; ++nth) {
            SCOPED_TRACE("at call " + std::to_string(nth));
            const Outcome outcome = WriteWith(fault, nth);
            Check(outcome);
            also(outcome);
            if (HasFailure() || outcome.struck.empty()) return nth - 1;
        }
        ADD_FAILURE() << "the sweep did not end";
        return 0;
    }

    static std::size_t OpenDescriptors() {
        return static_cast<std::size_t>(std::distance(fs::directory_iterator("/proc/self/fd"), {}));
    }

    const std::string before = Trial::Noise(90000, 5);
    const std::string block = Trial::Noise(kLength, 6);
    std::size_t descriptors = 0;
    std::vector<Logging::TextRecord> lines;
};

// COM-DURABLE-18
TEST_P(WriteSweep, AnErrorOfAnyOneCallFailsTheWriteAndLosesNothing) {
    const int struck = Sweep({Fault::Kind::Error, EIO, false}, [](const Outcome& outcome) {
        EXPECT_EQ(outcome.answer, outcome.struck.empty()) << outcome.struck;
    });
    EXPECT_GE(struck, 5) << "the sweep met nearly no calls";
}

// COM-DURABLE-19
TEST_P(WriteSweep, ADiskThatIsBrokenFromAnyCallOnFailsTheWriteAndLosesNothing) {
    Sweep({Fault::Kind::Error, EIO, true},
          [](const Outcome& outcome) { EXPECT_EQ(outcome.answer, outcome.struck.empty()) << outcome.struck; });
}

// COM-DURABLE-20
TEST_P(WriteSweep, ADiskThatIsFullForOneCallIsWaitedFor) {
    for (const int error : {ENOSPC, EDQUOT}) {
        Sweep({Fault::Kind::Error, error, false},
              [](const Outcome& outcome) { EXPECT_TRUE(outcome.answer) << outcome.struck; });
    }
}

// COM-DURABLE-21
TEST_P(WriteSweep, ADiskThatIsFullFromAnyCallOnFailsTheWriteAfterABoundedWait) {
    for (const int error : {ENOSPC, EDQUOT}) {
        Sweep({Fault::Kind::Error, error, true}, [](const Outcome& outcome) {
            EXPECT_EQ(outcome.answer, outcome.struck.empty()) << outcome.struck;
            EXPECT_LT(outcome.calls, 1000u);
        });
    }
}

// COM-DURABLE-22
TEST_P(WriteSweep, AnInterruptionOfAnyCallIsPassedOver) {
    Sweep({Fault::Kind::Error, EINTR, false},
          [](const Outcome& outcome) { EXPECT_TRUE(outcome.answer) << outcome.struck; });
}

// COM-DURABLE-23
TEST_P(WriteSweep, WritesThatMoveOnlyAPartAreGoneOn) {
    for (const bool lasting : {false, true}) {
        const int struck =
            Sweep({Fault::Kind::ShortWrite, 0, lasting}, [](const Outcome& outcome) { EXPECT_TRUE(outcome.answer); });
        EXPECT_GE(struck, 1);
    }
}

// COM-DURABLE-24
TEST_P(WriteSweep, AnErrorThatOnlyTheClosingTellsTakesNothingFromWhatIsOnTheDisk) {
    for (const bool lasting : {false, true}) {
        Sweep({Fault::Kind::LostClose, EIO, lasting},
              [](const Outcome& outcome) { EXPECT_TRUE(outcome.answer) << outcome.struck; });
    }
}

class WriteSweepOfPairs : public WriteSweep {};

// COM-DURABLE-25
TEST_P(WriteSweepOfPairs, TwoFaultsAnywhereLoseNothing) {
    for (const int error : {EIO, ENOSPC}) {
        const Fault fault{Fault::Kind::Error, error, false};
        for (int first = 1; !HasFailure(); ++first) {
            if (WriteWith(fault, first).struck.empty()) break;
            for (int second = 1; second < 60 && !HasFailure(); ++second) {
                SCOPED_TRACE(std::to_string(first) + " and " + std::to_string(second) + " later");
                const Outcome outcome = WriteWith(fault, first, second);
                Check(outcome);
                if (outcome.struck.find(' ') + 1 == outcome.struck.size()) break;
            }
        }
    }
}

std::string NameOf(const ::testing::TestParamInfo<Target>& info) { return info.param.name; }

INSTANTIATE_TEST_SUITE_P(Of, WriteSweep, ::testing::ValuesIn(kTargets), NameOf);
INSTANTIATE_TEST_SUITE_P(Of, WriteSweepOfPairs, ::testing::ValuesIn(kTargets), NameOf);

}  // namespace

}  // namespace Drive::Common
