#include <thread>

#include "reference_cloud/http_message.h"
#include "tests/unit/reference_cloud/cloud_fixture.h"
#include "tests/unit/reference_cloud/raw_connection.h"

namespace Drive::ReferenceCloud {

namespace {

class ProxyRoutes : public CloudTest {
protected:
    Json::Value Start(const std::string& bytes, const std::string& fileId = "", bool digest = true) {
        SampleUpload upload(bytes, "name\xef\x9f\xbf.plain");
        upload.fileId = fileId;
        Json::Value body = upload.Start(client);
        if (!digest) body["sha256"] = "";
        const Answer plan = client.Post("/v1/uploads/start", body);
        EXPECT_EQ(plan.status, 200) << plan.body;
        return plan.json;
    }
    std::string Metadata(const std::string& bytes) {
        return "{\"fileName\":\"name\xff.plain\",\"mimeType\":\"text/plain\",\"parentFolder\":[\"x\"],\"sha256\":\"" +
               Sha256(bytes) + "\"}\n";
    }
    Answer Multipart(const Json::Value& plan, const std::string& bytes, const std::string& method = "POST") {
        return client.Send(method, plan["uploadUrl"].asString() + "?uploadType=multipart",
                           MultipartBody(Metadata(bytes), bytes),
                           {{"Content-Type", "multipart/related;boundary=BOUND"}, {"Cache-Control", "no-cache"}});
    }
    Answer Resume(const Json::Value& plan, const std::string& bytes, const std::string& method = "POST") {
        return client.Send(method, plan["uploadUrl"].asString() + "?uploadType=resume", Metadata(bytes),
                           {{"X-Upload-Content-Typ", "text/plain"},
                            {"X-Upload-Content-Length", std::to_string(bytes.size())},
                            {"Content-Type", "application/json"}});
    }
    /// The range as the engine sends it: its upper bound is the slice's length less one.
    Answer Slice(const std::string& url, const std::string& bytes, std::size_t position, std::size_t length) {
        return client.Send("PUT", url, bytes.substr(position, length),
                           {{"Content-Range", "bytes " + std::to_string(position) + "-" + std::to_string(length - 1) +
                                                  "/" + std::to_string(bytes.size())}});
    }
    /// A slice of a thousand bytes that has its turn, and of which only the first half comes.
    RawConnection HalfASlice(const std::string& url, std::size_t position) {
        RawConnection connection(Shared().server->Port());
        connection.Send("PUT " + url.substr(url.find("/proxy/")) + " HTTP/1.1\r\nHost: x\r\nAuthorization: Bearer " +
                        client.token + "\r\nContent-Range: bytes " + std::to_string(position) + "-999/2500\r\n" +
                        "Content-Length: 1000\r\nExpect: 100-continue\r\n\r\n");
        EXPECT_EQ(connection.ReadUntil("\r\n\r\n").rfind("HTTP/1.1 100", 0), 0U);
        connection.Send(bytes_.substr(position, 500));
        return connection;
    }
    /// Sends the slice again and again until it is answered so, for half a minute at most.
    Answer SliceUntil(int status, const std::string& url, std::size_t position) {
        Answer answer;
        for (int attempt = 0; attempt < 1000 && answer.status != status; ++attempt) {
            if (attempt > 0) std::this_thread::sleep_for(std::chrono::milliseconds(30));
            answer = Slice(url, bytes_, position, 1000);
        }
        return answer;
    }
    std::string Content(const Json::Value& entry) {
        return client.Get("/v1/files/" + entry["id"].asString() + "/content").body;
    }

