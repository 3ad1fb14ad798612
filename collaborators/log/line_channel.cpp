#include "collaborators/log/line_channel.h"

#include <exception>
#include <thread>
#include <utility>

namespace Drive::Logging {

namespace {

constexpr std::size_t kMostRecords = 8192;
constexpr std::size_t kMostBytes = 16u << 20;
constexpr std::chrono::seconds kCheckPause{1};

}  // namespace

LineChannel::LineChannel(LossLine line) : lossLine(line) {}

void LineChannel::Push(LineBuilder build, std::size_t bytes) noexcept {
    std::lock_guard<std::mutex> lock(queueMutex);
    if (silent) return;
    if (queue.size() >= kMostRecords || bytes > kMostBytes - queuedBytes) {
        ++lostRecords;
        return;
    }
    try {
        queue.push_back({std::move(build), bytes});
    } catch (const std::exception&) {
        ++lostRecords;
        return;
    }
    queuedBytes += bytes;
    ++pushed;
    if (queue.size() == 1) recordCame.notify_one();
}

void LineChannel::CountLoss() noexcept {
    std::lock_guard<std::mutex> lock(queueMutex);
    ++lostRecords;
}

bool LineChannel::Open(const RotatingFile::Place& wanted) {
    std::lock_guard<std::mutex> fileLock(fileMutex);
    try {
        RotatingFile::Place newPlace = wanted;
        if (file) WriteQueued();
        auto opened = std::make_unique<RotatingFile>(wanted);
        StartWriter();
        file = std::move(opened);
        place = std::move(newPlace);
    } catch (const std::exception&) {
        return false;
    }
    std::lock_guard<std::mutex> lock(queueMutex);
    silent = false;
    fileWorks = true;
    recordCame.notify_one();
    return true;
}

void LineChannel::Silence() {
    std::lock_guard<std::mutex> fileLock(fileMutex);
    if (file) WriteQueued();
    file.reset();
    std::lock_guard<std::mutex> lock(queueMutex);
    silent = true;
    fileWorks = true;
    finished = pushed;
    queue.clear();
    queuedBytes = 0;
    lostRecords = 0;
    recordWritten.notify_all();
}

bool LineChannel::Flush(std::chrono::milliseconds most) {
    std::unique_lock<std::mutex> lock(queueMutex);
    const std::uint64_t wanted = pushed;
    if (!writerRuns) return finished >= wanted;
    recordWritten.wait_for(lock, most, [&] { return finished >= wanted; });
    return finished >= wanted && fileWorks;
}

void LineChannel::StartWriter() {
    std::lock_guard<std::mutex> lock(queueMutex);
    if (writerRuns) return;
    std::thread([this] { WriterBody(); }).detach();
    writerRuns = true;
}

void LineChannel::WriterBody() {
    for (;;) {
        {
            std::unique_lock<std::mutex> lock(queueMutex);
            recordCame.wait(lock, [this] { return !queue.empty(); });
        }
        std::lock_guard<std::mutex> fileLock(fileMutex);
        WriteQueued();
    }
}

bool LineChannel::TakeBatch(std::deque<Item>& batch, std::uint64_t& lost) {
    std::lock_guard<std::mutex> lock(queueMutex);
    if (queue.empty()) return false;
    batch.swap(queue);
    queuedBytes = 0;
    lost = std::exchange(lostRecords, 0);
    return true;
}

/// Called with fileMutex held, by the writer and by those who change the file.
void LineChannel::WriteQueued() {
    std::deque<Item> batch;
    std::uint64_t lost = 0;
    while (TakeBatch(batch, lost)) {
        WriteBatch(batch, lost);
        batch.clear();
    }
}

void LineChannel::WriteBatch(const std::deque<Item>& batch, std::uint64_t lost) {
    std::uint64_t untold = lost;
    bool works = FileStands();
    try {
        if (works) WriteLines(batch, untold);
    } catch (const std::exception&) {
        works = false;
        untold += file->TakeGivenUp();
        file.reset();
    }
    // What went into a file that then failed counts as lost: an overstatement, never the other way.
    if (!works) untold += batch.size();

    std::lock_guard<std::mutex> lock(queueMutex);
    fileWorks = works;
    lostRecords += untold;
    finished += batch.size();
    recordWritten.notify_all();
}

/// `untold` is the number of lost ones that no line tells of yet: at the end those of a file that the telling line
/// itself replaced.
void LineChannel::WriteLines(const std::deque<Item>& batch, std::uint64_t& untold) {
    for (const Item& item : batch) file->Write(item.build());
    untold += file->TakeGivenUp();
    if (untold != 0) file->Write(lossLine(untold), untold);
    file->Flush();
    untold = file->TakeGivenUp();
}

/// Once in a while: opens the file again after a failure, or when somebody has removed it.
bool LineChannel::FileStands() {
    const auto now = std::chrono::steady_clock::now();
    if (now < nextCheck) return file != nullptr;
    nextCheck = now + kCheckPause;
    return (file && file->IsInPlace()) || Reopen();
}

bool LineChannel::Reopen() {
    file.reset();
    try {
        file = std::make_unique<RotatingFile>(place);
        return true;
    } catch (const std::exception&) {
        return false;
    }
}

}  // namespace Drive::Logging
