#include "collaborators/common/digest_memory.h"

#include <linux/magic.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <algorithm>
#include <ctime>

namespace Drive::Common {

namespace {

constexpr std::int64_t kNanoseconds = 1'000'000'000;
constexpr std::int64_t kSettled = 2 * kNanoseconds;
constexpr long kXfsMagic = 0x58465342;

std::int64_t InNanoseconds(const timespec& time) { return time.tv_sec * kNanoseconds + time.tv_nsec; }

/// File systems of this machine that write the times of a file with every change, also one through a mapping.
bool KeepsTimes(int file) {
    struct statfs volume {};
    if (fstatfs(file, &volume) != 0) {
        return false;
    }
    switch (volume.f_type) {
        case EXT4_SUPER_MAGIC:
        case BTRFS_SUPER_MAGIC:
        case F2FS_SUPER_MAGIC:
        case OVERLAYFS_SUPER_MAGIC:
        case kXfsMagic:
            return true;
        default:
            return false;
    }
}

bool IsSameFile(const FileState& left, const FileState& right) {
    return left.device == right.device && left.inode == right.inode;
}

}  // namespace

std::optional<FileState> StateOf(int file) {
    struct stat status {};
    if (fstat(file, &status) != 0 || !S_ISREG(status.st_mode)) {
        return std::nullopt;
    }
    return FileState{status.st_dev, status.st_ino, status.st_size, InNanoseconds(status.st_mtim),
                     InNanoseconds(status.st_ctim)};
}

bool ChangesWouldShow(int file, const FileState& state) {
    timespec now{};
    // Syncing makes a page that is mapped for writing fault, and so change the time, at its next change.
    return state.size >= DigestMemory::kSmallestFile && KeepsTimes(file) && fdatasync(file) == 0 &&
           clock_gettime(CLOCK_REALTIME, &now) == 0 &&
           InNanoseconds(now) - std::max(state.modified, state.changed) > kSettled && StateOf(file) == state;
}

std::optional<Sha256Bytes> DigestMemory::Find(const FileState& state) {
    const std::lock_guard<std::mutex> lock(mutex);
    for (Entry& entry : entries) {
        if (entry.state == state) {
            entry.lastUse = ++uses;
            return entry.digest;
        }
    }
    return std::nullopt;
}

void DigestMemory::Keep(const FileState& state, const Sha256Bytes& digest) {
    const std::lock_guard<std::mutex> lock(mutex);
    std::erase_if(entries, [&](const Entry& entry) { return IsSameFile(entry.state, state); });
    if (entries.size() >= kMostEntries) {
        entries.erase(std::min_element(entries.begin(), entries.end(), [](const Entry& left, const Entry& right) {
            return left.lastUse < right.lastUse;
        }));
    }
    entries.push_back({state, digest, ++uses});
}

void DigestMemory::Forget(const FileState& state) {
    const std::lock_guard<std::mutex> lock(mutex);
    std::erase_if(entries, [&](const Entry& entry) { return IsSameFile(entry.state, state); });
}

DigestMemory& RememberedDigests() {
    static auto* memory = new DigestMemory;
    return *memory;
}

}  // namespace Drive::Common
