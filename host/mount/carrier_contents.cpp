// Contents on their way to the cloud. What is sent stands under a second name in the staging tree, which is the
// engine's root here, so that renames and removals on the mount do not disturb it.
#include <utility>

#include "host/get/file_rows.h"
#include "host/module/stop_signal.h"
#include "host/mount/carrier.h"
#include "host/mount/local_calls.h"
#include "host/put/local_id.h"
#include "host/tree/read_digest.h"
#include "interfaces/cloud/drive_account.h"
#include "interfaces/common/file_helper.h"
#include "interfaces/common/globals.h"
#include "interfaces/database/sqlite_db.h"
#include "interfaces/database/sync_rows.h"
#include "interfaces/platform/clock.h"
#include "interfaces/platform/native_path.h"
#include "interfaces/platform/text.h"

namespace Drive::Host {

using Cloud::CallOutcome;
using Cloud::CloudFile;
using Cloud::DriveAccount;
using Platform::NarrowText;

namespace {

constexpr int kGone = 404;
constexpr std::int64_t kMoment = 1000;  // milliseconds
constexpr const char* kEmptySha256 = "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855";

std::wstring EngineFolder(const std::string& path) {
    const std::size_t slash = path.rfind('/');
    return slash == std::string::npos ? L"" : Platform::EnginePath(path.substr(0, slash + 1));
}

bool SameFacts(const FileFacts& one, const FileFacts& other) {
    return one.kind == other.kind && one.size == other.size && one.changed == other.changed;
}

}  // namespace

bool Carrier::HoldsContentOf(const NodePtr& node, const CloudFile& there) {
    std::string path;
    {
        const std::lock_guard lock(state.mutex);
        if (!node->Linked() || state.visible.Look(state.tree.PathOf(*node)).size != there.size) {
            return false;
        }
        path = state.tree.PathOf(*node);
    }
    return !there.sha256.empty() && ReadDigest(session.settings.root, path, StopRequested) == there.sha256;
}

// The cloud has exactly this. With the mutex held.
void Carrier::Clean(const NodePtr& node, const CloudFile& cloud) {
    CloudFile known = cloud;
    known.parentFolder = cloud.parentFolder.empty() ? node->parent->cloud.id : cloud.parentFolder;
    state.tree.SetCloud(*node, known);
    node->base = known.contentVersion;
    node->dirty = false;
    node->failures = 0;
    const std::string path = state.tree.PathOf(*node);
    RememberProved(state, *node);
    session.records.ForgetTrouble("path:" + path);
    SQLiteDB::SyncRows::PutFile(RowOf({known, EngineFolder(path), path, ""}, 1, known.sha256));
}

// Something that this content did not grow from stands at its place in the cloud.
void Carrier::AdoptOrMoveAside(const NodePtr& node, const CloudFile& there) {
    std::int64_t changedAt = 0;
    {
        const std::lock_guard lock(state.mutex);
        changedAt = node->changedAt;
    }
    const bool same = !there.isFolder && HoldsContentOf(node, there);
    bool aside = false;
    {
        const std::lock_guard lock(state.mutex);
        if (!node->Linked() || node->changedAt != changedAt || StopRequested()) {
            return;
        }
        if (node->cloud.id != there.id && IsLeaving(state, there.id)) {
            node->nextTry = Platform::MonotonicMilliseconds() + kMoment;  // its place will be free in a moment
            return;
        }
        if (same && !state.tree.ById(there.id)) {
            return Clean(node, there);
        }
        if (same && state.tree.ById(there.id) == node) {
            return Clean(node, there);
        }
        merge.MoveAside(node);
        aside = true;
    }
    if (aside) {
        services.refresh(true);
    }
}

void Carrier::SendVersion(const NodePtr& node, const CloudFile& known, UploadRun& uploads) {
    CloudFile there;
    const CallOutcome asked = DriveAccount::Get(known.id, there);
    if (!asked.ok && asked.status != kGone) {
        return Failed(node, asked.message);
    }
    if (!asked.ok || there.isDeleted) {
        const std::lock_guard lock(state.mutex);
        session.records.ForgetProved(NarrowText(known.id));
        state.tree.SetCloud(*node, {});
        node->base.clear();
        return Touch(state, node);
    }
    if (there.contentVersion != node->base) {
        return AdoptOrMoveAside(node, there);
    }
    if (HoldsContentOf(node, there)) {
        const std::lock_guard lock(state.mutex);
        return node->Linked() && node->writers == 0 ? Clean(node, there) : void();
    }
    Queue(node, uploads);
}

void Carrier::Send(const NodePtr& node, UploadRun& uploads) {
    CloudFile known;
    std::wstring parentId, name;
    {
        const std::lock_guard lock(state.mutex);
        if (!node->Linked()) {
            return;
        }
        known = node->cloud;
        parentId = node->parent->cloud.id;
        name = Platform::EngineName(node->name);
    }
    if (!known.id.empty()) {
        return SendVersion(node, known, uploads);
    }
    CloudFile there;
    const CallOutcome found = DriveAccount::Find(parentId, name, there);
    if (found.ok) {
        return AdoptOrMoveAside(node, there);
    }
    if (found.status != kGone) {
        return Failed(node, found.message);
    }
    Queue(node, uploads);
}

// The engine sends no empty files.
void Carrier::SendEmpty(const NodePtr& node, const std::wstring& parentId, const std::wstring& name,
                        const std::wstring& earlier) {
    if (!earlier.empty()) {
        if (const CallOutcome removed = DriveAccount::Delete(earlier); !removed.ok) {
            return Failed(node, removed.message);
        }
    }
    CloudFile file;
    const CallOutcome made = DriveAccount::CreateEmptyFile(parentId, name, file);
    if (!made.ok) {
        return Failed(node, made.message);
    }
    file.fileName = name;
    file.parentFolder = parentId;
    file.sha256 = file.sha256.empty() ? Platform::WidenText(kEmptySha256) : file.sha256;
    std::string path;
    {
        const std::lock_guard lock(state.mutex);
        session.records.ForgetProved(NarrowText(earlier));
        if (!node->Linked()) {
            state.wishes.PutRemoval(NarrowText(file.id), NarrowText(file.contentVersion));
            state.removals[CloudPlace(parentId, name)] = {file, 0, 0};
            return;
        }
        path = state.tree.PathOf(*node);
        if (state.visible.Look(path).size == 0 && node->writers == 0) {
            Clean(node, file);
        } else {
            state.tree.SetCloud(*node, file);
            node->base = file.contentVersion;
        }
    }
    services.tell(path, Result::EmptyMade, 0, "");
}

void Carrier::Queue(const NodePtr& node, UploadRun& uploads) {
    LocalEntry entry;
    Common::FileItem row;
    {
        std::unique_lock lock(state.mutex);
        if (!node->Linked() || node->writers > 0) {
            return;
        }
        const std::string path = state.tree.PathOf(*node);
        if (state.visible.Look(path).size == 0) {
            const std::wstring parentId = node->parent->cloud.id, name = Platform::EngineName(node->name);
            const std::wstring earlier = node->cloud.id;
            lock.unlock();
            return SendEmpty(node, parentId, name, earlier);
        }
        entry.path = ".send/" + std::to_string(++snapshots) + "/" + node->name;
        int problem = Local::MakeParents(state.staging, entry.path);
        problem = problem != 0 ? problem : Local::LinkOrCopy(state.visible, path, state.staging, entry.path);
        entry.facts = state.staging.Look(entry.path);
        if (problem != 0 || entry.facts.kind != FileKind::File) {
            node->nextTry = Platform::MonotonicMilliseconds() + 5000;
            return;
        }
        entry.parentFolder = EngineFolder(entry.path);
        entry.name = Platform::EngineName(node->name);
        CloudEntry place;
        place.file = node->cloud;
        place.file.id = node->InCloud() ? node->cloud.id : NewLocalId();
        place.file.fileName = entry.name;
        place.file.parentFolder = node->parent->cloud.id;
        place.file.size = entry.facts.size;
        place.file.sha256.clear();
        place.file.thumbnailLink.clear();
        place.file.attachmentSize.clear();
        place.parentFolder = entry.parentFolder;
        row = RowOf(place, 11, L"");
        node->sending = true;
        sending[entry.path] = {node, entry.facts, node->cloud.id};
    }
    uploads.AddNow(entry, row);
}

// The staged name, the pictures and the rows of that name have served.
void Carrier::Forget(const UploadRun::Job& job) {
    Local::RemoveAll(state.staging, job.entry.path.substr(0, job.entry.path.rfind('/')));
    for (const std::wstring& cache : {g_thumbnailFolder, g_lcdthumbnailFolder}) {
        Common::FileHepler::RemoveFile(cache + job.entry.parentFolder + job.entry.name + L".jpg");
    }
    session.records.ForgetSending(job.entry.path);
}

void Carrier::Sent(const UploadRun::Job& job) {
    const auto found = sending.find(job.entry.path);
    if (found == sending.end()) {
        return;
    }
    const Sending one = found->second;
    CloudFile file;
    const CallOutcome asked = DriveAccount::Get(job.cloudId, file);
    const bool good = asked.ok && !file.isDeleted && file.size == job.entry.facts.size &&
                      (file.sha256.empty() || file.sha256 == job.sha256);
    Forget(job);
    sending.erase(found);
    std::string path;
    {
        const std::lock_guard lock(state.mutex);
        one.node->sending = false;
        if (good && !one.node->Linked()) {
            // Removed here while it was sent: what has just come into being goes, too.
            std::erase_if(state.removals, [&](const auto& other) { return other.second.cloud.id == file.id; });
            state.wishes.PutRemoval(NarrowText(file.id), NarrowText(file.contentVersion));
            state.removals[CloudPlace(file.parentFolder, file.fileName)] = {file, 0, 0};
        }
        if (good && one.node->Linked()) {
            path = state.tree.PathOf(*one.node);
            const bool unchanged = SameFacts(state.visible.Look(path), job.entry.facts) && one.node->writers == 0;
            if (unchanged) {
                Clean(one.node, file);
            } else {
                state.tree.SetCloud(*one.node, file);
                one.node->base = file.contentVersion;
            }
        }
    }
    if (!good) {
        return Failed(one.node, asked.ok ? "the cloud holds another content than what was sent" : asked.message);
    }
    if (!path.empty()) {
        services.tell(path, Result::Uploaded, file.size, "");
    }
}

void Carrier::Settled(const UploadRun::Job& job, Result result, const std::string& message) {
    const auto found = sending.find(job.entry.path);
    if (found == sending.end()) {
        return;
    }
    const NodePtr node = found->second.node;
    sending.erase(found);
    Forget(job);
    SQLiteDB::SQLiteDB::GetInstance().DeleteTaskItem(job.row.GetFileId(), 2);
    {
        const std::lock_guard lock(state.mutex);
        node->sending = false;
    }
    if (result == Result::Failed) {
        std::string path;
        {
            const std::lock_guard lock(state.mutex);
            path = node->Linked() ? state.tree.PathOf(*node) : "";
        }
        services.tell(path.empty() ? job.entry.path : path, result, job.entry.facts.size, message);
        Failed(node, message);
    }
}

}  // namespace Drive::Host
