// A process that logs and then ends in the way that its first argument names; the second is the log folder.
#include <sys/resource.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <functional>
#include <iostream>
#include <map>
#include <string>
#include <thread>

#include "interfaces/logging/bi_logs_manager.h"
#include "interfaces/logging/log_settings.h"
#include "interfaces/logging/sync_panel_log.h"
#include "interfaces/platform/native_path.h"

namespace {

using namespace Drive;

Logging::LogSettings settings;

void Configure() {
    if (!Logging::ConfigureTextLog(settings) || !Logging::ConfigureStatistics(settings)) std::_Exit(9);
}

void LogMany(int count) {
    for (int index = 0; index < count; ++index) {
        SyncPanelLog::WriteTraceLog(std::to_string(index));
        Bilog::BiLogsManager::GetInstance().OperateLog(15002, L"m", std::to_wstring(index));
    }
}

int EndAtOnceAfterFlush() {
    Configure();
    LogMany(2000);
    const bool flushed = Logging::FlushTextLog(20000) && Logging::FlushStatistics(20000);
    std::_Exit(flushed ? 0 : 1);
}

int EndByReturning() {
    Configure();
    LogMany(2000);
    return 0;
}

int EndByReturningWithMuchText() {
    Configure();
    for (int index = 0; index < 500; ++index) SyncPanelLog::WriteTraceLog("\xC3\xA9" + std::string(20'000, 'x'));
    return 0;
}

int EndByReturningWithManyStatistics() {
    Configure();
    const std::wstring text(2'000, L'\xE9');
    for (int index = 0; index < 500; ++index) Bilog::BiLogsManager::GetInstance().OperateLog(15002, L"m", text);
    return 0;
}

int EndByReturningWhileOthersLog() {
    Configure();
    for (int index = 0; index < 4; ++index) {
        std::thread([] {
            for (;;) LogMany(10);
        }).detach();
    }
    LogMany(100);
    return 0;
}

int CrashASecondLater(int signal) {
    // The ends that a sanitizer would tell of at length are those of the system here.
    std::signal(signal, SIG_DFL);
    const rlimit noCoreFile{0, 0};
    ::setrlimit(RLIMIT_CORE, &noCoreFile);
    Configure();
    LogMany(100);
    ::usleep(1'500'000);
    LogMany(1);
    std::raise(signal);
    return 0;
}

int FillSmallFiles(char letter) {
    settings.bytesPerFile = 20'000;
    settings.filesKept = 200;
    Configure();
    for (int index = 0; index < 6000; ++index) {
        SyncPanelLog::WriteTraceLog(std::string(51, letter));
        if (index % 500 == 0 && !Logging::FlushTextLog(20000)) return 1;
    }
    return Logging::FlushTextLog(20000) ? 0 : 1;
}

int LogBeforeConfiguring() {
    SyncPanelLog::WriteTraceLog("early");
    Bilog::BiLogsManager::GetInstance().OperateLog(15002, L"m", L"early");
    if (Logging::FlushTextLog(100) || Logging::FlushStatistics(100)) return 1;
    Configure();
    SyncPanelLog::WriteTraceLog("late");
    return Logging::FlushTextLog(20000) && Logging::FlushStatistics(20000) ? 0 : 1;
}

int LogTooMuchBeforeConfiguring() {
    LogMany(100000);
    Configure();
    return Logging::FlushTextLog(20000) ? 0 : 1;
}

int LogBeforeChoosingSilence() {
    SyncPanelLog::WriteTraceLog("early");
    const std::wstring folder = settings.folder;
    settings.folder.clear();
    Configure();
    settings.folder = folder;
    Configure();
    return Logging::FlushTextLog(20000) ? 0 : 1;
}

int NeverConfigure() {
    LogMany(100);
    return 0;
}

}  // namespace

int main(int count, char** arguments) {
    const std::map<std::string, std::function<int()>> ways{
        {"end-at-once-after-flush", EndAtOnceAfterFlush},
        {"end-by-returning", EndByReturning},
        {"end-with-much-text", EndByReturningWithMuchText},
        {"end-with-many-statistics", EndByReturningWithManyStatistics},
        {"end-while-others-log", EndByReturningWhileOthersLog},
        {"crash-a-second-later-" + std::to_string(SIGKILL), [] { return CrashASecondLater(SIGKILL); }},
        {"crash-a-second-later-" + std::to_string(SIGSEGV), [] { return CrashASecondLater(SIGSEGV); }},
        {"crash-a-second-later-" + std::to_string(SIGABRT), [] { return CrashASecondLater(SIGABRT); }},
        {"fill-small-files-a", [] { return FillSmallFiles('a'); }},
        {"fill-small-files-b", [] { return FillSmallFiles('b'); }},
        {"log-before-configuring", LogBeforeConfiguring},
        {"log-too-much-before-configuring", LogTooMuchBeforeConfiguring},
        {"log-before-choosing-silence", LogBeforeChoosingSilence},
        {"never-configure", NeverConfigure},
    };
    if (count != 3 || ways.count(arguments[1]) == 0) {
        std::cerr << "usage: " << arguments[0] << " WAY FOLDER\n";
        return 2;
    }
    settings.folder = Platform::EnginePath(arguments[2]);
    return ways.at(arguments[1])();
}
