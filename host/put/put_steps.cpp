// What "put" does for one entry, step by step.
#include "host/module/stop_signal.h"
#include "host/put/local_id.h"
#include "host/put/put_command.h"
#include "host/tree/read_digest.h"
#include "interfaces/common/file_helper.h"
#include "interfaces/common/globals.h"
#include "interfaces/database/sqlite_db.h"
#include "interfaces/database/sync_rows.h"
#include "interfaces/platform/text.h"

namespace Drive::Host {
namespace {

constexpr const char* kNoFolder = "its folder is not in the cloud";
constexpr const wchar_t* kEmptySha256 = L"e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855";

std::wstring PlaceOf(const LocalEntry& entry) { return entry.parentFolder + L"\\" + entry.name; }

}  // namespace

// The cache pictures belong to the content, and the engine would take them for a new content too.
void PutCommand::ForgetPictures(const LocalEntry& entry) {
    for (const std::wstring& cache : {g_thumbnailFolder, g_lcdthumbnailFolder}) {
        Common::FileHepler::RemoveFile(cache + entry.parentFolder + entry.name + L".jpg");
    }
}

PutFacts PutCommand::FactsOf(const LocalEntry& entry) const {
    PutFacts facts;
    if (const auto found = cloud.find(entry.path); found != cloud.end()) {
        facts.cloud = found->second;
        if (const auto known = proved.find(Platform::NarrowText(found->second.file.id)); known != proved.end()) {
            facts.proved = known->second;
        }
    }
    if (const auto queued = sending.find(entry.path); queued != sending.end()) {
        facts.sending = queued->second;
    }
    if (const auto row = rowsByPlace.find(PlaceOf(entry)); row != rowsByPlace.end()) {
        const int status = row->second.GetFileStatus();
        const bool sameFile = facts.cloud ? row->second.GetFileId() == facts.cloud->file.id
                                          : row->second.GetFileId().rfind(L"Local", 0) == 0;
        const auto task = uploadTasks.find(row->second.GetFileId());
        facts.waiting = sameFile && status >= 11 && status <= 13 && task != uploadTasks.end() && task->second;
    }
    return facts;
}

void PutCommand::Act(const LocalEntry& entry) {
    PutLimits limits;
    limits.nameLength = session.settings.nameLength;
    limits.overwrite = options.overwrite;
    const PutFacts facts = FactsOf(entry);
    const PutDecision decision = DecidePut(entry, facts, limits);
    if (decision.step == PutStep::Compare) {
        return Compare(entry, facts, decision);
    }
    Perform(entry, facts, decision.step, decision.reason);
}

// What a dry run says of a step that would change something.
void PutCommand::Plan(const LocalEntry& entry, const PutFacts& facts, PutStep step) {
    if (step != PutStep::FolderThere && step != PutStep::Unchanged && !ParentIdOf(entry)) {
        return Tell(entry, Result::Refused, kNoFolder);
    }
    switch (step) {
        case PutStep::FolderThere:
            return Tell(entry, Result::FolderThere, "");
        case PutStep::Unchanged:
            return Tell(entry, Result::Unchanged, "");
        case PutStep::CreateFolder:
            folderIds[entry.path] = L"planned";
            return Tell(entry, Result::Planned, "the folder would be made in the cloud");
        case PutStep::CreateEmpty:
        case PutStep::ReplaceEmpty:
            return Tell(entry, Result::Planned, "an empty file would be made in the cloud");
        default:
            return Tell(entry, Result::Planned, facts.cloud ? "would be sent as a new version" : "would be sent");
    }
}

// Everything of it that the engine had is gone.
void PutCommand::Emptied(const UploadRun::Job& job) {
    const PutFacts facts = FactsOf(job.entry);
    CreateEmpty(job.entry, facts, facts.cloud.has_value());
}

void PutCommand::Perform(const LocalEntry& entry, const PutFacts& facts, PutStep step, const std::string& reason) {
    const bool changes = step == PutStep::FolderThere || step == PutStep::Unchanged || step == PutStep::CreateFolder ||
                         step == PutStep::CreateEmpty || step == PutStep::ReplaceEmpty || step == PutStep::SendNew ||
                         step == PutStep::SendVersion || step == PutStep::Resume;
    if (options.dryRun && changes) {
        return Plan(entry, facts, step);
    }
    switch (step) {
        case PutStep::FolderThere:
            KeepRow(entry, facts.cloud->file, L"");
            return Tell(entry, Result::FolderThere, "");
        case PutStep::CreateFolder:
            return CreateFolder(entry);
        case PutStep::Unchanged:
            // A row that says "in step" with another digest than the cloud's would mislead whoever reads it next.
            KeepRow(entry, facts.cloud->file, Platform::WidenText(facts.proved->sha256));
            return Tell(entry, Result::Unchanged, "");
        case PutStep::CreateEmpty:
        case PutStep::ReplaceEmpty:
            return CreateEmpty(entry, facts, step == PutStep::ReplaceEmpty);
        case PutStep::SendNew:
        case PutStep::SendVersion:
        case PutStep::Resume:
            return Queue(entry, facts, step != PutStep::Resume);
        case PutStep::CloudNewer:
            return LeaveAlone(entry, Result::CloudNewer, reason);
        case PutStep::NotSent:
            return LeaveAlone(entry, Result::NotSent, reason);
        case PutStep::Refuse:
            return LeaveAlone(entry, Result::Refused, reason);
        case PutStep::Conflict:
        case PutStep::Compare:
            return LeaveAlone(entry, Result::Conflict, reason);
    }
}

// A task that an earlier run left would be carried out with the others as soon as the engine runs.
void PutCommand::DropTask(const LocalEntry& entry) {
    const auto row = rowsByPlace.find(PlaceOf(entry));
    if (!options.dryRun && row != rowsByPlace.end() && uploadTasks.count(row->second.GetFileId()) != 0) {
        SQLiteDB::SQLiteDB::GetInstance().DeleteTaskItem(row->second.GetFileId(), 2);
    }
}

void PutCommand::LeaveAlone(const LocalEntry& entry, Result result, const std::string& reason) {
    DropTask(entry);
    Tell(entry, result, reason);
}

void PutCommand::Compare(const LocalEntry& entry, const PutFacts& facts, const PutDecision& decision) {
    const std::wstring actual = ReadDigest(session.settings.root, entry.path, StopRequested);
    if (actual.empty() && StopRequested()) {
        return Tell(entry, Result::Pending, "not looked at");
    }
    if (actual.empty()) {
        return Tell(entry, Result::Failed, "it cannot be read; check its permissions and the disk");
    }
    if (actual != facts.cloud->file.sha256) {
        return Perform(entry, facts, decision.otherwise, decision.reason);
    }
    if (!options.dryRun) {
        placement.RecordProved(*facts.cloud, Platform::NarrowText(actual));
        session.records.ForgetSending(entry.path);
        KeepRow(entry, facts.cloud->file, actual);
    }
    Tell(entry, Result::Unchanged, "");
}

std::optional<std::wstring> PutCommand::ParentIdOf(const LocalEntry& entry) const {
    const std::size_t slash = entry.path.rfind('/');
    if (slash == std::string::npos) {
        return session.rootFileId;
    }
    const auto parent = folderIds.find(entry.path.substr(0, slash));
    return parent == folderIds.end() ? std::nullopt : std::optional(parent->second);
}

// The row of an entry that is in step with the cloud. Another row of the same place is an earlier life of it.
void PutCommand::KeepRow(const LocalEntry& entry, const Cloud::CloudFile& file, const std::wstring& localSha256) {
    const auto row = rowsByPlace.find(PlaceOf(entry));
    if (row != rowsByPlace.end() && row->second.GetFileId() != file.id) {
        SQLiteDB::SQLiteDB::GetInstance().DeleteTaskItem(row->second.GetFileId(), 2);
        SQLiteDB::SQLiteDB::GetInstance().DeleteDriveDataItem(row->second.GetFileId());
    } else if (row != rowsByPlace.end() && row->second.GetFileStatus() == 1 &&
               row->second.GetLocalFileSha256() == localSha256 && row->second.GetHash() == file.sha256) {
        return DropTask(entry);
    }
    SQLiteDB::SQLiteDB::GetInstance().DeleteTaskItem(file.id, 2);
    SQLiteDB::SyncRows::PutFile(RowOf({file, entry.parentFolder, entry.path, ""}, 1, localSha256));
}

void PutCommand::CreateFolder(const LocalEntry& entry) {
    const std::optional<std::wstring> parent = ParentIdOf(entry);
    if (!parent) {
        return Tell(entry, Result::Refused, kNoFolder);
    }
    Cloud::CloudFile folder;
    const Cloud::CallOutcome made = Cloud::DriveAccount::CreateFolder(*parent, entry.name, folder);
    if (!made.ok) {
        return Tell(entry, Result::Failed, made.message);
    }
    folder.fileName = entry.name;
    folder.parentFolder = *parent;
    folder.isFolder = true;
    folderIds[entry.path] = folder.id;
    KeepRow(entry, folder, L"");
    Tell(entry, Result::FolderMade, "");
}

void PutCommand::CreateEmpty(const LocalEntry& entry, const PutFacts& facts, bool replace) {
    const std::optional<std::wstring> parent = ParentIdOf(entry);
    if (!parent) {
        return Tell(entry, Result::Refused, kNoFolder);
    }
    if (replace) {
        const Cloud::CallOutcome removed = Cloud::DriveAccount::Delete(facts.cloud->file.id);
        if (!removed.ok) {
            return Tell(entry, Result::Failed, removed.message);
        }
        session.records.ForgetProved(Platform::NarrowText(facts.cloud->file.id));
    }
    Cloud::CloudFile file;
    const Cloud::CallOutcome made = Cloud::DriveAccount::CreateEmptyFile(*parent, entry.name, file);
    if (!made.ok) {
        return Tell(entry, Result::Failed, made.message);
    }
    file.fileName = entry.name;
    file.parentFolder = *parent;
    KeepRow(entry, file, kEmptySha256);
    placement.RecordProved({file, entry.parentFolder, entry.path, ""}, file.sha256.empty()
                                                                           ? Platform::NarrowText(kEmptySha256)
                                                                           : Platform::NarrowText(file.sha256));
    Tell(entry, Result::EmptyMade, "");
}

void PutCommand::Queue(const LocalEntry& entry, const PutFacts& facts, bool fresh) {
    const std::optional<std::wstring> parent = ParentIdOf(entry);
    if (!parent) {
        return Tell(entry, Result::Refused, kNoFolder);
    }
    if (const std::string problem = session.visible.ReadProblem(entry.path); !problem.empty()) {
        return Tell(entry, Result::Failed, problem);
    }
    const auto known = rowsByPlace.find(PlaceOf(entry));
    if (!fresh) {
        return uploads.Add(entry, known->second, false);
    }
    // An earlier task's record belongs to an earlier content.
    if (known != rowsByPlace.end()) {
        SQLiteDB::SQLiteDB::GetInstance().DeleteTaskItem(known->second.GetFileId(), 2);
        const bool sameFile = facts.cloud && known->second.GetFileId() == facts.cloud->file.id;
        if (!sameFile) {
            SQLiteDB::SQLiteDB::GetInstance().DeleteDriveDataItem(known->second.GetFileId());
        }
    }
    ForgetPictures(entry);
    CloudEntry place;
    if (facts.cloud) {
        place = *facts.cloud;
    } else {
        place.file.id = NewLocalId();
    }
    place.file.fileName = entry.name;
    place.file.parentFolder = *parent;
    place.file.size = entry.facts.size;
    place.file.sha256.clear();
    place.file.thumbnailLink.clear();
    place.file.attachmentSize.clear();
    place.parentFolder = entry.parentFolder;
    uploads.Add(entry, RowOf(place, 11, L""), true);
}

}  // namespace Drive::Host
