#include <gtest/gtest.h>

#include <array>

#include "interfaces/common/drive_functions.h"

namespace Drive {

namespace {

std::array<unsigned char, 6> Decoded(const std::string& text, std::size_t length) {
    std::array<unsigned char, 6> bytes;
    bytes.fill(0xEE);
    HexstrToByte(text, bytes.data(), length);
    return bytes;
}

using Room = std::array<unsigned char, 6>;

// COM-CODE-12
TEST(HexadecimalText, BecomesBytesInEitherCase) {
    EXPECT_EQ(Decoded("00aBfF7f", 8), (Room{0x00, 0xAB, 0xFF, 0x7F, 0xEE, 0xEE}));
}

// COM-CODE-13
TEST(HexadecimalText, WritesHalfTheLengthAndNoByteMore) {
    EXPECT_EQ(Decoded("0102030405", 6), (Room{1, 2, 3, 0xEE, 0xEE, 0xEE}));
}

// COM-CODE-14
TEST(HexadecimalText, OddLengthLeavesTheLastCharacterOut) {
    EXPECT_EQ(Decoded("01020", 5), (Room{1, 2, 0xEE, 0xEE, 0xEE, 0xEE}));
}

// COM-CODE-15
TEST(HexadecimalText, ThatIsShorterThanTheLengthIsFilledWithZero) {
    EXPECT_EQ(Decoded("0102", 12), (Room{1, 2, 0, 0, 0, 0}));
    EXPECT_EQ(Decoded("", 12), (Room{0, 0, 0, 0, 0, 0}));
}

// COM-CODE-16
TEST(HexadecimalText, MissingHalfOfAByteIsZero) { EXPECT_EQ(Decoded("01A", 6), (Room{1, 0xA0, 0, 0xEE, 0xEE, 0xEE})); }

// COM-CODE-17
TEST(HexadecimalText, EndsAtTheFirstForeignCharacter) {
    EXPECT_EQ(Decoded("01g203", 6), (Room{1, 0, 0, 0xEE, 0xEE, 0xEE}));
    EXPECT_EQ(Decoded(" 0102", 6), (Room{0, 0, 0, 0xEE, 0xEE, 0xEE}));
    EXPECT_EQ(Decoded(std::string("01\0"
                                  "02",
                                  5),
                      6),
              (Room{1, 0, 0, 0xEE, 0xEE, 0xEE}));
}

// COM-CODE-18
TEST(HexadecimalText, OfLengthZeroOrOneWritesNothing) {
    EXPECT_EQ(Decoded("0102", 0), (Room{0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE}));
    EXPECT_EQ(Decoded("0102", 1), (Room{0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE}));
    HexstrToByte("0102", nullptr, 0);
}

// COM-CODE-19
TEST(TimeStamp, IsSecondsSinceTheEpoch) {
    const auto now = static_cast<std::int64_t>(time(nullptr));
    EXPECT_NEAR(static_cast<double>(GetTimeStamp()), static_cast<double>(now), 2.0);
}

}  // namespace

}  // namespace Drive
