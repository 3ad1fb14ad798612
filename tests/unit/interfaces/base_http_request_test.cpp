#include "interfaces/cloud/base_http_request.h"

#include <gtest/gtest.h>

#include <atomic>
#include <stdexcept>
#include <string>
#include <type_traits>

#include "tests/support/engine_bench.h"

// The conversion is redirected at the link, so that it can fail in ways that it never does.
namespace Drive {

std::string RealWStringToString(const std::wstring& text) asm(
    "__real__ZN5Drive11TypeConvert15WStringToStringERKNSt7__cxx1112basic_stringIwSt11char_traitsIwESaIwEEE");
std::string WatchedWStringToString(const std::wstring& text) asm(
    "__wrap__ZN5Drive11TypeConvert15WStringToStringERKNSt7__cxx1112basic_stringIwSt11char_traitsIwESaIwEEE");

}  // namespace Drive

namespace Drive::Testing {
namespace {

/// What the conversion of a wide URL throws in place of an answer; 0 for none.
std::atomic<int> thrown{0};

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

// IF-HTTP-07
TEST_F(RequestBase, AnythingElseThatTheConversionThrowsIsToldAsUnknown) {
    thrown = 1;
    const Request request(std::wstring(L"https://host/"));
    EXPECT_TRUE(request.url.empty());
    EXPECT_EQ(Joined(Lines()), "error BaseHttpRequest|BaseHttpRequest|Unknown\n");
}

// IF-HTTP-03
TEST_F(RequestBase, TellsTheTextOfAStandardException) {
    thrown = 2;
    const Request request(std::wstring(L"https://host/"));
    EXPECT_TRUE(request.url.empty());
    EXPECT_EQ(Joined(Lines()), "error BaseHttpRequest|BaseHttpRequest|url convert exception:no memory\n");
}

// IF-HTTP-08
TEST_F(RequestBase, IsPolymorphicThroughItsHeadersAloneAndNotDestroyedThroughIt) {
    EXPECT_TRUE(std::is_polymorphic_v<Cloud::BaseHttpRequest>);
    EXPECT_FALSE(std::has_virtual_destructor_v<Cloud::BaseHttpRequest>);
    EXPECT_TRUE(std::is_copy_constructible_v<Cloud::BaseHttpRequest>);
    EXPECT_TRUE(std::is_copy_assignable_v<Cloud::BaseHttpRequest>);
    EXPECT_FALSE((std::is_convertible_v<std::string, Cloud::BaseHttpRequest>));
}

// IF-HTTP-09
TEST_F(RequestBase, AnEmptyUrlOfEitherKindStaysEmptyWithoutALine) {
    EXPECT_TRUE(Request(std::string()).url.empty());
    EXPECT_TRUE(Request(std::wstring()).url.empty());
    EXPECT_EQ(Joined(Lines()), "");
}

}  // namespace
}  // namespace Drive::Testing

namespace Drive {

std::string WatchedWStringToString(const std::wstring& text) {
    if (Testing::thrown == 1) throw 7;
    if (Testing::thrown == 2) throw std::runtime_error("no memory");
    return RealWStringToString(text);
}

}  // namespace Drive
