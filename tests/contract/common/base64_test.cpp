#include <gtest/gtest.h>

#include "interfaces/common/encrypt_helper.h"
#include "tests/contract/common/test_folders.h"

namespace Drive::Common {

namespace {

std::string Encoded(const std::string& bytes, bool singleLine = true) {
    return EncryptHelper::Base64Encode(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size(), singleLine);
}

struct Pair {
    const char* plain;
    const char* text;
};

// The vectors of RFC 4648, section 10.
constexpr Pair kPublished[] = {{"", ""},
                               {"f", "Zg=="},
                               {"fo", "Zm8="},
                               {"foo", "Zm9v"},
                               {"foob", "Zm9vYg=="},
                               {"fooba", "Zm9vYmE="},
                               {"foobar", "Zm9vYmFy"}};

// COM-CODE-01
TEST(Base64, GivesThePublishedTexts) {
    for (const Pair& pair : kPublished) {
        EXPECT_EQ(Encoded(pair.plain), pair.text);
        EXPECT_EQ(EncryptHelper::Base64Decode(pair.text, true), pair.plain);
        EXPECT_EQ(EncryptHelper::Base64Decode(pair.text, false), pair.plain);
    }
}

// COM-CODE-02
TEST(Base64, UsesTheStandardAlphabet) { EXPECT_EQ(Encoded("\xFB\xEF\xFF"), "++//"); }

// COM-CODE-03
TEST(Base64, GivesEveryLengthBack) {
    for (std::size_t length = 0; length < 200; ++length) {
        const std::string bytes = Trial::Noise(length, 7);
        EXPECT_EQ(EncryptHelper::Base64Decode(Encoded(bytes), true), bytes);
        EXPECT_EQ(EncryptHelper::Base64Decode(Encoded(bytes, false), true), bytes);
    }
}

// COM-CODE-04
TEST(Base64, GivesLongTextsBackWithoutPaddingInTheMiddle) {
    const std::string bytes = Trial::Noise((std::size_t{48} << 14) * 2 + 17);
    const std::string text = Encoded(bytes);
    EXPECT_EQ(text.size(), (bytes.size() + 2) / 3 * 4);
    EXPECT_EQ(text.find('='), text.size() - 1);
    EXPECT_EQ(EncryptHelper::Base64Decode(text, true), bytes);
    EXPECT_EQ(EncryptHelper::Base64Decode(Encoded(bytes, false), true), bytes);
}

// COM-CODE-05
TEST(Base64, SingleLineHasNoBreak) { EXPECT_EQ(Encoded(Trial::Noise(1000)).find_first_of("\r\n"), std::string::npos); }

// COM-CODE-06
TEST(Base64, OtherwiseLinesAre64CharactersLong) {
    const std::string text = Encoded(std::string(50, 'x'), false);
    EXPECT_EQ(text.size(), 64u + 1 + 4 + 1);
    EXPECT_EQ(text[64], '\n');
    EXPECT_EQ(text.back(), '\n');
    EXPECT_EQ(Encoded("", false), "");
}

// COM-CODE-07
TEST(Base64, LineBreaksArePassedOver) {
    for (const bool strict : {true, false}) {
        EXPECT_EQ(EncryptHelper::Base64Decode("Zm9v\r\nYmFy\n", strict), "foobar");
        EXPECT_EQ(EncryptHelper::Base64Decode("Z\nm\n8\n=\n", strict), "fo");
    }
}

// COM-CODE-08
TEST(Base64, StrictRefusesWhatIsForeignOrPaddedWrongly) {
    for (const char* text : {"Zm9v!", "Zm 9v", "Zm9v-_==", "Zm9", "Zm9vYg=", "Zm9vYg===", "=",
                             "====", "Z===", "Zg==Zg==", "Zg=g", ":Zm9v"}) {
        EXPECT_EQ(EncryptHelper::Base64Decode(text, true), "") << text;
    }
}

// COM-CODE-09
TEST(Base64, StrictRefusesASecondTextForTheSameBytes) {
    for (const char* text : {"Zh==", "Zv==", "Zm9vYmF=", "Zm9vYmH="}) {
        EXPECT_EQ(EncryptHelper::Base64Decode(text, true), "") << text;
    }
    EXPECT_EQ(EncryptHelper::Base64Decode("Zh==", false), "f");
}

// COM-CODE-10
TEST(Base64, WithoutStrictDecodingEndsAtTheForeignCharacter) {
    EXPECT_EQ(EncryptHelper::Base64Decode("Zm9v:YmFy", false), "foo");
    EXPECT_EQ(EncryptHelper::Base64Decode("Zm9vYm:", false), "foob");
    EXPECT_EQ(EncryptHelper::Base64Decode("Zm9vY:", false), "foo");
    EXPECT_EQ(EncryptHelper::Base64Decode(":Zm9v", false), "");
    EXPECT_EQ(EncryptHelper::Base64Decode("Zg==Zm9v", false), "f");
    EXPECT_EQ(EncryptHelper::Base64Decode("Zm9vYmE", false), "fooba");
}

// COM-CODE-11
TEST(Base64, DecodesBytesOfEveryValue) {
    EXPECT_EQ(EncryptHelper::Base64Decode("AAECAw==", true), std::string("\0\1\2\3", 4));
}

}  // namespace

}  // namespace Drive::Common
