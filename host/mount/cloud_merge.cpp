// What the cloud lists. What stands in the root is in root_merge.cpp.
#include "host/mount/cloud_merge.h"

#include <algorithm>

#include "host/get/decide.h"
#include "host/get/placement.h"
#include "host/mount/local_calls.h"
#include "interfaces/platform/clock.h"
#include "interfaces/platform/native_path.h"
#include "interfaces/platform/text.h"

namespace Drive::Host {

using Platform::NarrowText;

namespace {

constexpr int kAsideAttempts = 100;

std::string NameOf(const std::string& path) { return path.substr(path.rfind('/') + 1); }

// Its place was changed here, and the cloud does not know of that yet.
bool MovedHere(const Node& node) {
    return node.parent->cloud.id != node.cloud.parentFolder || Platform::EngineName(node.name) != node.cloud.fileName;
}

bool SameContent(const Cloud::CloudFile& one, const Cloud::CloudFile& other) {
    return one.contentVersion == other.contentVersion && one.size == other.size && one.sha256 == other.sha256;
}

}  // namespace

void CloudMerge::Retire(const std::string& path) {
    const std::string place = ".removed/" + std::to_string(Platform::UnixTimeSeconds()) + "-" +
                              std::to_string(++retired) + "/" + NameOf(path);
    Local::MakeParents(state.staging, place);
    Local::Rename(state.visible, path, state.staging, place);
}

void CloudMerge::MoveAside(const NodePtr& node) {
    const std::string path = state.tree.PathOf(*node);
    const std::int64_t now = Platform::UnixTimeSeconds();
    for (int attempt = 0; attempt < kAsideAttempts; ++attempt) {
        const std::string name = AsideName(node->name, now, attempt);
        if (state.tree.Child(*node->parent, name) || MoveNode(state, node, *node->parent, name, node->isFolder) != 0) {
            continue;
        }
        if (!node->isFolder) {
            const std::string id = NarrowText(node->cloud.id);
            state.records.ForgetProved(id);
            state.wishes.Forget(id);
            state.tree.SetCloud(*node, {});
            node->base.clear();
            node->dirty = true;
        }
        Touch(state, node);
        tell(path, "changed here and in the cloud; the one from here is now " + name);
        return;
    }
}

void CloudMerge::FollowPlace(const NodePtr& node, const CloudEntry& entry) {
    const NodePtr folder = state.tree.ById(entry.file.parentFolder);
    if (!folder || NodeTree::IsWithin(*folder, *node)) {
        return;
    }
    const std::string name = NameOf(entry.path);
    const NodePtr there = state.tree.Child(*folder, name);
    if (there && there != node && (there->InCloud() || there->sending)) {
        return;  // it will have moved by the next list
    }
    if (there && there != node) {
        MoveAside(there);
    }
    if (!state.tree.Child(*folder, name) && MoveNode(state, node, *folder, name, false) == 0) {
        Cloud::CloudFile cloud = node->cloud;
        cloud.parentFolder = entry.file.parentFolder;
        cloud.fileName = entry.file.fileName;
        state.tree.SetCloud(*node, cloud);
    }
}

void CloudMerge::FollowContent(const NodePtr& node, const CloudEntry& entry) {
    const bool clean = !node->here || (!node->dirty && node->writers == 0 && LooksProved(state, *node));
    Cloud::CloudFile file = entry.file;
    file.parentFolder = node->cloud.parentFolder;
    file.fileName = node->cloud.fileName;
    if (!clean) {
        state.tree.SetCloud(*node, file);  // the base stays: the carrier sees that both sides went on
        return TouchContent(state, node);
    }
    if (node->here) {
        Local::Unlink(state.visible, state.tree.PathOf(*node));
        state.records.ForgetProved(NarrowText(node->cloud.id));
    }
    // Whoever has the earlier version open goes on reading it.
    Node& folder = *node->parent;
    const std::string name = node->name;
    const bool pending = state.pending.erase(node) != 0;
    state.tree.Remove(*node);
    const NodePtr fresh = state.tree.Add(folder, name, false, file);
    if (pending) {
        Touch(state, fresh);
    }
}

void CloudMerge::MergeKnown(const NodePtr& node, const CloudEntry& entry) {
    if (node->sending || node->isFolder != entry.file.isFolder) {
        return;
    }
    const bool moved =
        entry.file.parentFolder != node->cloud.parentFolder || entry.file.fileName != node->cloud.fileName;
    if (moved && !MovedHere(*node)) {
        FollowPlace(node, entry);
    }
    if (!node->isFolder && !SameContent(node->cloud, entry.file)) {
        FollowContent(node, entry);
    }
}

// Removed here and still in the cloud. A content that was not seen when it was removed brings the entry back.
bool CloudMerge::HiddenByRemoval(const CloudEntry& entry) {
    const auto found = std::find_if(state.removals.begin(), state.removals.end(),
                                    [&](const auto& one) { return one.second.cloud.id == entry.file.id; });
    if (found == state.removals.end()) {
        return false;
    }
    if (!entry.file.isFolder && found->second.cloud.contentVersion != entry.file.contentVersion) {
        state.removals.erase(found);
        state.wishes.Forget(NarrowText(entry.file.id));
        tell(entry.path, "removed here, but changed in the cloud meanwhile; it stays");
        return false;
    }
    Removal removal = found->second;
    removal.cloud = entry.file;
    state.removals.erase(found);
    state.removals[CloudPlace(entry.file.parentFolder, entry.file.fileName)] = removal;
    return true;
}

// False when what stands there is to stay as it is, and the entry waits.
bool CloudMerge::MakeRoom(const NodePtr& there, const CloudEntry& entry) {
    if (there->sending) {
        return false;  // the entry may be what is being sent
    }
    if (there->isFolder && entry.file.isFolder && !there->InCloud()) {
        state.tree.SetCloud(*there, entry.file);
        return false;
    }
    if (there->InCloud()) {
        const std::string name = AsideName(there->name, Platform::UnixTimeSeconds(), 0);
        if (MoveNode(state, there, *there->parent, name, true) == 0) {
            Touch(state, there);
        }
    } else {
        MoveAside(there);
    }
    return true;
}

void CloudMerge::MergeNew(const CloudEntry& entry) {
    const NodePtr folder = state.tree.ById(entry.file.parentFolder);
    if (!folder || !folder->isFolder) {
        return;
    }
    const std::string name = NameOf(entry.path);
    const NodePtr there = state.tree.Child(*folder, name);
    if (!there || (MakeRoom(there, entry) && !state.tree.Child(*folder, name))) {
        state.tree.Add(*folder, name, entry.file.isFolder, entry.file);
    }
}

// A folder that was removed here and holds something that was not seen then stays. True when one does.
bool CloudMerge::KeepFoldersWithNews(const std::vector<CloudEntry>& entries, const Ids& hidden) {
    std::unordered_map<std::wstring, const CloudEntry*> byId;
    for (const CloudEntry& entry : entries) {
        byId[entry.file.id] = &entry;
    }
    bool any = false;
    for (const CloudEntry& entry : entries) {
        if (hidden.count(entry.file.id) != 0 || state.tree.ById(entry.file.id)) {
            continue;
        }
        for (auto at = byId.find(entry.file.parentFolder); at != byId.end() && hidden.count(at->first) != 0;
             at = byId.find(at->second->file.parentFolder)) {
            const std::wstring place = CloudPlace(at->second->file.parentFolder, at->second->file.fileName);
            if (state.removals.erase(place) != 0) {
                state.wishes.Forget(NarrowText(at->first));
                tell(at->second->path, "removed here, but something new is in it; it stays");
                any = true;
            }
        }
    }
    return any;
}

void CloudMerge::DropGoneNode(const NodePtr& node) {
    const std::string path = state.tree.PathOf(*node);
    const std::string id = NarrowText(node->cloud.id);
    const bool clean = node->isFolder
                           ? node->children.empty() && Local::RemoveFolder(state.visible, path) == 0
                           : !node->here || (!node->dirty && node->writers == 0 && LooksProved(state, *node));
    state.wishes.Forget(id);
    if (clean) {
        if (node->here) {
            Retire(path);
        }
        state.records.ForgetProved(id);
        state.pending.erase(node);
        return state.tree.Remove(*node);
    }
    // Something of it is only here: it becomes a new entry of the cloud.
    state.records.ForgetProved(id);
    state.tree.SetCloud(*node, {});
    node->base.clear();
    node->isFolder ? Touch(state, node) : TouchContent(state, node);
}

void CloudMerge::DropGone(const NodePtr& folder, const Ids& listed) {
    const std::map<std::string, NodePtr> children = folder->children;
    for (const auto& [name, child] : children) {
        if (child->isFolder) {
            DropGone(child, listed);
        }
        if (child->InCloud() && !child->sending && listed.count(child->cloud.id) == 0) {
            DropGoneNode(child);
        }
    }
}

bool CloudMerge::ListOnce(const std::vector<CloudEntry>& entries) {
    Ids listed, hidden;
    for (const CloudEntry& entry : entries) {
        listed.insert(entry.file.id);
        if (!entry.refusal.empty()) {
            continue;
        }
        if (const NodePtr node = state.tree.ById(entry.file.id)) {
            MergeKnown(node, entry);
        } else if (HiddenByRemoval(entry)) {
            hidden.insert(entry.file.id);
        } else {
            MergeNew(entry);
        }
    }
    // A removal that somebody else carried out, too.
    for (auto removal = state.removals.begin(); removal != state.removals.end();) {
        const bool gone = listed.count(removal->second.cloud.id) == 0;
        if (gone) {
            state.wishes.Forget(NarrowText(removal->second.cloud.id));
        }
        removal = gone ? state.removals.erase(removal) : std::next(removal);
    }
    DropGone(state.tree.Root(), listed);
    return KeepFoldersWithNews(entries, hidden);
}

void CloudMerge::List(const std::vector<CloudEntry>& entries) {
    const std::lock_guard lock(state.mutex);
    if (std::exchange(first, false)) {
        for (const auto& [id, wish] : state.wishes.All()) {
            if (wish.removed) {
                Removal removal;
                removal.cloud.id = Platform::WidenText(id);
                removal.cloud.contentVersion = Platform::WidenText(wish.version);
                state.removals[L"\\" + removal.cloud.id] = removal;
            }
        }
    }
    if (ListOnce(entries)) {
        ListOnce(entries);
    }
}

}  // namespace Drive::Host
