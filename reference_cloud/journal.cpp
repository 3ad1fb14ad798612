#include "reference_cloud/journal.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <iostream>
#include <stdexcept>
#include <string_view>

#include "interfaces/cloud/wire/fields.h"
#include "reference_cloud/http_message.h"

namespace Drive::ReferenceCloud {

namespace Wire = Drive::Cloud::Wire;

namespace {

constexpr const char* kHidden = "(hidden)";

bool IsSecret(const std::string& name) {
    for (const char* secret : {Wire::kPassword, Wire::kAccessToken, Wire::kRefreshToken, Wire::kTemporaryKey,
                               Wire::kEncryptedKey, Wire::kEfek, Wire::kSignature}) {
        if (name == secret) return true;
    }
    return false;
}

/// A signed address is as good as the object.
void HideSignature(Json::Value& url) {
    const std::string text = url.asString(), mark = std::string(Wire::kSignature) + "=";
    const std::size_t at = text.find(mark);
    if (at != std::string::npos) url = text.substr(0, at + mark.size()) + kHidden;
}

void HideSecrets(Json::Value& value) {
    if (value.isObject()) {
        for (const auto& name : value.getMemberNames()) {
            Json::Value& field = value[name];
            if (IsSecret(name) && field.isString()) {
                field = kHidden;
            } else if (name == Wire::kUrl && field.isString()) {
                HideSignature(field);
            } else {
                HideSecrets(field);
            }
        }
    } else if (value.isArray()) {
        for (Json::Value& element : value) HideSecrets(element);
    }
}

Json::Value Shown(const std::string& body) {
    Json::Value value = body.empty() ? Json::Value() : ParseJson(body).value_or(Json::Value());
    HideSecrets(value);
    return value;
}

Json::Value Shown(const std::map<std::string, std::string>& pairs) {
    Json::Value value(Json::objectValue);
    for (const auto& [name, text] : pairs) value[name] = IsSecret(name) ? kHidden : text;
    return value;
}

bool WriteAll(int file, std::string_view text) {
    while (!text.empty()) {
        const ssize_t count = ::write(file, text.data(), text.size());
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) return false;
        text.remove_prefix(static_cast<std::size_t>(count));
    }
    return true;
}

}  // namespace

Journal::Journal(const std::string& path, bool withBodies) : path_(path), withBodies_(withBodies) { Reopen(); }

Journal::~Journal() {
    if (file_ >= 0) ::close(file_);
}

void Journal::Reopen() {
    if (path_.empty()) return;
    const int fresh = ::open(path_.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
    if (fresh < 0) throw std::runtime_error("the journal " + path_ + " cannot be opened; check its folder");
    const std::lock_guard lock(mutex_);
    if (file_ >= 0) ::close(file_);
    file_ = fresh;
    failing_ = false;
}

void Journal::Write(const JournalEntry& entry) {
    Json::Value line(Json::objectValue);
    line["begin"] = entry.begin;
    line["end"] = entry.end;
    line["method"] = entry.method;
    line["path"] = entry.path;
    line["user"] = entry.user;
    line["peer"] = entry.peer;
    line["range"] = entry.range;
    line["contentRange"] = entry.contentRange;
    line["status"] = entry.status;
    line["bytesIn"] = Json::UInt64(entry.bytesIn);
    line["bytesOut"] = Json::UInt64(entry.bytesOut);
    line["inFlight"] = entry.inFlight;
    line["clientGone"] = entry.clientGone;
    line["scenario"] = entry.scenario;
    if (withBodies_) {
        line["query"] = Shown(entry.query);
        line["answerHeaders"] = Shown(entry.answerHeaders);
        line["request"] = Shown(entry.request);
        line["answer"] = Shown(entry.answer);
    }
    const std::string text = JsonText(line) + "\n";
    const std::lock_guard lock(mutex_);
    if (file_ < 0) return;
    // What there may be of a lost line ends here.
    const bool written = WriteAll(file_, failing_ ? "\n" + text : text);
    if (!written && !failing_) {
        std::cerr << "zelkor-cloud: the journal " << path_ << " cannot be written; check the space of its disk"
                  << std::endl;
    }
    failing_ = !written;
}

}  // namespace Drive::ReferenceCloud
