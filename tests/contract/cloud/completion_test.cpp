// The call that makes a file exist, and the question after it.
#include "interfaces/cloud/cloud_drive_interface.h"
#include "tests/contract/cloud/cloud_test.h"

namespace Drive::Testing {
namespace {

using Cloud::CloudDriveInterface;

const char* const kEntry =
    R"({"id":"cloud1","fileName":"na\uf7ffme","category":"document","mimeType":"text/plain","parentFolder":["p1"],)"
    R"("contentVersion":"4","size":5,"isDeleted":false,"attachmentSize":[]})";

Common::FileItem SomeFile(const std::wstring& id) {
    Common::FileItem file;
    file.SetFileId(id);
    file.SetName(L"name");
    file.SetLocalParentId(L"p1");
    file.SetHash(L"sha");
    file.SetFileMD5(L"md5");
    file.SetSize(5);
    file.SetMimeType(L"text/plain");
    file.SetContentVersion(L"3");
    return file;
}

class Completion : public CloudTest {
protected:
    bool Create(const std::wstring& id) {
        auto file = SomeFile(id);
        Common::CreateUpdateRequestModel model(file);
        model.SetIsCreateNew(true);
        model.SetObjectInfoList({{L"b", 4096, {L"o1", L"o2"}, {{L"small", 10}, {L"large", 20}}}});
        model.SetEncFekList({{L"uid1", 1, L"efek1", L"iv", L"AES_128"}, {L"uid3", 3, L"efek3", L"iv", L"AES_256"}});
        return CloudDriveInterface::FilesCreateComplete(file, L"rc", model, result);
    }

    bool Update(const std::wstring& id) {
        auto file = SomeFile(id);
        Common::CreateUpdateRequestModel model(file);
        return CloudDriveInterface::FilesUpdateComplete(file, L"rc", model, result);
    }

    bool Inquire(const std::wstring& id) { return CloudDriveInterface::inQuireCloudFile(SomeFile(id), result); }

