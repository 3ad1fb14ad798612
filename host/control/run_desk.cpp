#include "host/control/run_desk.h"

#include <json/json.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>

#include "interfaces/cloud/wire/names.h"
#include "interfaces/platform/text.h"

namespace Drive::Host {
namespace {

constexpr auto kPatience = std::chrono::seconds(5);
constexpr auto kPatienceForReading = std::chrono::minutes(10);  // a large file is read before it is let go

std::string Line(const Json::Value& value) {
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    builder["emitUTF8"] = true;
    return Json::writeString(builder, value);
}

std::string PathOf(const Json::Value& text) {
    return text.isString() ? Platform::NarrowText(Cloud::Wire::UnescapeName(Platform::WidenText(text.asString()))) : "";
}

}  // namespace

struct RunDesk::Body {
    std::mutex mutex;
    std::condition_variable changed;
    // All guarded by mutex.
    std::string command;
    ProgressFigures figures;
    std::vector<std::string> notes;
    std::optional<std::string> wish;
    bool wishesEviction = false;
    std::optional<std::string> answer;

    std::string Ask(const std::string& path, bool evict) {
        std::unique_lock lock(mutex);
        wish = path;
        wishesEviction = evict;
        answer.reset();
        changed.wait_for(lock, evict ? std::chrono::seconds(kPatienceForReading) : kPatience,
                         [this] { return answer.has_value(); });
        wish.reset();
        Json::Value value;
        value["answer"] = answer.value_or("the running command is busy; try again");
        return Line(value);
    }

    std::string Progress() {
        const std::lock_guard lock(mutex);
        Json::Value value;
        value["command"] = command;
        value["bytesDone"] = Json::Int64(figures.bytesDone);
        value["bytesAll"] = Json::Int64(figures.bytesAll);
        value["filesDone"] = Json::Int64(figures.filesDone);
        value["filesAll"] = Json::Int64(figures.filesAll);
        value["bytesPerSecond"] = Json::Int64(figures.bytesPerSecond);
        value["secondsLeft"] = Json::Int64(figures.secondsLeft);
        value["notes"] = Json::Value(Json::arrayValue);
        for (const std::string& note : notes) {
            value["notes"].append(JsonPath(note));
        }
        return Line(value);
    }
};

RunDesk::RunDesk() : body(new Body) {}

RunDesk& RunDesk::Get() {
    static RunDesk* const desk = new RunDesk;
    return *desk;
}

std::string RunDesk::Answer(const std::string& request) {
    Json::Value value;
    const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
    if (!reader->parse(request.data(), request.data() + request.size(), &value, nullptr) || !value.isObject()) {
        return "{\"answer\":\"not understood\"}";
    }
    if (value.isMember("evict")) {
        return body->Ask(PathOf(value["evict"]), true);
    }
    return value.isMember("cancel") ? body->Ask(PathOf(value["cancel"]), false) : body->Progress();
}

void RunDesk::Tell(const std::string& command, const ProgressFigures& figures) {
    const std::lock_guard lock(body->mutex);
    body->command = command;
    body->figures = figures;
}

bool RunDesk::Note(const std::string& text) {
    const std::lock_guard lock(body->mutex);
    const bool fresh = std::find(body->notes.begin(), body->notes.end(), text) == body->notes.end();
    if (fresh) {
        body->notes.push_back(text);
    }
    return fresh;
}

void RunDesk::Serve(const Decision& cancel, const Decision& evict) {
    std::unique_lock lock(body->mutex);
    if (!body->wish) {
        return;
    }
    const std::string path = *std::exchange(body->wish, std::nullopt);
    const Decision& decide = body->wishesEviction ? evict : cancel;
    lock.unlock();
    std::string answer = decide ? decide(path) : "the running command cannot do that; stop it first";
    lock.lock();
    body->answer = std::move(answer);
    body->changed.notify_all();
}

std::string CancelRequest(const std::string& path) {
    Json::Value value;
    value["cancel"] = JsonPath(path);
    return Line(value);
}

std::string EvictRequest(const std::string& path) {
    Json::Value value;
    value["evict"] = JsonPath(path);
    return Line(value);
}

std::string ProgressRequest() { return "{\"progress\":true}"; }

}  // namespace Drive::Host
