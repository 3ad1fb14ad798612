#include "reference_cloud/byte_range.h"

#include <gtest/gtest.h>

namespace Drive::ReferenceCloud {

namespace {

struct Case {
    const char* header;
    std::int64_t size;
    int status;
    std::int64_t offset;
    std::int64_t length;
};

// REF-DOWNLOAD-10
TEST(ByteRange, AnswersEveryFormOfTheHeader) {
    const Case cases[] = {
        {"", 10, 200, 0, 10},
        {"bytes=0-", 10, 206, 0, 10},
        {"bytes=3-", 10, 206, 3, 7},
        {"bytes=9-", 10, 206, 9, 1},
        {"bytes=10-", 10, 416, 0, 0},
        {"bytes=11-", 10, 416, 0, 0},
        {"bytes=2-4", 10, 206, 2, 3},
        {"bytes=2-2", 10, 206, 2, 1},
        {"bytes=2-99", 10, 206, 2, 8},
        {"bytes=-3", 10, 206, 7, 3},
        {"bytes=-30", 10, 206, 0, 10},
        {"bytes=-0", 10, 416, 0, 0},
        {"bytes=4-2", 10, 200, 0, 10},
        {"bytes=1-2,4-5", 10, 200, 0, 10},
        {"bytes=a-", 10, 200, 0, 10},
        {"items=1-", 10, 200, 0, 10},
        {"bytes=-", 10, 200, 0, 10},
        {"bytes=99999999999999999999-", 10, 416, 0, 0},
        {"bytes=9223372036854775807-", 10, 416, 0, 0},
        {"bytes=3-99999999999999999999", 10, 206, 3, 7},
        {"bytes=-99999999999999999999", 10, 206, 0, 10},
        {"bytes=-9223372036854775808", 10, 206, 0, 10},
        {"bytes=1--2", 10, 200, 0, 10},
        {"bytes=+1-2", 10, 200, 0, 10},
        {"bytes=0-4,2-6", 10, 200, 0, 10},
    };
    for (const Case& c : cases) {
        const RangeAnswer answer = ChooseRange(c.header, c.size);
        EXPECT_EQ(answer.status, c.status) << c.header;
        EXPECT_EQ(answer.offset, c.offset) << c.header;
        EXPECT_EQ(answer.length, c.length) << c.header;
    }
}

// REF-DOWNLOAD-04
TEST(ByteRange, AnswersAnEmptyFileWholeWhateverIsAsked) {
    for (const char* header : {"", "bytes=0-", "bytes=5-", "bytes=-1"}) {
        const RangeAnswer answer = ChooseRange(header, 0);
        EXPECT_EQ(answer.status, 200) << header;
        EXPECT_EQ(answer.length, 0) << header;
    }
}

// REF-PROXY-20
TEST(SliceRange, TakesTheBeginningAndTheSizeAndNotTheUpperBound) {
    const auto odd = ParseSliceRange("bytes 5242880-5242879/10485760");
    ASSERT_TRUE(odd);
    EXPECT_EQ(odd->position, 5242880);
    EXPECT_EQ(odd->size, 10485760);
    EXPECT_TRUE(ParseSliceRange("bytes 0-18446744073709551615/5"));
}

// REF-PROXY-20
TEST(SliceRange, RefusesWhatIsNoRange) {
    for (const char* header :
         {"", "bytes 0-4", "bytes */5", "bytes 5-4/5", "items 0-4/5", "bytes 0-4/x", "bytes=0-4/5"}) {
        EXPECT_FALSE(ParseSliceRange(header)) << header;
    }
}

}  // namespace

}  // namespace Drive::ReferenceCloud
