#include "server_upload/resume_requests.h"

#include <cpprest/json.h>

#include <algorithm>
#include <sstream>

#include "interfaces/logging/type_convert.h"

namespace Drive::TransferService {

namespace {

web::json::value Text(const std::wstring& text) { return web::json::value::string(TypeConvert::WStringToString(text)); }

}  // namespace

WMap ResumeOpeningHeaders(const Common::FileItem& file) {
    // The first name ends in "Typ", deliberately: the file proxy reads exactly that.
    return {{L"X-Upload-Content-Typ", file.GetMimeType()},
            {L"X-Upload-Content-Length", std::to_wstring(file.GetSize())},
            {L"Content-Type", L"application/json"},
            {L"Cache-Control", L"no-cache"}};
}

WMap SliceHeaders(const Common::FileItem& file, std::uint64_t position, std::uint64_t count) {
    // The upper bound is the slice's length less one, deliberately not offset by the position; it wraps for an empty
    // slice.
    return {{L"Content-Range", L"bytes " + std::to_wstring(position) + L"-" + std::to_wstring(count - 1) + L"/" +
                                   std::to_wstring(file.GetSize())},
            {L"Content-Length", std::to_wstring(count)},
            {L"Content-Type", file.GetMimeType()}};
}

std::int32_t ReadSliceSize(const std::wstring& text) {
    std::int32_t size = 0;
    std::wistringstream(text) >> size;
    return size;
}

std::int32_t ResumedSliceLength(std::uint64_t position) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(position));
}

std::uint64_t NextSliceLength(std::int32_t sliceLength, std::uint64_t position, std::uint64_t size) {
    return std::min(static_cast<std::uint64_t>(static_cast<std::int64_t>(sliceLength)), size - position);
}

std::wstring WritePositionRecord(const Common::UploadStartInfo& startInfo, std::uint64_t position,
                                 const std::wstring& resumeUrl) {
    web::json::value record;
    record["uploadType"] = Text(startInfo.GetUploadType());
    record["sliceSize"] = web::json::value::number(startInfo.GetSliceSize());
    record["itemcount"] = web::json::value::number(startInfo.GetItemcount());
    record["uploadUrl"] = Text(startInfo.GetUploadUrl());
    record["position"] = web::json::value::number(position);
    record["resumeUrl"] = Text(resumeUrl);
    return TypeConvert::StringToWString(record.serialize());
}

}  // namespace Drive::TransferService
