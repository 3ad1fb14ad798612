#include "host/put/put_command.h"

#include <limits>
#include <stdexcept>

#include "host/control/run_desk.h"
#include "host/engine/engine_run.h"
#include "host/engine/parked_tasks.h"
#include "host/get/inherited_proof.h"
#include "host/get/run_texts.h"
#include "host/module/exit_codes.h"
#include "host/module/stop_signal.h"
#include "interfaces/cloud/drive_account.h"
#include "interfaces/database/sync_rows.h"
#include "interfaces/platform/clock.h"
#include "interfaces/platform/text.h"

namespace Drive::Host {
namespace {

constexpr const char* kIsFull = " in the cloud is full";
constexpr std::size_t kLongestPath = 4096;  // bytes; no longer one can be opened here

DownloadLimits LimitsOf(const PutOptions& options, std::int64_t started) {
    DownloadLimits limits;
    limits.attempts = options.attempts;
    limits.deadline =
        options.timeoutSeconds > 0 ? started + static_cast<std::int64_t>(options.timeoutSeconds * 1000) : 0;
    return limits;
}

}  // namespace

PutCommand::PutCommand(Session& session, const PutOptions& options)
    : session(session),
      options(options),
      reporter(options.report),
      placement(session.staging, session.visible, session.records),
      uploads(session, session.visible, LimitsOf(options, Platform::MonotonicMilliseconds()),
              {[this](const UploadRun::Job& job, Result result, const std::string& message) {
                   if (result == Result::Uploaded) {
                       ForgetPictures(job.entry);
                   }
                   Tell(job.entry, result, message);
               },
               [this](const UploadRun::Job& job) { Emptied(job); },
               [this](EngineEvent::Kind kind) { Notice(kind); },
               {}}),
      started(Platform::MonotonicMilliseconds()),
      limits(LimitsOf(options, started)) {}

int PutCommand::List() {
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
    std::vector<CloudEntry> entries = PlaceEntries(std::move(files), session.rootFileId, kLongestPath);
    proved = session.records.AllProved();
    HandOnProofs(entries, proved);
    for (CloudEntry& entry : entries) {
        if (entry.refusal.empty()) {
            if (entry.file.isFolder) {
                folderIds[entry.path] = entry.file.id;
            }
            cloud[entry.path] = std::move(entry);
        }
    }
    return kExitOk;
}

void PutCommand::ReadState() {
    if (!options.dryRun) {
        ShowOnly(2, session.records);
    }
    for (const Common::TaskItem& task : SQLiteDB::SyncRows::Tasks(std::numeric_limits<int>::max())) {
        uploadTasks[task.GetFileId()] = task.GetDirection() == 2;
    }
    const bool read = SQLiteDB::SyncRows::ForEachFile([this](const Common::FileItem& row) {
        rowsByPlace[row.GetLocalParentFolder() + L"\\" + row.GetLocalFileName()] = row;
        return true;
    });
    if (!read) {
        throw std::runtime_error("the rows in " + session.stateFolder + " cannot be read; see logs/transfer.log there");
    }
    sending = session.records.AllSending();
    for (Trouble& trouble : session.records.Troubles()) {
        troubles[trouble.fileId] = trouble;
    }
}

// A file that the cloud does not have yet is known by its path.
void PutCommand::Tell(const LocalEntry& entry, Result result, const std::string& message) {
    const Outcome outcome{entry.path, result, entry.facts.size, message};
    const std::string key = "path:" + entry.path;
    if (options.dryRun) {
        // Nothing is kept of a run that does nothing.
    } else if (IsTrouble(result)) {
        session.records.PutTrouble({key, entry.path, ResultWord(result), message, Platform::UnixTimeSeconds()});
    } else if (troubles.count(key) != 0 && result != Result::Pending) {
        session.records.ForgetTrouble(key);
    }
    tally.Add(outcome);
    reporter.Entry(outcome);
}

// The engine may say it several times; the person hears it once, and "status" tells it while the command runs.
void PutCommand::Notice(EngineEvent::Kind kind) {
    std::string text;
    if (kind == EngineEvent::Kind::SpaceFull) {
        text = "the space of " + session.settings.user + kIsFull + "; make room there";
    } else if (kind == EngineEvent::Kind::SpaceLow) {
        text = "the space of " + session.settings.user + " in the cloud will soon be full";
    } else if (kind == EngineEvent::Kind::Migrating) {
        text = "the cloud is being moved and takes no files at present; they wait and are tried again";
    }
    if (text.empty() || !RunDesk::Get().Note(text)) {
        return;
    }
    reporter.Note(text);
    if (kind != EngineEvent::Kind::Migrating) {
        session.records.SetValue(kSpaceNotice, std::to_string(Platform::UnixTimeSeconds()) + " " + text);
    }
}

bool PutCommand::ShowProgress() {
    ProgressFigures figures;
    figures.bytesAll = uploads.BytesAll();
    const auto counted = static_cast<std::int64_t>(Cloud::DriveAccount::Counters().sent - sentBefore);
    figures.bytesDone = meter.Done(uploads.BytesRecorded(), counted, figures.bytesAll);
    figures.filesDone = uploads.FilesDone();
    figures.filesAll = uploads.FilesAll();
    RunDesk::Get().Tell("put", reporter.Progress(figures));
    RunDesk::Get().Serve([this](const std::string& path) { return uploads.Cancel(path); });
    const std::int64_t now = Platform::MonotonicMilliseconds();
    if (keys.TimeToTell(EngineRun::HasKeys(), now)) {
        reporter.Note(kNoKeysYet);
    }
    return !keys.Exhausted(EngineRun::HasKeys(), now);
}

std::pair<Result, std::string> PutCommand::ProofOf(const UploadRun::Job& job) {
    const auto found = shown.find(job.cloudId);
    if (found == shown.end()) {
        return {Result::Failed, "the cloud does not list it after it was sent; the next 'put' sends it again"};
    }
    const Cloud::CloudFile& file = found->second;
    const bool same = file.size == job.entry.facts.size && (file.sha256.empty() || file.sha256 == job.sha256);
    const std::string id = Platform::NarrowText(job.cloudId);
    const ProvedFile record{job.entry.path, file.size, same ? job.entry.facts.changed : 0,
                            Platform::NarrowText(file.sha256.empty() ? job.sha256 : file.sha256),
                            Platform::NarrowText(file.contentVersion)};
    session.records.PutProved(id, record);
    if (!same) {
        return {Result::Failed, "the cloud holds another content than what was sent; the next 'put' sends it again"};
    }
    session.records.ForgetSending(job.entry.path);
    return {Result::Uploaded, ""};
}

// One look at the cloud proves all files of the run.
void PutCommand::Prove() {
    reporter.Stage("checking what the cloud has");
    std::vector<Cloud::CloudFile> files;
    std::wstring cursor;
    const Cloud::CallOutcome listed = Cloud::DriveAccount::List(files, cursor);
    if (!listed.ok) {
        reporter.Note(CannotList(listed));
    }
    for (Cloud::CloudFile& file : files) {
        shown[file.id] = std::move(file);
    }
    session.records.Begin();
    uploads.SettleRest(
        [&](const UploadRun::Job& job) {
            return listed.ok ? ProofOf(job)
                             : std::pair(Result::Failed, "sent, but the cloud could not be asked afterwards (" +
                                                             listed.message + "); the next 'put' compares");
        },
        "");
    session.records.Commit();
}

// A run in which everything found room.
void PutCommand::ForgetFullSpace() {
    if (tally.troubles == 0 && session.records.Value(kSpaceNotice).find(kIsFull) != std::string::npos) {
        session.records.SetValue(kSpaceNotice, "");
    }
}

int PutCommand::CodeOf(RunEnd end) {
    switch (end) {
        case RunEnd::AllSettled:
            return kExitOk;
        case RunEnd::Timeout:
            return kExitTimeout;
        case RunEnd::Stopped:
            return kExitStopped;
        case RunEnd::NoKeys:
            reporter.Note(kNoKeysAtAll);
            return kExitCloud;
        case RunEnd::CloudMoves:
            reporter.Note("the cloud is still being moved; try again later");
            return kExitCloud;
    }
    return kExitLocal;
}

int PutCommand::Upload() {
    const auto unproved = [](const UploadRun::Job&) {
        return std::pair(Result::Pending, std::string("sent, but not checked; the next 'put' compares"));
    };
    std::string error;
    if (!uploads.QueueAll(error)) {
        reporter.Note(error);
        uploads.SettleRest(unproved, "not queued");
        return kExitLocal;
    }
    sentBefore = Cloud::DriveAccount::Counters().sent;
    OnStopRequested({});
    EngineRun::Start();
    const RunEnd end = uploads.Run([this] { return ShowProgress(); });
    if (end == RunEnd::AllSettled) {
        Prove();
        ForgetFullSpace();
    }
    if (!EngineRun::Stop(options.stopSeconds * 1000)) {
        reporter.Note("a transfer did not stop in time and was cut off; the next 'put' goes on from its record");
    }
    uploads.SettleRest(unproved, "not finished; the next 'put' goes on");
    return CodeOf(end);
}

int PutCommand::Finish(int code) {
    const int final = code != kExitOk ? code : tally.troubles > 0 ? kExitSome : kExitOk;
    RunTimes times;
    times.all = static_cast<double>(Platform::MonotonicMilliseconds() - started) / 1000;
    times.waiting = uploads.SecondsWaiting();
    reporter.Summary(tally, times, final);
    return final;
}

bool PutCommand::Late() const { return limits.deadline != 0 && Platform::MonotonicMilliseconds() >= limits.deadline; }

int PutCommand::Run() {
    OnStopRequested([] { Cloud::DriveAccount::Abort(); });
    if (const int code = List(); code != kExitOk) {
        return reporter.Json() ? Finish(code) : code;
    }
    ReadState();
    reporter.Stage("looking at " + session.settings.root);
    for (const LocalEntry& entry : ReadLocalTree(session.visible, session.StagingInside())) {
        if (StopRequested() || Late()) {
            Tell(entry, Result::Pending, "not looked at");
            continue;
        }
        Act(entry);
    }
    if (StopRequested() || Late()) {
        uploads.SettleRest([](const UploadRun::Job&) { return std::pair(Result::Pending, std::string()); },
                           "not begun");
        return Finish(StopRequested() ? kExitStopped : kExitTimeout);
    }
    return Finish(uploads.Empty() ? kExitOk : Upload());
}

}  // namespace Drive::Host
