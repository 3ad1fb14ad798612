#include "reference_cloud/cloud_name.h"

#include <gtest/gtest.h>

#include "interfaces/cloud/wire/names.h"
#include "reference_cloud/text.h"

namespace Drive::ReferenceCloud {

namespace {

/// What a client makes of the cloud's name on its way back to the disk.
std::string NativeAgain(const std::string& cloudName) {
    std::string native;
    for (const wchar_t character : Drive::Cloud::Wire::UnescapeName(Widen(cloudName))) {
        const auto value = static_cast<unsigned long>(character);
        if (value == 0xF05C) {
            native += '\\';
        } else if (value >= 0xDC80 && value <= 0xDCFF) {
            native += static_cast<char>(value - 0xDC00);
        } else {
            native += Utf8(std::wstring(1, character));
        }
    }
    return native;
}

// REF-FILE-17
TEST(CloudName, BringsEveryNativeNameBackByteForByte) {
    const std::string names[] = {"plain.txt",
                                 "with blank",
                                 "back\\slash",
                                 "\xff\xfe bad",
                                 "\xc3\xa4\xc3\xb6",
                                 "half \xc3",
                                 "\xef\x81\x9c real mapped backslash",
                                 "\xef\x9e\x80\xef\x9f\xbf real escape characters",
                                 "\xed\xa0\x80 surrogate",
                                 "\xf0\x9f\x98\x80 smile",
                                 "\n\t control"};
    for (const std::string& name : names) {
        const std::string cloud = CloudName(name);
        EXPECT_TRUE(IsAllowedName(cloud)) << name;
        EXPECT_EQ(NativeAgain(cloud), name);
    }
}

// REF-FILE-18
TEST(CloudName, MapsABackslashToItsOwnCharacter) {
    EXPECT_EQ(CloudName("a\\b"),
              "a\xef\x81\x9c"
              "b");
}

// REF-FILE-19
TEST(CloudName, KeepsDifferentNamesApart) {
    EXPECT_NE(CloudName("\\"), CloudName("\xef\x81\x9c"));
    EXPECT_NE(CloudName("\xff"), CloudName("\xef\x9f\xbf"));
}

// REF-FILE-03
TEST(CloudName, RefusesNamesThatCouldBecomePaths) {
    for (const std::string& name :
         {std::string(), std::string("."), std::string(".."), std::string("a/b"), std::string("a\\b"),
          std::string("a\0b", 3), std::string("\xff"), std::string(1025, 'a')}) {
        EXPECT_FALSE(IsAllowedName(name)) << name;
    }
    EXPECT_TRUE(IsAllowedName(std::string(1024, 'a')));
    EXPECT_TRUE(IsAllowedName("..."));
}

// REF-FILE-20
TEST(CloudName, SortsMediaTypesIntoCategories) {
    EXPECT_EQ(CategoryOf("image/png"), "image");
    EXPECT_EQ(CategoryOf("video/mp4"), "video");
    EXPECT_EQ(CategoryOf("audio/ogg"), "audio");
    EXPECT_EQ(CategoryOf("text/plain"), "document");
    EXPECT_EQ(CategoryOf("application/zip"), "other");
    EXPECT_EQ(CategoryOf(""), "other");
}

}  // namespace

}  // namespace Drive::ReferenceCloud
