// The base of request objects, and the headers that the cloud library puts into one.
#include "interfaces/cloud/base_http_request.h"

#include "tests/contract/cloud/suite/cloud_suite.h"

namespace Drive::Testing {
namespace {

/// Opens what a derived request sees.
class Request : public Cloud::BaseHttpRequest {
public:
    using BaseHttpRequest::AddHeaders;
    using BaseHttpRequest::BaseHttpRequest;
    using BaseHttpRequest::narrowHeaders;
    using BaseHttpRequest::requestValue;
    using BaseHttpRequest::url;
    using BaseHttpRequest::wideHeaders;
    using BaseHttpRequest::wideText;
};

class RequestBase : public CloudSuite {
protected:
    static Request Full() {
        Request request(std::string("http://a/b"));
        request.wideHeaders = {{L"w", L"1"}};
        request.narrowHeaders = {{"n", "2"}};
        request.wideText = L"text";
        request.requestValue = 7;
        return request;
    }
    static void ExpectFull(const Request& request) {
        EXPECT_EQ("http://a/b", request.url);
        EXPECT_EQ((WMap{{L"w", L"1"}}), request.wideHeaders);
        EXPECT_EQ((std::map<std::string, std::string>{{"n", "2"}}), request.narrowHeaders);
        EXPECT_EQ(L"text", request.wideText);
        EXPECT_EQ(7, request.requestValue);
    }
};

// IF-HTTP-01, IF-HTTP-02
TEST_F(RequestBase, TakesANarrowUrlAsItIsAndConvertsAWideOne) {
    const Request narrow(std::string("http://a/\xff b")), wide(std::wstring(L"http://a/\u00e9"));
    EXPECT_EQ("http://a/\xff b", narrow.url);
    EXPECT_EQ("http://a/\xc3\xa9", wide.url);
    for (const Request* request : {&narrow, &wide}) {
        EXPECT_TRUE(request->wideHeaders.empty() && request->narrowHeaders.empty() && request->wideText.empty());
    }
}

// IF-HTTP-03
TEST_F(RequestBase, HasNoUrlWhenTheWideOneCannotBeConverted) {
    EXPECT_EQ("", Request(std::wstring(1, static_cast<wchar_t>(0x7FFFFFFF))).url);
}

// IF-HTTP-04
TEST_F(RequestBase, ACopyHasAllFiveMembersAndMapsOfItsOwn) {
    Request original = Full();
    Request copy(original);
    ExpectFull(copy);
    copy.wideHeaders[L"more"] = L"yes";
    copy.narrowHeaders["more"] = "yes";
    ExpectFull(original);
}

// IF-HTTP-05
TEST_F(RequestBase, AnAssignmentTakesAllFiveMembersAndOneToItselfNothing) {
    Request request(std::string("http://other"));
    request.requestValue = 1;
    request = Full();
    ExpectFull(request);
    Request& same = request;
    request = same;
    ExpectFull(request);
}

// IF-HTTP-06, CLOUD-LOGIN-06
TEST_F(RequestBase, GetsTheSameHeadersInBothMapsAndKeepsItsOwn) {
    Request request = Full();
    request.AddHeaders();
    EXPECT_EQ(L"1", ValueOf(request.wideHeaders, L"w"));
    EXPECT_EQ("2", request.narrowHeaders["n"]);
    request.wideHeaders.erase(L"w");
    request.narrowHeaders.erase("n");
    EXPECT_FALSE(request.wideHeaders.empty());
    WMap widened;
    for (const auto& [name, value] : request.narrowHeaders) {
        widened[std::wstring(name.begin(), name.end())] = std::wstring(value.begin(), value.end());
    }
    EXPECT_EQ(widened, request.wideHeaders);
}

}  // namespace
}  // namespace Drive::Testing
