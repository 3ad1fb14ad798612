// What the client reads out of an answer: every field of every kind, whatever stands there. A field that is called
// sound keeps its promises.
#include <cstdint>
#include <string>

#include "collaborators/cloud/byte_range.h"
#include "collaborators/cloud/json_fields.h"
#include "collaborators/cloud/text.h"
#include "interfaces/logging/sync_panel_log.h"
#include "tests/fuzz/platform/require.h"

namespace Drive {

void SyncPanelLog::WriteErrorLog(const std::string&, const std::string&, const std::string&) {}

}  // namespace Drive

namespace {

using namespace Drive::Cloud;

void CheckFields(const Json::Value& object, int depth) {
    if (!object.isObject()) return;
    for (const auto& name : object.getMemberNames()) {
        JsonFields fields(object, "fuzz");
        const char* key = name.c_str();
        fields.Text(key);
        fields.Name(key);
        const std::wstring id = fields.Id(key);
        ZELKOR_REQUIRE(id.empty() || IsCloudId(id));
        const std::int64_t size = fields.Size(key), number = fields.Number(key, 1, 9);
        ZELKOR_REQUIRE(size >= 0 && size <= (std::int64_t{1} << 53));
        ZELKOR_REQUIRE(number >= 0 && number <= 9);
        fields.Flag(key);
        fields.Texts(key);
        fields.Pairs(key);
        fields.TextOrFirst(key);
        for (const Json::Value* element : fields.Elements(key)) {
            if (depth < 40) CheckFields(*element, depth + 1);
        }
        if (depth < 40) CheckFields(object[name], depth + 1);
    }
}

void CheckRanges(const std::string& text) {
    if (const auto start = OpenRangeStart(text)) ZELKOR_REQUIRE(*start >= 0);
    if (const auto range = ParseContentRange(text)) {
        ZELKOR_REQUIRE(range->first >= 0 && range->first <= range->last);
        ZELKOR_REQUIRE(range->total == -1 || range->last < range->total);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    Json::Value root;
    std::string why;
    if (ParseObject(text, root, why)) {
        CheckFields(root, 0);
        // A lone surrogate comes out of the parser as bytes that are no UTF-8; those are not written again.
        Json::Value again;
        const std::string written = WriteJson(root);
        if (IsUtf8(written)) ZELKOR_REQUIRE(ParseObject(written, again, why));
    } else {
        ZELKOR_REQUIRE(root.isNull() && !why.empty());
    }
    CheckRanges(text);
    CheckRanges("bytes=" + text);
    CheckRanges("bytes " + text);
    return 0;
}
