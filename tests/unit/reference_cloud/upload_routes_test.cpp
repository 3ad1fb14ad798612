#include "reference_cloud/crypto.h"
#include "reference_cloud/text.h"
#include "tests/unit/reference_cloud/cloud_fixture.h"

namespace Drive::ReferenceCloud {

namespace {

class UploadRoutes : public CloudTest {
protected:
    Answer Start(const SampleUpload& upload, const std::string& cursor = "") {
        Json::Value body = upload.Start(client);
        body["recordCursor"] = cursor;
        return client.Post("/v1/uploads/start", body);
    }
    Answer Create(const Json::Value& body) { return client.Post("/v1/uploads/create-complete", body); }
    Answer Update(const Json::Value& body) { return client.Post("/v1/uploads/update-complete", body); }

    void ExpectRefusal(const Answer& answer, int status, const char* code) {
        EXPECT_EQ(answer.status, status) << answer.body;
        EXPECT_EQ(answer.json["errorCode"], code);
        EXPECT_FALSE(answer.json["description"].asString().empty());
    }

    SampleUpload sample_{RandomText(3000)};
};

/// The body as text, with these very bytes as the value of the last field of this name.
std::string WithBytes(const Json::Value& body, const std::string& name, const std::string& bytes) {
    std::string text = JsonText(body);
    const std::string head = "\"" + name + "\":\"";
    const std::size_t at = text.rfind(head) + head.size();
    return text.replace(at, text.find('"', at) - at, bytes);
}

// REF-UPLOAD-01
TEST_F(UploadRoutes, TheStartPlansOneObjectASliceAndOneForTheAttachments) {
    sample_.attachments = {100, 333};
    const Answer plan = Start(sample_);
    ASSERT_EQ(plan.status, 200) << plan.body;
    for (const char* name : {"uploadType", "version", "bucketId", "position", "recordCursor", "uploadUrl", "resumeUrl",
                             "sliceSize", "items"}) {
        EXPECT_TRUE(plan.json.isMember(name)) << name;
    }
    EXPECT_EQ(plan.json["uploadType"], "client");
    EXPECT_GT(plan.json["version"].asInt64(), 0);
    EXPECT_LT(plan.json["version"].asInt64(), std::int64_t{1} << 53);
    EXPECT_FALSE(plan.json["bucketId"].asString().empty());
    EXPECT_EQ(plan.json["sliceSize"], 1024);
    const Json::Value& items = plan.json["items"];
    ASSERT_EQ(items.size(), 4U);
    const int lengths[] = {1040, 1040, 960, 112 + 336};
    for (Json::ArrayIndex index = 0; index < 4; ++index) {
        EXPECT_EQ(items[index]["length"], lengths[index]);
        EXPECT_EQ(items[index]["status"], false);
        EXPECT_TRUE(items[index]["synckey"].isString() && items[index]["time"].isString());
    }
}

// REF-UPLOAD-02
TEST_F(UploadRoutes, AnOpenUploadIsFoundAgainByItsCursorAndByTheFile) {
    const Answer plan = Start(sample_);
    Json::Value half = plan.json;
    half["items"].resize(1);
    SendObjects(client, half);
    for (const std::string& cursor : {plan.json["recordCursor"].asString(), std::string(), std::string("lost")}) {
        const Answer again = Start(sample_, cursor);
        EXPECT_EQ(again.json["version"], plan.json["version"]);
        EXPECT_EQ(again.json["recordCursor"], plan.json["recordCursor"]);
        EXPECT_EQ(again.json["position"], 1024);
        EXPECT_EQ(again.json["items"][0]["status"], true);
        EXPECT_EQ(again.json["items"][1]["status"], false);
    }
}

// REF-UPLOAD-03
TEST_F(UploadRoutes, AnotherContentIsAnotherPlanAndEndsTheNamedOne) {
    const Answer plan = Start(sample_);
    SampleUpload changed(RandomText(3000));
    const Answer fresh = Start(changed, plan.json["recordCursor"].asString());
    EXPECT_NE(fresh.json["version"], plan.json["version"]);
    EXPECT_NE(fresh.json["recordCursor"], plan.json["recordCursor"]);
    const Json::Value item = plan.json["items"][0];
    ExpectRefusal(client.Post("/v1/uploads/address", AddressRequest(plan.json, item, StoredBytes(item))), 404,
                  "21000400");
    ExpectRefusal(Create(sample_.Completion(client, plan.json)), 409, "21004932");
}

// REF-UPLOAD-04
TEST_F(UploadRoutes, OtherAttachmentsAreAnotherPlan) {
    sample_.attachments = {10, 20};
    const Answer plan = Start(sample_);
    sample_.attachments = {10, 21};
    EXPECT_NE(Start(sample_, plan.json["recordCursor"].asString()).json["version"], plan.json["version"]);
}

// The text that a client makes its key and vector of, and what the start tells of it.
const std::string kKeyText = "000102030405060708090a0b0c0d0e0f";
const std::string kVectorText = "f0f1f2f3f4f5f6f7f8f9fafbfcfdfeff";
std::string KeyDigest(const std::string& key = kKeyText) {
    return Sha256("zelkor upload key, form 1:" + key + kVectorText);
}

// REF-UPLOAD-05
TEST_F(UploadRoutes, ThePlanOfOneKeyIsNotThatOfAnother) {
    Json::Value start = sample_.Start(client);
    const auto ask = [&](const std::string& digest, const Json::Value& cursor) {
        start["keyDigest"] = digest;
        start["recordCursor"] = cursor;
        return client.Post("/v1/uploads/start", start);
    };
    const std::string one = Sha256("one key"), other = Sha256("another key");
    const Answer first = ask(one, "");
    Json::Value half = first.json;
    half["items"].resize(1);
    SendObjects(client, half);
    EXPECT_EQ(ask(one, "").json["version"], first.json["version"]);
    EXPECT_EQ(ask(one, first.json["recordCursor"]).json["items"][0]["status"], true);

    const Answer moved = ask(other, first.json["recordCursor"]);
    EXPECT_NE(moved.json["version"], first.json["version"]);
    EXPECT_EQ(moved.json["position"], 0);
    for (const Json::Value& item : moved.json["items"]) EXPECT_EQ(item["status"], false);
    const Json::Value item = first.json["items"][0];
    ExpectRefusal(client.Post("/v1/uploads/address", AddressRequest(first.json, item, StoredBytes(item))), 404,
                  "21000400");
    // A third key without a cursor leaves the second's plan alone, and each finds its own again.
    const Answer third = ask(one, "");
    EXPECT_NE(third.json["version"], moved.json["version"]);
    EXPECT_EQ(ask(other, "").json["version"], moved.json["version"]);
    EXPECT_EQ(ask(one, "").json["version"], third.json["version"]);
}

// REF-UPLOAD-05
TEST_F(UploadRoutes, AStartThatTellsNoKeyFindsOnlyPlansThatWereToldNone) {
    const Answer silent = Start(sample_);
    EXPECT_EQ(Start(sample_).json["version"], silent.json["version"]);
    Json::Value telling = sample_.Start(client);
    telling["keyDigest"] = KeyDigest();
    telling["recordCursor"] = silent.json["recordCursor"];
    const Answer told = client.Post("/v1/uploads/start", telling);
    EXPECT_NE(told.json["version"], silent.json["version"]);
    EXPECT_NE(Start(sample_, told.json["recordCursor"].asString()).json["version"], told.json["version"]);
}

// REF-UPLOAD-05
TEST_F(UploadRoutes, ASessionOfTheFileProxyDoesNotCareForTheKey) {
    sample_.name = "name.plain";
    const Answer first = Start(sample_);
    ASSERT_EQ(first.json["uploadType"], "server");
    Json::Value start = sample_.Start(client);
    start["keyDigest"] = KeyDigest();
    EXPECT_EQ(client.Post("/v1/uploads/start", start).json["uploadUrl"], first.json["uploadUrl"]);
}

// REF-UPLOAD-05
TEST_F(UploadRoutes, TheWrappedKeyMustBeTheOneThatTheStartToldOf) {
    const std::string contentKey = RandomText(16);
    const auto wrapped = [&](const std::string& key, const std::string& with) {
        return ToBase64(SealGcm(std::string("\x01\x00\x20", 3) + key + kVectorText, with));
    };
    Json::Value start = sample_.Start(client);
    start["keyDigest"] = KeyDigest();
    const Answer plan = client.Post("/v1/uploads/start", start);
    SendObjects(client, plan.json);
    Json::Value done = sample_.Completion(client, plan.json);
    Json::Value& key = done["encFekList"][1];
    ASSERT_EQ(key["keyType"], 1);
    key["iv"] = kVectorText;
    std::string own;
    Cloud& cloud = Shared().server->GetCloud();
    cloud.metadata->Read(
        [&](Rows& rows) { own = cloud.secrets.OpenContentKey(rows.UserByName(Shared().lastUser)->sealedKey1); });
    for (const std::string& text :
         {std::string("wrapped1"), wrapped(kKeyText, contentKey), wrapped(std::string(32, '1'), own)}) {
        key["efek"] = text;
        ExpectRefusal(Create(done), 409, "21004091");
    }
    key["efek"] = wrapped(kKeyText, own);
    key["iv"] = std::string(32, '0');
    ExpectRefusal(Create(done), 409, "21004091");
    key["iv"] = kVectorText;
    EXPECT_EQ(Create(done).status, 200);
}

// REF-UPLOAD-05
TEST_F(UploadRoutes, ContentThatIsThereKeepsTheKeyThatOpensIt) {
    Json::Value first = UploadEncrypted(client, sample_);
    SampleUpload copy(sample_.bytes, "copy");
    Json::Value start = copy.Start(client);
    start["keyDigest"] = KeyDigest();
    const Answer plan = client.Post("/v1/uploads/start", start);
    ASSERT_EQ(plan.json["uploadType"], "exist");
    Json::Value done = copy.Completion(client, plan.json);
    for (Json::Value& key : done["encFekList"]) key["efek"] = "of another key";
    const Answer entry = Create(done);
    ASSERT_EQ(entry.status, 200) << entry.body;
    for (const Json::Value& id : {first["id"], entry.json["id"]}) {
        const Answer info = client.Get("/v1/files/" + id.asString() + "/download");
        EXPECT_EQ(info.json["encFekList"][0]["efek"], "wrapped1");
    }
}

// REF-UPLOAD-06
TEST_F(UploadRoutes, TheStartRefusesWhatCannotEndWell) {
    sample_.parent = "nothing";
    ExpectRefusal(Start(sample_), 404, "21000401");
    sample_.parent.clear();
    sample_.fileId = "unknown";
    ExpectRefusal(Start(sample_), 404, "21004041");
    sample_.fileId = "Local17";
    EXPECT_EQ(Start(sample_).status, 200);

    UploadEncrypted(client, SampleUpload("other content", "taken"));
    sample_.name = "taken";
    ExpectRefusal(Start(sample_), 409, "21004091");

    TestClient small = Shared().NewUser(2999);
    ExpectRefusal(small.Post("/v1/uploads/start", SampleUpload(sample_.bytes).Start(small)), 507, "21004913");
}

// REF-UPLOAD-07
TEST_F(UploadRoutes, TheStartRefusesBodiesThatAreNotRight) {
    const Json::Value good = sample_.Start(client);
    const auto with = [&](const char* name, const Json::Value& value) {
        Json::Value body = good;
        body[name] = value;
        return client.Post("/v1/uploads/start", body);
    };
    ExpectRefusal(with("size", -1), 400, "21004001");
    ExpectRefusal(with("size", Json::nullValue), 400, "21004001");
    ExpectRefusal(with("size", "3000"), 400, "21004001");
    ExpectRefusal(with("sha256", "ABC"), 400, "21004001");
    ExpectRefusal(with("keyDigest", "ABC"), 400, "21004001");
    ExpectRefusal(with("keyDigest", 5), 400, "21004001");
    ExpectRefusal(with("sha256", ""), 400, "21004001");
    ExpectRefusal(with("fileName", "a/b"), 400, "21004001");
    ExpectRefusal(with("attachmentSize", 5), 400, "21004001");
    Json::Value negative(Json::arrayValue);
    negative.append(-5);
    ExpectRefusal(with("attachmentSize", negative), 400, "21004001");
    Json::Value many(Json::arrayValue);
    for (int index = 0; index < 17; ++index) many.append(1);
    ExpectRefusal(with("attachmentSize", many), 400, "21004001");
    ExpectRefusal(with("mimeType", std::string(1025, 'm')), 400, "21004001");
    TestClient roomy = Shared().NewUser(std::int64_t{1} << 50);
    Json::Value huge = sample_.Start(roomy);
    huge["size"] = Json::Int64(1) << 40;
    ExpectRefusal(roomy.Post("/v1/uploads/start", huge), 413, "21004131");
}

// REF-UPLOAD-06
TEST_F(UploadRoutes, TheStartRefusesASizeThatNoSpaceHoldsHoweverItIsSent) {
    UploadEncrypted(client, SampleUpload(RandomText(100), "first"));
    for (const char* name : {"huge.bin", "huge.plain"}) {
        Json::Value body = sample_.Start(client);
        body["fileName"] = name;
        body["size"] = Json::Int64(1) << 53;
        ExpectRefusal(client.Post("/v1/uploads/start", body), 507, "21004913");
        body["size"] = (Json::Int64(1) << 53) + 1;
        ExpectRefusal(client.Post("/v1/uploads/start", body), 400, "21004001");
        body["size"] = Json::Int64(std::numeric_limits<std::int64_t>::max());
        ExpectRefusal(client.Post("/v1/uploads/start", body), 400, "21004001");
        body["size"] = Json::UInt64(1) << 63;
        ExpectRefusal(client.Post("/v1/uploads/start", body), 400, "21004001");
    }
}

// REF-UPLOAD-29
TEST_F(UploadRoutes, TextsThatAreKeptAreShortAndInUtf8) {
    const Json::Value start = sample_.Start(client);
    ExpectRefusal(client.Post("/v1/uploads/start", WithBytes(start, "mimeType", "text/\xff")), 400, "21004001");
    const Answer plan = client.Post("/v1/uploads/start", start);
    SendObjects(client, plan.json);
    const Json::Value good = sample_.Completion(client, plan.json);
    const auto refuses = [&](const char* name, const std::string& bytes) {
        ExpectRefusal(client.Post("/v1/uploads/create-complete", WithBytes(good, name, bytes)), 400, "21004001");
    };
    for (const char* name : {"efek", "keyUid", "encryptAlgorithm", "mimeType"}) {
        refuses(name, std::string(1025, 'x'));
        refuses(name, "a\xff");
        refuses(name, "a\\udc00");
    }
    EXPECT_EQ(client.Post("/v1/uploads/create-complete", good).status, 200);
    EXPECT_EQ(client.Get("/v1/files").json["items"].size(), 1U) << "one odd byte would make the whole list unreadable";
}

// REF-UPLOAD-30
TEST_F(UploadRoutes, ATimeOfAnyFileSystemIsTakenAndStaysWithinWhatJsonHolds) {
    const Answer plan = client.Post("/v1/uploads/start", sample_.Start(client));
    SendObjects(client, plan.json);
    Json::Value body = sample_.Completion(client, plan.json);
    body["createdTime"] = -1;
    ExpectRefusal(client.Post("/v1/uploads/create-complete", body), 400, "21004001");
    body["createdTime"] = 1600000000;
    body["editedTime"] = Json::Int64(std::numeric_limits<std::int64_t>::max());
    const Answer made = client.Post("/v1/uploads/create-complete", body);
    EXPECT_EQ(made.json["createdTime"], 1600000000);
    EXPECT_EQ(made.json["editedTime"].asInt64(), std::int64_t{1} << 53);
}

// REF-UPLOAD-08
TEST_F(UploadRoutes, TheAddressIsGivenForThePlansObjectOnly) {
    const Answer plan = Start(sample_);
    const Json::Value item = plan.json["items"][0];
    const Json::Value good = AddressRequest(plan.json, item, StoredBytes(item));
    const Answer address = client.Post("/v1/uploads/address", good);
    ASSERT_EQ(address.status, 200);
    EXPECT_EQ(address.json["method"], "PUT");
    EXPECT_EQ(address.json["bucketId"], plan.json["bucketId"]);
    EXPECT_EQ(address.json["url"].asString().rfind(Shared().base + "/store/", 0), 0U);
    const auto with = [&](const char* name, const Json::Value& value) {
        Json::Value body = good;
        body[name] = value;
        return client.Post("/v1/uploads/address", body);
    };
    ExpectRefusal(with("recordCursor", "lost"), 404, "21000400");
    ExpectRefusal(with("objectId", "lost"), 404, "21000400");
    ExpectRefusal(with("length", 1041), 400, "21004001");
    ExpectRefusal(with("synckey", "x"), 400, "21004001");
    ExpectRefusal(with("time", "x"), 400, "21004001");
    ExpectRefusal(with("sha256", ""), 400, "21004001");
    ExpectRefusal(with("md5", ""), 400, "21004001");
    ExpectRefusal(Shared().NewUser().Post("/v1/uploads/address", good), 404, "21000400");
}

// REF-UPLOAD-09
TEST_F(UploadRoutes, AnObjectThatIsNotStoredCannotBeComplete) {
    const Answer plan = Start(sample_);
    const Json::Value item = plan.json["items"][0];
    const Json::Value body = AddressRequest(plan.json, item, StoredBytes(item));
    ExpectRefusal(client.Post("/v1/uploads/object-complete", body), 409, "21004932");
    ExpectRefusal(Shared().NewUser().Post("/v1/uploads/object-complete", body), 404, "21000400");
}

// REF-UPLOAD-10
TEST_F(UploadRoutes, CreatingMakesTheFileOnce) {
    sample_.attachments = {100, 333};
    const Answer plan = Start(sample_);
    SendObjects(client, plan.json);
    const Json::Value body = sample_.Completion(client, plan.json);
    const Answer done = Create(body);
    ASSERT_EQ(done.status, 200) << done.body;
    EXPECT_EQ(done.json["fileName"], sample_.name);
    EXPECT_EQ(done.json["parentFolder"], client.root);
    EXPECT_EQ(done.json["size"], 3000);
    EXPECT_EQ(done.json["sha256"], Sha256(sample_.bytes));
    EXPECT_EQ(done.json["contentVersion"], "1");
    EXPECT_EQ(done.json["attachmentSize"][1], 333);
    EXPECT_EQ(Create(body).body, done.body) << "a lost answer can be asked for again";
    EXPECT_EQ(client.Get("/v1/files").json["items"].size(), 1U);
}

// REF-UPLOAD-11
TEST_F(UploadRoutes, CompletionChecksEverythingAgainstThePlan) {
    sample_.attachments = {100, 333};
    const Answer plan = Start(sample_);
    Json::Value partial = plan.json;
    partial["items"].resize(3);
    SendObjects(client, partial);
    const Json::Value good = sample_.Completion(client, plan.json);
    ExpectRefusal(Create(good), 409, "21004932");
    SendObjects(client, plan.json);

    const auto with = [&](const std::function<void(Json::Value&)>& change) {
        Json::Value body = good;
        change(body);
        return Create(body);
    };
    const auto empty = Json::Value(Json::arrayValue);
    ExpectRefusal(with([&](auto& b) { b["objectInfoList"] = empty; }), 400, "21004001");
    ExpectRefusal(with([&](auto& b) { b["objectInfoList"][0]["objectIds"] = empty; }), 400, "21004001");
    ExpectRefusal(with([&](auto& b) { b["objectInfoList"][0]["objectIds"].resize(3); }), 409, "21004932");
    ExpectRefusal(
        with([&](auto& b) { b["objectInfoList"][0]["objectIds"][0].swap(b["objectInfoList"][0]["objectIds"][1]); }),
        409, "21004932");
    ExpectRefusal(with([&](auto& b) { b["objectInfoList"][0]["attachmentList"][0]["length"] = 101; }), 400, "21004001");
    ExpectRefusal(with([&](auto& b) { b["objectInfoList"][0]["attachmentList"].resize(1); }), 400, "21004001");
    ExpectRefusal(with([&](auto& b) { b["encFekList"] = empty; }), 400, "21004001");
    ExpectRefusal(with([&](auto& b) { b["encFekList"][1]["keyType"] = 3; }), 400, "21004001");
    ExpectRefusal(with([&](auto& b) { b["encFekList"][1]["efek"] = ""; }), 400, "21004001");
    ExpectRefusal(with([&](auto& b) { b["encFekList"][1]["iv"] = "xyz"; }), 400, "21004001");
    ExpectRefusal(with([&](auto& b) { b["sha256"] = Sha256("other"); }), 409, "21004091");
    ExpectRefusal(with([&](auto& b) { b["size"] = 2999; }), 409, "21004091");
    ExpectRefusal(with([&](auto& b) { b["parentFolder"] = "nothing"; }), 404, "21000401");
    ExpectRefusal(with([&](auto& b) { b["recordCursor"] = "lost"; }), 409, "21004932");
    ExpectRefusal(Update(good), 400, "21004001");
    ExpectRefusal(Shared().NewUser().Post("/v1/uploads/create-complete", good), 409, "21004932");
    EXPECT_TRUE(client.Get("/v1/files").json["items"].empty()) << "none of these made a file";
    EXPECT_EQ(Create(good).status, 200);
}

// REF-UPLOAD-12
TEST_F(UploadRoutes, AResumedUploadMayLeaveTheAttachmentListOut) {
    sample_.attachments = {100, 333};
    const Answer plan = Start(sample_);
    SendObjects(client, plan.json);
    Json::Value body = sample_.Completion(client, plan.json);
    body["objectInfoList"][0]["attachmentList"] = Json::Value(Json::arrayValue);
    const Answer done = Create(body);
    ASSERT_EQ(done.status, 200) << done.body;
    const Json::Value info = client.Get("/v1/files/" + done.json["id"].asString() + "/download").json;
    EXPECT_EQ(info["objectInfoList"][0]["attributes"][1]["name"], "small");
    EXPECT_EQ(info["objectInfoList"][0]["attributes"][2]["size"], 333);
}

// REF-UPLOAD-13
TEST_F(UploadRoutes, AnEmptyFileNeedsNoObjects) {
    const SampleUpload nothing("");
    const Answer plan = Start(nothing);
    EXPECT_TRUE(plan.json["items"].empty());
    Json::Value body = nothing.Completion(client, plan.json);
    body["objectInfoList"] = body["encFekList"] = Json::Value(Json::arrayValue);
    EXPECT_EQ(Create(body).status, 200);
}

// REF-UPLOAD-14
TEST_F(UploadRoutes, AContentThatTheUserHasIsNotSentAgain) {
    const Json::Value first = UploadEncrypted(client, sample_);
    SampleUpload copy(sample_.bytes, "copy.bin");
    const Answer plan = Start(copy);
    EXPECT_EQ(plan.json["uploadType"], "exist");
    EXPECT_NE(plan.json["version"], 0);
    EXPECT_EQ(plan.json["items"].size(), 3U);
    EXPECT_EQ(plan.json["items"][0]["status"], true);
    Json::Value body = copy.Completion(client, plan.json);
    body["objectInfoList"][0]["bucketId"] = "";
    body["encFekList"][1]["efek"] = "another wrapping";
    const Answer done = Create(body);
    ASSERT_EQ(done.status, 200) << done.body;
    const Json::Value info = client.Get("/v1/files/" + done.json["id"].asString() + "/download").json;
    EXPECT_EQ(info["encFekList"][0]["efek"], "wrapped1") << "the keys that open the objects stay";
    EXPECT_EQ(info["objectInfoList"][0]["objectIds"],
              client.Get("/v1/files/" + first["id"].asString() + "/download").json["objectInfoList"][0]["objectIds"]);
}

// REF-UPLOAD-15
TEST_F(UploadRoutes, AContentOfAnotherUserDoesNotExist) {
    UploadEncrypted(client, sample_);
    TestClient other = Shared().NewUser();
    const Answer plan = other.Post("/v1/uploads/start", sample_.Start(other));
    EXPECT_EQ(plan.json["uploadType"], "client");
}

// REF-UPLOAD-16
TEST_F(UploadRoutes, TheSameFileOnceMoreIsToldToBeThere) {
    UploadEncrypted(client, sample_);
    const Answer plan = Start(sample_);
    EXPECT_EQ(plan.json["uploadType"], "exist");
    ExpectRefusal(Create(sample_.Completion(client, plan.json)), 409, "21015002");
}

// REF-UPLOAD-17
TEST_F(UploadRoutes, ANameTakenMeanwhileByAnotherContentIsAConflict) {
    const Answer plan = Start(sample_);
    SendObjects(client, plan.json);
    UploadEncrypted(client, SampleUpload("first come"));
    ExpectRefusal(Create(sample_.Completion(client, plan.json)), 409, "21004091");
}

// REF-UPLOAD-18
TEST_F(UploadRoutes, SpaceThatRanOutMeanwhileIsTold) {
    TestClient small = Shared().NewUser(5000);
    const Answer plan = small.Post("/v1/uploads/start", sample_.Start(small));
    SendObjects(small, plan.json);
    UploadEncrypted(small, SampleUpload(std::string(2500, 'x'), "other"));
    ExpectRefusal(small.Post("/v1/uploads/create-complete", sample_.Completion(small, plan.json)), 507, "21004913");
}

// REF-UPLOAD-19
TEST_F(UploadRoutes, AnUpdateMakesANewVersionOfTheSameFile) {
    const Json::Value first = UploadEncrypted(client, sample_);
    SampleUpload changed(RandomText(1500), "name is not read");
    changed.fileId = first["id"].asString();
    const Json::Value second = UploadEncrypted(client, changed);
    EXPECT_EQ(second["id"], first["id"]);
    EXPECT_EQ(second["fileName"], sample_.name);
    EXPECT_EQ(second["contentVersion"], "2");
    EXPECT_EQ(second["size"], 1500);
    EXPECT_EQ(client.Get("/v1/account/space").json["used"], 1500);
}

// REF-UPLOAD-20
TEST_F(UploadRoutes, AnUpdateOfAnOvertakenVersionIsAConflict) {
    SampleUpload changed(RandomText(1500));
    changed.fileId = UploadEncrypted(client, sample_)["id"].asString();
    const Answer plan = Start(changed);
    SendObjects(client, plan.json);
    Json::Value body = changed.Completion(client, plan.json);
    body["contentVersion"] = "7";
    ExpectRefusal(Update(body), 409, "21004091");
    body["contentVersion"] = "1";
    EXPECT_EQ(Update(body).status, 200);
}

// REF-UPLOAD-21
TEST_F(UploadRoutes, ADeletedFileCannotBeUpdated) {
    SampleUpload changed(RandomText(1500));
    changed.fileId = UploadEncrypted(client, sample_)["id"].asString();
    const Answer plan = Start(changed);
    SendObjects(client, plan.json);
    client.Send("DELETE", "/v1/files/" + changed.fileId);
    ExpectRefusal(Update(changed.Completion(client, plan.json)), 404, "21004041");
}

// REF-UPLOAD-22
TEST_F(UploadRoutes, TheServersSettingAndTheUsersDecideTheWay) {
    EXPECT_EQ(Start(SampleUpload(RandomText(10), "a.plain")).json["uploadType"], "server");
    EXPECT_EQ(Start(SampleUpload(RandomText(10), "a.bin")).json["uploadType"], "client");
    Shared().server->GetCloud().metadata->Change([&](Rows& rows) {
        User user = *rows.UserByName(Shared().lastUser);
        user.uploadType = "server";
        rows.PutUser(user);
    });
    EXPECT_EQ(Start(SampleUpload(RandomText(10), "b.bin")).json["uploadType"], "server");
}

// REF-UPLOAD-23
TEST_F(UploadRoutes, ACloudThatIsBeingMovedTurnsUploadsAway) {
    ServerSettings settings;
    settings.cloud.migrating = true;
    RunningCloud moving(settings);
    TestClient mover = moving.NewUser();
    ExpectRefusal(mover.Post("/v1/uploads/start", sample_.Start(mover)), 403, "21084031");
    EXPECT_EQ(mover.Get("/v1/files").status, 200);
}

}  // namespace

}  // namespace Drive::ReferenceCloud
