#include <gtest/gtest.h>

#include "host/get/outcome.h"
#include "host/report/rate.h"
#include "host/report/reporter.h"

namespace Drive::Host {
namespace {

// HOST-REPORT-01
TEST(Report, ShowsNoControlCharactersOnATerminal) {
    EXPECT_EQ(Printable("plain ü \xF0\x9F\xA6\x80"), "plain ü \xF0\x9F\xA6\x80");
    EXPECT_EQ(Printable("a\x1b[31m\nb"), "a\\x1B[31m\\x0Ab");
    EXPECT_EQ(Printable("x\xFFy"), "x\\xFFy");
    EXPECT_EQ(Printable("right\xE2\x80\xAEleft"), "right\\u202Eleft");
}

// HOST-REPORT-02
TEST(Report, CarriesUndecodableBytesInJson) { EXPECT_EQ(JsonPath("x\xFFy"), "x\xEF\x9F\xBFy"); }

// HOST-REPORT-03
TEST(Report, TellsBytesAndSecondsForPeople) {
    EXPECT_EQ(HumanBytes(0), "0 B");
    EXPECT_EQ(HumanBytes(1023), "1023 B");
    EXPECT_EQ(HumanBytes(1536), "1.5 KiB");
    EXPECT_EQ(HumanBytes(100LL << 20), "100.0 MiB");
    EXPECT_EQ(HumanSeconds(59.6), "1:00");
    EXPECT_EQ(HumanSeconds(3725), "1:02:05");
}

// HOST-PROGRESS-06
TEST(Rate, SettlesOnTheSpeedOfASteadyTransfer) {
    Rate rate;
    for (std::int64_t second = 0; second <= 60; ++second) {
        rate.Add(second * 1000, second * 1000000);
    }
    EXPECT_NEAR(rate.PerSecond(), 1000000, 1000);
    EXPECT_NEAR(rate.SecondsFor(5000000), 5, 0.1);
}

// HOST-PROGRESS-06
TEST(Rate, KnowsNothingBeforeTheSecondLook) {
    Rate rate;
    EXPECT_EQ(rate.PerSecond(), 0);
    EXPECT_LT(rate.SecondsFor(1), 0);
    rate.Add(1000, 5);
    EXPECT_EQ(rate.PerSecond(), 0);
}

// HOST-REPORT-04
TEST(Tally, CountsEveryEntryOnceAndTellsTroublesApart) {
    Tally tally;
    for (int index = 0; index <= static_cast<int>(Result::Pending); ++index) {
        tally.Add({"p", static_cast<Result>(index), 10, ""});
    }
    EXPECT_EQ(tally.entries, static_cast<int>(Result::Pending) + 1);
    EXPECT_EQ(tally.troubles, 7);
    EXPECT_EQ(tally.pending, 1);
    EXPECT_EQ(tally.bytesDownloaded, 10);
    EXPECT_EQ(tally.bytesUploaded, 10);
    EXPECT_EQ(tally.Of(Result::Refused), 1);
}

}  // namespace
}  // namespace Drive::Host
