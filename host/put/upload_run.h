#pragma once

#include <cstdint>
#include <functional>
#include <list>
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
/// at for that. While the cloud is being moved everything waits; once it takes files again the queue is built anew,
/// because the engine has emptied it. One thread.
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
        std::int64_t nextTry = 0;   ///< of the monotonic clock; 0 while the engine has it
        std::int64_t recorded = 0;  ///< bytes that its record promised at the last look
        std::wstring cloudId;
        std::wstring sha256;
    };

    /// Who hears of what happens; all on the thread of the run.
    struct Listener {
        std::function<void(const Job&, Result, const std::string&)> settled;
        /// The file has become empty, which the engine does not send. Settles it by its own hand.
        std::function<void(const Job&)> emptied;
        /// Space in the cloud, full or low; or a migration. Called for each message.
        std::function<void(EngineEvent::Kind)> notice;
        /// May be empty. The engine has sent the file; who hears it asks the cloud, and the job is settled with that.
        std::function<void(const Job&)> sent;
    };

    /// `source` is the tree that the entries stand in.
    UploadRun(Session& session, const Tree& source, const DownloadLimits& limits, Listener listener);

    void Add(const LocalEntry& entry, const Common::FileItem& row, bool fresh);
    bool Empty() const { return jobs.empty(); }

    /// Writes the rows and tasks of all fresh files. Before the engine starts. False with `error` set.
    bool QueueAll(std::string& error);

    // For who sends files for as long as it pleases: AddNow while the engine runs, Take what EngineRun::Wait gave, and
    // Look several times a second. Jobs that are settled are forgotten.

    /// Adds a file and queues it. What cannot be written is tried again as a failed try is.
    void AddNow(const LocalEntry& entry, const Common::FileItem& row);
    void Take(const std::vector<EngineEvent>& events);
    void Look();

    /// Runs until every file is settled, the deadline passes, a signal comes, the cloud is still being moved at the
    /// last try, or `tick`, which is called several times a second, answers false: no keys.
    RunEnd Run(const std::function<bool()>& tick);

    /// Takes a file that waits out of the queue on somebody's wish; one that is being sent cannot be called back. The
    /// answer is for that somebody.
    std::string Cancel(const std::string& path);

    /// Settles what was sent as `proof` says, which comes with a message for what is not well, and the rest as pending.
    void SettleRest(const std::function<std::pair<Result, std::string>(const Job&)>& proof, const std::string& pending);

    std::int64_t BytesAll() const { return bytesAll; }
    std::int64_t BytesRecorded() const { return bytesDone + bytesInRecords; }
    std::int64_t FilesDone() const { return static_cast<std::int64_t>(jobs.size()) - open; }
    std::int64_t FilesAll() const { return static_cast<std::int64_t>(jobs.size()); }
    double SecondsWaiting() const { return static_cast<double>(waitingMilliseconds) / 1000; }

private:
    void Handle(const EngineEvent& event);
    void Uploaded(Job& job);
    bool StillTheSame(Job& job);
    void Failed(Job& job, const std::string& why);
    std::string Reason(const Job& job, const std::string& otherwise) const;
    bool QueueAgain(Job& job);
    void RetryDue(std::int64_t now);
    void LookAtRows(std::int64_t now);
    void FollowChanges();
    void GiveUpTheTired();
    void FindLost();
    void ReadRecords(const wchar_t* fileStatus);
    RunEnd HowLong(std::int64_t now) const;
    bool Waits(const Job& job) const { return !job.settled && !job.sent && job.nextTry == 0; }
    void Close(Job& job);
    void Settle(Job& job, Result result, const std::string& message);
    void FollowMigration(std::int64_t now);
    bool QueueAnew();
    Job* JobAt(const Common::FileItem& row);

    void ForgetSettled();

    Session& session;
    const Tree& source;
    const DownloadLimits limits;
    const Listener listener;
    std::list<Job> jobs;                            // addresses stay good
    std::unordered_map<std::wstring, Job*> byPath;  // full path as the engine writes it
    std::vector<Job*> delayed;                      // those with nextTry set
    std::int64_t bytesAll = 0;
    std::int64_t bytesDone = 0;       // of jobs that are settled or sent
    std::int64_t bytesInRecords = 0;  // of the others
    std::int64_t open = 0;            // jobs that are neither settled nor sent
    std::int64_t waitingMilliseconds = 0;
    std::int64_t lastTick = 0;
    std::int64_t lastLook = 0;
    std::int64_t withoutTasksSince = 0;
    bool spaceFull = false;
    bool migrating = false;
    int migrationTries = 0;
    std::int64_t askAgain = 0;  // when the cloud is tried again; only while migrating
};

}  // namespace Drive::Host
