#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "host/engine/engine_run.h"
#include "host/get/download_run.h"
#include "host/get/outcome.h"
#include "host/module/session.h"
#include "host/put/local_tree.h"
#include "interfaces/common/file_item.h"

/// The uploads of one command. The engine says when a file went up and nothing when it did not, so the rows are looked
/// at for that. One thread.
namespace Drive::Host {

class UploadRun {
public:
    struct Job {
        LocalEntry entry;
        Common::FileItem row;  ///< as it is to be written
        bool fresh = true;     ///< false: its task stands already, with its record
        bool settled = false;
        bool sent = false;  ///< in the cloud as the engine says; `cloudId` and `sha256` are known
        int failures = 0;
        std::int64_t nextTry = 0;  ///< of the monotonic clock; 0 while the engine has it
        std::wstring cloudId;
        std::wstring sha256;
    };

    using Listener = std::function<void(const Job&, Result, const std::string&)>;

    UploadRun(Session& session, const DownloadLimits& limits, Listener settled);

    void Add(const LocalEntry& entry, const Common::FileItem& row, bool fresh);
    bool Empty() const { return jobs.empty(); }

    /// Writes the rows and tasks of all fresh files. Before the engine starts. False with `error` set.
    bool QueueAll(std::string& error);

    RunEnd Run(const std::function<void()>& tick);

    /// Settles what was sent, by `proof`, which tells a message when the cloud does not show what was sent; and the
    /// rest as pending.
    void SettleRest(const std::function<std::string(const Job&)>& proof, const std::string& pending);

    std::int64_t BytesAll() const { return bytesAll; }
    std::int64_t FilesDone() const { return static_cast<std::int64_t>(jobs.size()) - open; }
    std::int64_t FilesAll() const { return static_cast<std::int64_t>(jobs.size()); }
    double SecondsWaiting() const { return static_cast<double>(waitingMilliseconds) / 1000; }
    bool CloudMoves() const { return migrating; }

private:
    void Handle(const EngineEvent& event);
    void Uploaded(Job& job);
    void Failed(Job& job, const std::string& why);
    bool QueueAgain(Job& job);
    void RetryDue(std::int64_t now);
    void LookAtRows(std::int64_t now);
    void FindLost();
    void Settle(Job& job, Result result, const std::string& message);
    Job* JobAt(const Common::FileItem& row);

    Session& session;
    const DownloadLimits limits;
    const Listener settled;
    std::deque<Job> jobs;                           // addresses stay good
    std::unordered_map<std::wstring, Job*> byPath;  // full path as the engine writes it
    std::vector<Job*> delayed;                      // those with nextTry set
    std::int64_t bytesAll = 0;
    std::int64_t open = 0;  // jobs that are neither settled nor sent
    std::int64_t waitingMilliseconds = 0;
    std::int64_t lastTick = 0;
    std::int64_t lastLook = 0;
    std::int64_t withoutTasksSince = 0;
    bool migrating = false;
};

}  // namespace Drive::Host
