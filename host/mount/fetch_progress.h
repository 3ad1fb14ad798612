#pragma once

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "host/fetch/fetch_sinks.h"

/// The content of one placeholder on its way, between the engine that delivers it and the readers that wait for it.
namespace Drive::Host {

/// A descriptor that is closed with its last holder.
class OpenFile {
public:
    explicit OpenFile(int number) : number(number) {}
    ~OpenFile();
    OpenFile(const OpenFile&) = delete;
    OpenFile& operator=(const OpenFile&) = delete;
    int Number() const { return number; }

private:
    const int number;
};

/// A reader gets each range as soon as it is there, except the one that holds the last byte: that one waits until the
/// whole content has been proved. So nobody can read a wrong or partial content to its end without an error. When the
/// engine begins again, what it delivers is held against what readers may have seen; a difference fails all of them.
/// Any thread.
class FetchProgress : public FetchObserver {
public:
    enum class State { Ready, Failed, Interrupted };

    explicit FetchProgress(std::int64_t size) : size(size) {}

    // The engine's side.

    /// The file that the content is written to, opened for reading; an earlier one is let go.
    void Opened(int descriptor);
    void Began() override;
    void Took(std::int64_t offset, const unsigned char* data, std::int64_t length) override;

    /// The content is proved and stands at its place, or it could not be brought and `reason` says why. Once.
    void Ended(bool good, const std::string& reason);

    // The readers' side. `interrupted` is asked several times a second.

    State WaitFor(std::int64_t offset, std::int64_t length, const std::function<bool()>& interrupted);
    State WaitForAll(const std::function<bool()>& interrupted);

    /// The file with what has arrived; null before it was opened.
    std::shared_ptr<OpenFile> File() const;

private:
    struct Block {
        std::int64_t end;
        std::size_t digest;
    };
    enum class Phase { Running, Good, Bad };

    State Wait(std::int64_t end, const std::function<bool()>& interrupted);

    const std::int64_t size;  // bytes
    mutable std::mutex mutex;
    std::condition_variable changed;
    // All guarded by mutex.
    std::shared_ptr<OpenFile> file;
    std::int64_t arrived = 0;  // bytes of this attempt, from the first on
    std::size_t blocks = 0;    // of this attempt
    std::vector<Block> seen;   // of all attempts: what a reader may have had
    bool spoiled = false;      // two attempts delivered different bytes
    Phase phase = Phase::Running;
};

}  // namespace Drive::Host
