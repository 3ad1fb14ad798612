#include "host/mount/mount_run.h"

#include <limits.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <utility>

#include "host/control/run_desk.h"
#include "host/engine/engine_run.h"
#include "host/engine/parked_tasks.h"
#include "host/get/file_rows.h"
#include "host/get/run_texts.h"
#include "host/module/exit_codes.h"
#include "host/module/stop_signal.h"
#include "host/mount/evict.h"
#include "host/mount/local_calls.h"
#include "interfaces/cloud/drive_account.h"
#include "interfaces/database/sqlite_db.h"
#include "interfaces/database/sync_rows.h"
#include "interfaces/logging/sync_panel_log.h"
#include "interfaces/platform/clock.h"
#include "interfaces/platform/native_path.h"
#include "interfaces/platform/text.h"

namespace Drive::Host {

using Cloud::DriveAccount;
using Platform::NarrowText;

namespace {

constexpr int kTickMilliseconds = 100;
constexpr std::int64_t kKeepRemoved = 30LL * 24 * 3600;  // seconds
constexpr const wchar_t* kFetchFolder = L".fetch\\";
constexpr const wchar_t* kSendFolder = L".send\\";

DownloadLimits LimitsOf(int attempts) {
    DownloadLimits limits;
    limits.attempts = attempts;
    limits.alwaysOnDemand = true;
    limits.givesBack = true;  // before a content is sent again the cloud is asked what it has
    return limits;
}

bool BeginsWith(const std::wstring& text, const wchar_t* beginning) { return text.rfind(beginning, 0) == 0; }

// What was removed in the cloud is kept for a while and then let go.
void RemoveOld(const std::string& folder) {
    std::error_code ignored;
    const std::int64_t now = Platform::UnixTimeSeconds();
    for (const auto& entry : std::filesystem::directory_iterator(folder, ignored)) {
        if (now - std::strtoll(entry.path().filename().c_str(), nullptr, 10) > kKeepRemoved) {
            std::filesystem::remove_all(entry.path(), ignored);
        }
    }
}

}  // namespace

MountRun::MountRun(Session& session, const MountOptions& options)
    : session(session),
      options(options),
      reporter(options.report),
      state(session.visible, session.staging, session.records, wishes, session.rootFileId, EngineRun::Wake),
      guard(std::string(kUsualIndexers) + " " + session.settings.noHydrate),
      files(state, guard),
      kernel(files),
      merge(state,
            [this](const std::string& path, const std::string& message) {
                SyncPanelLog::WriteTraceLog("Mount: " + path + ": " + message);
                reporter.Note(Printable(path) + ": " + Printable(message));
            }),
      carrier(session, state, merge,
              {[this](bool whole) { return Refresh(whole); },
               [this](const std::string& path, Result result, std::int64_t bytes, const std::string& message) {
                   Report(path, result, bytes, message);
               }}),
      downloads(session, *this, LimitsOf(options.attempts),
                [this](const CloudEntry& entry, const Outcome& outcome) { FetchEnded(entry, outcome); }),
      uploads(session, session.staging, LimitsOf(6),
              {[this](const UploadRun::Job& job, Result result, const std::string& message) {
                   carrier.Settled(job, result, message);
               },
               [this](const UploadRun::Job& job) { carrier.Settled(job, Result::Pending, ""); },
               [](EngineEvent::Kind) {}, [this](const UploadRun::Job& job) { carrier.Sent(job); }}) {
    state.longestName = session.settings.nameLength;
}

void MountRun::Report(const std::string& path, Result result, std::int64_t bytes, const std::string& message) {
    const Outcome outcome{path, result, bytes, message};
    tally.Add(outcome);
    reporter.Entry(outcome);
}

// Rows and staged files of a mount that was killed: what they were for is asked for anew.
void MountRun::ForgetEarlierRuns() {
    std::vector<std::wstring> ids;
    SQLiteDB::SyncRows::ForEachFile([&ids](const Common::FileItem& row) {
        if (BeginsWith(row.GetLocalParentFolder(), kFetchFolder) ||
            BeginsWith(row.GetLocalParentFolder(), kSendFolder)) {
            ids.push_back(row.GetFileId());
        }
        return true;
    });
    for (const std::wstring& id : ids) {
        for (const int direction : {1, 2}) {
            SQLiteDB::SQLiteDB::GetInstance().DeleteTaskItem(id, direction);
            session.records.Unpark(NarrowText(id), direction);
        }
        SQLiteDB::SQLiteDB::GetInstance().DeleteDriveDataItem(id);
    }
    for (const auto& [path, sent] : session.records.AllSending()) {
        if (path.rfind(".send/", 0) == 0) {
            session.records.ForgetSending(path);
        }
    }
    Local::RemoveAll(session.staging, ".fetch");
    Local::RemoveAll(session.staging, ".send");
    RemoveOld(session.staging.Root() + "/.removed");
}

bool MountRun::List() {
    std::vector<Cloud::CloudFile> listed;
    std::wstring fresh;
    const Cloud::CallOutcome outcome = DriveAccount::List(listed, fresh);
    if (!outcome.ok) {
        if (!StopRequested()) {
            reporter.Note(CannotList(outcome));
        }
        return false;
    }
    cursor = fresh;
    passedOver = carrier.AnySent();
    const std::size_t longest = std::max(session.settings.root.size(), session.settings.staging.size());
    merge.List(PlaceEntries(std::move(listed), session.rootFileId, PATH_MAX - 2 - longest));
    lastAsked = Platform::MonotonicMilliseconds();
    return true;
}

// What this mount did itself comes back as a change, too.
bool MountRun::IsKnown(const Cloud::CloudFile& change) {
    const std::lock_guard lock(state.mutex);
    const NodePtr node = state.tree.ById(change.id);
    if (change.isDeleted) {
        return !node;
    }
    if (node && node->sending) {
        passedOver = true;
        return true;
    }
    return node && node->cloud.contentVersion == change.contentVersion &&
           node->cloud.parentFolder == change.parentFolder && node->cloud.fileName == change.fileName &&
           node->cloud.size == change.size;
}

bool MountRun::Refresh(bool whole) {
    std::vector<Cloud::CloudFile> changes;
    if (whole || (passedOver && !carrier.AnySent())) {
        return List();
    }
    lastAsked = Platform::MonotonicMilliseconds();
    const Cloud::CallOutcome told = DriveAccount::Changes(cursor, changes);
    if (!told.ok) {
        // The cloud was put back to an earlier state, or another took its place: this cursor never helps again.
        return told.status == 400 && List();
    }
    const bool allKnown =
        std::all_of(changes.begin(), changes.end(), [this](const Cloud::CloudFile& one) { return IsKnown(one); });
    return allKnown || List();
}

int MountRun::Prepare() {
    ParkAll(session.records);
    SQLiteDB::SyncRows::ForgetEncryptedPositions();
    SQLiteDB::SyncRows::ResetPriorityKeys();
    ForgetEarlierRuns();
    wishes.Open(session.stateFolder);
    if (!List()) {
        return StopRequested() ? kExitStopped : kExitCloud;
    }
    merge.ReadRoot(ReadLocalTree(session.visible, session.StagingInside()));
    return kExitOk;
}

void MountRun::Bring(const NodePtr& node) {
    CloudEntry entry;
    Fetching fetch;
    {
        const std::lock_guard lock(state.mutex);
        if (!node->fetch) {
            return;
        }
        if (fetching.count(node->cloud.id) != 0) {
            state.wanted.push_back(node);  // an earlier version of it is on its way
            return;
        }
        entry.file = node->cloud;
        fetch = {node, node->fetch, node->Linked() ? state.tree.PathOf(*node) : node->name};
    }
    const std::string folder = ".fetch/" + std::to_string(node->number) + "/";
    entry.path = folder + Platform::NativePath(entry.file.fileName);
    entry.parentFolder = Platform::EnginePath(folder);
    fetching[entry.file.id] = fetch;
    const auto opened = [progress = fetch.progress](int descriptor) { progress->Opened(descriptor); };
    downloads.AddOnDemand(entry, std::nullopt, {fetch.progress, opened});
}

void MountRun::BringWanted() {
    std::vector<NodePtr> wanted;
    {
        const std::lock_guard lock(state.mutex);
        wanted = std::exchange(state.wanted, {});
    }
    for (const NodePtr& node : wanted) {
        Bring(node);
    }
}

// The content is proved. It goes to where the file is now; one that was removed or replaced meanwhile needs no place,
// and its readers have it open.
Shown MountRun::Show(const CloudEntry& entry, const std::string& sha256, const std::optional<ProvedFile>&,
                     std::string& message) {
    const auto found = fetching.find(entry.file.id);
    if (found == fetching.end()) {
        return Shown::Failed;
    }
    const NodePtr node = found->second.node;
    session.staging.SetTime(entry.path, entry.file.editedTime);
    const std::lock_guard lock(state.mutex);
    if (!node->Linked() || node->here) {
        session.staging.RemoveFile(entry.path, message);
        return Shown::Yes;
    }
    const std::string path = state.tree.PathOf(*node);
    if (Local::MakeParents(state.visible, path) != 0) {
        message = "its folder cannot be made in " + session.settings.root;
        return Shown::Failed;
    }
    if (state.visible.Look(path).kind != FileKind::Absent) {
        Placement(session.staging, session.visible, session.records).MoveAside(path, message);
    }
    if (MoveNew(session.staging, entry.path, session.visible, path, message) != MoveOutcome::Moved) {
        return Shown::Failed;
    }
    message.clear();
    node->here = true;
    node->dirty = false;
    node->base = entry.file.contentVersion;
    RememberProved(state, *node);
    const std::size_t slash = path.rfind('/');
    const std::wstring folder = slash == std::string::npos ? L"" : Platform::EnginePath(path.substr(0, slash + 1));
    SQLiteDB::SyncRows::PutFile(RowOf({entry.file, folder, path, ""}, 1, Platform::WidenText(sha256)));
    return Shown::Yes;
}

void MountRun::FetchEnded(const CloudEntry& entry, const Outcome& outcome) {
    const auto found = fetching.find(entry.file.id);
    if (found == fetching.end()) {
        return;
    }
    const Fetching fetch = found->second;
    fetching.erase(found);
    const bool good = outcome.result == Result::Downloaded;
    {
        const std::lock_guard lock(state.mutex);
        if (fetch.node->fetch == fetch.progress) {
            fetch.node->fetch.reset();
        }
    }
    Local::RemoveAll(session.staging, entry.path.substr(0, entry.path.rfind('/')));
    const std::string id = NarrowText(entry.file.id);
    if (!good) {
        SQLiteDB::SQLiteDB::GetInstance().DeleteDriveDataItem(entry.file.id);
        SyncPanelLog::WriteErrorLog("Mount", "Read", fetch.path + ": " + outcome.message);
        session.records.PutTrouble(
            {id, fetch.path, ResultWord(outcome.result), outcome.message, Platform::UnixTimeSeconds()});
    } else {
        session.records.ForgetTrouble(id);
    }
    fetch.progress->Ended(good, outcome.message);
    Report(fetch.path, outcome.result, outcome.bytes, outcome.message);
}

std::string MountRun::EvictNode(const NodePtr& node) {
    std::string path;
    EvictFacts facts;
    {
        const std::lock_guard lock(state.mutex);
        if (!node->Linked() || node->isFolder || !node->here) {
            return "";
        }
        path = state.tree.PathOf(*node);
        if (node->dirty || node->sending || node->writers > 0 || !node->InCloud()) {
            return "it was changed here and is not in the cloud yet";
        }
        facts.fileId = node->cloud.id;
        facts.contentVersion = node->cloud.contentVersion;
    }
    const std::string problem = CheckEvictable(session, path, facts);
    if (!problem.empty()) {
        return problem;
    }
    const std::lock_guard lock(state.mutex);
    if (!node->Linked() || state.tree.PathOf(*node) != path || node->dirty || node->writers > 0) {
        return "it was changed at this moment";
    }
    const std::string failure = RemoveChecked(session, path, facts);
    node->here = !failure.empty();
    return failure;
}

std::string MountRun::Evict(const std::string& path) {
    std::vector<NodePtr> nodes;
    {
        const std::lock_guard lock(state.mutex);
        const NodePtr node = state.tree.At(path);
        if (!node) {
            return "there is no such file";
        }
        nodes.push_back(node);
        for (std::size_t index = 0; index < nodes.size(); ++index) {
            const NodePtr folder = nodes[index];
            for (const auto& [name, child] : folder->children) {
                nodes.push_back(child);
            }
        }
    }
    std::string answer = kEvicted;
    for (const NodePtr& node : nodes) {
        if (const std::string problem = EvictNode(node); !problem.empty()) {
            answer = node->name + ": " + problem;
        }
    }
    return answer;
}

void MountRun::TellProgress() {
    ProgressFigures figures;
    figures.bytesDone = downloads.BytesRecorded() + uploads.BytesRecorded();
    figures.bytesAll = downloads.BytesAll() + uploads.BytesAll();
    figures.filesDone = downloads.FilesDone() + uploads.FilesDone();
    figures.filesAll = downloads.FilesAll() + uploads.FilesAll();
    RunDesk::Get().Tell("mount", figures);
    RunDesk::Get().Serve([this](const std::string& path) { return downloads.Cancel(path); },
                         [this](const std::string& path) { return Evict(path); });
    if (keys.TimeToTell(EngineRun::HasKeys(), Platform::MonotonicMilliseconds()) && RunDesk::Get().Note(kNoKeysYet)) {
        reporter.Note(kNoKeysYet);
    }
}

void MountRun::Turn() {
    const std::vector<EngineEvent> events = EngineRun::Wait(kTickMilliseconds);
    BringWanted();
    downloads.Take(events);
    uploads.Take(events);
    downloads.Look();
    uploads.Look();
    if (Platform::MonotonicMilliseconds() - lastAsked >= options.everySeconds * 1000LL) {
        Refresh(false);
    }
    carrier.Turn(uploads);
    TellProgress();
}

void MountRun::EndFetches() {
    const std::lock_guard lock(state.mutex);
    state.ended = true;
    for (const NodePtr& node : state.wanted) {
        if (node->fetch) {
            node->fetch->Ended(false, "the mount has ended");
        }
    }
    for (const auto& [id, fetch] : fetching) {
        fetch.progress->Ended(false, "the mount has ended");
    }
}

// Who unmounts has done with the files: what was changed goes up before the end, unless a signal does not let it.
void MountRun::Finish() {
    EndFetches();
    const std::int64_t until = Platform::MonotonicMilliseconds() + options.stopSeconds * 1000LL;
    while (!StopRequested() && !carrier.Idle() && Platform::MonotonicMilliseconds() < until) {
        Turn();
    }
    if (!carrier.Idle()) {
        reporter.Note("some changes are not in the cloud yet; the next mount carries them there");
    }
    kernel.Stop();
    downloads.SettleRest("the mount was ended");
    if (!EngineRun::Stop(options.stopSeconds * 1000)) {
        reporter.Note("a transfer did not stop in time and was cut off");
    }
    session.visible.Sync();
    ForgetEarlierRuns();
}

int MountRun::Run() {
    OnStopRequested([] { DriveAccount::Abort(); });
    if (const int code = Prepare(); code != kExitOk) {
        return code;
    }
    std::string error;
    EngineRun::Start();
    OnStopRequested([] { EngineRun::Wake(); });
    downloads.Begin();
    const bool mounted = kernel.Start(options.mountPoint, error);
    if (mounted) {
        std::printf("mounted on %s\n", Printable(options.mountPoint).c_str());
        std::fflush(stdout);
    } else {
        reporter.Note(error);
    }
    while (mounted && !StopRequested() && !kernel.Ended()) {
        Turn();
    }
    Finish();
    return mounted ? kExitOk : kExitLocal;
}

}  // namespace Drive::Host
