#include "interfaces/platform/native_path.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <optional>
#include <random>
#include <stdexcept>

#include "interfaces/platform/text.h"

namespace Drive::Platform {

namespace {

/// Sets or unsets a variable of the environment and puts the earlier value back.
class Variable {
public:
    Variable(const char* variable, const char* value) : name(variable) {
        if (const char* earlier = ::getenv(name)) before = earlier;
        Put(value);
    }
    ~Variable() { Put(before ? before->c_str() : nullptr); }
    Variable(const Variable&) = delete;
    Variable& operator=(const Variable&) = delete;

    void Put(const char* value) {
        if (value != nullptr) {
            ::setenv(name, value, 1);
        } else {
            ::unsetenv(name);
        }
    }

private:
    const char* const name;
    std::optional<std::string> before;
};

}  // namespace

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

// PLAT-PATH-03
TEST(NativePath, EverythingElseIsNarrowed) {
    EXPECT_EQ(NativePath(L"\xE9\x20AC\xDC80"), "\xC3\xA9\xE2\x82\xAC\x80");
    EXPECT_THROW(NativePath(L"a\xD800"), std::range_error);
}

// PLAT-PATH-04
TEST(NativePath, APathThatHoldsANulIsRefused) {
    EXPECT_THROW(NativePath(std::wstring(L"harmless\0.exe", 13)), std::range_error);
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

// PLAT-PATH-11
TEST(SafeName, OnlyOneComponentIsAName) {
    EXPECT_TRUE(IsSafeName(L"a.txt"));
    EXPECT_TRUE(IsSafeName(L"..."));
    EXPECT_TRUE(IsSafeName(L".hidden"));
    EXPECT_TRUE(IsSafeName(L" "));
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

// PLAT-PATH-13
TEST(LocalAppDataFolder, IsTheOneThatXdgNames) {
    const Variable data("XDG_DATA_HOME", "/var/data/me");
    const Variable home("HOME", "/home/me");
    EXPECT_EQ(LocalAppDataFolder(), L"\\var\\data\\me");
}

// PLAT-PATH-14
TEST(LocalAppDataFolder, FallsBackToTheHomeFolder) {
    Variable data("XDG_DATA_HOME", nullptr);
    const Variable home("HOME", "/home/me");
    EXPECT_EQ(LocalAppDataFolder(), L"\\home\\me\\.local\\share");
    data.Put("");
    EXPECT_EQ(LocalAppDataFolder(), L"\\home\\me\\.local\\share");
}

// PLAT-PATH-15
TEST(LocalAppDataFolder, IgnoresARelativePath) {
    const Variable data("XDG_DATA_HOME", "not/absolute");
    const Variable home("HOME", "/home/me");
    EXPECT_EQ(LocalAppDataFolder(), L"\\home\\me\\.local\\share");
}

// PLAT-PATH-16
TEST(LocalAppDataFolder, HasNoClosingSeparator) {
    const Variable data("XDG_DATA_HOME", "/var/data//");
    EXPECT_EQ(LocalAppDataFolder(), L"\\var\\data");
}

// PLAT-PATH-17
TEST(LocalAppDataFolder, IsWrittenAsTheEngineWritesPaths) {
    const Variable data("XDG_DATA_HOME", "/odd\\name\xFF");
    EXPECT_EQ(LocalAppDataFolder(), L"\\odd\xF05Cname\xDCFF");
}

// PLAT-PATH-18
TEST(LocalAppDataFolder, IsEmptyWhenNothingIsKnown) {
    const Variable data("XDG_DATA_HOME", nullptr);
    const Variable home("HOME", nullptr);
    EXPECT_EQ(LocalAppDataFolder(), L"");
}

}  // namespace Drive::Platform
