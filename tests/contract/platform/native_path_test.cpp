#include "interfaces/platform/native_path.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace Drive::Platform {

// PLAT-PATH-03
TEST(NativePath, EverythingElseIsNarrowed) {
    EXPECT_EQ(NativePath(L"\xE9\x20AC\xDC80"), "\xC3\xA9\xE2\x82\xAC\x80");
    EXPECT_THROW(NativePath(L"a\xD800"), std::range_error);
}

// PLAT-PATH-04
TEST(NativePath, APathThatHoldsANulIsRefused) {
    EXPECT_THROW(NativePath(std::wstring(L"harmless\0.exe", 13)), std::range_error);
}

// PLAT-PATH-11
TEST(SafeName, OnlyOneComponentIsAName) {
    EXPECT_TRUE(IsSafeName(L"a.txt"));
    EXPECT_TRUE(IsSafeName(L".hidden"));
    EXPECT_TRUE(
        IsSafeName(L"a\xF05C"
                   L"b"));
    EXPECT_FALSE(IsSafeName(L""));
    EXPECT_FALSE(IsSafeName(L"."));
    EXPECT_FALSE(IsSafeName(L".."));
    EXPECT_FALSE(IsSafeName(L"a/b"));
    EXPECT_FALSE(IsSafeName(L"a\\b"));
    EXPECT_FALSE(IsSafeName(std::wstring(L"a\0", 2)));
}

// PLAT-PATH-12
TEST(SafeRelativePath, ConsistsOfSafeNames) {
    EXPECT_TRUE(IsSafeRelativePath(L"a"));
    EXPECT_TRUE(IsSafeRelativePath(L"a\\b/c.txt"));
    EXPECT_TRUE(IsSafeRelativePath(L"a\\b\\"));
    EXPECT_FALSE(IsSafeRelativePath(L""));
    EXPECT_FALSE(IsSafeRelativePath(L"\\"));
    EXPECT_FALSE(IsSafeRelativePath(L"\\a"));
    EXPECT_FALSE(IsSafeRelativePath(L"/etc/passwd"));
    EXPECT_FALSE(IsSafeRelativePath(L"a\\\\b"));
    EXPECT_FALSE(IsSafeRelativePath(L"a\\b\\\\"));
    EXPECT_FALSE(IsSafeRelativePath(L"..\\a"));
    EXPECT_FALSE(IsSafeRelativePath(L"a\\..\\b"));
    EXPECT_FALSE(IsSafeRelativePath(L"a/.."));
    EXPECT_FALSE(IsSafeRelativePath(L"a\\.\\b"));
    EXPECT_FALSE(IsSafeRelativePath(std::wstring(L"a\\b\0", 4)));
}

}  // namespace Drive::Platform
