#include "interfaces/common/drive_functions.h"

#include <algorithm>

#include "interfaces/platform/clock.h"

namespace Drive {

namespace {

/// Value of a hexadecimal digit, or -1.
int DigitValue(char digit) {
    if (digit >= '0' && digit <= '9') {
        return digit - '0';
    }
    if (digit >= 'a' && digit <= 'f') {
        return digit - 'a' + 10;
    }
    if (digit >= 'A' && digit <= 'F') {
        return digit - 'A' + 10;
    }
    return -1;
}

}  // namespace

void HexstrToByte(const std::string& text, unsigned char* bytes, std::size_t length) {
    const std::size_t count = length / 2;
    std::fill_n(bytes, count, static_cast<unsigned char>(0));
    const std::size_t digits = std::min(text.size(), count * 2);
    for (std::size_t index = 0; index < digits; ++index) {
        const int value = DigitValue(text[index]);
        if (value < 0) {
            return;
        }
        bytes[index / 2] = static_cast<unsigned char>(bytes[index / 2] | (index % 2 == 0 ? value << 4 : value));
    }
}

std::int64_t GetTimeStamp() { return Platform::UnixTimeSeconds(); }

}  // namespace Drive
