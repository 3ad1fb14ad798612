#include "tests/unit/reference_cloud/cloud_fixture.h"

#include <openssl/evp.h>

#include "reference_cloud/crypto.h"
#include "reference_cloud/text.h"

namespace Drive::ReferenceCloud {

namespace {

class DownloadRoutes : public CloudTest {
protected:
    std::string Plain(const std::string& bytes, const std::string& name) {
        const Answer plan = client.Post("/v1/uploads/start", SampleUpload(bytes, name).Start(client));
        const Answer done =
            client.Send("POST", plan.json["uploadUrl"].asString() + "?uploadType=multipart",
                        MultipartBody("{}\n", bytes), {{"Content-Type", "multipart/related;boundary=BOUND"}});
        EXPECT_EQ(done.status, 200) << done.body;
        return done.json["id"].asString();
    }
    std::string EmptyFile() {
        Json::Value body(Json::objectValue);
        body["fileName"] = "empty";
        body["parentFolder"] = client.root;
        return client.Post("/v1/files/empty", body).json["id"].asString();
    }
    Answer Info(const std::string& id) { return client.Get("/v1/files/" + id + "/download"); }
    Answer Content(const std::string& id, const std::string& range = "") {
        return client.Get("/v1/files/" + id + "/content", range.empty() ? Headers{} : Headers{{"Range", range}});
    }

