// The client's side of an S3-compatible store, against a stand-in that can be told to fail. What a real gateway makes
// of the signatures is shown by tests/fault/object_store.
#include "reference_cloud/s3_object_store.h"

#include <gtest/gtest.h>

#include <atomic>
#include <fstream>
#include <map>
#include <mutex>

#include "reference_cloud/cloud.h"
#include "reference_cloud/crypto.h"
#include "reference_cloud/http_server.h"
#include "reference_cloud/refusal.h"
#include "reference_cloud/s3_listing.h"
#include "tests/unit/reference_cloud/object_store_contract.h"
#include "tests/unit/reference_cloud/temporary_folder.h"

namespace Drive::ReferenceCloud {

namespace {

/// Keeps objects in memory and lists two a page.
class StandIn {
public:
    StandIn()
        : journal_(""),
          scenario_(""),
          server_(
              {}, [this](Request& r) { return Dispatch(r); }, journal_, scenario_) {
        server_.Start();
    }
    S3Place Place(const std::string& prefix = "p/") const {
        return {"http://127.0.0.1:" + std::to_string(server_.Port()),
                "bucket",
                prefix,
                "us-east-1",
                "key",
                "secret",
                std::chrono::milliseconds(1)};
    }
    void Put(const std::string& path, const std::string& text) {
        const std::lock_guard lock(mutex_);
        objects_[path] = text;
    }
    std::size_t Count() {
        const std::lock_guard lock(mutex_);
        return objects_.size();
    }
    void Stop() { server_.Drain(0); }

    std::atomic<int> failures{0};  ///< so many requests are answered 503
    std::atomic<int> requests{0};
    std::atomic<int> unsignedRequests{0};
    std::atomic<bool> shortAnswers{false};

private:
    std::unique_ptr<Handler> Dispatch(Request& request) {
        return SmallBody(64 << 20, [this, &request](std::string&& body) { return Answer(request, std::move(body)); });
    }
    Response Answer(const Request& request, std::string&& body) {
        ++requests;
        const std::string digest = request.Header("x-amz-content-sha256");
        const bool isSigned = request.Header("authorization").rfind("AWS4-HMAC-SHA256 Credential=key/", 0) == 0;
        if (!isSigned || digest != Sha256Hex(body)) ++unsignedRequests;
        if (failures > 0) {
            --failures;
            throw Refusal(503, "", "slow down");
        }
        const std::lock_guard lock(mutex_);
        const std::string path = request.path;
        Response response;
        if (path == "/bucket") {
            response.text = List(request);
        } else if (request.method == "PUT") {
            objects_[path] = std::move(body);
        } else if (objects_.count(path) == 0) {
            response.status = 404;
        } else if (request.method == "DELETE") {
            objects_.erase(path);
            response.status = 204;
        } else {
            response.text = objects_[path];
            const std::string range = request.Header("range");
            if (!range.empty()) {
                const std::size_t begin = std::stoul(range.substr(6)),
                                  end = std::stoul(range.substr(range.find('-') + 1));
                response.status = 206;
                response.text = response.text.substr(begin, end - begin + (shortAnswers ? 0 : 1));
            }
        }
        return response;
    }
    std::string List(const Request& request) {
        const std::string begin = "/bucket/" + request.Query("prefix"), after = request.Query("continuation-token");
        std::string xml = "<?xml version=\"1.0\"?><ListBucketResult><Name>bucket</Name>";
        int count = 0;
        std::string last;
        for (const auto& [path, text] : objects_) {
            if (path.rfind(begin, 0) != 0 || path <= after) continue;
            if (++count > 2) break;
            last = path;
            xml += "<Contents><Key>" + path.substr(8) + "</Key><Size>" + std::to_string(text.size()) +
                   "</Size></Contents>";
        }
        xml += count > 2 ? "<IsTruncated>true</IsTruncated><NextContinuationToken>" + last + "</NextContinuationToken>"
                         : "<IsTruncated>false</IsTruncated>";
        return xml + "</ListBucketResult>";
    }

