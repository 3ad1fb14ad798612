#include "reference_cloud/multipart_reader.h"

#include <gtest/gtest.h>

namespace Drive::ReferenceCloud {

namespace {

const std::string kBreak = "\r\n ";

std::string Body(const std::string& metadata, const std::string& content) {
    return "--B" + kBreak + "Content-Type: application/json; charset=UTF-8" + kBreak + metadata + kBreak + "--B" +
           kBreak + "Content-Type: application/octet-stream; charset=UTF-8" + kBreak + content + kBreak + "--B--";
}

struct Outcome {
    bool whole = false;
    std::string metadata;
    std::string content;
};

Outcome ReadInPieces(const std::string& body, std::size_t piece) {
    Outcome outcome;
    MultipartReader reader("B", [&](std::string_view bytes) { outcome.content += bytes; });
    bool fits = true;
    for (std::size_t at = 0; at < body.size() && fits; at += piece) fits = reader.Feed(body.substr(at, piece));
    outcome.whole = fits && reader.Finish();
    outcome.metadata = reader.Metadata();
    return outcome;
}

// REF-PROXY-16
TEST(MultipartReader, GivesBothPartsHoweverTheBytesCome) {
    const std::string body = Body("{\"a\":1}\n", "some content");
    for (std::size_t piece = 1; piece <= body.size(); ++piece) {
        const Outcome outcome = ReadInPieces(body, piece);
        EXPECT_TRUE(outcome.whole) << piece;
        EXPECT_EQ(outcome.metadata, "{\"a\":1}\n") << piece;
        EXPECT_EQ(outcome.content, "some content") << piece;
    }
}

// REF-PROXY-17
TEST(MultipartReader, LetsTheContentHoldTheMarksThemselves) {
    for (const std::string& content :
         {std::string(), std::string("\0\r\n ", 4), kBreak + "--B--", kBreak + "--B" + kBreak,
          kBreak + "--B--" + kBreak, std::string("--B--") + kBreak + "--B-", kBreak + "--B--" + kBreak + "--B--"}) {
        for (const std::size_t piece : {1U, 3U, 1000U}) {
            const Outcome outcome = ReadInPieces(Body("{}\n", content), piece);
            EXPECT_TRUE(outcome.whole);
            EXPECT_EQ(outcome.content, content);
        }
    }
}

// REF-PROXY-18
TEST(MultipartReader, RefusesABodyThatBreaksOff) {
    const std::string body = Body("{}\n", "content");
    for (std::size_t length = 0; length < body.size(); ++length) {
        EXPECT_FALSE(ReadInPieces(body.substr(0, length), 7).whole) << length;
    }
}

// REF-PROXY-18
TEST(MultipartReader, RefusesPlainLineEnds) {
    std::string body = Body("{}\n", "content");
    for (std::size_t at = 0; (at = body.find(kBreak, at)) != std::string::npos;) body.replace(at, 3, "\r\n");
    EXPECT_FALSE(ReadInPieces(body, 1000).whole);
}

// REF-PROXY-18
TEST(MultipartReader, RefusesAnythingBehindTheEnd) {
    EXPECT_FALSE(ReadInPieces(Body("{}\n", "content") + "\r\n", 1000).whole);
}

// REF-PROXY-18
TEST(MultipartReader, GivesUpMetadataWithoutAnEnd) {
    MultipartReader reader("B", [](std::string_view) {});
    EXPECT_TRUE(reader.Feed("--B" + kBreak + "Content-Type: application/json" + kBreak));
    EXPECT_FALSE(reader.Feed(std::string(MultipartReader::kMostMetadata + 1, 'x')));
}

// REF-PROXY-19
TEST(MultipartReader, FindsTheBoundaryInTheContentType) {
    EXPECT_EQ(BoundaryOf("multipart/related;boundary=abc"), "abc");
    EXPECT_EQ(BoundaryOf("multipart/related; boundary=\"a b\"; x=y"), "a b");
    EXPECT_FALSE(BoundaryOf("multipart/form-data;boundary=abc"));
    EXPECT_FALSE(BoundaryOf("multipart/related"));
    EXPECT_FALSE(BoundaryOf("multipart/related;boundary="));
}

}  // namespace

}  // namespace Drive::ReferenceCloud
