#include "host/commands/cancel_command.h"

#include <json/json.h>

#include <cstdio>
#include <memory>

#include "host/control/control_socket.h"
#include "host/control/run_desk.h"
#include "host/module/below_root.h"
#include "host/module/exit_codes.h"
#include "host/report/reporter.h"
#include "host/settings/settings.h"

namespace Drive::Host {
namespace {

constexpr int kPatience = 10000;  // milliseconds

std::string CancelAnswer(const std::string& path, const std::string& text, int code) {
    Json::Value value;
    value["event"] = "cancel";
    value["path"] = JsonPath(path);
    value["answer"] = JsonPath(text);
    value["exitCode"] = code;
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    builder["emitUTF8"] = true;
    return Json::writeString(builder, value);
}

}  // namespace

int RunCancel(const std::string& stateFolder, const std::string& typed, bool json) {
    Settings settings;
    std::string why;
    bool absent = false;
    if (!ReadSettings(stateFolder, settings, why, absent)) {
        return ReportError(json, kExitUsage, why);
    }
    const std::string path = BelowRoot(settings.root, typed);
    const std::optional<std::string> answer = AskControl(stateFolder, CancelRequest(path), kPatience);
    if (!answer) {
        return ReportError(json, kExitSome, "no command is running on " + stateFolder);
    }
    Json::Value value;
    const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
    reader->parse(answer->data(), answer->data() + answer->size(), &value, nullptr);
    const std::string text = value.isObject() && value["answer"].isString() ? value["answer"].asString() : *answer;
    const int code = text == kCancelled ? kExitOk : kExitSome;
    if (json) {
        std::printf("%s\n", CancelAnswer(path, text, code).c_str());
    } else {
        std::printf("%s: %s\n", Printable(path).c_str(), Printable(text).c_str());
    }
    return code;
}

}  // namespace Drive::Host
