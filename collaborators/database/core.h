#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <shared_mutex>
#include <string>

#include "collaborators/database/connection.h"
#include "collaborators/database/folder_lock.h"
#include "collaborators/database/leases.h"
#include "collaborators/database/write_ahead_log.h"
#include "interfaces/database/sync_rows.h"

namespace Drive::SQLiteDB {

/// What must survive a loss of power when an operation has answered.
enum class Durability {
    Full,   ///< this change
    MayLag  ///< it or the state before: a position that is behind the disk costs a repetition, no file
};

/// The one object behind all the thin ones: the open file, its connections and the leases. Never destroyed, since
/// threads may still wait on its mutexes when the process ends.
///
/// One connection writes, one reads single rows without waiting for a writer's disk, and long scans open one of their
/// own. Nothing here throws. `operation` is the end of the sentence "Could not ...".
class Core {
public:
    using Work = std::function<void(Connection&)>;

    static Core& Get();

    OpenResult Open(const std::wstring& folder);
    OpenResult OpenReadOnly(const std::wstring& folder);
    /// Waits for the operations that are under way.
    void Close();

    /// Runs `work` as one transaction. False when it threw or could not be committed; then nothing has changed.
    bool Write(const char* operation, const Work& work, Durability durability = Durability::Full);

    /// Runs `work`, which writes no row, on the writing connection, so that it sees the leases in step with the rows.
    bool Hand(const char* operation, const Work& work);

    /// Runs `work` on the reading connection.
    bool Read(const char* operation, const Work& work);

    /// Runs `work` on a connection of its own, in one read transaction. May take long without holding up others.
    bool Scan(const char* operation, const Work& work);

    bool HasTransferTasks();

    /// Inside Write and Hand only.
    TaskLeases& Transfers() { return transfers; }
    TaskLeases& Thumbnails() { return thumbnails; }

private:
    Core() = default;
    void Commit(const Work& work, Durability durability);
    void Durable(Durability durability);
    void CountTransferTasks();
    void FoldIn() noexcept;
    void Report(const char* operation) const;

    // Guarded by `writing`.
    std::mutex writing;
    WriteAheadLog log;
    std::unique_ptr<Connection> writer;
    FolderLock lock;
    TaskLeases transfers;
    TaskLeases thumbnails;
    Durability present = Durability::Full;
    std::int64_t checkedAt = 0;

    // Guarded by `reading`.
    std::mutex reading;
    std::unique_ptr<Connection> reader;

    // Written with all three mutexes held, read with any: Open and Close take `scanning` alone, then the others.
    std::shared_mutex scanning;
    std::string path;

    // Written under `writing`; a reader needs no more than the last value.
    std::atomic<bool> hasTransferTasks{false};
    std::atomic<bool> readOnly{false};
    // Set by whoever meets it, looked at when the file is closed.
    mutable std::atomic<bool> damageMet{false};
};

}  // namespace Drive::SQLiteDB
