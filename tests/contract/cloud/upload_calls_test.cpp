// Start, address and confirmation of an upload.
#include "interfaces/cloud/cloud_drive_interface.h"
#include "tests/contract/cloud/cloud_test.h"

namespace Drive::Testing {
namespace {

using Cloud::CloudDriveInterface;

const char* const kPlan =
    R"({"uploadType":"client","version":7,"bucketId":"b","position":0,"recordCursor":"rc","uploadUrl":"","resumeUrl":"",)"
    R"("sliceSize":4194304,"items":[{"objectId":"o1","length":16,"synckey":"k","time":"t","status":false}]})";

class UploadCalls : public CloudTest {
protected:
    UploadCalls() {
        file.SetFileId(L"Local1");
        file.SetLocalFileName(L"caf\u00e9.txt");
        file.SetName(L"old name");
        file.SetLocalParentId(L"parent1");
        file.SetSize(12345);
        file.SetMimeType(L"text/plain");
        file.SetAttachmentSize({100, 2000});
    }

    std::string Start() {
        errorCode = L"old";
        return CloudDriveInterface::ObjectsUploadStart(file, L"abc", L"cursor", errorCode);
    }

    bool Address() {
        result = {{L"old", L"old"}};
        return CloudDriveInterface::GetUploadKelpAddress(file, request, model, result);
    }

