#include <gtest/gtest.h>

#include "interfaces/common/drive_functions.h"
#include "tests/contract/common/stepped_clock.h"

namespace Drive {

namespace {

constexpr std::int64_t kHour = 60 * 60 * 1000;

class OperatingFiles : public ::testing::Test {
protected:
    void SetUp() override { Common::Trial::StepClock(1000 * kHour); }
};

// COM-OPERATING-01
TEST_F(OperatingFiles, StandUntilTheyAreErased) {
    InsertOperatingFiles(L"a\\f", FileChangeType::Transfer);
    EXPECT_TRUE(IsOperatingFile(L"a\\f"));
    EXPECT_FALSE(IsOperatingFile(L"a\\g"));
    EXPECT_EQ(OperatingFileCount(), 1u);
    EraseOpetatingFile(L"a\\f");
    EXPECT_FALSE(IsOperatingFile(L"a\\f"));
    EXPECT_EQ(OperatingFileCount(), 0u);
}

// COM-OPERATING-02
TEST_F(OperatingFiles, ErasingAnAbsentOneIsNoError) {
    EraseOpetatingFile(L"never");
    EraseOpetatingFile(L"");
    EXPECT_EQ(OperatingFileCount(), 0u);
}

// COM-OPERATING-03
TEST_F(OperatingFiles, InsertedTwiceIsOneEntry) {
    InsertOperatingFiles(L"f", FileChangeType::Transfer);
    InsertOperatingFiles(L"f", FileChangeType::Transfer);
    EXPECT_EQ(OperatingFileCount(), 1u);
    EraseOpetatingFile(L"f");
    EXPECT_EQ(OperatingFileCount(), 0u);
}

// COM-OPERATING-04
TEST_F(OperatingFiles, LapseAfterAFewHours) {
    InsertOperatingFiles(L"f", FileChangeType::Transfer);
    Common::Trial::StepClock(2 * kHour);
    EXPECT_TRUE(IsOperatingFile(L"f"));
    Common::Trial::StepClock(4 * kHour);
    EXPECT_FALSE(IsOperatingFile(L"f"));
    EXPECT_EQ(OperatingFileCount(), 0u);
}

// COM-OPERATING-05
TEST_F(OperatingFiles, InsertedAgainLiveOn) {
    InsertOperatingFiles(L"f", FileChangeType::Transfer);
    Common::Trial::StepClock(3 * kHour);
    InsertOperatingFiles(L"f", FileChangeType::Transfer);
    Common::Trial::StepClock(3 * kHour);
    EXPECT_TRUE(IsOperatingFile(L"f"));
}

// COM-OPERATING-06
TEST_F(OperatingFiles, NeverGrowWithoutBound) {
    for (int number = 0; number < 10100; ++number) {
        InsertOperatingFiles(std::to_wstring(number), FileChangeType::Transfer);
        Common::Trial::StepClock(1);
    }
    EXPECT_EQ(OperatingFileCount(), 10000u);
    EXPECT_FALSE(IsOperatingFile(L"0"));
    EXPECT_TRUE(IsOperatingFile(L"10099"));
}

}  // namespace

}  // namespace Drive
