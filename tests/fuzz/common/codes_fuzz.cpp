// Bytes survive Base64 and hexadecimal text; any text is decoded without harm, and strictly only from its one form.
#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include "interfaces/common/drive_functions.h"
#include "interfaces/common/encrypt_helper.h"
#include "tests/fuzz/platform/require.h"

namespace {

using Drive::Common::EncryptHelper;

void CheckBase64(const std::string& bytes) {
    const auto* data = reinterpret_cast<const unsigned char*>(bytes.data());
    for (const bool singleLine : {true, false}) {
        const std::string text = EncryptHelper::Base64Encode(data, bytes.size(), singleLine);
        ZELKOR_REQUIRE(EncryptHelper::Base64Decode(text, true) == bytes);
        ZELKOR_REQUIRE(EncryptHelper::Base64Decode(text, false) == bytes);
    }
}

/// What strict decoding takes is the very text, but for line breaks, that encoding gives.
void CheckStrictness(std::string text) {
    const std::string bytes = EncryptHelper::Base64Decode(text, true);
    EncryptHelper::Base64Decode(text, false);
    if (bytes.empty()) return;
    ZELKOR_REQUIRE(EncryptHelper::Base64Decode(text, false) == bytes);
    std::erase_if(text, [](char character) { return character == '\r' || character == '\n'; });
    const auto* data = reinterpret_cast<const unsigned char*>(bytes.data());
    ZELKOR_REQUIRE(EncryptHelper::Base64Encode(data, bytes.size(), true) == text);
}

void CheckHexadecimal(const std::string& text, std::size_t length) {
    constexpr unsigned char kGuard = 0xA5;
    std::vector<unsigned char> room(length / 2 + 1, kGuard);
    Drive::HexstrToByte(text, room.data(), length);
    ZELKOR_REQUIRE(room[length / 2] == kGuard);
    const auto end = std::find_if(text.begin(), text.end(), [](char digit) {
        return std::string_view("0123456789abcdefABCDEF").find(digit) == std::string_view::npos;
    });
    const auto digits = static_cast<std::size_t>(end - text.begin());
    for (std::size_t index = digits / 2 + 1; index < length / 2; ++index) ZELKOR_REQUIRE(room[index] == 0);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string bytes(reinterpret_cast<const char*>(data), size);
    CheckBase64(bytes);
    CheckStrictness(bytes);
    CheckHexadecimal(bytes, size);
    CheckHexadecimal(bytes, size == 0 ? 0 : data[0]);
    return 0;
}
