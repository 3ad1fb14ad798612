// What the result maps hold, whatever the cloud answers.
#include "tests/contract/cloud/suite/cloud_suite.h"

namespace Drive::Testing {
namespace {

class Results : public CloudSuite, public testing::WithParamInterface<MappedCall> {
protected:
    bool Call(const CloudAnswer& answer, const std::wstring& fileId = L"file7") {
        cloud->Answers(GetParam().operation, answer);
        result = {{L"id", L"of an earlier call"}, {L"resumeUrl", L"of an earlier call"}};
        return GetParam().call(*cloud, fileId, result);
    }

    WMap result;
};

std::string NameOf(const testing::TestParamInfo<MappedCall>& info) { return info.param.name; }

// CLOUD-CALL-19
TEST_P(Results, OfASuccessHoldStatusAndNoCode) {
    result = {{L"errorCode", L"of an earlier call"}};
    ASSERT_TRUE(GetParam().call(*cloud, L"file7", result));
    EXPECT_EQ(L"", ValueOf(result, L"errorCode"));
    EXPECT_EQ(L"200", ValueOf(result, L"statuscode"));
    EXPECT_EQ(1u, result.count(L"description"));
}

// CLOUD-CALL-03, CLOUD-CALL-19
TEST_P(Results, OfARefusalHoldTheCloudsCodeStatusAndDescriptionAndNothingElse) {
    for (const int status : {400, 404, 409, 500, 503}) {
        EXPECT_FALSE(Call({status, L"21015002", L"it is there already", {{L"id", L"cloud1"}}}));
        EXPECT_EQ(L"21015002", ValueOf(result, L"errorCode"));
        EXPECT_EQ(std::to_wstring(status), ValueOf(result, L"statuscode"));
        EXPECT_EQ(L"it is there already", ValueOf(result, L"description"));
        EXPECT_EQ(3u, result.size());
    }
}

// CLOUD-CALL-03
TEST_P(Results, HoldNoCodeThatTheCloudDidNotTell) {
    for (const int status : {401, 404, 429, 500}) {
        EXPECT_FALSE(Call({status, L"", L"", {}}));
        EXPECT_EQ(L"", ValueOf(result, L"errorCode"));
        EXPECT_EQ(std::to_wstring(status), ValueOf(result, L"statuscode"));
        EXPECT_EQ(1u, result.count(L"description"));
    }
}

// CLOUD-CALL-07, CLOUD-PROXY-07
TEST_P(Results, OfAnAnswerThatNeverCameHoldStatusZero) {
    EXPECT_FALSE(Call({0, L"", L"", {}}));
    EXPECT_EQ(L"", ValueOf(result, L"errorCode"));
    EXPECT_EQ(L"0", ValueOf(result, L"statuscode"));
    EXPECT_NE(L"", ValueOf(result, L"description"));
    EXPECT_EQ(3u, result.size());
}

// CLOUD-CALL-03, CLOUD-PROXY-06
TEST_P(Results, TakeACodeInAnAnswerOfStatus200ForARefusal) {
    EXPECT_FALSE(Call({200, L"21004913", L"no space", {{L"id", L"cloud1"}}}));
    EXPECT_EQ(L"21004913", ValueOf(result, L"errorCode"));
    EXPECT_EQ(0u, result.count(L"id"));
}

INSTANTIATE_TEST_SUITE_P(Calls, Results, testing::ValuesIn(MappedCalls()), NameOf);

class CompletedFile : public Results {};

// CLOUD-CALL-10, CLOUD-CALL-11
TEST_P(CompletedFile, IsToldAsTheCloudHoldsIt) {
    const WMap held{{L"id", L"cloud1"},           {L"fileName", L"letter (2).txt"}, {L"category", L"document"},
                    {L"mimeType", L"text/plain"}, {L"parentFolder", L"folder2"},    {L"contentVersion", L"17"}};
    for (const wchar_t* given : {L"file7", L"Local-7"}) {
        ASSERT_TRUE(Call({200, L"", L"", held}, given));
        for (const auto& [key, value] : held) EXPECT_EQ(value, ValueOf(result, key.c_str()));
    }
}

// CLOUD-CALL-11
TEST_P(CompletedFile, HasTheIdThatWasGivenWhenTheCloudTellsNone) {
    for (const WMap& fields : {WMap(), WMap{{L"id", L""}}, WMap{{L"fileName", L"letter.txt"}}}) {
        ASSERT_TRUE(Call({200, L"", L"", fields}));
        EXPECT_EQ(L"file7", ValueOf(result, L"id"));
        EXPECT_EQ(L"200", ValueOf(result, L"statuscode"));
    }
}

// CLOUD-CALL-11
TEST_P(CompletedFile, IsNoneWhenNobodyTellsTheIdOfANewOne) {
    EXPECT_FALSE(Call({200, L"", L"", {{L"fileName", L"letter.txt"}}}, L"Local-7"));
    EXPECT_NE(L"200", ValueOf(result, L"statuscode"));
    EXPECT_EQ(0u, result.count(L"id"));
    EXPECT_EQ(L"", ValueOf(result, L"errorCode"));
}

class Inquiry : public CloudSuite {};

// CLOUD-CALL-09, CLOUD-CALL-11
TEST_F(Inquiry, FindsAKnownFileByItsIdAndANewOneByParentAndName) {
    cloud->HasOneFile(L"cloud7", L"folder1", L"letter.txt");
    WMap result;
    for (const wchar_t* id : {L"cloud7", L"Local-7"}) {
        EXPECT_TRUE(Cloud::CloudDriveInterface::inQuireCloudFile(FileWithId(id), result));
        EXPECT_EQ(L"cloud7", ValueOf(result, L"id"));
        EXPECT_EQ(L"letter.txt", ValueOf(result, L"fileName"));
    }
    Common::FileItem otherName = FileWithId(L"Local-7"), otherParent = FileWithId(L"Local-7");
    otherName.SetLocalFileName(L"other.txt");
    otherParent.SetLocalParentId(L"folder2");
    for (const Common::FileItem& absent : {FileWithId(L"cloud8"), otherName, otherParent}) {
        EXPECT_FALSE(Cloud::CloudDriveInterface::inQuireCloudFile(absent, result));
        EXPECT_EQ(L"404", ValueOf(result, L"statuscode"));
        EXPECT_EQ(0u, result.count(L"id"));
    }
}

INSTANTIATE_TEST_SUITE_P(Calls, CompletedFile, testing::ValuesIn(CompletingCalls()), NameOf);

}  // namespace
}  // namespace Drive::Testing
