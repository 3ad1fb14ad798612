// What stands in the root when a mount begins.
#include <algorithm>

#include "host/get/decide.h"
#include "host/mount/cloud_merge.h"
#include "host/mount/local_calls.h"
#include "interfaces/platform/text.h"

namespace Drive::Host {

using Platform::NarrowText;
using Platform::WidenText;

namespace {

std::string FolderOf(const std::string& path) {
    const std::size_t slash = path.rfind('/');
    return slash == std::string::npos ? "" : path.substr(0, slash);
}

std::string NameOf(const std::string& path) { return path.substr(path.rfind('/') + 1); }

}  // namespace

void CloudMerge::ReadFolder(const LocalEntry& entry) {
    const NodePtr folder = state.tree.At(FolderOf(entry.path));
    if (!folder || !folder->isFolder) {
        return;
    }
    const NodePtr there = state.tree.Child(*folder, NameOf(entry.path));
    if (!there) {
        Touch(state, state.tree.Add(*folder, NameOf(entry.path), true, {}));
    } else if (!there->isFolder) {
        tell(entry.path, "the cloud has a file where a folder stands in the root; move the folder away");
    }
}

// Places that were given here before the last mount ended. The root shows them already.
void CloudMerge::ApplyPlaces() {
    const std::unordered_map<std::string, Wish> wishes = state.wishes.All();
    std::vector<std::pair<std::string, std::string>> places;  // path and id
    for (const auto& [id, wish] : wishes) {
        if (!wish.removed) {
            places.emplace_back(wish.path, id);
        }
    }
    std::sort(places.begin(), places.end());
    for (const auto& [path, id] : places) {
        const NodePtr node = state.tree.ById(WidenText(id));
        const NodePtr folder = state.tree.At(FolderOf(path));
        const NodePtr there = folder ? state.tree.Child(*folder, NameOf(path)) : nullptr;
        if (!node || there == node || !folder || NodeTree::IsWithin(*folder, *node)) {
            state.wishes.Forget(id);
            continue;
        }
        if (there && (there->InCloud() || !there->isFolder || !node->isFolder)) {
            state.wishes.Forget(id);  // something else stands there now
            continue;
        }
        if (there) {
            // The folder of that name that was read from the root is this one.
            for (const std::map<std::string, NodePtr> children = there->children;
                 const auto& [name, child] : children) {
                if (!state.tree.Child(*node, name)) {
                    state.tree.Move(*child, *node, name);
                }
            }
            state.pending.erase(there);
            state.tree.Remove(*there);
        }
        state.tree.Move(*node, *folder, NameOf(path));
        Touch(state, node);
    }
}

// The cloud has nothing at that path.
void CloudMerge::ReadUnknownFile(const LocalEntry& entry) {
    const NodePtr folder = state.tree.At(FolderOf(entry.path));
    if (!folder || !folder->isFolder) {
        return;
    }
    if (const auto known = provedAt.find(entry.path); known != provedAt.end()) {
        const std::optional<ProvedFile> proved = state.records.Proved(known->second);
        const NodePtr node = state.tree.ById(WidenText(known->second));
        if (proved && StillProved(entry.facts, *proved)) {
            if (!node) {
                return Retire(entry.path);  // it was removed in the cloud
            }
            const std::string place = state.tree.PathOf(*node);
            const bool same = !node->here && NarrowText(node->cloud.contentVersion) == proved->contentVersion;
            if (same && Local::MakeParents(state.visible, place) == 0 &&
                Local::Rename(state.visible, entry.path, state.visible, place) == 0) {
                node->here = true;
                node->base = node->cloud.contentVersion;
                RememberProved(state, *node);
                return;
            }
        }
    }
    const NodePtr node = state.tree.Add(*folder, NameOf(entry.path), false, {});
    node->here = true;
    TouchContent(state, node);
}

// The cloud removed the file whose untouched content this is, and another has its name now.
bool CloudMerge::IsOfAnEarlierFile(const LocalEntry& entry) {
    const auto known = provedAt.find(entry.path);
    if (known == provedAt.end() || state.tree.ById(WidenText(known->second))) {
        return false;
    }
    const std::optional<ProvedFile> proved = state.records.Proved(known->second);
    return proved && StillProved(entry.facts, *proved);
}

void CloudMerge::ReadFile(const LocalEntry& entry) {
    const NodePtr node = state.tree.At(entry.path);
    if (!node) {
        return ReadUnknownFile(entry);
    }
    if (node->isFolder) {
        return tell(entry.path, "the cloud has a folder where a file stands in the root; move the file away");
    }
    if (IsOfAnEarlierFile(entry)) {
        return Retire(entry.path);
    }
    const std::optional<ProvedFile> proved = state.records.Proved(NarrowText(node->cloud.id));
    const bool ours = proved && proved->path == entry.path;
    const bool current = ours && proved->contentVersion == NarrowText(node->cloud.contentVersion);
    if (ours && StillProved(entry.facts, *proved)) {
        if (!current) {
            Local::Unlink(state.visible, entry.path);  // the cloud has a newer one
            return state.records.ForgetProved(NarrowText(node->cloud.id));
        }
        node->here = true;
        node->base = node->cloud.contentVersion;
        return;
    }
    node->here = true;
    node->base = ours ? WidenText(proved->contentVersion) : L"";
    TouchContent(state, node);
}

void CloudMerge::ReadRoot(const std::vector<LocalEntry>& entries) {
    const std::lock_guard lock(state.mutex);
    for (const auto& [id, proved] : state.records.AllProved()) {
        provedAt[proved.path] = id;
    }
    for (const LocalEntry& entry : entries) {
        if (entry.facts.kind == FileKind::Folder) {
            ReadFolder(entry);
        }
    }
    ApplyPlaces();
    for (const LocalEntry& entry : entries) {
        if (entry.facts.kind == FileKind::File) {
            ReadFile(entry);
        }
    }
    provedAt.clear();
}

}  // namespace Drive::Host
