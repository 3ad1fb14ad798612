#include "host/commands/status_command.h"

#include <json/json.h>

#include <cstdio>
#include <exception>
#include <memory>
#include <vector>

#include "host/control/control_socket.h"
#include "host/control/run_desk.h"
#include "host/module/exit_codes.h"
#include "host/records/host_records.h"
#include "host/report/reporter.h"
#include "host/settings/settings.h"
#include "interfaces/database/sync_rows.h"
#include "interfaces/platform/native_path.h"

namespace Drive::Host {
namespace {

constexpr int kPatience = 3000;  // milliseconds

struct Status {
    Settings settings;
    std::vector<std::pair<int, std::int64_t>> files;  // by fileStatus
    std::vector<std::pair<int, std::int64_t>> tasks;  // by direction
    std::vector<Trouble> troubles;
    Json::Value running;  // null when no command runs here
};

const char* StatusWord(int fileStatus) {
    switch (fileStatus) {
        case 0:
            return "no transfer";
        case 1:
            return "in step";
        case 11:
            return "waiting to go up";
        case 12:
            return "going up";
        case 13:
            return "failed to go up";
        case 21:
            return "waiting to come down";
        case 22:
            return "coming down";
        case 23:
            return "failed to come down";
        default:
            return "in an unknown state";
    }
}

int Collect(const std::string& stateFolder, Status& status, std::string& why) {
    bool absent = false;
    if (!ReadSettings(stateFolder, status.settings, why, absent)) {
        return kExitUsage;
    }
    const SQLiteDB::OpenResult opened = SQLiteDB::OpenDatabaseReadOnly(Platform::EnginePath(stateFolder + "/"));
    if (!opened.ok()) {
        why = opened.message;
        return kExitState;
    }
    if (const auto answer = AskControl(stateFolder, ProgressRequest(), kPatience)) {
        const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
        reader->parse(answer->data(), answer->data() + answer->size(), &status.running, nullptr);
    }
    status.files = SQLiteDB::SyncRows::CountByStatus();
    status.tasks = SQLiteDB::SyncRows::CountTasksByDirection();
    SQLiteDB::CloseDatabase();
    try {
        HostRecords records;
        records.Open(stateFolder, true);
        status.troubles = records.Troubles();
    } catch (const std::exception& failure) {
        why = failure.what();
        return kExitState;
    }
    return status.troubles.empty() ? kExitOk : kExitSome;
}

void PutJson(const Status& status, int code) {
    Json::Value value;
    value["event"] = "status";
    value["user"] = status.settings.user;
    value["cloud"] = status.settings.cloudUrl;
    value["root"] = JsonPath(status.settings.root);
    for (const auto& [fileStatus, count] : status.files) {
        value["files"][std::to_string(fileStatus)] = Json::Int64(count);
    }
    for (const auto& [direction, count] : status.tasks) {
        value["tasks"][std::to_string(direction)] = Json::Int64(count);
    }
    value["troubles"] = Json::Value(Json::arrayValue);
    for (const Trouble& trouble : status.troubles) {
        Json::Value one;
        one["path"] = JsonPath(trouble.path);
        one["kind"] = trouble.kind;
        one["message"] = JsonPath(trouble.message);
        one["at"] = Json::Int64(trouble.at);
        value["troubles"].append(one);
    }
    value["running"] = status.running;
    value["exitCode"] = code;
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    builder["emitUTF8"] = true;
    std::printf("%s\n", Json::writeString(builder, value).c_str());
}

void PutPlain(const Status& status) {
    std::printf("%s at %s, files in %s\n", status.settings.user.c_str(), status.settings.cloudUrl.c_str(),
                Printable(status.settings.root).c_str());
    if (status.running.isObject()) {
        std::printf("'%s' is running: %lld of %lld files, %s of %s\n", status.running["command"].asString().c_str(),
                    static_cast<long long>(status.running["filesDone"].asInt64()),
                    static_cast<long long>(status.running["filesAll"].asInt64()),
                    HumanBytes(status.running["bytesDone"].asInt64()).c_str(),
                    HumanBytes(status.running["bytesAll"].asInt64()).c_str());
    }
    for (const auto& [fileStatus, count] : status.files) {
        std::printf("%8lld %s\n", static_cast<long long>(count), StatusWord(fileStatus));
    }
    static const char* const kDirections[] = {"", "downloads", "uploads", "thumbnails"};
    for (const auto& [direction, count] : status.tasks) {
        if (count > 0 && direction >= 1 && direction <= 3) {
            std::printf("%8lld tasks of %s\n", static_cast<long long>(count), kDirections[direction]);
        }
    }
    for (const Trouble& trouble : status.troubles) {
        std::printf("%-11s %s: %s\n", trouble.kind.c_str(), Printable(trouble.path).c_str(),
                    Printable(trouble.message).c_str());
    }
}

}  // namespace

int RunStatus(const std::string& stateFolder, bool json) {
    Status status;
    std::string why;
    const int code = Collect(stateFolder, status, why);
    if (code != kExitOk && code != kExitSome) {
        std::fprintf(stderr, "zelkor-drive: %s\n", why.c_str());
        return code;
    }
    json ? PutJson(status, code) : PutPlain(status);
    return code;
}

}  // namespace Drive::Host
