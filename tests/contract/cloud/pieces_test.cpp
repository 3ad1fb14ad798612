// The small tables under the transfers: cuts, ranges, addresses, operations of the proxy.
#include <random>

#include "collaborators/cloud/address.h"
#include "collaborators/cloud/byte_range.h"
#include "collaborators/cloud/json_shape.h"
#include "collaborators/cloud/piece_cutter.h"
#include "collaborators/cloud/proxy_operation.h"
#include "tests/contract/cloud/cloud_test.h"
#include "tests/contract/cloud/stepped_clock.h"

namespace Drive::Testing {
namespace {

using namespace Drive::Cloud;

struct Collected {
    std::string bytes;
    std::vector<std::size_t> pieces;
    FileTransRequest::Receiver receiver = [this](const unsigned char* data, const std::int64_t& length) {
        bytes.append(reinterpret_cast<const char*>(data), static_cast<std::size_t>(length));
        pieces.push_back(static_cast<std::size_t>(length));
        return true;
    };
};

// CLOUD-CONTENT-01
TEST(PieceCutterTest, HoldsForAnyWayThatTheBytesArrive) {
    std::mt19937 generator(7);
    const std::string content = Content((4 << 20) + (300 << 10) + 17);
    for (int round = 0; round < 30; ++round) {
        Collected got;
        PieceCutter cutter(got.receiver);
        const std::size_t most = std::vector<std::size_t>{1500, 65536, 200'000, 524'288}[generator() % 4];
        for (std::size_t at = 0; at < content.size();) {
            const std::size_t size = std::min<std::size_t>(1 + generator() % most, content.size() - at);
            ASSERT_TRUE(cutter.Take(reinterpret_cast<const unsigned char*>(content.data()) + at, size));
            at += size;
            if (generator() % 50 == 0) StepClock(300);
        }
        ASSERT_TRUE(cutter.Finish());
        ASSERT_TRUE(got.bytes == content);
        std::size_t at = 0;
        for (const std::size_t piece : got.pieces) {
            ASSERT_GT(piece, 0u);
            ASSERT_EQ(at >> 16, (at + piece - 1) >> 16) << "piece of " << piece << " at " << at;
            at += piece;
        }
    }
}

// CLOUD-CONTENT-02
TEST(PieceCutterTest, CrumbsAreGatheredForAMomentOnly) {
    Collected got;
    PieceCutter cutter(got.receiver);
    const unsigned char crumb[10] = {};
    for (int count = 0; count < 5; ++count) EXPECT_TRUE(cutter.Take(crumb, sizeof crumb));
    EXPECT_TRUE(cutter.Tick());
    EXPECT_TRUE(got.pieces.empty());
    StepClock(200);
    EXPECT_TRUE(cutter.Tick());
    EXPECT_EQ(std::vector<std::size_t>{50}, got.pieces);
}

// CLOUD-CONTENT-04
TEST(PieceCutterTest, ABrokenBodyWithoutBytesDeliversNoEmptyPiece) {
    Collected got;
    PieceCutter cutter(got.receiver);
    EXPECT_TRUE(cutter.Flush());
    EXPECT_TRUE(got.pieces.empty());
    EXPECT_TRUE(cutter.Finish());
    EXPECT_EQ(std::vector<std::size_t>{0}, got.pieces);
}

// CLOUD-CONTENT-06
TEST(PieceCutterTest, NothingIsDeliveredAfterARefusal) {
    int calls = 0;
    const FileTransRequest::Receiver receiver = [&](const unsigned char*, const std::int64_t&) {
        ++calls;
        return false;
    };
    PieceCutter cutter(receiver);
    const std::string content = Content(200'000);
    const auto* data = reinterpret_cast<const unsigned char*>(content.data());
    EXPECT_FALSE(cutter.Take(data, content.size()));
    EXPECT_FALSE(cutter.Take(data, 10));
    EXPECT_FALSE(cutter.Tick());
    EXPECT_FALSE(cutter.Finish());
    EXPECT_EQ(1, calls);
    EXPECT_EQ(0, cutter.Delivered());
}

// CLOUD-CONTENT-11
TEST(ByteRange, OnlyAnOpenRangeHasAStart) {
    EXPECT_EQ(0, OpenRangeStart("bytes=0-"));
    EXPECT_EQ(9'223'372'036'854'775'807, OpenRangeStart("Bytes=9223372036854775807-"));
    for (const char* text : {"", "bytes=", "bytes=-", "bytes=1", "bytes=1-2", "bytes=-1", "bytes=+1-", "bytes= 1-",
                             "bytes=9223372036854775808-", "bytes=1-,3-", "items=1-", "bytes=0x1-"}) {
        EXPECT_FALSE(OpenRangeStart(text)) << text;
    }
}

// CLOUD-CONTENT-09
TEST(ByteRange, AContentRangeIsReadOrNot) {
    const auto range = ParseContentRange("bytes 5-9/20");
    ASSERT_TRUE(range);
    EXPECT_EQ(5, range->first);
    EXPECT_EQ(9, range->last);
    EXPECT_EQ(20, range->total);
    EXPECT_EQ(-1, ParseContentRange("BYTES 0-0/*")->total);
    for (const char* text : {"", "bytes", "bytes */20", "bytes 5/20", "bytes 9-5/20", "bytes 5-20/20", "bytes 5-9/",
                             "bytes 5-9", "bytes 5-9/20x", "bytes -5-9/20", "bytes 5-9/-20", "5-9/20"}) {
        EXPECT_FALSE(ParseContentRange(text)) << text;
    }
}

// CLOUD-NET-01
TEST(Address, IsMadeWholeOrRefused) {
    EXPECT_EQ("http://h:1/a/b?c", ResolveAddress("/a/b?c", "http://h:1"));
    EXPECT_EQ("HTTPS://h/x", ResolveAddress("HTTPS://h/x", "http://other"));
    EXPECT_EQ("http://[::1]:80/x", ResolveAddress("http://[::1]:80/x", ""));
    for (const char* text : {"", "x", "//h/x", "ftp://h/", "http:/h", "http:///x", "http://@h/", "http://h/a b",
                             "http://h/\x7f", "http://h/\\x", "http://:80/", "http://[/x"}) {
        EXPECT_EQ("", ResolveAddress(text, "http://h:1")) << text;
    }
    EXPECT_EQ("", ResolveAddress("http://h/" + std::string(100'000, 'x'), ""));
    EXPECT_EQ("", ResolveAddress("/x", ""));
}

// CLOUD-NET-01
TEST(Address, HostsAreToldApart) {
    EXPECT_EQ("host", HostOf("http://HOST:80/x:y"));
    EXPECT_EQ("::1", HostOf("http://[::1]:80/"));
    EXPECT_EQ("h", HostOf("http://h?x=http://other/"));
    EXPECT_TRUE(IsLoopbackHost("127.0.0.1"));
    EXPECT_TRUE(IsLoopbackHost("127.9.9.9"));
    EXPECT_TRUE(IsLoopbackHost("localhost"));
    EXPECT_TRUE(IsLoopbackHost("::1"));
    EXPECT_FALSE(IsLoopbackHost("127.evil.example"));
    EXPECT_FALSE(IsLoopbackHost("localhost.evil.example"));
    EXPECT_FALSE(IsLoopbackHost("128.0.0.1"));
    EXPECT_FALSE(IsLoopbackHost(""));
}

// CLOUD-NET-02
TEST(Address, TheLogSeesNoSignatureAndNoSession) {
    EXPECT_EQ("http://h:1/store", AddressForLog("http://h:1/store/b/o?signature=s"));
    EXPECT_EQ("http://h", AddressForLog("http://h?token=t"));
    EXPECT_EQ("http://h/proxy", AddressForLog("http://h/proxy/s"));
    EXPECT_EQ("http://h:1", AddressForLog("http://bob:pass@h:1"));
    EXPECT_EQ("http://h/store", AddressForLog("http://bob:p@ss@h/store/b"));
    EXPECT_EQ("http://h/a@b", AddressForLog("http://h/a@b/c"));
}

// CLOUD-NET-01
TEST(Address, PercentEncodingKeepsOnlyWhatIsSafe) {
    EXPECT_EQ("aZ09-._~", PercentEncode("aZ09-._~"));
    EXPECT_EQ("%2F%3F%23%25%20%2B%C3%A9%00", PercentEncode(std::string("/?#% +\u00e9\0", 9)));
}

// CLOUD-PROXY-04
TEST(ProxySlice, TheLastOneIsKnownByPositionAndTotal) {
    const auto last = [](const char* range, std::size_t bytes) {
        return IsLastSlice({{"content-range", range}}, bytes);
    };
    EXPECT_TRUE(last("bytes 0-4/5", 5));
    EXPECT_TRUE(last("bytes 5242880-5242879/10485760", 5242880));
    EXPECT_FALSE(last("bytes 0-4/6", 5));
    EXPECT_FALSE(last("bytes 5-4/5242890", 5242880));
    EXPECT_FALSE(last("bytes 7-4/5", 5));
    EXPECT_FALSE(last("bytes x-4/5", 5));
    EXPECT_FALSE(last("bytes 0-4", 5));
    EXPECT_FALSE(last("0-4/5", 5));
    EXPECT_FALSE(IsLastSlice({}, 5));
    EXPECT_TRUE(last("bytes 0-18446744073709551615/0", 0));
}

// CLOUD-HOSTILE-04
TEST(JsonShape, CountsWhatTheParserWouldMakeAndNotWhatStandsInTexts) {
    std::string why;
    std::string list = "[0";
    for (int count = 0; count < 999'999; ++count) list += ",0";
    EXPECT_TRUE(HasFitShape(list + "]", why));
    EXPECT_FALSE(HasFitShape(list + ",0]", why));
    EXPECT_EQ("the answer holds more than 1000000 values", why);
    EXPECT_TRUE(
        HasFitShape("{\"a\":\"" + std::string(2'000'000, ',') + "\\\"" + std::string(2'000'000, '[') + "\"}", why));
    EXPECT_FALSE(HasFitShape(std::string(1'000'001, '['), why));
    EXPECT_TRUE(HasFitShape("\"" + std::string(2'000'000, ','), why))
        << "a text without an end is the parser's to refuse";
}

// CLOUD-HOSTILE-01
TEST(JsonShape, HalfASurrogatePairIsFoundWhereverItStands) {
    std::string why;
    for (const char* text : {R"("\ud83d\ude00")", R"("\uD83D\uDE00 and \u00e9")", R"("\\udc80")", R"("\\\\udc80")",
                             R"({"\u0041":"\"\ud800\udc00"})", R"("\u")", R"("\ud8)", "\"\\", ""}) {
        EXPECT_TRUE(HasFitShape(text, why)) << text;
    }
    for (const char* text : {R"("\udc80")", R"("\ud800")", R"("\ud800\ud800")", R"("\ud800x")", R"("\udfff\ud800")",
                             R"({"\udc80":1})", R"("\\\udc80")", R"("\ud800\u0041")", R"("\ud83d\ude00\ude00")"}) {
        EXPECT_FALSE(HasFitShape(text, why)) << text;
        EXPECT_EQ("a text of the answer holds half a surrogate pair", why);
    }
}

}  // namespace
}  // namespace Drive::Testing
