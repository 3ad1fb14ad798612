#include <gtest/gtest.h>

#include <iterator>
#include <random>
#include <string>

#include "interfaces/platform/native_path.h"

namespace Drive::Platform {

// PLAT-PATH-01
TEST(NativePath, BothSeparatorsBecomeTheNativeOne) {
    EXPECT_EQ(NativePath(L"\\home\\me/Cloud\\a b.txt"), "/home/me/Cloud/a b.txt");
    EXPECT_EQ(NativePath(L"folder\\"), "folder/");
    EXPECT_EQ(NativePath(L""), "");
}

// PLAT-PATH-02
TEST(NativePath, TheMappedCharacterIsABackslashOfTheName) {
    EXPECT_EQ(NativePath(L"a\xF05C"
                         L"b\\c"),
              "a\\b/c");
}

// PLAT-PATH-05
TEST(NativePath, AnyNativeNameComesBack) {
    std::mt19937 random(7);
    const std::string pieces[] = {"a", "\\", "\xEF\x81\x9C", "\xEF", "\x81", "\x9C", "\xC3\xA9", "\x80", " ", "."};
    for (int round = 0; round < 20000; ++round) {
        std::string name;
        for (unsigned count = random() % 8 + 1; count > 0; --count) name += pieces[random() % std::size(pieces)];
        ASSERT_EQ(NativePath(EngineName(name)), name);
    }
}

// PLAT-PATH-06
TEST(NativePath, AnySingleByteComesBackAsAName) {
    for (unsigned value = 1; value < 256; ++value) {
        if (value == '/') continue;
        const std::string name(1, static_cast<char>(value));
        EXPECT_EQ(NativePath(EngineName(name)), name) << value;
    }
}

// PLAT-PATH-07
TEST(EngineName, ABackslashIsMappedAndARealMappedCharacterIsCarriedAsItsBytes) {
    EXPECT_EQ(EngineName("a\\b"),
              L"a\xF05C"
              L"b");
    EXPECT_EQ(EngineName("a\xEF\x81\x9C"
                         "b"),
              L"a\xDCEF\xDC81\xDC9C"
              L"b");
    EXPECT_NE(EngineName("\\"), EngineName("\xEF\x81\x9C"));
}

// PLAT-PATH-08
TEST(EngineName, HoldsNoSeparator) {
    EXPECT_TRUE(IsSafeName(EngineName("a\\..\\b")));
    EXPECT_EQ(EngineName("..\\").find(L'\\'), std::wstring::npos);
}

// PLAT-PATH-09
TEST(EnginePath, JoinsTheComponentsByBackslash) {
    EXPECT_EQ(EnginePath("/home/me/x\\y/z"), L"\\home\\me\\x\xF05Cy\\z");
    EXPECT_EQ(EnginePath("relative/name"), L"relative\\name");
    EXPECT_EQ(EnginePath("/"), L"\\");
    EXPECT_EQ(EnginePath("/folder/"), L"\\folder\\");
    EXPECT_EQ(EnginePath(""), L"");
}

// PLAT-PATH-10
TEST(EnginePath, IsUndoneByNativePath) {
    const std::string path = "/srv/odd\\name/\xEF\x81\x9C/\xFF\xC3\xA9/";
    EXPECT_EQ(NativePath(EnginePath(path)), path);
}

// PLAT-PATH-19
TEST(SafeName, AnyCharacterButSeparatorsMayStandInOne) {
    for (const wchar_t* name : {L"...", L" ", L"a:b", L"a*?", L"nul", L"\x01\n", L"a.", L"a "}) {
        EXPECT_TRUE(IsSafeName(name)) << NativePath(name);
    }
}

// PLAT-PATH-20
TEST(SafeName, ANameOfOddBytesIsOneAsWell) { EXPECT_TRUE(IsSafeName(EngineName("odd\\name\xFF"))); }

}  // namespace Drive::Platform
