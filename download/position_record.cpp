#include "download/position_record.h"

#include <cpprest/json.h>

#include "interfaces/logging/type_convert.h"

namespace Drive::TransferService {

namespace {

constexpr std::size_t kShortestRecord = 11;

}  // namespace

DownloadPosition ParseDownloadPosition(const std::wstring& text) {
    DownloadPosition position;
    if (text.size() < kShortestRecord) return position;
    try {
        const auto value = web::json::value::parse(TypeConvert::WStringToString(text));
        if (!value.is_object()) return position;
        if (value.has_field("writeSliceIndex")) {
            position.writeSliceIndex = value.at("writeSliceIndex").as_number().to_int32();
        }
        if (value.has_field("writePosition")) {
            position.writePosition = value.at("writePosition").as_number().to_int64();
        }
    } catch (...) {
        // A damaged record only costs a fresh start from what was read of it.
    }
    return position;
}

std::wstring FormatDownloadPosition(const DownloadPosition& position) {
    web::json::value value = web::json::value::object();
    value["writePosition"] = web::json::value::number(position.writePosition);
    value["writeSliceIndex"] = web::json::value::number(position.writeSliceIndex);
    return TypeConvert::StringToWString(value.serialize());
}

}  // namespace Drive::TransferService
