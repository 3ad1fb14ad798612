#include "host/report/record_bytes.h"

#include <json/json.h>

#include <algorithm>
#include <memory>

#include "interfaces/platform/text.h"

namespace Drive::Host {
namespace {

// Objects may be done in any order, so the position alone tells too little: what is stored is summed up.
std::int64_t StoredOf(const Json::Value& record) {
    const Json::Value& slice = record["sliceSize"];
    const Json::Value& items = record["items"];
    if (!slice.isNumeric() || !items.isArray()) {
        return 0;
    }
    std::int64_t stored = 0;
    for (const Json::Value& item : items) {
        const bool done = item.isObject() && item["status"].isBool() && item["status"].asBool();
        stored += done ? static_cast<std::int64_t>(slice.asDouble()) : 0;
    }
    return stored;
}

std::int64_t Number(const Json::Value& value) { return value.isInt64() ? value.asInt64() : 0; }

}  // namespace

std::int64_t BytesInRecord(const std::wstring& fragmentInfo, int direction, std::int64_t size) {
    Json::Value record;
    const std::string text = Platform::NarrowText(fragmentInfo);
    const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
    if (!reader->parse(text.data(), text.data() + text.size(), &record, nullptr) || !record.isObject()) {
        return 0;
    }
    const std::int64_t bytes =
        direction == 1 ? Number(record["writePosition"]) : std::max(StoredOf(record), Number(record["position"]));
    return std::clamp<std::int64_t>(bytes, 0, std::max<std::int64_t>(size, 0));
}

}  // namespace Drive::Host
