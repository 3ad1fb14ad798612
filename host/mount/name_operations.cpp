// Names: making, removing and renaming.
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

#include "host/mount/file_operations.h"
#include "host/mount/local_calls.h"
#include "interfaces/platform/native_path.h"

namespace Drive::Host {
namespace {

constexpr std::size_t kLongestName = 255;  // bytes

std::string Below(const std::string& folder, const std::string& name) {
    return folder.empty() ? name : folder + "/" + name;
}

}  // namespace

int FileOperations::FolderOf(std::uint64_t number, NodePtr& folder) const {
    folder = state.tree.ByNumber(number);
    return !folder ? ENOENT : folder->isFolder ? 0 : ENOTDIR;
}

// What the cloud would not take is refused here: a file that cannot go up should not seem to be safe.
int FileOperations::CheckNewName(const std::string& name) const {
    const bool tooLong =
        name.size() > kLongestName || static_cast<int>(Platform::EngineName(name).size()) > state.longestName;
    return tooLong ? ENAMETOOLONG : 0;
}

int FileOperations::Look(std::uint64_t number, const std::string& name, struct stat& facts) {
    const std::lock_guard lock(state.mutex);
    NodePtr folder;
    if (const int problem = FolderOf(number, folder); problem != 0) {
        return problem;
    }
    const NodePtr node = state.tree.Child(*folder, name);
    if (!node) {
        return name.size() > kLongestName ? ENAMETOOLONG : ENOENT;
    }
    const int problem = Fill(*node, facts);
    if (problem == 0) {
        state.tree.Remember(node);
    }
    return problem;
}

void FileOperations::Forget(std::uint64_t number, std::uint64_t lookups) {
    const std::lock_guard lock(state.mutex);
    state.tree.Forget(number, lookups);
}

int FileOperations::Names(std::uint64_t number, std::vector<ListedName>& names) {
    const std::lock_guard lock(state.mutex);
    NodePtr folder;
    if (const int problem = FolderOf(number, folder); problem != 0) {
        return problem;
    }
    names.push_back({".", folder->number, true});
    names.push_back({"..", folder->parent != nullptr ? folder->parent->number : folder->number, true});
    for (const auto& [name, child] : folder->children) {
        names.push_back({name, child->number, child->isFolder});
    }
    return 0;
}

int FileOperations::Create(std::uint64_t number, const std::string& name, mode_t mode, int flags,
                           std::unique_ptr<Handle>& handle, struct stat& facts) {
    const std::lock_guard lock(state.mutex);
    NodePtr folder;
    if (const int problem = FolderOf(number, folder); problem != 0) {
        return problem;
    }
    if (const NodePtr there = state.tree.Child(*folder, name)) {
        if ((flags & O_EXCL) != 0) {
            return EEXIST;
        }
        const int problem = OpenNode(there, flags, true, handle);
        if (problem == 0) {
            state.tree.Remember(there);
        }
        return problem != 0 ? problem : Fill(*there, facts);
    }
    if (const int problem = CheckNewName(name); problem != 0) {
        return problem;
    }
    const std::string path = Below(state.tree.PathOf(*folder), name);
    int descriptor = -1;
    int problem = Local::MakeParents(state.visible, path);
    problem =
        problem != 0 ? problem : Local::Open(state.visible, path, O_RDWR | O_CREAT | O_EXCL, mode & 07777, descriptor);
    if (problem != 0) {
        return problem;
    }
    auto made = std::make_unique<Handle>();
    made->file = std::make_shared<OpenFile>(descriptor);
    made->writes = made->writable = true;
    const NodePtr node = state.tree.Add(*folder, name, false, {});
    made->node = node;
    node->open = made->file;
    node->here = true;
    ++node->writers;
    TouchContent(state, node);
    TakeOverRemoved(state, node);
    problem = Fill(*node, facts);
    state.tree.Remember(node);
    handle = std::move(made);
    return problem;
}

int FileOperations::MakeFolder(std::uint64_t number, const std::string& name, mode_t mode, struct stat& facts) {
    const std::lock_guard lock(state.mutex);
    NodePtr folder;
    if (const int problem = FolderOf(number, folder); problem != 0) {
        return problem;
    }
    if (state.tree.Child(*folder, name)) {
        return EEXIST;
    }
    if (const int problem = CheckNewName(name); problem != 0) {
        return problem;
    }
    const std::string path = Below(state.tree.PathOf(*folder), name);
    int problem = Local::MakeParents(state.visible, path);
    problem = problem != 0 ? problem : Local::MakeFolder(state.visible, path, mode & 07777);
    if (problem != 0) {
        return problem;
    }
    const NodePtr node = state.tree.Add(*folder, name, true, {});
    Touch(state, node);
    state.tree.Remember(node);
    return Fill(*node, facts);
}

int FileOperations::RemoveFile(std::uint64_t number, const std::string& name) {
    const std::lock_guard lock(state.mutex);
    NodePtr folder;
    if (const int problem = FolderOf(number, folder); problem != 0) {
        return problem;
    }
    const NodePtr node = state.tree.Child(*folder, name);
    if (!node || node->isFolder) {
        return node ? EISDIR : ENOENT;
    }
    NoteRemoval(state, *node);
    if (node->here) {
        if (const int problem = Local::Unlink(state.visible, state.tree.PathOf(*node)); problem != 0) {
            Touch(state, node);  // which takes the noted removal back
            return problem;
        }
    }
    RemoveFromMount(state, node);
    return 0;
}

int FileOperations::RemoveFolder(std::uint64_t number, const std::string& name) {
    const std::lock_guard lock(state.mutex);
    NodePtr folder;
    if (const int problem = FolderOf(number, folder); problem != 0) {
        return problem;
    }
    const NodePtr node = state.tree.Child(*folder, name);
    if (!node || !node->isFolder) {
        return node ? ENOTDIR : ENOENT;
    }
    if (!node->children.empty()) {
        return ENOTEMPTY;
    }
    // What stands in the root and is not shown, such as a link, keeps the folder.
    const int problem = Local::RemoveFolder(state.visible, state.tree.PathOf(*node));
    if (problem == 0) {
        RemoveFromMount(state, node);
    }
    return problem;
}

// Makes the place free. A new file takes over the cloud's entry, so that it goes up as a new version of it.
int FileOperations::ReplaceTarget(const NodePtr& source, const NodePtr& target) {
    if (target->isFolder != source->isFolder) {
        return target->isFolder ? EISDIR : ENOTDIR;
    }
    if (!target->children.empty()) {
        return ENOTEMPTY;
    }
    const std::string path = state.tree.PathOf(*target);
    if (target->isFolder) {
        if (const int problem = Local::RemoveFolder(state.visible, path); problem != 0) {
            return problem;
        }
    } else if (target->here && !source->here) {
        if (const int problem = Local::Unlink(state.visible, path); problem != 0) {
            return problem;
        }
    }
    const bool takesOver = !source->isFolder && !source->InCloud() && !source->sending && target->InCloud();
    if (!takesOver) {
        RemoveFromMount(state, target);
        return 0;
    }
    const Cloud::CloudFile cloud = target->cloud;
    source->base = target->here ? target->base : cloud.contentVersion;
    state.pending.erase(target);
    state.tree.Remove(*target);
    state.tree.SetCloud(*source, cloud);
    RememberBase(state, *source);  // the move that follows puts its path right
    TouchContent(state, source);
    return 0;
}

int FileOperations::Rename(std::uint64_t number, const std::string& name, std::uint64_t newNumber,
                           const std::string& newName, bool mayReplace) {
    const std::lock_guard lock(state.mutex);
    NodePtr folder, newFolder;
    int problem = FolderOf(number, folder);
    problem = problem != 0 ? problem : FolderOf(newNumber, newFolder);
    if (problem != 0) {
        return problem;
    }
    const NodePtr source = state.tree.Child(*folder, name);
    const NodePtr target = state.tree.Child(*newFolder, newName);
    if (!source || source == target) {
        return source ? 0 : ENOENT;
    }
    if (target && !mayReplace) {
        return EEXIST;
    }
    if (source->isFolder && NodeTree::IsWithin(*newFolder, *source)) {
        return EINVAL;
    }
    problem = CheckNewName(newName);
    if (problem == 0 && target) {
        problem = ReplaceTarget(source, target);
    }
    problem = problem != 0 ? problem : MoveNode(state, source, *newFolder, newName, true);
    if (problem != 0) {
        return problem;
    }
    Touch(state, source);
    TakeOverRemoved(state, source);
    return 0;
}

}  // namespace Drive::Host
