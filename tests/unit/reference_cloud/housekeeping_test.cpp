#include "reference_cloud/housekeeping.h"

#include <fstream>

#include "tests/unit/reference_cloud/cloud_fixture.h"

namespace Drive::ReferenceCloud {

namespace {

class HousekeepingTest : public testing::Test {
protected:
    static ServerSettings Settings() {
        ServerSettings settings;
        settings.cloud.sliceSize = 1024;
        return settings;
    }
    std::size_t FilesInStore() {
        std::size_t files = 0;
        cloud_.server->GetCloud().objects->ForEach([&](const std::string&) { ++files; });
        return files;
    }
    void Sweep() { Housekeeping(cloud_.server->GetCloud()).Sweep(); }

    RunningCloud cloud_{Settings()};
    TestClient client_ = cloud_.NewUser();
};

// REF-CLEAN-01
TEST_F(HousekeepingTest, ClearsAwayStoreFilesThatNoRowNames) {
    UploadEncrypted(client_, SampleUpload(std::string(1000, 'x')));
    ASSERT_EQ(FilesInStore(), 1U);
    auto stray = cloud_.server->GetCloud().objects->Create();
    stray->Append("stray");
    stray->Commit();
    ASSERT_EQ(FilesInStore(), 2U);
    const auto unfinished = cloud_.folder.Path() / "data" / "objects" / "unfinished" / "left";
    std::ofstream(unfinished) << "left over";
    Housekeeping(cloud_.server->GetCloud()).ClearStore();
    EXPECT_EQ(FilesInStore(), 1U);
    EXPECT_FALSE(std::filesystem::exists(unfinished));
}

// REF-CLEAN-02
TEST_F(HousekeepingTest, KeepsAReplacedContentForAnHour) {
    SampleUpload upload(std::string(1000, 'x'));
    upload.fileId = UploadEncrypted(client_, upload)["id"].asString();
    upload.bytes = std::string(900, 'y');
    UploadEncrypted(client_, upload);
    Sweep();
    EXPECT_EQ(FilesInStore(), 2U);
    cloud_.skipped += 3601;
    Sweep();
    EXPECT_EQ(FilesInStore(), 1U);
}

// REF-CLEAN-03
TEST_F(HousekeepingTest, KeepsDeletedFilesForAMonth) {
    const std::string id = UploadEncrypted(client_, SampleUpload(std::string(1000, 'x')))["id"].asString();
    client_.Send("DELETE", "/v1/files/" + id);
    cloud_.skipped += 29 * 86400;
    Sweep();
    EXPECT_EQ(FilesInStore(), 1U);
    cloud_.skipped += 2 * 86400;
    Sweep();
    cloud_.skipped += 3601;
    Sweep();
    EXPECT_EQ(FilesInStore(), 0U);
    client_.Login(cloud_.lastUser, "secret");
    EXPECT_EQ(client_.Get("/v1/files/" + id).status, 404);
}

// REF-CLEAN-04
TEST_F(HousekeepingTest, AContentThatAnotherFileHasStays) {
    SampleUpload first(std::string(1000, 'x'), "first"), second(first.bytes, "second");
    const std::string id = UploadEncrypted(client_, first)["id"].asString();
    UploadEncrypted(client_, second);
    client_.Send("DELETE", "/v1/files/" + id);
    cloud_.skipped += 31 * 86400;
    Sweep();
    cloud_.skipped += 3601;
    Sweep();
    EXPECT_EQ(FilesInStore(), 1U);
}

// REF-CLEAN-05
TEST_F(HousekeepingTest, DropsUploadsThatNobodyTouchesForAWeek) {
    const SampleUpload upload(std::string(2000, 'x'));
    const Json::Value plan = client_.Post("/v1/uploads/start", upload.Start(client_)).json;
    SendObjects(client_, plan);
    EXPECT_EQ(FilesInStore(), 2U);
    cloud_.skipped += 8 * 86400;
    Sweep();
    EXPECT_EQ(FilesInStore(), 0U);
    client_.Login(cloud_.lastUser, "secret");
    EXPECT_EQ(client_.Post("/v1/uploads/create-complete", upload.Completion(client_, plan)).json["errorCode"],
              "21004932");
}

}  // namespace

}  // namespace Drive::ReferenceCloud
