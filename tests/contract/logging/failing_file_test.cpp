#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <thread>

#include "interfaces/logging/bi_logs_manager.h"
#include "interfaces/logging/sync_panel_log.h"
#include "interfaces/platform/clock.h"
#include "tests/contract/logging/log_folder.h"
#include "tests/contract/platform/file_limits.h"

namespace Drive::Logging {

namespace {

/// Far more than the calls need on a busy machine; one that waited for the disk would wait for ever.
constexpr std::int64_t kQuick = 20000;

/// Logs until the record is in the file, as a process would that goes on working: the file is looked at again once a
/// second.
bool IsWrittenWithin10Seconds(const std::filesystem::path& path) {
    for (int round = 0; round < 100; ++round) {
        SyncPanelLog::WriteTraceLog("again");
        FlushTextLog(1000);
        for (const std::string& line : Testing::LinesOf(path)) {
            if (Testing::LogLine(line).text == "again") return true;
        }
        Platform::Sleep(100);
    }
    return false;
}

bool TellsOfALoss(const std::filesystem::path& path) {
    for (const std::string& line : Testing::LinesOf(path)) {
        const Testing::LogLine parsed(line);
        if (parsed.level == "error" && parsed.text.find("were lost before this line") != std::string::npos) return true;
    }
    return false;
}

}  // namespace

// LOG-FILE-01
TEST(FailingLogFile, AFullDiskDisturbsNobodyAndIsTold) {
    const Testing::LogFolder log;
    std::filesystem::create_directory(log.folder.Native("log"));
    const auto file = log.folder.Native("log") / "transfer.log";
    std::filesystem::create_symlink("/dev/full", file);
    ASSERT_TRUE(ConfigureTextLog(log.Settings()));
    const std::int64_t before = Platform::MonotonicMilliseconds();
    for (int index = 0; index < 1000; ++index) SyncPanelLog::WriteErrorLog("m", "f", "into the full disk");
    EXPECT_FALSE(FlushTextLog(2000));
    EXPECT_LT(Platform::MonotonicMilliseconds() - before, kQuick);

    std::filesystem::remove(file);
    EXPECT_TRUE(IsWrittenWithin10Seconds(file));
    SyncPanelLog::WriteTraceLog("one more");
    EXPECT_TRUE(FlushTextLog(20000));
    EXPECT_TRUE(TellsOfALoss(file));
}

// LOG-FILE-02
TEST(FailingLogFile, OnceThereIsRoomAgainTheLinesAreWhole) {
    const Testing::LogFolder log;
    const auto file = log.folder.Native("log") / "transfer.log";
    ASSERT_TRUE(ConfigureTextLog(log.Settings()));
    {
        const Testing::FileSizeLimit limit(10'000);
        for (int index = 0; index < 300; ++index) SyncPanelLog::WriteErrorLog("m", "f", "before");
        EXPECT_FALSE(FlushTextLog(5000));
    }
    EXPECT_TRUE(IsWrittenWithin10Seconds(file));
    SyncPanelLog::WriteTraceLog("last");
    ASSERT_TRUE(FlushTextLog(20000));
    const auto lines = Testing::LinesOf(file);
    std::size_t cut = 0;
    for (const std::string& line : lines) {
        const std::string text = Testing::LogLine(line).text;
        if (text != "before" && text != "again" && text != "last" && text.find("were lost") == std::string::npos) ++cut;
    }
    EXPECT_LE(cut, 1u);
    EXPECT_TRUE(TellsOfALoss(file));
    EXPECT_EQ(Testing::LogLine(lines.back()).text, "last");
}

// LOG-FILE-03
TEST(FailingLogFile, AStuckDiskHoldsNobodyUp) {
    const Testing::LogFolder log;
    std::filesystem::create_directory(log.folder.Native("log"));
    const auto pipe = log.folder.Native("log") / "transfer.log";
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
    // A reader that does not read: the writer stands still once the pipe is full.
    const int reader = ::open(pipe.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    ASSERT_GE(reader, 0);
    ASSERT_TRUE(ConfigureTextLog(log.Settings()));
    const std::int64_t before = Platform::MonotonicMilliseconds();
    for (int index = 0; index < 30000; ++index) SyncPanelLog::WriteTraceLog("text " + std::to_string(index));
    EXPECT_FALSE(FlushTextLog(200));
    EXPECT_LT(Platform::MonotonicMilliseconds() - before, kQuick);

    std::string received;
    std::vector<char> block(1 << 16);
    const std::int64_t end = Platform::MonotonicMilliseconds() + 30000;
    while (Platform::MonotonicMilliseconds() < end &&
           received.find("were lost before this line") == std::string::npos) {
        const ssize_t count = ::read(reader, block.data(), block.size());
        if (count > 0) {
            received.append(block.data(), static_cast<std::size_t>(count));
        } else {
            Platform::Sleep(5);
        }
    }
    EXPECT_NE(received.find("text 0\n"), std::string::npos);
    EXPECT_NE(received.find("were lost before this line"), std::string::npos);
    std::filesystem::remove(pipe);
    // What is still queued would fill the pipe again and hold up the change of settings.
    std::atomic<bool> done{false};
    std::thread drain([&] {
        while (!done) {
            if (::read(reader, block.data(), block.size()) <= 0) Platform::Sleep(1);
        }
    });
    EXPECT_TRUE(ConfigureTextLog({}));
    done = true;
    drain.join();
    ::close(reader);
}

// LOG-FILE-07
TEST(FailingLogFile, APipeThatNobodyReadsIsRefusedAndHoldsNobodyUp) {
    const Testing::LogFolder log;
    std::filesystem::create_directory(log.folder.Native("log"));
    for (const char* name : {"transfer.log", "statistics.jsonl"}) {
        ASSERT_EQ(::mkfifo((log.folder.Native("log") / name).c_str(), 0600), 0);
    }
    std::atomic<bool> answered{false};
    std::thread rescue([&] {
        for (int round = 0; round < 1000 && !answered; ++round) Platform::Sleep(10);
        // Readers, should the calls wait for one.
        std::vector<int> readers;
        for (const char* name : {"transfer.log", "statistics.jsonl"}) {
            readers.push_back(::open((log.folder.Native("log") / name).c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
        }
        while (!answered) Platform::Sleep(10);
        for (const int reader : readers) ::close(reader);
    });
    EXPECT_FALSE(ConfigureTextLog(log.Settings()));
    EXPECT_FALSE(ConfigureStatistics(log.Settings()));
    answered = true;
    rescue.join();
}

// LOG-FILE-08
TEST(FailingLogFile, AFolderInThePlaceOfTheLogIsRefused) {
    const Testing::LogFolder log;
    std::filesystem::create_directories(log.folder.Native("log") / "transfer.log");
    std::filesystem::create_directories(log.folder.Native("log") / "statistics.jsonl");
    EXPECT_FALSE(ConfigureTextLog(log.Settings()));
    EXPECT_FALSE(ConfigureStatistics(log.Settings()));
}

// LOG-FILE-04
TEST(FailingLogFile, AFileThatSomebodyRemovedIsMadeAnew) {
    const Testing::LogFolder log;
    ASSERT_TRUE(ConfigureTextLog(log.Settings()));
    SyncPanelLog::WriteTraceLog("first");
    ASSERT_TRUE(FlushTextLog(20000));
    std::filesystem::remove_all(log.folder.Native("log"));
    EXPECT_TRUE(IsWrittenWithin10Seconds(log.folder.Native("log") / "transfer.log"));
}

// LOG-FILE-09
TEST(FailingLogFile, AFileThatSomebodyRenamedOrExchangedIsMadeAnew) {
    const Testing::LogFolder log;
    const auto file = log.folder.Native("log") / "transfer.log";
    ASSERT_TRUE(ConfigureTextLog(log.Settings()));
    SyncPanelLog::WriteTraceLog("first");
    ASSERT_TRUE(FlushTextLog(20000));
    std::filesystem::rename(file, log.folder.Native("log") / "transfer.1.log");
    std::ofstream(file) << "of another process\n";
    EXPECT_TRUE(IsWrittenWithin10Seconds(file));
    EXPECT_EQ(Testing::LinesOf(file).front(), "of another process");
}

// LOG-FILE-05
TEST(FailingLogFile, AFullDiskDoesNotHarmTheStatistics) {
    const Testing::LogFolder log;
    std::filesystem::create_directory(log.folder.Native("log"));
    std::filesystem::create_symlink("/dev/full", log.folder.Native("log") / "statistics.jsonl");
    ASSERT_TRUE(ConfigureStatistics(log.Settings()));
    EXPECT_NO_THROW(Bilog::BiLogsManager::GetInstance().OperateLog(15001, L"m", L"t"));
    EXPECT_FALSE(FlushStatistics(2000));
    std::filesystem::remove(log.folder.Native("log") / "statistics.jsonl");
}

}  // namespace Drive::Logging
