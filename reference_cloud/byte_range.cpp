#include "reference_cloud/byte_range.h"

#include <algorithm>
#include <limits>

#include "reference_cloud/text.h"

namespace Drive::ReferenceCloud {

namespace {

constexpr std::string_view kUnit = "bytes";

/// A position; one of more digits than a number holds lies behind the end of everything.
std::optional<std::int64_t> ParsePosition(std::string_view text) {
    if (text.empty() || text.find_first_not_of("0123456789") != std::string_view::npos) return std::nullopt;
    return ParseNumber(text).value_or(std::numeric_limits<std::int64_t>::max());
}

std::optional<RangeAnswer> Satisfy(std::string_view range, std::int64_t size) {
    const std::size_t dash = range.find('-');
    if (dash == std::string_view::npos) return std::nullopt;
    const auto first = ParsePosition(range.substr(0, dash));
    const std::string_view lastText = range.substr(dash + 1);
    const auto last = ParsePosition(lastText);
    if (!lastText.empty() && !last) return std::nullopt;
    if (dash == 0) {  // the last so many bytes
        if (!last) return std::nullopt;
        if (*last == 0) return RangeAnswer{416, 0, 0};
        const std::int64_t length = std::min<std::int64_t>(*last, size);
        return RangeAnswer{206, size - length, length};
    }
    if (!first || (last && *last < *first)) return std::nullopt;
    if (*first >= size) return RangeAnswer{416, 0, 0};
    const std::int64_t end = last ? std::min<std::int64_t>(*last, size - 1) : size - 1;
    return RangeAnswer{206, *first, end - *first + 1};
}

}  // namespace

RangeAnswer ChooseRange(std::string_view header, std::int64_t size) {
    const RangeAnswer whole{200, 0, size};
    if (size == 0 || header.substr(0, kUnit.size() + 1) != "bytes=") return whole;
    return Satisfy(header.substr(kUnit.size() + 1), size).value_or(whole);
}

std::optional<SliceRange> ParseSliceRange(std::string_view header) {
    if (header.substr(0, kUnit.size() + 1) != "bytes ") return std::nullopt;
    header.remove_prefix(kUnit.size() + 1);
    const std::size_t dash = header.find('-'), slash = header.find('/');
    if (dash == std::string_view::npos || slash == std::string_view::npos || slash < dash) return std::nullopt;
    const auto position = ParseNumber(header.substr(0, dash));
    const auto size = ParseNumber(header.substr(slash + 1));
    if (!position || !size || *position >= *size) return std::nullopt;
    return SliceRange{*position, *size};
}

}  // namespace Drive::ReferenceCloud
