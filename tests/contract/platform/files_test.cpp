#include <gtest/gtest.h>

#include <filesystem>

#include "interfaces/platform/file_calls.h"
#include "tests/contract/platform/open_files.h"

namespace Drive::Platform {

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

// PLAT-OPEN-12
TEST_F(OpenFiles, AttributeAccessToAnAbsentFileFails) {
    EXPECT_EQ(Open("absent", kFileReadAttributes, kOpenExisting), kInvalidHandle);
}

// PLAT-OPEN-13
TEST_F(OpenFiles, AttributeAccessWithDisposition4MakesTheFile) {
    EXPECT_TRUE(CloseHandle(Open("new", kFileReadAttributes, kOpenAlways)));
    EXPECT_TRUE(folder.Has("new"));
}

// PLAT-OPEN-15
TEST_F(OpenFiles, AFolderOpensOnlyWhenTheFlagsAskForOne) {
    std::filesystem::create_directory(folder.Native("sub"));
    EXPECT_EQ(Open("sub", kGenericRead, kOpenExisting), kInvalidHandle);
    EXPECT_EQ(Open("sub", kFileReadAttributes, kOpenExisting), kInvalidHandle);
    EXPECT_TRUE(CloseHandle(Open("sub", kFileReadAttributes, kOpenExisting, 0x02000000)));
}

// PLAT-OPEN-21
TEST_F(OpenFiles, WhereAFolderIsNoFileIsMadeOpenedOrEmptied) {
    std::filesystem::create_directory(folder.Native("sub"));
    for (const DWORD access : {kGenericRead, kGenericWrite, kFileReadAttributes}) {
        for (const DWORD disposition : {1u, 2u, 3u, 4u, 5u}) {
            EXPECT_EQ(Open("sub", access, disposition), kInvalidHandle) << access << ' ' << disposition;
        }
    }
    EXPECT_TRUE(std::filesystem::is_directory(folder.Native("sub")));
    EXPECT_EQ(folder.CountEntries(), 1u);
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
    folder.Put("sub/odd \xE2\x82\xAC name", "content");
    const std::wstring slashes = folder.Engine("sub") + L"/odd \x20AC name";
    const std::wstring backslashes = folder.Engine("sub") + L"\\odd \x20AC name";
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
