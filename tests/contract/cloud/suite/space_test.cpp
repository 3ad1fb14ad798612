// The space that is left.
#include "tests/contract/cloud/suite/cloud_suite.h"

namespace Drive::Testing {
namespace {

class SpaceLeft : public CloudSuite {
protected:
    static std::int64_t Ask() {
        std::wstring text;
        const std::int64_t space = Cloud::CloudDriveInterface::GetUserSpace(text);
        EXPECT_EQ(L"", text);
        return space;
    }
};

// CLOUD-CALL-17
TEST_F(SpaceLeft, IsWhatTheCloudSays) {
    for (const std::int64_t space : {std::int64_t{0}, std::int64_t{1}, std::int64_t{1} << 45}) {
        cloud.reset();
        cloud = CloudBehind::Begin();
        cloud->HasSpace(space);
        EXPECT_EQ(space, Ask());
    }
}

// CLOUD-CALL-18
TEST_F(SpaceLeft, IsRememberedForAMoment) {
    cloud->HasSpace(60);
    EXPECT_EQ(60, Ask());
    cloud->HasSpace(50);
    for (int count = 0; count < 5; ++count) EXPECT_EQ(60, Ask());
    EXPECT_EQ(1, cloud->Asked("GetUserSpace"));
}

// CLOUD-CALL-17, CLOUD-CALL-18
TEST_F(SpaceLeft, IsNegativeWhenItCannotBeToldAndThatIsNotRemembered) {
    for (const int status : {0, 401, 500}) {
        cloud->Answers("GetUserSpace", {status, L"", L"", {}});
        EXPECT_LT(Ask(), 0) << status;
    }
    cloud->Answers("GetUserSpace", {});
    cloud->HasSpace(60);
    EXPECT_EQ(60, Ask());
}

class SpaceAfter : public SpaceLeft, public testing::WithParamInterface<MappedCall> {};

// CLOUD-CALL-18
TEST_P(SpaceAfter, ACompletingCallIsAskedForAnew) {
    cloud->Answers(GetParam().operation, {200, L"", L"", {{L"id", L"file7"}}});
    cloud->HasSpace(60);
    ASSERT_EQ(60, Ask());
    cloud->HasSpace(50);
    WMap result;
    ASSERT_TRUE(GetParam().call(*cloud, L"file7", result));
    EXPECT_EQ(50, Ask());
}

// CLOUD-CALL-18
TEST_P(SpaceAfter, ACompletingCallThatFailedIsAskedForAnew) {
    // Its answer may have been lost after the cloud did what it was asked.
    cloud->Answers(GetParam().operation, {0, L"", L"", {}});
    cloud->HasSpace(60);
    ASSERT_EQ(60, Ask());
    cloud->HasSpace(50);
    WMap result;
    ASSERT_FALSE(GetParam().call(*cloud, L"file7", result));
    EXPECT_EQ(50, Ask());
}

std::vector<MappedCall> CallsThatTakeSpace() {
    std::vector<MappedCall> calls = CompletingCalls();
    std::erase_if(calls, [](const MappedCall& call) { return std::string(call.operation) == "inQuireCloudFile"; });
    return calls;
}

INSTANTIATE_TEST_SUITE_P(Calls, SpaceAfter, testing::ValuesIn(CallsThatTakeSpace()),
                         [](const testing::TestParamInfo<MappedCall>& call) { return std::string(call.param.name); });

}  // namespace
}  // namespace Drive::Testing
