#include "interfaces/platform/text.h"

#include <gtest/gtest.h>

#include <random>
#include <stdexcept>

namespace Drive::Platform {

namespace {

/// One character: a pair of halves where an element of wide text has 16 bits and the character has more.
std::wstring One(std::uint32_t point) {
    if (sizeof(wchar_t) > 2 || point < 0x10000) return std::wstring(1, static_cast<wchar_t>(point));
    const std::uint32_t above = point - 0x10000;
    return {static_cast<wchar_t>(0xD800 + (above >> 10)), static_cast<wchar_t>(0xDC00 + (above & 0x3FF))};
}

bool IsSurrogate(std::uint32_t point) { return point >= 0xD800 && point <= 0xDFFF; }

}  // namespace

// PLAT-TEXT-01
TEST(Text, EmptyTextStaysEmptyBothWays) {
    EXPECT_EQ(NarrowText(L""), "");
    EXPECT_EQ(WidenText(""), L"");
}

// PLAT-TEXT-02
TEST(Text, EachLengthOfSequenceIsWrittenAsUtf8) {
    EXPECT_EQ(NarrowText(L"A"), "A");
    EXPECT_EQ(NarrowText(One(0xE9)), "\xC3\xA9");
    EXPECT_EQ(NarrowText(One(0x20AC)), "\xE2\x82\xAC");
    EXPECT_EQ(NarrowText(One(0x1F600)), "\xF0\x9F\x98\x80");
}

// PLAT-TEXT-03
TEST(Text, ANulIsAnOrdinaryCharacter) {
    EXPECT_EQ(NarrowText(std::wstring(L"a\0b", 3)), std::string("a\0b", 3));
    EXPECT_EQ(WidenText(std::string("a\0b", 3)), std::wstring(L"a\0b", 3));
}

// PLAT-TEXT-04
TEST(Text, EveryCharacterComesBack) {
    for (std::uint32_t point = 0; point <= 0x10FFFF; ++point) {
        if (IsSurrogate(point)) continue;
        ASSERT_EQ(WidenText(NarrowText(One(point))), One(point)) << std::hex << point;
    }
}

// PLAT-TEXT-05
TEST(Text, AnUndecodableByteBecomesItsSurrogateAndComesBack) {
    for (unsigned value = 0x80; value <= 0xFF; ++value) {
        const std::string byte(1, static_cast<char>(value));
        EXPECT_EQ(WidenText(byte), One(0xDC00 + value)) << value;
        EXPECT_EQ(NarrowText(One(0xDC00 + value)), byte) << value;
    }
}

// PLAT-TEXT-06
TEST(Text, AnyOtherSurrogateCannotBeNarrowed) {
    for (std::uint32_t point = 0xD800; point <= 0xDFFF; ++point) {
        if (point >= 0xDC80 && point <= 0xDCFF) continue;
        ASSERT_THROW(NarrowText(L"name" + One(point)), std::range_error) << std::hex << point;
    }
}

// PLAT-TEXT-08
TEST(Text, WhatOnlyLooksLikeUtf8IsCarriedByteByByte) {
    // Overlong forms, a written-out surrogate, a value above the last character, and sequences cut short.
    EXPECT_EQ(WidenText("\xC0\xAF"), One(0xDCC0) + One(0xDCAF));
    EXPECT_EQ(WidenText("\xE0\x80\xAF"), One(0xDCE0) + One(0xDC80) + One(0xDCAF));
    EXPECT_EQ(WidenText("\xF0\x80\x80\xAF"), One(0xDCF0) + One(0xDC80) + One(0xDC80) + One(0xDCAF));
    EXPECT_EQ(WidenText("\xED\xA0\x80"), One(0xDCED) + One(0xDCA0) + One(0xDC80));
    EXPECT_EQ(WidenText("\xF4\x90\x80\x80"), One(0xDCF4) + One(0xDC90) + One(0xDC80) + One(0xDC80));
    EXPECT_EQ(WidenText("\xF8"), One(0xDCF8));
    EXPECT_EQ(WidenText("\xE2\x82"), One(0xDCE2) + One(0xDC82));
    EXPECT_EQ(WidenText("\xE2\x82"
                        "A"),
              One(0xDCE2) + One(0xDC82) + L"A");
    EXPECT_EQ(WidenText("\x80"
                        "A\xC3\xA9"),
              One(0xDC80) + L"A" + One(0xE9));
}

// PLAT-TEXT-09
TEST(Text, EveryPairOfBytesComesBack) {
    for (unsigned first = 0; first < 256; ++first) {
        for (unsigned second = 0; second < 256; ++second) {
            const std::string bytes{static_cast<char>(first), static_cast<char>(second)};
            ASSERT_EQ(NarrowText(WidenText(bytes)), bytes) << first << ' ' << second;
        }
    }
}

// PLAT-TEXT-10
TEST(Text, AnyBytesComeBack) {
    std::mt19937 random(20240501);
    for (int round = 0; round < 20000; ++round) {
        std::string bytes(random() % 12, '\0');
        // Mostly bytes that begin or continue a sequence, where mistakes would be.
        for (char& byte : bytes) byte = static_cast<char>(random() % 4 == 0 ? random() % 128 : 128 + random() % 128);
        ASSERT_EQ(NarrowText(WidenText(bytes)), bytes);
    }
}

}  // namespace Drive::Platform
