#include "host/put/upload_run.h"

#include <list>
#include <utility>

#include "host/get/back_off.h"
#include "host/module/stop_signal.h"
#include "interfaces/common/globals.h"
#include "interfaces/database/sqlite_db.h"
#include "interfaces/database/sync_rows.h"
#include "interfaces/platform/clock.h"
#include "interfaces/platform/text.h"

namespace Drive::Host {
namespace {

using SQLiteDB::SyncRows;

constexpr int kTickMilliseconds = 100;
constexpr std::int64_t kLookEvery = 2000;
constexpr std::int64_t kLostAfter = 10000;
constexpr std::size_t kRowsInBatch = 1000;
constexpr int kRowsInLook = 100000;
constexpr int kTaskPriority = 1;
constexpr int kPriorityStep = 3;  // what the engine adds for each failed try

SQLiteDB::SQLiteDB& Database() { return SQLiteDB::SQLiteDB::GetInstance(); }

std::list<WMap> Rows(const std::wstring& statement) {
    std::list<WMap> rows;
    Database().ExcuteQuerySQL(rows, statement);
    return rows;
}

bool AnyRunning() {
    return !Rows(L"SELECT fileId FROM T_cloudDriveData WHERE fileStatus = 12 AND isFolder = 0 LIMIT 1").empty();
}

}  // namespace

UploadRun::UploadRun(Session& session, const DownloadLimits& limits, Listener settled)
    : session(session), limits(limits), settled(std::move(settled)) {}

void UploadRun::Add(const LocalEntry& entry, const Common::FileItem& row, bool fresh) {
    Job job;
    job.entry = entry;
    job.row = row;
    job.fresh = fresh;
    jobs.push_back(std::move(job));
    byPath[session.EnginePath(entry.parentFolder + entry.name)] = &jobs.back();
    bytesAll += entry.facts.size;
    ++open;
}

bool UploadRun::QueueAll(std::string& error) {
    std::vector<Common::FileItem> batch;
    const auto write = [&batch] {
        const bool good = batch.empty() || SyncRows::PutFilesWithTasks(batch, 2, kTaskPriority);
        batch.clear();
        return good;
    };
    session.records.Begin();
    for (const Job& job : jobs) {
        session.records.PutSending(job.entry.path, {job.entry.facts.size, job.entry.facts.changed});
    }
    session.records.Commit();
    bool good = true;
    for (const Job& job : jobs) {
        if (job.fresh) {
            batch.push_back(job.row);
        }
        good = good && (batch.size() < kRowsInBatch || write());
    }
    error = "the database in " + session.stateFolder + " cannot be written; is the disk full?";
    return good && write();
}

void UploadRun::Settle(Job& job, Result result, const std::string& message) {
    job.settled = true;
    open -= job.sent ? 0 : 1;
    settled(job, result, message);
}

UploadRun::Job* UploadRun::JobAt(const Common::FileItem& row) {
    const auto found = byPath.find(session.EnginePath(row.GetLocalParentFolder() + row.GetLocalFileName()));
    return found == byPath.end() || found->second->settled || found->second->sent ? nullptr : found->second;
}

// The engine has finished. Whether the cloud now shows what is here is asked once, at the end, for all files.
void UploadRun::Uploaded(Job& job) {
    const Common::FileItem row = Database().GetDriveDataItem(
        {{L"localFileName", job.entry.name}, {L"localParentFolder", job.entry.parentFolder}});
    const FileFacts now = session.visible.Look(job.entry.path);
    if (row.GetFileStatus() != 1 || row.GetFileId().rfind(L"Local", 0) == 0) {
        return Failed(job, "its row does not show it in the cloud");
    }
    job.row = row;
    if (now.kind != FileKind::File || now.size != job.entry.facts.size || now.changed != job.entry.facts.changed) {
        job.entry.facts = now;
        return now.kind == FileKind::File ? Failed(job, "it was changed here while it was sent")
                                          : Settle(job, Result::Failed, "it vanished here while it was sent");
    }
    job.cloudId = row.GetFileId();
    job.sha256 = row.GetHash();
    job.sent = true;
    --open;
}

void UploadRun::Failed(Job& job, const std::string& why) {
    if (++job.failures >= limits.attempts) {
        return Settle(job, Result::Failed,
                      why + "; tried " + std::to_string(job.failures) +
                          " times, see logs/transfer.log in the state folder; the next 'put' tries again");
    }
    job.nextTry = Platform::MonotonicMilliseconds() + WaitAfter(job.failures);
    delayed.push_back(&job);
}

bool UploadRun::QueueAgain(Job& job) {
    job.nextTry = 0;
    const FileFacts now = session.visible.Look(job.entry.path);
    if (now.kind != FileKind::File) {
        Settle(job, Result::Failed, "it vanished here while it was sent");
        return true;
    }
    job.entry.facts = now;
    session.records.PutSending(job.entry.path, {now.size, now.changed});
    job.row.SetFileStatus(11);
    job.row.SetStatus(0);
    job.row.SetSize(now.size);
    job.row.SetLocalFileSha256(L"");
    return Database().DeleteTaskItem(job.row.GetFileId(), 2) && SyncRows::PutFileWithTask(job.row, 2, kTaskPriority);
}

void UploadRun::Handle(const EngineEvent& event) {
    migrating = migrating || event.kind == EngineEvent::Kind::Migrating;
    const auto found = byPath.find(event.path);
    if (event.kind == EngineEvent::Kind::Uploaded && found != byPath.end() && !found->second->settled &&
        !found->second->sent && found->second->nextTry == 0) {
        Uploaded(*found->second);
    }
}

void UploadRun::RetryDue(std::int64_t now) {
    for (Job* job : std::exchange(delayed, {})) {
        if (job->settled || job->sent || job->nextTry == 0) {
            continue;
        }
        if (job->nextTry > now) {
            delayed.push_back(job);
        } else if (!QueueAgain(*job)) {
            Failed(*job, "it could not be queued again");
        }
    }
}

void UploadRun::LookAtRows(std::int64_t now) {
    lastLook = now;
    for (const Common::FileItem& row : SyncRows::FilesWithoutTask({11, 13}, 2, kRowsInLook)) {
        if (Job* job = JobAt(row); job != nullptr && job->nextTry == 0) {
            job->row = row;
            Failed(*job, "the engine gave it up");
        }
    }
    // A failed try that the engine repeats by itself shows in the priority alone.
    const int last = kTaskPriority + kPriorityStep * limits.attempts;
    for (WMap& task : Rows(L"SELECT fileId FROM T_task WHERE direction = 2 AND Priority >= " + std::to_wstring(last))) {
        if (Job* job = JobAt(Database().GetDriveDataItemWithKey(task[L"fileId"])); job != nullptr) {
            job->failures = limits.attempts;
            Failed(*job, "it could not be sent");
        }
    }
    const bool tasks = Database().hasTransferTasks();
    withoutTasksSince = tasks ? 0 : withoutTasksSince == 0 ? now : withoutTasksSince;
    if (withoutTasksSince != 0 && now - withoutTasksSince >= kLostAfter) {
        FindLost();
    }
}

// No task is left, and yet some file was not heard of.
void UploadRun::FindLost() {
    for (Job& job : jobs) {
        if (job.settled || job.sent || job.nextTry != 0) {
            continue;
        }
        const Common::FileItem row = Database().GetDriveDataItem(
            {{L"localFileName", job.entry.name}, {L"localParentFolder", job.entry.parentFolder}});
        if (row.GetFileId().empty()) {
            Failed(job, "its row is gone");
        } else if (row.GetFileStatus() == 1) {
            Uploaded(job);
        } else {
            Failed(job, "its task was dropped");
        }
    }
}

RunEnd UploadRun::Run(const std::function<void()>& tick) {
    lastTick = lastLook = Platform::MonotonicMilliseconds();
    while (open > 0 && !migrating) {
        for (const EngineEvent& event : EngineRun::Wait(kTickMilliseconds)) {
            Handle(event);
        }
        const std::int64_t now = Platform::MonotonicMilliseconds();
        waitingMilliseconds += AnyRunning() ? 0 : now - lastTick;
        lastTick = now;
        RetryDue(now);
        if (now - lastLook >= kLookEvery) {
            LookAtRows(now);
        }
        tick();
        if (StopRequested()) {
            return RunEnd::Stopped;
        }
        if (limits.deadline != 0 && now >= limits.deadline) {
            return RunEnd::Timeout;
        }
    }
    return RunEnd::AllSettled;
}

void UploadRun::SettleRest(const std::function<std::string(const Job&)>& proof, const std::string& pending) {
    for (Job& job : jobs) {
        if (job.settled) {
            continue;
        }
        const std::string doubt = job.sent ? proof(job) : "";
        Settle(job,
               !job.sent       ? Result::Pending
               : doubt.empty() ? Result::Uploaded
                               : Result::Failed,
               job.sent ? doubt : pending);
    }
}

}  // namespace Drive::Host
