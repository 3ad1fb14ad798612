#include "host/commands/evict_command.h"

#include <json/json.h>

#include <cstdio>
#include <exception>
#include <map>
#include <memory>
#include <optional>

#include "host/control/control_socket.h"
#include "host/control/run_desk.h"
#include "host/module/below_root.h"
#include "host/module/exit_codes.h"
#include "host/module/session.h"
#include "host/mount/evict.h"
#include "host/report/reporter.h"
#include "interfaces/platform/text.h"

namespace Drive::Host {
namespace {

constexpr int kPatience = 10 * 60 * 1000;  // milliseconds; a large file is read before it is let go

void Tell(const std::string& path, const std::string& answer, int code, bool json) {
    if (!json) {
        std::printf("%s: %s\n", Printable(path).c_str(), Printable(answer).c_str());
        return;
    }
    Json::Value value;
    value["event"] = "evict";
    value["path"] = JsonPath(path);
    value["answer"] = JsonPath(answer);
    value["exitCode"] = code;
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    builder["emitUTF8"] = true;
    std::printf("%s\n", Json::writeString(builder, value).c_str());
}

std::string TextOf(const std::string& answer) {
    Json::Value value;
    const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
    reader->parse(answer.data(), answer.data() + answer.size(), &value, nullptr);
    return value.isObject() && value["answer"].isString() ? value["answer"].asString() : answer;
}

// Every proved file at the path or below it.
std::map<std::string, EvictFacts> FilesAt(Session& session, const std::string& path) {
    std::map<std::string, EvictFacts> files;
    for (const auto& [id, proved] : session.records.AllProved()) {
        if (path.empty() || proved.path == path || proved.path.rfind(path + "/", 0) == 0) {
            EvictFacts& facts = files[proved.path];
            facts.fileId = Platform::WidenText(id);
            facts.contentVersion = Platform::WidenText(proved.contentVersion);
        }
    }
    return files;
}

std::string EvictHere(Session& session, const std::string& path) {
    std::map<std::string, EvictFacts> files = FilesAt(session, path);
    if (files.empty()) {
        return "nothing there is known to be in the cloud";
    }
    std::string answer = kEvicted;
    for (auto& [name, facts] : files) {
        if (session.visible.Look(name).kind == FileKind::Absent) {
            continue;
        }
        std::string problem = CheckEvictable(session, name, facts);
        problem = problem.empty() ? RemoveChecked(session, name, facts) : problem;
        answer = problem.empty() ? answer : name + ": " + problem;
    }
    return answer;
}

int EvictWithoutMount(const std::string& stateFolder, const std::vector<std::string>& typed, bool json) {
    Session session(stateFolder);
    std::string why;
    int code = session.Open(EngineRoot::Visible, why);
    if (code != kExitOk) {
        session.Close();
        return ReportError(json, code, why);
    }
    try {
        for (const std::string& one : typed) {
            const std::string path = BelowRoot(session.settings.root, one);
            const std::string answer = EvictHere(session, path);
            const int how = answer == kEvicted ? kExitOk : kExitSome;
            Tell(path, answer, how, json);
            code = how == kExitOk ? code : how;
        }
    } catch (const std::exception& failure) {
        code = ReportError(json, kExitLocal, failure.what());
    }
    session.Close();
    return code;
}

}  // namespace

int RunEvict(const std::string& stateFolder, const std::vector<std::string>& typed, bool json) {
    Settings settings;
    std::string why;
    bool absent = false;
    if (!ReadSettings(stateFolder, settings, why, absent)) {
        return ReportError(json, kExitUsage, why);
    }
    int code = kExitOk;
    for (const std::string& one : typed) {
        const std::string path = BelowRoot(settings.root, one);
        const std::optional<std::string> answer = AskControl(stateFolder, EvictRequest(path), kPatience);
        if (!answer) {
            return EvictWithoutMount(stateFolder, typed, json);
        }
        const int how = TextOf(*answer) == kEvicted ? kExitOk : kExitSome;
        Tell(path, TextOf(*answer), how, json);
        code = how == kExitOk ? code : how;
    }
    return code;
}

}  // namespace Drive::Host