    WMap result{{L"old", L"old"}};
};

// CLOUD-CALL-09
TEST_F(Completion, TheBodyTellsFileObjectsAndKeys) {
    server.AnswerAll(Reply::Json(kEntry));
    EXPECT_TRUE(Create(L"Local1"));
    EXPECT_EQ("POST", server.Last().method);
    EXPECT_EQ("/v1/uploads/create-complete", server.Last().target);
    EXPECT_EQ(R"({"contentVersion":"3","encFekList":[)"
              R"({"efek":"efek1","encryptAlgorithm":"AES_128","iv":"iv","keyType":1,"keyUid":"uid1"},)"
              R"({"efek":"efek3","encryptAlgorithm":"AES_256","iv":"iv","keyType":3,"keyUid":"uid3"}],)"
              R"("fileId":"Local1","fileName":"name","md5":"md5","mimeType":"text/plain",)"
              R"("objectInfoList":[{"attachmentList":[{"length":10,"name":"small"},{"length":20,"name":"large"}],)"
              R"("bucketId":"b","objectIds":["o1","o2"],"sliceSize":4096}],)"
              R"("parentFolder":"p1","recordCursor":"rc","sha256":"sha","size":5})",
              ToJson(ParseJson(server.Last().body)));
}

// CLOUD-CALL-10
TEST_F(Completion, TheResultHasTheFileAsTheCloudHoldsIt) {
    server.AnswerAll(Reply::Json(kEntry));
    for (const bool done : {Create(L"Local1"), Update(L"cloud1"), Inquire(L"cloud1")}) {
        EXPECT_TRUE(done);
        EXPECT_EQ(L"cloud1", Get(result, L"id"));
        EXPECT_EQ(std::wstring(L"na") + wchar_t(0xDCFF) + L"me", Get(result, L"fileName"));
        EXPECT_EQ(L"document", Get(result, L"category"));
        EXPECT_EQ(L"text/plain", Get(result, L"mimeType"));
        EXPECT_EQ(L"p1", Get(result, L"parentFolder"));
        EXPECT_EQ(L"4", Get(result, L"contentVersion"));
        EXPECT_EQ(L"200", Get(result, L"statuscode"));
        EXPECT_EQ(L"", Get(result, L"errorCode"));
        EXPECT_EQ(L"", Get(result, L"description"));
        EXPECT_EQ(0u, result.count(L"old"));
    }
}

// CLOUD-CALL-09
TEST_F(Completion, AnUpdateAndAnInquiryGoToTheirOwnPlaces) {
    Update(L"cloud1");
    EXPECT_EQ("/v1/uploads/update-complete", server.Last().target);
    Inquire(L"a/b?c");
    EXPECT_EQ("GET /v1/files/a%2Fb%3Fc", server.Last().method + " " + server.Last().target);
    Inquire(L"Local1");
    EXPECT_EQ("GET /v1/files/find?parentFolder=p1&fileName=name", server.Last().method + " " + server.Last().target);
}

// CLOUD-CALL-11
TEST_F(Completion, TheGivenIdStandsInForAnAnswerWithoutOne) {
    for (const char* body : {"", "{}", R"({"id":null})", R"({"id":[]})", R"({"id":"x' OR '1'='1"})"}) {
        server.AnswerAll(Reply::Json(body));
        for (const bool done : {Create(L"cloud9"), Update(L"cloud9"), Inquire(L"cloud9")}) {
            EXPECT_TRUE(done) << body;
            EXPECT_EQ(L"cloud9", Get(result, L"id")) << body;
        }
    }
}

// CLOUD-CALL-11
TEST_F(Completion, ALocalIdWithoutAnAnswerIdIsAFailure) {
    server.AnswerAll(Reply::Json("{}"));
    for (const bool done : {Create(L"Local9"), Inquire(L"Local9"), Create(L"")}) {
        EXPECT_FALSE(done);
        EXPECT_NE(L"200", Get(result, L"statuscode"));
        EXPECT_EQ(L"", Get(result, L"errorCode"));
        EXPECT_EQ(0u, result.count(L"id"));
    }
}

class Refusals : public Completion, public testing::WithParamInterface<std::pair<int, const char*>> {};

// CLOUD-CALL-03
TEST_P(Refusals, AreToldWithTheCloudsCode) {
    const auto& [status, code] = GetParam();
    server.AnswerAll(Reply::Json(std::string(R"({"errorCode":")") + code + R"(","description":"why"})", status));
    for (const bool done : {Create(L"Local1"), Update(L"cloud1"), Inquire(L"cloud1")}) {
        EXPECT_FALSE(done);
        EXPECT_EQ(std::string(code), std::string(result[L"errorCode"].begin(), result[L"errorCode"].end()));
        EXPECT_EQ(std::to_wstring(status), Get(result, L"statuscode"));
        EXPECT_EQ(L"why", Get(result, L"description"));
        EXPECT_EQ(3u, result.size());
    }
}

INSTANTIATE_TEST_SUITE_P(Codes, Refusals,
                         testing::Values(std::pair{409, "21004932"}, std::pair{404, "21000401"},
                                         std::pair{409, "21015002"}, std::pair{507, "21004913"},
                                         std::pair{409, "21004091"}, std::pair{500, "21005001"}, std::pair{400, ""}));

// CLOUD-CALL-03
TEST_F(Completion, AFailureWithoutACodeHasAnEmptyOne) {
    std::vector<Reply> replies{Reply::Json("", 500), Reply::Json("<html>", 404), Reply::Json("no json"), {}};
    replies.back().silent = true;
    for (const Reply& reply : replies) {
        server.AnswerAll(reply);
        for (const bool done : {Create(L"Local1"), Update(L"cloud1"), Inquire(L"cloud1")}) {
            EXPECT_FALSE(done);
            EXPECT_EQ(L"", Get(result, L"errorCode"));
            EXPECT_NE(L"(absent)", Get(result, L"statuscode"));
            EXPECT_NE(L"(absent)", Get(result, L"description"));
        }
    }
}

// CLOUD-CALL-10
TEST_F(Completion, KeysOfTheAnswerCannotPassForOurOwn) {
    server.AnswerAll(Reply::Json(R"({"id":"cloud1","statuscode":"200000","errorCode":"","description":"fine"})", 201));
    EXPECT_TRUE(Create(L"Local1"));
    EXPECT_EQ(L"201", Get(result, L"statuscode"));
}

// CLOUD-REPEAT-05
TEST_F(Completion, IsNotRepeatedBecauseItMayHaveGoneThrough) {
    ConfigureRepeats(3);
    Reply reply = Reply::Json("", 503);
    server.AnswerAll(reply);
    EXPECT_FALSE(Create(L"Local1"));
    EXPECT_FALSE(Update(L"cloud1"));
    EXPECT_EQ(2u, server.Requests().size());
}

}  // namespace
}  // namespace Drive::Testing
