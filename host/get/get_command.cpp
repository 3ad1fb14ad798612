#include "host/get/get_command.h"

#include <limits.h>

#include <exception>
#include <unordered_set>

#include "host/control/run_desk.h"
#include "host/engine/engine_run.h"
#include "host/engine/kept_positions.h"
#include "host/engine/parked_tasks.h"
#include "host/get/inherited_proof.h"
#include "host/get/run_texts.h"
#include "host/module/exit_codes.h"
#include "host/module/stop_signal.h"
#include "host/tree/free_space.h"
#include "interfaces/cloud/drive_account.h"
#include "interfaces/database/sqlite_db.h"
#include "interfaces/database/sync_rows.h"
#include "interfaces/platform/clock.h"
#include "interfaces/platform/text.h"

namespace Drive::Host {
namespace {

DownloadLimits LimitsOf(const GetOptions& options, std::int64_t started) {
    DownloadLimits limits;
    limits.attempts = options.attempts;
    limits.deadline =
        options.timeoutSeconds > 0 ? started + static_cast<std::int64_t>(options.timeoutSeconds * 1000) : 0;
    return limits;
}

}  // namespace

GetCommand::GetCommand(Session& session, const GetOptions& options)
    : session(session),
      options(options),
      reporter(options.report),
      placement(session.staging, session.visible, session.records),
      downloads(
          session, placement, LimitsOf(options, Platform::MonotonicMilliseconds()),
          [this](const CloudEntry& entry, const Outcome& outcome) { Tell(entry, outcome.result, outcome.message); }),
      started(Platform::MonotonicMilliseconds()),
      limits(LimitsOf(options, started)) {}

// The cursor stands for a run after which nothing was left to do.
bool GetCommand::NothingNew() {
    std::wstring since = Platform::WidenText(session.records.Value("settledCursor"));
    std::vector<Cloud::CloudFile> changes;
    return options.ifChanged && !since.empty() && Cloud::DriveAccount::Changes(since, changes).ok && changes.empty();
}

std::optional<int> GetCommand::RunIfNothingNew() {
    if (!NothingNew()) {
        return std::nullopt;
    }
    return reporter.Json() ? Finish(kExitOk) : kExitOk;
}

int GetCommand::List(std::vector<CloudEntry>& entries) {
    reporter.Stage("listing the cloud");
    std::vector<Cloud::CloudFile> files;
    std::wstring cursor;
    const Cloud::CallOutcome listed = Cloud::DriveAccount::List(files, cursor);
    if (!listed.ok) {
        if (StopRequested()) {
            return kExitStopped;
        }
        reporter.Note(CannotList(listed));
        return kExitCloud;
    }
    this->cursor = Platform::NarrowText(cursor);
    const std::size_t longest = std::max(session.settings.root.size(), session.settings.staging.size());
    entries = PlaceEntries(std::move(files), session.rootFileId, PATH_MAX - 2 - longest);
    return kExitOk;
}

// What an earlier process left behind must not mislead the engine.
void GetCommand::PrepareRows() {
    if (!options.dryRun) {
        ShowOnly(1, session.records);
        SQLiteDB::SyncRows::ForgetEncryptedPositions();
        SQLiteDB::SyncRows::ResetPriorityKeys();
    }
    if (!ReadRows(rows)) {
        throw std::runtime_error("the rows in " + session.stateFolder + " cannot be read; see logs/transfer.log there");
    }
    proved = session.records.AllProved();
    for (Trouble& trouble : session.records.Troubles()) {
        troubles[trouble.fileId] = trouble;
    }
}

// At once, so that a run that breaks off does not take what was replaced in the cloud for a change made here.
void GetCommand::HandOn(const std::vector<CloudEntry>& entries) {
    const std::vector<InheritedProof> handedOn = HandOnProofs(entries, proved);
    if (options.dryRun || handedOn.empty()) {
        return;
    }
    session.records.Begin();
    for (const InheritedProof& proof : handedOn) {
        session.records.PutProved(proof.to, proof.file);
        session.records.ForgetProved(proof.from);
    }
    session.records.Commit();
}

// A file that is no longer in the cloud stays here; only what was on its way is dropped.
void GetCommand::ForgetGone(const std::vector<CloudEntry>& entries) {
    std::unordered_set<std::wstring> there;
    for (const CloudEntry& entry : entries) {
        there.insert(entry.file.id);
    }
    SQLiteDB::SQLiteDB& database = SQLiteDB::SQLiteDB::GetInstance();
    for (const auto& [fileId, row] : rows.files) {
        if (there.count(fileId) != 0 || fileId.rfind(L"Local", 0) == 0) {
            continue;
        }
        DropDownload(fileId);
        database.DeleteDriveDataItem(fileId);
        const std::string key = Platform::NarrowText(fileId);
        if (const auto known = proved.find(key); known != proved.end()) {
            reporter.Note(Printable(known->second.path) + " is no longer in the cloud; kept here");
            session.records.ForgetProved(key);
        }
        session.records.ForgetTrouble(key);
    }
}

// Keeps what was asked for, and the folders on the way to it. False when a name is not in the cloud.
bool GetCommand::Choose(std::vector<CloudEntry>& entries) {
    if (options.only.empty()) {
        return true;
    }
    std::vector<CloudEntry> chosen;
    std::unordered_set<std::string> found;
    for (const CloudEntry& entry : entries) {
        bool wanted = false;
        for (const std::string& path : options.only) {
            const bool itself = entry.path == path;
            const bool below = entry.path.rfind(path + "/", 0) == 0;
            const bool above = entry.file.isFolder && path.rfind(entry.path + "/", 0) == 0;
            wanted = wanted || itself || below || above;
            if (itself) {
                found.insert(path);
            }
        }
        if (wanted) {
            chosen.push_back(entry);
        }
    }
    for (const std::string& path : options.only) {
        if (found.count(path) == 0) {
            reporter.Note("the cloud has no " + Printable(path));
        }
    }
    const bool all = found.size() == std::unordered_set(options.only.begin(), options.only.end()).size();
    entries = std::move(chosen);
    return all;
}

EntryFacts GetCommand::FactsOf(const CloudEntry& entry) const {
    EntryFacts facts;
    if (!entry.refusal.empty()) {
        return facts;
    }
    if (const auto row = rows.files.find(entry.file.id); row != rows.files.end()) {
        facts.row = row->second;
    }
    if (const auto task = rows.downloads.find(entry.file.id); task != rows.downloads.end()) {
        facts.task = task->second;
    }
    if (const auto known = proved.find(Platform::NarrowText(entry.file.id)); known != proved.end()) {
        facts.proved = known->second;
        if (known->second.path != entry.path) {
            facts.earlier = session.visible.Look(known->second.path);
        }
    }
    facts.visible = session.visible.Look(entry.path);
    if (!entry.file.isFolder && !session.staging.Root().empty()) {
        facts.staged = session.staging.Look(entry.path);
    }
    return facts;
}

void GetCommand::Tell(const CloudEntry& entry, Result result, const std::string& message) {
    const Outcome outcome{entry.path, result, entry.file.size, message};
    const std::string fileId = Platform::NarrowText(entry.file.id);
    if (options.dryRun) {
        // Nothing is kept of a run that does nothing.
    } else if (IsTrouble(result)) {
        session.records.PutTrouble({fileId, entry.path, ResultWord(result), message, Platform::UnixTimeSeconds()});
    } else if (troubles.count(fileId) != 0 && result != Result::Pending) {
        session.records.ForgetTrouble(fileId);
    }
    tally.Add(outcome);
    reporter.Entry(outcome);
}

// False when the engine would not begin a single download.
bool GetCommand::EnoughSpace() {
    const std::int64_t free = FreeBytes(session.settings.staging);
    const bool enough = free < 0 || free >= downloads.BytesAll() + kLeastFree;  // who cannot be asked may have enough
    if (!enough) {
        reporter.Note("the downloads need " + HumanBytes(downloads.BytesAll()) + " and 200 MiB to spare, but only " +
                      HumanBytes(free) + " are free on the disk of " + session.settings.staging +
                      (free > kLeastFree ? "; going on as far as it lasts" : "; make room there"));
    }
    return enough || free > kLeastFree;
}

bool GetCommand::ShowProgress() {
    ProgressFigures figures;
    figures.bytesAll = downloads.BytesAll();
    const auto counted = static_cast<std::int64_t>(Cloud::DriveAccount::Counters().received - receivedBefore);
    figures.bytesDone = meter.Done(downloads.BytesRecorded(), counted, figures.bytesAll);
    figures.filesDone = downloads.FilesDone();
    figures.filesAll = downloads.FilesAll();
    RunDesk::Get().Tell(options.onDemand ? "fetch" : "get", reporter.Progress(figures));
    RunDesk::Get().Serve([this](const std::string& path) { return downloads.Cancel(path); });
    const std::int64_t now = Platform::MonotonicMilliseconds();
    if (keys.TimeToTell(EngineRun::HasKeys(), now) && RunDesk::Get().Note(kNoKeysYet)) {
        reporter.Note(kNoKeysYet);
    }
    return !keys.Exhausted(EngineRun::HasKeys(), now);
}

int GetCommand::CodeOf(RunEnd end) {
    switch (end) {
        case RunEnd::Timeout:
            return kExitTimeout;
        case RunEnd::Stopped:
            return kExitStopped;
        case RunEnd::NoKeys:
        case RunEnd::CloudMoves:
            reporter.Note(kNoKeysAtAll);
            return kExitCloud;
        case RunEnd::AllSettled:
            break;
    }
    return downloads.DiskWasFull() ? kExitLocal : kExitOk;
}

int GetCommand::Download() {
    std::string error;
    if (!EnoughSpace()) {
        downloads.SettleRest("no room on the disk");
        return kExitLocal;
    }
    if (!downloads.QueueAll(error)) {
        reporter.Note(error);
        downloads.SettleRest("not queued");
        return kExitLocal;
    }
    receivedBefore = Cloud::DriveAccount::Counters().received;
    EngineRun::Start();
    OnStopRequested({});
    const RunEnd end = downloads.Run([this] { return ShowProgress(); });
    const std::vector<Common::TaskItem> positions =
        end == RunEnd::AllSettled ? std::vector<Common::TaskItem>() : ReadPositions();
    if (!EngineRun::Stop(options.stopSeconds * 1000)) {
        reporter.Note("a transfer did not stop in time and was cut off; the next 'get' goes on from what is here");
    } else {
        RestorePositions(positions);
    }
    downloads.SettleRest("not finished; the next 'get' goes on");
    session.visible.Sync();
    return CodeOf(end);
}

int GetCommand::Finish(int code) {
    const int final = code != kExitOk ? code : tally.troubles > 0 ? kExitSome : kExitOk;
    if (options.only.empty() && !cursor.empty() && !options.dryRun) {
        session.records.SetValue("settledCursor", final == kExitOk ? cursor : "");
    }
    RunTimes times;
    times.all = static_cast<double>(Platform::MonotonicMilliseconds() - started) / 1000;
    times.waiting = downloads.SecondsWaiting();
    reporter.Summary(tally, times, final);
    return final;
}

bool GetCommand::Late() const { return limits.deadline != 0 && Platform::MonotonicMilliseconds() >= limits.deadline; }

int GetCommand::Run() {
    OnStopRequested([] { Cloud::DriveAccount::Abort(); });
    std::vector<CloudEntry> entries;
    if (const std::optional<int> code = RunIfNothingNew()) {
        return *code;
    }
    if (const int code = List(entries); code != kExitOk) {
        return reporter.Json() ? Finish(code) : code;
    }
    PrepareRows();
    HandOn(entries);
    if (!options.dryRun) {
        ForgetGone(entries);
    }
    const int missing = Choose(entries) ? kExitOk : kExitSome;
    reporter.Stage("looking at " + std::to_string(entries.size()) + " entries");
    for (const CloudEntry& entry : entries) {
        if (entry.file.isFolder && entry.refusal.empty()) {
            folders.insert(entry.path);
        }
    }
    for (const CloudEntry& entry : entries) {
        if (StopRequested() || Late()) {
            Tell(entry, Result::Pending, "not looked at");
            continue;
        }
        Act(entry);
    }
    if (StopRequested() || Late()) {
        downloads.SettleRest("not begun");
        return Finish(StopRequested() ? kExitStopped : kExitTimeout);
    }
    const int code = downloads.Empty() ? kExitOk : Download();
    for (auto entry = entries.rbegin(); code == kExitOk && !options.dryRun && entry != entries.rend(); ++entry) {
        if (entry->file.isFolder && entry->refusal.empty()) {
            session.staging.RemoveFolderIfEmpty(entry->path);
        }
    }
    return Finish(code == kExitOk ? missing : code);
}

}  // namespace Drive::Host
