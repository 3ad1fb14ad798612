#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <filesystem>

#include "interfaces/platform/file_calls.h"
#include "tests/contract/platform/file_limits.h"
#include "tests/contract/platform/temporary_folder.h"

namespace Drive::Platform {

namespace {

class OpenFiles : public ::testing::Test {
protected:
    HANDLE Open(const std::string& name, DWORD access, DWORD disposition, DWORD flags = kFileFlagOverlapped) {
        return CreateFileW(folder.Engine(name).c_str(), access, kFileShareRead | kFileShareDelete, nullptr, disposition,
                           flags, nullptr);
    }

    std::string Read(HANDLE handle) {
        std::string content(100, '\0');
        const std::int64_t count = ReadAt(handle, 0, content.data(), content.size());
        return count < 0 ? "(failed)" : content.substr(0, static_cast<std::size_t>(count));
    }

    Testing::TemporaryFolder folder;
};

}  // namespace

// PLAT-OPEN-01
TEST_F(OpenFiles, Disposition3OpensWhatExists) {
    folder.Put("there", "content");
    const HANDLE handle = Open("there", kGenericRead, kOpenExisting);
    ASSERT_TRUE(IsOpenHandle(handle));
    EXPECT_EQ(Read(handle), "content");
    EXPECT_TRUE(CloseHandle(handle));
}

// PLAT-OPEN-02
TEST_F(OpenFiles, Disposition3MakesNothing) {
    EXPECT_EQ(Open("absent", kGenericRead | kGenericWrite, kOpenExisting), kInvalidHandle);
    EXPECT_EQ(folder.CountEntries(), 0u);
}

// PLAT-OPEN-03
TEST_F(OpenFiles, Disposition4MakesWhatIsAbsent) {
    const HANDLE handle = Open("new", kGenericRead | kGenericWrite, kOpenAlways);
    ASSERT_TRUE(IsOpenHandle(handle));
    EXPECT_TRUE(folder.Has("new"));
    EXPECT_EQ(SizeOf(handle), 0);
    CloseHandle(handle);
}

// PLAT-OPEN-04
TEST_F(OpenFiles, Disposition4NeverTruncates) {
    folder.Put("there", "kept");
    const HANDLE handle = Open("there", kGenericRead | kGenericWrite, kOpenAlways);
    ASSERT_TRUE(IsOpenHandle(handle));
    EXPECT_EQ(Read(handle), "kept");
    CloseHandle(handle);
    EXPECT_EQ(folder.Get("there"), "kept");
}

// PLAT-OPEN-05
TEST_F(OpenFiles, TheOtherDispositionsMeanWhatTheyMeanAtHome) {
    folder.Put("there", "content");
    EXPECT_EQ(Open("there", kGenericWrite, 1), kInvalidHandle);
    EXPECT_EQ(folder.Get("there"), "content");
    const HANDLE made = Open("made", kGenericWrite, 1);
    EXPECT_TRUE(CloseHandle(made));
    const HANDLE emptied = Open("there", kGenericWrite, 2);
    EXPECT_TRUE(CloseHandle(emptied));
    EXPECT_EQ(folder.Get("there"), "");
    EXPECT_EQ(Open("absent", kGenericWrite, 5), kInvalidHandle);
    EXPECT_FALSE(folder.Has("absent"));
}

// PLAT-OPEN-06
TEST_F(OpenFiles, AnUnknownDispositionIsRefused) {
    folder.Put("there", "content");
    EXPECT_EQ(Open("there", kGenericRead, 0), kInvalidHandle);
    EXPECT_EQ(Open("there", kGenericRead, 6), kInvalidHandle);
}

// PLAT-OPEN-07
TEST_F(OpenFiles, ReadAccessDoesNotWrite) {
    folder.Put("there", "content");
    const HANDLE handle = Open("there", kGenericRead, kOpenExisting);
    EXPECT_FALSE(WriteAt(handle, 0, "X", 1));
    CloseHandle(handle);
    EXPECT_EQ(folder.Get("there"), "content");
}

// PLAT-OPEN-08
TEST_F(OpenFiles, WriteAccessDoesNotRead) {
    folder.Put("there", "content");
    const HANDLE handle = Open("there", kGenericWrite, kOpenExisting);
    EXPECT_EQ(Read(handle), "(failed)");
    EXPECT_TRUE(WriteAt(handle, 0, "C", 1));
    CloseHandle(handle);
    EXPECT_EQ(folder.Get("there"), "Content");
}

// PLAT-OPEN-09
TEST_F(OpenFiles, ReadAccessWithTheAttributeBitReads) {
    folder.Put("there", "content");
    const HANDLE handle =
        CreateFileW(folder.Engine("there").c_str(), 0x80000080, 0, nullptr, kOpenExisting, 0x80000004, nullptr);
    EXPECT_EQ(Read(handle), "content");
    EXPECT_TRUE(CloseHandle(handle));
}

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

// PLAT-OPEN-12
TEST_F(OpenFiles, AttributeAccessToAnAbsentFileFails) {
    EXPECT_EQ(Open("absent", kFileReadAttributes, kOpenExisting), kInvalidHandle);
}

// PLAT-OPEN-13
TEST_F(OpenFiles, AttributeAccessWithDisposition4MakesTheFile) {
    EXPECT_TRUE(CloseHandle(Open("new", kFileReadAttributes, kOpenAlways)));
    EXPECT_TRUE(folder.Has("new"));
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

// PLAT-OPEN-15
TEST_F(OpenFiles, AFolderOpensOnlyWhenTheFlagsAskForOne) {
    std::filesystem::create_directory(folder.Native("sub"));
    EXPECT_EQ(Open("sub", kGenericRead, kOpenExisting), kInvalidHandle);
    EXPECT_EQ(Open("sub", kFileReadAttributes, kOpenExisting), kInvalidHandle);
    EXPECT_TRUE(CloseHandle(Open("sub", kFileReadAttributes, kOpenExisting, 0x02000000)));
}

// PLAT-OPEN-16
TEST_F(OpenFiles, APipeWithoutOtherEndHoldsNobodyUp) {
    ASSERT_EQ(::mkfifo(folder.Native("pipe").c_str(), 0600), 0);
    const HANDLE handle = Open("pipe", kGenericRead, kOpenExisting);
    EXPECT_EQ(Read(handle), "(failed)");
    CloseHandle(handle);
}

// PLAT-OPEN-17
TEST_F(OpenFiles, ABadPathIsAnInvalidHandle) {
    EXPECT_EQ(CreateFileW(nullptr, kGenericRead, 0, nullptr, kOpenAlways, 0, nullptr), kInvalidHandle);
    EXPECT_EQ(CreateFileW(L"", kGenericRead, 0, nullptr, kOpenAlways, 0, nullptr), kInvalidHandle);
    const std::wstring unnarrowable = folder.Engine("x") + L'\xD800';
    EXPECT_EQ(CreateFileW(unnarrowable.c_str(), kGenericWrite, 0, nullptr, kOpenAlways, 0, nullptr), kInvalidHandle);
    EXPECT_EQ(Open("no folder/new", kGenericWrite, kOpenAlways), kInvalidHandle);
    EXPECT_EQ(folder.CountEntries(), 0u);
}

// PLAT-OPEN-18
TEST_F(OpenFiles, BothSeparatorsAndOddNamesReachTheSameFile) {
    std::filesystem::create_directory(folder.Native("sub"));
    folder.Put("sub/odd\\name\xFF", "content");
    const std::wstring slashes = folder.Engine("sub") + L"/odd\xF05Cname\xDCFF";
    const std::wstring backslashes = folder.Engine("sub") + L"\\odd\xF05Cname\xDCFF";
    for (const std::wstring& path : {slashes, backslashes}) {
        const HANDLE handle = CreateFileW(path.c_str(), kGenericRead, 1, nullptr, kOpenExisting, 0, nullptr);
        EXPECT_EQ(Read(handle), "content");
        CloseHandle(handle);
    }
}

// PLAT-OPEN-19
TEST_F(OpenFiles, AFailedOpenLeavesNoHandleBehind) {
    const std::size_t before = OpenHandleCount();
    Open("absent", kGenericRead, kOpenExisting);
    std::filesystem::create_directory(folder.Native("sub"));
    Open("sub", kGenericRead, kOpenExisting);
    EXPECT_EQ(OpenHandleCount(), before);
}

}  // namespace Drive::Platform
