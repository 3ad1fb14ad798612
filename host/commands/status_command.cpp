#include "host/commands/status_command.h"

#include <json/json.h>

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <memory>
#include <vector>

#include "host/commands/file_states.h"
#include "host/control/control_socket.h"
#include "host/control/run_desk.h"
#include "host/get/run_texts.h"
#include "host/module/exit_codes.h"
#include "host/records/host_records.h"
#include "host/report/reporter.h"
#include "host/settings/settings.h"
#include "interfaces/database/sync_rows.h"
#include "interfaces/platform/clock.h"
#include "interfaces/platform/native_path.h"

namespace Drive::Host {
namespace {

constexpr int kPatience = 3000;  // milliseconds
constexpr std::int64_t kDay = 24 * 3600;

struct Status {
    Settings settings;
    std::vector<std::pair<int, std::int64_t>> files;  // by fileStatus
    std::vector<std::pair<int, std::int64_t>> tasks;  // by direction
    std::vector<FileState> inMotion;
    std::vector<Trouble> troubles;
    std::string spaceNotice;  // empty when there is none of today
    Json::Value running;      // null when no command runs here
};

// The notice about the space in the cloud, as long as it is of today.
void ReadSpaceNotice(HostRecords& records, Status& status) {
    const std::string value = records.Value(kSpaceNotice);
    const std::size_t blank = value.find(' ');
    const std::int64_t at = blank == std::string::npos ? 0 : std::strtoll(value.c_str(), nullptr, 10);
    if (at > 0 && Platform::UnixTimeSeconds() - at < kDay) {
        status.spaceNotice = value.substr(blank + 1);
    }
}

int Collect(const std::string& stateFolder, int files, Status& status, std::string& why) {
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
    try {
        HostRecords records;
        records.Open(stateFolder, true);
        status.troubles = records.Troubles();
        status.inMotion = FilesInMotion(records, files);
        ReadSpaceNotice(records, status);
    } catch (const std::exception& failure) {
        why = failure.what();
        return kExitState;
    }
    SQLiteDB::CloseDatabase();
    return status.troubles.empty() ? kExitOk : kExitSome;
}

void PutJson(const Status& status, int code) {
    Json::Value value;
    value["event"] = "status";
    value["user"] = status.settings.user;
    value["cloud"] = status.settings.cloudUrl;
    value["root"] = JsonPath(status.settings.root);
    value["files"] = Json::Value(Json::objectValue);
    value["tasks"] = Json::Value(Json::objectValue);
    for (const auto& [fileStatus, count] : status.files) {
        value["files"][std::to_string(fileStatus)] = Json::Int64(count);
    }
    for (const auto& [direction, count] : status.tasks) {
        value["tasks"][std::to_string(direction)] = Json::Int64(count);
    }
    value["inMotion"] = Json::Value(Json::arrayValue);
    for (const FileState& file : status.inMotion) {
        Json::Value one;
        one["path"] = JsonPath(file.path);
        one["state"] = StateName(file.fileStatus);
        one["bytesDone"] = Json::Int64(file.bytesDone);
        one["bytes"] = Json::Int64(file.bytes);
        value["inMotion"].append(one);
    }
    value["spaceNotice"] = JsonPath(status.spaceNotice);
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

void PutRunning(const Json::Value& running) {
    const std::int64_t left = running["secondsLeft"].asInt64();
    std::printf("'%s' is running: %lld of %lld files, %s of %s, %s/s, %s left\n", running["command"].asString().c_str(),
                static_cast<long long>(running["filesDone"].asInt64()),
                static_cast<long long>(running["filesAll"].asInt64()),
                HumanBytes(running["bytesDone"].asInt64()).c_str(), HumanBytes(running["bytesAll"].asInt64()).c_str(),
                HumanBytes(running["bytesPerSecond"].asInt64()).c_str(),
                left < 0 ? "-:--" : HumanSeconds(static_cast<double>(left)).c_str());
    for (const Json::Value& note : running["notes"]) {
        std::printf("%s\n", Printable(note.asString()).c_str());
    }
}

void PutPlain(const Status& status) {
    std::printf("%s at %s, files in %s\n", status.settings.user.c_str(), status.settings.cloudUrl.c_str(),
                Printable(status.settings.root).c_str());
    if (status.running.isObject()) {
        PutRunning(status.running);
    }
    if (!status.spaceNotice.empty()) {
        std::printf("%s\n", Printable(status.spaceNotice).c_str());
    }
    for (const auto& [fileStatus, count] : status.files) {
        std::printf("%8lld %s\n", static_cast<long long>(count), StateWord(fileStatus));
    }
    static const char* const kDirections[] = {"", "downloads", "uploads", "thumbnails"};
    for (const auto& [direction, count] : status.tasks) {
        if (count > 0 && direction >= 1 && direction <= 3) {
            std::printf("%8lld tasks of %s\n", static_cast<long long>(count), kDirections[direction]);
        }
    }
    for (const FileState& file : status.inMotion) {
        std::printf("%-20s %s: %s of %s\n", StateWord(file.fileStatus), Printable(file.path).c_str(),
                    HumanBytes(file.bytesDone).c_str(), HumanBytes(file.bytes).c_str());
    }
    for (const Trouble& trouble : status.troubles) {
        std::printf("%-11s %s: %s\n", trouble.kind.c_str(), Printable(trouble.path).c_str(),
                    Printable(trouble.message).c_str());
    }
}

}  // namespace

int RunStatus(const std::string& stateFolder, int files, bool json) {
    Status status;
    std::string why;
    const int code = Collect(stateFolder, files, status, why);
    if (code != kExitOk && code != kExitSome) {
        return ReportError(json, code, why);
    }
    json ? PutJson(status, code) : PutPlain(status);
    return code;
}

}  // namespace Drive::Host
