#include <gtest/gtest.h>

#include <map>
#include <thread>

#include "interfaces/logging/sync_panel_log.h"
#include "tests/contract/logging/log_folder.h"

namespace Drive {

namespace {

class TextRecords : public ::testing::Test {
protected:
    TextRecords() { EXPECT_TRUE(Logging::ConfigureTextLog(log.Settings())); }

    Testing::LogFolder log;
};

}  // namespace

// LOG-RECORD-01
TEST_F(TextRecords, ATraceLineIsOneLine) {
    SyncPanelLog::WriteTraceLog("UpLoadTaskManger.uploadTask:file client upload. fileid=17");
    const auto lines = log.TextLines();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].level, "trace");
    EXPECT_EQ(lines[0].module, "-");
    EXPECT_EQ(lines[0].function, "-");
    EXPECT_EQ(lines[0].text, "UpLoadTaskManger.uploadTask:file client upload. fileid=17");
}

// LOG-RECORD-02
TEST_F(TextRecords, ADebugLineSaysSo) {
    SyncPanelLog::WriteDebugLog("rare detail");
    const auto lines = log.TextLines();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].level, "debug");
    EXPECT_EQ(lines[0].text, "rare detail");
}

// LOG-RECORD-03
TEST_F(TextRecords, AnErrorLineNamesModuleAndFunction) {
    SyncPanelLog::WriteErrorLog("UpLoadTaskManger", "fileUpload", "Error:broken");
    const auto lines = log.TextLines();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].level, "error");
    EXPECT_EQ(lines[0].module, "UpLoadTaskManger");
    EXPECT_EQ(lines[0].function, "fileUpload");
    EXPECT_EQ(lines[0].text, "Error:broken");
}

// LOG-RECORD-04
TEST_F(TextRecords, ATracedOperationHasItsTwoNumbers) {
    SyncPanelLog::WriteBeginTraceLog(10, 15001, "SyncUserKeyService", "InitSyncUserKey", "begin text");
    SyncPanelLog::WriteEndTraceLog(10, 15002, "SyncUserKeyService", "InitSyncUserKey", "end text");
    const auto lines = log.TextLines();
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0].level, "begin(10,15001)");
    EXPECT_EQ(lines[0].module, "SyncUserKeyService");
    EXPECT_EQ(lines[0].function, "InitSyncUserKey");
    EXPECT_EQ(lines[0].text, "begin text");
    EXPECT_EQ(lines[1].level, "end(10,15002)");
    EXPECT_EQ(lines[1].text, "end text");
}

// LOG-RECORD-05
TEST_F(TextRecords, StandInTheOrderInWhichAThreadWroteThem) {
    for (int index = 0; index < 3000; ++index) SyncPanelLog::WriteTraceLog(std::to_string(index));
    const auto lines = log.TextLines();
    ASSERT_EQ(lines.size(), 3000u);
    for (int index = 0; index < 3000; ++index)
        ASSERT_EQ(lines[static_cast<std::size_t>(index)].text, std::to_string(index));
}

// LOG-RECORD-06
TEST_F(TextRecords, OfManyThreadsStayWholeAndInTheOrderOfEachThread) {
    constexpr int kThreads = 8, kEach = 500;
    std::vector<std::thread> threads;
    for (int thread = 0; thread < kThreads; ++thread) {
        threads.emplace_back([thread] {
            for (int index = 0; index < kEach; ++index) {
                SyncPanelLog::WriteErrorLog("M" + std::to_string(thread), "f", std::to_string(index));
            }
        });
    }
    for (std::thread& thread : threads) thread.join();

    std::map<std::string, int> next;
    std::map<std::string, std::string> threadOf;
    for (const auto& line : log.TextLines()) {
        ASSERT_EQ(line.text, std::to_string(next[line.module]++));
        ASSERT_EQ(threadOf.emplace(line.module, line.thread).first->second, line.thread);
    }
    EXPECT_EQ(next.size(), 8u);
    for (const auto& [module, count] : next) EXPECT_EQ(count, kEach) << module;
}

// LOG-RECORD-07
TEST_F(TextRecords, OfTwoThreadsCarryTwoNumbers) {
    SyncPanelLog::WriteTraceLog("here");
    std::thread([] { SyncPanelLog::WriteTraceLog("there"); }).join();
    const auto lines = log.TextLines();
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_NE(lines[0].thread, lines[1].thread);
    EXPECT_EQ(lines[0].thread.find_first_not_of("0123456789"), std::string::npos);
}

// LOG-RECORD-08
TEST_F(TextRecords, ALongTextIsNotCut) {
    const std::string text(3u << 20, 'x');
    SyncPanelLog::WriteTraceLog(text);
    const auto lines = log.TextLines();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_TRUE(lines[0].text == text);
}

// LOG-RECORD-09
TEST_F(TextRecords, ATextBeyondEveryMeasureIsDroppedAndTold) {
    SyncPanelLog::WriteTraceLog(std::string(64u << 20, 'x'));
    SyncPanelLog::WriteTraceLog("next");
    const auto lines = log.TextLines();
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0].text, "next");
    EXPECT_EQ(lines[1].level, "error");
    EXPECT_EQ(lines[1].text.rfind("1 record", 0), 0u) << lines[1].text;
}

}  // namespace Drive
