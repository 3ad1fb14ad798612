#include "upload/plan_parser.h"

#include <json/reader.h>
#include <json/value.h>

#include <exception>
#include <limits>
#include <utility>
#include <vector>

#include "interfaces/logging/sync_panel_log.h"
#include "interfaces/logging/type_convert.h"
#include "upload/upload_task_manager.h"

namespace Drive::TransferService {

namespace {

constexpr double kTwoTo63 = 9223372036854775808.0;

std::wstring ReadText(const Json::Value& object, const char* key) {
    return TypeConvert::StringToWString(object[key].asString());
}

/// All numbers pass through a double, so integers above 2^53 lose precision; that is accepted.
double ReadNumber(const Json::Value& object, const char* key) {
    return object.isMember(key) ? object[key].asDouble() : 0.0;
}

std::wstring ReadTextIfPresent(const Json::Value& object, const char* key) {
    return object.isMember(key) ? ReadText(object, key) : std::wstring();
}

void ReadPlan(const Json::Value& root, Common::UploadStartInfo& info) {
    info.SetUploadType(ReadTextIfPresent(root, "uploadType"));
    info.SetVersion(TruncateToSigned(ReadNumber(root, "version")));
    info.SetBucketId(ReadTextIfPresent(root, "bucketId"));
    info.SetPosition(TruncateToUnsigned(ReadNumber(root, "position")));
    info.SetRecordCursor(ReadTextIfPresent(root, "recordCursor"));
    info.SetUploadUrl(ReadTextIfPresent(root, "uploadUrl"));
    info.SetResumeUrl(ReadTextIfPresent(root, "resumeUrl"));
    info.SetSliceSize(TruncateToSigned(ReadNumber(root, "sliceSize")));
}

Common::FragmentInfo ReadFragment(const Json::Value& entry) {
    Common::FragmentInfo fragment;
    fragment.status = entry.isMember("status") && entry["status"].asBool();
    fragment.time = ReadText(entry, "time");
    fragment.synckey = ReadText(entry, "synckey");
    fragment.objectId = ReadText(entry, "objectId");
    fragment.length = TruncateToSigned(entry["length"].asDouble());
    return fragment;
}

}  // namespace

std::int64_t TruncateToSigned(double value) {
    if (!(value >= -kTwoTo63 && value < kTwoTo63)) return std::numeric_limits<std::int64_t>::min();
    return static_cast<std::int64_t>(value);
}

std::uint64_t TruncateToUnsigned(double value) {
    constexpr std::uint64_t kTopBit = std::uint64_t{1} << 63;
    if (!(value >= kTwoTo63)) return static_cast<std::uint64_t>(TruncateToSigned(value));
    const double rest = value - kTwoTo63;
    return kTopBit | (rest < kTwoTo63 ? static_cast<std::uint64_t>(rest) : 0);
}

bool ReadStartRecord(const std::string& text, Common::UploadStartInfo& info) {
    if (text.empty()) return false;
    Json::Value parsed;
    Json::Reader reader;
    if (!reader.parse(text, parsed, true)) return false;
    const Json::Value& root = parsed;
    // Null passes, deliberately, and gives a plan of all defaults.
    if (!root.isObject() && !root.isNull()) return false;
    ReadPlan(root, info);

    const Json::Value& items = root["items"];
    if (!items.isArray() && !items.isNull()) return true;
    std::vector<Common::FragmentInfo> fragments;
    for (Json::ArrayIndex index = 0; index < items.size(); ++index) {
        const Json::Value& entry = items[index];
        if (!entry.isObject() && !entry.isNull()) continue;
        fragments.push_back(ReadFragment(entry));
    }
    info.SetItemcount(static_cast<std::uint32_t>(fragments.size()));
    info.SetFragmentInfos(std::move(fragments));
    return true;
}

bool UpLoadTaskManger::initUploadStartinfo(const std::string& text, Common::UploadStartInfo& info) {
    try {
        return ReadStartRecord(text, info);
    } catch (const std::exception& error) {
        SyncPanelLog::WriteErrorLog("UpLoadTaskManger", "loadUploadStartinfo",
                                    std::string("loadUploadStartinfo error.") + error.what());
    } catch (...) {
        SyncPanelLog::WriteErrorLog("UpLoadTaskManger", "loadUploadStartinfo", "loadUploadStartinfo error.");
    }
    return false;
}

}  // namespace Drive::TransferService
