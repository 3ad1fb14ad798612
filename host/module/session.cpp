#include "host/module/session.h"

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <exception>

#include "host/control/control_socket.h"
#include "host/control/run_desk.h"
#include "host/module/exit_codes.h"
#include "host/module/root_check.h"
#include "host/settings/login_file.h"
#include "host/settings/private_file.h"
#include "interfaces/cloud/drive_account.h"
#include "interfaces/common/globals.h"
#include "interfaces/database/sync_rows.h"
#include "interfaces/logging/log_settings.h"
#include "interfaces/platform/native_path.h"
#include "interfaces/platform/text.h"

namespace Drive::Host {
namespace {

constexpr int kFlushMilliseconds = 5000;

std::wstring WideFolder(const std::string& native) { return Platform::EnginePath(native + "/"); }

Logging::Level LevelOf(const std::string& name) {
    return name == "off"     ? Logging::Level::Off
           : name == "error" ? Logging::Level::Error
           : name == "debug" ? Logging::Level::Debug
                             : Logging::Level::Trace;
}

bool OpenLogs(const std::string& stateFolder, const Settings& settings, std::string& error) {
    Logging::LogSettings log;
    log.folder = WideFolder(stateFolder + "/logs");
    log.level = LevelOf(settings.logLevel);
    if (MakePrivateFolder(stateFolder + "/logs", error) && Logging::ConfigureTextLog(log) &&
        Logging::ConfigureStatistics(log)) {
        return true;
    }
    error = error.empty() ? "cannot write the logs in " + stateFolder + "/logs" : error;
    return false;
}

}  // namespace

void ConfigureCloud(const Settings& settings) {
    Cloud::CloudSettings cloud;
    cloud.baseUrl = Platform::WidenText(settings.cloudUrl);
    cloud.caFile = Platform::WidenText(settings.caFile);
    cloud.uploadBytesPerSecond = settings.uploadRate;
    cloud.downloadBytesPerSecond = settings.downloadRate;
    Cloud::DriveAccount::Configure(cloud);
}

int Session::OpenState(std::string& error) {
    bool absent = false;
    if (settings.root.empty() && !ReadSettings(stateFolder, settings, error, absent)) {
        return kExitUsage;
    }
    if (!OpenLogs(stateFolder, settings, error)) {
        return kExitLocal;
    }
    const SQLiteDB::OpenResult opened = SQLiteDB::OpenDatabase(WideFolder(stateFolder));
    if (!opened.ok()) {
        error = opened.message;
        return opened.outcome == SQLiteDB::OpenOutcome::Failed ? kExitLocal : kExitState;
    }
    if (opened.outcome == SQLiteDB::OpenOutcome::Rebuilt) {
        std::fprintf(stderr, "zelkor-drive: %s\n", opened.message.c_str());
    }
    try {
        records.Open(stateFolder, false);
    } catch (const std::exception& failure) {
        error = failure.what();
        return kExitState;
    }
    return kExitOk;
}

int Session::OpenRoot(std::string& error) {
    if (!visible.Open(settings.root, error)) {
        error += "; is its disk mounted?";
        return kExitLocal;
    }
    if (!visible.Lock()) {
        error = "another zelkor-drive works on " + settings.root + "; wait for it or stop it";
        return kExitState;
    }
    if (!LooksMounted(settings.root, StagingInside(), records)) {
        error = settings.root +
                " is empty and not the folder that was there before; is its disk mounted? If it is meant to be filled "
                "anew, run 'zelkor-drive init' again";
        return kExitLocal;
    }
    return kExitOk;
}

int Session::OpenTrees(EngineRoot engineRoot, std::string& error) {
    if (const int code = OpenRoot(error); code != kExitOk) {
        return code;
    }
    RememberRoot(settings.root, records);
    if (engineRoot == EngineRoot::Staging) {
        if (access(settings.root.c_str(), W_OK) != 0) {
            error = "cannot write into " + settings.root + ": " + std::strerror(errno);
            return kExitLocal;
        }
        if (!MakePrivateFolder(settings.staging, error) || !staging.Open(settings.staging, error)) {
            return kExitLocal;
        }
    }
    const std::string thumbnails = stateFolder + "/cache/thumbnails";
    const std::string large = stateFolder + "/cache/lcd";
    if (!MakePrivateFolder(thumbnails, error) || !MakePrivateFolder(large, error)) {
        return kExitLocal;
    }
    g_thumbnailFolder = WideFolder(thumbnails);
    g_lcdthumbnailFolder = WideFolder(large);
    g_clientSyncRootFolder = WideFolder(engineRoot == EngineRoot::Staging ? settings.staging : settings.root);
    return kExitOk;
}

int Session::OpenAccount(std::string& error) {
    Cloud::Login login;
    if (!ReadLogin(stateFolder, login, error)) {
        return kExitCloud;
    }
    ConfigureCloud(settings);
    Cloud::DriveAccount::OnRefresh([folder = stateFolder](const Cloud::Login& fresh) {
        std::string ignored;  // the next process then goes on with the old pair, or asks to sign in
        WriteLogin(folder, fresh, ignored);
    });
    Cloud::DriveAccount::UseLogin(login);
    g_accessToken = login.accessToken;
    g_rootFileId = login.rootFileId;
    g_SyncServerVersion = login.serverVersion;
    rootFileId = login.rootFileId;
    return kExitOk;
}

std::string Session::StagingInside() const {
    const std::string root = settings.root + "/";
    return settings.staging.rfind(root, 0) == 0 ? settings.staging.substr(root.size()) : "";
}

int Session::OpenRecordsAndRoot(std::string& error) {
    try {
        records.Open(stateFolder, true);
    } catch (const std::exception& failure) {
        error = failure.what();
        return kExitState;
    }
    return OpenRoot(error);
}

int Session::OpenToAsk(std::string& error) {
    const int code = OpenRecordsAndRoot(error);
    return code == kExitOk ? OpenAccount(error) : code;
}

int Session::OpenReadOnly(std::string& error) {
    const SQLiteDB::OpenResult database = SQLiteDB::OpenDatabaseReadOnly(WideFolder(stateFolder));
    if (!database.ok()) {
        error = database.message;
        return kExitState;
    }
    int code = OpenRecordsAndRoot(error);
    if (code == kExitOk && access(settings.staging.c_str(), F_OK) == 0 && !staging.Open(settings.staging, error)) {
        code = kExitLocal;
    }
    return code == kExitOk ? OpenAccount(error) : code;
}

int Session::Open(EngineRoot engineRoot, std::string& error) {
    int code = OpenState(error);
    code = code == kExitOk ? OpenTrees(engineRoot, error) : code;
    code = code == kExitOk ? OpenAccount(error) : code;
    if (code == kExitOk) {
        ServeControl(stateFolder, [](const std::string& request) { return RunDesk::Get().Answer(request); });
    }
    opened = code == kExitOk;
    return code;
}

void Session::Close() {
    if (opened) {
        EndControl(stateFolder);
    }
    SQLiteDB::CloseDatabase();
    Logging::FlushStatistics(kFlushMilliseconds);
    Logging::FlushTextLog(kFlushMilliseconds);
}

std::wstring Session::EnginePath(const std::wstring& relativePath) const {
    return g_clientSyncRootFolder + relativePath;
}

}  // namespace Drive::Host
