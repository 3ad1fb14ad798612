#include "tests/support/journal.h"

#include <gtest/gtest.h>

#include "interfaces/logging/bi_logs_manager.h"
#include "interfaces/logging/logger_utility.h"
#include "interfaces/logging/sync_panel_log.h"
#include "interfaces/logging/type_convert.h"
#include "interfaces/platform/clock.h"
#include "tests/support/log_double.h"
#include "tests/support/virtual_time.h"

namespace Drive::Testing {
namespace {

TEST(Journal, HoldsEveryChannelInOneOrder) {
    SyncPanelLog::WriteTraceLog("a trace ");
    Bilog::BiLogsManager::GetInstance().OperateLog(15002, L"Module", L" text");
    SyncPanelLog::WriteErrorLog("Module", "function", "what");
    SyncPanelLog::WriteBeginTraceLog(10, 15003, "Module", "function", "begin");
    SyncPanelLog::WriteEndTraceLog(10, 15003, "Module", "function", "end");
    SyncPanelLog::WriteDebugLog("detail");
    const std::vector<std::string> expected = {"trace a trace ",
                                               "stat 15002|Module| text",
                                               "error Module|function|what",
                                               "begin 10 15003|Module|function|begin",
                                               "end 10 15003|Module|function|end",
                                               "debug detail"};
    EXPECT_EQ(Journal::Lines(), expected);
}

TEST(Journal, TellsTimeAndThreadOfEachLine) {
    VirtualTime::Run(0, [] {
        VirtualTime::Start("worker", [] {
            Platform::Sleep(250);
            SyncPanelLog::WriteTraceLog("done");
        });
        VirtualTime::AdvanceBy(1000);
    });
    const std::vector<Entry> entries = Journal::Entries();
    ASSERT_EQ(entries.size(), 2u);
    EXPECT_EQ(entries[0].Line(), "sleep 250");
    EXPECT_EQ(entries[0].time, 0);
    EXPECT_EQ(entries[1].time, 250);
    EXPECT_EQ(entries[1].thread, "worker-1");
}

TEST(Journal, FindsLinesInOrderAndTellsWhichOneIsMissing) {
    const std::vector<std::string> lines = {"one", "two", "three", "two"};
    EXPECT_TRUE(InOrder(lines, {"one", "three", "two"}));
    EXPECT_FALSE(InOrder(lines, {"three", "one"}));
    EXPECT_NE(std::string(InOrder(lines, {"three", "four"}).message()).find("four"), std::string::npos);
}

TEST(Journal, KeepsWhatComesAfterAMarkAndDropsMutedKinds) {
    Journal::Write(Kind::Note, "before");
    const std::size_t mark = Journal::Mark();
    Journal::Mute(Kind::Debug);
    Journal::Write(Kind::Debug, "muted");
    Journal::Write(Kind::Note, "after");
    EXPECT_EQ(Journal::LinesSince(mark), std::vector<std::string>{"note after"});
    EXPECT_EQ(Journal::CountBeginning(Kind::Note, "be"), 1);
}

TEST(Journal, TextsOfOtherAlphabetsArriveUnchanged) {
    Bilog::BiLogsManager::GetInstance().OperateLog(15001, L"Grüße", L"東京");
    EXPECT_TRUE(Journal::Has(Kind::Statistic, "15001|Grüße|東京"));
    EXPECT_EQ(TypeConvert::StringToWString("東京"), L"東京");
}

TEST(LogDouble, AnswersTheSettingsFolderItWasGiven) {
    EXPECT_EQ(LoggerUtility::GetLocalAppDataPath(), L"");
    SetLocalAppDataPath(L"\\home\\someone");
    EXPECT_EQ(LoggerUtility::GetLocalAppDataPath(), L"\\home\\someone");
}

}  // namespace
}  // namespace Drive::Testing
