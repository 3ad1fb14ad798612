#include "reference_cloud/multipart_reader.h"

namespace Drive::ReferenceCloud {

namespace {

constexpr std::size_t kLongestHeader = 1024;

}  // namespace

MultipartReader::MultipartReader(const std::string& boundary, std::function<void(std::string_view)> content)
    : opening_("--" + boundary + std::string(kLineBreak)),
      middle_(std::string(kLineBreak) + "--" + boundary + std::string(kLineBreak)),
      closing_(std::string(kLineBreak) + "--" + boundary + "--"),
      content_(std::move(content)) {}

bool MultipartReader::TakeOpening() {
    if (held_.size() < opening_.size()) return false;
    const bool right = held_.compare(0, opening_.size(), opening_) == 0;
    state_ = right ? State::metadataHeader : State::broken;
    held_.erase(0, opening_.size());
    return right;
}

bool MultipartReader::TakeHeader(std::string_view wanted, State next) {
    const std::size_t end = held_.find(kLineBreak);
    if (end == std::string::npos) {
        if (held_.size() > kLongestHeader) state_ = State::broken;
        return false;
    }
    const bool right = held_.compare(0, wanted.size(), wanted) == 0;
    state_ = right ? next : State::broken;
    held_.erase(0, end + kLineBreak.size());
    return right;
}

bool MultipartReader::TakeMetadata() {
    const std::size_t end = held_.find(middle_);
    if (end == std::string::npos) {
        if (held_.size() > kMostMetadata) state_ = State::broken;
        return false;
    }
    metadata_ = held_.substr(0, end);
    held_.erase(0, end + middle_.size());
    state_ = State::contentHeader;
    return true;
}

void MultipartReader::PassContent() {
    // What might be the closing mark waits until more comes behind it.
    if (held_.size() <= closing_.size()) return;
    const std::size_t count = held_.size() - closing_.size();
    content_(std::string_view(held_).substr(0, count));
    held_.erase(0, count);
}

/// One step on; false when more bytes are needed, or none can help.
bool MultipartReader::Step() {
    switch (state_) {
        case State::opening:
            return TakeOpening();
        case State::metadataHeader:
            return TakeHeader("Content-Type: application/json", State::metadata);
        case State::metadata:
            return TakeMetadata();
        case State::contentHeader:
            return TakeHeader("Content-Type: ", State::content);
        case State::content:
            PassContent();
            return false;
        case State::broken:
            return false;
    }
    return false;
}

bool MultipartReader::Feed(std::string_view bytes) {
    if (state_ == State::broken) return false;
    held_ += bytes;
    while (Step()) {
    }
    return state_ != State::broken;
}

bool MultipartReader::Finish() { return state_ == State::content && held_ == closing_; }

std::optional<std::string> BoundaryOf(const std::string& contentType) {
    static constexpr std::string_view type = "multipart/related", name = "boundary=";
    static constexpr std::size_t longest = 200;
    if (contentType.compare(0, type.size(), type) != 0) return std::nullopt;
    const std::size_t at = contentType.find(name);
    if (at == std::string::npos) return std::nullopt;
    std::string boundary = contentType.substr(at + name.size());
    boundary.erase(std::min(boundary.find(';'), boundary.size()));
    if (boundary.size() >= 2 && boundary.front() == '"' && boundary.back() == '"') {
        boundary = boundary.substr(1, boundary.size() - 2);
    }
    if (boundary.empty() || boundary.size() > longest) return std::nullopt;
    return boundary;
}

}  // namespace Drive::ReferenceCloud
