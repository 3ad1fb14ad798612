#include <utility>

#include "tests/unit/reference_cloud/cloud_fixture.h"

namespace Drive::ReferenceCloud {

namespace {

class StoreRoutes : public CloudTest {
protected:
    StoreRoutes() {
        plan_ = client.Post("/v1/uploads/start", sample_.Start(client)).json;
        stored_ = StoredBytes(plan_["items"][0]);
        NewAddress();
    }
    void NewAddress() {
        address_ = client.Post("/v1/uploads/address", AddressRequest(plan_, plan_["items"][0], stored_)).json;
        headers_.clear();
        for (const auto& name : address_["headers"].getMemberNames()) {
            headers_[name] = address_["headers"][name].asString();
        }
    }
    Answer Put(const std::string& body) { return stranger_.Send("PUT", address_["url"].asString(), body, headers_); }
    std::size_t FilesInStore() {
        std::size_t files = 0;
        for (const auto& entry :
             std::filesystem::recursive_directory_iterator(Shared().folder.Path() / "data" / "objects")) {
            files += entry.is_regular_file() ? 1 : 0;
        }
        return files;
    }

    SampleUpload sample_{RandomText(3000)};
    TestClient stranger_{Shared().base};  // the store asks for no token
    Json::Value plan_;
    Json::Value address_;
    Headers headers_;
    std::string stored_;
};

// REF-STORE-09
TEST_F(StoreRoutes, TakesTheBytesThatWereSigned) {
    const Answer answer = Put(stored_);
    EXPECT_EQ(answer.status, 200) << answer.body;
    EXPECT_EQ(answer.headers.at("x-object-sha256"), Sha256(stored_));
    EXPECT_EQ(answer.json["sha256"], Sha256(stored_));
    EXPECT_EQ(answer.json["length"], 1040);
}

// REF-STORE-10
TEST_F(StoreRoutes, LeavesNothingOfBytesThatWereNot) {
    const std::size_t before = FilesInStore();
    std::string damaged = stored_;
    damaged[500] ^= 1;
    EXPECT_EQ(Put(damaged).status, 400);
    EXPECT_EQ(Put(stored_.substr(1)).status, 403);
    EXPECT_EQ(Put(stored_ + "x").status, 403);
    EXPECT_EQ(Put("").status, 403);
    EXPECT_EQ(FilesInStore(), before);
    Json::Value confirmation = AddressRequest(plan_, plan_["items"][0], stored_);
    EXPECT_EQ(client.Post("/v1/uploads/object-complete", confirmation).json["errorCode"], "21004932");
}

// REF-STORE-11
TEST_F(StoreRoutes, ARepeatedPutIsHarmlessAndLeavesOneObject) {
    const std::size_t before = FilesInStore();
    EXPECT_EQ(Put(stored_).status, 200);
    EXPECT_EQ(Put(stored_).status, 200);
    EXPECT_EQ(FilesInStore(), before + 1);
}

// REF-STORE-12
TEST_F(StoreRoutes, APutAfterTheEndOfTheUploadChangesNothing) {
    SendObjects(client, plan_);
    const Json::Value entry = client.Post("/v1/uploads/create-complete", sample_.Completion(client, plan_)).json;
    EXPECT_EQ(Put(stored_).status, 200);
    const std::string old = stored_;
    stored_[0] ^= 1;
    EXPECT_EQ(client.Post("/v1/uploads/address", AddressRequest(plan_, plan_["items"][0], stored_)).status, 404);
    const Json::Value info = client.Get("/v1/files/" + entry["id"].asString() + "/download").json;
    Json::Value request(Json::objectValue);
    request["objectId"] = info["objectInfoList"][0]["objectIds"][0];
    const Answer address = client.Post("/v1/downloads/address", request);
    EXPECT_EQ(stranger_.Get(address.json["url"].asString()).body, old);
}

// REF-STORE-13
TEST_F(StoreRoutes, WrongSignaturesAndMissingHeadersAreForbidden) {
    std::string url = address_["url"].asString();
    url.back() = url.back() == '0' ? '1' : '0';
    EXPECT_EQ(stranger_.Send("PUT", url, stored_, headers_).status, 403);
    EXPECT_EQ(stranger_.Send("PUT", address_["url"].asString(), stored_, {}).status, 403);
    EXPECT_EQ(stranger_.Get(address_["url"].asString()).status, 403) << "an address for sending gives nothing back";
    EXPECT_EQ(stranger_.Send("PUT", "/store/b/o", stored_, headers_).json["errorCode"], "21004031");
}

// REF-STORE-14
TEST_F(StoreRoutes, AddressesExpire) {
    Shared().skipped += 901;
    const Answer answer = Put(stored_);
    EXPECT_EQ(answer.status, 403);
    EXPECT_EQ(answer.json["errorCode"], "21004031");
    NewAddress();
    client.Login(Shared().lastUser, "secret");
    NewAddress();
    EXPECT_EQ(Put(stored_).status, 200);
}

// REF-STORE-15
TEST_F(StoreRoutes, GivesAnObjectWithItsDigestWholeAndInRanges) {
    SendObjects(client, plan_);
    const Json::Value entry = client.Post("/v1/uploads/create-complete", sample_.Completion(client, plan_)).json;
    const Json::Value list = client.Get("/v1/files/" + entry["id"].asString() + "/download").json["objectInfoList"][0];
    Json::Value request(Json::objectValue);
    request["bucketId"] = list["bucketId"];
    request["objectId"] = list["objectIds"][0];
    const Answer address = client.Post("/v1/downloads/address", request);
    ASSERT_EQ(address.status, 200);
    const std::string url = address.json["url"].asString();
    const Answer whole = stranger_.Get(url);
    EXPECT_EQ(whole.status, 200);
    EXPECT_EQ(whole.body, stored_);
    EXPECT_EQ(whole.headers.at("x-object-sha256"), Sha256(stored_));
    const Answer part = stranger_.Get(url, {{"Range", "bytes=1000-"}});
    EXPECT_EQ(part.status, 206);
    EXPECT_EQ(part.body, stored_.substr(1000));
    EXPECT_EQ(part.headers.at("x-object-sha256"), Sha256(stored_));
    EXPECT_EQ(stranger_.Get(url, {{"Range", "bytes=1040-"}}).status, 416);

    const TestClient other = Shared().NewUser();
    EXPECT_EQ(other.Post("/v1/downloads/address", request).json["errorCode"], "21004041");
    request["objectId"] = "nothing";
    EXPECT_EQ(client.Post("/v1/downloads/address", request).status, 404);
    request["objectId"] = "";
    EXPECT_EQ(client.Post("/v1/downloads/address", request).status, 400);
}

// REF-STORE-16
TEST_F(StoreRoutes, AnObjectOfAnOpenUploadCannotBeFetched) {
    Put(stored_);
    Json::Value request(Json::objectValue);
    request["objectId"] = plan_["items"][0]["objectId"];
    EXPECT_EQ(client.Post("/v1/downloads/address", request).status, 404);
}

/// Rows whose next change is kept and then told to have failed, as when the disk fails while it is being synced.
class DoubtfulMetadata : public MetadataStore {
public:
    explicit DoubtfulMetadata(std::unique_ptr<MetadataStore> real) : real_(std::move(real)) {}
    void Change(const std::function<void(Rows&)>& work) override {
        real_->Change(work);
        if (doubtful.exchange(false)) throw std::runtime_error("the disk failed");
    }
    void Read(const std::function<void(Rows&)>& work) override { real_->Read(work); }

