#include "host/put/upload_run.h"

#include <algorithm>
#include <list>
#include <utility>

#include "host/control/run_desk.h"
#include "host/get/back_off.h"
#include "host/module/stop_signal.h"
#include "host/report/record_bytes.h"
#include "host/tree/read_digest.h"
#include "interfaces/database/sqlite_db.h"
#include "interfaces/database/sync_rows.h"
#include "interfaces/platform/clock.h"
#include "interfaces/platform/text.h"

namespace Drive::Host {
namespace {

using SQLiteDB::MakePair;
using SQLiteDB::SyncRows;

constexpr int kTickMilliseconds = 100;
constexpr std::int64_t kLookEvery = 2000;
constexpr std::int64_t kLostAfter = 4000;
constexpr std::size_t kRowsInBatch = 1000;
constexpr int kRowsInLook = 100000;
constexpr int kTaskPriority = 1;
constexpr int kPriorityStep = 3;  // what the engine adds for each failed try
constexpr const char* kVanished = "it vanished here while it was sent";

SQLiteDB::SQLiteDB& Database() { return SQLiteDB::SQLiteDB::GetInstance(); }

std::list<WMap> Rows(const std::wstring& statement) {
    std::list<WMap> rows;
    Database().ExcuteQuerySQL(rows, statement);
    return rows;
}

bool AnyRunning() {
    return !Rows(L"SELECT fileId FROM T_cloudDriveData WHERE fileStatus = 12 AND isFolder = 0 LIMIT 1").empty();
}

Common::FileItem RowAt(const LocalEntry& entry) {
    return Database().GetDriveDataItem({{L"localFileName", entry.name}, {L"localParentFolder", entry.parentFolder}});
}

bool LooksOther(const FileFacts& one, const FileFacts& other) {
    return one.kind != other.kind || one.size != other.size || one.changed != other.changed;
}

bool IsLocalId(const std::wstring& fileId) { return fileId.rfind(L"Local", 0) == 0; }

bool PutBatch(std::vector<Common::FileItem>& batch) {
    const bool good = batch.empty() || SyncRows::PutFilesWithTasks(batch, 2, kTaskPriority);
    batch.clear();
    return good;
}

// What an earlier run tried in vain must not count against this one.
bool ForgetTries(const std::wstring& fileId) {
    SQLiteDB::UpdateDBInfo update;
    update.key = fileId;
    update.columns.insert(MakePair(L"Priority", kTaskPriority));
    return Database().UpdateTaskItem(update, 2);
}

}  // namespace

UploadRun::UploadRun(Session& session, const Tree& source, const DownloadLimits& limits, Listener listener)
    : session(session), source(source), limits(limits), listener(std::move(listener)) {}

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
    session.records.Begin();
    for (const Job& job : jobs) {
        session.records.PutSending(job.entry.path, {job.entry.facts.size, job.entry.facts.changed});
    }
    session.records.Commit();
    std::vector<Common::FileItem> batch;
    bool good = true;
    for (const Job& job : jobs) {
        if (job.fresh) {
            batch.push_back(job.row);
        } else {
            good = good && ForgetTries(job.row.GetFileId());
        }
        good = good && (batch.size() < kRowsInBatch || PutBatch(batch));
    }
    error = "the database in " + session.stateFolder + " cannot be written; is the disk full?";
    return good && PutBatch(batch);
}

// The job is no longer the engine's.
void UploadRun::Close(Job& job) {
    bytesInRecords -= std::exchange(job.recorded, 0);
    bytesDone += job.entry.facts.size;
    --open;
}

void UploadRun::Settle(Job& job, Result result, const std::string& message) {
    job.settled = true;
    if (!job.sent) {
        Close(job);
    }
    listener.settled(job, result, message);
}

UploadRun::Job* UploadRun::JobAt(const Common::FileItem& row) {
    const auto found = byPath.find(session.EnginePath(row.GetLocalParentFolder() + row.GetLocalFileName()));
    return found == byPath.end() || found->second->settled || found->second->sent ? nullptr : found->second;
}

// A file that was written anew with the content that went up is the same file.
bool UploadRun::StillTheSame(Job& job) {
    const FileFacts now = source.Look(job.entry.path);
    const bool touched = LooksOther(now, job.entry.facts);
    bytesAll += now.size - job.entry.facts.size;
    job.entry.facts = now;
    if (!touched || now.kind != FileKind::File) {
        return !touched;
    }
    const std::wstring content = ReadDigest(source.Root(), job.entry.path, StopRequested);
    return content == job.row.GetHash() && !LooksOther(source.Look(job.entry.path), now);
}

