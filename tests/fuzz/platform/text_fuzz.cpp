// Any bytes survive the way to wide text and back; any wide text is either refused or settles after one round. What is
// made fit for the log is UTF-8, and the same when it was that before.
#include <cstdint>
#include <cstring>
#include <stdexcept>

#include "interfaces/logging/type_convert.h"
#include "interfaces/platform/text.h"
#include "tests/fuzz/platform/require.h"

namespace {

using Drive::Platform::NarrowText;
using Drive::Platform::WidenText;

void CheckBytes(const std::string& bytes) {
    const std::wstring wide = WidenText(bytes);
    ZELKOR_REQUIRE(NarrowText(wide) == bytes);
    ZELKOR_REQUIRE(wide.size() <= bytes.size());
}

bool IsUtf8(const std::string& bytes) {
    for (const wchar_t element : WidenText(bytes)) {
        if (element >= 0xDC80 && element <= 0xDCFF) return false;
    }
    return true;
}

void CheckMadeFit(const std::string& bytes) {
    const std::string fit = Drive::TypeConvert::UTF82Unicode(bytes);
    ZELKOR_REQUIRE(IsUtf8(fit));
    ZELKOR_REQUIRE((fit == bytes) == IsUtf8(bytes));
}

bool CanBeNarrowed(const std::wstring& wide) {
    for (const wchar_t element : wide) {
        const auto point = static_cast<std::uint32_t>(element);
        const bool isSurrogate = point >= 0xD800 && point <= 0xDFFF;
        if ((isSurrogate && (point < 0xDC80 || point > 0xDCFF)) || point > 0x10FFFF) return false;
    }
    return true;
}

void CheckWide(const std::wstring& wide) {
    std::string narrow;
    bool refused = false;
    try {
        narrow = NarrowText(wide);
    } catch (const std::range_error&) {
        refused = true;
    }
    ZELKOR_REQUIRE(refused != CanBeNarrowed(wide));
    if (!refused) CheckBytes(narrow);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string bytes(reinterpret_cast<const char*>(data), size);
    CheckBytes(bytes);
    CheckMadeFit(bytes);
    std::wstring wide(size / sizeof(wchar_t), L'\0');
    if (!wide.empty()) std::memcpy(wide.data(), data, wide.size() * sizeof(wchar_t));
    CheckWide(wide);
    return 0;
}
