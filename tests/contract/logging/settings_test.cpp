#include <gtest/gtest.h>

#include "interfaces/logging/bi_logs_manager.h"
#include "interfaces/logging/sync_panel_log.h"
#include "tests/contract/logging/log_folder.h"
#include "tests/contract/platform/file_limits.h"

namespace Drive::Logging {

namespace {

void WriteOneOfEach() {
    SyncPanelLog::WriteTraceLog("trace");
    SyncPanelLog::WriteBeginTraceLog(10, 15001, "m", "f", "begin");
    SyncPanelLog::WriteEndTraceLog(10, 15001, "m", "f", "end");
    SyncPanelLog::WriteDebugLog("debug");
    SyncPanelLog::WriteErrorLog("m", "f", "error");
}

std::vector<std::string> TextsAt(Level level) {
    const Testing::LogFolder log;
    LogSettings settings = log.Settings();
    settings.level = level;
    EXPECT_TRUE(ConfigureTextLog(settings));
    WriteOneOfEach();
    std::vector<std::string> texts;
    for (const auto& line : log.TextLines()) texts.push_back(line.text);
    return texts;
}

using Texts = std::vector<std::string>;

}  // namespace

// LOG-SETTINGS-01
TEST(LogSettings, ALevelLetsItselfAndTheGraverThrough) {
    EXPECT_EQ(TextsAt(Level::Trace), (Texts{"trace", "begin", "end", "debug", "error"}));
    EXPECT_EQ(TextsAt(Level::Debug), (Texts{"debug", "error"}));
    EXPECT_EQ(TextsAt(Level::Error), (Texts{"error"}));
    EXPECT_EQ(TextsAt(Level::Off), Texts{});
}

// LOG-SETTINGS-02
TEST(LogSettings, TheFolderIsMadeWhenAbsent) {
    const Testing::LogFolder log;
    LogSettings settings = log.Settings();
    settings.folder += L"\\deeper/still";
    EXPECT_TRUE(ConfigureTextLog(settings));
    EXPECT_TRUE(ConfigureStatistics(settings));
    EXPECT_TRUE(log.folder.Has("log/deeper/still/transfer.log"));
    EXPECT_TRUE(log.folder.Has("log/deeper/still/statistics.jsonl"));
}

// LOG-SETTINGS-03
TEST(LogSettings, AClosingSeparatorDoesNoHarm) {
    const Testing::LogFolder log;
    LogSettings settings = log.Settings();
    settings.folder += L'\\';
    EXPECT_TRUE(ConfigureTextLog(settings));
    EXPECT_TRUE(log.folder.Has("log/transfer.log"));
}

// LOG-SETTINGS-04
TEST(LogSettings, WhatIsThereIsKept) {
    const Testing::LogFolder log;
    std::filesystem::create_directory(log.folder.Native("log"));
    log.folder.Put("log/transfer.log", "an older line\n");
    ASSERT_TRUE(ConfigureTextLog(log.Settings()));
    SyncPanelLog::WriteTraceLog("new");
    ASSERT_TRUE(FlushTextLog(20000));
    const auto lines = Testing::LinesOf(log.folder.Native("log") / "transfer.log");
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0], "an older line");
}

// LOG-SETTINGS-05
TEST(LogSettings, ALineThatACrashCutShortIsEndedFirst) {
    const Testing::LogFolder log;
    std::filesystem::create_directory(log.folder.Native("log"));
    log.folder.Put("log/transfer.log", "whole\nhal");
    ASSERT_TRUE(ConfigureTextLog(log.Settings()));
    SyncPanelLog::WriteTraceLog("new");
    ASSERT_TRUE(FlushTextLog(20000));
    const auto lines = Testing::LinesOf(log.folder.Native("log") / "transfer.log");
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_EQ(lines[1], "hal");
    EXPECT_EQ(Testing::LogLine(lines[2]).text, "new");
}

// LOG-SETTINGS-06
TEST(LogSettings, ASecondCallMovesToTheOtherFolder) {
    const Testing::LogFolder log;
    ASSERT_TRUE(ConfigureTextLog(log.Settings("first")));
    SyncPanelLog::WriteTraceLog("to the first");
    ASSERT_TRUE(ConfigureTextLog(log.Settings("second")));
    SyncPanelLog::WriteTraceLog("to the second");
    ASSERT_EQ(log.TextLines("second").size(), 1u);
    ASSERT_EQ(log.TextLines("first").size(), 1u);
    EXPECT_EQ(log.TextLines("first")[0].text, "to the first");
    EXPECT_EQ(log.TextLines("second")[0].text, "to the second");
}

// LOG-SETTINGS-07
TEST(LogSettings, WhatWasLoggedBeforeASecondCallGoesToTheEarlierFile) {
    const Testing::LogFolder log;
    for (int round = 0; round < 5; ++round) {
        const std::string first = "first" + std::to_string(round), second = "second" + std::to_string(round);
        ASSERT_TRUE(ConfigureTextLog(log.Settings(first)));
        for (int index = 0; index < 3000; ++index) SyncPanelLog::WriteTraceLog("text");
        ASSERT_TRUE(ConfigureTextLog(log.Settings(second)));
        EXPECT_EQ(log.TextLines(first).size(), 3000u);
        EXPECT_TRUE(log.TextLines(second).empty());
    }
}

// LOG-SETTINGS-08
TEST(LogSettings, AFolderThatCannotBeWrittenLeavesTheEarlierSettings) {
    const Testing::LogFolder log;
    LogSettings good = log.Settings();
    good.level = Level::Error;
    ASSERT_TRUE(ConfigureTextLog(good));
    ASSERT_TRUE(ConfigureStatistics(good));
    log.folder.Put("a file", "no folder");
    LogSettings bad = log.Settings("a file");
    EXPECT_FALSE(ConfigureTextLog(bad));
    EXPECT_FALSE(ConfigureStatistics(bad));
    bad.folder = L"\\no\xD800name";
    EXPECT_FALSE(ConfigureTextLog(bad));
    EXPECT_FALSE(ConfigureStatistics(bad));
    WriteOneOfEach();
    Bilog::BiLogsManager::GetInstance().OperateLog(1, L"m", L"t");
    EXPECT_EQ(log.TextLines().size(), 1u);
    EXPECT_EQ(log.StatisticLines().size(), 1u);
}

// LOG-SETTINGS-09
TEST(LogSettings, SizesThatMakeNoSenseAreRefused) {
    const Testing::LogFolder log;
    LogSettings settings = log.Settings();
    settings.bytesPerFile = 0;
    EXPECT_FALSE(ConfigureTextLog(settings));
    EXPECT_FALSE(ConfigureStatistics(settings));
    settings = log.Settings();
    settings.filesKept = -1;
    EXPECT_FALSE(ConfigureTextLog(settings));
    EXPECT_FALSE(ConfigureStatistics(settings));
}

// LOG-SETTINGS-10
TEST(LogSettings, WithoutAFolderNothingIsKept) {
    const Testing::LogFolder log;
    ASSERT_TRUE(ConfigureTextLog(log.Settings()));
    ASSERT_TRUE(ConfigureTextLog({}));
    SyncPanelLog::WriteTraceLog("into silence");
    EXPECT_TRUE(FlushTextLog(20000));
    ASSERT_TRUE(ConfigureTextLog(log.Settings()));
    SyncPanelLog::WriteTraceLog("heard");
    const auto lines = log.TextLines();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].text, "heard");
}

}  // namespace Drive::Logging
