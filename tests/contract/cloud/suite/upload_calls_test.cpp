// The control calls of an upload by objects.

#include "tests/contract/cloud/suite/cloud_suite.h"

namespace Drive::Testing {
namespace {

using Cloud::CloudDriveInterface;

class UploadCalls : public CloudSuite {
protected:
    std::string Start() {
        Common::FileItem file = FileWithId(L"Local-7");
        file.SetSize(5);
        file.SetFileHMAC(key);
        return CloudDriveInterface::ObjectsUploadStart(file, L"sum", L"cursor", errorCode);
    }

    const std::string key = "00112233445566778899aabbccddeeff0123456789abcdef0123456789abcdef";
    std::wstring errorCode = L"of an earlier call";
};

// CLOUD-CALL-04
TEST_F(UploadCalls, APlanIsHandedOnWithAllThatItSays) {
    const std::string plan =
        R"({"uploadType":"client","version":3,"bucketId":"b","position":0,"recordCursor":"r","sliceSize":4194304,)"
        R"("items":[{"objectId":"o1","length":16,"synckey":"s","time":"t","status":false}],"more":{"of":[1,2]}})";
    cloud->AnswersPlan(plan);
    EXPECT_EQ(ParsedJson(plan), ParsedJson(Start()));
    EXPECT_EQ(L"", errorCode);
}

// CLOUD-CALL-03, CLOUD-CALL-04
TEST_F(UploadCalls, APlanThatWasRefusedIsNoTextThatCanBeReadAndHasTheCloudsCode) {
    for (const auto& [status, code] : {std::pair(503, L"21084031"), std::pair(409, L""), std::pair(0, L"")}) {
        cloud->Answers("ObjectsUploadStart", {status, code, L"", {}});
        errorCode = L"of an earlier call";
        EXPECT_FALSE(ParsedJson(Start()).isObject()) << status;
        EXPECT_EQ(code, errorCode) << status;
    }
}

// CLOUD-CALL-01
TEST_F(UploadCalls, TheKeyNeverLeaves) {
    ASSERT_NE("", Start());
    ASSERT_EQ(1, cloud->Asked("ObjectsUploadStart"));
    const std::string heard = cloud->EverythingHeard();
    ASSERT_NE(std::string::npos, heard.find("Local-7"));
    EXPECT_EQ(std::string::npos, heard.find(key));
    EXPECT_EQ(std::string::npos, heard.find(key.substr(0, 32)));
    EXPECT_EQ(std::string::npos, heard.find(key.substr(32)));
}

// CLOUD-CALL-06
TEST_F(UploadCalls, AnAddressIsOneRequestReadyToBeSent) {
    Common::GetKelpAddressModel told;
    told.SetUrl(cloud->SomeAddress());
    told.SetMethod(L"PUT");
    told.SetObjectBucketId(L"bucket7");
    told.SetKelpAddressHeaders({{L"Content-MD5", L"m"}, {L"x-store", L"yes"}});
    cloud->AnswersAddress(told);
    Common::GetKelpAddressModel model;
    WMap result;
    ASSERT_TRUE(CloudDriveInterface::GetUploadKelpAddress(FileWithId(L"file7"), {}, model, result));
    EXPECT_EQ(told.GetUrl(), model.GetUrl());
    EXPECT_EQ(L"PUT", model.GetMethod());
    EXPECT_EQ(L"bucket7", model.GetObjectBucketId());
    EXPECT_EQ(told.GetKelpAddressHeaders(), model.GetKelpAddressHeaders());
}

// CLOUD-CALL-06
TEST_F(UploadCalls, AnAddressWithoutABucketIsOfTheOneThatWasAskedFor) {
    Common::GetKelpAddressModel told;
    told.SetUrl(cloud->SomeAddress());
    told.SetMethod(L"PUT");
    cloud->AnswersAddress(told);
    Common::KelpAddressRequestModel request;
    request.bucketId = L"asked";
    Common::GetKelpAddressModel model;
    WMap result;
    ASSERT_TRUE(CloudDriveInterface::GetUploadKelpAddress(FileWithId(L"file7"), request, model, result));
    EXPECT_EQ(L"asked", model.GetObjectBucketId());
}

// CLOUD-CALL-07
TEST_F(UploadCalls, AnAddressThatIsNoneIsAFailureWithoutACode) {
    Common::GetKelpAddressModel told;
    told.SetMethod(L"PUT");
    cloud->AnswersAddress(told);
    Common::GetKelpAddressModel model;
    WMap result;
    EXPECT_FALSE(CloudDriveInterface::GetUploadKelpAddress(FileWithId(L"file7"), {}, model, result));
    EXPECT_EQ(L"", ValueOf(result, L"errorCode"));
    EXPECT_NE(L"", ValueOf(result, L"description"));
    Common::DownloadKelpAddressInfo info;
    EXPECT_FALSE(CloudDriveInterface::GetDownloadKelpAddress({}, info));
}

// CLOUD-CALL-08
TEST_F(UploadCalls, AnObjectIsConfirmedWithTheStoresAnswerUnread) {
    Common::FragmentInfo fragment;
    fragment.objectId = L"o1";
    for (const char* response : {"", "stored", "<xml/>", "{\"errorCode\":\"1\"}", "no json {"}) {
        EXPECT_TRUE(CloudDriveInterface::ObjectsUploadComplete(FileWithId(L"file7"), fragment, {}, response, L"r"))
            << response;
    }
}

// CLOUD-CALL-08
TEST_F(UploadCalls, AnObjectIsConfirmedOnlyWhenTheCloudAcceptsIt) {
    const CloudAnswer refusals[] = {
        {409, L"21004932", L"", {}}, {500, L"", L"", {}}, {0, L"", L"", {}}, {200, L"21004932", L"", {}}};
    for (const CloudAnswer& refusal : refusals) {
        cloud->Answers("ObjectsUploadComplete", refusal);
        EXPECT_FALSE(CloudDriveInterface::ObjectsUploadComplete(FileWithId(L"file7"), {}, {}, "stored", L"r"))
            << refusal.status;
    }
}

}  // namespace
}  // namespace Drive::Testing
