// Whatever is logged becomes one line of valid UTF-8 without a control character.
#include <cstdint>
#include <cstring>
#include <string>

#include "collaborators/log/line_text.h"
#include "interfaces/platform/text.h"
#include "tests/fuzz/platform/require.h"

namespace {

void CheckIsUtf8(const std::string& text) {
    for (const wchar_t element : Drive::Platform::WidenText(text)) {
        ZELKOR_REQUIRE(element < 0xDC80 || element > 0xDCFF);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string bytes(reinterpret_cast<const char*>(data), size);
    const std::string line = Drive::Logging::EscapeForLine(bytes);
    CheckIsUtf8(line);
    for (const wchar_t element : Drive::Platform::WidenText(line)) {
        ZELKOR_REQUIRE(element >= 0x20 && (element < 0x7F || element >= 0xA0));
    }
    ZELKOR_REQUIRE(Drive::Logging::EscapeForLine(line) == line);

    std::wstring wide(size / sizeof(wchar_t), L'\0');
    if (!wide.empty()) std::memcpy(wide.data(), data, wide.size() * sizeof(wchar_t));
    CheckIsUtf8(Drive::Logging::PrintableUtf8(wide));
    return 0;
}