    std::atomic<bool> doubtful{false};

private:
    const std::unique_ptr<MetadataStore> real_;
};

// REF-STORE-19
TEST(DoubtfulStore, AnObjectWhoseRowMayStandAllTheSameKeepsItsBytes) {
    RunningCloud cloud;
    auto rows = std::make_unique<DoubtfulMetadata>(std::move(cloud.server->GetCloud().metadata));
    DoubtfulMetadata& metadata = *rows;
    cloud.server->GetCloud().metadata = std::move(rows);
    const TestClient client = cloud.NewUser();

    const SampleUpload encrypted(RandomText(100));
    const Json::Value plan = client.Post("/v1/uploads/start", encrypted.Start(client)).json;
    const std::string stored = StoredBytes(plan["items"][0]);
    const Json::Value request = AddressRequest(plan, plan["items"][0], stored);
    const Json::Value address = client.Post("/v1/uploads/address", request).json;
    Headers headers;
    for (const auto& name : address["headers"].getMemberNames()) headers[name] = address["headers"][name].asString();
    metadata.doubtful = true;
    EXPECT_EQ(client.Send("PUT", address["url"].asString(), stored, headers).status, 500);
    EXPECT_EQ(client.Post("/v1/uploads/object-complete", request).status, 200);
    const Json::Value entry = client.Post("/v1/uploads/create-complete", encrypted.Completion(client, plan)).json;
    Json::Value download(Json::objectValue);
    download["objectId"] = plan["items"][0]["objectId"];
    EXPECT_EQ(client.Get(client.Post("/v1/downloads/address", download).json["url"].asString()).body, stored);
    EXPECT_FALSE(entry["id"].asString().empty());
}

}  // namespace

}  // namespace Drive::ReferenceCloud
