#include <gtest/gtest.h>

#include <numeric>
#include <vector>

#include "interfaces/logging/bi_logs_manager.h"
#include "interfaces/logging/sync_panel_log.h"
#include "tests/contract/logging/log_folder.h"

namespace Drive::Logging {

namespace {

constexpr std::uint64_t kSize = 4096;

LogSettings Small(const Testing::LogFolder& log, int filesKept) {
    LogSettings settings = log.Settings();
    settings.bytesPerFile = kSize;
    settings.filesKept = filesKept;
    return settings;
}

}  // namespace

// LOG-ROTATE-01
TEST(LogRotation, KeepsTheNewestFilesAndRemovesTheOldest) {
    const Testing::LogFolder log;
    ASSERT_TRUE(ConfigureTextLog(Small(log, 2)));
    for (int index = 0; index < 500; ++index) SyncPanelLog::WriteTraceLog("line " + std::to_string(index));
    ASSERT_TRUE(FlushTextLog(20000));

    std::vector<std::string> texts;
    for (const char* name : {"transfer.2.log", "transfer.1.log", "transfer.log"}) {
        const auto path = log.folder.Native("log") / name;
        ASSERT_TRUE(std::filesystem::exists(path)) << name;
        EXPECT_LE(std::filesystem::file_size(path), kSize) << name;
        for (const std::string& line : Testing::LinesOf(path)) texts.push_back(Testing::LogLine(line).text);
    }
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(log.folder.Native("log")), {}), 3);
    const int first = 500 - static_cast<int>(texts.size());
    ASSERT_GT(first, 0);
    for (std::size_t index = 0; index < texts.size(); ++index) {
        ASSERT_EQ(texts[index], "line " + std::to_string(first + static_cast<int>(index)));
    }
}

// LOG-ROTATE-02
TEST(LogRotation, MayKeepNoFileBesideTheCurrentOne) {
    const Testing::LogFolder log;
    ASSERT_TRUE(ConfigureTextLog(Small(log, 0)));
    for (int index = 0; index < 500; ++index) SyncPanelLog::WriteTraceLog("line " + std::to_string(index));
    const auto lines = log.TextLines();
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ(lines.back().text, "line 499");
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(log.folder.Native("log")), {}), 1);
    EXPECT_LE(std::filesystem::file_size(log.folder.Native("log/transfer.log")), kSize);
}

// LOG-ROTATE-03
TEST(LogRotation, HoldsForTheStatisticsAsWell) {
    const Testing::LogFolder log;
    ASSERT_TRUE(ConfigureStatistics(Small(log, 1)));
    for (int index = 0; index < 500; ++index) Bilog::BiLogsManager::GetInstance().OperateLog(15002, L"m", L"t");
    ASSERT_TRUE(FlushStatistics(20000));
    EXPECT_TRUE(log.folder.Has("log/statistics.1.jsonl"));
    EXPECT_FALSE(log.folder.Has("log/statistics.2.jsonl"));
    EXPECT_LE(std::filesystem::file_size(log.folder.Native("log/statistics.jsonl")), kSize);
}

// LOG-ROTATE-04
TEST(LogRotation, GoesOnInAFileOfAnEarlierRun) {
    const Testing::LogFolder log;
    std::filesystem::create_directory(log.folder.Native("log"));
    log.folder.Put("log/transfer.log", std::string(kSize - 10, 'x') + "\n");
    ASSERT_TRUE(ConfigureTextLog(Small(log, 1)));
    SyncPanelLog::WriteTraceLog("new");
    EXPECT_EQ(log.TextLines().size(), 1u);
    EXPECT_TRUE(log.folder.Has("log/transfer.1.log"));
}

/// The number at the beginning of each line that tells of lost ones.
std::vector<int> Losses(const std::vector<Testing::LogLine>& lines) {
    std::vector<int> losses;
    for (const Testing::LogLine& line : lines) {
        if (line.text.find(" were lost before this line") != std::string::npos) losses.push_back(std::stoi(line.text));
    }
    return losses;
}

// LOG-ROTATE-05
TEST(LogRotation, CountsTheLinesOfAFullFileThatCannotBeRenamed) {
    const Testing::LogFolder log;
    // Something that no file can take the place of.
    std::filesystem::create_directories(log.folder.Native("log") / "transfer.1.log" / "in the way");
    ASSERT_TRUE(ConfigureTextLog(Small(log, 1)));
    for (int index = 0; index < 250; ++index) SyncPanelLog::WriteTraceLog("line " + std::to_string(index));
    const auto lines = log.TextLines();
    EXPECT_LE(std::filesystem::file_size(log.folder.Native("log") / "transfer.log"), kSize);
    const std::vector<int> losses = Losses(lines);
    ASSERT_FALSE(losses.empty()) << "lost without a word";
    int kept = 0;
    for (const auto& line : lines) kept += line.text.starts_with("line ") ? 1 : 0;
    EXPECT_EQ(std::accumulate(losses.begin(), losses.end(), 0), 250 - kept);
    EXPECT_TRUE(std::filesystem::exists(log.folder.Native("log") / "transfer.1.log" / "in the way"));
}

// LOG-ROTATE-06
TEST(LogRotation, OverAnOlderFileThatCannotBeRenamedGoesOnWithTheNewest) {
    const Testing::LogFolder log;
    std::filesystem::create_directories(log.folder.Native("log") / "transfer.2.log" / "in the way");
    log.folder.Put("log/transfer.1.log", "one\ntwo\nthree\n");
    ASSERT_TRUE(ConfigureTextLog(Small(log, 2)));
    for (int index = 0; index < 100; ++index) SyncPanelLog::WriteTraceLog("line " + std::to_string(index));
    const auto lines = log.TextLines();
    std::size_t inFiles = Testing::LinesOf(log.folder.Native("log") / "transfer.1.log").size();
    EXPECT_GT(inFiles, 3u) << "the full file has taken the name";
    ASSERT_EQ(Losses(lines).size(), 1u);
    EXPECT_EQ(Losses(lines).front(), 3);
    EXPECT_EQ(inFiles + lines.size(), 100u + 1u);
}

}  // namespace Drive::Logging
