// The file proxy: what goes over the wire, and what the result says.
#include "interfaces/cloud/cloud_drive_interface.h"
#include "tests/contract/cloud/cloud_test.h"

namespace Drive::Testing {
namespace {

using Cloud::CloudDriveInterface;
using HttpInterface::InterfaceName;

class FileProxy : public CloudTest {
protected:
    bool Upload(InterfaceName operation, const std::string& raw, const std::string& text, const WMap& headers = {},
                const std::wstring& fileId = L"file7") {
        result = {{L"old", L"old"}};
        return CloudDriveInterface::FileproxyUpload(server.WideUrl("/proxy/s1"), fileId, operation, raw, text, headers,
                                                    result);
    }

    bool Slice(const std::wstring& range, const std::string& bytes, const std::wstring& fileId = L"file7") {
        return Upload(InterfaceName::ResumeSlice, bytes, "",
                      {{L"Content-Range", range},
                       {L"Content-Length", std::to_wstring(bytes.size())},
                       {L"Content-Type", L"video/mp4"}},
                      fileId);
    }

    WMap result;
};

// CLOUD-PROXY-01
TEST_F(FileProxy, AMultipartUploadGoesByteForByte) {
    const std::string body = "--B\r\n Content-Type: x" + Content(100);
    EXPECT_TRUE(Upload(InterfaceName::MultipartCreate, "", body,
                       {{L"Content-Type", L"multipart/related;boundary=B"}, {L"Cache-Control", L"no-cache"}}));
    EXPECT_EQ(
        "POST /proxy/s1?uploadType=multipart HTTP/1.1\r\n"
        "Cache-Control: no-cache\r\n"
        "Content-Type: multipart/related;boundary=B\r\n"
        "Authorization: Bearer live-token\r\n"
        "Content-Length: " +
            std::to_string(body.size()) + "\r\n",
        HeadWithoutHost(server.Last()));
    EXPECT_EQ(body, server.Last().body);
}

// CLOUD-PROXY-01
TEST_F(FileProxy, TheOddHeadersOfTheEngineGoUnchanged) {
    Upload(InterfaceName::ResumeCreate, "", "{}\n",
           {{L"X-Upload-Content-Typ", L"video/mp4"},
            {L"X-Upload-Content-Length", L"10485760"},
            {L"Content-Type", L"application/json"},
            {L"Cache-Control", L"no-cache"}});
    EXPECT_EQ(
        "POST /proxy/s1?uploadType=resume HTTP/1.1\r\n"
        "Cache-Control: no-cache\r\n"
        "Content-Type: application/json\r\n"
        "X-Upload-Content-Length: 10485760\r\n"
        "X-Upload-Content-Typ: video/mp4\r\n"
        "Authorization: Bearer live-token\r\n"
        "Content-Length: 3\r\n",
        HeadWithoutHost(server.Last()));
    EXPECT_EQ("{}\n", server.Last().body);
}

// CLOUD-PROXY-01
TEST_F(FileProxy, ASliceIsPutAsRawBytesWithOneContentLength) {
    const std::string bytes = std::string("\0\1\2", 3) + Content(5);
    EXPECT_TRUE(Slice(L"bytes 100-7/1000", bytes));
    EXPECT_EQ(
        "PUT /proxy/s1 HTTP/1.1\r\n"
        "Content-Range: bytes 100-7/1000\r\n"
        "Content-Type: video/mp4\r\n"
        "Authorization: Bearer live-token\r\n"
        "Content-Length: 8\r\n",
        HeadWithoutHost(server.Last()));
    EXPECT_EQ(bytes, server.Last().body);
}

struct Verb {
    InterfaceName operation;
    const char* line;
};

class ProxyVerbs : public FileProxy, public testing::WithParamInterface<Verb> {};

// CLOUD-PROXY-02
TEST_P(ProxyVerbs, FollowTheOperation) {
    Upload(GetParam().operation, "x", "");
    EXPECT_EQ(GetParam().line, server.Last().method + " " + server.Last().target);
}

INSTANTIATE_TEST_SUITE_P(Operations, ProxyVerbs,
                         testing::Values(Verb{InterfaceName::MultipartCreate, "POST /proxy/s1?uploadType=multipart"},
                                         Verb{InterfaceName::MultipartUpdate, "PATCH /proxy/s1?uploadType=multipart"},
                                         Verb{InterfaceName::ResumeCreate, "POST /proxy/s1?uploadType=resume"},
                                         Verb{InterfaceName::ResumeUpdate, "PATCH /proxy/s1?uploadType=resume"},
                                         Verb{InterfaceName::ResumeSlice, "PUT /proxy/s1"}));

// CLOUD-PROXY-02
TEST_F(FileProxy, TheUploadTypeJoinsAQueryThatIsThere) {
    CloudDriveInterface::FileproxyUpload(server.WideUrl("/proxy/s1?a=b"), L"f", InterfaceName::MultipartCreate, "", "x",
                                         {}, result);
    EXPECT_EQ("/proxy/s1?a=b&uploadType=multipart", server.Last().target);
    CloudDriveInterface::FileproxyUpload(server.WideUrl("/proxy/s1?"), L"f", InterfaceName::MultipartCreate, "", "x",
                                         {}, result);
    EXPECT_EQ("/proxy/s1?uploadType=multipart", server.Last().target);
}

// CLOUD-PROXY-03
TEST_F(FileProxy, AnEmptySliceIsNotSentAndAnswers404) {
    EXPECT_FALSE(Upload(InterfaceName::ResumeSlice, "", ""));
    EXPECT_FALSE(Upload(InterfaceName::ResumeSlice, "", "text that is no slice"));
    EXPECT_EQ(L"404", Get(result, L"statuscode"));
    EXPECT_EQ(L"", Get(result, L"errorCode"));
    EXPECT_TRUE(server.Requests().empty());
}

// CLOUD-CALL-11
TEST_F(FileProxy, ACompletedFileTellsItsId) {
    server.AnswerAll(Reply::Json(R"({"id":"cloud1","fileName":"a","contentVersion":"3","size":12,"isFolder":false})"));
    for (const auto operation : {InterfaceName::MultipartCreate, InterfaceName::MultipartUpdate}) {
        EXPECT_TRUE(Upload(operation, "", "x", {}, L"LocalX"));
        EXPECT_EQ(L"cloud1", Get(result, L"id"));
        EXPECT_EQ(L"200", Get(result, L"statuscode"));
        EXPECT_EQ(L"", Get(result, L"errorCode"));
        EXPECT_EQ(L"", Get(result, L"description"));
        EXPECT_EQ(L"a", Get(result, L"fileName"));
        EXPECT_EQ(L"3", Get(result, L"contentVersion"));
        EXPECT_EQ(L"12", Get(result, L"size"));
        EXPECT_EQ(0u, result.count(L"old"));
    }
}

// CLOUD-CALL-11
TEST_F(FileProxy, TheGivenIdStandsInForAnAnswerWithoutOne) {
    for (const char* body :
         {"", "{}", R"({"id":""})", R"({"id":null})", R"({"id":{}})", R"({"id":"Local5"})", "no json"}) {
        server.AnswerAll(Reply::Json(body));
        EXPECT_TRUE(Upload(InterfaceName::MultipartUpdate, "", "x")) << body;
        EXPECT_EQ(L"file7", Get(result, L"id")) << body;
        EXPECT_EQ(L"200", Get(result, L"statuscode")) << body;
        EXPECT_TRUE(Slice(L"bytes 0-3/4", "last")) << body;
        EXPECT_EQ(L"file7", Get(result, L"id")) << body;
        EXPECT_EQ(L"200", Get(result, L"statuscode")) << body;
    }
}

// CLOUD-CALL-11
TEST_F(FileProxy, ALocalIdWithoutAnAnswerIdIsAFailure) {
    server.AnswerAll(Reply::Json("{}"));
    EXPECT_FALSE(Upload(InterfaceName::MultipartCreate, "", "x", {}, L"Local1"));
    EXPECT_NE(L"200", Get(result, L"statuscode"));
    EXPECT_EQ(0u, result.count(L"id"));
    EXPECT_FALSE(Slice(L"bytes 0-3/4", "last", L"Local1"));
    EXPECT_NE(L"200", Get(result, L"statuscode"));
}

// CLOUD-PROXY-04
TEST_F(FileProxy, AMiddleSliceCarriesNoIdAndDoesNotLookLikeTheEnd) {
    for (const char* body : {R"({"position":4})", "", R"({"id":"","position":4})"}) {
        server.AnswerAll(Reply::Json(body));
        EXPECT_TRUE(Slice(L"bytes 0-3/12", "1234", L"Local1"));
        EXPECT_EQ(0u, result.count(L"id"));
        EXPECT_NE(L"200", Get(result, L"statuscode"));
    }
}

// CLOUD-PROXY-04
TEST_F(FileProxy, TheSliceThatReachesTheEndIsKnownByPositionAndTotal) {
    server.AnswerAll(Reply::Json(R"({"id":"cloud1"})"));
    EXPECT_TRUE(Slice(L"bytes 8-3/12", "1234", L"Local1"));
    EXPECT_EQ(L"cloud1", Get(result, L"id"));
    EXPECT_EQ(L"200", Get(result, L"statuscode"));
}

// CLOUD-PROXY-05
TEST_F(FileProxy, AResumeAddressComesWithItsSliceSize) {
    server.AnswerAll(Reply::Json(R"({"resumeUrl":"http://127.0.0.1/proxy/s1","sliceSize":5242880,"position":0})"));
    EXPECT_TRUE(Upload(InterfaceName::ResumeCreate, "", "{}", {}, L"Local1"));
    EXPECT_EQ(L"http://127.0.0.1/proxy/s1", Get(result, L"resumeUrl"));
    EXPECT_EQ(L"5242880", Get(result, L"sliceSize"));
    EXPECT_EQ(L"200", Get(result, L"statuscode"));
    EXPECT_EQ(0u, result.count(L"id"));
}

class BadOpening : public FileProxy, public testing::WithParamInterface<const char*> {};

// CLOUD-PROXY-05
TEST_P(BadOpening, GivesNeitherAddressNorSliceSize) {
    server.AnswerAll(Reply::Json(GetParam()));
    EXPECT_FALSE(Upload(InterfaceName::ResumeUpdate, "", "{}"));
    EXPECT_EQ(0u, result.count(L"resumeUrl"));
    EXPECT_EQ(0u, result.count(L"sliceSize"));
}

INSTANTIATE_TEST_SUITE_P(Answers, BadOpening,
                         testing::Values("", "{}", "[]", "null", R"({"resumeUrl":"http://a/b"})",
                                         R"({"resumeUrl":"http://a/b","sliceSize":0})",
                                         R"({"resumeUrl":"http://a/b","sliceSize":-1})",
                                         R"({"resumeUrl":"http://a/b","sliceSize":"many"})",
                                         R"({"resumeUrl":"http://a/b","sliceSize":99999999999})",
                                         R"({"resumeUrl":"http://a/b","sliceSize":1e300})",
                                         R"({"resumeUrl":"http://a/b","sliceSize":null})", R"({"sliceSize":5242880})",
                                         R"({"resumeUrl":"file:///etc/passwd","sliceSize":5})",
                                         R"({"resumeUrl":7,"sliceSize":5})", R"({"resumeUrl":["a"],"sliceSize":5})"));

// CLOUD-PROXY-06
TEST_F(FileProxy, RefusalsCarryTheCloudsCodeAndStatus) {
    server.AnswerAll(Reply::Json(R"({"errorCode":"21004091","description":"digest differs"})", 409));
    for (const auto operation :
         {InterfaceName::MultipartCreate, InterfaceName::ResumeCreate, InterfaceName::ResumeSlice}) {
        EXPECT_FALSE(Upload(operation, "x", ""));
        EXPECT_EQ(L"21004091", Get(result, L"errorCode"));
        EXPECT_EQ(L"409", Get(result, L"statuscode"));
        EXPECT_EQ(L"digest differs", Get(result, L"description"));
        EXPECT_EQ(3u, result.size());
    }
}

// CLOUD-PROXY-06
TEST_F(FileProxy, ALostSessionIs404) {
    server.AnswerAll(Reply::Json("", 404));
    EXPECT_FALSE(Slice(L"bytes 0-3/12", "1234"));
    EXPECT_EQ(L"404", Get(result, L"statuscode"));
    EXPECT_EQ(L"", Get(result, L"errorCode"));
}

// CLOUD-PROXY-06
TEST_F(FileProxy, ACodeInASuccessIsAFailure) {
    server.AnswerAll(Reply::Json(R"({"id":"cloud1","errorCode":"21004913"})"));
    EXPECT_FALSE(Upload(InterfaceName::MultipartCreate, "", "x"));
    EXPECT_EQ(L"21004913", Get(result, L"errorCode"));
}

// CLOUD-PROXY-10
TEST_F(FileProxy, AFailureToWhichTheCloudSaid200DoesNotLookLikeTheEnd) {
    server.AnswerAll(Reply::Json(R"({"id":"cloud1","errorCode":"21004913"})"));
    for (const auto operation : {InterfaceName::MultipartCreate, InterfaceName::MultipartUpdate,
                                 InterfaceName::ResumeCreate, InterfaceName::ResumeUpdate}) {
        EXPECT_FALSE(Upload(operation, "", "x"));
        EXPECT_EQ(L"502", Get(result, L"statuscode"));
    }
    for (const wchar_t* range : {L"bytes 0-3/12", L"bytes 8-3/12"}) {
        EXPECT_FALSE(Slice(range, "1234"));
        EXPECT_EQ(L"502", Get(result, L"statuscode"));
    }
}

// CLOUD-PROXY-05
TEST_F(FileProxy, AnOpeningTellsNoIdWhateverTheCloudSays) {
    server.AnswerAll(Reply::Json(R"({"resumeUrl":"http://127.0.0.1/proxy/s1","sliceSize":5242880,"id":"cloud1"})"));
    EXPECT_TRUE(Upload(InterfaceName::ResumeUpdate, "", "{}"));
    EXPECT_EQ(0u, result.count(L"id"));
}

// CLOUD-PROXY-07
TEST_F(FileProxy, ATransportFailureIsStatusZero) {
    Reply reply;
    reply.silent = true;
    server.AnswerAll(reply);
    for (const auto operation :
         {InterfaceName::MultipartCreate, InterfaceName::ResumeCreate, InterfaceName::ResumeSlice}) {
        EXPECT_FALSE(Upload(operation, "x", ""));
        EXPECT_EQ(L"0", Get(result, L"statuscode"));
        EXPECT_EQ(L"", Get(result, L"errorCode"));
        EXPECT_NE(L"", Get(result, L"description"));
    }
}

// CLOUD-PROXY-07
TEST_F(FileProxy, WhatCannotBeSentIsStatusZero) {
    for (const wchar_t* url : {L"", L"nothing", L"ftp://127.0.0.1/x"}) {
        EXPECT_FALSE(
            CloudDriveInterface::FileproxyUpload(url, L"f", InterfaceName::MultipartCreate, "", "x", {}, result));
        EXPECT_EQ(L"0", Get(result, L"statuscode"));
    }
    EXPECT_FALSE(Upload(static_cast<InterfaceName>(50099), "x", ""));
    EXPECT_FALSE(Upload(InterfaceName::MultipartCreate, "", "x", {{L"A", L"b\r\nC: d"}}));
    EXPECT_TRUE(server.Requests().empty());
}

// CLOUD-PROXY-08
TEST_F(FileProxy, ALargeSliceHasNoTotalLimit) {
    // Longer on its way than the total limit of a control call, never silent for as long as the idle limit.
    Reply reply = Reply::Json(R"({"id":"cloud1"})");
    server.AnswerAll(reply);
    auto settings = Settings();
    settings.controlSeconds = 1;
    settings.uploadBytesPerSecond = 400'000;
    Configure(settings);
    EXPECT_TRUE(Slice(L"bytes 0-599999/600000", Content(600'000)));
}

}  // namespace
}  // namespace Drive::Testing
