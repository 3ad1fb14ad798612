#include "reference_cloud/journal.h"

#include <stdexcept>

#include "reference_cloud/http_message.h"

namespace Drive::ReferenceCloud {

Journal::Journal(const std::string& path) {
    if (path.empty()) return;
    stream_.open(path, std::ios::app);
    if (!stream_) throw std::runtime_error("the journal " + path + " cannot be opened; check its folder");
}

void Journal::Write(const JournalEntry& entry) {
    Json::Value line(Json::objectValue);
    line["begin"] = entry.begin;
    line["end"] = entry.end;
    line["method"] = entry.method;
    line["path"] = entry.path;
    line["user"] = entry.user;
    line["range"] = entry.range;
    line["contentRange"] = entry.contentRange;
    line["status"] = entry.status;
    line["bytesIn"] = Json::UInt64(entry.bytesIn);
    line["bytesOut"] = Json::UInt64(entry.bytesOut);
    line["inFlight"] = entry.inFlight;
    line["clientGone"] = entry.clientGone;
    line["scenario"] = entry.scenario;
    const std::string text = JsonText(line) + "\n";
    const std::lock_guard lock(mutex_);
    if (stream_.is_open()) stream_ << text << std::flush;
}

}  // namespace Drive::ReferenceCloud
