// What is told of a file and what can be set of it.
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <ctime>

#include "host/mount/file_operations.h"
#include "host/mount/local_calls.h"

namespace Drive::Host {
namespace {

constexpr mode_t kModes = 07777;

void SetAllTimes(struct stat& facts, std::int64_t seconds) {
    facts.st_mtim = facts.st_ctim = facts.st_atim = {static_cast<time_t>(seconds), 0};
}

}  // namespace

int FileOperations::Fill(const Node& node, struct stat& facts) const {
    facts = {};
    int problem = ENOENT;
    if (const std::shared_ptr<OpenFile> open = node.open.lock(); open && !node.Linked()) {
        problem = fstat(open->Number(), &facts) == 0 ? 0 : errno;
    } else if (node.Linked() && (node.isFolder || node.here)) {
        problem = Local::Stat(state.visible, state.tree.PathOf(node), facts);
    }
    const bool found = problem == 0 && (node.isFolder ? S_ISDIR(facts.st_mode) : S_ISREG(facts.st_mode));
    if (!found) {
        facts = {};
        facts.st_mode = node.isFolder ? 0755 : 0644;
        facts.st_uid = getuid();
        facts.st_gid = getgid();
        facts.st_size = node.isFolder ? 0 : node.cloud.size;
        SetAllTimes(facts, node.shownTime != 0 ? node.shownTime : node.cloud.editedTime);
    }
    facts.st_mode = (node.isFolder ? S_IFDIR : S_IFREG) | (facts.st_mode & kModes);
    facts.st_nlink = node.isFolder ? 2 : node.Linked() ? 1 : 0;
    facts.st_ino = node.number;
    return 0;
}

int FileOperations::Attributes(std::uint64_t number, struct stat& facts) {
    const std::lock_guard lock(state.mutex);
    const NodePtr node = state.tree.ByNumber(number);
    return node ? Fill(*node, facts) : ENOENT;
}

int FileOperations::SetSize(const NodePtr& node, std::int64_t size, const Caller& caller) {
    if (size > state.largestFile) {
        return EFBIG;
    }
    if (size == 0) {
        const std::lock_guard lock(state.mutex);
        if (!node->here && node->Linked()) {
            return MakeEmptyHere(node);  // what is thrown away need not be brought
        }
    }
    std::unique_ptr<Handle> handle;
    if (const int problem = Open(node->number, O_RDWR, caller, handle); problem != 0) {
        return problem;
    }
    int problem = MakeWritable(*handle, caller);
    if (problem == 0) {
        const std::lock_guard lock(state.mutex);
        TouchContent(state, node);
        problem = ftruncate(handle->file->Number(), size) == 0 ? 0 : errno;
    }
    Release(*handle);
    return problem;
}

int FileOperations::Change(std::uint64_t number, const AttributeChange& change, const Caller& caller,
                           struct stat& facts) {
    std::unique_lock lock(state.mutex);
    const NodePtr node = state.tree.ByNumber(number);
    if (!node) {
        return ENOENT;
    }
    if (change.setsSize) {
        lock.unlock();
        if (const int problem = SetSize(node, change.size, caller); problem != 0) {
            return problem;
        }
        lock.lock();
    }
    const std::string path = node->Linked() ? state.tree.PathOf(*node) : "";
    const bool inRoot = node->Linked() && (node->isFolder || node->here);
    int problem = 0;
    // Modes, owners and the times of a placeholder do not travel: there is nowhere to keep them.
    if (change.setsMode && inRoot) {
        problem = Local::SetMode(state.visible, path, change.mode & kModes);
    }
    if (problem == 0 && change.setsOwner && inRoot) {
        problem = Local::SetOwner(state.visible, path, change.user, change.group);
    }
    if (problem == 0 && change.setsTimes && inRoot) {
        const bool proved = node->here && !node->dirty && node->InCloud();
        problem = Local::SetTimes(state.visible, path, change.times);
        if (problem == 0 && proved) {
            RememberProved(state, *node);  // another time, and still the same content
        }
    } else if (change.setsTimes && change.times[1].tv_nsec != UTIME_OMIT) {
        node->shownTime = change.times[1].tv_nsec == UTIME_NOW ? std::time(nullptr) : change.times[1].tv_sec;
    }
    // A folder need not stand in the root.
    problem = node->isFolder && problem == ENOENT ? 0 : problem;
    return problem != 0 ? problem : Fill(*node, facts);
}

int FileOperations::Space(struct statvfs& facts) {
    return statvfs(state.visible.Root().c_str(), &facts) == 0 ? 0 : errno;
}

}  // namespace Drive::Host
