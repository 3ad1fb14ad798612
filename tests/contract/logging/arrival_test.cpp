// What every library in this place owes those who log, wherever it sends the records.
#include <gtest/gtest.h>

#include <algorithm>
#include <mutex>
#include <thread>

#include "interfaces/logging/bi_logs_manager.h"
#include "interfaces/logging/sync_panel_log.h"
#include "interfaces/logging/type_convert.h"
#include "tests/contract/logging/arrived.h"

namespace Drive {

namespace {

using Records = std::vector<std::string>;

Bilog::BiLogsManager& Statistics() { return Bilog::BiLogsManager::GetInstance(); }

}  // namespace

// LOG-ARRIVE-01
TEST(LogArrival, EachOperationIsOneRecordWithAllThatWasGiven) {
    const Testing::Arrived arrived;
    SyncPanelLog::WriteTraceLog("UpLoadTaskManger.uploadTask:file client upload. fileid=a");
    SyncPanelLog::WriteDebugLog("detail");
    SyncPanelLog::WriteErrorLog("UpLoadTaskManger", "fileUpload", "Error:b");
    SyncPanelLog::WriteBeginTraceLog(10, 15001, "SyncUserKeyService", "InitSyncUserKey", "begin");
    SyncPanelLog::WriteEndTraceLog(10, 15002, "SyncUserKeyService", "InitSyncUserKey", "end");
    Statistics().OperateLog(15003, L"DownLoadTaskManger::downLoadTask ", L" text ");
    EXPECT_EQ(arrived.Records(), (Records{"trace UpLoadTaskManger.uploadTask:file client upload. fileid=a",
                                          "debug detail", "error UpLoadTaskManger|fileUpload|Error:b",
                                          "begin 10 15001|SyncUserKeyService|InitSyncUserKey|begin",
                                          "end 10 15002|SyncUserKeyService|InitSyncUserKey|end",
                                          "stat 15003|DownLoadTaskManger::downLoadTask | text "}));
}

// LOG-ARRIVE-02
TEST(LogArrival, TextsArriveUnchangedWhateverTheyHold) {
    const Testing::Arrived arrived;
    const Records odd = {"",
                         " ",
                         "two\nlines\r\n",
                         "tab\tand bell\a",
                         "caf\xC3\xA9 \xF0\x9F\x98\x80",
                         "100% {} %s %n",
                         "a|b",
                         std::string(1 << 20, 'x')};
    Records expected;
    for (const std::string& text : odd) {
        SyncPanelLog::WriteTraceLog(text);
        SyncPanelLog::WriteErrorLog(text, text, text);
        const std::wstring wide = TypeConvert::StringToWString(text);
        Statistics().OperateLog(15002, wide, wide);
        expected.push_back("trace " + text);
        expected.push_back("error " + text + "|" + text + "|" + text);
        expected.push_back("stat 15002|" + text + "|" + text);
    }
    EXPECT_TRUE(arrived.Records() == expected) << "some text was changed, lost or doubled";
}

// LOG-ARRIVE-03
TEST(LogArrival, BytesThatAreNoTextArriveAndNothingThrows) {
    const Testing::Arrived arrived;
    const std::string broken = "a\xFF\xC3(\xED\xB0\x80";
    EXPECT_NO_THROW(SyncPanelLog::WriteTraceLog(broken));
    EXPECT_NO_THROW(SyncPanelLog::WriteErrorLog(broken, broken, broken));
    EXPECT_EQ(arrived.Records(), (Records{"trace " + broken, "error " + broken + "|" + broken + "|" + broken}));
}

// LOG-ARRIVE-04
TEST(LogArrival, OfManyThreadsKeepsTheOrderOfEach) {
    constexpr int kThreads = 4, kEach = 200;
    const Testing::Arrived arrived;
    std::vector<std::thread> threads;
    for (int thread = 0; thread < kThreads; ++thread) {
        threads.emplace_back([thread] {
            for (int number = 0; number < kEach; ++number) {
                SyncPanelLog::WriteTraceLog(std::to_string(thread));
                Statistics().OperateLog(thread, L"", std::to_wstring(number));
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    const Records records = arrived.Records();
    EXPECT_EQ(records.size(), 2u * kThreads * kEach);
    for (int thread = 0; thread < kThreads; ++thread) {
        const std::string id = std::to_string(thread);
        EXPECT_EQ(std::count(records.begin(), records.end(), "trace " + id), kEach);
        int next = 0;
        for (const std::string& record : records) {
            if (record == "stat " + id + "||" + std::to_string(next)) ++next;
        }
        EXPECT_EQ(next, kEach) << "out of order, of thread " << thread;
    }
}

// LOG-ARRIVE-05
TEST(LogArrival, ACallerMayHoldALockThatOthersWaitFor) {
    const Testing::Arrived arrived;
    std::mutex lock;
    std::thread other;
    {
        const std::lock_guard held(lock);
        other = std::thread([&lock] {
            SyncPanelLog::WriteTraceLog("before the lock");
            const std::lock_guard own(lock);
            SyncPanelLog::WriteTraceLog("with it");
        });
        for (int number = 0; number < 100; ++number) SyncPanelLog::WriteErrorLog("m", "f", "t");
    }
    other.join();
    EXPECT_EQ(arrived.Records().size(), 102u);
}

}  // namespace Drive
