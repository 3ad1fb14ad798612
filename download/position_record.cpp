#include "download/position_record.h"

#include <cpprest/json.h>

#include "interfaces/logging/type_convert.h"

namespace Drive::TransferService {

namespace {

constexpr std::size_t kShortestRecord = 11;

constexpr double kTwoTo31 = 2147483648.0;
constexpr double kTwoTo63 = 9223372036854775808.0;

/// Whether a number held as a double can be cut to an integer below `beyond`; the cast of any other means nothing.
bool CanBeCut(const web::json::number& number, double beyond) {
    return number.is_integral() || (number.to_double() >= -beyond && number.to_double() < beyond);
}

}  // namespace

DownloadPosition ParseDownloadPosition(const std::wstring& text) {
    DownloadPosition position;
    if (text.size() < kShortestRecord) return position;
    try {
        const auto value = web::json::value::parse(TypeConvert::WStringToString(text));
        if (!value.is_object()) return position;
        if (value.has_field("writeSliceIndex")) {
            const auto number = value.at("writeSliceIndex").as_number();
            if (!CanBeCut(number, kTwoTo31)) return position;
            position.writeSliceIndex = number.to_int32();
        }
        if (value.has_field("writePosition")) {
            const auto number = value.at("writePosition").as_number();
            if (!CanBeCut(number, kTwoTo63)) return position;
            position.writePosition = number.to_int64();
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
