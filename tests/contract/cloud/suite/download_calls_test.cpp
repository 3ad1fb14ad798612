// The control calls of a download.
#include "tests/contract/cloud/suite/cloud_suite.h"

namespace Drive::Testing {
namespace {

using Cloud::CloudDriveInterface;

class DownloadCalls : public CloudSuite {
protected:
    static Common::DownLoadAddressInfoModel EncryptedFile() {
        Common::DownloadObjectInfoList objects;
        objects.time = L"t";
        objects.objectIds = {L"o1", L"o2"};
        objects.synckeys = {L"s1", L"s2"};
        objects.length = 4194320;
        objects.bucketId = L"b";
        objects.attributes = {{L"", 5000000}, {L"small", 17}};
        Common::DownLoadAddressInfoModel told;
        told.SetFileName(L"letter.txt");
        told.SetRecordCursor(L"cursor");
        told.SetContentVersion(L"3");
        told.SetObjectInfoList({objects});
        told.SetEncFekList({{L"foreign", L"AES_128", L"3", L"iv3", L"uid3"},
                            {L"other", L"AES_128", L"3", L"iv4", L"uid4"},
                            {L"own", L"AES_256", L"1", L"iv1", L"uid1"}});
        return told;
    }

    Common::DownLoadAddressInfoModel model;
};

// CLOUD-CALL-12
TEST_F(DownloadCalls, AnEncryptedFileIsToldByKeysAndObjects) {
    cloud->AnswersContent(EncryptedFile());
    ASSERT_TRUE(CloudDriveInterface::GetDownloadAddressInfo(L"file7", model));
    EXPECT_EQ(L"letter.txt", model.GetFileName());
    EXPECT_EQ(L"cursor", model.GetRecordCursor());
    EXPECT_EQ(L"3", model.GetContentVersion());
    ASSERT_EQ(1u, model.GetObjectInfoList().size());
    const Common::DownloadObjectInfoList& objects = model.GetObjectInfoList().front();
    EXPECT_EQ((std::vector<std::wstring>{L"o1", L"o2"}), objects.objectIds);
    EXPECT_EQ((std::vector<std::wstring>{L"s1", L"s2"}), objects.synckeys);
    EXPECT_EQ(4194320, objects.length);
    EXPECT_EQ(L"b", objects.bucketId);
    EXPECT_EQ(L"t", objects.time);
    ASSERT_EQ(2u, objects.attributes.size());
    EXPECT_EQ(L"small", objects.attributes[1].name);
    EXPECT_EQ(17, objects.attributes[1].size);
}

// CLOUD-CALL-12
TEST_F(DownloadCalls, TheKeyOfTypeOneStandsFirst) {
    cloud->AnswersContent(EncryptedFile());
    ASSERT_TRUE(CloudDriveInterface::GetDownloadAddressInfo(L"file7", model));
    ASSERT_EQ(3u, model.GetEncFekList().size());
    const Common::DownloadEncFekList& first = model.GetEncFekList().front();
    EXPECT_EQ(L"1", first.keyType);
    EXPECT_EQ(L"own", first.efek);
    EXPECT_EQ(L"AES_256", first.encryptAlgorithm);
    EXPECT_EQ(L"iv1", first.iv);
    EXPECT_EQ(L"uid1", first.keyUid);
    EXPECT_EQ(L"foreign", model.GetEncFekList()[1].efek);
}

// CLOUD-CALL-12
TEST_F(DownloadCalls, APlainFileIsToldByItsAddress) {
    Common::DownLoadAddressInfoModel told;
    told.SetDownloadURL(cloud->SomeAddress());
    cloud->AnswersContent(told);
    ASSERT_TRUE(CloudDriveInterface::GetDownloadAddressInfo(L"file7", model));
    EXPECT_EQ(told.GetDownloadURL(), model.GetDownloadURL());
    EXPECT_TRUE(model.GetEncFekList().empty());
}

// CLOUD-CALL-13
TEST_F(DownloadCalls, AFileThatIsToldByNeitherIsAFailure) {
    cloud->AnswersContent({});
    EXPECT_FALSE(CloudDriveInterface::GetDownloadAddressInfo(L"file7", model));
    Common::DownLoadAddressInfoModel told = EncryptedFile();
    told.SetObjectInfoList({});
    cloud->AnswersContent(told);
    EXPECT_FALSE(CloudDriveInterface::GetDownloadAddressInfo(L"file7", model));
}

// CLOUD-CALL-06
TEST_F(DownloadCalls, AnObjectsAddressIsOneRequestReadyToBeSent) {
    Common::GetKelpAddressModel told;
    told.SetUrl(cloud->SomeAddress());
    told.SetMethod(L"GET");
    told.SetKelpAddressHeaders({{L"x-store", L"yes"}});
    cloud->AnswersAddress(told);
    Common::DownloadKelpAddressInfo info;
    ASSERT_TRUE(CloudDriveInterface::GetDownloadKelpAddress({}, info));
    EXPECT_EQ(told.GetUrl(), info.GetUrl());
    EXPECT_EQ(told.GetKelpAddressHeaders(), info.GetHeaders());
}

// CLOUD-CALL-13
TEST_F(DownloadCalls, ARefusalOrSilenceIsAFailure) {
    const CloudAnswer refusals[] = {
        {404, L"21004041", L"", {}}, {500, L"", L"", {}}, {0, L"", L"", {}}, {200, L"21004041", L"", {}}};
    for (const CloudAnswer& refusal : refusals) {
        cloud->Answers("GetDownloadAddressInfo", refusal);
        EXPECT_FALSE(CloudDriveInterface::GetDownloadAddressInfo(L"file7", model)) << refusal.status;
        cloud->Answers("GetDownloadKelpAddress", refusal);
        Common::DownloadKelpAddressInfo info;
        EXPECT_FALSE(CloudDriveInterface::GetDownloadKelpAddress({}, info)) << refusal.status;
    }
}

}  // namespace
}  // namespace Drive::Testing
