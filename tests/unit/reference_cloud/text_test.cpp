#include "reference_cloud/text.h"

#include <gtest/gtest.h>

namespace Drive::ReferenceCloud {

namespace {

// REF-HTTP-19
TEST(Text, ReadsItsOwnBase64AndHexadecimal) {
    for (const std::string& bytes :
         {std::string(), std::string("a"), std::string("ab"), std::string("abc"), std::string("\0\xff\x10", 3)}) {
        EXPECT_EQ(FromBase64(ToBase64(bytes)), bytes);
        EXPECT_EQ(FromHex(ToHex(bytes)), bytes);
    }
    EXPECT_EQ(FromBase64("YW\nI="), "ab");
}

// REF-HTTP-19
TEST(Text, RefusesForeignCharacters) {
    EXPECT_FALSE(FromBase64("YW*="));
    EXPECT_FALSE(FromBase64("YWI"));
    EXPECT_FALSE(FromHex("abc"));
    EXPECT_FALSE(FromHex("0g"));
}

// REF-HTTP-19
TEST(Text, KnowsWellFormedUtf8) {
    EXPECT_TRUE(IsUtf8("a\xc3\xa4\xe2\x82\xac\xf0\x9f\x98\x80"));
    for (const char* bad : {"\xff", "\xc3", "\xc0\x80", "\xe0\x80\x80", "\xed\xa0\x80", "\xf4\x90\x80\x80", "\x80"}) {
        EXPECT_FALSE(IsUtf8(bad));
    }
}

// REF-HTTP-19
TEST(Text, MakesAnyTextReadable) {
    EXPECT_EQ(Readable("a\xc3\xa4"), "a\xc3\xa4");
    EXPECT_EQ(Readable("\xff"
                       "a\xc3"),
              "\xef\xbf\xbd"
              "a\xef\xbf\xbd");
    EXPECT_EQ(Readable("\xed\xb0\x80"), "\xef\xbf\xbd\xef\xbf\xbd\xef\xbf\xbd");
    EXPECT_EQ(Readable(""), "");
}

// REF-HTTP-19
TEST(Text, ReadsOnlyWholeDecimalNumbers) {
    EXPECT_EQ(ParseNumber("0"), 0);
    EXPECT_EQ(ParseNumber("9223372036854775807"), 9223372036854775807LL);
    for (const char* bad : {"", "-1", "+1", " 1", "1 ", "1x", "9223372036854775808"}) EXPECT_FALSE(ParseNumber(bad));
}

}  // namespace

}  // namespace Drive::ReferenceCloud
