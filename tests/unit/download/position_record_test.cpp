#include "download/position_record.h"

#include <gtest/gtest.h>

namespace Drive::TransferService {
namespace {

DownloadPosition Parse(const std::wstring& text) { return ParseDownloadPosition(text); }

// DL-POS-01
TEST(PositionRecord, IsAnObjectOfTwoNumbersInThisForm) {
    EXPECT_EQ(FormatDownloadPosition({4194304, 0}), L"{\"writePosition\":4194304,\"writeSliceIndex\":0}");
    EXPECT_EQ(FormatDownloadPosition({53687091200, 12800}),
              L"{\"writePosition\":53687091200,\"writeSliceIndex\":12800}");
}

// DL-POS-02
TEST(PositionRecord, ReadsBackWhatWasWritten) {
    for (const std::int64_t position : {0LL, 1LL, 4194304LL, 9007199254740993LL, 9223372036854775807LL}) {
        const DownloadPosition read = Parse(FormatDownloadPosition({position, 7}));
        EXPECT_EQ(read.writePosition, position);
        EXPECT_EQ(read.writeSliceIndex, 7);
    }
}

// DL-POS-03
TEST(PositionRecord, ATextOfFewerThanElevenCharactersIsNone) {
    EXPECT_EQ(Parse(L"").writePosition, 0);
    EXPECT_EQ(Parse(L"{}").writePosition, 0);
    EXPECT_EQ(Parse(L"{\"a\":12345}").writePosition, 0);  // eleven: read, without the keys
}

// DL-POS-04
TEST(PositionRecord, AnAbsentFieldReadsAsZero) {
    EXPECT_EQ(Parse(L"{\"writePosition\":12345678901234}").writePosition, 12345678901234);
    EXPECT_EQ(Parse(L"{\"writePosition\":12345678901234}").writeSliceIndex, 0);
    EXPECT_EQ(Parse(L"{\"writeSliceIndex\":3}").writeSliceIndex, 3);
    EXPECT_EQ(Parse(L"{\"writeSliceIndex\":3}").writePosition, 0);
}

// DL-POS-05
TEST(PositionRecord, AnUploadsRecordReadsAsZero) {
    const DownloadPosition read = Parse(L"{\"uploadType\":\"client\",\"version\":7,\"position\":4096,\"items\":[]}");
    EXPECT_EQ(read.writePosition, 0);
    EXPECT_EQ(read.writeSliceIndex, 0);
}

// DL-POS-06
TEST(PositionRecord, AFractionIsCut) {
    const DownloadPosition read = Parse(L"{\"writePosition\":1000.9,\"writeSliceIndex\":2.7}");
    EXPECT_EQ(read.writePosition, 1000);
    EXPECT_EQ(read.writeSliceIndex, 2);
}

// DL-POS-07
TEST(PositionRecord, DamagedTextReadsAsFarAsItCouldBeRead) {
    EXPECT_EQ(Parse(L"{\"writePosition\":12").writePosition, 0);
    EXPECT_EQ(Parse(L"not a record at all").writePosition, 0);
    EXPECT_EQ(Parse(L"[1,2,3,4,5,6,7]").writePosition, 0);
    EXPECT_EQ(Parse(L"\"a long enough text\"").writePosition, 0);
    const DownloadPosition half = Parse(L"{\"writeSliceIndex\":4,\"writePosition\":\"far\"}");
    EXPECT_EQ(half.writeSliceIndex, 4);
    EXPECT_EQ(half.writePosition, 0);
    const DownloadPosition other = Parse(L"{\"writeSliceIndex\":\"x\",\"writePosition\":9}");
    EXPECT_EQ(other.writePosition, 0);  // the index is read first, and its failure ends the reading
}

// DL-POS-07
TEST(PositionRecord, ANumberThatFitsNoIntegerIsDamage) {
    EXPECT_EQ(Parse(L"{\"writePosition\":99999999999999999999}").writePosition, 0);
    EXPECT_EQ(Parse(L"{\"writePosition\":-1e300,\"x\":0}").writePosition, 0);
    const DownloadPosition half = Parse(L"{\"writeSliceIndex\":4,\"writePosition\":1e19}");
    EXPECT_EQ(half.writeSliceIndex, 4);
    EXPECT_EQ(half.writePosition, 0);
    EXPECT_EQ(Parse(L"{\"writeSliceIndex\":2147483648.5,\"writePosition\":9}").writePosition, 0);
    EXPECT_EQ(Parse(L"{\"writeSliceIndex\":-2147483648.0,\"writePosition\":9}").writePosition, 9);
}

// DL-POS-08
TEST(PositionRecord, KeysOfOtherNamesAndTheirOrderDoNotMatter) {
    const DownloadPosition read = Parse(L"{\"writeSliceIndex\":2,\"extra\":[1],\"writePosition\":9}");
    EXPECT_EQ(read.writePosition, 9);
    EXPECT_EQ(read.writeSliceIndex, 2);
}

// DL-POS-09
TEST(PositionRecord, ANegativeNumberIsReadAsItStands) {
    EXPECT_EQ(Parse(L"{\"writePosition\":-5}").writePosition, -5);
    EXPECT_EQ(Parse(L"{\"writePosition\":null,\"x\":0}").writePosition, 0);
}

}  // namespace
}  // namespace Drive::TransferService
