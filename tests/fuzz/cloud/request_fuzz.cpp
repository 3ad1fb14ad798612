// The server's readers of a multipart body and of ranges: however the body is cut, the same comes out of it, never more
// than went in, and a range lies within the content.
#include <cstdint>
#include <optional>
#include <string>

#include "reference_cloud/byte_range.h"
#include "reference_cloud/multipart_reader.h"
#include "tests/fuzz/platform/require.h"

namespace {

using namespace Drive::ReferenceCloud;

struct Outcome {
    bool whole = false;
    std::string metadata;
    std::string content;
};

Outcome Read(const std::string& body, std::size_t step) {
    Outcome outcome;
    MultipartReader reader("B", [&](std::string_view bytes) { outcome.content += bytes; });
    bool fed = true;
    for (std::size_t at = 0; fed && at < body.size(); at += step) fed = reader.Feed(body.substr(at, step));
    outcome.whole = fed && reader.Finish();
    outcome.metadata = reader.Metadata();
    return outcome;
}

void CheckMultipart(const std::string& body) {
    const Outcome whole = Read(body, body.size() + 1), pieces = Read(body, 1), thirds = Read(body, 3);
    ZELKOR_REQUIRE(whole.whole == pieces.whole && whole.whole == thirds.whole);
    ZELKOR_REQUIRE(whole.content.size() + whole.metadata.size() <= body.size());
    if (!whole.whole) return;
    ZELKOR_REQUIRE(whole.content == pieces.content && whole.content == thirds.content);
    ZELKOR_REQUIRE(whole.metadata == pieces.metadata && whole.metadata == thirds.metadata);
}

/// Whatever a content holds, also marks and line breaks, it comes out as it went in.
void CheckContent(const std::string& content) {
    const std::string line(MultipartReader::kLineBreak);
    const Outcome outcome =
        Read("--B" + line + "Content-Type: application/json; charset=UTF-8" + line + "{}\n" + line + "--B" + line +
                 "Content-Type: application/octet-stream; charset=UTF-8" + line + content + line + "--B--",
             7);
    ZELKOR_REQUIRE(outcome.whole && outcome.content == content && outcome.metadata == "{}\n");
}

void CheckRanges(const std::string& text, std::int64_t size) {
    const RangeAnswer answer = ChooseRange(text, size);
    ZELKOR_REQUIRE(answer.status == 200 || answer.status == 206 || answer.status == 416);
    ZELKOR_REQUIRE(answer.offset >= 0 && answer.length >= 0 && answer.offset <= size);
    ZELKOR_REQUIRE(answer.length <= size - answer.offset);
    ZELKOR_REQUIRE(answer.status != 206 || answer.length > 0);
    if (const auto slice = ParseSliceRange(text)) {
        ZELKOR_REQUIRE(slice->position >= 0 && slice->position < slice->size);
    }
    if (const auto boundary = BoundaryOf(text)) {
        ZELKOR_REQUIRE(!boundary->empty() && boundary->size() <= 200);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    CheckMultipart(text);
    CheckContent(text);
    for (const std::int64_t length : {0LL, 1LL, 10LL, 1LL << 53}) {
        CheckRanges(text, length);
        CheckRanges("bytes=" + text, length);
        CheckRanges("bytes " + text, length);
        CheckRanges("multipart/related;boundary=" + text, length);
    }
    return 0;
}
