#include "collaborators/cloud/json_fields.h"

#include <algorithm>
#include <exception>
#include <memory>

#include "collaborators/cloud/json_shape.h"
#include "collaborators/cloud/text.h"
#include "interfaces/cloud/wire/names.h"
#include "interfaces/logging/sync_panel_log.h"

namespace Drive::Cloud {

namespace {

constexpr int kDeepestNesting = 32;
constexpr std::size_t kLongestId = 1024;
constexpr std::int64_t kMostBytes = std::int64_t{1} << 53;
const std::wstring kLocalMark = L"Local";

std::unique_ptr<Json::CharReader> StrictReader() {
    Json::CharReaderBuilder builder;
    Json::CharReaderBuilder::strictMode(&builder.settings_);
    builder.settings_["stackLimit"] = kDeepestNesting;
    builder.settings_["rejectDupKeys"] = true;
    builder.settings_["collectComments"] = false;
    return std::unique_ptr<Json::CharReader>(builder.newCharReader());
}

/// Where the parser gave up. Not what stood there: that may be a token.
std::string FirstLine(const std::string& text) { return text.substr(0, text.find('\n')); }

}  // namespace

bool ParseObject(const std::string& text, Json::Value& root, std::string& why) {
    root = Json::Value();
    if (!IsUtf8(text)) {
        why = "the answer is not UTF-8";
        return false;
    }
    if (!HasFitShape(text, why)) return false;
    try {
        std::string errors;
        if (!StrictReader()->parse(text.data(), text.data() + text.size(), &root, &errors)) {
            why = "the answer is no JSON: " + FirstLine(errors);
        } else if (!root.isObject()) {
            why = "the answer is no JSON object";
        } else {
            return true;
        }
    } catch (const std::exception& error) {
        why = std::string("the answer is no JSON: ") + FirstLine(error.what());
    }
    root = Json::Value();
    return false;
}

std::string WriteJson(const Json::Value& value) {
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    builder["emitUTF8"] = true;
    return Json::writeString(builder, value);
}

std::optional<std::wstring> ScalarText(const Json::Value& value) {
    if (value.isString()) return Widen(value.asString());
    if (value.type() == Json::intValue) return std::to_wstring(value.asLargestInt());
    if (value.type() == Json::uintValue) return std::to_wstring(value.asLargestUInt());
    return std::nullopt;
}

bool IsCloudId(const std::wstring& id) {
    if (id.empty() || id.size() > kLongestId || id.rfind(kLocalMark, 0) == 0) return false;
    return std::none_of(id.begin(), id.end(), [](wchar_t character) {
        return character < 0x20 || character == 0x7F || character == L'\'' || character == L'"' || character == L'\\';
    });
}

JsonFields::JsonFields(const Json::Value& object, const char* where) : object(object), where(where) {
    if (!object.isObject()) Bad("(entry)", "an object");
}

const Json::Value* JsonFields::Find(const char* key) const {
    if (!object.isObject()) return nullptr;
    const std::string name = key;
    const Json::Value* value = object.find(name.data(), name.data() + name.size());
    return value == nullptr || value->isNull() ? nullptr : value;
}

bool JsonFields::Has(const char* key) const { return Find(key) != nullptr; }

void JsonFields::Bad(const char* key, const char* expected) {
    if (sound) {
        SyncPanelLog::WriteErrorLog(
            "CloudClient", where,
            std::string("field \"") + key + "\" of the cloud's answer is not " + expected + "; it was passed over");
    }
    sound = false;
}

std::wstring JsonFields::Text(const char* key) {
    const Json::Value* value = Find(key);
    if (value == nullptr) return {};
    if (auto text = ScalarText(*value)) return *text;
    Bad(key, "a text");
    return {};
}

std::wstring JsonFields::Name(const char* key) { return Wire::UnescapeName(Text(key)); }

std::wstring JsonFields::Id(const char* key) {
    const std::wstring id = Text(key);
    if (id.empty() || IsCloudId(id)) return id;
    Bad(key, "an id that a cloud can give");
    return {};
}

std::int64_t JsonFields::Number(const char* key, std::int64_t least, std::int64_t most) {
    const Json::Value* value = Find(key);
    if (value == nullptr) return 0;
    if (value->isNumeric() && value->isInt64() && value->asInt64() >= least && value->asInt64() <= most) {
        return value->asInt64();
    }
    Bad(key, "a whole number in its range");
    return 0;
}

std::int64_t JsonFields::Size(const char* key) { return Number(key, 0, kMostBytes); }

bool JsonFields::Flag(const char* key) {
    const Json::Value* value = Find(key);
    if (value == nullptr) return false;
    if (value->isBool()) return value->asBool();
    Bad(key, "true or false");
    return false;
}

std::vector<const Json::Value*> JsonFields::Elements(const char* key) {
    std::vector<const Json::Value*> elements;
    const Json::Value* value = Find(key);
    if (value == nullptr) return elements;
    if (!value->isArray()) {
        Bad(key, "an array");
        return elements;
    }
    elements.reserve(value->size());
    for (const Json::Value& element : *value) elements.push_back(&element);
    return elements;
}

std::vector<std::wstring> JsonFields::Texts(const char* key) {
    std::vector<std::wstring> texts;
    for (const Json::Value* element : Elements(key)) {
        auto text = ScalarText(*element);
        if (!text) Bad(key, "an array of texts");
        texts.push_back(text.value_or(std::wstring()));
    }
    return texts;
}

std::vector<std::pair<std::wstring, std::wstring>> JsonFields::Pairs(const char* key) {
    std::vector<std::pair<std::wstring, std::wstring>> pairs;
    const Json::Value* value = Find(key);
    if (value == nullptr) return pairs;
    if (!value->isObject()) {
        Bad(key, "an object");
        return pairs;
    }
    for (auto member = value->begin(); member != value->end(); ++member) {
        auto text = ScalarText(*member);
        if (!text) Bad(key, "an object of texts");
        pairs.emplace_back(Widen(member.name()), text.value_or(std::wstring()));
    }
    return pairs;
}

std::wstring JsonFields::TextOrFirst(const char* key) {
    const Json::Value* value = Find(key);
    if (value == nullptr || !value->isArray()) return Text(key);
    if (value->empty() || (*value)[0].isNull()) return {};
    if (auto text = ScalarText((*value)[0])) return *text;
    Bad(key, "a text");
    return {};
}

}  // namespace Drive::Cloud
