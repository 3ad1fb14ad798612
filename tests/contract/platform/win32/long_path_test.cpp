#include "platform/win32/long_path.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <filesystem>

#include "interfaces/platform/file_calls.h"
#include "tests/contract/platform/temporary_folder.h"

namespace Drive::Platform {

namespace {

/// Writes through the platform's calls and tells whether the same path reads it again.
bool HoldsContent(const std::wstring& path, const std::string& content) {
    const HANDLE writer = CreateFileW(path.c_str(), kGenericWrite, 0, nullptr, kOpenAlways, 0, nullptr);
    const bool written = WriteAt(writer, 0, content.data(), content.size());
    CloseHandle(writer);
    std::string back(content.size(), '\0');
    const HANDLE reader = CreateFileW(path.c_str(), kGenericRead, 0, nullptr, kOpenExisting, 0, nullptr);
    const bool read = ReadAt(reader, 0, back.data(), back.size()) == static_cast<std::int64_t>(back.size());
    CloseHandle(reader);
    return written && read && back == content;
}

}  // namespace

// PLAT-HOME-12
TEST(LongPath, AnAbsolutePathStandsBehindThePrefix) {
    EXPECT_EQ(LongPath(L"C:\\folder/name"), L"\\\\?\\C:\\folder\\name");
    EXPECT_EQ(LongPath(L"C:\\folder\\\\.\\name\\"), L"\\\\?\\C:\\folder\\name\\");
    EXPECT_EQ(LongPath(L"c:/"), L"\\\\?\\c:\\");
    EXPECT_EQ(LongPath(L"C:\\a\\..\\..\\b"), L"\\\\?\\C:\\b");
    EXPECT_EQ(LongPath(L"\\\\server\\share\\..\\..\\name"), L"\\\\?\\UNC\\server\\share\\name");
}

// PLAT-HOME-13
TEST(LongPath, APathThatIsExactAlreadyOnlyGetsItsSeparators) {
    EXPECT_EQ(LongPath(L"//?/C:/a."), L"\\\\?\\C:\\a.");
    EXPECT_EQ(LongPath(L"\\\\.\\NUL"), L"\\\\.\\NUL");
}

// PLAT-HOME-14
TEST(LongPath, ARelativePathBeginsWhereTheProcessStands) {
    wchar_t here[1024] = {};
    ASSERT_GT(::GetCurrentDirectoryW(1024, here), 0u);
    const std::wstring folder = LongPath(here);
    EXPECT_EQ(LongPath(L"name"), folder + L"\\name");
    EXPECT_EQ(LongPath(L".\\name"), folder + L"\\name");
    EXPECT_EQ(LongPath((std::wstring(here).substr(0, 2) + L"name").c_str()), folder + L"\\name");
    EXPECT_EQ(LongPath(L"\\name"), folder.substr(0, 6) + L"\\name");
}

// PLAT-HOME-15
TEST(LongPath, NoPathAndAStreamOfAnotherFileAreNone) {
    EXPECT_EQ(LongPath(nullptr), L"");
    EXPECT_EQ(LongPath(L""), L"");
    EXPECT_EQ(LongPath(L"C:\\folder\\name:stream"), L"");
    EXPECT_EQ(LongPath(L"name:stream"), L"");
    EXPECT_EQ(LongPath(L"C:\\C:\\name"), L"");
}

// PLAT-HOME-16
TEST(LongPath, AFileBeyond260CharactersIsWrittenReadAndCopied) {
    const Testing::TemporaryFolder folder;
    std::wstring deep = LongPath(folder.Engine("").c_str());
    for (int level = 0; level < 6; ++level) {
        deep += std::wstring(100, static_cast<wchar_t>(L'a' + level)) + L"\\";
        ASSERT_TRUE(::CreateDirectoryW(deep.c_str(), nullptr));
    }
    const std::wstring plain = deep.substr(4) + L"name";
    ASSERT_GT(plain.size(), 600u);
    EXPECT_TRUE(HoldsContent(plain, "far down"));
    EXPECT_TRUE(CopyFileW(plain.c_str(), (plain + L" copy").c_str(), 1));
    EXPECT_TRUE(HoldsContent(plain + L" copy", "far down"));
    DiskBytes free = 0;
    EXPECT_TRUE(GetDiskFreeSpaceExW(deep.substr(4).c_str(), &free, nullptr, nullptr));
    EXPECT_GT(free, 0u);
}

// PLAT-HOME-17
TEST(LongPath, NamesThatDifferOnlyInWhatTheSystemDropsAreDifferentFiles) {
    const Testing::TemporaryFolder folder;
    for (const char* name : {"a", "a.", "a ", "nul", "com1.txt"}) {
        EXPECT_TRUE(HoldsContent(folder.Engine(name), std::string("in ") + name)) << name;
    }
    for (const char* name : {"a", "a.", "a ", "nul", "com1.txt"}) {
        EXPECT_TRUE(HoldsContent(folder.Engine(name), std::string("in ") + name)) << name;
    }
    EXPECT_EQ(folder.CountEntries(), 5u);
    for (const char* name : {"a.", "a ", "nul", "com1.txt"})
        ::DeleteFileW(LongPath(folder.Engine(name).c_str()).c_str());
}

// PLAT-HOME-18
TEST(LongPath, AStreamOfAnotherFileIsNeitherOpenedNorCopied) {
    const Testing::TemporaryFolder folder;
    folder.Put("file", "content");
    const std::wstring stream = folder.Engine("file") + L":hidden";
    EXPECT_EQ(CreateFileW(stream.c_str(), kGenericWrite, 7, nullptr, kOpenAlways, 0, nullptr), kInvalidHandle);
    EXPECT_FALSE(CopyFileW(folder.Engine("file").c_str(), stream.c_str(), 0));
    EXPECT_EQ(folder.CountEntries(), 1u);
}

}  // namespace Drive::Platform