// The engine has finished. Whether the cloud now shows what is here is asked once, at the end, for all files. Until
// then it is kept in mind what was sent, so that after a crash nobody takes it for somebody else's content.
void UploadRun::Uploaded(Job& job) {
    migrationTries = 0;
    const Common::FileItem row = RowAt(job.entry);
    if (row.GetFileStatus() != 1 || IsLocalId(row.GetFileId())) {
        return Failed(job, "its row does not show it in the cloud");
    }
    job.row = row;
    session.records.PutProved(Platform::NarrowText(row.GetFileId()),
                              {job.entry.path, row.GetSize(), 0, Platform::NarrowText(row.GetHash()),
                               Platform::NarrowText(row.GetContentVersion())});
    if (!StillTheSame(job)) {
        return job.entry.facts.kind == FileKind::File ? Failed(job, "it was changed here while it was sent")
                                                      : Settle(job, Result::Failed, kVanished);
    }
    job.cloudId = row.GetFileId();
    job.sha256 = row.GetHash();
    job.sent = true;
    Close(job);
    if (listener.sent) {
        listener.sent(job);
        job.settled = true;
    }
}

std::string UploadRun::Reason(const Job& job, const std::string& otherwise) const {
    if (const std::string problem = source.ReadProblem(job.entry.path); !problem.empty()) {
        return problem;
    }
    return spaceFull ? "the space in the cloud is full or too small for it; free some there" : otherwise;
}

void UploadRun::Failed(Job& job, const std::string& why) {
    if (source.Look(job.entry.path).kind == FileKind::Absent) {
        return Settle(job, Result::Failed, kVanished);
    }
    if (++job.failures >= limits.attempts || limits.givesBack) {
        return Settle(job, Result::Failed,
                      Reason(job, why) + "; tried " + std::to_string(job.failures) +
                          " times, see logs/transfer.log in the state folder; the next 'put' tries again");
    }
    job.nextTry = Platform::MonotonicMilliseconds() + WaitAfter(job.failures);
    delayed.push_back(&job);
}

bool UploadRun::QueueAgain(Job& job) {
    job.nextTry = 0;
    const FileFacts now = source.Look(job.entry.path);
    if (now.kind != FileKind::File) {
        Settle(job, Result::Failed, kVanished);
        return true;
    }
    if (!Database().DeleteTaskItem(job.row.GetFileId(), 2)) {
        return false;
    }
    bytesAll += now.size - job.entry.facts.size;
    job.entry.facts = now;
    if (now.size == 0) {
        if (IsLocalId(job.row.GetFileId())) {
            Database().DeleteDriveDataItem(job.row.GetFileId());
        }
        job.settled = true;
        Close(job);
        listener.emptied(job);
        return true;
    }
    session.records.PutSending(job.entry.path, {now.size, now.changed});
    job.row.SetFileStatus(11);
    job.row.SetStatus(0);
    job.row.SetSize(now.size);
    job.row.SetLocalFileSha256(L"");
    return SyncRows::PutFileWithTask(job.row, 2, kTaskPriority);
}