    Journal journal_;
    Scenario scenario_;
    std::mutex mutex_;
    std::map<std::string, std::string> objects_;  // guarded by mutex_
    HttpServer server_;
};

class S3ObjectStoreTest : public testing::Test {
protected:
    std::unique_ptr<ObjectStore> Open(const std::string& owner = "me", const std::string& prefix = "p/") {
        return OpenS3ObjectStore(standIn_.Place(prefix), folder_.Path() / "spool", owner);
    }
    static std::string PutHello(ObjectStore& store) {
        const auto writer = store.Create();
        writer->Append("hello");
        return writer->Commit();
    }

    TemporaryFolder folder_;
    StandIn standIn_;
};

// REF-BUCKET-01
TEST_F(S3ObjectStoreTest, KeepsWhatEveryObjectStoreOwes) {
    const auto store = Open();
    ObjectStoreContract(*store).HoldAll();
    EXPECT_EQ(standIn_.unsignedRequests, 0) << "every request is signed, with the digest of what it brings";
    EXPECT_TRUE(std::filesystem::is_empty(folder_.Path() / "spool"));
}

// REF-BUCKET-02
TEST_F(S3ObjectStoreTest, TriesAgainWhatTheStoreIsTooBusyFor) {
    const auto store = Open();
    standIn_.failures = 3;
    const std::string key = PutHello(*store);
    standIn_.failures = 2;
    EXPECT_EQ(store->Open(key)->Size(), 5);
}

// REF-BUCKET-03
TEST_F(S3ObjectStoreTest, AnObjectThatTheStoreDoesNotTakeIsNoObject) {
    const auto store = Open();
    const std::size_t before = standIn_.Count();
    standIn_.failures = 100;
    EXPECT_THROW(PutHello(*store), std::runtime_error);
    standIn_.failures = 0;
    EXPECT_EQ(standIn_.Count(), before);
}

// REF-BUCKET-04
TEST_F(S3ObjectStoreTest, AStoreThatIsAwayIsToldWithItsAddress) {
    const auto store = Open();
    const std::string key = PutHello(*store);
    standIn_.Stop();
    for (const auto& attempt :
         {std::function<void()>([&] { store->Open(key); }), std::function<void()>([&] { Open(); })}) {
        try {
            attempt();
            ADD_FAILURE() << "it did not fail";
        } catch (const std::runtime_error& error) {
            EXPECT_NE(std::string(error.what()).find(standIn_.Place().endpoint.substr(0, 16)), std::string::npos);
        }
    }
    EXPECT_NO_THROW(store->Remove(key)) << "what stays is found at the next start";
}

// REF-BUCKET-05
TEST_F(S3ObjectStoreTest, APartOfAnObjectIsTakenWholeOrNotAtAll) {
    const auto store = Open();
    const auto reader = store->Open(PutHello(*store));
    standIn_.shortAnswers = true;
    char buffer[5];
    EXPECT_THROW(reader->Read(0, buffer, 5), std::runtime_error);
    standIn_.shortAnswers = false;
    EXPECT_EQ(reader->Read(0, buffer, 5), 5U);
}

// REF-BUCKET-06
TEST_F(S3ObjectStoreTest, ThingsThatAreNotItsOwnAreNeverListed) {
    standIn_.Put("/bucket/p/somebody's picture.jpg", "x");
    standIn_.Put("/bucket/other/00112233445566778899aabbccddeeff", "x");
    const auto store = Open();
    const std::string key = PutHello(*store);
    std::vector<std::string> keys;
    store->ForEach([&](const std::string& found) { keys.push_back(found); });
    EXPECT_EQ(keys, std::vector<std::string>{key});
}

// REF-BUCKET-07
TEST_F(S3ObjectStoreTest, APrefixBelongsToTheCloudThatOpenedItFirst) {
    Open("me");
    EXPECT_NO_THROW(Open("me"));
    EXPECT_THROW(Open("somebody else"), std::runtime_error);
    EXPECT_NO_THROW(Open("somebody else", "q/"));
}

// REF-BUCKET-08
TEST(S3Listing, IsReadWholeOrRefused) {
    const std::string head = "<?xml version=\"1.0\"?><ListBucketResult xmlns=\"x\">", end = "</ListBucketResult>";
    const std::string no = "<IsTruncated>false</IsTruncated>", yes = "<IsTruncated>true</IsTruncated>";
    const std::string key = "<Contents><Key>a&amp;b</Key><Size>3</Size></Contents>";
    EXPECT_EQ(ReadS3Listing(head + no + key + end).keys, std::vector<std::string>{"a&b"});
    EXPECT_EQ(ReadS3Listing(head + yes + "<NextContinuationToken>t</NextContinuationToken>" + end).next, "t");
    for (const std::string& text : {std::string(), head, head + end, head + key + no, head + yes + key + end,
                                    std::string("<Error><IsTruncated>false</IsTruncated></Error>"),
                                    std::string("nonsense"), head + "<IsTruncated>perhaps</IsTruncated>" + end}) {
        EXPECT_THROW(ReadS3Listing(text), std::runtime_error) << text;
    }
}

// REF-BUCKET-09
TEST_F(S3ObjectStoreTest, AnAddressOfAStoreIsReadOrToldOff) {
    const std::string keys = folder_.Path() / "keys", half = folder_.Path() / "half";
    std::ofstream(keys) << "access\nsecret\n";
    std::ofstream(half) << "access\n";
    const S3Place place = ReadS3Place("s3+https://store.example:8443/bucket/some/where", keys, "eu-1");
    EXPECT_EQ(place.endpoint, "https://store.example:8443");
    EXPECT_EQ(place.bucket, "bucket");
    EXPECT_EQ(place.prefix, "some/where/");
    EXPECT_EQ(place.region, "eu-1");
    EXPECT_EQ(place.accessKey + " " + place.secretKey, "access secret");
    EXPECT_EQ(ReadS3Place("s3+http://h/b", keys, "").prefix, "");
    for (const char* url : {"", "http://h/b", "s3+http://h", "s3+http:///b", "s3+http://h/", "s3+http://h/b/../c",
                            "s3+http://h/b c", "s3+http://h/b?x", "s3+ftp://h/b"}) {
        EXPECT_THROW(ReadS3Place(url, keys, ""), std::runtime_error) << url;
    }
    EXPECT_THROW(ReadS3Place("s3+http://h/b", half, ""), std::runtime_error);
    EXPECT_THROW(ReadS3Place("s3+http://h/b", folder_.Path() / "nothing", ""), std::runtime_error);
}

// REF-BUCKET-10
TEST_F(S3ObjectStoreTest, TheChoiceOfAStoreIsSettledOnceAndRemembered) {
    const std::string data = folder_.Path() / "data", keys = folder_.Path() / "keys";
    const std::string url = "s3+" + standIn_.Place().endpoint + "/bucket/p";
    std::ofstream(keys) << "key\nsecret\n";
    const std::string key = PutHello(*OpenCloud(data, {url, keys, ""})->objects);
    EXPECT_EQ(standIn_.Count(), 2U) << "the object, and whose it is";
    EXPECT_EQ(OpenCloud(data, {"", keys, ""})->objects->Open(key)->Size(), 5) << "remembered";
    EXPECT_NO_THROW(OpenCloudRows(data)) << "users need no store";
    EXPECT_THROW(OpenCloud(data), std::runtime_error) << "without its keys";
    EXPECT_THROW(OpenCloud(data, {url + "2", keys, ""}), std::runtime_error) << "another store";

    const std::string here = folder_.Path() / "here";
    PutHello(*OpenCloud(here)->objects);
    EXPECT_THROW(OpenCloud(here, {url, keys, ""}), std::runtime_error) << "it holds objects already";
    EXPECT_NO_THROW(OpenCloud(here));
}

}  // namespace

}  // namespace Drive::ReferenceCloud
