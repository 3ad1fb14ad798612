#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <string>

#include "collaborators/log/rotating_file.h"

namespace Drive::Logging {

/// A bounded queue of records in front of a rotating file, with one writer thread between them. The logging thread
/// only copies its record into the queue; lines are built and written by the writer. Until a file is named the queue
/// itself keeps the records. An object of this class is never destroyed: threads may log while the process ends.
class LineChannel {
public:
    /// Builds the line of one record; called on the writer's thread.
    using LineBuilder = std::function<std::string()>;
    /// Builds the line that tells how many records were lost.
    using LossLine = std::string (*)(std::uint64_t lost);

    explicit LineChannel(LossLine lossLine);
    LineChannel(const LineChannel&) = delete;
    LineChannel& operator=(const LineChannel&) = delete;

    /// Takes a record of about `bytes` bytes. Never blocks on the disk, never throws; when the queue is full the
    /// record is dropped and counted.
    void Push(LineBuilder build, std::size_t bytes) noexcept;

    /// A record that could not even be built for want of memory.
    void CountLoss() noexcept;

    /// Writes to this file from now on; what is queued goes to the earlier file, if there was one. False, with the
    /// earlier file still in use, when it cannot be written. Any thread.
    bool Open(const RotatingFile::Place& place);

    /// Keeps no file from now on: records are thrown away, uncounted.
    void Silence();

    /// Waits until what was pushed before the call is in the file, at most that long. False when time ran out, when
    /// no file was ever named for it, and when the file cannot be written at present.
    bool Flush(std::chrono::milliseconds most);

private:
    struct Item {
        LineBuilder build;
        std::size_t bytes;
    };

    void StartWriter();
    void WriterBody();
    bool TakeBatch(std::deque<Item>& batch, std::uint64_t& lost);
    void WriteQueued();
    void WriteBatch(const std::deque<Item>& batch, std::uint64_t lost);
    void WriteLines(const std::deque<Item>& batch, std::uint64_t& untold);
    bool FileStands();
    bool Reopen();

    const LossLine lossLine;

    std::mutex queueMutex;
    std::condition_variable recordCame;
    std::condition_variable recordWritten;
    // Guarded by queueMutex.
    std::deque<Item> queue;
    std::size_t queuedBytes = 0;
    std::uint64_t lostRecords = 0;
    std::uint64_t pushed = 0;
    std::uint64_t finished = 0;
    bool writerRuns = false;
    bool silent = false;
    bool fileWorks = false;

    // Locked before queueMutex, never after it.
    std::mutex fileMutex;
    // Guarded by fileMutex.
    std::unique_ptr<RotatingFile> file;
    RotatingFile::Place place;
    std::chrono::steady_clock::time_point nextCheck;
};

}  // namespace Drive::Logging
