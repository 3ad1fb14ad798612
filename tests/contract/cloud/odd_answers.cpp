#include "tests/contract/cloud/odd_answers.h"

#include "tests/contract/cloud/cloud_test.h"

namespace Drive::Testing {

namespace {

std::string Repeated(const std::string& text, int count) {
    std::string whole;
    for (int index = 0; index < count; ++index) whole += text;
    return whole;
}

std::vector<OddValue> MakeOddValues() {
    std::vector<OddValue> values;
    for (const char* text : {"null",
                             "true",
                             "0",
                             "-1",
                             "1.5",
                             "1e300",
                             "1e308",
                             "9007199254740993",
                             "-1e300",
                             "9223372036854775807",
                             "-9223372036854775808",
                             "18446744073709551615",
                             "99999999999999999999999999",
                             "\"\"",
                             "\"x\"",
                             "\"Local1\"",
                             "\"' OR '1'='1\"",
                             "\"\\u0000\"",
                             "\"\\r\\nX: y\"",
                             "\"..\"",
                             "\"http://127.0.0.1:1/\"",
                             "\"file:///etc/passwd\"",
                             "{}",
                             "[]",
                             "[null]",
                             "[{}]",
                             "{\"x\":{}}"}) {
        values.push_back({text});
    }
    values.push_back({"\"" + std::string(70'000, 'x') + "\""});
    for (const std::string& text :
         {std::string("\"\xff\xfe\""), std::string("\"\\udc80\""), std::string("\"\\ud800\""),
          std::string("\"\\ud800\\ud800\""), std::string(R"({"a":1,"a":2})"),
          Repeated("[", 10'000) + Repeated("]", 10'000), Repeated("{\"a\":", 10'000) + "1" + Repeated("}", 10'000),
          Repeated("[", 40) + Repeated("]", 40), std::string("NaN"), std::string("1e999"), std::string()}) {
        values.push_back({text, true});
    }
    return values;
}

using Each = std::function<void(const OddAnswer&)>;

std::string Below(const std::string& name, const std::string& field) {
    return field.empty() ? name : name + "." + field;
}

/// The object's text with the value of one field replaced; `before` goes in front of that field.
std::string Written(const Json::Value& object, const std::string& changed, const std::string* replacement,
                    const std::string& before = "") {
    std::string text;
    for (const auto& name : object.getMemberNames()) {
        if (name == changed && replacement == nullptr) continue;
        text += text.empty() ? "{" : ",";
        if (name == changed) text += before;
        text += "\"" + name + "\":" + (name == changed ? *replacement : ToJson(object[name]));
    }
    return text.empty() ? "{}" : text + "}";
}

void VaryMembers(const Json::Value& object, const std::vector<OddValue>& odds, const Each& each) {
    for (const auto& name : object.getMemberNames()) {
        each({Written(object, name, nullptr), name});
        const std::string sound = ToJson(object[name]);
        each({Written(object, name, &sound, "\"" + name + "\":\"twice\","), name, true});
        ForEachOddAnswer(object[name], odds, [&](const OddAnswer& odd) {
            each({Written(object, name, &odd.text), Below(name, odd.field), odd.ruined});
        });
    }
}

void VaryElements(const Json::Value& array, const std::vector<OddValue>& odds, const Each& each) {
    for (Json::ArrayIndex changed = 0; changed < array.size(); ++changed) {
        ForEachOddAnswer(array[changed], odds, [&](const OddAnswer& odd) {
            std::string whole;
            for (Json::ArrayIndex index = 0; index < array.size(); ++index) {
                whole += (index == 0 ? "[" : ",") + (index == changed ? odd.text : ToJson(array[index]));
            }
            // Nothing in place of the only element would be an array that is empty.
            each({whole + (odd.text.empty() ? ",]" : "]"), odd.field, odd.ruined});
        });
    }
}

}  // namespace

const std::vector<OddValue>& OddValues() {
    static const std::vector<OddValue> values = MakeOddValues();
    return values;
}

void ForEachOddAnswer(const Json::Value& sound, const std::vector<OddValue>& odds, const Each& each) {
    for (const auto& odd : odds) each({odd.text, "", odd.ruins});
    if (sound.isObject()) VaryMembers(sound, odds, each);
    if (sound.isArray()) VaryElements(sound, odds, each);
}

std::set<std::string> FieldsOf(const Json::Value& value) {
    std::set<std::string> fields;
    if (value.isObject()) {
        for (const auto& name : value.getMemberNames()) {
            fields.insert(name);
            for (const auto& field : FieldsOf(value[name])) fields.insert(Below(name, field));
        }
    }
    if (value.isArray()) {
        for (const auto& element : value) fields.merge(FieldsOf(element));
    }
    return fields;
}

}  // namespace Drive::Testing
