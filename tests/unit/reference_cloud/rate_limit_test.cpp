#include "reference_cloud/rate_limit.h"

#include <gtest/gtest.h>

namespace Drive::ReferenceCloud {

namespace {

using namespace std::chrono_literals;
const RateLimit::Clock::time_point kStart = RateLimit::Clock::time_point{} + 100h;

// REF-HTTP-02
TEST(RateLimit, WithoutALimitNothingWaits) {
    RateLimit limit(0);
    EXPECT_EQ(limit.Piece(1000000), 1000000U);
    EXPECT_EQ(limit.Book(1000000, kStart), 0s);
}

// REF-HTTP-02
TEST(RateLimit, MakesBytesWaitTheirTimeOneAfterTheOther) {
    RateLimit limit(1000);
    EXPECT_EQ(limit.Book(500, kStart), 500ms);
    EXPECT_EQ(limit.Book(500, kStart), 1s);
    EXPECT_EQ(limit.Book(500, kStart + 1s), 500ms);
}

// REF-HTTP-02
TEST(RateLimit, DoesNotSaveUpWhatWasNotUsed) {
    RateLimit limit(1000);
    limit.Book(500, kStart);
    EXPECT_EQ(limit.Book(500, kStart + 1h), 500ms);
}

// REF-HTTP-02
TEST(RateLimit, CutsPiecesSoThatWaitsStayShort) {
    EXPECT_EQ(RateLimit(1000).Piece(1000000), 50U);
    EXPECT_EQ(RateLimit(1).Piece(1000000), 1U);
    EXPECT_EQ(RateLimit(1000).Piece(10), 10U);
}

}  // namespace

}  // namespace Drive::ReferenceCloud
