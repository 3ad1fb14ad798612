#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/wait.h>

#include <csignal>
#include <thread>

#include "interfaces/platform/clock.h"
#include "tests/contract/logging/log_folder.h"

extern char** environ;

namespace Drive {

namespace {

class ProcessEnd : public ::testing::Test {
protected:
    /// Runs the process to its end and returns how it ended, as waitpid tells it.
    int Run(const std::string& way) {
        std::string program = ZELKOR_LOG_PROCESS, first = way, second = folder.Native("log").string();
        char* arguments[] = {program.data(), first.data(), second.data(), nullptr};
        pid_t child = 0;
        if (::posix_spawn(&child, program.c_str(), nullptr, nullptr, arguments, environ) != 0) return -1;
        int status = -1;
        ::waitpid(child, &status, 0);
        return status;
    }

    std::vector<std::string> Texts() {
        std::vector<std::string> texts;
        for (const std::string& line : Testing::LinesOf(folder.Native("log") / "transfer.log")) {
            texts.push_back(Testing::LogLine(line).text);
        }
        return texts;
    }

    std::size_t CountStatistics() { return Testing::LinesOf(folder.Native("log") / "statistics.jsonl").size(); }

    Testing::TemporaryFolder folder;
};

class Crash : public ProcessEnd, public ::testing::WithParamInterface<int> {};

}  // namespace

// LOG-END-01
TEST_F(ProcessEnd, AnExitWithoutDestructorsAfterAFlushLosesNothing) {
    EXPECT_EQ(Run("end-at-once-after-flush"), 0);
    const auto texts = Texts();
    ASSERT_EQ(texts.size(), 2000u);
    EXPECT_EQ(texts.back(), "1999");
    EXPECT_EQ(CountStatistics(), 2000u);
}

// LOG-END-02
TEST_F(ProcessEnd, AnOrdinaryExitFlushesByItself) {
    EXPECT_EQ(Run("end-by-returning"), 0);
    EXPECT_EQ(Texts().size(), 2000u);
    EXPECT_EQ(CountStatistics(), 2000u);
}

// LOG-END-03
TEST_F(ProcessEnd, AnOrdinaryExitWaitsForWhatTheWriterHasNotReachedYet) {
    EXPECT_EQ(Run("end-with-much-text"), 0);
    EXPECT_EQ(Texts().size(), 500u);
}

// LOG-END-04
TEST_F(ProcessEnd, AnOrdinaryExitWaitsForTheStatisticsAsWell) {
    EXPECT_EQ(Run("end-with-many-statistics"), 0);
    EXPECT_EQ(CountStatistics(), 500u);
}

// LOG-END-05
TEST_F(ProcessEnd, ThreadsMayLogWhileTheProcessEnds) {
    const std::int64_t before = Platform::MonotonicMilliseconds();
    EXPECT_EQ(Run("end-while-others-log"), 0);
    EXPECT_LT(Platform::MonotonicMilliseconds() - before, 30000);
}

// LOG-END-06
TEST_P(Crash, LeavesEverythingUpToTheLastSecondInWholeLines) {
    const int status = Run("crash-a-second-later-" + std::to_string(GetParam()));
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == GetParam());
    const auto texts = Texts();
    ASSERT_GE(texts.size(), 100u);
    for (std::size_t index = 0; index < 100; ++index) EXPECT_EQ(texts[index], std::to_string(index));
    EXPECT_GE(CountStatistics(), 100u);
}

INSTANTIATE_TEST_SUITE_P(BySignal, Crash, testing::Values(SIGKILL, SIGSEGV, SIGABRT));

// LOG-ROTATE-07
TEST_F(ProcessEnd, TwoThatWriteOneLogLoseNothingAndKeepItsBounds) {
    constexpr std::uint64_t kSize = 20'000;
    std::thread other([this] { EXPECT_EQ(Run("fill-small-files-b"), 0); });
    EXPECT_EQ(Run("fill-small-files-a"), 0);
    other.join();
    std::size_t lines = 0;
    for (const auto& entry : std::filesystem::directory_iterator(folder.Native("log"))) {
        // Each may not have seen yet what the other gathered.
        EXPECT_LE(entry.file_size(), kSize + 2 * 4096) << entry.path();
        for (const std::string& line : Testing::LinesOf(entry.path())) {
            const std::string text = Testing::LogLine(line).text;
            EXPECT_TRUE(text == std::string(51, 'a') || text == std::string(51, 'b')) << line;
            ++lines;
        }
    }
    EXPECT_EQ(lines, 12000u);
}

// LOG-END-07
TEST_F(ProcessEnd, WhatWasLoggedBeforeTheFirstCallIsWrittenThen) {
    EXPECT_EQ(Run("log-before-configuring"), 0);
    EXPECT_EQ(Texts(), (std::vector<std::string>{"early", "late"}));
    EXPECT_EQ(CountStatistics(), 1u);
}

// LOG-END-08
TEST_F(ProcessEnd, WhatIsKeptBeforeTheFirstCallIsBounded) {
    EXPECT_EQ(Run("log-too-much-before-configuring"), 0);
    const auto texts = Texts();
    ASSERT_GT(texts.size(), 500u);
    EXPECT_LT(texts.size(), 50000u);
    for (std::size_t index = 0; index + 1 < texts.size(); ++index) ASSERT_EQ(texts[index], std::to_string(index));
    EXPECT_EQ(texts.back().find(std::to_string(100000 - (texts.size() - 1)) + " records"), 0u) << texts.back();
}

// LOG-END-09
TEST_F(ProcessEnd, WhatWasLoggedBeforeAChoiceOfSilenceIsThrownAway) {
    EXPECT_EQ(Run("log-before-choosing-silence"), 0);
    EXPECT_TRUE(Texts().empty());
}

// LOG-END-10
TEST_F(ProcessEnd, AProcessThatNamesNoFolderWritesNothing) {
    EXPECT_EQ(Run("never-configure"), 0);
    EXPECT_EQ(folder.CountEntries(), 0u);
}

}  // namespace Drive
