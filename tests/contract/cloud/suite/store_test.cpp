// The upload of one object to the store.
#include "tests/contract/cloud/suite/cloud_suite.h"

namespace Drive::Testing {
namespace {

using Bytes = std::vector<unsigned char>;

class Store : public CloudSuite {
protected:
    bool Put(const StoreAnswer& answer, const WMap& headers = {}, const std::string& body = "object",
             const std::wstring& verb = L"PUT") {
        responseHeaders = {{L"of an earlier call", L"yes"}};
        responseText = "of an earlier call";
        return Cloud::FileTransRequest::UploadRequest(cloud->Store(answer), headers, verb,
                                                      Bytes(body.begin(), body.end()), responseHeaders, responseText);
    }

    WMap responseHeaders;
    std::string responseText;
};

// CLOUD-STORE-01
TEST_F(Store, HearsOneRequestWithExactlyWhatWasGiven) {
    const WMap headers{{L"Content-MD5", L"m"}, {L"x-store", L"yes"}, {L"Content-Type", L"application/octet-stream"}};
    const std::string body = std::string("\0\r\n\xff", 4) + SomeBytes(100'000);
    for (const wchar_t* verb : {L"PUT", L"POST"}) {
        ASSERT_TRUE(Put({}, headers, body, verb));
        const HeardRequest heard = cloud->LastHeard();
        EXPECT_EQ(verb, heard.verb);
        EXPECT_EQ(headers, heard.headers);
        EXPECT_TRUE(body == heard.body);
    }
    EXPECT_EQ(2, cloud->Asked("UploadRequest"));
}

// CLOUD-STORE-03
TEST_F(Store, TellsItsAnswer) {
    ASSERT_TRUE(Put({200, "stored, it says", "abc0"}, {{L"X-Object-Sha256", L"abc0"}}));
    EXPECT_EQ("stored, it says", responseText);
    EXPECT_EQ(0u, responseHeaders.count(L"of an earlier call"));
    EXPECT_EQ(L"abc0", ValueOf(responseHeaders, L"X-Object-Sha256"));
}

// CLOUD-STORE-03
TEST_F(Store, AcceptsOnlyWithAStatusOfSuccess) {
    for (const int status : {200, 201, 204}) EXPECT_TRUE(Put({status})) << status;
    for (const int status : {302, 400, 403, 409, 500, 503}) EXPECT_FALSE(Put({status, "no"})) << status;
    EXPECT_EQ("no", responseText);
    EXPECT_FALSE(Put({0}));
}

// CLOUD-STORE-04
TEST_F(Store, HoldsWhatWasSentOrHasNotAccepted) {
    const WMap headers{{L"X-Object-Sha256", L"abc0"}};
    EXPECT_TRUE(Put({200, "", "abc0"}, headers));
    EXPECT_FALSE(Put({200, "", "abc1"}, headers));
    EXPECT_TRUE(Put({200, "", ""}, headers));
    const std::string digest = "2958d416d08aa5a472d7b509036cb7eafd542add84527e66a145ea64cb4cdc75";  // of "object"
    EXPECT_TRUE(Put({200, "", digest}, {}));
    EXPECT_FALSE(Put({200, "", "abc1"}, {}));
}

}  // namespace
}  // namespace Drive::Testing
