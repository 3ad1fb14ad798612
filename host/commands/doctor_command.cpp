#include "host/commands/doctor_command.h"

#include <json/json.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <exception>
#include <functional>
#include <vector>

#include "host/control/control_socket.h"
#include "host/control/run_desk.h"
#include "host/module/exit_codes.h"
#include "host/module/session.h"
#include "host/records/host_records.h"
#include "host/report/reporter.h"
#include "host/settings/login_file.h"
#include "host/settings/settings.h"
#include "host/tree/free_space.h"
#include "host/tree/tree.h"
#include "interfaces/cloud/drive_account.h"
#include "interfaces/database/sync_rows.h"
#include "interfaces/platform/native_path.h"

namespace Drive::Host {
namespace {

struct Finding {
    std::string what;
    bool good;
    std::string detail;  // what is wrong and what to do; or a figure
};

class Doctor {
public:
    explicit Doctor(const std::string& stateFolder) : stateFolder(stateFolder) {}

    std::vector<Finding> Examine() {
        if (!ReadThem()) {
            return findings;
        }
        Private();
        Folders();
        Space();
        Running();
        Database();
        Troubles();
        Cloud();
        return findings;
    }

private:
    void Tell(const std::string& what, bool good, const std::string& detail) {
        findings.push_back({what, good, detail});
    }

    bool ReadThem() {
        std::string error;
        bool absent = false;
        const bool read = ReadSettings(stateFolder, settings, error, absent);
        Tell("settings", read, read ? SettingsPath(stateFolder) : error);
        return read;
    }

    void Private() {
        for (const char* name : {"settings.ini", "login.json"}) {
            struct stat facts {};
            const std::string path = stateFolder + "/" + name;
            const bool there = stat(path.c_str(), &facts) == 0;
            const bool closed = there && (facts.st_mode & 077) == 0;
            Tell(name, closed,
                 closed  ? "only its owner can read it"
                 : there ? "others can read it; run: chmod 600 " + path
                         : "it is missing; run 'zelkor-drive init' again");
        }
    }

    void Folders() {
        struct stat root {
        }, staging{};
        const bool rootThere = stat(settings.root.c_str(), &root) == 0 && S_ISDIR(root.st_mode);
        Tell("root", rootThere, rootThere ? settings.root : settings.root + " is no folder; is its disk mounted?");
        if (!rootThere || stat(settings.staging.c_str(), &staging) != 0) {
            return;  // the staging tree is made when it is needed
        }
        const bool same = root.st_dev == staging.st_dev;
        Tell("staging", same,
             same ? settings.staging
                  : settings.staging +
                        " lies on another disk than the root, so files cannot be renamed into place; "
                        "set [folders] staging to a folder on the root's disk");
        Tree tree;
        std::string error;
        const bool open = tree.Open(settings.root, error);
        const bool beneath =
            open && tree.Look("zelkor-drive asks for a name that is not there").kind == FileKind::Absent;
        Tell("kernel", beneath,
             beneath ? "lookups can be kept below the root"
                     : "this kernel cannot keep lookups below a folder; Linux 5.6 or later is needed");
    }

    void Space() {
        const std::int64_t free = FreeBytes(settings.root);
        if (free < 0) {
            return;
        }
        const bool enough = free > kLeastFree;
        Tell("space", enough,
             HumanBytes(free) + " free" + (enough ? "" : "; downloads need more than 200 MiB, make room"));
    }

    void Running() {
        running = AskControl(stateFolder, ProgressRequest(), 3000).has_value();
        Tell("running", true, running ? "a command is at work here" : "no command is at work here");
    }

    void Database() {
        const SQLiteDB::OpenResult opened = SQLiteDB::OpenDatabaseReadOnly(Platform::EnginePath(stateFolder + "/"));
        Tell("database", opened.ok(), opened.ok() ? "can be read" : opened.message);
        if (opened.ok()) {
            SQLiteDB::CloseDatabase();
        }
    }

    void Troubles() {
        try {
            HostRecords records;
            records.Open(stateFolder, true);
            const std::size_t count = records.Troubles().size();
            Tell("files", count == 0,
                 count == 0 ? "no file is in trouble"
                            : std::to_string(count) + " files are in trouble; 'zelkor-drive status' names them");
        } catch (const std::exception& failure) {
            Tell("files", false, failure.what());
        }
    }

    // Beside a running command the login is left alone: a refreshed token would be news to it.
    void Cloud() {
        if (running) {
            return;
        }
        Cloud::Login login;
        std::string error;
        if (!ReadLogin(stateFolder, login, error)) {
            return Tell("login", false, error);
        }
        ConfigureCloud(settings);
        Cloud::DriveAccount::OnRefresh([this](const Cloud::Login& fresh) {
            std::string ignored;
            WriteLogin(stateFolder, fresh, ignored);
        });
        Cloud::DriveAccount::UseLogin(login);
        Cloud::CloudFile root;
        const Cloud::CallOutcome asked = Cloud::DriveAccount::Get(login.rootFileId, root);
        Tell("cloud", asked.ok, asked.ok ? settings.cloudUrl + " answers" : settings.cloudUrl + ": " + asked.message);
    }

    const std::string stateFolder;
    Settings settings;
    bool running = false;
    std::vector<Finding> findings;
};

void PutJson(const std::vector<Finding>& findings, int code) {
    Json::Value value;
    value["event"] = "doctor";
    value["exitCode"] = code;
    for (const Finding& finding : findings) {
        Json::Value one;
        one["what"] = finding.what;
        one["good"] = finding.good;
        one["detail"] = JsonPath(finding.detail);
        value["findings"].append(one);
    }
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    builder["emitUTF8"] = true;
    std::printf("%s\n", Json::writeString(builder, value).c_str());
}

}  // namespace

int RunDoctor(const std::string& stateFolder, bool json) {
    const std::vector<Finding> findings = Doctor(stateFolder).Examine();
    int code = kExitOk;
    for (const Finding& finding : findings) {
        code = finding.good ? code : kExitSome;
    }
    if (json) {
        PutJson(findings, code);
        return code;
    }
    for (const Finding& finding : findings) {
        std::printf("%-8s %-12s %s\n", finding.good ? "ok" : "WRONG", finding.what.c_str(),
                    Printable(finding.detail).c_str());
    }
    return code;
}

}  // namespace Drive::Host
