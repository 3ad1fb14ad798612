// Removals, folders and places. The contents are in carrier_contents.cpp.
#include "host/mount/carrier.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "host/get/back_off.h"
#include "interfaces/cloud/drive_account.h"
#include "interfaces/logging/sync_panel_log.h"
#include "interfaces/platform/clock.h"
#include "interfaces/platform/native_path.h"
#include "interfaces/platform/text.h"

namespace Drive::Host {

using Cloud::CallOutcome;
using Cloud::DriveAccount;
using Platform::NarrowText;

namespace {

constexpr std::int64_t kQuiet = 1000;     // milliseconds without a change before it is carried
constexpr std::int64_t kTurnTakes = 300;  // milliseconds; fetches wait that long at most
constexpr int kGone = 404;
constexpr int kTaken = 409;

}  // namespace

Carrier::Carrier(Session& session, MountState& state, CloudMerge& merge, Services services)
    : session(session), state(state), merge(merge), services(std::move(services)) {}

bool Carrier::Idle() {
    const std::lock_guard lock(state.mutex);
    return state.pending.empty() && state.removals.empty() && sending.empty();
}

bool Carrier::BeingSent(const std::wstring& fileId) const {
    for (const auto& [path, one] : sending) {
        if (one.cloudId == fileId) {
            return true;
        }
    }
    return false;
}

// The cloud removes a folder with all that it holds.
void Carrier::ForgetRemovalsBelow(const std::wstring& folderId) {
    for (bool any = true; any;) {
        any = false;
        for (const auto& [place, removal] : state.removals) {
            if (removal.cloud.parentFolder == folderId) {
                const Cloud::CloudFile cloud = removal.cloud;
                state.wishes.Forget(NarrowText(cloud.id));
                state.removals.erase(place);
                if (cloud.isFolder) {
                    ForgetRemovalsBelow(cloud.id);
                }
                any = true;
                break;
            }
        }
    }
}

void Carrier::RemoveOne(const std::wstring& place, const Removal& removal) {
    const CallOutcome removed = DriveAccount::Delete(removal.cloud.id);
    const std::lock_guard lock(state.mutex);
    const auto found = state.removals.find(place);
    if (found == state.removals.end() || found->second.cloud.id != removal.cloud.id) {
        return;  // taken over by a new file while it was removed: that one finds the entry gone and is sent as new
    }
    if (removed.ok || removed.status == kGone) {
        state.removals.erase(found);
        state.wishes.Forget(NarrowText(removal.cloud.id));
        if (removal.cloud.isFolder) {
            ForgetRemovalsBelow(removal.cloud.id);
        }
        return;
    }
    found->second.nextTry = Platform::MonotonicMilliseconds() + WaitAfter(++found->second.failures);
    SyncPanelLog::WriteErrorLog("Mount", "RemoveOne",
                                "cannot remove " + NarrowText(removal.cloud.fileName) + ": " + removed.message);
}

// Just before something is removed there, the cloud is asked what it holds: nothing goes that was not seen here.
void Carrier::RemoveDue(std::int64_t now) {
    const auto due = [&](const Removal& removal) {
        const bool withFolder = std::any_of(state.removals.begin(), state.removals.end(), [&](const auto& other) {
            return other.second.cloud.isFolder && other.second.cloud.id == removal.cloud.parentFolder;
        });
        return removal.nextTry <= now && !withFolder && !BeingSent(removal.cloud.id);
    };
    std::vector<std::pair<std::wstring, Removal>> all;
    {
        const std::lock_guard lock(state.mutex);
        if (std::none_of(state.removals.begin(), state.removals.end(),
                         [&](const auto& one) { return due(one.second); })) {
            return;
        }
    }
    if (!services.refresh(false)) {
        return;
    }
    {
        const std::lock_guard lock(state.mutex);
        for (const auto& [place, removal] : state.removals) {
            if (due(removal)) {
                all.emplace_back(place, removal);
            }
        }
    }
    for (const auto& [place, removal] : all) {
        if (Platform::MonotonicMilliseconds() - now > kTurnTakes) {
            return;
        }
        RemoveOne(place, removal);
    }
}

// With the mutex held.
Carrier::Step Carrier::Decide(const NodePtr& node, std::int64_t now) {
    if (!node->Linked()) {
        return Step::Nothing;
    }
    if (node->sending || now < node->nextTry || now - node->changedAt < kQuiet || !node->parent->InCloud()) {
        return Step::Later;
    }
    if (node->isFolder && !node->InCloud()) {
        return Step::MakeFolder;
    }
    const bool elsewhere =
        node->parent->cloud.id != node->cloud.parentFolder || Platform::EngineName(node->name) != node->cloud.fileName;
    if (node->InCloud() && elsewhere) {
        return Step::Place;
    }
    if (node->isFolder || !node->dirty) {
        return Step::Nothing;
    }
    return node->writers > 0 ? Step::Later : Step::Send;
}

void Carrier::Turn(UploadRun& uploads) {
    const std::int64_t now = Platform::MonotonicMilliseconds();
    RemoveDue(now);
    std::vector<NodePtr> nodes;
    {
        const std::lock_guard lock(state.mutex);
        nodes.assign(state.pending.begin(), state.pending.end());
    }
    for (const NodePtr& node : nodes) {
        if (Platform::MonotonicMilliseconds() - now > kTurnTakes) {
            return;
        }
        Step step = Step::Nothing;
        {
            const std::lock_guard lock(state.mutex);
            step = Decide(node, now);
            if (step == Step::Nothing) {
                state.pending.erase(node);
                if (node->Linked() && node->InCloud()) {
                    state.wishes.Forget(NarrowText(node->cloud.id));
                }
            }
        }
        Perform(node, step, uploads);
    }
}

void Carrier::Perform(const NodePtr& node, Step step, UploadRun& uploads) {
    switch (step) {
        case Step::Nothing:
        case Step::Later:
            return;
        case Step::MakeFolder:
            return MakeFolder(node);
        case Step::Place:
            return Place(node);
        case Step::Send:
            return Send(node, uploads);
    }
}

void Carrier::Failed(const NodePtr& node, const std::string& why) {
    std::string path;
    {
        const std::lock_guard lock(state.mutex);
        node->nextTry = Platform::MonotonicMilliseconds() + WaitAfter(++node->failures);
        if (!node->Linked()) {
            return;
        }
        path = state.tree.PathOf(*node);
        session.records.PutTrouble({"path:" + path, path, "failed", why, Platform::UnixTimeSeconds()});
    }
    SyncPanelLog::WriteErrorLog("Mount", "Carry", path + ": " + why);
}

void Carrier::MakeFolder(const NodePtr& node) {
    std::wstring parentId, name;
    {
        const std::lock_guard lock(state.mutex);
        if (!node->Linked()) {
            return;
        }
        parentId = node->parent->cloud.id;
        name = Platform::EngineName(node->name);
        if (state.removals.count(CloudPlace(parentId, name)) != 0) {
            return;  // once what stood there is gone
        }
    }
    Cloud::CloudFile folder;
    const CallOutcome made = DriveAccount::CreateFolder(parentId, name, folder);
    if (!made.ok) {
        if (made.status == kTaken) {
            services.refresh(false);
        }
        return Failed(node, made.message);
    }
    folder.fileName = name;
    folder.parentFolder = parentId;
    folder.isFolder = true;
    std::string path;
    {
        const std::lock_guard lock(state.mutex);
        if (!node->Linked()) {
            state.wishes.PutRemoval(NarrowText(folder.id), "");
            state.removals[CloudPlace(parentId, name)] = {folder, 0, 0};
            return;
        }
        if (const NodePtr other = state.tree.ById(folder.id); other && other != node) {
            node->nextTry = Platform::MonotonicMilliseconds() + kQuiet;  // it stood there, and is about to move away
            return;
        }
        state.tree.SetCloud(*node, folder);
        node->failures = 0;
        path = state.tree.PathOf(*node);
        session.records.ForgetTrouble("path:" + path);
    }
    services.tell(path, Result::FolderMade, 0, "");
}

bool Carrier::GiveName(const NodePtr& node, Cloud::CloudFile& cloud, const std::wstring& name, bool& broken) {
    Cloud::CloudFile answer;
    const CallOutcome renamed = DriveAccount::Rename(cloud.id, name, answer);
    if (renamed.ok) {
        cloud.fileName = name;
        return true;
    }
    if (renamed.status != kTaken) {
        Failed(node, renamed.message);
        broken = true;
    }
    return false;
}

// One call changes the name and one the folder, and in between the entry may stand where another one does. Then it
// takes the way by a name that nobody has.
void Carrier::Place(const NodePtr& node) {
    std::wstring parentId, name;
    Cloud::CloudFile cloud;
    {
        const std::lock_guard lock(state.mutex);
        if (!node->Linked()) {
            return;
        }
        parentId = node->parent->cloud.id;
        name = Platform::EngineName(node->name);
        cloud = node->cloud;
    }
    bool broken = false;  // a failure that is told already
    bool good = cloud.fileName == name || GiveName(node, cloud, name, broken);
    if (good && cloud.parentFolder != parentId) {
        Cloud::CloudFile answer;
        const CallOutcome moved = DriveAccount::Move(cloud.id, parentId, answer);
        good = moved.ok;
        cloud.parentFolder = good ? parentId : cloud.parentFolder;
        if (!good && moved.status != kTaken) {
            Failed(node, moved.message);
            broken = true;
        }
    }
    if (!good && !broken) {
        // The name is taken: by an entry that is about to move as well, or by one that the next list shows.
        services.refresh(false);
        if (cloud.fileName.rfind(L".moving-", 0) != 0) {
            GiveName(node, cloud, L".moving-" + cloud.id.substr(0, 40), broken);
        }
    }
    const std::lock_guard lock(state.mutex);
    if (!node->Linked()) {
        return;
    }
    Cloud::CloudFile now = node->cloud;
    now.fileName = cloud.fileName;
    now.parentFolder = cloud.parentFolder;
    state.tree.SetCloud(*node, now);
    if (good) {
        node->failures = 0;
        session.records.ForgetTrouble("path:" + state.tree.PathOf(*node));
    } else if (!broken) {
        node->nextTry = Platform::MonotonicMilliseconds() + kQuiet;
    }
}

}  // namespace Drive::Host
