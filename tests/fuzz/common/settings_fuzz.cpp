// Any content of a settings file is read without harm: a value is one line of the file, and an absent key is empty.
#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <string>

#include "interfaces/common/ini_file_helper.h"
#include "tests/fuzz/platform/require.h"

namespace {

/// One file in memory for the whole run.
int File() {
    static const int file = memfd_create("settings", MFD_CLOEXEC);
    return file;
}

std::string Read(const wchar_t* key) {
    static const std::wstring path = L"/proc/self/fd/" + std::to_wstring(File());
    return Drive::Common::IniFileHelper(path.c_str()).ReadIniValueByKeyTypeString(key);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    ZELKOR_REQUIRE(ftruncate(File(), 0) == 0);
    ZELKOR_REQUIRE(pwrite(File(), data, size, 0) == static_cast<ssize_t>(size));
    const std::string content(reinterpret_cast<const char*>(data), size);
    for (const wchar_t* key : {L"key", L"k", L"MacAddressEncrypt"}) {
        const std::string value = Read(key);
        ZELKOR_REQUIRE(value.find('\n') == std::string::npos);
        ZELKOR_REQUIRE(value.size() <= content.size());
        ZELKOR_REQUIRE(content.find(value) != std::string::npos);
        ZELKOR_REQUIRE(Read(key) == value);
    }
    ZELKOR_REQUIRE(Read(L"a key that is in no file, for it holds an = sign").empty());
    return 0;
}
