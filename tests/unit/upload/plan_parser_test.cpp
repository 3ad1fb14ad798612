#include "upload/plan_parser.h"

#include <gtest/gtest.h>

#include <exception>
#include <limits>

namespace Drive::TransferService {
namespace {

using Common::UploadStartInfo;

UploadStartInfo Read(const std::string& text) {
    UploadStartInfo info;
    EXPECT_TRUE(ReadStartRecord(text, info)) << text;
    return info;
}

UploadStartInfo FilledPlan() {
    UploadStartInfo info;
    info.SetUploadType(L"client");
    info.SetVersion(7);
    info.SetBucketId(L"bucket");
    info.SetPosition(9);
    info.SetRecordCursor(L"cursor");
    info.SetUploadUrl(L"upload");
    info.SetResumeUrl(L"resume");
    info.SetSliceSize(16);
    info.SetItemcount(1);
    info.SetFragmentInfos({Common::FragmentInfo{L"kept", 1, L"", L"", true}});
    return info;
}

// UP-PLAN-01
TEST(PlanParser, ReadsEveryFieldOfAnAnswer) {
    const UploadStartInfo info =
        Read(R"({"uploadType":"client","version":7,"bucketId":"b","position":12,"recordCursor":"c","uploadUrl":"u",)"
             R"("resumeUrl":"r","sliceSize":4194304,"items":[)"
             R"({"objectId":"o1","length":4194320,"synckey":"k1","time":"t1","status":true},)"
             R"({"objectId":"o2","length":32,"synckey":"k2","time":"t2"}]})");
    EXPECT_EQ(info.GetUploadType(), L"client");
    EXPECT_EQ(info.GetVersion(), 7);
    EXPECT_EQ(info.GetBucketId(), L"b");
    EXPECT_EQ(info.GetPosition(), 12u);
    EXPECT_EQ(info.GetRecordCursor(), L"c");
    EXPECT_EQ(info.GetUploadUrl(), L"u");
    EXPECT_EQ(info.GetResumeUrl(), L"r");
    EXPECT_EQ(info.GetSliceSize(), 4194304);
    EXPECT_EQ(info.GetItemcount(), 2u);
    ASSERT_EQ(info.GetFragmentInfos().size(), 2u);
    const Common::FragmentInfo& first = info.GetFragmentInfos()[0];
    EXPECT_EQ(first.objectId, L"o1");
    EXPECT_EQ(first.length, 4194320);
    EXPECT_EQ(first.synckey, L"k1");
    EXPECT_EQ(first.time, L"t1");
    EXPECT_TRUE(first.status);
    EXPECT_FALSE(info.GetFragmentInfos()[1].status);
}

// UP-PLAN-02
TEST(PlanParser, RefusesEmptyTextAndLeavesThePlanUntouched) {
    UploadStartInfo info = FilledPlan();
    EXPECT_FALSE(ReadStartRecord("", info));
    EXPECT_EQ(info.GetUploadType(), L"client");
    EXPECT_EQ(info.GetVersion(), 7);
}

// UP-PLAN-03
TEST(PlanParser, RefusesTextThatIsNoJson) {
    UploadStartInfo info;
    EXPECT_FALSE(ReadStartRecord("{\"uploadType\":", info));
    EXPECT_FALSE(ReadStartRecord("<html>", info));
}

// UP-PLAN-04
TEST(PlanParser, RefusesARootThatIsNeitherObjectNorNull) {
    UploadStartInfo info;
    EXPECT_FALSE(ReadStartRecord("[1]", info));
    EXPECT_FALSE(ReadStartRecord("\"client\"", info));
    EXPECT_FALSE(ReadStartRecord("7", info));
}

// UP-PLAN-05
TEST(PlanParser, TakesNullAsAPlanOfAllDefaults) {
    UploadStartInfo info = FilledPlan();
    EXPECT_TRUE(ReadStartRecord("null", info));
    EXPECT_EQ(info.GetUploadType(), L"");
    EXPECT_EQ(info.GetVersion(), 0);
    EXPECT_EQ(info.GetPosition(), 0u);
    EXPECT_EQ(info.GetSliceSize(), 0);
    EXPECT_EQ(info.GetItemcount(), 0u);
    EXPECT_TRUE(info.GetFragmentInfos().empty());
}

// UP-PLAN-06
TEST(PlanParser, ClearsAFieldWhoseKeyIsAbsent) {
    UploadStartInfo info = FilledPlan();
    EXPECT_TRUE(ReadStartRecord("{}", info));
    EXPECT_EQ(info.GetUploadType(), L"");
    EXPECT_EQ(info.GetBucketId(), L"");
    EXPECT_EQ(info.GetRecordCursor(), L"");
    EXPECT_EQ(info.GetUploadUrl(), L"");
    EXPECT_EQ(info.GetResumeUrl(), L"");
    EXPECT_EQ(info.GetVersion(), 0);
}

// UP-PLAN-07
TEST(PlanParser, TakesAbsentOrNullItemsAsAnEmptyList) {
    for (const char* text : {"{}", "{\"items\":null}", "{\"items\":[]}"}) {
        UploadStartInfo info = FilledPlan();
        EXPECT_TRUE(ReadStartRecord(text, info)) << text;
        EXPECT_EQ(info.GetItemcount(), 0u) << text;
        EXPECT_TRUE(info.GetFragmentInfos().empty()) << text;
    }
}

// UP-PLAN-08
TEST(PlanParser, KeepsListAndCountWhenItemsIsNoArray) {
    for (const char* text : {"{\"items\":3}", "{\"items\":{}}", "{\"items\":\"x\"}"}) {
        UploadStartInfo info = FilledPlan();
        EXPECT_TRUE(ReadStartRecord(text, info)) << text;
        EXPECT_EQ(info.GetItemcount(), 1u) << text;
        ASSERT_EQ(info.GetFragmentInfos().size(), 1u) << text;
        EXPECT_EQ(info.GetFragmentInfos()[0].objectId, L"kept") << text;
    }
}

// UP-PLAN-09
TEST(PlanParser, SkipsEntriesThatAreNoObjectsAndCountsTheRest) {
    const UploadStartInfo info = Read(R"({"items":[{"objectId":"a"},"text",5,[],{"objectId":"b"}]})");
    EXPECT_EQ(info.GetItemcount(), 2u);
    ASSERT_EQ(info.GetFragmentInfos().size(), 2u);
    EXPECT_EQ(info.GetFragmentInfos()[1].objectId, L"b");
}

// UP-PLAN-10
TEST(PlanParser, TakesANullEntryAsAnEmptyFragment) {
    const UploadStartInfo info = Read(R"({"items":[null]})");
    ASSERT_EQ(info.GetFragmentInfos().size(), 1u);
    EXPECT_EQ(info.GetFragmentInfos()[0].objectId, L"");
    EXPECT_EQ(info.GetFragmentInfos()[0].length, 0);
    EXPECT_FALSE(info.GetFragmentInfos()[0].status);
}

// UP-PLAN-11
TEST(PlanParser, IgnoresTheWrittenItemcount) {
    EXPECT_EQ(Read(R"({"itemcount":99,"items":[{},{},{}]})").GetItemcount(), 3u);
}

// UP-PLAN-12
TEST(PlanParser, ReadsANumberUnderStatusAsFalseForZeroAndTrueOtherwise) {
    const UploadStartInfo info = Read(R"({"items":[{"status":0},{"status":1},{"status":-2.5}]})");
    EXPECT_FALSE(info.GetFragmentInfos()[0].status);
    EXPECT_TRUE(info.GetFragmentInfos()[1].status);
    EXPECT_TRUE(info.GetFragmentInfos()[2].status);
}

// UP-PLAN-13
TEST(PlanParser, TruncatesNumbersTowardZero) {
    const UploadStartInfo info = Read(R"({"version":-3.9,"position":8.9,"sliceSize":5.99,"items":[{"length":16.7}]})");
    EXPECT_EQ(info.GetVersion(), -3);
    EXPECT_EQ(info.GetPosition(), 8u);
    EXPECT_EQ(info.GetSliceSize(), 5);
    EXPECT_EQ(info.GetFragmentInfos()[0].length, 16);
}

// UP-PLAN-14
TEST(PlanParser, LosesPrecisionAboveTwoTo53) {
    EXPECT_EQ(Read(R"({"version":9007199254740993})").GetVersion(), 9007199254740992);
}

// UP-PLAN-15
TEST(PlanParser, TakesAPositionAboveTheSignedRange) {
    EXPECT_EQ(Read(R"({"position":9223372036854775808})").GetPosition(), std::uint64_t{1} << 63);
    EXPECT_EQ(Read(R"({"position":13835058055282163712})").GetPosition(), std::uint64_t{3} << 62);
}

// UP-PLAN-16
TEST(PlanParser, ReadsOnlyTheLow32BitsOfASliceSize) {
    EXPECT_EQ(Read(R"({"sliceSize":4294967312})").GetSliceSize(), 16);
}

// UP-PLAN-17
TEST(PlanParser, ThrowsForATextUnderANumberKeyWithTheFieldsBeforeItSet) {
    UploadStartInfo info = FilledPlan();
    EXPECT_THROW(ReadStartRecord(R"({"uploadType":"server","version":"seven","bucketId":"new"})", info),
                 std::exception);
    EXPECT_EQ(info.GetUploadType(), L"server");
    EXPECT_EQ(info.GetVersion(), 7);
    EXPECT_EQ(info.GetBucketId(), L"bucket");
}

// UP-PLAN-17
TEST(PlanParser, ThrowsForAnObjectUnderATextKey) {
    UploadStartInfo info;
    EXPECT_THROW(ReadStartRecord(R"({"uploadType":{}})", info), std::exception);
    EXPECT_THROW(ReadStartRecord(R"({"items":[{"status":"yes"}]})", info), std::exception);
}

// UP-PLAN-18
TEST(PlanParser, AcceptsCommentsInARecord) { EXPECT_EQ(Read("{ /* kept */ \"version\": 3 }").GetVersion(), 3); }

// UP-PLAN-19
TEST(PlanParser, WidensTextsBeyondAscii) { EXPECT_EQ(Read("{\"bucketId\":\"\xC3\xA4\"}").GetBucketId(), L"\u00e4"); }

// UP-PLAN-20
TEST(PlanNumbers, NumbersThatDoNotFitGiveTheSmallestValue) {
    constexpr auto kSmallest = std::numeric_limits<std::int64_t>::min();
    EXPECT_EQ(TruncateToSigned(1e30), kSmallest);
    EXPECT_EQ(TruncateToSigned(-1e30), kSmallest);
    EXPECT_EQ(TruncateToSigned(std::numeric_limits<double>::quiet_NaN()), kSmallest);
    EXPECT_EQ(TruncateToSigned(-9223372036854775808.0), kSmallest);
}

// UP-PLAN-20
TEST(PlanNumbers, ANegativePositionWraps) {
    EXPECT_EQ(TruncateToUnsigned(-1.0), std::numeric_limits<std::uint64_t>::max());
}

// UP-PLAN-15
TEST(PlanNumbers, TwoTo64AndMoreGiveTheTopBitAlone) {
    EXPECT_EQ(TruncateToUnsigned(18446744073709551616.0), std::uint64_t{1} << 63);
}

}  // namespace
}  // namespace Drive::TransferService
