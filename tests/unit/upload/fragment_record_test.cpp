#include "upload/fragment_record.h"

#include <gtest/gtest.h>
#include <json/reader.h>
#include <json/value.h>

#include "interfaces/logging/type_convert.h"
#include "upload/plan_parser.h"

namespace Drive::TransferService {
namespace {

using Common::FragmentInfo;
using Common::UploadStartInfo;

UploadStartInfo PlanOfThree() {
    UploadStartInfo info;
    info.SetUploadType(L"client");
    info.SetVersion(7);
    info.SetBucketId(L"bucket");
    info.SetPosition(8388608);
    info.SetRecordCursor(L"cursor \"1\"\\");
    info.SetUploadUrl(L"https://u");
    info.SetResumeUrl(L"https://r");
    info.SetSliceSize(4194304);
    info.SetFragmentInfos({FragmentInfo{L"o1", 4194320, L"k1", L"t1", true},
                           FragmentInfo{L"o2", 4194320, L"k2", L"t2", true},
                           FragmentInfo{L"o3 \u00e4", 32, L"k3", L"t3", false}});
    info.SetItemcount(3);
    return info;
}

Json::Value Parsed(const UploadStartInfo& info) {
    Json::Value value;
    EXPECT_TRUE(Json::Reader().parse(TypeConvert::WStringToString(WriteFragmentRecord(info)), value));
    return value;
}

// UP-FRAG-01
TEST(FragmentRecord, ComesBackAsTheSamePlanWithoutTheResumeUrl) {
    UploadStartInfo back;
    ASSERT_TRUE(ReadStartRecord(TypeConvert::WStringToString(WriteFragmentRecord(PlanOfThree())), back));
    EXPECT_EQ(back.GetUploadType(), L"client");
    EXPECT_EQ(back.GetVersion(), 7);
    EXPECT_EQ(back.GetBucketId(), L"bucket");
    EXPECT_EQ(back.GetPosition(), 8388608u);
    EXPECT_EQ(back.GetRecordCursor(), L"cursor \"1\"\\");
    EXPECT_EQ(back.GetUploadUrl(), L"https://u");
    EXPECT_EQ(back.GetResumeUrl(), L"");
    EXPECT_EQ(back.GetSliceSize(), 4194304);
    ASSERT_EQ(back.GetFragmentInfos().size(), 3u);
    EXPECT_EQ(back.GetFragmentInfos()[2].objectId, L"o3 \u00e4");
    EXPECT_EQ(back.GetFragmentInfos()[2].length, 32);
    EXPECT_EQ(back.GetFragmentInfos()[2].synckey, L"k3");
    EXPECT_EQ(back.GetFragmentInfos()[2].time, L"t3");
    EXPECT_TRUE(back.GetFragmentInfos()[1].status);
    EXPECT_FALSE(back.GetFragmentInfos()[2].status);
}

// UP-FRAG-02
TEST(FragmentRecord, HoldsExactlyTheNineKeysAndFiveOfEachItem) {
    const Json::Value value = Parsed(PlanOfThree());
    EXPECT_EQ(value.getMemberNames(),
              (std::vector<std::string>{"bucketId", "itemcount", "items", "position", "recordCursor", "sliceSize",
                                        "uploadType", "uploadUrl", "version"}));
    EXPECT_EQ(value["items"][0].getMemberNames(),
              (std::vector<std::string>{"length", "objectId", "status", "synckey", "time"}));
    EXPECT_EQ(value["itemcount"].asUInt(), 3u);
    EXPECT_TRUE(value["items"][0]["status"].isBool());
}

// UP-FRAG-03
TEST(FragmentRecord, WritesNumbersAsIntegersNeverInFloatingNotation) {
    UploadStartInfo info = PlanOfThree();
    info.SetVersion(9007199254740993);
    info.SetPosition(53687091200);
    const std::wstring text = WriteFragmentRecord(info);
    EXPECT_NE(text.find(L"\"version\":9007199254740993"), std::wstring::npos) << TypeConvert::WStringToString(text);
    EXPECT_NE(text.find(L"\"position\":53687091200"), std::wstring::npos) << TypeConvert::WStringToString(text);
    EXPECT_NE(text.find(L"\"length\":4194320"), std::wstring::npos) << TypeConvert::WStringToString(text);
}

// UP-FRAG-04
TEST(FragmentRecord, WritesAnEmptyListAsAnEmptyArray) {
    UploadStartInfo info;
    EXPECT_NE(WriteFragmentRecord(info).find(L"\"items\":[]"), std::wstring::npos);
}

// UP-FRAG-05
TEST(FragmentRecord, WritesTheCountOfThePlanNotOfTheList) {
    UploadStartInfo info = PlanOfThree();
    info.SetItemcount(5);
    EXPECT_EQ(Parsed(info)["itemcount"].asUInt(), 5u);
}

}  // namespace
}  // namespace Drive::TransferService