    const std::string bytes_ = RandomText(5000);
};

// REF-DOWNLOAD-01
TEST_F(DownloadRoutes, APlainFileHasNoKeysAndAnAddress) {
    const std::string id = Plain(bytes_, "a.plain");
    const Answer info = Info(id);
    ASSERT_EQ(info.status, 200);
    EXPECT_EQ(info.json["encFekList"], Json::Value(Json::arrayValue));
    EXPECT_EQ(info.json["objectInfoList"], Json::Value(Json::arrayValue));
    EXPECT_EQ(info.json["downloadUrl"], Shared().base + "/v1/files/" + id + "/content");
    EXPECT_EQ(info.json["sha256"], Sha256(bytes_));
    EXPECT_EQ(client.Get(info.json["downloadUrl"].asString()).body, bytes_);
}

// REF-DOWNLOAD-02
TEST_F(DownloadRoutes, AnEncryptedFileListsTheKeyOfTypeOneFirstAndItsOwnObjects) {
    SampleUpload upload(RandomText(3000));
    upload.attachments = {100, 333};
    const std::string id = UploadEncrypted(client, upload)["id"].asString();
    const Json::Value info = Info(id).json;
    EXPECT_EQ(info["downloadUrl"], "");
    ASSERT_EQ(info["encFekList"].size(), 2U);
    EXPECT_EQ(info["encFekList"][0]["keyType"], "1");
    EXPECT_EQ(info["encFekList"][0]["efek"], "wrapped1");
    EXPECT_EQ(info["encFekList"][0]["iv"], std::string(32, 'a'));
    EXPECT_EQ(info["encFekList"][0]["encryptAlgorithm"], "AES_128");
    EXPECT_EQ(info["encFekList"][1]["keyType"], "3");
    ASSERT_EQ(info["objectInfoList"].size(), 1U);
    const Json::Value& list = info["objectInfoList"][0];
    EXPECT_EQ(list["objectIds"].size(), 3U) << "without the attachments' object";
    EXPECT_EQ(list["synckeys"].size(), 3U);
    EXPECT_EQ(list["length"], 1040);
    EXPECT_EQ(list["attributes"][0]["name"], "");
    EXPECT_EQ(list["attributes"][0]["size"], 3000);
    EXPECT_EQ(list["attributes"][1]["name"], "small");
    EXPECT_FALSE(info["recordCursor"].asString().empty());
    EXPECT_EQ(Content(id).status, 409);
}

// REF-DOWNLOAD-03
TEST_F(DownloadRoutes, RangesGiveTheRestOfTheFile) {
    const std::string id = Plain(bytes_, "a.plain");
    const Answer rest = Content(id, "bytes=1234-");
    EXPECT_EQ(rest.status, 206);
    EXPECT_EQ(rest.body, bytes_.substr(1234));
    EXPECT_EQ(rest.headers.at("content-range"), "bytes 1234-4999/5000");
    EXPECT_EQ(Content(id, "bytes=0-").status, 206);
    EXPECT_EQ(Content(id, "bytes=10-19").body, bytes_.substr(10, 10));
    EXPECT_EQ(Content(id, "bytes=-7").body, bytes_.substr(4993));
    const Answer behind = Content(id, "bytes=5000-");
    EXPECT_EQ(behind.status, 416);
    EXPECT_EQ(behind.headers.at("content-range"), "bytes */5000");
}

// REF-DOWNLOAD-04
TEST_F(DownloadRoutes, AnEmptyFileIsAnEmptyAnswerWhateverTheRange) {
    const std::string id = EmptyFile();
    EXPECT_EQ(Info(id).json["downloadUrl"], Shared().base + "/v1/files/" + id + "/content");
    for (const char* range : {"", "bytes=0-", "bytes=5-"}) {
        const Answer answer = Content(id, range);
        EXPECT_EQ(answer.status, 200) << range;
        EXPECT_EQ(answer.body, "") << range;
        EXPECT_EQ(answer.headers.at("content-length"), "0") << range;
    }
}

// REF-DOWNLOAD-05
TEST_F(DownloadRoutes, FoldersDeletedFilesAndThoseOfOthersHaveNoContent) {
    const std::string id = Plain(bytes_, "a.plain");
    EXPECT_EQ(Content(client.root).status, 404);
    const TestClient other = Shared().NewUser();
    EXPECT_EQ(other.Get("/v1/files/" + id + "/content").status, 404);
    EXPECT_EQ(other.Get("/v1/files/" + id + "/download").status, 404);
    EXPECT_EQ(other.Get("/v1/files/" + id + "/thumbnail").status, 404);
    client.Send("DELETE", "/v1/files/" + id);
    EXPECT_EQ(Content(id).status, 404);
    EXPECT_EQ(Info(id).status, 404);
}

// REF-DOWNLOAD-06
TEST_F(DownloadRoutes, APictureHasAThumbnailAndOtherFilesHaveNone) {
    // A picture of one red dot.
    const std::string png =
        *FromBase64("iVBORw0KGgoAAAANSUhEUgAAAAEAAAABCAYAAAAfFcSJAAAADUlEQVR42mP8z8BQDwAEhQGAhKmMIQAAAABJRU5ErkJggg==");
    Json::Value start = SampleUpload(png, "dot.png.plain").Start(client);
    start["mimeType"] = "image/png";
    const Answer plan = client.Post("/v1/uploads/start", start);
    const Json::Value entry =
        client
            .Send("POST", plan.json["uploadUrl"].asString() + "?uploadType=multipart", MultipartBody("{}\n", png),
                  {{"Content-Type", "multipart/related;boundary=BOUND"}})
            .json;
    const std::string link = entry["thumbnailLink"].asString();
    EXPECT_EQ(link, Shared().base + "/v1/files/" + entry["id"].asString() + "/thumbnail");
    const Answer picture = client.Get(link);
    ASSERT_EQ(picture.status, 200) << picture.body;
    EXPECT_EQ(picture.headers.at("content-type"), "image/jpeg");
    EXPECT_EQ(picture.body.substr(0, 2), "\xff\xd8");

    const std::string other = Plain("no picture", "text.plain");
    EXPECT_EQ(client.Get("/v1/files/" + other).json["thumbnailLink"], "");
    EXPECT_EQ(client.Get("/v1/files/" + other + "/thumbnail").status, 404);
}

/// What a client does to bytes: AES-128-CBC with PKCS#7.
std::string Encrypt(const std::string& plain, const std::string& key, const std::string& iv) {
    const auto bytes = [](const std::string& text) { return reinterpret_cast<const unsigned char*>(text.data()); };
    std::string cipher(plain.size() + 16, '\0');
    auto* out = reinterpret_cast<unsigned char*>(cipher.data());
    int length = 0, rest = 0;
    EVP_CIPHER_CTX* context = EVP_CIPHER_CTX_new();
    EVP_EncryptInit_ex(context, EVP_aes_128_cbc(), nullptr, bytes(key), bytes(iv));
    EVP_EncryptUpdate(context, out, &length, bytes(plain), static_cast<int>(plain.size()));
    EVP_EncryptFinal_ex(context, out + length, &rest);
    EVP_CIPHER_CTX_free(context);
    cipher.resize(static_cast<std::size_t>(length + rest));
    return cipher;
}

// REF-DOWNLOAD-07
TEST_F(DownloadRoutes, AnEncryptedFileShowsTheSmallAttachmentThatCameWithIt) {
    const std::string key = RandomText(16), iv = RandomText(16), small = "\xff\xd8 small", large = "\xff\xd8 the large";
    Cloud& cloud = Shared().server->GetCloud();
    const User user = *cloud.Read([](Rows& rows) { return rows.UserByName(Shared().lastUser); });
    SampleUpload upload(RandomText(100), "photo.jpg");
    upload.attachments = {static_cast<int>(small.size()), static_cast<int>(large.size())};
    const Json::Value plan = client.Post("/v1/uploads/start", upload.Start(client)).json;
    const std::string stored[] = {Encrypt(upload.bytes, key, iv), Encrypt(small, key, iv) + Encrypt(large, key, iv)};
    SendObjects(client, plan, {stored[0], stored[1]});
    Json::Value body = upload.Completion(client, plan);
    const std::string sealed = std::string("\x01\x00\x20", 3) + ToHex(key) + ToHex(iv);
    body["encFekList"][1]["efek"] = ToBase64(SealGcm(sealed, cloud.secrets.OpenContentKey(user.sealedKey1)));
    body["encFekList"][1]["iv"] = ToHex(iv);
    const Json::Value entry = client.Post("/v1/uploads/create-complete", body).json;
    const Answer picture = client.Get(entry["thumbnailLink"].asString());
    EXPECT_EQ(picture.status, 200);
    EXPECT_EQ(picture.body, small);
}

// REF-DOWNLOAD-08
TEST_F(DownloadRoutes, AnAttachmentThatDoesNotOpenIsNoThumbnail) {
    SampleUpload upload(RandomText(100), "photo.jpg");
    upload.attachments = {10, 20};
    const Json::Value entry = UploadEncrypted(client, upload);
    EXPECT_EQ(client.Get(entry["thumbnailLink"].asString()).status, 404);
}

// REF-DOWNLOAD-09
TEST_F(DownloadRoutes, ADamagedPictureHasNoThumbnail) {
    Json::Value start = SampleUpload("no picture at all", "bad.plain").Start(client);
    start["mimeType"] = "image/png";
    const Answer plan = client.Post("/v1/uploads/start", start);
    const Answer done =
        client.Send("POST", plan.json["uploadUrl"].asString() + "?uploadType=multipart",
                    MultipartBody("{}\n", "no picture at all"), {{"Content-Type", "multipart/related;boundary=BOUND"}});
    EXPECT_EQ(client.Get(done.json["thumbnailLink"].asString()).status, 404);
}

}  // namespace

}  // namespace Drive::ReferenceCloud
