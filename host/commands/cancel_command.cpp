#include "host/commands/cancel_command.h"

#include <json/json.h>

#include <cstdio>
#include <memory>

#include "host/control/control_socket.h"
#include "host/control/run_desk.h"
#include "host/module/exit_codes.h"

namespace Drive::Host {
namespace {

constexpr int kPatience = 10000;  // milliseconds

}  // namespace

int RunCancel(const std::string& stateFolder, const std::string& path) {
    const std::optional<std::string> answer = AskControl(stateFolder, CancelRequest(path), kPatience);
    if (!answer) {
        std::fprintf(stderr, "zelkor-drive: no command is running on %s\n", stateFolder.c_str());
        return kExitSome;
    }
    Json::Value value;
    const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
    reader->parse(answer->data(), answer->data() + answer->size(), &value, nullptr);
    const std::string text = value.isObject() && value["answer"].isString() ? value["answer"].asString() : *answer;
    std::printf("%s: %s\n", Printable(path).c_str(), Printable(text).c_str());
    return text == kCancelled ? kExitOk : kExitSome;
}

}  // namespace Drive::Host
