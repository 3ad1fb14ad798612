#pragma once

#include <cstdint>
#include <mutex>
#include <optional>
#include <vector>

#include "collaborators/common/digest.h"

/// What was read stays true only while the file is the same: this memory keeps a few digests with all that the file
/// system tells of a file, and gives one back only when every part of it still matches.
namespace Drive::Common {

/// What tells one state of a file from any other.
struct FileState {
    std::uint64_t device = 0;
    std::uint64_t inode = 0;
    std::int64_t size = 0;
    std::int64_t modified = 0;  ///< nanoseconds since the epoch
    std::int64_t changed = 0;   ///< of content or attributes, nanoseconds since the epoch

    bool operator==(const FileState&) const = default;
};

/// The state of an open file; nothing when it cannot be had or the file is no regular one.
std::optional<FileState> StateOf(int file);

/// True when a further change of the file is sure to show in its state: nothing of it is waiting in memory, its last
/// change lies more than two seconds back (times of files move in steps), and its file system keeps such times itself.
bool ChangesWouldShow(int file, const FileState& state);

/// A bounded memory of digests, the oldest use goes first. Any thread.
class DigestMemory {
public:
    static constexpr std::size_t kMostEntries = 256;
    /// Smaller files are read again faster than they are looked up with all the care this needs.
    static constexpr std::int64_t kSmallestFile = std::int64_t{1} << 20;

    std::optional<Sha256Bytes> Find(const FileState& state);
    void Keep(const FileState& state, const Sha256Bytes& digest);
    /// Drops what is known of the file in any state.
    void Forget(const FileState& state);

private:
    struct Entry {
        FileState state;
        Sha256Bytes digest{};
        std::uint64_t lastUse = 0;
    };

    std::mutex mutex;
    // Guarded by mutex.
    std::vector<Entry> entries;
    std::uint64_t uses = 0;
};

/// The process's memory; never destroyed.
DigestMemory& RememberedDigests();

}  // namespace Drive::Common
