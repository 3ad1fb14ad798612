#include "reference_cloud/scenario_text.h"

#include <json/reader.h>

#include <algorithm>
#include <map>
#include <memory>
#include <stdexcept>

namespace Drive::ReferenceCloud {

namespace {

enum class Kind { flag, whole, count, number, text, texts, textMap, anyMap };

const std::map<std::string, Kind> kRule = {
    {"name", Kind::text},           {"method", Kind::text},    {"path", Kind::text},      {"user", Kind::text},
    {"nth", Kind::count},           {"from", Kind::count},     {"times", Kind::count},    {"every", Kind::count},
    {"status", Kind::count},        {"errorCode", Kind::text}, {"afterWork", Kind::flag}, {"description", Kind::text},
    {"headers", Kind::textMap},     {"delay", Kind::number},   {"rate", Kind::count},     {"uploadRate", Kind::count},
    {"cutAfter", Kind::count},      {"corrupt", Kind::count},  {"drop", Kind::flag},      {"body", Kind::text},
    {"contentLength", Kind::count}, {"remove", Kind::texts},   {"set", Kind::anyMap}};
const std::map<std::string, Kind> kTop = {{"migrating", Kind::flag}, {"quota", Kind::count}, {"clock", Kind::whole}};

bool AllTexts(const Json::Value& values) {
    return std::all_of(values.begin(), values.end(), [](const Json::Value& value) { return value.isString(); });
}

/// What the value should be; empty when it is that.
std::string Wrong(const Json::Value& value, Kind kind) {
    switch (kind) {
        case Kind::flag:
            return value.isBool() ? "" : "true or false";
        case Kind::whole:
            return value.isInt64() ? "" : "a whole number";
        case Kind::count:
            return value.isInt64() && value.asInt64() >= 0 ? "" : "a whole number of at least 0";
        case Kind::number:
            return value.isNumeric() && value.asDouble() >= 0 ? "" : "a number of at least 0";
        case Kind::text:
            return value.isString() ? "" : "text";
        case Kind::texts:
            return value.isArray() && AllTexts(value) ? "" : "an array of texts";
        case Kind::textMap:
            return value.isObject() && AllTexts(value) ? "" : "an object of texts";
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
