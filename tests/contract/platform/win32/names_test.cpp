#include <gtest/gtest.h>

#include "interfaces/platform/native_path.h"
#include "interfaces/platform/text.h"

namespace Drive::Platform {

// PLAT-HOME-19
TEST(NativePath, KeepsTheSeparatorOfTheHomePlatform) {
    EXPECT_EQ(NativePath(L"C:\\Users/me\\a b.txt"), "C:\\Users\\me\\a b.txt");
    EXPECT_EQ(EnginePath("C:/Users\\me/\xC3\xA9"), L"C:\\Users\\me\\\xE9");
    EXPECT_EQ(EngineName("\xC3\xA9\xFF"), L"\xE9\xDCFF");
    EXPECT_EQ(NativePath(L"\xF05C"), "\xEF\x81\x9C");
}

// PLAT-HOME-20
TEST(SafeName, WhatTheSystemTakesForSomethingElseIsNoName) {
    for (const wchar_t* name : {L"a:b", L"a*", L"a?", L"\"a\"", L"<a", L"a>", L"a|b", L"a\x01", L"a\n", L"a.", L"a ",
                                L"...", L" ", L".", L".."}) {
        EXPECT_FALSE(IsSafeName(name)) << NarrowText(name);
    }
    for (const wchar_t* name : {L"a.b", L" a", L".a", L"a b", L"\x20AC", L"\xD83D\xDE00"}) {
        EXPECT_TRUE(IsSafeName(name)) << NarrowText(name);
    }
    EXPECT_FALSE(IsSafeRelativePath(L"folder\\file:stream"));
}

// PLAT-HOME-21
TEST(SafeName, DevicesAreNoNames) {
    for (const wchar_t* name :
         {L"con", L"NUL", L"nul.txt", L"Aux .log", L"prn", L"COM1", L"lpt9.a.b", L"com\xB9", L"CONIN$", L"conout$"}) {
        EXPECT_FALSE(IsSafeName(name)) << NarrowText(name);
    }
    for (const wchar_t* name : {L"console", L"nul1", L"COM0", L"COM10", L"lpt", L"a.nul", L"comx"}) {
        EXPECT_TRUE(IsSafeName(name)) << NarrowText(name);
    }
}

// PLAT-HOME-22
TEST(WideText, ACharacterAboveTheFirst65536IsAPairAndHalfOfOneCannotBeNarrowed) {
    EXPECT_EQ(WidenText("\xF0\x9F\x92\x80"), L"\xD83D\xDC80");
    EXPECT_EQ(NarrowText(L"\xD83D\xDC80"), "\xF0\x9F\x92\x80");
    EXPECT_THROW(NarrowText(L"\xD83D"), std::range_error);
    EXPECT_THROW(NarrowText(L"\xDC00\xD83D"), std::range_error);
}

}  // namespace Drive::Platform
