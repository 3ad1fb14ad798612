// The stream of a plain download: statuses, ranges and pieces.
#include <algorithm>
#include <thread>

#include "tests/contract/cloud/suite/cloud_suite.h"

namespace Drive::Testing {
namespace {

using Cloud::FileTransRequest;

constexpr std::size_t kBlock = 4u << 20;
constexpr std::size_t kPiece = 64u << 10;

WMap RangeFrom(std::size_t start) { return {{L"Range", L"bytes=" + std::to_wstring(start) + L"-"}}; }

class ContentStream : public CloudSuite {
protected:
    /// Fetches into `delivered` and `pieces`; the receiver refuses the piece with the given number, counted from 1.
    int Fetch(const CloudContentPlan& content, const WMap& headers = {}, std::size_t refused = 0) {
        delivered.clear();
        pieces.clear();
        calls = 0;
        FileTransRequest request;
        request.receiveDownloadFileCallBackFun([&](const unsigned char* data, const std::int64_t& length) {
            if (++calls == refused) return false;
            if (length > 0) delivered.append(reinterpret_cast<const char*>(data), static_cast<std::size_t>(length));
            pieces.push_back(static_cast<std::size_t>(length));
            return true;
        });
        return FileTransRequest::DownloadCloudFileRequest(cloud->Content(content), headers, &request);
    }

