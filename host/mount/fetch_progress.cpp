#include "host/mount/fetch_progress.h"

#include <unistd.h>

#include <chrono>
#include <string_view>

namespace Drive::Host {
namespace {

constexpr auto kLookAround = std::chrono::milliseconds(100);

}  // namespace

OpenFile::~OpenFile() {
    if (number >= 0) {
        close(number);
    }
}

void FetchProgress::Opened(int descriptor) {
    const std::lock_guard lock(mutex);
    file = std::make_shared<OpenFile>(descriptor);
    arrived = 0;
    blocks = 0;
}

void FetchProgress::Began() {
    const std::lock_guard lock(mutex);
    arrived = 0;
    blocks = 0;
}

void FetchProgress::Took(std::int64_t offset, const unsigned char* data, std::int64_t length) {
    const std::string_view bytes(reinterpret_cast<const char*>(data), static_cast<std::size_t>(length));
    const Block block{offset + length, std::hash<std::string_view>()(bytes)};
    const std::lock_guard lock(mutex);
    if (blocks == seen.size()) {
        seen.push_back(block);
    } else {
        spoiled = spoiled || seen[blocks].end != block.end || seen[blocks].digest != block.digest;
    }
    ++blocks;
    arrived = block.end;
    changed.notify_all();
}

void FetchProgress::Ended(bool good, const std::string&) {
    const std::lock_guard lock(mutex);
    phase = good ? Phase::Good : Phase::Bad;
    changed.notify_all();
}

FetchProgress::State FetchProgress::Wait(std::int64_t end, const std::function<bool()>& interrupted) {
    std::unique_lock lock(mutex);
    for (;;) {
        if (spoiled || phase == Phase::Bad) {
            return State::Failed;
        }
        if (phase == Phase::Good || (end < size && end <= arrived)) {
            return State::Ready;
        }
        changed.wait_for(lock, kLookAround);
        if (interrupted()) {
            return State::Interrupted;
        }
    }
}

FetchProgress::State FetchProgress::WaitFor(std::int64_t offset, std::int64_t length,
                                            const std::function<bool()>& interrupted) {
    return Wait(offset + length, interrupted);
}

FetchProgress::State FetchProgress::WaitForAll(const std::function<bool()>& interrupted) {
    return Wait(size, interrupted);
}

std::shared_ptr<OpenFile> FetchProgress::File() const {
    const std::lock_guard lock(mutex);
    return file;
}

}  // namespace Drive::Host
