#pragma once

#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "host/engine/engine_run.h"
#include "host/fetch/fetch_sinks.h"
#include "host/get/cloud_tree.h"
#include "host/get/outcome.h"
#include "host/get/placement.h"
#include "host/module/session.h"

/// The downloads of one command, from the queue to the visible tree: each is checked when it arrives, shown when it
/// proved, and tried again with growing pauses when it did not. One thread.
namespace Drive::Host {

struct DownloadLimits {
    int attempts = 6;             ///< tries of one file in this run
    bool alwaysOnDemand = false;  ///< a fetch on demand that failed is tried again as one
    bool givesBack = false;       ///< uploads: what the engine gives up is settled at once, as failed
    std::int64_t deadline = 0;    ///< of the monotonic clock, milliseconds; 0 for none
};

/// Why the run ended.
enum class RunEnd {
    AllSettled,
    Timeout,
    Stopped,
    NoKeys,     ///< the cloud gave no keys for the account for two minutes; nothing can move
    CloudMoves  ///< uploads alone: the cloud is being moved and was still so at the last try
};

class DownloadRun {
public:
    /// Hears of each file once, when it is settled.
    using Listener = std::function<void(const CloudEntry&, const Outcome&)>;

    DownloadRun(Session& session, Placer& placement, const DownloadLimits& limits, Listener settled);

    /// Adds a file. `fresh` queues it from the beginning; otherwise its task stands already, with its record.
    void Add(const CloudEntry& entry, bool fresh, const std::optional<ProvedFile>& replaces);

    /// Who watches one file being fetched on demand. `opened` gets the staged file, to be read from, at each try; it
    /// takes the descriptor over.
    struct Watcher {
        std::shared_ptr<FetchObserver> observer;
        std::function<void(int descriptor)> opened;
    };

    /// Adds a file that is fetched ahead of everything else. What goes wrong with that is tried again the ordinary way,
    /// unless the limits say otherwise.
    void AddOnDemand(const CloudEntry& entry, const std::optional<ProvedFile>& replaces, Watcher watcher = {});

    bool Empty() const { return jobs.empty(); }

    /// Writes the rows of all fresh files. Before the engine starts. False with `error` set.
    bool QueueAll(std::string& error);

    // For who brings files on demand for as long as it pleases: Begin once, then Take what EngineRun::Wait gave, and
    // Look several times a second. Jobs that are settled are forgotten.
    void Begin();
    void Take(const std::vector<EngineEvent>& events);
    void Look();

    /// Runs until every file is settled, the deadline passes, a signal comes, or `tick`, which is called several times
    /// a second, answers false: no keys.
    RunEnd Run(const std::function<bool()>& tick);

    /// Ends the download of a path below the root on somebody's wish; the answer is for that somebody.
    std::string Cancel(const std::string& path);

    /// Settles what is left as pending.
    void SettleRest(const std::string& why);

    std::int64_t BytesAll() const { return bytesAll; }
    std::int64_t BytesRecorded() const { return bytesDone + bytesInRecords; }

    /// True when a file failed because the disk of the staging tree is full.
    bool DiskWasFull() const { return diskWasFull; }
    std::int64_t FilesDone() const { return static_cast<std::int64_t>(jobs.size()) - open; }
    std::int64_t FilesAll() const { return static_cast<std::int64_t>(jobs.size()); }
    double SecondsWaiting() const { return static_cast<double>(waitingMilliseconds) / 1000; }

private:
    struct Job {
        CloudEntry entry;
        std::optional<ProvedFile> replaces;
        bool fresh = true;
        bool settled = false;
        int failures = 0;
        std::int64_t nextTry = 0;  ///< of the monotonic clock; 0 while the engine has it
        bool onDemand = false;
        bool again = false;  ///< to be fetched on demand when it is tried again
        Watcher watcher;
        bool cancelled = false;
        std::int64_t asked = 0;     ///< when the fetch was asked for; 0 before
        std::int64_t recorded = 0;  ///< bytes that its record promised at the last look
    };

    void Handle(const EngineEvent& event);
    void Arrived(Job& job);
    void Failed(Job& job, const std::string& why);
    bool QueueAgain(Job& job);
    void RetryDue(std::int64_t now);
    void Sweep(std::int64_t now);
    void ReadRecords(std::int64_t now, const wchar_t* fileStatus);
    std::string Reason(const Job& job, const std::string& otherwise);
    void FreeStuck(std::int64_t now);
    void Delay(Job& job);
    void AskForFetches();
    bool AskFor(Job& job);
    void DropSilentFetches(std::int64_t now);
    void ForgetSettled();
    std::wstring FullPath(const Job& job) const;
    void Settle(Job& job, Result result, const std::string& message);

    Session& session;
    Placer& placement;
    const DownloadLimits limits;
    const Listener settled;

    std::list<Job> jobs;                            // addresses stay good
    std::unordered_map<std::wstring, Job*> byPath;  // full path as the engine writes it
    std::unordered_map<std::wstring, Job*> byFileId;
    std::vector<Job*> delayed;  // those with nextTry set
    std::vector<Job*> asking;   // fetches that have not been seen to begin
    bool running = false;       // the engine is
    std::int64_t bytesAll = 0;
    std::int64_t bytesDone = 0;       // of settled jobs
    std::int64_t bytesInRecords = 0;  // of the others
    bool diskWasFull = false;
    std::int64_t open = 0;
    std::int64_t waitingMilliseconds = 0;
    std::int64_t lastTick = 0;
    std::int64_t lastSweep = 0;
    std::int64_t lastRead = 0;     // of the records
    std::int64_t silentSince = 0;  // when a question to the cloud went unanswered; 0 after one that did not
    std::int64_t idleSince = 0;    // since when no download has been running; 0 while one is
};

}  // namespace Drive::Host