void UploadRun::Handle(const EngineEvent& event) {
    spaceFull = spaceFull || event.kind == EngineEvent::Kind::SpaceFull;
    if (event.kind == EngineEvent::Kind::Migrating) {
        migrating = true;
        askAgain = Platform::MonotonicMilliseconds() + WaitAfter(++migrationTries);
    }
    if (event.kind != EngineEvent::Kind::Uploaded) {
        return listener.notice(event.kind);
    }
    const auto found = byPath.find(event.path);
    if (found != byPath.end() && Waits(*found->second)) {
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

// A failed try that the engine repeats by itself shows in the priority alone.
void UploadRun::GiveUpTheTired() {
    const int last = kTaskPriority + kPriorityStep * limits.attempts;
    for (WMap& task : Rows(L"SELECT fileId FROM T_task WHERE direction = 2 AND Priority >= " + std::to_wstring(last))) {
        if (Job* job = JobAt(Database().GetDriveDataItemWithKey(task[L"fileId"])); job != nullptr) {
            job->failures = limits.attempts - 1;
            Failed(*job, "the cloud did not take it");
        }
    }
}

void UploadRun::LookAtRows(std::int64_t now) {
    lastLook = now;
    ReadRecords(L"12");
    FollowChanges();
    for (const Common::FileItem& row : SyncRows::FilesWithoutTask({11, 13}, 2, kRowsInLook)) {
        if (Job* job = JobAt(row); job != nullptr && job->nextTry == 0) {
            job->row = row;
            Failed(*job, "the engine gave it up");
        }
    }
    GiveUpTheTired();
    const bool tasks = Database().hasTransferTasks();
    withoutTasksSince = tasks ? 0 : withoutTasksSince == 0 ? now : withoutTasksSince;
    if (withoutTasksSince != 0 && now - withoutTasksSince >= kLostAfter) {
        FindLost();
    }
}

// A try that broke off because the file was changed under it would be repeated with the hash that the file had. Only
// the hash is taken away: the task stays the engine's, which may have begun with it again.
void UploadRun::FollowChanges() {
    for (WMap& row : Rows(L"SELECT c.fileId, c.localFileName AS name, c.localParentFolder AS folder FROM "
                          L"T_cloudDriveData c JOIN T_task t ON t.fileId = c.fileId AND t.direction = 2 WHERE "
                          L"c.isFolder = 0 AND c.fileStatus = 13")) {
        const auto found = byPath.find(session.EnginePath(row[L"folder"] + row[L"name"]));
        if (found == byPath.end() || !Waits(*found->second)) {
            continue;
        }
        Job& job = *found->second;
        const FileFacts now = source.Look(job.entry.path);
        SQLiteDB::UpdateDBInfo hash;
        hash.key = row[L"fileId"];
        hash.columns.insert(MakePair(L"localFileSha256", std::wstring()));
        if (now.kind == FileKind::File && LooksOther(now, job.entry.facts) && Database().UpdateDriveData(hash)) {
            bytesAll += now.size - job.entry.facts.size;
            job.entry.facts = now;
            session.records.PutSending(job.entry.path, {now.size, now.changed});
        }
    }
}

// For the progress: how far the files at these states are, as their records tell.
void UploadRun::ReadRecords(const wchar_t* fileStatus) {
    for (WMap& row : Rows(std::wstring(L"SELECT c.localFileName AS name, c.localParentFolder AS folder, t.fragmentInfo "
                                       L"AS record FROM T_cloudDriveData c JOIN T_task t ON t.fileId = c.fileId AND "
                                       L"t.direction = 2 WHERE c.isFolder = 0 AND c.fileStatus IN (") +
                          fileStatus + L")")) {
        const auto found = byPath.find(session.EnginePath(row[L"folder"] + row[L"name"]));
        if (found == byPath.end() || found->second->settled || found->second->sent) {
            continue;
        }
        Job& job = *found->second;
        const std::int64_t bytes = BytesInRecord(row[L"record"], 2, job.entry.facts.size);
        bytesInRecords += bytes - std::exchange(job.recorded, bytes);
    }
}

// No task is left, and yet some file was not heard of.
void UploadRun::FindLost() {
    for (Job& job : jobs) {
        if (!Waits(job)) {
            continue;
        }
        const Common::FileItem row = RowAt(job.entry);
        if (row.GetFileId().empty()) {
            Failed(job, "its row is gone");
        } else if (row.GetFileStatus() == 1) {
            Uploaded(job);
        } else {
            Failed(job, "its task was dropped");
        }
    }
}

// The engine has emptied the task table, and its workers end by themselves. Once none runs the cloud is tried again:
// the first file finds out whether it is still being moved.
void UploadRun::FollowMigration(std::int64_t now) {
    if (!migrating || now < askAgain || AnyRunning()) {
        return;
    }
    EngineRun::ForgetMigration();
    migrating = !QueueAnew();
    askAgain = now + WaitAfter(migrationTries);
    withoutTasksSince = 0;
}

bool UploadRun::QueueAnew() {
    std::vector<Common::FileItem> batch;
    bool good = true;
    for (Job& job : jobs) {
        const Common::FileItem row = Waits(job) ? RowAt(job.entry) : Common::FileItem();
        if (!Waits(job) || row.GetFileStatus() == 1) {
            continue;
        }
        job.row.SetFileStatus(11);
        job.row.SetStatus(0);
        batch.push_back(job.row);
        good = good && (batch.size() < kRowsInBatch || PutBatch(batch));
    }
    return good && PutBatch(batch);
}

void UploadRun::AddNow(const LocalEntry& entry, const Common::FileItem& row) {
    Add(entry, row, true);
    session.records.PutSending(entry.path, {entry.facts.size, entry.facts.changed});
    if (!SyncRows::PutFileWithTask(row, 2, kTaskPriority)) {
        Failed(jobs.back(), "it could not be queued");
    }
}

void UploadRun::Take(const std::vector<EngineEvent>& events) {
    for (const EngineEvent& event : events) {
        Handle(event);
    }
}

void UploadRun::Look() {
    const std::int64_t now = Platform::MonotonicMilliseconds();
    waitingMilliseconds += open == 0 || AnyRunning() ? 0 : now - lastTick;
    lastTick = now;
    FollowMigration(now);
    if (!migrating) {
        RetryDue(now);
    }
    if (!migrating && open > 0 && now - lastLook >= kLookEvery) {
        LookAtRows(now);
    }
    ForgetSettled();
}

// A run without end must not grow with everything that it ever sent.
void UploadRun::ForgetSettled() {
    for (auto job = jobs.begin(); job != jobs.end();) {
        if (!job->settled || std::find(delayed.begin(), delayed.end(), &*job) != delayed.end()) {
            ++job;
            continue;
        }
        const auto known = byPath.find(session.EnginePath(job->entry.parentFolder + job->entry.name));
        if (known != byPath.end() && known->second == &*job) {
            byPath.erase(known);
        }
        bytesAll -= job->entry.facts.size;
        bytesDone -= job->entry.facts.size;
        job = jobs.erase(job);
    }
}

RunEnd UploadRun::HowLong(std::int64_t now) const {
    if (StopRequested()) {
        return RunEnd::Stopped;
    }
    if (limits.deadline != 0 && now >= limits.deadline) {
        return RunEnd::Timeout;
    }
    return migrating && migrationTries >= limits.attempts ? RunEnd::CloudMoves : RunEnd::AllSettled;
}

RunEnd UploadRun::Run(const std::function<bool()>& tick) {
    lastTick = lastLook = Platform::MonotonicMilliseconds();
    ReadRecords(L"11,12,13");
    while (open > 0) {
        for (const EngineEvent& event : EngineRun::Wait(kTickMilliseconds)) {
            Handle(event);
        }
        const std::int64_t now = Platform::MonotonicMilliseconds();
        waitingMilliseconds += AnyRunning() ? 0 : now - lastTick;
        lastTick = now;
        FollowMigration(now);
        if (!migrating) {
            RetryDue(now);
        }
        if (!migrating && now - lastLook >= kLookEvery) {
            LookAtRows(now);
        }
        if (!tick()) {
            return RunEnd::NoKeys;
        }
        if (const RunEnd end = HowLong(now); end != RunEnd::AllSettled) {
            return end;
        }
    }
    return RunEnd::AllSettled;
}

// Without its rows the engine cannot take the file any more, also when it holds the task in memory already.
std::string UploadRun::Cancel(const std::string& path) {
    for (Job& job : jobs) {
        if (job.entry.path != path) {
            continue;
        }
        if (job.settled || job.sent) {
            return "it is done already";
        }
        const Common::FileItem row = RowAt(job.entry);
        if (row.GetFileStatus() == 12 && job.nextTry == 0) {
            return "it is being sent at this moment and cannot be called back; stop the command to break it off";
        }
        if (!Database().DeleteTaskItem(row.GetFileId(), 2) || !Database().DeleteDriveDataItem(row.GetFileId())) {
            return "it could not be taken out of the queue; is the disk full?";
        }
        session.records.ForgetSending(path);
        Settle(job, Result::Cancelled, "");
        return kCancelled;
    }
    return "no upload of that name is under way";
}

void UploadRun::SettleRest(const std::function<std::pair<Result, std::string>(const Job&)>& proof,
                           const std::string& pending) {
    for (Job& job : jobs) {
        if (job.settled) {
            continue;
        }
        const auto [result, message] = job.sent ? proof(job) : std::pair(Result::Pending, pending);
        Settle(job, result, message);
    }
}

}  // namespace Drive::Host
