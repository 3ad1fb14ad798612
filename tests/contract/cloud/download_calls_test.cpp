// How the cloud holds a file, and where its objects are.
#include "interfaces/cloud/cloud_drive_interface.h"
#include "tests/contract/cloud/cloud_test.h"

namespace Drive::Testing {
namespace {

using Cloud::CloudDriveInterface;

Json::Value EncryptedAnswer() {
    return ParseJson(
        R"({"fileId":"f1","fileName":"na\uf7ffme","size":5,"contentVersion":"4","recordCursor":"rc","downloadUrl":"",
        "encFekList":[{"efek":"e3","encryptAlgorithm":"AES_256","keyType":"3","iv":"i3","keyUid":"u3"},
                      {"efek":"e1","encryptAlgorithm":"AES_128","keyType":"1","iv":"i1","keyUid":"u1"}],
        "objectInfoList":[{"bucketId":"b","time":"t","length":4112,"objectIds":["o1","o2"],"synckeys":["k1","k2"],
                           "attributes":[{"name":"","size":5},{"name":"small","size":7}]}]})");
}

class DownloadCalls : public CloudTest {
protected:
    bool Ask(const Json::Value& answer) {
        server.AnswerAll(Reply::Json(ToJson(answer)));
        return CloudDriveInterface::GetDownloadAddressInfo(L"f1", model);
    }

