#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "interfaces/common/file_item.h"
#include "interfaces/common/task_item.h"
#include "interfaces/platform/export.h"

/// For the host, not for the engine: opening the database, and the rows that sync logic writes. Any thread; every
/// operation is one transaction; no exceptions.
namespace Drive::SQLiteDB {

enum class OpenOutcome {
    Opened,       ///< an existing database, checked, brought to the present schema
    Created,      ///< there was none
    Rebuilt,      ///< the file was damaged, has been moved aside, and a new one was made
    NewerSchema,  ///< written by a later version; refused, nothing changed
    Locked,       ///< another process holds this state folder; refused
    Failed        ///< disk full, read-only, no folder, ...
};

struct OpenResult {
    OpenOutcome outcome = OpenOutcome::Failed;
    std::string message;  ///< what, where, and what to do next; for people
    bool ok() const {
        return outcome == OpenOutcome::Opened || outcome == OpenOutcome::Created || outcome == OpenOutcome::Rebuilt;
    }
};

/// Opens "transfer.db" in the folder (made when absent) for this process, before the engine starts, once. A second
/// process on the same folder gets Locked. The whole file is checked unless it was closed in good order within the last
/// day, after a whole check, and has not been written since; an index that lost rows is then made anew, and the message
/// says so. Damage that an operation meets is logged and the operation fails; the next opening then checks the file and
/// rebuilds it. Failed, with nothing changed, when a database of another program or what is no ordinary file (a link, a
/// folder) stands in the place of the database or of its log, or when it may not be written.
ZELKOR_API OpenResult OpenDatabase(const std::wstring& folder);

/// Opens another host's database for reading only, also while that host runs. Nothing can be written and no task is
/// handed out then.
ZELKOR_API OpenResult OpenDatabaseReadOnly(const std::wstring& folder);

/// Waits for the operations that are under way, folds the write-ahead log in and closes. Beside another program that
/// reads without an end the log stays for the next opening, after a second. Operations fail afterwards.
ZELKOR_API void CloseDatabase();

/// The rows of sync logic. Static operations on the open database.
class ZELKOR_API SyncRows {
public:
    /// Inserts a file row or replaces all its columns. False on failure.
    static bool PutFile(const Common::FileItem& file);

    /// Inserts or replaces a file row and its task of `direction` (1 or 2) in one transaction. `priority` as in
    /// TaskItem; the task's key is left open (background). An existing task keeps its record, and its TaskStatus while
    /// the file is at 12 or 22. False on failure: then neither stands.
    static bool PutFileWithTask(const Common::FileItem& file, int direction, int priority);

    /// The same for many, in one transaction.
    static bool PutFilesWithTasks(const std::vector<Common::FileItem>& files, int direction, int priority);

    /// Inserts the task alone when it is absent. False on failure.
    static bool PutTask(const std::wstring& fileId, int direction, int priority);

    /// Inserts a thumbnail task when it is absent. False on failure.
    static bool PutThumbnailTask(const std::wstring& fileId);

    /// Sets the key of the direction 1 row of a file that is opened, or makes such a row when there is none.
    static bool PutPriorityTask(const std::wstring& fileId, std::int64_t transferKey);

    /// Makes left-over keys of the priority pool background again.
    static bool ResetPriorityKeys();

    /// Empties the record of direction 1 rows that hold an encrypted download's position: it cannot be resumed.
    static bool ForgetEncryptedPositions();

    /// Calls `visit` for each file row, folders included, in order of folder and name, until it answers false.
    /// The rows are those of one moment. `visit` must not call back into the database. False on failure.
    static bool ForEachFile(const std::function<bool(const Common::FileItem&)>& visit);

    /// Files at one of the given fileStatus values that have no task of `direction`; at most `limit`.
    static std::vector<Common::FileItem> FilesWithoutTask(const std::vector<int>& fileStatus, int direction, int limit);

    /// All task rows, at most `limit`, lowest priority first. A background row has the key 0.
    static std::vector<Common::TaskItem> Tasks(int limit);

    /// Number of file rows (folders left out) by fileStatus.
    static std::vector<std::pair<int, std::int64_t>> CountByStatus();

    /// Number of task rows by direction 1, 2 and 3.
    static std::vector<std::pair<int, std::int64_t>> CountTasksByDirection();

    /// File rows that gave way to another with the same new id (SQLiteDB::UpdateDriveData), latest first, at most
    /// `limit`: for a person who looks for a place that the database once knew.
    static std::vector<Common::FileItem> DisplacedFiles(int limit);

    /// A setting of the host, kept beside the rows; empty when absent.
    static std::wstring ReadSetting(const std::wstring& name);
    static bool WriteSetting(const std::wstring& name, const std::wstring& value);
};

}  // namespace Drive::SQLiteDB
