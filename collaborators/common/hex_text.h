#pragma once

#include <cstddef>
#include <string>

namespace Drive::Common {

/// Bytes as lower-case hexadecimal text, narrow or wide.
template <typename Text>
Text HexText(const unsigned char* bytes, std::size_t count) {
    static constexpr char kDigits[] = "0123456789abcdef";
    Text text;
    text.reserve(count * 2);
    for (std::size_t index = 0; index < count; ++index) {
        text.push_back(static_cast<typename Text::value_type>(kDigits[bytes[index] >> 4]));
        text.push_back(static_cast<typename Text::value_type>(kDigits[bytes[index] & 15]));
    }
    return text;
}

}  // namespace Drive::Common
