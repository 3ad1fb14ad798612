// Settings are written whole or stay as they were, and are read whole or not at all, whichever system call goes wrong.
#include <gtest/gtest.h>

#include <cerrno>

#include "host/settings/private_file.h"
#include "host/settings/settings.h"
#include "tests/contract/platform/temporary_folder.h"
#include "tests/fault/support/system_calls.h"

namespace Drive::Host {
namespace {

using Kind = Testing::CallFault::Kind;

struct Life {
    const char* name;
    Testing::CallFault fault;
};

void PrintTo(const Life& life, std::ostream* out) { *out << life.name; }

Settings Example(int number) {
    Settings settings;
    settings.cloudUrl = "https://cloud.example";
    // More than one reading of the file takes, and what stands behind it.
    for (int index = 0; index < 700; ++index) settings.root += "/folder " + std::to_string(number + index);
    settings.downloadRate = 1000 + number;
    settings.logLevel = "debug";
    return settings;
}

bool AreSame(const Settings& left, const Settings& right) {
    return left.cloudUrl == right.cloudUrl && left.root == right.root && left.downloadRate == right.downloadRate &&
           left.logLevel == right.logLevel;
}

class SettingsCalls : public ::testing::TestWithParam<Life> {
protected:
    void TearDown() override { Testing::EndCallFaults(); }

    std::string Folder() const { return folder.Native("").string(); }

    bool Read(Settings& settings) {
        bool absent = true;
        error.clear();
        const bool done = ReadSettings(Folder(), settings, error, absent);
        EXPECT_FALSE(absent) << "a file that cannot be asked for is not an absent one";
        return done;
    }

    /// Each call of the operation in turn; `operation` answers whether it was done.
    template <typename Operation, typename Judge>
    void Sweep(const Operation& operation, const Judge& judge) {
        constexpr int kMostCalls = 1000;
        const std::size_t descriptors = Testing::CountOpenDescriptors();
        for (int nth = 1; nth < kMostCalls; ++nth) {
            Testing::BeginCallFaults(Folder(), GetParam().fault, nth);
            const bool done = operation();
            const std::string told = error;
            const std::string struck = Testing::EndCallFaults().struck;
            SCOPED_TRACE("call " + std::to_string(nth) + ": " + struck);
            EXPECT_TRUE(done || !struck.empty()) << told;
            EXPECT_TRUE(done || told.find(Folder()) != std::string::npos) << told;
            judge(done);
            EXPECT_EQ(Testing::CountOpenDescriptors(), descriptors);
            if (HasFailure() || struck.empty()) return;
        }
        ADD_FAILURE() << "the sweep did not end";
    }

    const Testing::TemporaryFolder folder;
    std::string error;
};

// HOST-SET-40
TEST_P(SettingsCalls, AreWrittenWholeOrStayAsTheyWere) {
    int number = 0;
    ASSERT_TRUE(WriteSettings(Folder(), Example(number), error)) << error;
    Sweep([&] { return WriteSettings(Folder(), Example(number + 1), error); },
          [&](bool done) {
              Settings found;
              ASSERT_TRUE(Read(found)) << error;
              EXPECT_TRUE(AreSame(found, Example(number + 1)) || (!done && AreSame(found, Example(number))));
              number += AreSame(found, Example(number + 1)) ? 1 : 0;
          });
}

// HOST-SET-41
TEST_P(SettingsCalls, AreReadWholeOrNotAtAll) {
    ASSERT_TRUE(WriteSettings(Folder(), Example(5), error)) << error;
    Settings found;
    Sweep([&] { return found = Settings(), Read(found); },
          [&](bool done) { EXPECT_TRUE(!done || AreSame(found, Example(5))); });
}

INSTANTIATE_TEST_SUITE_P(Sweep, SettingsCalls,
                         ::testing::Values(Life{"ErrorOnce", {Kind::Error, EIO, false, {}}},
                                           Life{"ErrorFromThenOn", {Kind::Error, EIO, true, {}}},
                                           Life{"FullFromThenOn", {Kind::Error, ENOSPC, true, {}}},
                                           Life{"InterruptOnce", {Kind::Interrupt, EINTR, false, {}}},
                                           Life{"ShortFromThenOn", {Kind::ShortMove, 0, true, {}}}),
                         [](const auto& info) { return info.param.name; });

}  // namespace
}  // namespace Drive::Host
