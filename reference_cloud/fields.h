#pragma once

#include <json/value.h>

#include <cstdint>
#include <string>
#include <vector>

/// Reading of request bodies. A value of the wrong kind throws Refusal 400.
namespace Drive::ReferenceCloud {

/// The body as an object.
Json::Value RequestObject(const std::string& body);

/// Absent and null give the empty text.
std::string TextField(const Json::Value& object, const char* name);
/// The same of at most 1024 bytes: for texts that are kept and come back in every list.
std::string ShortText(const Json::Value& object, const char* name);
/// Refuses an absent, empty or longer text.
std::string NeededText(const Json::Value& object, const char* name);
/// Text, or an array of one text.
std::string TextOrSingle(const Json::Value& object, const char* name);
/// A whole number from 0 to 2^53; absent and null give `absent`.
std::int64_t NumberField(const Json::Value& object, const char* name, std::int64_t absent);
/// Seconds since the epoch; absent and null give 0. A later one than 2^53 becomes that: some file systems keep any
/// time, and no file should be refused for it.
std::int64_t TimeField(const Json::Value& object, const char* name);
/// Absent and null give an empty array.
Json::Value ArrayField(const Json::Value& object, const char* name);
/// An allowed name of a file or folder.
std::string NameField(const Json::Value& object, const char* name);
/// A digest in lower-case hexadecimal of so many digits, or the empty text.
std::string DigestField(const Json::Value& object, const char* name, std::size_t digits);

}  // namespace Drive::ReferenceCloud
