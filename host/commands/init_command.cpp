#include "host/commands/init_command.h"

#include <limits.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>

#include "host/commands/password.h"
#include "host/module/exit_codes.h"
#include "host/module/root_check.h"
#include "host/module/session.h"
#include "host/report/reporter.h"
#include "host/settings/login_file.h"
#include "host/settings/private_file.h"
#include "interfaces/cloud/drive_account.h"
#include "interfaces/platform/text.h"

namespace Drive::Host {
namespace {

// Absolute, without links and closing slash; empty with `error` set.
std::string Canonical(const std::string& path, std::string& error) {
    if (!MakePrivateFolder(path, error)) {
        return "";
    }
    char* const resolved = realpath(path.c_str(), nullptr);
    const std::string result = resolved != nullptr ? resolved : "";
    free(resolved);
    error = result.empty() ? "cannot find the folder " + path : "";
    return result;
}

bool Inside(const std::string& path, const std::string& folder) {
    return path == folder || path.rfind(folder + "/", 0) == 0;
}

// The visible tree is for everyone who may see the user's files; only the state is private.
bool MakeRoot(const std::string& path, std::string& error) {
    struct stat facts {};
    const bool fresh = stat(path.c_str(), &facts) != 0;
    return MakePrivateFolder(path, error) && (!fresh || chmod(path.c_str(), 0755) == 0);
}

int CheckEarlier(const Settings& earlier, const Settings& settings, std::string& why) {
    if (earlier.root != settings.root) {
        why = "this state folder belongs to the root " + earlier.root + "; give another --state for another root";
        return kExitUsage;
    }
    if (earlier.user != settings.user || earlier.cloudUrl != settings.cloudUrl) {
        why = "this state folder belongs to the user " + earlier.user + " at " + earlier.cloudUrl +
              "; give another --state and --root for another account";
        return kExitUsage;
    }
    return kExitOk;
}

int FillIn(const InitOptions& options, std::string& stateFolder, Settings& settings, std::string& why) {
    if (options.url.rfind("http://", 0) != 0 && options.url.rfind("https://", 0) != 0) {
        why = "the address of the cloud must begin with https:// or http://, not '" + options.url + "'";
        return kExitUsage;
    }
    stateFolder = Canonical(options.stateFolder, why);
    if (stateFolder.empty() || !MakeRoot(options.root, why)) {
        return kExitLocal;
    }
    settings.cloudUrl = options.url;
    while (!settings.cloudUrl.empty() && settings.cloudUrl.back() == '/') {
        settings.cloudUrl.pop_back();
    }
    settings.user = options.user;
    settings.caFile = options.caFile;
    settings.root = Canonical(options.root, why);
    if (settings.root.empty()) {
        return kExitLocal;
    }
    Settings earlier;
    bool absent = false;
    if (ReadSettings(stateFolder, earlier, why, absent)) {
        if (const int code = CheckEarlier(earlier, settings, why); code != kExitOk) {
            return code;
        }
        earlier.caFile = options.caFile.empty() ? earlier.caFile : options.caFile;
        settings = earlier;
    } else if (!absent) {
        return kExitUsage;
    }
    const std::string staging = options.staging.empty() ? settings.staging : options.staging;
    settings.staging = staging.empty() ? StagingFor(settings.root) : Canonical(staging, why);
    settings.downloads = options.downloads.value_or(settings.downloads);
    settings.uploads = options.uploads.value_or(settings.uploads);
    if (Inside(stateFolder, settings.root) || Inside(settings.root, stateFolder)) {
        why = "the state folder and the root must not lie inside each other";
        return kExitUsage;
    }
    return settings.staging.empty() ? kExitLocal : kExitOk;
}

int SignIn(const Settings& settings, const std::string& passwordFile, const std::string& stateFolder,
           std::string& why) {
    std::string password;
    if (!ReadPassword(passwordFile, settings.user, password, why)) {
        return kExitUsage;
    }
    ConfigureCloud(settings);
    Cloud::Login login;
    const Cloud::CallOutcome outcome =
        Cloud::DriveAccount::SignIn(Platform::WidenText(settings.user), Platform::WidenText(password), login);
    if (!outcome.ok) {
        why = "cannot sign in: " + outcome.message;
        return kExitCloud;
    }
    return WriteSettings(stateFolder, settings, why) && WriteLogin(stateFolder, login, why) ? kExitOk : kExitLocal;
}

}  // namespace

std::string StagingFor(const std::string& root) {
    const std::size_t slash = root.rfind('/');
    const std::string parent = slash == 0 || slash == std::string::npos ? "/" : root.substr(0, slash);
    struct stat above {
    }, here{};
    const bool beside = root != "/" && stat(parent.c_str(), &above) == 0 && stat(root.c_str(), &here) == 0 &&
                        above.st_dev == here.st_dev && access(parent.c_str(), W_OK) == 0;
    return beside ? (parent == "/" ? "" : parent) + "/." + root.substr(slash + 1) + ".zelkor-staging"
                  : root + "/.zelkor-staging";
}

int RunInit(const InitOptions& options) {
    std::string stateFolder, why;
    Settings settings;
    int code = FillIn(options, stateFolder, settings, why);
    if (code != kExitOk) {
        return ReportError(options.json, code, why);
    }
    if (!MakePrivateFolder(settings.staging, why)) {
        return ReportError(options.json, kExitLocal, why);
    }
    Session session(stateFolder);
    session.settings = settings;
    code = session.OpenState(why);  // also tells when another process is at work here
    code = code == kExitOk ? SignIn(settings, options.passwordFile, stateFolder, why) : code;
    if (code == kExitOk) {
        RememberRoot(settings.root, session.records);
    }
    session.Close();
    if (code != kExitOk) {
        return ReportError(options.json, code, why);
    }
    if (options.json) {
        std::printf("{\"event\":\"init\",\"exitCode\":0}\n");
    } else {
        std::printf("signed in as %s at %s; state in %s, files in %s\n", settings.user.c_str(),
                    settings.cloudUrl.c_str(), stateFolder.c_str(), settings.root.c_str());
    }
    return kExitOk;
}

}  // namespace Drive::Host
