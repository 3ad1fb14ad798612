// The upload of one object to the store, and the boundary text.
#include <set>

#include "interfaces/cloud/file_trans_request.h"
#include "tests/contract/cloud/cloud_test.h"

namespace Drive::Testing {
namespace {

using Cloud::FileTransRequest;

class StoreUpload : public CloudTest {
protected:
    bool Send(const std::wstring& verb, const std::string& body, const WMap& headers) {
        responseHeaders = {{L"old", L"old"}};
        responseText = "old";
        return FileTransRequest::UploadRequest(server.WideUrl("/store/b/o?expires=1&signature=s%2Bx"), headers, verb,
                                               {body.begin(), body.end()}, responseHeaders, responseText);
    }

    WMap responseHeaders;
    std::string responseText;
};

// CLOUD-STORE-01
TEST_F(StoreUpload, SendsExactlyTheseHeadersThisVerbAndThisBody) {
    const std::string body = Content(100);
    EXPECT_TRUE(Send(L"PUT", body, {{L"Content-MD5", L"abc=="}, {L"x-amz-meta", L"1"}}));
    EXPECT_EQ(
        "PUT /store/b/o?expires=1&signature=s%2Bx HTTP/1.1\r\n"
        "Content-MD5: abc==\r\n"
        "x-amz-meta: 1\r\n"
        "Content-Length: 100\r\n",
        HeadWithoutHost(server.Last()));
    EXPECT_EQ(body, server.Last().body);
    EXPECT_EQ(1, server.Last().CountHeader("Host"));
}

// CLOUD-STORE-01
TEST_F(StoreUpload, KeepsTheHeadersThatAClientLibraryWouldAddOfItsOwnWhenTheStoreGaveThem) {
    Send(L"PUT", "x", {{L"Accept", L"*/*"}, {L"Content-Type", L"application/octet-stream"}, {L"X-Empty", L""}});
    EXPECT_EQ(
        "PUT /store/b/o?expires=1&signature=s%2Bx HTTP/1.1\r\n"
        "Accept: */*\r\n"
        "Content-Type: application/octet-stream\r\n"
        "X-Empty:\r\n"
        "Content-Length: 1\r\n",
        HeadWithoutHost(server.Last()));
}

// CLOUD-STORE-02
TEST_F(StoreUpload, AContentLengthOfTheStoreIsNotSentTwice) {
    Send(L"PUT", "four", {{L"Content-Length", L"4"}});
    EXPECT_EQ(1, server.Last().CountHeader("Content-Length"));
    EXPECT_EQ("4", server.Last().Header("Content-Length"));
}

// CLOUD-STORE-02
TEST_F(StoreUpload, AContentLengthThatIsNotTheBodysIsPutRight) {
    EXPECT_TRUE(Send(L"PUT", "four", {{L"content-length", L"999"}}));
    EXPECT_EQ(1, server.Last().CountHeader("Content-Length"));
    EXPECT_EQ("four", server.Last().body);
}

// CLOUD-STORE-02
TEST_F(StoreUpload, ALargeBodyGoesWithoutWaitingForLeave) {
    const std::string body = Content(5 << 20);
    EXPECT_TRUE(Send(L"PUT", body, {}));
    EXPECT_TRUE(body == server.Last().body);
    EXPECT_EQ(0, server.Last().CountHeader("Expect"));
    EXPECT_EQ(0, server.Last().CountHeader("Transfer-Encoding"));
}

// CLOUD-STORE-01
TEST_F(StoreUpload, AnyVerbOfTheStoreIsSentAsItIs) {
    for (const std::wstring verb : {L"POST", L"PATCH", L"put"}) {
        EXPECT_TRUE(Send(verb, "body", {}));
        EXPECT_EQ(std::string(verb.begin(), verb.end()), server.Last().method);
        EXPECT_EQ("body", server.Last().body);
        EXPECT_EQ(0, server.Last().CountHeader("Content-Type"));
    }
}

// CLOUD-STORE-02
TEST_F(StoreUpload, AnEmptyBodyHasLengthZero) {
    EXPECT_TRUE(Send(L"PUT", "", {}));
    EXPECT_EQ("0", server.Last().Header("Content-Length"));
}

// CLOUD-STORE-01
TEST_F(StoreUpload, NeverAddsTheLogin) {
    Send(L"PUT", "x", {});
    EXPECT_EQ(0, server.Last().CountHeader("Authorization"));
    Send(L"PUT", "x", {{L"Authorization", L"Bearer of-the-store"}});
    EXPECT_EQ("Bearer of-the-store", server.Last().Header("Authorization"));
}

// CLOUD-STORE-03
TEST_F(StoreUpload, GivesTheStoresAnswerBack) {
    Reply reply;
    reply.headers = {{"ETag", "\"abc\""}, {"X-Object-Sha256", Sha256("x")}};
    reply.body = std::string("any\0thing", 9);
    server.AnswerAll(reply);
    EXPECT_TRUE(Send(L"PUT", "x", {}));
    EXPECT_EQ(L"\"abc\"", Get(responseHeaders, L"ETag"));
    EXPECT_EQ(64u, Get(responseHeaders, L"X-Object-Sha256").size());
    EXPECT_EQ(reply.body, responseText);
    EXPECT_EQ(0u, responseHeaders.count(L"old"));
}

// CLOUD-STORE-04
TEST_F(StoreUpload, AnObjectThatTheStoreHoldsWithAnotherDigestIsNotAccepted) {
    const std::string digest = Sha256("abc");
    const WMap headers{{L"x-object-sha256", {digest.begin(), digest.end()}}};
    const auto send = [&](const std::string& held) {
        Reply reply;
        if (!held.empty()) reply.headers = {{"X-Object-Sha256", held}};
        server.AnswerAll(reply);
        return Send(L"PUT", "abc", headers);
    };
    EXPECT_TRUE(send(digest));
    EXPECT_TRUE(send("BA7816BF8F01CFEA414140DE5DAE2223B00361A396177A9CB410FF61F20015AD"));
    EXPECT_TRUE(send("")) << "a store that tells nothing has the word of its status";
    EXPECT_EQ(0u, LogLines());
    EXPECT_FALSE(send(Sha256("abd")));
    EXPECT_TRUE(LogHolds("the digest that the store tells is not the one of the object"));
}

// CLOUD-STORE-04
TEST_F(StoreUpload, WhereTheHeadersTellNoDigestTheBodysOwnIsHeldAgainstTheStores) {
    Reply reply;
    reply.headers = {{"X-Object-Sha256", Sha256("abc")}};
    server.AnswerAll(reply);
    EXPECT_TRUE(Send(L"PUT", "abc", {}));
    EXPECT_FALSE(Send(L"PUT", "abd", {}));
}

class StoreStatus : public StoreUpload, public testing::WithParamInterface<std::pair<int, bool>> {};

// CLOUD-STORE-03
TEST_P(StoreStatus, OnlySuccessMeansAccepted) {
    server.AnswerAll(Reply::Json("{}", GetParam().first));
    EXPECT_EQ(GetParam().second, Send(L"PUT", "x", {}));
}

INSTANTIATE_TEST_SUITE_P(Statuses, StoreStatus,
                         testing::Values(std::pair{200, true}, std::pair{201, true}, std::pair{204, true},
                                         std::pair{301, false}, std::pair{307, false}, std::pair{400, false},
                                         std::pair{403, false}, std::pair{404, false}, std::pair{413, false},
                                         std::pair{500, false}, std::pair{503, false}));

// CLOUD-STORE-05
TEST_F(StoreUpload, ARefusalThatComesBeforeTheBodyWasReadIsThatRefusal) {
    Reply reply;
    reply.raw = "HTTP/1.1 400 Bad\r\nContent-Length: 5\r\nConnection: close\r\n\r\nwrong";
    server.AnswerAll(reply);
    EXPECT_FALSE(Send(L"PUT", Content(100), {}));
    EXPECT_EQ("wrong", responseText);
}

// CLOUD-STORE-05
TEST_F(StoreUpload, BrokenAnswersAreFailures) {
    std::vector<Reply> replies(4);
    replies[0].silent = true;
    replies[1].silent = replies[1].reset = true;
    replies[2].body = "accepted";
    replies[2].cutAfter = 3;
    replies[3].body = std::string(2 << 20, 'x');
    for (const Reply& reply : replies) {
        server.AnswerAll(reply);
        EXPECT_FALSE(Send(L"PUT", "x", {}));
    }
}

// CLOUD-STORE-05
TEST_F(StoreUpload, WhatCannotBeSentIsNotSent) {
    EXPECT_FALSE(Send(L"", "x", {}));
    EXPECT_FALSE(Send(L"PUT /other", "x", {}));
    EXPECT_FALSE(Send(L"PUT", "x", {{L"A", L"b\nC: d"}}));
    EXPECT_FALSE(FileTransRequest::UploadRequest(L"", {}, L"PUT", {}, responseHeaders, responseText));
    EXPECT_TRUE(server.Requests().empty());
    EXPECT_GE(LogLines(), 4u);
}

// CLOUD-NET-03
TEST_F(StoreUpload, OneConnectionServesRequestAfterRequest) {
    for (int count = 0; count < 20; ++count) EXPECT_TRUE(Send(L"PUT", Content(1000), {}));
    EXPECT_EQ(1, server.Connections());
}

// CLOUD-PROXY-09
TEST_F(StoreUpload, ABoundaryIsFreshAndFitsAHeader) {
    std::set<std::string> seen;
    for (int count = 0; count < 1000; ++count) {
        const std::string boundary = FileTransRequest::GetBoundary();
        EXPECT_GE(boundary.size(), 30u);
        EXPECT_LE(boundary.size(), 70u);
        EXPECT_EQ(std::string::npos,
                  boundary.find_first_not_of("abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789-"));
        EXPECT_TRUE(seen.insert(boundary).second);
    }
}

}  // namespace
}  // namespace Drive::Testing
