#include "host/get/download_run.h"

#include <unistd.h>

#include <algorithm>
#include <list>
#include <utility>

#include "host/control/run_desk.h"
#include "host/fetch/fetch_queue.h"
#include "host/fetch/fetch_sinks.h"
#include "host/get/back_off.h"
#include "host/get/file_rows.h"
#include "host/module/stop_signal.h"
#include "host/report/record_bytes.h"
#include "host/report/reporter.h"
#include "host/tree/free_space.h"
#include "interfaces/cloud/drive_account.h"
#include "interfaces/common/file_helper.h"
#include "interfaces/common/placeholder.h"
#include "interfaces/database/sqlite_db.h"
#include "interfaces/database/sync_rows.h"
#include "interfaces/platform/clock.h"
#include "interfaces/platform/text.h"

namespace Drive::Host {
namespace {

constexpr int kTickMilliseconds = 100;
constexpr std::int64_t kSweepEvery = 2 * 60 * 1000;
constexpr std::int64_t kStuckAfter = 45 * 1000;
constexpr std::size_t kRowsInBatch = 1000;
constexpr std::int64_t kFetchBegins = 60 * 1000;
constexpr int kSweepRows = 1000000;
constexpr int kTaskPriority = 1;
constexpr std::int64_t kReadEvery = 2000;
constexpr std::int64_t kNoQuestions = 60 * 1000;  // to a cloud that did not answer the last one

}  // namespace

DownloadRun::DownloadRun(Session& session, Placer& placement, const DownloadLimits& limits, Listener settled)
    : session(session), placement(placement), limits(limits), settled(std::move(settled)) {}

void DownloadRun::Add(const CloudEntry& entry, bool fresh, const std::optional<ProvedFile>& replaces) {
    Job& job = jobs.emplace_back();
    job.entry = entry;
    job.replaces = replaces;
    job.fresh = fresh;
    byPath[FullPath(job)] = &job;
    byFileId[entry.file.id] = &job;
    bytesAll += entry.file.size;
    ++open;
}

void DownloadRun::AddOnDemand(const CloudEntry& entry, const std::optional<ProvedFile>& replaces, Watcher watcher) {
    Add(entry, true, replaces);
    jobs.back().onDemand = true;
    jobs.back().again = limits.alwaysOnDemand;
    jobs.back().watcher = std::move(watcher);
    asking.push_back(&jobs.back());
    if (running) {
        AskForFetches();
    }
}

std::wstring DownloadRun::FullPath(const Job& job) const {
    return session.EnginePath(job.entry.parentFolder + job.entry.file.fileName);
}

bool DownloadRun::QueueAll(std::string& error) {
    std::vector<Common::FileItem> batch;
    const auto write = [&] {
        const bool good = batch.empty() || SQLiteDB::SyncRows::PutFilesWithTasks(batch, 1, kTaskPriority);
        batch.clear();
        return good;
    };
    for (const Job& job : jobs) {
        if (!job.fresh || job.onDemand) {
            continue;
        }
        if (!session.staging.RemoveFile(job.entry.path, error)) {
            return false;
        }
        batch.push_back(RowOf(job.entry, 21, L""));
        if (batch.size() == kRowsInBatch && !write()) {
            break;
        }
    }
    error = "the database in " + session.stateFolder + " cannot be written; is the disk full?";
    return write() && batch.empty();
}

void DownloadRun::Settle(Job& job, Result result, const std::string& message) {
    job.settled = true;
    bytesInRecords -= std::exchange(job.recorded, 0);
    bytesDone += job.entry.file.size;
    --open;
    settled(job.entry, {job.entry.path, result, job.entry.file.size, message});
}

void DownloadRun::Arrived(Job& job) {
    if (job.onDemand) {
        const bool safe = FetchSinks::Sync(FullPath(job)) && Common::ClearPlaceholder(FullPath(job));
        FetchSinks::Close(FullPath(job));
        job.onDemand = false;
        if (!safe) {
            return Failed(job, "it could not be brought to the disk");
        }
    }
    const Common::FileItem row = SQLiteDB::SQLiteDB::GetInstance().GetDriveDataItemWithKey(job.entry.file.id);
    std::wstring actual = row.GetLocalFileSha256();
    if (actual.empty()) {
        actual =
            Common::FileHepler::GetFileSha256(session.EnginePath(job.entry.parentFolder + job.entry.file.fileName));
    }
    const FileFacts staged = session.staging.Look(job.entry.path);
    const bool known = !job.entry.file.sha256.empty();
    const bool proved = staged.kind == FileKind::File && staged.size == job.entry.file.size && !actual.empty() &&
                        (!known || actual == job.entry.file.sha256);
    if (!proved) {
        Failed(job, "its content is not what the cloud announced (" + std::to_string(staged.size) + " of " +
                        std::to_string(job.entry.file.size) + " bytes arrived)");
        return;
    }
    std::string message;
    switch (placement.Show(job.entry, Platform::NarrowText(actual), job.replaces, message)) {
        case Shown::Yes:
            Settle(job, Result::Downloaded, message);
            break;
        case Shown::KeptLocal:
            Settle(job, Result::KeptLocal, message);
            break;
        case Shown::Failed:
            Settle(job, Result::Failed, message);
            break;
    }
}

// What stands behind a failure as far as the host can find out.
std::string DownloadRun::Reason(const Job& job, const std::string& otherwise) {
    if (const std::int64_t free = FreeBytes(session.settings.staging); free >= 0 && free <= kLeastFree) {
        diskWasFull = true;
        return "only " + HumanBytes(free) + " are free on the disk of " + session.settings.staging +
               ", and downloads need more than 200 MiB; make room";
    }
    const std::int64_t moment = Platform::MonotonicMilliseconds();
    if (silentSince != 0 && moment - silentSince < kNoQuestions) {
        return otherwise + "; the cloud does not answer";
    }
    Cloud::CloudFile now;
    const Cloud::CallOutcome asked = Cloud::DriveAccount::Get(job.entry.file.id, now);
    silentSince = asked.ok || asked.status != 0 ? 0 : moment;
    if (asked.status == 404 || (asked.ok && now.isDeleted)) {
        return "it was removed from the cloud meanwhile";
    }
    return asked.ok ? otherwise : otherwise + " (" + asked.message + ")";
}

void DownloadRun::Failed(Job& job, const std::string& why) {
    ++job.failures;
    bytesInRecords -= std::exchange(job.recorded, 0);
    if (job.onDemand) {
        FetchSinks::Close(FullPath(job));
        job.onDemand = false;
    }
    MarkFailed(job.entry.file.id);
    if (job.cancelled) {
        return Settle(job, Result::Cancelled, "");
    }
    if (job.failures >= limits.attempts) {
        Settle(job, Result::Failed,
               Reason(job, why) + "; tried " + std::to_string(job.failures) + " times, see logs/transfer.log" +
                   " in the state folder; the next 'get' tries again");
        return;
    }
    Delay(job);
}

void DownloadRun::Delay(Job& job) {
    job.nextTry = Platform::MonotonicMilliseconds() + WaitAfter(job.failures);
    delayed.push_back(&job);
}

bool DownloadRun::QueueAgain(Job& job) {
    std::string error;
    job.nextTry = 0;
    if (job.again) {
        job.onDemand = true;
        job.asked = 0;
        asking.push_back(&job);
        DropDownload(job.entry.file.id);
        AskForFetches();
        return true;
    }
    return session.staging.RemoveFile(job.entry.path, error) && DropDownload(job.entry.file.id) &&
           SQLiteDB::SyncRows::PutFileWithTask(RowOf(job.entry, 21, L""), 1, kTaskPriority);
}

void DownloadRun::Handle(const EngineEvent& event) {
    const auto found = byPath.find(event.path);
    if (found == byPath.end() || found->second->settled || found->second->nextTry != 0) {
        return;
    }
    if (event.kind == EngineEvent::Kind::Arrived) {
        Arrived(*found->second);
    } else if (event.kind == EngineEvent::Kind::Ended) {
        Failed(*found->second, "the transfer ended without the file");
    }
}

void DownloadRun::RetryDue(std::int64_t now) {
    for (Job* job : std::exchange(delayed, {})) {
        if (job->settled || job->nextTry == 0) {
            continue;
        }
        if (job->nextTry > now) {
            delayed.push_back(job);
        } else if (!QueueAgain(*job)) {
            Failed(*job, "it could not be queued again");
        }
    }
}

// For the progress: how far the files at these states are, as their records tell.
void DownloadRun::ReadRecords(std::int64_t now, const wchar_t* fileStatus) {
    lastRead = now;
    std::list<WMap> rows;
    SQLiteDB::SQLiteDB::GetInstance().ExcuteQuerySQL(
        rows, std::wstring(L"SELECT t.fileId AS id, t.fragmentInfo AS record FROM T_cloudDriveData c JOIN T_task t ON "
                           L"t.fileId = c.fileId AND t.direction = 1 WHERE c.isFolder = 0 AND c.fileStatus IN (") +
                  fileStatus + L")");
    for (WMap& row : rows) {
        const auto found = byFileId.find(row[L"id"]);
        if (found == byFileId.end() || found->second->settled || found->second->nextTry != 0) {
            continue;
        }
        const std::int64_t bytes = BytesInRecord(row[L"record"], 1, found->second->entry.file.size);
        bytesInRecords += bytes - std::exchange(found->second->recorded, bytes);
    }
}

// Finds what ended without a word: a task that was dropped with its file still waiting or failed.
void DownloadRun::Sweep(std::int64_t now) {
    lastSweep = now;
    for (const Common::FileItem& row : SQLiteDB::SyncRows::FilesWithoutTask({21, 23}, 1, kSweepRows)) {
        const auto found = byFileId.find(row.GetFileId());
        if (found != byFileId.end() && !found->second->settled && found->second->nextTry == 0) {
            Failed(*found->second, "its task was dropped");
        }
    }
}

// A worker that died of an exception leaves its row at 22, and nobody takes such a row again. When nothing has been
// running for a good while, what is left at 22 or arrived unheard is taken up again.
void DownloadRun::FreeStuck(std::int64_t now) {
    if (idleSince == 0 || now - idleSince < kStuckAfter) {
        return;
    }
    idleSince = now;
    for (Job& job : jobs) {
        if (job.settled || job.nextTry != 0) {
            continue;
        }
        const int status = SQLiteDB::SQLiteDB::GetInstance().GetDriveDataItemWithKey(job.entry.file.id).GetFileStatus();
        if (status == 1) {
            Arrived(job);
        } else if (status == 22 || status == 23) {
            Failed(job, "its transfer broke off");
        }
    }
}

bool DownloadRun::AskFor(Job& job) {
    std::string error;
    const std::wstring path = FullPath(job);
    Common::FileItem row = RowOf(job.entry, 21, L"");
    row.SetFileClientPath(path);
    const int descriptor =
        session.staging.MakeEmptyFile(job.entry.path, error) ? session.staging.OpenFile(job.entry.path) : -1;
    if (descriptor < 0 || !SQLiteDB::SyncRows::PutFile(row)) {
        if (descriptor >= 0) {
            close(descriptor);
        }
        return false;
    }
    Common::MarkPlaceholder(path);  // a file system without such marks does without: nobody sees the staging tree
    if (job.watcher.opened) {
        job.watcher.opened(session.staging.OpenForReading(job.entry.path));
    }
    FetchSinks::Open(path, descriptor, job.watcher.observer);
    FetchQueue::Ask(row);
    return true;
}

void DownloadRun::AskForFetches() {
    const std::vector<Job*> all = asking;
    for (Job* job : all) {
        if (job->settled || !job->onDemand || job->asked != 0) {
            continue;
        }
        job->asked = Platform::MonotonicMilliseconds();
        if (!AskFor(*job)) {
            Failed(*job, "its place in the staging tree could not be made");
        }
    }
}

// The engine passes over a fetch in silence when it does not like it.
void DownloadRun::DropSilentFetches(std::int64_t now) {
    for (Job* job : std::exchange(asking, {})) {
        if (!job->onDemand || job->settled || job->nextTry != 0 || FetchSinks::Arrived(FullPath(*job)) >= 0) {
            continue;
        }
        if (now - job->asked < kFetchBegins) {
            asking.push_back(job);
        } else {
            FetchQueue::GiveUp(job->entry.file.id);
            Failed(*job, "the fetch was dropped");
        }
    }
}

void DownloadRun::Take(const std::vector<EngineEvent>& events) {
    for (const EngineEvent& event : events) {
        Handle(event);
    }
}

void DownloadRun::Look() {
    const std::int64_t now = Platform::MonotonicMilliseconds();
    const bool idle = EngineRun::RunningDownloads() == 0;
    waitingMilliseconds += idle && open > 0 ? now - lastTick : 0;
    idleSince = !idle ? 0 : idleSince == 0 ? now : idleSince;
    lastTick = now;
    RetryDue(now);
    if (now - lastSweep >= kSweepEvery) {
        Sweep(now);
    }
    if (now - lastRead >= kReadEvery) {
        ReadRecords(now, L"22");
    }
    FreeStuck(now);
    DropSilentFetches(now);
    if (limits.alwaysOnDemand) {
        ForgetSettled();
    }
}

// A run without end must not grow with everything that it ever brought.
void DownloadRun::ForgetSettled() {
    for (auto job = jobs.begin(); job != jobs.end();) {
        const auto mine = [&job](const Job* other) { return other == &*job; };
        if (!job->settled || std::any_of(asking.begin(), asking.end(), mine) ||
            std::any_of(delayed.begin(), delayed.end(), mine)) {
            ++job;
            continue;
        }
        if (const auto known = byPath.find(FullPath(*job)); known != byPath.end() && mine(known->second)) {
            byPath.erase(known);
        }
        if (const auto known = byFileId.find(job->entry.file.id); known != byFileId.end() && mine(known->second)) {
            byFileId.erase(known);
        }
        bytesAll -= job->entry.file.size;
        bytesDone -= job->entry.file.size;
        job = jobs.erase(job);
    }
}

RunEnd DownloadRun::Run(const std::function<bool()>& tick) {
    lastTick = lastSweep = Platform::MonotonicMilliseconds();
    running = true;
    ReadRecords(lastTick, L"21,22,23");
    AskForFetches();
    while (open > 0) {
        Take(EngineRun::Wait(kTickMilliseconds));
        Look();
        if (!tick()) {
            return RunEnd::NoKeys;
        }
        if (StopRequested()) {
            return RunEnd::Stopped;
        }
        if (limits.deadline != 0 && Platform::MonotonicMilliseconds() >= limits.deadline) {
            return RunEnd::Timeout;
        }
    }
    return RunEnd::AllSettled;
}

void DownloadRun::Begin() {
    lastTick = lastSweep = Platform::MonotonicMilliseconds();
    running = true;
}

// A running download learns of it at its next block; one that waits is dropped at once.
std::string DownloadRun::Cancel(const std::string& path) {
    for (Job& job : jobs) {
        if (job.entry.path != path) {
            continue;
        }
        if (job.settled) {
            return "it is done already";
        }
        job.cancelled = true;
        const int status = SQLiteDB::SQLiteDB::GetInstance().GetDriveDataItemWithKey(job.entry.file.id).GetFileStatus();
        if (status == 22 && job.nextTry == 0) {
            EngineRun::CancelDownload(FullPath(job));
        } else {
            Failed(job, "");
        }
        return kCancelled;
    }
    return "no download of that name is under way";
}

void DownloadRun::SettleRest(const std::string& why) {
    for (Job& job : jobs) {
        if (job.settled) {
            continue;
        }
        if (job.cancelled) {
            MarkFailed(job.entry.file.id);
        }
        Settle(job, job.cancelled ? Result::Cancelled : Result::Pending, job.cancelled ? "" : why);
    }
}

}  // namespace Drive::Host
