#include "host/mount/mount_state.h"

#include <cerrno>

#include "host/get/decide.h"
#include "host/mount/local_calls.h"
#include "interfaces/platform/clock.h"
#include "interfaces/platform/native_path.h"
#include "interfaces/platform/text.h"

namespace Drive::Host {

using Platform::NarrowText;

std::wstring CloudPlace(const std::wstring& parentId, const std::wstring& fileName) {
    return parentId + L"\\" + fileName;
}

namespace {

std::string Below(const std::string& folder, const std::string& name) {
    return folder.empty() ? name : folder + "/" + name;
}

// A placeholder stands nowhere in the root, and a folder only when something in it was brought or made here.
int MoveInRoot(MountState& state, const Node& node, const std::string& from, const std::string& to) {
    if (!node.isFolder && !node.here) {
        return 0;
    }
    if (const int problem = Local::MakeParents(state.visible, to); problem != 0) {
        return problem;
    }
    const int problem = Local::Rename(state.visible, from, state.visible, to);
    return node.isFolder && problem == ENOENT ? 0 : problem;
}

// Files below that are known to hold the cloud's content go on being known.
void MoveProved(MountState& state, const Node& node) {
    for (const auto& [name, child] : node.children) {
        MoveProved(state, *child);
    }
    if (!node.here || !node.InCloud()) {
        return;
    }
    const std::string id = NarrowText(node.cloud.id);
    if (std::optional<ProvedFile> proved = state.records.Proved(id)) {
        proved->path = state.tree.PathOf(node);
        state.records.PutProved(id, *proved);
    }
}

}  // namespace

int MoveNode(MountState& state, const NodePtr& node, Node& folder, const std::string& name, bool wished) {
    const std::string from = state.tree.PathOf(*node);
    const std::string to = Below(state.tree.PathOf(folder), name);
    const std::string id = NarrowText(node->cloud.id);
    // What is wished for comes first: a kill in between leaves a wish that nothing in the root contradicts.
    if (node->isFolder) {
        state.wishes.MoveBelow(from, to);
    }
    if (wished && node->InCloud()) {
        state.wishes.PutPlace(id, to);
    }
    if (const int problem = MoveInRoot(state, *node, from, to); problem != 0) {
        if (node->isFolder) {
            state.wishes.MoveBelow(to, from);
        }
        if (wished && node->InCloud()) {
            state.wishes.PutPlace(id, from);
            state.pending.insert(node);  // which takes it back when nothing is to be done
        }
        return problem;
    }
    state.tree.Move(*node, folder, name);
    MoveProved(state, *node);
    return 0;
}

void Touch(MountState& state, const NodePtr& node) {
    node->changedAt = Platform::MonotonicMilliseconds();
    node->nextTry = 0;
    node->failures = 0;
    if (node->Linked()) {
        state.pending.insert(node);
        state.wake();
    }
}

void TouchContent(MountState& state, const NodePtr& node) {
    node->dirty = true;
    Touch(state, node);
}

void NoteRemoval(MountState& state, const Node& node) {
    if (node.InCloud()) {
        state.wishes.PutRemoval(NarrowText(node.cloud.id), NarrowText(node.cloud.contentVersion));
    }
}

bool IsLeaving(const MountState& state, const std::wstring& fileId) {
    for (const auto& [place, removal] : state.removals) {
        if (removal.cloud.id == fileId) {
            return true;
        }
    }
    const NodePtr node = state.tree.ById(fileId);
    return node && node->parent != nullptr &&
           (node->parent->cloud.id != node->cloud.parentFolder ||
            Platform::EngineName(node->name) != node->cloud.fileName);
}

void RemoveFromMount(MountState& state, const NodePtr& node) {
    const std::wstring place = CloudPlace(node->cloud.parentFolder, node->cloud.fileName);
    const bool inCloud = node->InCloud();
    NoteRemoval(state, *node);
    if (inCloud) {
        state.records.ForgetProved(NarrowText(node->cloud.id));
    }
    const NodePtr held = node;
    state.pending.erase(held);
    state.tree.Remove(*held);
    if (!inCloud) {
        return;
    }
    state.removals[place] = {held->cloud, 0, 0};
    const NodePtr folder = state.tree.ById(held->cloud.parentFolder);
    const NodePtr heir =
        folder ? state.tree.Child(*folder, Platform::NativePath(held->cloud.fileName)) : NodePtr(nullptr);
    if (heir) {
        TakeOverRemoved(state, heir);
    }
    state.wake();
}

void TakeOverRemoved(MountState& state, const NodePtr& node) {
    if (node->isFolder || node->InCloud() || node->sending || !node->parent->InCloud()) {
        return;
    }
    const auto found = state.removals.find(CloudPlace(node->parent->cloud.id, Platform::EngineName(node->name)));
    if (found == state.removals.end() || found->second.cloud.isFolder) {
        return;
    }
    state.tree.SetCloud(*node, found->second.cloud);
    node->base = node->cloud.contentVersion;
    state.wishes.Forget(NarrowText(node->cloud.id));
    state.removals.erase(found);
    RememberBase(state, *node);
    TouchContent(state, node);
}

bool RememberProved(MountState& state, const Node& node) {
    const std::string path = state.tree.PathOf(node);
    const FileFacts facts = state.visible.Look(path);
    if (facts.kind != FileKind::File) {
        return false;
    }
    state.records.PutProved(NarrowText(node.cloud.id), {path, facts.size, facts.changed, NarrowText(node.cloud.sha256),
                                                        NarrowText(node.cloud.contentVersion)});
    return true;
}

void RememberBase(MountState& state, const Node& node) {
    // No file looks like that: whoever finds the record knows the version and that the content is another.
    constexpr std::int64_t kNever = 0;
    state.records.PutProved(NarrowText(node.cloud.id), {state.tree.PathOf(node), node.cloud.size, kNever,
                                                        NarrowText(node.cloud.sha256), NarrowText(node.base)});
}

bool LooksProved(MountState& state, const Node& node) {
    const std::optional<ProvedFile> proved = state.records.Proved(NarrowText(node.cloud.id));
    const std::string path = state.tree.PathOf(node);
    return proved && proved->path == path && proved->contentVersion == NarrowText(node.cloud.contentVersion) &&
           StillProved(state.visible.Look(path), *proved);
}

}  // namespace Drive::Host
