#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <stdexcept>
#include <thread>

#include "interfaces/logging/bi_logs_manager.h"
#include "interfaces/logging/sync_panel_log.h"
#include "interfaces/platform/clock.h"
#include "tests/contract/logging/log_folder.h"

namespace Drive::Logging {

namespace {

/// Gives both files back at the end.
struct SinksReleased {
    ~SinksReleased() {
        SetTextSink({});
        SetStatisticSink({});
        ConfigureTextLog({});
        ConfigureStatistics({});
    }
};

}  // namespace

// LOG-SINK-01
TEST(LogSink, GetsEachRecordAsItArrived) {
    const SinksReleased released;
    std::vector<TextRecord> records;
    SetTextSink([&](const TextRecord& record) { records.push_back(record); });
    SyncPanelLog::WriteTraceLog("a\nb\xFF");
    SyncPanelLog::WriteDebugLog("debug");
    SyncPanelLog::WriteErrorLog("module", "function", "error");
    SyncPanelLog::WriteBeginTraceLog(10, 15001, "m", "f", "begin");
    SyncPanelLog::WriteEndTraceLog(10, 15002, "m", "f", "end");
    ASSERT_EQ(records.size(), 5u);
    EXPECT_EQ(records[0].level, Level::Trace);
    EXPECT_EQ(records[0].text, "a\nb\xFF");
    EXPECT_EQ(records[0].module, "");
    EXPECT_EQ(records[0].step, TextRecord::Step::None);
    EXPECT_EQ(records[1].level, Level::Debug);
    EXPECT_EQ(records[2].level, Level::Error);
    EXPECT_EQ(records[2].module, "module");
    EXPECT_EQ(records[2].function, "function");
    EXPECT_EQ(records[3].step, TextRecord::Step::Begin);
    EXPECT_EQ(records[3].kind, 10);
    EXPECT_EQ(records[3].code, 15001);
    EXPECT_EQ(records[4].step, TextRecord::Step::End);
    EXPECT_EQ(records[4].code, 15002);
}

// LOG-SINK-02
TEST(LogSink, IsCalledOnTheThreadThatLogs) {
    const SinksReleased released;
    std::thread::id called;
    SetTextSink([&](const TextRecord&) { called = std::this_thread::get_id(); });
    SyncPanelLog::WriteTraceLog("text");
    EXPECT_EQ(called, std::this_thread::get_id());
}

// LOG-SINK-03
TEST(LogSink, StandsInPlaceOfTheFile) {
    const SinksReleased released;
    const Testing::LogFolder log;
    ASSERT_TRUE(ConfigureTextLog(log.Settings()));
    SetTextSink([](const TextRecord&) {});
    SyncPanelLog::WriteTraceLog("to the sink");
    EXPECT_EQ(log.TextLines().size(), 0u);
    SetTextSink({});
    SyncPanelLog::WriteTraceLog("to the file");
    const auto lines = log.TextLines();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].text, "to the file");
}

// LOG-SINK-04
TEST(LogSink, GetsOnlyWhatTheLevelLetsThrough) {
    const SinksReleased released;
    LogSettings settings;
    settings.level = Level::Error;
    ASSERT_TRUE(ConfigureTextLog(settings));
    int count = 0;
    SetTextSink([&](const TextRecord&) { ++count; });
    SyncPanelLog::WriteTraceLog("left out");
    SyncPanelLog::WriteErrorLog("m", "f", "kept");
    EXPECT_EQ(count, 1);
}

// LOG-SINK-05
TEST(LogSink, MayThrowWithoutHarm) {
    const SinksReleased released;
    SetTextSink([](const TextRecord&) { throw std::runtime_error("broken sink"); });
    SetStatisticSink([](const StatisticRecord&) { throw 5; });
    EXPECT_NO_THROW(SyncPanelLog::WriteTraceLog("text"));
    EXPECT_NO_THROW(Bilog::BiLogsManager::GetInstance().OperateLog(1, L"m", L"t"));
}

// LOG-SINK-06
TEST(LogSink, IsNeverCalledAgainOnceReplaced) {
    const SinksReleased released;
    std::atomic<bool> stop{false};
    std::thread logger([&] {
        while (!stop) {
            SyncPanelLog::WriteTraceLog("text");
            Bilog::BiLogsManager::GetInstance().OperateLog(1, L"m", L"t");
        }
    });
    struct State {
        std::atomic<bool> entered{false}, released{false}, calledTooLate{false};
    };
    std::vector<std::unique_ptr<State>> states;
    const auto slowSink = [](State* state) {
        return [state](const auto&) {
            state->entered = true;
            Platform::Sleep(2);
            if (state->released) state->calledTooLate = true;
        };
    };
    for (int round = 0; round < 40; ++round) {
        State* const text = states.emplace_back(std::make_unique<State>()).get();
        SetTextSink(slowSink(text));
        while (!text->entered) std::this_thread::yield();
        SetTextSink({});
        text->released = true;
        State* const statistic = states.emplace_back(std::make_unique<State>()).get();
        SetStatisticSink(slowSink(statistic));
        while (!statistic->entered) std::this_thread::yield();
        SetStatisticSink({});
        statistic->released = true;
    }
    stop = true;
    logger.join();
    for (const auto& state : states) EXPECT_FALSE(state->calledTooLate);
}

// LOG-SINK-07
TEST(LogSink, OfTheStatisticsGetsEachRecordAsItArrived) {
    const SinksReleased released;
    std::vector<StatisticRecord> records;
    SetStatisticSink([&](const StatisticRecord& record) { records.push_back(record); });
    const std::wstring odd = L" StartTaskService \xDCFF\xD800 ";
    Bilog::BiLogsManager::GetInstance().OperateLog(15003, L"UpLoadTaskManger::uploadStart ", odd);
    ASSERT_EQ(records.size(), 1u);
    EXPECT_EQ(records[0].code, 15003);
    EXPECT_EQ(records[0].module, L"UpLoadTaskManger::uploadStart ");
    EXPECT_EQ(records[0].text, odd);
}

}  // namespace Drive::Logging