    std::string delivered;
    std::vector<std::size_t> pieces;
    std::size_t calls = 0;
};

struct Part {
    std::size_t size;
    std::size_t start;
};

class Pieces : public ContentStream, public testing::WithParamInterface<Part> {
protected:
    void ExpectTheRest(bool takesRanges) {
        const std::string bytes = SomeBytes(GetParam().size);
        const int status = Fetch({bytes, takesRanges}, RangeFrom(GetParam().start));
        EXPECT_TRUE(status == 206 || status == 200) << status;
        EXPECT_TRUE(delivered == bytes.substr(GetParam().start));
        std::size_t at = 0;
        for (const std::size_t piece : pieces) {
            ASSERT_GT(piece, 0u);
            ASSERT_LE(piece, kPiece);
            ASSERT_EQ(at / kBlock, (at + piece - 1) / kBlock) << "a piece of " << piece << " at " << at;
            at += piece;
        }
    }
};

// CLOUD-CONTENT-01
TEST_P(Pieces, CoverTheRestAndNeverStraddleABlock) { ExpectTheRest(true); }

// CLOUD-CONTENT-01
TEST_P(Pieces, CoverTheRestOfAWholeAnswerAsWell) { ExpectTheRest(false); }

INSTANTIATE_TEST_SUITE_P(Parts, Pieces,
                         testing::Values(Part{1, 0}, Part{kPiece, 0}, Part{kPiece + 1, 0}, Part{kBlock - 1, 0},
                                         Part{kBlock, 0}, Part{kBlock + 1, 0}, Part{2 * kBlock + 1, 0},
                                         Part{2 * kBlock + 1, 1}, Part{2 * kBlock + 1, 1000},
                                         Part{2 * kBlock + 1, kBlock - 1}, Part{2 * kBlock + 1, kBlock},
                                         Part{2 * kBlock + 1, kBlock + 7}, Part{2 * kBlock + 1, 2 * kBlock}),
                         [](const testing::TestParamInfo<Part>& part) {
                             return std::to_string(part.param.size) + "_from_" + std::to_string(part.param.start);
                         });

// CLOUD-CONTENT-01
TEST_F(ContentStream, IsDeliveredOnTheCallingThread) {
    bool elsewhere = false;
    FileTransRequest request;
    request.receiveDownloadFileCallBackFun(
        [&, caller = std::this_thread::get_id()](const unsigned char*, const std::int64_t&) {
            elsewhere = elsewhere || std::this_thread::get_id() != caller;
            return true;
        });
    EXPECT_EQ(200, FileTransRequest::DownloadCloudFileRequest(cloud->Content({SomeBytes(3 * kPiece)}), {}, &request));
    EXPECT_FALSE(elsewhere);
}

// CLOUD-CONTENT-03
TEST_F(ContentStream, IsAskedForWithTheCallersHeaders) {
    const WMap headers{{L"Range", L"bytes=5-"}, {L"version", L"7"}, {L"x-more", L"a b"}};
    Fetch({SomeBytes(100)}, headers);
    EXPECT_EQ(headers, cloud->LastHeard().headers);
    EXPECT_EQ(L"GET", cloud->LastHeard().verb);
}

// CLOUD-CONTENT-04
TEST_F(ContentStream, OfAnEmptyContentIsOneEmptyPiece) {
    for (const WMap& headers : {WMap(), RangeFrom(0)}) {
        EXPECT_EQ(200, Fetch({"", false}, headers));
        EXPECT_EQ(std::vector<std::size_t>{0}, pieces);
    }
}

// CLOUD-CONTENT-05
TEST_F(ContentStream, OfAnyOtherStatusIsNobodysAndTheStatusComesBack) {
    for (const int status : {201, 302, 400, 401, 404, 416, 429, 500, 503}) {
        CloudContentPlan content{SomeBytes(100)};
        content.status = status;
        EXPECT_EQ(status, Fetch(content));
        EXPECT_EQ(0u, calls) << status;
    }
}

// CLOUD-CONTENT-06
TEST_F(ContentStream, EndsWithZeroAtTheReceiversFalseWhereverItComes) {
    const std::string bytes = SomeBytes(3 * kPiece + 5);
    ASSERT_EQ(200, Fetch({bytes}));
    const std::size_t all = pieces.size();
    for (const std::size_t refused : {std::size_t{1}, all - 1, all}) {
        EXPECT_EQ(0, Fetch({bytes}, {}, refused));
        EXPECT_EQ(refused, calls) << "a piece came after the refused one";
        EXPECT_EQ(bytes.substr(0, delivered.size()), delivered);
    }
    EXPECT_EQ(0, Fetch({""}, {}, 1));
}

// CLOUD-CONTENT-07
TEST_F(ContentStream, WithoutAReceiverIsNeverASuccess) {
    FileTransRequest request;
    for (const std::size_t size : {0, 100}) {
        const int status = FileTransRequest::DownloadCloudFileRequest(cloud->Content({SomeBytes(size)}), {}, &request);
        EXPECT_TRUE(status == 0 || status == -1) << status;
        EXPECT_EQ(-1, FileTransRequest::DownloadCloudFileRequest(cloud->Content({SomeBytes(size)}), {}, nullptr));
    }
}

// CLOUD-CONTENT-08
TEST_F(ContentStream, ThatBreaksOffIsNoSuccessAndDeliversNothingWrong) {
    const std::string bytes = SomeBytes(2 * kPiece + 5);
    for (const std::size_t cut : {std::size_t{0}, std::size_t{1}, kPiece, bytes.size() - 1}) {
        CloudContentPlan content{bytes};
        content.cutAfter = cut;
        EXPECT_EQ(-1, Fetch(content)) << cut;
        EXPECT_EQ(bytes.substr(0, cut), delivered) << cut;
        EXPECT_EQ(0, std::count(pieces.begin(), pieces.end(), 0u));
    }
}

// CLOUD-CONTENT-08
TEST_F(ContentStream, ThatNeverCameIsNoSuccess) {
    CloudContentPlan content{SomeBytes(100)};
    content.status = 0;
    EXPECT_EQ(-1, Fetch(content));
    EXPECT_EQ(0u, calls);
}

// CLOUD-CONTENT-08
TEST_F(ContentStream, OfLessThanWhatIsHereAlreadyIsNoSuccess) {
    EXPECT_EQ(-1, Fetch({SomeBytes(100), false}, RangeFrom(101)));
    EXPECT_EQ(0u, calls);
}

// CLOUD-CONTENT-09
TEST_F(ContentStream, FromAnotherPlaceThanTheOneAskedForIsNeverDelivered) {
    for (const std::size_t begin : {0, 9, 11, 50}) {
        CloudContentPlan content{SomeBytes(100)};
        content.rangeBegin = begin;
        EXPECT_EQ(-1, Fetch(content, RangeFrom(10)));
        EXPECT_EQ(0u, calls) << begin;
    }
}

// CLOUD-CONTENT-10
TEST_F(ContentStream, ThatEndsBeforeTheContentDoesIsDeliveredAndNoSuccess) {
    const std::string bytes = SomeBytes(100);
    CloudContentPlan content{bytes};
    content.rangeEnd = 60;
    EXPECT_EQ(-1, Fetch(content, RangeFrom(10)));
    EXPECT_EQ(bytes.substr(10, 50), delivered);
}

// CLOUD-CONTENT-11
TEST_F(ContentStream, OfARangeOfAnotherFormIsNoSuccess) {
    for (const wchar_t* range : {L"bytes=5-10", L"bytes=-5", L"bytes=x-", L"items=5-", L"5"}) {
        EXPECT_EQ(-1, Fetch({SomeBytes(100)}, {{L"Range", range}}));
        EXPECT_EQ(0u, calls);
    }
}

}  // namespace
}  // namespace Drive::Testing
