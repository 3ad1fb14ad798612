// A native name survives the way into the engine and back; a path that passes as safe stays below its root.
#include <cstdint>
#include <filesystem>
#include <stdexcept>
#include <string>

#include "interfaces/platform/native_path.h"
#include "interfaces/platform/text.h"
#include "tests/fuzz/platform/require.h"

namespace {

using namespace Drive::Platform;

void CheckName(std::string name) {
    for (char& byte : name) {
        if (byte == '\0' || byte == '/') byte = '\\';
    }
    const std::wstring engine = EngineName(name);
    ZELKOR_REQUIRE(engine.find_first_of(L"\\/") == std::wstring::npos);
    ZELKOR_REQUIRE(NativePath(engine) == name);
    ZELKOR_REQUIRE(IsSafeName(engine) == (!name.empty() && name != "." && name != ".."));
}

void CheckNativePath(std::string path) {
    for (char& byte : path) {
        if (byte == '\0') byte = '/';
    }
    ZELKOR_REQUIRE(NativePath(EnginePath(path)) == path);
}

void CheckHostilePath(const std::wstring& path) {
    std::string native;
    try {
        native = NativePath(path);
    } catch (const std::range_error&) {
        return;
    }
    ZELKOR_REQUIRE(native.find('\0') == std::string::npos);
    if (!IsSafeRelativePath(path)) return;
    const std::filesystem::path inside(native);
    ZELKOR_REQUIRE(!inside.empty() && !inside.is_absolute());
    for (const auto& component : inside) ZELKOR_REQUIRE(component != ".." && component != ".");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string bytes(reinterpret_cast<const char*>(data), size);
    CheckName(bytes);
    CheckNativePath(bytes);
    CheckHostilePath(WidenText(bytes));
    return 0;
}
