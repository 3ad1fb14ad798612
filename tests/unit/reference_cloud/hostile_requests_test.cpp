// What no decent client sends, and decent clients in great numbers.
#include <filesystem>
#include <random>
#include <thread>

#include "reference_cloud/http_message.h"
#include "tests/unit/reference_cloud/cloud_fixture.h"
#include "tests/unit/reference_cloud/raw_connection.h"

namespace Drive::ReferenceCloud {

namespace {

#ifdef ZELKOR_SANITIZED
constexpr int kConnections = 60, kMutations = 150;
#else
constexpr int kConnections = 200, kMutations = 600;
#endif

class HostileRequests : public CloudTest {
protected:
    static RawConnection Connect() { return RawConnection(Shared().server->Port()); }
    /// The first line of what is answered; empty when the connection ends without an answer.
    static std::string FirstLine(const std::string& request) {
        RawConnection connection = Connect();
        connection.Send(request);
        connection.EndSending();
        const std::string answer = connection.ReadUntil("\r\n");
        return answer.substr(0, answer.find("\r\n"));
    }
    std::string Bearer() const { return "Host: x\r\nAuthorization: Bearer " + client.token + "\r\n"; }
    void ExpectSound() {
        EXPECT_EQ(client.Get("/health").status, 200);
        EXPECT_EQ(client.Get("/v1/account/space").json["used"], 0);
    }
};

// REF-HTTP-12
TEST_F(HostileRequests, WhatIsNoRequestIsRefusedOrEndsTheConnection) {
    const std::string many(20000, 'x');
    const std::string requests[] = {
        "\r\n\r\n",
        "nonsense\r\n\r\n",
        "GET\r\n\r\n",
        "GET /health\r\n\r\n",
        "GET /health HTTP/9.9\r\n\r\n",
        "GET /health HTTP/1.1\r\n\r\n",
        "GET /health HTTP/1.1\r\nHost x\r\n\r\n",
        "POST /v1/account/login HTTP/1.1\r\nHost: x\r\nContent-Length: -5\r\n\r\n",
        "POST /v1/account/login HTTP/1.1\r\nHost: x\r\nContent-Length: five\r\n\r\n{}",
        "POST /v1/account/login HTTP/1.1\r\nHost: x\r\nContent-Length: 99999999999999999999\r\n\r\n{}",
        "POST /v1/account/login HTTP/1.1\r\nHost: x\r\nTransfer-Encoding: chunked\r\n\r\nzz\r\n{}\r\n0\r\n\r\n",
        "POST /v1/account/login HTTP/1.1\r\nHost: x\r\nTransfer-Encoding: chunked\r\n\r\nFFFFFFFFFFFFFFFFF\r\n{}",
        "G" + many + " / HTTP/1.1\r\nHost: x\r\n\r\n",
        "GET /%00 HTTP/1.1\r\nHost: x\r\n\r\n",
        "GET /v1/%0a HTTP/1.1\r\nHost: x\r\n\r\n",
        "GET /../../etc/passwd HTTP/1.1\r\nHost: x\r\n\r\n",
        "GET * HTTP/1.1\r\nHost: x\r\n\r\n",
        "CONNECT x:1 HTTP/1.1\r\nHost: x\r\n\r\n",
        "TRACE /health HTTP/1.1\r\nHost: x\r\n\r\n",
        std::string("\x16\x03\x01\x02\x00\x01\x00\x01\xfc\x03\x03", 11),
        std::string("PRI * HTTP/2.0\r\n\r\nSM\r\n\r\n")};
    for (const std::string& request : requests) {
        const std::string line = FirstLine(request);
        EXPECT_TRUE(line.empty() || line.rfind("HTTP/1.1 4", 0) == 0 || line.rfind("HTTP/1.1 5", 0) == 0 ||
                    line.rfind("HTTP/1.0 4", 0) == 0)
            << request.substr(0, 80) << "\n"
            << line;
    }
    ExpectSound();
}

// REF-HTTP-21
TEST_F(HostileRequests, ARequestThatCanBeReadInTwoWaysIsRefusedAndNothingBehindItIsRead) {
    const std::string next = "GET /health HTTP/1.1\r\nHost: x\r\n\r\n";
    const std::string head = "POST /v1/folders HTTP/1.1\r\n" + Bearer();
    const std::string requests[] = {
        head + "Content-Length: 2\r\nContent-Length: 40\r\n\r\n{}" + next,
        head + "Content-Length: 40\r\nContent-Length: 2\r\n\r\n{}" + next,
        head + "Content-Length: 2\r\nContent-Length: 2\r\n\r\n{}" + next,
        head + "Content-Length: 5\r\nTransfer-Encoding: chunked\r\n\r\n0\r\n\r\n" + next,
        head + "Transfer-Encoding: chunked\r\nContent-Length: 5\r\n\r\n0\r\n\r\n" + next,
        head + "Transfer-Encoding: chunked\r\nTransfer-Encoding: identity\r\n\r\n0\r\n\r\n" + next,
        head + "Content-Length : 2\r\n\r\n{}" + next,
        head + "Authorization: Bearer another\r\n\r\n" + next,
        "GET /v1/account/space HTTP/1.1\r\nAuthorization: Bearer another\r\n" + Bearer() + "\r\n" + next,
        "GET /health HTTP/1.1\r\nHost: x\r\nHost: y\r\n\r\n" + next,
        "GET /health HTTP/1.1\r\nHost: x\r\nRange: bytes=0-1\r\nRange: bytes=2-3\r\n\r\n" + next};
    for (const std::string& request : requests) {
        RawConnection connection = Connect();
        ASSERT_TRUE(connection.Send(request));
        const std::string answers = connection.Read();
        EXPECT_TRUE(connection.Ends(0)) << request;
        EXPECT_EQ(answers.rfind("HTTP/1.1 400", 0), 0U) << request << "\n" << answers;
        EXPECT_EQ(RawConnection::CountOf(answers, "HTTP/1.1 "), 1) << request << "\n" << answers;
    }
    ExpectSound();
}

// REF-HTTP-13
TEST_F(HostileRequests, RequestsSentAheadAreAnsweredInTheirOrder) {
    RawConnection connection = Connect();
    std::string requests;
    for (int index = 0; index < 20; ++index) {
        requests += "GET /v1/files/find?parentFolder=x&fileName=x HTTP/1.1\r\n" + Bearer() + "\r\n";
        requests += "POST /v1/folders HTTP/1.1\r\n" + Bearer() + "Content-Length: 2\r\n\r\n{}";
    }
    ASSERT_TRUE(connection.Send(requests));
    const std::string answers = connection.ReadUntil("\"errorCode\"", 40);
    EXPECT_EQ(RawConnection::CountOf(answers, "HTTP/1.1 404"), 20);
    EXPECT_EQ(RawConnection::CountOf(answers, "HTTP/1.1 400"), 20);
    EXPECT_LT(answers.find("HTTP/1.1 404"), answers.find("HTTP/1.1 400"));
}

// REF-HTTP-23
TEST_F(HostileRequests, HeadTellsOfTheWholeAndBringsNoBytes) {
    const SampleUpload plain(RandomText(900), "x.plain");
    const Json::Value session = client.Post("/v1/uploads/start", plain.Start(client)).json;
    const Headers type{{"Content-Type", "multipart/related;boundary=BOUND"}};
    const Answer made = client.Send("POST", session["uploadUrl"].asString() + "?uploadType=multipart",
                                    MultipartBody("{}", plain.bytes), type);
    ASSERT_EQ(made.status, 200) << made.body;
    RawConnection connection = Connect();
    const std::string path = "/v1/files/" + made.json["id"].asString() + "/content";
    ASSERT_TRUE(connection.Send("HEAD " + path + " HTTP/1.1\r\n" + Bearer() + "Range: bytes=5-9\r\n\r\n" + "GET " +
                                path + " HTTP/1.1\r\n" + Bearer() + "Range: bytes=5-9\r\n\r\n"));
    const std::string answers = connection.ReadUntil(plain.bytes.substr(5, 5));
    EXPECT_EQ(answers.rfind("HTTP/1.1 200", 0), 0U) << "a range belongs to GET alone";
    EXPECT_NE(answers.find("Content-Length: 900\r\n"), std::string::npos);
    EXPECT_NE(answers.find("\r\n\r\nHTTP/1.1 206"), std::string::npos) << "nothing between the two";
}

// REF-HTTP-14
TEST_F(HostileRequests, WhoAsksForLeaveToSendGetsItOnlyWhenThereIsHope) {
    RawConnection good = Connect();
    ASSERT_TRUE(
        good.Send("POST /v1/folders HTTP/1.1\r\n" + Bearer() + "Expect: 100-continue\r\nContent-Length: 2\r\n\r\n"));
    EXPECT_EQ(good.ReadUntil("\r\n\r\n").rfind("HTTP/1.1 100", 0), 0U);
    ASSERT_TRUE(good.Send("{}"));
    EXPECT_EQ(good.ReadUntil("\r\n").rfind("HTTP/1.1 400", 0), 0U);

    RawConnection bad = Connect();
    ASSERT_TRUE(
        bad.Send("POST /v1/folders HTTP/1.1\r\nHost: x\r\nExpect: 100-continue\r\nContent-Length: 999999\r\n\r\n"));
    EXPECT_EQ(bad.ReadUntil("\r\n").rfind("HTTP/1.1 401", 0), 0U) << "no body is sent for a refusal";
}

// REF-HTTP-15
TEST_F(HostileRequests, ABodyInChunksIsReadWhereItsLengthIsNotSigned) {
    const std::string head = " HTTP/1.1\r\n" + Bearer() + "Transfer-Encoding: chunked\r\n";
    const std::string body = "1\r\n{\r\n1\r\n}\r\n0\r\n\r\n";
    EXPECT_EQ(FirstLine("POST /v1/account/logout" + head + "\r\n" + body), "HTTP/1.1 200 OK");

    const SampleUpload sample(RandomText(500));
    const TestClient owner = Shared().NewUser();
    const Json::Value plan = owner.Post("/v1/uploads/start", sample.Start(owner)).json;
    const std::string stored = StoredBytes(plan["items"][0]);
    const Json::Value address = owner.Post("/v1/uploads/address", AddressRequest(plan, plan["items"][0], stored)).json;
    const std::string url = address["url"].asString();
    std::string put =
        "PUT " + url.substr(url.find("/store/")) + " HTTP/1.1\r\nHost: x\r\nTransfer-Encoding: chunked\r\n";
    for (const auto& name : address["headers"].getMemberNames()) {
        put += name + ": " + address["headers"][name].asString() + "\r\n";
    }
    EXPECT_EQ(FirstLine(put + "\r\n200\r\n" + stored + "\r\n0\r\n\r\n").rfind("HTTP/1.1 403", 0), 0U);
}

// REF-HTTP-16
TEST_F(HostileRequests, SilentAndHalfOpenConnectionsKeepNobodyWaiting) {
    std::vector<RawConnection> idle;
    const std::string begun = "POST /v1/folders HTTP/1.1\r\n" + Bearer() + "Content-Length: 500\r\n\r\n{";
    const std::string openings[] = {"", "GET /hea", begun, begun.substr(0, 60)};
    for (int index = 0; index < kConnections; ++index) {
        idle.push_back(Connect());
        idle.back().Send(openings[index % 4]);
        if (index % 8 == 7) idle.back().EndSending();
    }
    for (int index = 0; index < 20; ++index) ExpectSound();
    for (int index = 0; index < kConnections; index += 2) idle[static_cast<std::size_t>(index)].Reset();
    ExpectSound();
}

// REF-HTTP-17
TEST_F(HostileRequests, ManyConnectionsAtOnceAreAllAnswered) {
    std::vector<RawConnection> connections;
    for (int index = 0; index < kConnections; ++index) connections.push_back(Connect());
    for (RawConnection& connection : connections) {
        ASSERT_TRUE(connection.Send("POST /v1/folders HTTP/1.1\r\n" + Bearer() + "Content-Length: 100\r\n\r\n"));
    }
    int made = 0, index = 0;
    for (RawConnection& connection : connections) {
        std::string body =
            R"({"fileName": "f)" + std::to_string(index++) + R"(", "parentFolder": ")" + client.root + "\"}";
        body.resize(100, ' ');
        ASSERT_TRUE(connection.Send(body));
    }
    for (RawConnection& connection : connections) {
        made += connection.ReadUntil("\r\n").rfind("HTTP/1.1 200", 0) == 0 ? 1 : 0;
    }
    EXPECT_EQ(made, kConnections);
    EXPECT_EQ(client.Get("/v1/files").json["items"].size(), static_cast<Json::ArrayIndex>(kConnections));
}

// REF-STORE-05
TEST_F(HostileRequests, NothingIsLeftOfAnObjectThatBreaksOff) {
    const auto files = [] {
        std::size_t count = 0;
        for (const auto& entry :
             std::filesystem::recursive_directory_iterator(Shared().folder.Path() / "data" / "objects")) {
            count += entry.is_regular_file() ? 1 : 0;
        }
        return count;
    };
    const SampleUpload sample(RandomText(1000));
    const Json::Value plan = client.Post("/v1/uploads/start", sample.Start(client)).json;
    const std::string stored = StoredBytes(plan["items"][0]);
    const Json::Value address = client.Post("/v1/uploads/address", AddressRequest(plan, plan["items"][0], stored)).json;
    const std::string url = address["url"].asString();
    std::string put = "PUT " + url.substr(url.find("/store/")) +
                      " HTTP/1.1\r\nHost: x\r\nContent-Length: " + std::to_string(stored.size()) + "\r\n";
    for (const auto& name : address["headers"].getMemberNames()) {
        put += name + ": " + address["headers"][name].asString() + "\r\n";
    }
    const std::size_t before = files();
    for (const bool hard : {false, true}) {
        RawConnection connection = Connect();
        ASSERT_TRUE(connection.Send(put + "\r\n" + stored.substr(0, 700)));
        for (int wait = 0; wait < 1000 && files() == before; ++wait) {
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
        EXPECT_EQ(files(), before + 1) << "it is on its way in";
        hard ? connection.Reset() : connection.EndSending();
        for (int wait = 0; wait < 1000 && files() != before; ++wait) {
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
        EXPECT_EQ(files(), before);
    }
    EXPECT_EQ(client.Post("/v1/uploads/object-complete", AddressRequest(plan, plan["items"][0], stored)).status, 409);
    SendObjects(client, plan);
}

/// A sound request in which a few bytes are changed, doubled, taken out or replaced by what is dangerous somewhere.
std::string Mutated(std::string request, std::mt19937& generator) {
    static const std::string dangerous[] = {"\r\n",
                                            "\n",
                                            "\0",
                                            "%00",
                                            "..",
                                            "Content-Length: 7\r\n",
                                            "\"",
                                            "{{{{",
                                            "[",
                                            "-1",
                                            ": ",
                                            "\xff\xfe",
                                            "bytes=",
                                            "&",
                                            "\\ud8",
                                            "1e308",
                                            "null",
                                            "/",
                                            "?",
                                            "Transfer-Encoding: chunked\r\n",
                                            "9223372036854775808"};
    const auto below = [&](std::size_t limit) {
        return limit == 0 ? 0 : std::uniform_int_distribution<std::size_t>(0, limit - 1)(generator);
    };
    for (std::size_t changes = 1 + below(4); changes > 0; --changes) {
        const std::size_t at = below(request.size());
        switch (below(4)) {
            case 0:
                request[at] = static_cast<char>(below(256));
                break;
            case 1:
                request.erase(at, 1 + below(20));
                break;
            case 2:
                request.insert(at, dangerous[below(std::size(dangerous))]);
                break;
            default:
                request.insert(at, request.substr(below(request.size()), 1 + below(40)));
        }
    }
    return request;
}

// REF-HTTP-18
TEST_F(HostileRequests, DamagedRequestsOfEveryKindAreAnsweredOrCutAndHarmNobody) {
    const std::uint32_t seed = 20261121;
    std::mt19937 generator(seed);
    const TestClient other = Shared().NewUser();
    const Json::Value witness = UploadEncrypted(other, SampleUpload(RandomText(3000), "witness"));
    SampleUpload plain(RandomText(900), "x.plain");
    const std::string start = JsonText(plain.Start(client));
    const std::string session = client.Post("/v1/uploads/start", start).json["uploadUrl"].asString();
    const std::string proxy = session.substr(session.find("/proxy/"));
    const auto post = [&](const std::string& route, const std::string& body, const std::string& more = "",
                          const std::string& method = "POST ") {
        return method + route + " HTTP/1.1\r\n" + Bearer() + more + "Content-Length: " + std::to_string(body.size()) +
               "\r\n\r\n" + body;
    };
    const std::string sound[] = {
        post("/v1/uploads/start", start),
        post("/v1/uploads/create-complete", JsonText(SampleUpload("abc").Completion(client, plain.Start(client)))),
        post("/v1/keys/list", R"({"version": "1", "temporaryKey": "AAAA:AAAA", "keyKind": 1})"),
        post("/v1/folders", R"({"fileName": "a", "parentFolder": "b"})"),
        post(proxy + "?uploadType=multipart", MultipartBody("{}", plain.bytes),
             "Content-Type: multipart/related; boundary=BOUND\r\n"),
        post(proxy, plain.bytes.substr(0, 100), "Content-Range: bytes 0-99/900\r\n", "PUT "),
        "GET /v1/files?cursor=&limit=5 HTTP/1.1\r\n" + Bearer() + "\r\n",
        "GET /v1/changes?cursor=1 HTTP/1.1\r\n" + Bearer() + "\r\n",
        "GET /v1/files/" + witness["id"].asString() + "/content HTTP/1.1\r\n" + Bearer() + "Range: bytes=0-9\r\n\r\n",
        "GET /store/b/o?expires=99999999999&signature=00 HTTP/1.1\r\n" + Bearer() + "Range: bytes=0-9\r\n\r\n"};
    int answered = 0;
    for (int round = 0; round < kMutations; ++round) {
        const std::string& chosen = sound[generator() % std::size(sound)];
        const std::string line = FirstLine(Mutated(chosen, generator));
        EXPECT_NE(line.rfind("HTTP/1.1 500", 0), 0U) << "seed " << seed << ", round " << round;
        answered += line.empty() ? 0 : 1;
    }
    EXPECT_GT(answered, kMutations / 4);
    EXPECT_EQ(other.Get("/v1/files/" + witness["id"].asString()).json, witness);
    EXPECT_EQ(client.Get("/health").status, 200);
}

}  // namespace

}  // namespace Drive::ReferenceCloud
