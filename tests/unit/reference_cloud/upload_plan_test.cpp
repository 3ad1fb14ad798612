#include "reference_cloud/upload_plan.h"

#include <gtest/gtest.h>

namespace Drive::ReferenceCloud {

namespace {

std::vector<std::int64_t> Lengths(const std::vector<PlannedObject>& objects) {
    std::vector<std::int64_t> lengths;
    for (const auto& object : objects) lengths.push_back(object.length);
    return lengths;
}

// REF-UPLOAD-24
TEST(UploadPlan, PadsAlwaysByAtLeastOneByte) {
    EXPECT_EQ(PaddedLength(0), 16);
    EXPECT_EQ(PaddedLength(15), 16);
    EXPECT_EQ(PaddedLength(16), 32);
    EXPECT_EQ(PaddedLength(31), 32);
    EXPECT_EQ(PaddedLength(32), 48);
    EXPECT_EQ(PaddedLength(4194304), 4194320);
}

// REF-UPLOAD-25
TEST(UploadPlan, CutsAFileIntoSlicesOfPaddedLength) {
    using List = std::vector<std::int64_t>;
    EXPECT_EQ(Lengths(PlanObjects(0, 1024, {})), List{});
    EXPECT_EQ(Lengths(PlanObjects(1, 1024, {})), List{16});
    EXPECT_EQ(Lengths(PlanObjects(1024, 1024, {})), List{1040});
    EXPECT_EQ(Lengths(PlanObjects(1025, 1024, {})), (List{1040, 16}));
    EXPECT_EQ(Lengths(PlanObjects(3000, 1024, {})), (List{1040, 1040, 960}));
}

// REF-UPLOAD-26
TEST(UploadPlan, PutsAllAttachmentsIntoOneLastObject) {
    const auto objects = PlanObjects(1024, 1024, {100, 333});
    ASSERT_EQ(objects.size(), 2U);
    EXPECT_FALSE(objects[0].attachment);
    EXPECT_TRUE(objects[1].attachment);
    EXPECT_EQ(objects[1].length, 112 + 336);
}

// REF-UPLOAD-27
TEST(UploadPlan, CountsThePlainBytesBeforeTheFirstMissingObject) {
    EXPECT_EQ(PlainPosition({false, true, true}, 3000, 1024), 0);
    EXPECT_EQ(PlainPosition({true, false, true}, 3000, 1024), 1024);
    EXPECT_EQ(PlainPosition({true, true, true}, 3000, 1024), 3000);
    EXPECT_EQ(PlainPosition({true, true, true, false}, 3000, 1024), 3000);
    EXPECT_EQ(PlainPosition({}, 0, 1024), 0);
}

}  // namespace

}  // namespace Drive::ReferenceCloud
