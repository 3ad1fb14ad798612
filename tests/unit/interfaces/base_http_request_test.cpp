#include "interfaces/cloud/base_http_request.h"

#include <gtest/gtest.h>

#include "tests/support/engine_bench.h"

namespace Drive::Testing {
namespace {

/// Opens what a derived request of the cloud library sees.
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

class DerivedRequest : public Request {
public:
    using Request::Request;

protected:
    void AddHeaders() override { wideHeaders[L"own"] = L"yes"; }
};

class RequestBase : public EngineBench {};

// IF-HTTP-01
TEST_F(RequestBase, TakesANarrowUrlAsItIs) {
    const Request request(std::string("https://host/\xff path"));
    EXPECT_EQ(request.url, "https://host/\xff path");
    EXPECT_TRUE(request.wideText.empty() && request.wideHeaders.empty() && request.narrowHeaders.empty());
}

// IF-HTTP-02
TEST_F(RequestBase, ConvertsAWideUrl) {
    const Request request(std::wstring(L"https://host/東"));
    EXPECT_EQ(request.url, "https://host/東");
    EXPECT_EQ(Joined(Lines()), "");
}

// IF-HTTP-03
TEST_F(RequestBase, AUrlThatCannotBeConvertedLeavesItEmptyWithOneLine) {
    const Request request(std::wstring(1, static_cast<wchar_t>(0xD800)));
    EXPECT_TRUE(request.url.empty());
    const Texts lines = Lines();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].rfind("error BaseHttpRequest|BaseHttpRequest|url convert exception:", 0), 0u);
    EXPECT_GT(lines[0].size(), std::string("error BaseHttpRequest|BaseHttpRequest|url convert exception:").size());
}

// IF-HTTP-04
TEST_F(RequestBase, ACopyHoldsItsOwnMaps) {
    Request first(std::string("url"));
    first.wideHeaders[L"a"] = L"1";
    first.narrowHeaders["b"] = "2";
    first.wideText = L"text";
    first.requestValue = 7;
    Request copy(first);
    copy.wideHeaders[L"c"] = L"3";
    copy.narrowHeaders["d"] = "4";
    EXPECT_EQ(first.wideHeaders.size(), 1u);
    EXPECT_EQ(first.narrowHeaders.size(), 1u);
    EXPECT_EQ(copy.url, "url");
    EXPECT_EQ(copy.wideText, L"text");
    EXPECT_EQ(copy.requestValue, 7);
}

// IF-HTTP-05
TEST_F(RequestBase, AssignmentCopiesAllFiveMembersAndItselfIsNoHarm) {
    Request first(std::string("first"));
    first.wideHeaders[L"a"] = L"1";
    first.requestValue = 9;
    Request second(std::string("second"));
    second.requestValue = 0;
    second = first;
    EXPECT_EQ(second.url, "first");
    EXPECT_EQ(second.wideHeaders, first.wideHeaders);
    EXPECT_EQ(second.requestValue, 9);
    Request& alias = second;
    second = alias;
    EXPECT_EQ(second.url, "first");
    EXPECT_EQ(second.wideHeaders.size(), 1u);
}

// IF-HTTP-06
TEST_F(RequestBase, ItsOwnHeadersComeFromTheCloudLibraryAndADerivedRequestPutsInIts) {
    Request request(std::string("url"));
    request.AddHeaders();
    EXPECT_EQ(request.wideHeaders[L"common"], L"yes");
    EXPECT_EQ(Joined(Lines({Kind::Cloud})), "cloud AddCommonHeaders()\n");
    DerivedRequest derived(std::string("url"));
    Request& base = derived;
    base.AddHeaders();
    EXPECT_EQ(derived.wideHeaders[L"own"], L"yes");
}

}  // namespace
}  // namespace Drive::Testing
