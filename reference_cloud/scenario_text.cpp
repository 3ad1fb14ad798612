#include "reference_cloud/scenario_text.h"

#include <json/reader.h>

#include <algorithm>
#include <map>
#include <memory>
#include <stdexcept>

namespace Drive::ReferenceCloud {

namespace {

enum class Kind { flag, shift, count, status, seconds, text, texts, headers, anyMap };

constexpr std::int64_t kLongestShift = 100LL * 366 * 86400;  // of the clock: a century
constexpr double kLongestDelay = 86400;

const std::map<std::string, Kind> kRule = {
    {"name", Kind::text},           {"method", Kind::text},    {"path", Kind::text},      {"user", Kind::text},
    {"nth", Kind::count},           {"from", Kind::count},     {"times", Kind::count},    {"every", Kind::count},
    {"status", Kind::status},       {"errorCode", Kind::text}, {"afterWork", Kind::flag}, {"description", Kind::text},
    {"headers", Kind::headers},     {"delay", Kind::seconds},  {"rate", Kind::count},     {"uploadRate", Kind::count},
    {"cutAfter", Kind::count},      {"corrupt", Kind::count},  {"drop", Kind::flag},      {"body", Kind::text},
    {"contentLength", Kind::count}, {"remove", Kind::texts},   {"set", Kind::anyMap}};
const std::map<std::string, Kind> kTop = {{"migrating", Kind::flag}, {"quota", Kind::count}, {"clock", Kind::shift}};

bool AllTexts(const Json::Value& values) {
    return std::all_of(values.begin(), values.end(), [](const Json::Value& value) { return value.isString(); });
}

/// Names and values that can stand in a header: others would be left out of the answer without a word.
bool AllHeaders(const Json::Value& headers) {
    static constexpr const char* letters =
        "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789!#$%&'*+-.^_`|~";
    const auto fits = [&](const std::string& name) {
        const bool token = !name.empty() && name.find_first_not_of(letters) == std::string::npos;
        const std::string value = headers[name].isString() ? headers[name].asString() : "\n";
        return token && std::none_of(value.begin(), value.end(), [](unsigned char c) { return c < 0x20 || c == 0x7F; });
    };
    const auto names = headers.getMemberNames();
    return std::all_of(names.begin(), names.end(), fits);
}

/// What the value should be; empty when it is that.
std::string Wrong(const Json::Value& value, Kind kind) {
    switch (kind) {
        case Kind::flag:
            return value.isBool() ? "" : "true or false";
        case Kind::shift:
            return value.isInt64() && value.asInt64() <= kLongestShift && value.asInt64() >= -kLongestShift
                       ? ""
                       : "a whole number of seconds, a century at most";
        case Kind::status:  // 0: the answer's own
            return value.isInt64() && (value == 0 || (value.asInt64() >= 200 && value.asInt64() <= 599))
                       ? ""
                       : "a status from 200 to 599";
        case Kind::count:
            return value.isInt64() && value.asInt64() >= 0 ? "" : "a whole number of at least 0";
        case Kind::seconds:
            return value.isNumeric() && value.asDouble() >= 0 && value.asDouble() <= kLongestDelay
                       ? ""
                       : "a number of seconds from 0 to 86400";
        case Kind::text:
            return value.isString() ? "" : "text";
        case Kind::texts:
            return value.isArray() && AllTexts(value) ? "" : "an array of texts";
        case Kind::headers:
            return value.isObject() && AllHeaders(value) ? "" : "an object of texts without control characters";
        case Kind::anyMap:
            return value.isObject() ? "" : "an object";
    }
    return "";
}

std::size_t LineOf(const std::string& text, std::ptrdiff_t offset) {
    const auto end = text.begin() + std::min<std::ptrdiff_t>(offset, static_cast<std::ptrdiff_t>(text.size()));
    return static_cast<std::size_t>(std::count(text.begin(), end, '\n')) + 1;
}

class Checker {
public:
    Checker(const std::string& text, const std::string& path) : text_(text), path_(path) {}

    [[noreturn]] void Fail(const Json::Value& at, const std::string& what) const {
        throw std::runtime_error(ScenarioPlace(path_, text_, at) + what);
    }

    void Members(const Json::Value& object, const std::map<std::string, Kind>& known) const {
        for (const auto& name : object.getMemberNames()) {
            if (&known == &kTop && name == "rules") continue;
            const auto found = known.find(name);
            if (found == known.end()) Fail(object[name], "\"" + name + "\" is no word of a scenario");
            const std::string wanted = Wrong(object[name], found->second);
            if (!wanted.empty()) Fail(object[name], "\"" + name + "\" must be " + wanted);
        }
    }

private:
    const std::string& text_;
    const std::string& path_;
};

/// The parser's "* Line 3, Column 5\n  Syntax error..." as one line.
std::string OneLine(std::string errors) {
    std::replace(errors.begin(), errors.end(), '\n', ' ');
    errors.erase(0, errors.find_first_not_of("* "));
    errors.erase(errors.find_last_not_of(' ') + 1);
    return errors;
}

}  // namespace

std::string ScenarioPlace(const std::string& path, const std::string& text, const Json::Value& value) {
    return "the scenario " + path + ", line " + std::to_string(LineOf(text, value.getOffsetStart())) + ": ";
}

Json::Value ReadScenarioText(const std::string& text, const std::string& path) {
    Json::CharReaderBuilder builder;
    builder["collectComments"] = false;
    builder["rejectDupKeys"] = true;
    builder["failIfExtra"] = true;
    builder["stackLimit"] = 100;
    const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    Json::Value root;
    std::string errors;
    bool read = false;
    try {
        read = reader->parse(text.data(), text.data() + text.size(), &root, &errors);
    } catch (const Json::Exception& error) {
        errors = error.what();
    }
    if (!read) throw std::runtime_error("the scenario " + path + " is no JSON: " + OneLine(errors));
    const Checker checker(text, path);
    if (!root.isObject()) checker.Fail(root, "a scenario is an object");
    checker.Members(root, kTop);
    if (!root["rules"].isArray()) checker.Fail(root, "a scenario needs an array \"rules\"");
    for (const Json::Value& rule : root["rules"]) {
        if (!rule.isObject()) checker.Fail(rule, "a rule is an object");
        checker.Members(rule, kRule);
    }
    return root;
}

}  // namespace Drive::ReferenceCloud
