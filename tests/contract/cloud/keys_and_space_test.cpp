// The key service, and the space that is left.
#include "interfaces/cloud/cloud_drive_interface.h"
#include "interfaces/common/encrypt_helper.h"
#include "tests/contract/cloud/cloud_test.h"

namespace Drive::Testing {
namespace {

using Cloud::CloudDriveInterface;

std::string Base64(std::size_t bytes) {
    const std::string content = Content(bytes);
    return Common::EncryptHelper::Base64Encode(reinterpret_cast<const unsigned char*>(content.data()), bytes, true);
}

class KeyCalls : public CloudTest {
protected:
    Json::Value Keys(const std::string& entries) {
        server.AnswerAll(Reply::Json(R"({"keys":[)" + entries + "]}"));
        return ParseJson(CloudDriveInterface::KeyList(1, L"blob:cipher", L"1"))["keys"];
    }

    static std::string Entry(std::size_t cipherBytes, const std::string& type = "1") {
        return R"({"keyType":)" + type + R"(,"encryptedKey":")" + Base64(cipherBytes) + R"(","keyUuid":"u"})";
    }
};

// CLOUD-CALL-15
TEST_F(KeyCalls, APublicKeyOf91BytesIsHandedOn) {
    server.AnswerAll(Reply::Json(R"({"publicKey":")" + Base64(91) + R"(","version":"7","more":1})"));
    EXPECT_EQ(R"({"publicKey":")" + Base64(91) + R"(","version":"7"})",
              ToJson(ParseJson(CloudDriveInterface::PublickKey())));
    EXPECT_EQ("GET /v1/keys/public", server.Last().method + " " + server.Last().target);
}

// CLOUD-CALL-15
TEST_F(KeyCalls, AnyOtherPublicKeyIsNone) {
    for (const std::size_t bytes : {0, 1, 65, 90, 92, 1000}) {
        server.AnswerAll(Reply::Json(R"({"publicKey":")" + Base64(bytes) + R"(","version":"7"})"));
        EXPECT_EQ("", CloudDriveInterface::PublickKey()) << bytes;
    }
    for (const char* body :
         {"", "{}", "[]", R"({"publicKey":null})", R"({"publicKey":[]})", R"({"publicKey":"!!!"})"}) {
        server.AnswerAll(Reply::Json(body));
        EXPECT_EQ("", CloudDriveInterface::PublickKey()) << body;
    }
    server.AnswerAll(Reply::Json(R"({"publicKey":")" + Base64(91) + R"("})", 500));
    EXPECT_EQ("", CloudDriveInterface::PublickKey());
}

// CLOUD-CALL-16
TEST_F(KeyCalls, TheKeyListIsAskedWithTheTemporaryKey) {
    Keys("");
    EXPECT_EQ("POST /v1/keys/list", server.Last().method + " " + server.Last().target);
    EXPECT_EQ(R"({"keyKind":1,"temporaryKey":"blob:cipher","version":"1"})", ToJson(ParseJson(server.Last().body)));
}

// CLOUD-CALL-16
TEST_F(KeyCalls, EntriesThatFitTheKeyBuffersAreKeptInOrder) {
    const auto keys = Keys(Entry(44, "1") + "," + Entry(60, "3") + "," + Entry(256 + 28, "2"));
    ASSERT_EQ(3u, keys.size());
    EXPECT_EQ(1, keys[0]["keyType"].asInt());
    EXPECT_EQ(3, keys[1]["keyType"].asInt());
    EXPECT_EQ("u", keys[2]["keyUuid"].asString());
}

// CLOUD-CALL-16
TEST_F(KeyCalls, EntriesThatCouldRunOverTheKeyBuffersAreLeftOut) {
    const auto keys = Keys(Entry(256 + 29) + "," + Entry(44) + "," + Entry(100'000) + "," + Entry(27));
    EXPECT_EQ(1u, keys.size());
    EXPECT_TRUE(LogHolds("left out"));
}

// CLOUD-CALL-16
TEST_F(KeyCalls, EntriesThatAreNoneAreLeftOut) {
    const auto keys =
        Keys(R"(null,5,"x",[],{},{"keyType":1},{"keyType":1,"encryptedKey":5,"keyUuid":"u"},)"
             R"({"keyType":1,"encryptedKey":{},"keyUuid":"u"},{"keyType":1,"encryptedKey":"A","keyUuid":[]},)" +
             Entry(44, "\"1\"") + "," + Entry(44, "null") + "," + Entry(44, "1e99"));
    EXPECT_EQ(3u, keys.size()) << "a type that is no number is for the engine to pass over";
}

// CLOUD-CALL-16
TEST_F(KeyCalls, NoKeyListIsAnEmptyText) {
    for (const Reply& reply : {Reply::Json(""), Reply::Json("{}"), Reply::Json(R"({"keys":{}})"),
                               Reply::Json(R"({"keys":7})"), Reply::Json("[]"), Reply::Json(R"({"keys":[]})", 409)}) {
        server.AnswerAll(reply);
        EXPECT_EQ("", CloudDriveInterface::KeyList(1, L"a:b", L"1")) << reply.body;
    }
}

class Space : public CloudTest {
protected:
    std::int64_t Ask() {
        std::wstring text;
        const auto space = CloudDriveInterface::GetUserSpace(text);
        EXPECT_EQ(L"", text);
        return space;
    }
};

// CLOUD-CALL-17
TEST_F(Space, IsWhatTheCloudSaysIsLeft) {
    server.AnswerAll(Reply::Json(R"({"total":100,"used":40,"remaining":60})"));
    EXPECT_EQ(60, Ask());
    EXPECT_EQ("GET /v1/account/space", server.Last().method + " " + server.Last().target);
}

// CLOUD-CALL-17
TEST_F(Space, NothingLeftIsNoFailure) {
    server.AnswerAll(Reply::Json(R"({"remaining":0})"));
    EXPECT_EQ(0, Ask());
}

// CLOUD-CALL-18
TEST_F(Space, IsRememberedForAWhile) {
    server.AnswerAll(Reply::Json(R"({"remaining":60})"));
    for (int count = 0; count < 5; ++count) EXPECT_EQ(60, Ask());
    EXPECT_EQ(1u, server.Requests().size());
}

// CLOUD-CALL-17
TEST_F(Space, AFailureIsNegativeAndNotRemembered) {
    for (const Reply& reply : {Reply::Json("", 500), Reply::Json("{}"), Reply::Json(R"({"remaining":null})"),
                               Reply::Json(R"({"remaining":"60"})"), Reply::Json(R"({"remaining":-1})"),
                               Reply::Json(R"({"remaining":1e300})"), Reply::Json(R"({"remaining":60.5})"),
                               Reply::Json(R"({"remaining":18446744073709551615})"),
                               Reply::Json(R"({"remaining":60,"errorCode":"21004011"})"), Reply::Json("[60]")}) {
        server.AnswerAll(reply);
        EXPECT_LT(Ask(), 0) << reply.body;
    }
    server.AnswerAll(Reply::Json(R"({"remaining":60})"));
    EXPECT_EQ(60, Ask());
}

// CLOUD-CALL-18
TEST_F(Space, IsForgottenAtEveryCompletingCall) {
    server.AnswerAll(Reply::Json(R"({"remaining":60,"id":"f1"})"));
    Common::FileItem file;
    file.SetFileId(L"f1");
    Common::CreateUpdateRequestModel model(file);
    WMap result;
    Cloud::CloudFile cloudFile;
    const std::vector<std::function<void()>> completing{
        [&] { CloudDriveInterface::FilesCreateComplete(file, L"", model, result); },
        [&] { CloudDriveInterface::FilesUpdateComplete(file, L"", model, result); },
        [&] {
            CloudDriveInterface::FileproxyUpload(server.WideUrl("/p"), L"f1",
                                                 HttpInterface::InterfaceName::MultipartCreate, "", "x", {}, result);
        },
        [&] { Cloud::DriveAccount::Delete(L"f1"); },
        [&] { Cloud::DriveAccount::Restore(L"f1", cloudFile); },
        [&] { Cloud::DriveAccount::UseLogin({}); }};
    for (const auto& call : completing) {
        Ask();
        call();
        server.Forget();
        EXPECT_EQ(60, Ask());
        EXPECT_EQ(1u, server.Requests().size());
    }
}

// CLOUD-CALL-18
TEST_F(Space, AnAnswerFromBeforeACompletionIsNotRememberedAfterIt) {
    server.Answer([&](const SeenRequest& request) {
        if (request.target == "/v1/account/space" && server.Requests().size() == 1) {
            Cloud::DriveAccount::Delete(L"f1");
            return Reply::Json(R"({"remaining":60})");
        }
        return Reply::Json(R"({"remaining":70})");
    });
    EXPECT_EQ(60, Ask());
    EXPECT_EQ(70, Ask());
}

}  // namespace
}  // namespace Drive::Testing
