#include <gtest/gtest.h>

#include "host/engine/key_patience.h"
#include "host/report/progress_meter.h"
#include "host/report/record_bytes.h"

namespace Drive::Host {
namespace {

// HOST-PROGRESS-02
TEST(ProgressMeter, FollowsTheLineBetweenTwoStepsOfTheRecords) {
    ProgressMeter meter;
    EXPECT_EQ(meter.Done(0, 1000, 10000), 0);
    EXPECT_EQ(meter.Done(0, 1500, 10000), 500);
    EXPECT_EQ(meter.Done(4000, 5100, 10000), 4000);
    EXPECT_EQ(meter.Done(4000, 5600, 10000), 4500);
}

// HOST-PROGRESS-03
TEST(ProgressMeter, BeginsWithWhatAnEarlierRunDid) {
    ProgressMeter meter;
    EXPECT_EQ(meter.Done(6000, 77, 10000), 6000);
}

// HOST-PROGRESS-03
TEST(ProgressMeter, CountsContentThatTheCloudHadAlready) {
    ProgressMeter meter;
    meter.Done(0, 0, 10000);
    EXPECT_EQ(meter.Done(10000, 0, 10000), 10000);
}

// HOST-PROGRESS-04
TEST(ProgressMeter, NeverGoesBackNorBeyondTheEnd) {
    ProgressMeter meter;
    meter.Done(0, 0, 10000);
    EXPECT_EQ(meter.Done(0, 6000, 10000), 6000);
    EXPECT_EQ(meter.Done(4000, 6000, 10000), 6000) << "repeated bytes are not taken back";
    EXPECT_EQ(meter.Done(4000, 99000, 10000), 10000);
    EXPECT_EQ(meter.Done(4000, 99000, 8000), 8000) << "a file shrank";
}

// HOST-PROGRESS-05
TEST(RecordBytes, AnUploadSumsUpWhatIsStored) {
    const std::wstring record =
        L"{\"sliceSize\":100,\"position\":100,\"items\":[{\"status\":true},{\"status\":false},{\"status\":true}]}";
    EXPECT_EQ(BytesInRecord(record, 2, 1000), 200);
    EXPECT_EQ(BytesInRecord(record, 2, 150), 150) << "never more than the file";
    EXPECT_EQ(BytesInRecord(L"{\"sliceSize\":100,\"position\":300,\"items\":[]}", 2, 1000), 300);
}

// HOST-PROGRESS-05
TEST(RecordBytes, ADownloadTellsItsPosition) {
    EXPECT_EQ(BytesInRecord(L"{\"writePosition\":4194304,\"writeSliceIndex\":1}", 1, 9000000), 4194304);
    EXPECT_EQ(BytesInRecord(L"{\"writePosition\":-5}", 1, 100), 0);
}

// HOST-PROGRESS-05
TEST(RecordBytes, NonsenseCountsAsNothing) {
    for (const wchar_t* text :
         {L"", L"{", L"[1]", L"{\"items\":7,\"sliceSize\":\"x\"}", L"{\"writePosition\":\"9\"}"}) {
        EXPECT_EQ(BytesInRecord(text, 1, 100), 0) << text;
        EXPECT_EQ(BytesInRecord(text, 2, 100), 0) << text;
    }
}

// HOST-KEY-03
TEST(KeyPatience, TellsOnceAfterTenSecondsAndGivesUpAfterTwoMinutes) {
    KeyPatience keys;
    EXPECT_FALSE(keys.TimeToTell(false, 1000));
    EXPECT_FALSE(keys.TimeToTell(false, 10999));
    EXPECT_TRUE(keys.TimeToTell(false, 11000));
    EXPECT_FALSE(keys.TimeToTell(false, 12000));
    EXPECT_FALSE(keys.Exhausted(false, 120999));
    EXPECT_TRUE(keys.Exhausted(false, 121000));
}

// HOST-KEY-03
TEST(KeyPatience, BeginsAnewWithTheKeys) {
    KeyPatience keys;
    keys.TimeToTell(false, 1000);
    EXPECT_FALSE(keys.TimeToTell(true, 20000));
    EXPECT_FALSE(keys.TimeToTell(false, 21000));
    EXPECT_FALSE(keys.Exhausted(false, 140999));
}

}  // namespace
}  // namespace Drive::Host
