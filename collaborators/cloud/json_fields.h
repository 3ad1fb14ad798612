#pragma once

#include <json/json.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

/// Reading of what a cloud answered. Nothing is taken for granted: any field may be absent, null or of another type.
namespace Drive::Cloud {

/// Strict JSON: UTF-8, an object at the root, bounded depth and number of values, no doubled keys, nothing behind the
/// end. False, with `root` null, for anything else; `why` says what was wrong.
bool ParseObject(const std::string& text, Json::Value& root, std::string& why);

std::string WriteJson(const Json::Value& value);

/// The fields of one object of an answer. A field that is absent or null gives the empty value; one of the wrong type
/// gives it too, writes a line into the error log (the first few of a call) and makes Sound() false.
class JsonFields {
public:
    /// `where` is a literal that names the call in the log.
    JsonFields(const Json::Value& object, const char* where);

    /// Text; a whole number counts as its decimal text.
    std::wstring Text(const char* key);
    /// A file name, out of its form on the wire.
    std::wstring Name(const char* key);
    /// An id of the cloud: refused when it could be taken for a local one or could not stand in a statement.
    std::wstring Id(const char* key);
    /// Whole number within `least` and `most`.
    std::int64_t Number(const char* key, std::int64_t least, std::int64_t most);
    std::int64_t Size(const char* key);
    bool Flag(const char* key);
    /// The elements of an array.
    std::vector<const Json::Value*> Elements(const char* key);
    /// An array of texts; an element of another type makes Sound() false.
    std::vector<std::wstring> Texts(const char* key);
    /// An object of texts; the same.
    std::vector<std::pair<std::wstring, std::wstring>> Pairs(const char* key);
    /// Text, or the first text of an array.
    std::wstring TextOrFirst(const char* key);

    bool Has(const char* key) const;
    bool Sound() const { return sound; }

private:
    const Json::Value* Find(const char* key) const;
    void Bad(const char* key, const char* expected);

    const Json::Value& object;
    const char* const where;
    bool sound = true;
};

/// True when the text can be an id of the cloud.
bool IsCloudId(const std::wstring& id);

/// The value as text when it is a text or a whole number.
std::optional<std::wstring> ScalarText(const Json::Value& value);

}  // namespace Drive::Cloud