    Common::FileItem file;
    Common::KelpAddressRequestModel request{L"b", L"o1", L"k", L"t", L"rc", 16, "md5md5", "shasha"};
    Common::GetKelpAddressModel model;
    std::wstring errorCode;
    WMap result;
};

// CLOUD-CALL-01
TEST_F(UploadCalls, TheStartTellsTheFileAsItIs) {
    server.AnswerAll(Reply::Json(kPlan));
    EXPECT_EQ(kPlan, Start());
    EXPECT_EQ(L"", errorCode);
    EXPECT_EQ("POST", server.Last().method);
    EXPECT_EQ("/v1/uploads/start", server.Last().target);
    EXPECT_EQ("Bearer live-token", server.Last().Header("Authorization"));
    EXPECT_EQ(R"({"attachmentSize":[100,2000],"fileId":"Local1","fileName":"caf\u00e9.txt","mimeType":"text/plain",)"
              R"("parentFolder":"parent1","recordCursor":"cursor","sha256":"abc","size":12345})",
              ToJson(ParseJson(server.Last().body)));
}

// CLOUD-CALL-01
TEST_F(UploadCalls, TheStartTellsADigestOfTheKeyAndNothingElseOfIt) {
    server.AnswerAll(Reply::Json(kPlan));
    const std::string keyText = "000102030405060708090a0b0c0d0e0ff0f1f2f3f4f5f6f7f8f9fafbfcfdfeff";
    file.SetFileHMAC(keyText);
    Start();
    const std::string digest = Sha256("zelkor upload key, form 1:" + keyText);
    EXPECT_EQ(digest, ParseJson(server.Last().body)["keyDigest"].asString());
    EXPECT_EQ(std::string::npos, server.Last().body.find(keyText.substr(0, 16)));
    file.SetFileHMAC("000102030405060708090A0B0C0D0E0FF0F1F2F3F4F5F6F7F8F9FAFBFCFDFEFF");
    Start();
    EXPECT_EQ(digest, ParseJson(server.Last().body)["keyDigest"].asString()) << "it is one key in either case";
}

// CLOUD-CALL-01
TEST_F(UploadCalls, AKeyTextOfAnotherFormIsNotToldOf) {
    server.AnswerAll(Reply::Json(kPlan));
    for (const std::string& text : {std::string(), std::string(63, 'a'), std::string(65, 'a'), std::string(64, 'g')}) {
        file.SetFileHMAC(text);
        Start();
        EXPECT_FALSE(ParseJson(server.Last().body).isMember("keyDigest")) << text;
    }
}

// CLOUD-CALL-02
TEST_F(UploadCalls, ANameThatIsNoUtf8TravelsEscaped) {
    server.AnswerAll(Reply::Json(kPlan));
    file.SetLocalFileName(std::wstring(L"a") + wchar_t(0xDCFF) + L"b" + wchar_t(0xF780));
    Start();
    EXPECT_EQ("a\uf7ffb\uf7ef\uf79e\uf780", ParseJson(server.Last().body)["fileName"].asString());
}

// CLOUD-CALL-03
TEST_F(UploadCalls, ARefusedStartGivesTheCodeAndNoPlan) {
    for (const int status : {400, 403, 404, 409, 500, 507}) {
        server.AnswerAll(Reply::Json(R"({"errorCode":"21084031","description":"moving"})", status));
        EXPECT_EQ("", Start());
        EXPECT_EQ(L"21084031", errorCode);
    }
}

// CLOUD-CALL-03
TEST_F(UploadCalls, ACodeIsNeverMadeUp) {
    std::vector<Reply> replies{Reply::Json("", 500),
                               Reply::Json("<html>", 502),
                               Reply::Json("{}", 404),
                               Reply::Json(R"({"errorCode":null})", 400),
                               Reply::Json(R"({"errorCode":[1]})", 400),
                               {}};
    replies.back().silent = true;
    for (const Reply& reply : replies) {
        server.AnswerAll(reply);
        EXPECT_EQ("", Start());
        EXPECT_EQ(L"", errorCode);
    }
}

// CLOUD-CALL-03
TEST_F(UploadCalls, ACodeThatIsANumberCountsAsItsText) {
    server.AnswerAll(Reply::Json(R"({"errorCode":21084031})", 403));
    Start();
    EXPECT_EQ(L"21084031", errorCode);
}

class BadPlan : public UploadCalls, public testing::WithParamInterface<std::string> {};

// CLOUD-CALL-04
TEST_P(BadPlan, GivesAnEmptyText) {
    server.AnswerAll(Reply::Json(GetParam()));
    EXPECT_EQ("", Start());
    EXPECT_GT(LogLines(), 0u);
}

// Each is refused for one thing only: the rest of it is a plan that could be followed.
INSTANTIATE_TEST_SUITE_P(
    Plans, BadPlan,
    testing::Values("", "null", "[]", "7", "{", "{}", R"({"uploadType":"client","sliceSize":5}x)",
                    R"({"a":1,"a":2,"uploadType":"client","sliceSize":5})",
                    R"({"uploadType":"server","uploadType":"client","sliceSize":5})",
                    R"({"uploadType":"clients","sliceSize":5})", R"({"uploadType":7,"sliceSize":5})",
                    R"({"uploadType":null,"sliceSize":5})", R"({"sliceSize":5})", R"(["uploadType","client"])",
                    "{\"uploadType\":\"client\",\"sliceSize\":5,\"x\":\"\xff\"}",
                    "{'uploadType':'client','sliceSize':5}", R"({"uploadType":"client"})",
                    R"({"uploadType":"client","sliceSize":0})", R"({"uploadType":"client","sliceSize":-4194304})",
                    R"({"uploadType":"client","sliceSize":99999999999})",
                    R"({"uploadType":"client","sliceSize":"4194304"})",
                    "{\"uploadType\":\"client\",\"sliceSize\":5,\"x\":" + std::string(100'000, '[') +
                        std::string(100'000, ']') + "}",
                    R"({"uploadType":"client","sliceSize":5,"errorCode":"21000401"})"));

// CLOUD-CALL-04
TEST_F(UploadCalls, APlanThatIsGoodEnoughIsHandedOnAsItStands) {
    for (const char* plan : {R"({"uploadType":"client","sliceSize":5})", R"({"uploadType":"exist"})",
                             R"({ "uploadType" : "server", "sliceSize" : 0, "x" : [[[[null]]]] })"}) {
        server.AnswerAll(Reply::Json(plan));
        EXPECT_EQ(plan, Start());
    }
}

// CLOUD-CALL-05
TEST_F(UploadCalls, AnAnswerAboveTheLimitIsNotTaken) {
    Reply reply = Reply::Json(R"({"uploadType":"client","sliceSize":5,"x":")" + std::string(20 << 20, 'x') + R"("})");
    server.AnswerAll(reply);
    EXPECT_EQ("", Start());
    reply.announcedLength = "";
    server.AnswerAll(reply);
    EXPECT_EQ("", Start());
}

// CLOUD-CALL-02
TEST_F(UploadCalls, AFileThatCannotBeToldIsAFailure) {
    server.AnswerAll(Reply::Json(kPlan));
    file.SetLocalParentId(std::wstring(1, wchar_t(0xD800)));
    EXPECT_EQ("", Start());
    EXPECT_TRUE(server.Requests().empty());
}

// CLOUD-CALL-06
TEST_F(UploadCalls, TheAddressCallPassesTheObjectOn) {
    server.AnswerAll(Reply::Json(
        R"({"url":"http://127.0.0.1/store/b/o1?s=1","method":"PUT","headers":{"A":"b","N":5},"bucketId":"b2"})"));
    EXPECT_TRUE(Address());
    EXPECT_EQ("/v1/uploads/address", server.Last().target);
    EXPECT_EQ(R"({"bucketId":"b","fileId":"Local1","length":16,"md5":"md5md5","objectId":"o1","recordCursor":"rc",)"
              R"("sha256":"shasha","synckey":"k","time":"t"})",
              ToJson(ParseJson(server.Last().body)));
    EXPECT_EQ(L"http://127.0.0.1/store/b/o1?s=1", model.GetUrl());
    EXPECT_EQ(L"PUT", model.GetMethod());
    EXPECT_EQ(L"b2", model.GetObjectBucketId());
    EXPECT_EQ((WMap{{L"A", L"b"}, {L"N", L"5"}}), model.GetKelpAddressHeaders());
    EXPECT_EQ(L"200", Get(result, L"statuscode"));
    EXPECT_EQ(L"", Get(result, L"errorCode"));
}

// CLOUD-CALL-06
TEST_F(UploadCalls, WithoutABucketInTheAnswerTheAskedOneStands) {
    server.AnswerAll(Reply::Json(R"({"url":"http://127.0.0.1/x","method":"PUT","headers":{}})"));
    EXPECT_TRUE(Address());
    EXPECT_EQ(L"b", model.GetObjectBucketId());
}

// CLOUD-CALL-07
TEST_F(UploadCalls, ARefusedAddressTellsWhy) {
    server.AnswerAll(Reply::Json(R"({"errorCode":"21000400","description":"record lost"})", 404));
    EXPECT_FALSE(Address());
    EXPECT_EQ((WMap{{L"errorCode", L"21000400"}, {L"statuscode", L"404"}, {L"description", L"record lost"}}), result);
    EXPECT_EQ(L"", model.GetUrl());
}

// CLOUD-CALL-07
TEST_F(UploadCalls, AServerErrorAtTheAddressIsStatus500) {
    server.AnswerAll(Reply::Json("oops", 500));
    EXPECT_FALSE(Address());
    EXPECT_EQ(L"500", Get(result, L"statuscode"));
    EXPECT_EQ(L"", Get(result, L"errorCode"));
}

// CLOUD-CALL-07
TEST_F(UploadCalls, NoAnswerAtTheAddressIsStatusZero) {
    Reply reply;
    reply.silent = true;
    server.AnswerAll(reply);
    EXPECT_FALSE(Address());
    EXPECT_EQ(L"0", Get(result, L"statuscode"));
    EXPECT_EQ(L"", Get(result, L"errorCode"));
    EXPECT_NE(L"", Get(result, L"description"));
}

class BadAddress : public UploadCalls, public testing::WithParamInterface<const char*> {};

// CLOUD-CALL-07
TEST_P(BadAddress, IsAFailureWithoutACode) {
    server.AnswerAll(Reply::Json(GetParam()));
    EXPECT_FALSE(Address());
    EXPECT_EQ(L"", Get(result, L"errorCode"));
    EXPECT_EQ(L"", model.GetUrl());
    EXPECT_GT(LogLines(), 0u);
}

INSTANTIATE_TEST_SUITE_P(Answers, BadAddress,
                         testing::Values("", "{}", R"({"url":"http://127.0.0.1/x","headers":{}})",
                                         R"({"method":"PUT","headers":{}})", R"({"url":"","method":"PUT"})",
                                         R"({"url":"javascript:1","method":"PUT"})",
                                         R"({"url":"http://127.0.0.1/x","method":["PUT"]})",
                                         R"({"url":"http://127.0.0.1/x","method":"PUT","headers":[]})",
                                         R"({"url":"http://127.0.0.1/x","method":"PUT","headers":{"A":{}}})",
                                         R"({"url":"http://127.0.0.1/x","method":"PUT","headers":{"A":"b\r\nC: d"}})",
                                         R"({"url":"http://127.0.0.1/x","method":"PUT","headers":{"A b":"c"}})",
                                         R"({"url":"http://127.0.0.1/x","method":"PUT","headers":{},"bucketId":{}})"));

// CLOUD-CALL-08
TEST_F(UploadCalls, TheConfirmationPassesTheStoresAnswerOnUnread) {
    server.AnswerAll(Reply::Json("{}"));
    model.SetObjectBucketId(L"b2");
    const Common::FragmentInfo fragment{L"o1", 16, L"k", L"t", false};
    EXPECT_TRUE(CloudDriveInterface::ObjectsUploadComplete(file, fragment, model, "any \"text\"\n", L"rc"));
    EXPECT_EQ("/v1/uploads/object-complete", server.Last().target);
    EXPECT_EQ(R"({"bucketId":"b2","fileId":"Local1","length":16,"objectId":"o1","recordCursor":"rc",)"
              R"("response":"any \"text\"\n","synckey":"k","time":"t"})",
              ToJson(ParseJson(server.Last().body)));
    EXPECT_TRUE(CloudDriveInterface::ObjectsUploadComplete(file, fragment, model, "\xff\xfe", L"rc"));
    EXPECT_EQ("\ufffd\ufffd", ParseJson(server.Last().body)["response"].asString());
}

// CLOUD-CALL-08
TEST_F(UploadCalls, OnlyAnAcceptedObjectIsConfirmed) {
    const Common::FragmentInfo fragment{L"o1", 16, L"k", L"t", false};
    const auto confirmed = [&](const Reply& reply) {
        server.AnswerAll(reply);
        return CloudDriveInterface::ObjectsUploadComplete(file, fragment, model, "", L"rc");
    };
    Reply silent;
    silent.silent = true;
    EXPECT_TRUE(confirmed(Reply::Json("")));
    EXPECT_FALSE(confirmed(Reply::Json(R"({"errorCode":"21004932"})", 409)));
    EXPECT_FALSE(confirmed(Reply::Json(R"({"errorCode":"21004932"})")));
    EXPECT_FALSE(confirmed(Reply::Json("{}", 302)));
    EXPECT_FALSE(confirmed(Reply::Json("<html>log in to this network</html>")));
    EXPECT_FALSE(confirmed(silent));
}

}  // namespace
}  // namespace Drive::Testing
