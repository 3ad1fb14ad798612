#include "interfaces/logging/type_convert.h"

#include <gtest/gtest.h>

#include <random>
#include <stdexcept>

namespace Drive {

// LOG-CONVERT-01
TEST(TypeConvert, NarrowTextIsUtf8) {
    EXPECT_EQ(TypeConvert::WStringToString(L"\xE9\x20AC\x1F600"), "\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80");
    EXPECT_EQ(TypeConvert::StringToWString("\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80"), L"\xE9\x20AC\x1F600");
}

// LOG-CONVERT-02
TEST(TypeConvert, EveryNarrowTextComesBack) {
    std::mt19937 random(11);
    for (int round = 0; round < 20000; ++round) {
        std::string text(random() % 10, '\0');
        for (char& byte : text) byte = static_cast<char>(random() % 256);
        ASSERT_EQ(TypeConvert::WStringToString(TypeConvert::StringToWString(text)), text);
    }
}

// LOG-CONVERT-03
TEST(TypeConvert, WhatIsNoCharacterCannotBeNarrowed) {
    EXPECT_THROW(TypeConvert::WStringToString(L"\xD800"), std::range_error);
    EXPECT_THROW(TypeConvert::WStringToString(L"\xDC7F"), std::range_error);
    EXPECT_THROW(TypeConvert::WStringToString(std::wstring(1, static_cast<wchar_t>(0x110000))), std::range_error);
    EXPECT_EQ(TypeConvert::WStringToString(L"\xDC80"), "\x80");
}

// LOG-CONVERT-04
TEST(TypeConvert, WideningNeverThrows) {
    EXPECT_EQ(TypeConvert::StringToWString("\xFF"
                                           "a\xC3"),
              L"\xDCFF"
              L"a\xDCC3");
}

// LOG-CONVERT-05
TEST(TypeConvert, Utf82UnicodeIsTheIdentityForUtf8) {
    const std::string text("Error:\0\n caf\xC3\xA9 \xF0\x9F\x98\x80", 20);
    EXPECT_EQ(TypeConvert::UTF82Unicode(text), text);
    EXPECT_EQ(TypeConvert::UTF82Unicode(""), "");
}

// LOG-CONVERT-06
TEST(TypeConvert, Utf82UnicodeReplacesEachBrokenByte) {
    const std::string replacement = "\xEF\xBF\xBD";
    EXPECT_EQ(TypeConvert::UTF82Unicode("a\xFF"
                                        "b\xC3"),
              "a" + replacement + "b" + replacement);
    EXPECT_EQ(TypeConvert::UTF82Unicode("\xED\xA0\x80"), replacement + replacement + replacement);
}

}  // namespace Drive
