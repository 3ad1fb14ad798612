#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <vector>

#include "interfaces/platform/file_calls.h"
#include "tests/contract/platform/file_limits.h"
#include "tests/contract/platform/open_files.h"

namespace Drive::Platform {

// PLAT-OPEN-10
TEST_F(OpenFiles, AttributeAccessNeedsNoRightToRead) {
    folder.Put("secret", "content");
    std::filesystem::permissions(folder.Native("secret"), std::filesystem::perms::none);
    const Testing::OrdinaryUser ordinary;
    EXPECT_EQ(Open("secret", kGenericRead, kOpenExisting), kInvalidHandle);
    const HANDLE handle = Open("secret", kFileReadAttributes, kOpenExisting);
    ASSERT_TRUE(IsOpenHandle(handle));
    EXPECT_EQ(SizeOf(handle), 7);
    EXPECT_EQ(Read(handle), "(failed)");
    EXPECT_TRUE(CloseHandle(handle));
}

// PLAT-OPEN-11
TEST_F(OpenFiles, AttributeAccessOpensWhatNobodyCanRead) {
    const int socket = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    folder.Native("socket").string().copy(address.sun_path, sizeof(address.sun_path) - 1);
    ASSERT_EQ(::bind(socket, reinterpret_cast<sockaddr*>(&address), sizeof(address)), 0);
    EXPECT_TRUE(CloseHandle(Open("socket", kFileReadAttributes, kOpenExisting)));
    ::close(socket);
}

// PLAT-OPEN-14
TEST_F(OpenFiles, ShareModesDoNotKeepOthersOut) {
    folder.Put("there", "content");
    const HANDLE first =
        CreateFileW(folder.Engine("there").c_str(), kGenericRead, 0, nullptr, kOpenExisting, 0, nullptr);
    const HANDLE second = Open("there", kGenericRead | kGenericWrite, kOpenExisting);
    EXPECT_TRUE(IsOpenHandle(first));
    EXPECT_TRUE(IsOpenHandle(second));
    CloseHandle(first);
    CloseHandle(second);
}

// PLAT-OPEN-16
TEST_F(OpenFiles, APipeWithoutOtherEndHoldsNobodyUp) {
    ASSERT_EQ(::mkfifo(folder.Native("pipe").c_str(), 0600), 0);
    const HANDLE handle = Open("pipe", kGenericRead, kOpenExisting);
    EXPECT_EQ(Read(handle), "(failed)");
    CloseHandle(handle);
}

// PLAT-OPEN-20
TEST_F(OpenFiles, ANameWithABackslashAndOddBytesReachesItsFile) {
    folder.Put("odd\\name\xC3\xA9", "content");
    const HANDLE handle = Open("odd\\name\xC3\xA9", kGenericRead, kOpenExisting);
    EXPECT_EQ(Read(handle), "content");
    CloseHandle(handle);
    const std::wstring undecodable = folder.Engine("odd") + L"\xDCFF\xF05C";
    const HANDLE made = CreateFileW(undecodable.c_str(), kGenericWrite, 1, nullptr, kOpenAlways, 0, nullptr);
    EXPECT_TRUE(CloseHandle(made));
    EXPECT_TRUE(std::filesystem::exists(folder.Native("").string() + "odd\xFF\\"));
}

// PLAT-OPEN-26
TEST_F(OpenFiles, NamesThatTheMappingCouldConfuseAreDifferentFiles) {
    const std::string backslash = "\\", mapped = "\xEF\x81\x9C";
    const std::vector<std::string> names = {
        backslash,       mapped,     backslash + mapped, mapped + backslash,        backslash + backslash,
        mapped + mapped, "\xEF\x81", "\x81\x9C",         mapped + "\xEF\\\x81\x9C", "..\\",
        "\\.."};
    for (const std::string& name : names) {
        const HANDLE handle = Open(name, kGenericWrite, 1);
        EXPECT_TRUE(WriteAt(handle, 0, name.data(), name.size())) << name;
        EXPECT_TRUE(CloseHandle(handle));
    }
    EXPECT_EQ(folder.CountEntries(), names.size());
    // As a listing of the folder gives them.
    for (const auto& entry : std::filesystem::directory_iterator(folder.Native(""))) {
        const std::string name = entry.path().filename().string();
        EXPECT_EQ(folder.Get(name), name);
        const HANDLE handle = Open(name, kGenericRead, kOpenExisting);
        EXPECT_EQ(Read(handle), name);
        EXPECT_TRUE(CloseHandle(handle));
    }
}

}  // namespace Drive::Platform
