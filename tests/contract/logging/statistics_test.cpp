#include <gtest/gtest.h>
#include <json/reader.h>
#include <json/value.h>

#include <memory>
#include <thread>

#include "interfaces/logging/bi_logs_manager.h"
#include "interfaces/platform/text.h"
#include "tests/contract/logging/log_folder.h"

namespace Drive {

namespace {

Json::Value Parsed(const std::string& line) {
    Json::Value value;
    std::string errors;
    const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
    EXPECT_TRUE(reader->parse(line.data(), line.data() + line.size(), &value, &errors)) << line << errors;
    return value;
}

class Statistics : public ::testing::Test {
protected:
    Statistics() { EXPECT_TRUE(Logging::ConfigureStatistics(log.Settings())); }

    Testing::LogFolder log;
    Bilog::BiLogsManager& manager = Bilog::BiLogsManager::GetInstance();
};

}  // namespace

// LOG-STAT-01
TEST_F(Statistics, AreOneJsonObjectALine) {
    manager.OperateLog(15002, L"TransferTaskService", L" StartTransferTaskService");
    manager.OperateLog(15003, L"UpLoadTaskManger::uploadStart ", L"\"quoted\" \\path\nnext line");
    const auto lines = log.StatisticLines();
    ASSERT_EQ(lines.size(), 2u);
    const Json::Value first = Parsed(lines[0]), second = Parsed(lines[1]);
    EXPECT_EQ(first["code"].asInt(), 15002);
    EXPECT_EQ(first["module"].asString(), "TransferTaskService");
    EXPECT_EQ(first["text"].asString(), " StartTransferTaskService");
    const std::string time = Testing::ShapeOf(first["time"].asString());
    EXPECT_TRUE(time == "dddd-dd-ddTdd:dd:dd.ddd+dd:dd" || time == "dddd-dd-ddTdd:dd:dd.ddd-dd:dd") << time;
    EXPECT_EQ(second["module"].asString(), "UpLoadTaskManger::uploadStart ");
    EXPECT_EQ(second["text"].asString(), "\"quoted\" \\path\nnext line");
}

// LOG-STAT-02
TEST_F(Statistics, CarryEveryCharacter) {
    const std::wstring text = L"\xE9\x20AC\x1F600\xF05C";
    manager.OperateLog(15001, text, text);
    const Json::Value value = Parsed(log.StatisticLines().at(0));
    EXPECT_EQ(Platform::WidenText(value["text"].asString()), text);
    EXPECT_EQ(Platform::WidenText(value["module"].asString()), text);
}

// LOG-STAT-03
TEST_F(Statistics, WhatHasNoUtf8FormIsReplacedAndNothingThrows) {
    std::wstring text = L"a\xDCFF\xD800z";
    text += static_cast<wchar_t>(0x110000);
    EXPECT_NO_THROW(manager.OperateLog(15001, L"m", text));
    const Json::Value value = Parsed(log.StatisticLines().at(0));
    EXPECT_EQ(Platform::WidenText(value["text"].asString()), L"a\xFFFD\xFFFDz\xFFFD");
}

// LOG-STAT-04
TEST_F(Statistics, OfManyThreadsStayWhole) {
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 8; ++thread) {
        threads.emplace_back([this, thread] {
            for (int index = 0; index < 300; ++index) manager.OperateLog(thread, L"m", std::to_wstring(index));
        });
    }
    for (std::thread& thread : threads) thread.join();
    std::map<int, int> next;
    const auto lines = log.StatisticLines();
    ASSERT_EQ(lines.size(), 2400u);
    for (const std::string& line : lines) {
        const Json::Value value = Parsed(line);
        ASSERT_EQ(value["text"].asString(), std::to_string(next[value["code"].asInt()]++));
    }
}

// LOG-STAT-05
TEST_F(Statistics, EndWithLevelOff) {
    Logging::LogSettings settings = log.Settings();
    settings.level = Logging::Level::Error;
    ASSERT_TRUE(Logging::ConfigureStatistics(settings));
    manager.OperateLog(15001, L"m", L"kept at every other level");
    settings.level = Logging::Level::Off;
    ASSERT_TRUE(Logging::ConfigureStatistics(settings));
    manager.OperateLog(15001, L"m", L"left out");
    EXPECT_EQ(log.StatisticLines().size(), 1u);
}

}  // namespace Drive
