#include "host/get/back_off.h"

#include <gtest/gtest.h>

namespace Drive::Host {
namespace {

// HOST-RETRY-03
TEST(BackOff, DoublesFromFiveSecondsToHalfAnHour) {
    EXPECT_EQ(WaitAfter(1), 5000);
    EXPECT_EQ(WaitAfter(2), 10000);
    EXPECT_EQ(WaitAfter(3), 20000);
    EXPECT_EQ(WaitAfter(9), 1280000);
    EXPECT_EQ(WaitAfter(10), 1800000);
    EXPECT_EQ(WaitAfter(2000000000), 1800000);
}

}  // namespace
}  // namespace Drive::Host
