#include "reference_cloud/fields.h"

#include <algorithm>

#include "interfaces/cloud/wire/codes.h"
#include "reference_cloud/cloud_name.h"
#include "reference_cloud/http_message.h"
#include "reference_cloud/refusal.h"
#include "reference_cloud/text.h"

namespace Drive::ReferenceCloud {

namespace {

constexpr std::int64_t kLargest = std::int64_t{1} << 53;  // what every reader of JSON holds exactly

[[noreturn]] void Wrong(const char* name, const char* wanted) {
    throw Refusal(400, Drive::Cloud::Wire::kBadRequest, "\"" + std::string(name) + "\" must be " + wanted);
}

}  // namespace

Json::Value RequestObject(const std::string& body) {
    auto value = ParseJson(body);
    if (!value || !value->isObject()) {
        throw Refusal(400, Drive::Cloud::Wire::kBadRequest, "the request body must be a JSON object");
    }
    return std::move(*value);
}

std::string TextField(const Json::Value& object, const char* name) {
    const Json::Value& value = object[name];
    if (value.isNull()) return {};
    if (!value.isString()) Wrong(name, "text");
    std::string text = value.asString();
    if (!IsUtf8(text)) Wrong(name, "text in UTF-8");
    return text;
}

std::string ShortText(const Json::Value& object, const char* name) {
    static constexpr std::size_t longest = 1024;
    std::string text = TextField(object, name);
    if (text.size() > longest) Wrong(name, "text of at most 1024 bytes");
    return text;
}

std::string NeededText(const Json::Value& object, const char* name) {
    std::string text = ShortText(object, name);
    if (text.empty()) Wrong(name, "there and not empty");
    return text;
}

std::string TextOrSingle(const Json::Value& object, const char* name) {
    const Json::Value& value = object[name];
    if (!value.isArray()) return TextField(object, name);
    if (value.size() != 1 || !value[0].isString() || !IsUtf8(value[0].asString())) {
        Wrong(name, "text in UTF-8 or an array of one");
    }
    return value[0].asString();
}

std::int64_t NumberField(const Json::Value& object, const char* name, std::int64_t absent) {
    const Json::Value& value = object[name];
    if (value.isNull()) return absent;
    if (!value.isInt64() || value.asInt64() < 0 || value.asInt64() > kLargest) {
        Wrong(name, "a whole number from 0 to 2^53");
    }
    return value.asInt64();
}

std::int64_t TimeField(const Json::Value& object, const char* name) {
    const Json::Value& value = object[name];
    if (value.isNull()) return 0;
    if (!value.isInt64() || value.asInt64() < 0) Wrong(name, "a time in seconds since the epoch");
    return std::min(value.asInt64(), kLargest);
}

Json::Value ArrayField(const Json::Value& object, const char* name) {
    const Json::Value& value = object[name];
    if (value.isNull()) return Json::Value(Json::arrayValue);
    if (!value.isArray()) Wrong(name, "an array");
    return value;
}

std::string NameField(const Json::Value& object, const char* name) {
    std::string text = TextField(object, name);
    if (!IsAllowedName(text)) {
        Wrong(name, "a name of 1 to 1024 bytes of UTF-8, not \".\" or \"..\", without a separator");
    }
    return text;
}

std::string DigestField(const Json::Value& object, const char* name, std::size_t digits) {
    std::string text = TextField(object, name);
    if (!text.empty() && !IsLowerHex(text, digits)) Wrong(name, "a digest in lower-case hexadecimal");
    return text;
}

}  // namespace Drive::ReferenceCloud