    const std::string bytes_ = RandomText(2500);
};

// REF-PROXY-01
TEST_F(ProxyRoutes, ServerPlansHaveNoVersionAndNoResumeAddress) {
    const Json::Value plan = Start(bytes_);
    EXPECT_EQ(plan["uploadType"], "server");
    EXPECT_EQ(plan["version"], 0);
    EXPECT_EQ(plan["resumeUrl"], "");
    EXPECT_EQ(plan["position"], 0);
    EXPECT_TRUE(plan["items"].empty());
    EXPECT_FALSE(plan["bucketId"].asString().empty());
}

// REF-PROXY-02
TEST_F(ProxyRoutes, AMultipartUploadMakesThePlainFileUnderTheNameOfTheStart) {
    const Answer done = Multipart(Start(bytes_), bytes_);
    ASSERT_EQ(done.status, 200) << done.body;
    EXPECT_EQ(done.json["fileName"], "name\xef\x9f\xbf.plain");
    EXPECT_EQ(done.json["sha256"], Sha256(bytes_));
    EXPECT_EQ(done.json["parentFolder"], client.root);
    EXPECT_EQ(Content(done.json), bytes_);
}

// REF-PROXY-03
TEST_F(ProxyRoutes, ARepeatedMultipartUploadGivesTheSameFile) {
    const Json::Value plan = Start(bytes_);
    const Answer first = Multipart(plan, bytes_), second = Multipart(plan, bytes_);
    EXPECT_EQ(second.body, first.body);
    EXPECT_EQ(Multipart(plan, RandomText(2500)).status, 409);
}

// REF-PROXY-04
TEST_F(ProxyRoutes, ANewVersionIsAPatch) {
    const Json::Value first = Multipart(Start(bytes_), bytes_).json;
    const std::string fresh = RandomText(100);
    const Json::Value plan = Start(fresh, first["id"].asString());
    EXPECT_EQ(plan["uploadType"], "server");
    EXPECT_EQ(Multipart(plan, fresh, "POST").status, 400);
    const Answer done = Multipart(plan, fresh, "PATCH");
    ASSERT_EQ(done.status, 200) << done.body;
    EXPECT_EQ(done.json["id"], first["id"]);
    EXPECT_EQ(done.json["contentVersion"], "2");
    EXPECT_EQ(Content(done.json), fresh);
}

// REF-PROXY-05
TEST_F(ProxyRoutes, ContentWithAnotherDigestIsAConflict) {
    const Json::Value plan = Start(bytes_);
    std::string changed = bytes_;
    changed[7] ^= 1;
    const Answer metadata = Multipart(plan, changed);
    EXPECT_EQ(metadata.status, 409);
    EXPECT_EQ(metadata.json["errorCode"], "21004091");
    const Answer content =
        client.Send("POST", plan["uploadUrl"].asString() + "?uploadType=multipart",
                    MultipartBody(Metadata(bytes_), changed), {{"Content-Type", "multipart/related;boundary=BOUND"}});
    EXPECT_EQ(content.status, 409);
    EXPECT_EQ(Multipart(plan, bytes_.substr(1)).status, 409);
    EXPECT_EQ(Multipart(plan, bytes_ + "x").status, 409);
    EXPECT_EQ(Multipart(plan, bytes_).status, 200) << "the session is still good";
}

// REF-PROXY-06
TEST_F(ProxyRoutes, AnEmptyDigestCountsAsNotGiven) {
    const Answer done = Multipart(Start(bytes_, "", false), bytes_);
    ASSERT_EQ(done.status, 200) << done.body;
    EXPECT_EQ(done.json["sha256"], Sha256(bytes_));
}

// REF-PROXY-07
TEST_F(ProxyRoutes, BodiesInAnotherFormAreRefused) {
    const Json::Value plan = Start(bytes_);
    const std::string url = plan["uploadUrl"].asString() + "?uploadType=multipart";
    const Headers type{{"Content-Type", "multipart/related;boundary=BOUND"}};
    const std::string good = MultipartBody(Metadata(bytes_), bytes_);
    EXPECT_EQ(client.Send("POST", url, "nothing of the kind", type).status, 400);
    EXPECT_EQ(client.Send("POST", url, good.substr(0, good.size() - 1), type).status, 400);
    EXPECT_EQ(client.Send("POST", url, good, {{"Content-Type", "text/plain"}}).status, 400);
    EXPECT_EQ(client.Send("POST", url, MultipartBody("no json\n", bytes_), type).status, 400);
    EXPECT_EQ(client.Send("POST", plan["uploadUrl"].asString() + "?uploadType=other", good, type).status, 400);
    EXPECT_EQ(client.Send("POST", url, good, type).status, 200);
}

// REF-PROXY-08
TEST_F(ProxyRoutes, AResumableUploadGoesSliceBySliceWithTheOddRange) {
    const Json::Value plan = Start(bytes_);
    const Answer opened = Resume(plan, bytes_);
    ASSERT_EQ(opened.status, 200) << opened.body;
    EXPECT_EQ(opened.json["sliceSize"], 1000);
    const std::string url = opened.json["resumeUrl"].asString();
    const Answer first = Slice(url, bytes_, 0, 1000);
    EXPECT_EQ(first.status, 200);
    EXPECT_EQ(first.json["position"], 1000);
    EXPECT_FALSE(first.json.isMember("id"));
    EXPECT_EQ(Slice(url, bytes_, 1000, 1000).status, 200);
    const Answer last = Slice(url, bytes_, 2000, 500);
    ASSERT_EQ(last.status, 200) << last.body;
    EXPECT_EQ(last.json["sha256"], Sha256(bytes_));
    EXPECT_EQ(Content(last.json), bytes_);
    EXPECT_EQ(Slice(url, bytes_, 2000, 500).body, last.body) << "a lost answer can be asked for again";
}

// REF-PROXY-09
TEST_F(ProxyRoutes, ARunningSessionIsOfferedByItsPositionOnly) {
    const Json::Value plan = Start(bytes_);
    const std::string url = Resume(plan, bytes_).json["resumeUrl"].asString();
    Slice(url, bytes_, 0, 1000);
    const Json::Value again = Start(bytes_);
    EXPECT_EQ(again["recordCursor"], plan["recordCursor"]);
    EXPECT_EQ(again["position"], 1000);
    EXPECT_EQ(again["resumeUrl"], "");
    EXPECT_EQ(again["version"], 0);
    EXPECT_EQ(Resume(again, bytes_).json["resumeUrl"], url);
}

// REF-PROXY-10
TEST_F(ProxyRoutes, ASliceMayStartBelowWhatIsHeldButNotAbove) {
    const std::string url = Resume(Start(bytes_), bytes_).json["resumeUrl"].asString();
    Slice(url, bytes_, 0, 1000);
    Slice(url, bytes_, 1000, 1000);
    const Answer above = Slice(url, bytes_, 2100, 400);
    EXPECT_EQ(above.status, 409);
    EXPECT_EQ(above.json["position"], 2000);
    EXPECT_EQ(Slice(url, bytes_, 600, 700).json["position"], 1300);
    EXPECT_EQ(Start(bytes_)["position"], 1300);
    const Answer done = Slice(url, bytes_, 1300, 1200);
    ASSERT_EQ(done.status, 200) << done.body;
    EXPECT_EQ(Content(done.json), bytes_);
}

// REF-PROXY-21
TEST_F(ProxyRoutes, OneSliceOfASessionIsTakenAtATimeAndNothingStaysOfOneThatBreaksOff) {
    const std::string url = Resume(Start(bytes_), bytes_).json["resumeUrl"].asString();
    ASSERT_EQ(Slice(url, bytes_, 0, 1000).json["position"], 1000);
    for (const bool hard : {false, true}) {
        RawConnection half = HalfASlice(url, 1000);
        const Answer meanwhile = Slice(url, bytes_, 1000, 1000);
        EXPECT_EQ(meanwhile.status, 409);
        EXPECT_FALSE(meanwhile.json.isMember("position"));
        hard ? half.Reset() : half.EndSending();
        EXPECT_EQ(SliceUntil(200, url, 1000).json["position"], 2000);
    }
    EXPECT_EQ(Content(Slice(url, bytes_, 2000, 500).json), bytes_);
}

// REF-PROXY-22
TEST_F(ProxyRoutes, ASliceThatIsUnderWayWhenItsSessionEndsIsNotTaken) {
    const Json::Value plan = Start(bytes_);
    RawConnection half = HalfASlice(plan["uploadUrl"].asString(), 0);
    SampleUpload other(RandomText(70), "name\xef\x9f\xbf.plain");
    Json::Value body = other.Start(client);
    body["recordCursor"] = plan["recordCursor"];
    ASSERT_EQ(client.Post("/v1/uploads/start", body).status, 200) << "another content ends the plan";
    ASSERT_TRUE(half.Send(bytes_.substr(500, 500)));
    EXPECT_EQ(half.ReadUntil("\r\n").rfind("HTTP/1.1 404", 0), 0U);
}

// REF-PROXY-11
TEST_F(ProxyRoutes, WrongBytesInTheEndStartTheSessionAgainFromTheBeginning) {
    const std::string url = Resume(Start(bytes_), bytes_).json["resumeUrl"].asString();
    std::string changed = bytes_;
    changed[7] ^= 1;
    Slice(url, changed, 0, 1000);
    const Answer last = Slice(url, changed, 1000, 1500);
    EXPECT_EQ(last.status, 409);
    EXPECT_EQ(last.json["errorCode"], "21004091");
    EXPECT_EQ(Start(bytes_)["position"], 0) << "never all of an unfinished upload";
    EXPECT_EQ(Slice(url, bytes_, 0, 2500).status, 200);
}

// REF-PROXY-12
TEST_F(ProxyRoutes, SlicesThatDoNotFitAreRefused) {
    const std::string url = Resume(Start(bytes_), bytes_).json["resumeUrl"].asString();
    EXPECT_EQ(client.Send("PUT", url, "abc", {{"Content-Range", "bytes 0-2/2499"}}).status, 400);
    EXPECT_EQ(client.Send("PUT", url, "abc", {}).status, 400);
    EXPECT_EQ(client.Send("PUT", url, "", {{"Content-Range", "bytes 0-18446744073709551615/2500"}}).status, 400);
    EXPECT_EQ(client.Send("PUT", url, std::string(2501, 'x'), {{"Content-Range", "bytes 0-2500/2500"}}).status, 409);
    EXPECT_EQ(Start(bytes_)["position"], 0);
}

// REF-PROXY-13
TEST_F(ProxyRoutes, UnknownSessionsAndThoseOfOthersAreNotThere) {
    const Json::Value plan = Start(bytes_);
    EXPECT_EQ(client.Send("PUT", "/proxy/nothing", "x", {{"Content-Range", "bytes 0-0/1"}}).status, 404);
    client = Shared().NewUser();
    EXPECT_EQ(Multipart(plan, bytes_).status, 404);
    EXPECT_EQ(Resume(plan, bytes_).status, 404);
    EXPECT_EQ(Slice(plan["uploadUrl"].asString(), bytes_, 0, 1000).status, 404);
}

// REF-PROXY-14
TEST_F(ProxyRoutes, AServerUploadCannotBeCompletedByTheOtherRoad) {
    const SampleUpload upload(bytes_, "name\xef\x9f\xbf.plain");
    EXPECT_EQ(client.Post("/v1/uploads/create-complete", upload.Completion(client, Start(bytes_))).status, 400);
}

// REF-PROXY-15
TEST_F(ProxyRoutes, WhatTheUserHasPlainIsNotSentAgain) {
    Multipart(Start(bytes_), bytes_);
    const SampleUpload copy(bytes_, "copy.bin");
    const Answer plan = client.Post("/v1/uploads/start", copy.Start(client));
    EXPECT_EQ(plan.json["uploadType"], "exist");
    EXPECT_TRUE(plan.json["items"].empty());
    Json::Value body = copy.Completion(client, plan.json);
    body["objectInfoList"] = Json::Value(Json::arrayValue);
    const Answer done = client.Post("/v1/uploads/create-complete", body);
    ASSERT_EQ(done.status, 200) << done.body;
    EXPECT_EQ(Content(done.json), bytes_);
}

}  // namespace

}  // namespace Drive::ReferenceCloud
