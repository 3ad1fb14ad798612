#include "collaborators/cloud/json_shape.h"

#include <charconv>
#include <cstddef>

namespace Drive::Cloud {

namespace {

/// A plan of 100,001 objects, the largest answer there is, has six hundred thousand.
constexpr std::size_t kMostValues = 1'000'000;
constexpr std::size_t kEscape = 6;  // of "\uXXXX"

/// The code unit of an escape that stands at `at`; 0 when there is none, or none that can be read.
unsigned CodeUnitAt(const std::string& json, std::size_t at) {
    unsigned unit = 0;
    if (json.compare(at, 2, "\\u") != 0 || json.size() - at < kEscape) return 0;
    const char* const digits = json.data() + at + 2;
    const auto [end, error] = std::from_chars(digits, digits + 4, unit, 16);
    return error == std::errc() && end == digits + 4 ? unit : 0;
}

bool IsHighHalf(unsigned unit) { return unit >= 0xD800 && unit <= 0xDBFF; }
bool IsLowHalf(unsigned unit) { return unit >= 0xDC00 && unit <= 0xDFFF; }

/// Moves `at` from the opening quote behind the closing one. False at half a pair.
bool SkipText(const std::string& json, std::size_t& at) {
    for (++at; at < json.size() && json[at] != '"';) {
        if (json[at] != '\\') {
            ++at;
            continue;
        }
        const unsigned unit = CodeUnitAt(json, at);
        if (IsLowHalf(unit)) return false;
        if (IsHighHalf(unit)) {
            if (!IsLowHalf(CodeUnitAt(json, at + kEscape))) return false;
            at += kEscape;
        }
        at += 2;  // what is left of an escape are letters and digits
    }
    ++at;
    return true;
}

}  // namespace

bool HasFitShape(const std::string& json, std::string& why) {
    std::size_t values = 0;
    for (std::size_t at = 0; at < json.size();) {
        const char character = json[at];
        if (character == '"') {
            if (SkipText(json, at)) continue;
            why = "a text of the answer holds half a surrogate pair";
            return false;
        }
        if ((character == ',' || character == '{' || character == '[') && ++values > kMostValues) {
            why = "the answer holds more than " + std::to_string(kMostValues) + " values";
            return false;
        }
        ++at;
    }
    return true;
}

}  // namespace Drive::Cloud
