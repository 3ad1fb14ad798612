#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

/// Ranges of HTTP. Pure.
namespace Drive::ReferenceCloud {

/// What a GET of a body of a known size answers.
struct RangeAnswer {
    int status = 200;         ///< 200, 206 or 416
    std::int64_t offset = 0;  ///< first byte
    std::int64_t length = 0;  ///< bytes; 0 with 416
};

/// `header` is the value of "Range", empty for none. Several ranges or a malformed header mean the whole body, as HTTP
/// allows. An empty body is always answered 200.
RangeAnswer ChooseRange(std::string_view header, std::int64_t size);

/// "Content-Range" of a slice: where it begins and how large the whole is. The upper bound is not read: clients send
/// the slice's length less one there, not offset by the position. Deliberate.
struct SliceRange {
    std::int64_t position = 0;
    std::int64_t size = 0;
};

/// Nothing unless the text is "bytes P-U/SIZE" with P below SIZE.
std::optional<SliceRange> ParseSliceRange(std::string_view header);

}  // namespace Drive::ReferenceCloud
