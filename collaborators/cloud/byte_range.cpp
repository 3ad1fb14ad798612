#include "collaborators/cloud/byte_range.h"

#include <charconv>

#include "collaborators/cloud/text.h"

namespace Drive::Cloud {

namespace {

/// Takes a number off the front of the text.
bool TakeNumber(const char*& at, const char* end, std::int64_t& number) {
    if (at == end || *at < '0' || *at > '9') return false;
    const auto [next, error] = std::from_chars(at, end, number);
    at = next;
    return error == std::errc();
}

bool TakeMark(const char*& at, const char* end, char mark) {
    if (at == end || *at != mark) return false;
    ++at;
    return true;
}

}  // namespace

std::optional<std::int64_t> OpenRangeStart(const std::string& header) {
    static const std::string kUnit = "bytes=";
    if (header.size() < kUnit.size() || !EqualsIgnoringCase(header.substr(0, kUnit.size()), kUnit)) return std::nullopt;
    const char* at = header.data() + kUnit.size();
    const char* const end = header.data() + header.size();
    std::int64_t start = 0;
    if (!TakeNumber(at, end, start) || !TakeMark(at, end, '-') || at != end) return std::nullopt;
    return start;
}

std::optional<ContentRange> ParseContentRange(const std::string& header) {
    static const std::string kUnit = "bytes ";
    if (header.size() < kUnit.size() || !EqualsIgnoringCase(header.substr(0, kUnit.size()), kUnit)) return std::nullopt;
    const char* at = header.data() + kUnit.size();
    const char* const end = header.data() + header.size();
    ContentRange range;
    if (!TakeNumber(at, end, range.first) || !TakeMark(at, end, '-') || !TakeNumber(at, end, range.last) ||
        !TakeMark(at, end, '/')) {
        return std::nullopt;
    }
    const bool known = !TakeMark(at, end, '*');
    if (known && !TakeNumber(at, end, range.total)) return std::nullopt;
    const bool sane = range.first <= range.last && (!known || range.last < range.total);
    return at == end && sane ? std::optional(range) : std::nullopt;
}

}  // namespace Drive::Cloud
