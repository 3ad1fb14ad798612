#include "reference_cloud/scenario.h"

#include <fnmatch.h>
#include <sys/stat.h>

#include <fstream>
#include <sstream>
#include <stdexcept>

#include "reference_cloud/http_message.h"
#include "reference_cloud/scenario_text.h"
#include "reference_cloud/text.h"

namespace Drive::ReferenceCloud {

namespace {

/// What holds the field, and its name or number there; nothing when there is no such way.
std::pair<Json::Value*, std::string> FindField(Json::Value& root, const std::string& way) {
    Json::Value* at = &root;
    for (std::size_t begin = 0;;) {
        const std::size_t end = way.find('.', begin);
        const std::string step = way.substr(begin, end - begin);
        const auto index = ParseNumber(step);
        const bool there = at->isObject() ? at->isMember(step) : at->isArray() && index && *index < at->size();
        if (!there) return {nullptr, ""};
        if (end == std::string::npos) return {at, step};
        at = at->isObject() ? &(*at)[step] : &(*at)[static_cast<Json::ArrayIndex>(*index)];
        begin = end + 1;
    }
}

}  // namespace

std::string BendFields(const std::string& text, const Misbehaviour& what) {
    auto root = what.remove.empty() && what.set.empty() ? std::nullopt : ParseJson(text);
    if (!root) return text;
    for (const auto& [way, value] : what.set) {
        const auto [holder, name] = FindField(*root, way);
        if (holder == nullptr) continue;
        (holder->isObject() ? (*holder)[name] : (*holder)[static_cast<Json::ArrayIndex>(std::stoul(name))]) =
            *ParseJson(value);
    }
    for (const auto& way : what.remove) {
        const auto [holder, name] = FindField(*root, way);
        if (holder == nullptr) continue;
        Json::Value removed;
        holder->isObject()
            ? holder->removeMember(name)
            : static_cast<void>(holder->removeIndex(static_cast<Json::ArrayIndex>(std::stoul(name)), &removed));
    }
    return JsonText(*root);
}

Scenario::Scenario(std::string path) : path_(std::move(path)) {
    if (!path_.empty()) Read();
}

Scenario::Stamp Scenario::Look() const {
    struct stat status {};
    if (::stat(path_.c_str(), &status) != 0) return {};
    return {status.st_mtim.tv_sec * 1000000000 + status.st_mtim.tv_nsec, status.st_size, status.st_ino};
}

Scenario::Rule Scenario::ReadRule(const Json::Value& from, std::size_t index) {
    Rule rule;
    Misbehaviour& what = rule.misbehaviour;
    what.rule = from.get("name", "rule " + std::to_string(index + 1)).asString();
    rule.method = from.get("method", "").asString();
    rule.path = from.get("path", "*").asString();
    rule.user = from.get("user", "").asString();
    rule.nth = from.get("nth", 0).asInt();
    rule.from = from.get("from", 1).asInt();
    rule.times = from.get("times", 0).asInt();
    rule.every = std::max(1, from.get("every", 1).asInt());
    what.status = from.get("status", 0).asInt();
    what.afterWork = from.get("afterWork", false).asBool();
    what.errorCode = from.get("errorCode", "").asString();
    what.description = from.get("description", "answered so by the scenario").asString();
    for (const auto& name : from["headers"].getMemberNames()) what.headers[name] = from["headers"][name].asString();
    what.delay = from.get("delay", 0.0).asDouble();
    what.rate = from.get("rate", 0).asInt64();
    what.uploadRate = from.get("uploadRate", 0).asInt64();
    what.cutAfter = from.get("cutAfter", -1).asInt64();
    what.corrupt = from.get("corrupt", -1).asInt64();
    what.drop = from.get("drop", false).asBool();
    if (from.isMember("body")) what.body = from["body"].asString();
    what.contentLength = from.get("contentLength", -1).asInt64();
    for (const auto& field : from["remove"]) what.remove.push_back(field.asString());
    for (const auto& field : from["set"].getMemberNames()) what.set.emplace_back(field, JsonText(from["set"][field]));
    return rule;
}

void Scenario::Read() {
    const Stamp stamp = Look();
    std::ifstream stream(path_);
    std::ostringstream text;
    text << stream.rdbuf();
    if (!stream) throw std::runtime_error("the scenario " + path_ + " cannot be read; check that it is there");
    const Json::Value root = ReadScenarioText(text.str(), path_);
    std::vector<Rule> rules;
    for (const auto& rule : root["rules"]) {
        try {
            rules.push_back(ReadRule(rule, rules.size()));
        } catch (const std::exception& error) {
            throw std::runtime_error(ScenarioPlace(path_, text.str(), rule) + "rule " +
                                     std::to_string(rules.size() + 1) + ": " + error.what());
        }
    }
    rules_ = std::move(rules);
    migrating_ = root.get("migrating", false).asBool();
    clockShift_ = root.get("clock", 0).asInt64();
    quota_ = root.isMember("quota") ? std::optional(root["quota"].asInt64()) : std::nullopt;
    stamp_ = stamp;
}

std::optional<std::string> Scenario::Reload(bool force) {
    if (path_.empty()) return std::nullopt;
    const std::lock_guard lock(mutex_);
    const auto now = std::chrono::steady_clock::now();
    if (!force && now - looked_ < std::chrono::milliseconds(50)) return std::nullopt;
    looked_ = now;
    const Stamp stamp = Look();
    if (!force && stamp == stamp_) return std::nullopt;
    try {
        Read();
    } catch (const std::exception& error) {
        stamp_ = stamp;
        return error.what();
    }
    return std::nullopt;
}

bool Scenario::Due(Rule& rule) {
    ++rule.seen;
    if (rule.nth > 0) return rule.seen == rule.nth;
    if (rule.seen < rule.from || (rule.seen - rule.from) % rule.every != 0) return false;
    return rule.times == 0 || rule.struck < rule.times;
}

std::optional<Misbehaviour> Scenario::Strike(const std::string& method, const std::string& path,
                                             const std::string& user) {
    std::optional<Misbehaviour> result;
    const std::lock_guard lock(mutex_);
    for (Rule& rule : rules_) {
        if (!rule.method.empty() && rule.method != method) continue;
        if (!rule.user.empty() && rule.user != user) continue;
        if (::fnmatch(rule.path.c_str(), path.c_str(), 0) != 0) continue;
        if (!Due(rule) || result) continue;
        ++rule.struck;
        result = rule.misbehaviour;
    }
    return result;
}

bool Scenario::Migrating() {
    const std::lock_guard lock(mutex_);
    return migrating_;
}

std::int64_t Scenario::ClockShift() {
    const std::lock_guard lock(mutex_);
    return clockShift_;
}

std::optional<std::int64_t> Scenario::Quota() {
    const std::lock_guard lock(mutex_);
    return quota_;
}

}  // namespace Drive::ReferenceCloud