    Common::DownLoadAddressInfoModel model;
};

// CLOUD-CALL-12
TEST_F(DownloadCalls, AnEncryptedFileComesWithKeysAndObjectsAndTypeOneFirst) {
    EXPECT_TRUE(Ask(EncryptedAnswer()));
    EXPECT_EQ("GET /v1/files/f1/download", server.Last().method + " " + server.Last().target);
    EXPECT_EQ(L"f1", model.GetFileId());
    EXPECT_EQ(std::wstring(L"na") + wchar_t(0xDCFF) + L"me", model.GetFileName());
    EXPECT_EQ(L"4", model.GetContentVersion());
    EXPECT_EQ(L"rc", model.GetRecordCursor());
    EXPECT_EQ(L"", model.GetDownloadURL());
    ASSERT_EQ(2u, model.GetEncFekList().size());
    const auto& key = model.GetEncFekList()[0];
    EXPECT_EQ(L"1", key.keyType);
    EXPECT_EQ(L"e1", key.efek);
    EXPECT_EQ(L"AES_128", key.encryptAlgorithm);
    EXPECT_EQ(L"i1", key.iv);
    EXPECT_EQ(L"u1", key.keyUid);
    EXPECT_EQ(L"3", model.GetEncFekList()[1].keyType);
    ASSERT_EQ(1u, model.GetObjectInfoList().size());
    const auto& objects = model.GetObjectInfoList()[0];
    EXPECT_EQ(L"b", objects.bucketId);
    EXPECT_EQ(L"t", objects.time);
    EXPECT_EQ(4112, objects.length);
    EXPECT_EQ((std::vector<std::wstring>{L"o1", L"o2"}), objects.objectIds);
    EXPECT_EQ((std::vector<std::wstring>{L"k1", L"k2"}), objects.synckeys);
    ASSERT_EQ(2u, objects.attributes.size());
    EXPECT_EQ(L"small", objects.attributes[1].name);
    EXPECT_EQ(7, objects.attributes[1].size);
}

// CLOUD-CALL-12
TEST_F(DownloadCalls, APlainFileComesWithItsAddress) {
    auto answer = EncryptedAnswer();
    answer["encFekList"] = Json::Value(Json::arrayValue);
    answer["objectInfoList"] = Json::Value(Json::arrayValue);
    answer["downloadUrl"] = "http://127.0.0.1/v1/files/f1/content";
    EXPECT_TRUE(Ask(answer));
    EXPECT_TRUE(model.GetEncFekList().empty());
    EXPECT_EQ(L"http://127.0.0.1/v1/files/f1/content", model.GetDownloadURL());
}

// CLOUD-CALL-12
TEST_F(DownloadCalls, AKeyTypeThatIsANumberCountsAsItsText) {
    auto answer = EncryptedAnswer();
    answer["encFekList"][1]["keyType"] = 1;
    EXPECT_TRUE(Ask(answer));
    EXPECT_EQ(L"1", model.GetEncFekList()[0].keyType);
}

struct Bend {
    const char* name;
    std::function<void(Json::Value&)> make;
};

class BadDownloadAnswer : public DownloadCalls, public testing::WithParamInterface<Bend> {};

// CLOUD-CALL-13
TEST_P(BadDownloadAnswer, IsRefusedBecauseTheEngineWouldWalkIt) {
    auto answer = EncryptedAnswer();
    GetParam().make(answer);
    model.SetRecordCursor(L"untouched");
    EXPECT_FALSE(Ask(answer));
    EXPECT_EQ(L"untouched", model.GetRecordCursor());
    EXPECT_GT(LogLines(), 0u);
}

INSTANTIATE_TEST_SUITE_P(
    Answers, BadDownloadAnswer,
    testing::Values(
        Bend{"keys_without_objects", [](Json::Value& answer) { answer["objectInfoList"] = Json::Value(Json::arrayValue); }},
        Bend{"objects_null", [](Json::Value& answer) { answer["objectInfoList"] = Json::Value(); }},
        Bend{"objects_text", [](Json::Value& answer) { answer["objectInfoList"] = "x"; }},
        Bend{"object_entry_null", [](Json::Value& answer) { answer["objectInfoList"][0] = Json::Value(); }},
        Bend{"object_entry_number", [](Json::Value& answer) { answer["objectInfoList"][0] = 5; }},
        Bend{"keys_text_would_look_plain", [](Json::Value& answer) { answer["encFekList"] = "x"; }},
        Bend{"keys_object", [](Json::Value& answer) { answer["encFekList"] = Json::Value(Json::objectValue); }},
        Bend{"key_entry_null", [](Json::Value& answer) { answer["encFekList"][0] = Json::Value(); }},
        Bend{"key_entry_array", [](Json::Value& answer) { answer["encFekList"][0] = Json::Value(Json::arrayValue); }},
        Bend{"efek_number_array", [](Json::Value& answer) { answer["encFekList"][0]["efek"] = Json::Value(Json::arrayValue); }},
        Bend{"no_objects",
             [](Json::Value& answer) {
                 answer["objectInfoList"][0]["objectIds"] = Json::Value(Json::arrayValue);
                 answer["objectInfoList"][0]["synckeys"] = Json::Value(Json::arrayValue);
             }},
        Bend{"ids_absent", [](Json::Value& answer) { answer["objectInfoList"][0].removeMember("objectIds"); }},
        Bend{"id_null", [](Json::Value& answer) { answer["objectInfoList"][0]["objectIds"][1] = Json::Value(); }},
        Bend{"id_empty", [](Json::Value& answer) { answer["objectInfoList"][0]["objectIds"][1] = ""; }},
        Bend{"id_object", [](Json::Value& answer) { answer["objectInfoList"][0]["objectIds"][0] = Json::Value(Json::objectValue); }},
        Bend{"fewer_synckeys", [](Json::Value& answer) { answer["objectInfoList"][0]["synckeys"].resize(1); }},
        Bend{"synckeys_absent", [](Json::Value& answer) { answer["objectInfoList"][0].removeMember("synckeys"); }},
        Bend{"more_synckeys", [](Json::Value& answer) { answer["objectInfoList"][0]["synckeys"].append("k3"); }},
        Bend{"length_negative", [](Json::Value& answer) { answer["objectInfoList"][0]["length"] = -1; }},
        Bend{"length_huge", [](Json::Value& answer) { answer["objectInfoList"][0]["length"] = 1e300; }},
        Bend{"length_text", [](Json::Value& answer) { answer["objectInfoList"][0]["length"] = "4112"; }},
        Bend{"attributes_text", [](Json::Value& answer) { answer["objectInfoList"][0]["attributes"] = "x"; }},
        Bend{"nothing_at_all", [](Json::Value& answer) { answer = Json::Value(Json::objectValue); }},
        Bend{"plain_without_address", [](Json::Value& answer) { answer["encFekList"] = Json::Value(); }},
        Bend{"plain_with_another_scheme",
             [](Json::Value& answer) {
                 answer["encFekList"] = Json::Value();
                 answer["downloadUrl"] = "file:///etc/passwd";
             }},
        Bend{"address_number", [](Json::Value& answer) { answer["downloadUrl"] = Json::Value(Json::arrayValue); }},
        Bend{"code_in_a_success", [](Json::Value& answer) { answer["errorCode"] = "21004041"; }}),
    [](const auto& info) { return info.param.name; });

// CLOUD-CALL-13
TEST_F(DownloadCalls, AnEmptyIdIsNotAskedFor) {
    EXPECT_FALSE(CloudDriveInterface::GetDownloadAddressInfo(L"", model));
    EXPECT_TRUE(server.Requests().empty());
}

// CLOUD-CALL-13
TEST_F(DownloadCalls, RefusalAndSilenceAreFailures) {
    Reply silent;
    silent.silent = true;
    for (const Reply& reply :
         {Reply::Json(R"({"errorCode":"21004041"})", 404), Reply::Json("", 500), Reply::Json(""), silent}) {
        server.AnswerAll(reply);
        EXPECT_FALSE(CloudDriveInterface::GetDownloadAddressInfo(L"f1", model));
        Common::DownloadKelpAddressInfo info;
        EXPECT_FALSE(CloudDriveInterface::GetDownloadKelpAddress({}, info));
    }
}

// CLOUD-CALL-14
TEST_F(DownloadCalls, TheAddressOfAnObjectIsAskedWithoutDigests) {
    server.AnswerAll(Reply::Json(R"({"url":"http://127.0.0.1/store/b/o1","headers":{"A":"b"}})"));
    Common::DownloadKelpAddressInfo info;
    EXPECT_TRUE(CloudDriveInterface::GetDownloadKelpAddress({L"b", L"o1", L"k", L"t", L"rc", 16, "", ""}, info));
    EXPECT_EQ("POST /v1/downloads/address", server.Last().method + " " + server.Last().target);
    EXPECT_EQ(R"({"bucketId":"b","length":16,"objectId":"o1","recordCursor":"rc","synckey":"k","time":"t"})",
              ToJson(ParseJson(server.Last().body)));
    EXPECT_EQ(L"http://127.0.0.1/store/b/o1", info.GetUrl());
    EXPECT_EQ((WMap{{L"A", L"b"}}), info.GetHeaders());
}

class BadObjectAddress : public DownloadCalls, public testing::WithParamInterface<const char*> {};

// CLOUD-CALL-13
TEST_P(BadObjectAddress, IsAFailure) {
    server.AnswerAll(Reply::Json(GetParam()));
    Common::DownloadKelpAddressInfo info;
    EXPECT_FALSE(CloudDriveInterface::GetDownloadKelpAddress({}, info));
    EXPECT_EQ(L"", info.GetUrl());
}

INSTANTIATE_TEST_SUITE_P(Answers, BadObjectAddress,
                         testing::Values("", "{}", "[]", R"({"url":null})", R"({"url":7})", R"({"url":""})",
                                         R"({"url":"http://"})", R"({"url":"http://h/x","headers":"A: b"})",
                                         R"({"url":"http://h/x","headers":{"A":null}})", R"({"url":"http://h/x y"})",
                                         R"({"url":"http://h/x\r\nA: b"})"));

}  // namespace
}  // namespace Drive::Testing
