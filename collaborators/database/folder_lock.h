#pragma once

#include <filesystem>
#include <string>

namespace Drive::SQLiteDB {

/// Holds a state folder for this process. The lock goes with the process however it ends, so that a crash leaves
/// nothing to be cleared away.
class FolderLock {
public:
    enum class Outcome { Held, HeldByOther, Failed };

    FolderLock() = default;
    ~FolderLock() { Release(); }
    FolderLock(const FolderLock&) = delete;
    FolderLock& operator=(const FolderLock&) = delete;

    /// Makes the folder when absent (for its owner alone) and takes the lock without waiting.
    Outcome Take(const std::filesystem::path& folder);
    void Release();

    /// After HeldByOther: the holder's process id as text, may be empty. After Failed: the system's message.
    const std::string& Detail() const { return detail; }

private:
    int descriptor = -1;
    std::string detail;
};

/// Makes an empty file that its owner alone may read, if absent; so the database and its companions get that mode.
void MakePrivateFile(const std::filesystem::path& path);

/// Makes the names in the folder survive a loss of power. Quiet when the file system cannot.
void SyncFolder(const std::filesystem::path& folder);

}  // namespace Drive::SQLiteDB
