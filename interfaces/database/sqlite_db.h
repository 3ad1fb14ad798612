#pragma once

#include <cstdint>
#include <list>
#include <string>
#include <vector>

#include "interfaces/common/file_item.h"
#include "interfaces/common/task_item.h"
#include "interfaces/common/wmap.h"
#include "interfaces/database/update_info.h"
#include "interfaces/platform/export.h"

namespace Drive::SQLiteDB {

/// The local database as the engine uses it. The object is thin: connection, lock, statements and leases live in one
/// core inside the library. Every operation may be called from any thread at once and serialises inside; none lets an
/// exception out; a failed read looks like "nothing found". A write waits ten seconds at most for another program that
/// holds the file, however many wait with it, and then fails; reads wait for no writer. Before the database is open
/// (sync_rows.h) everything fails. Task rows are selected by file id and direction together.
class ZELKOR_API SQLiteDB {
public:
    /// The object of the library that calls, made on first use. Take it anew for each call and keep no reference.
    ZELKOR_LOCAL static SQLiteDB& GetInstance() {
        static SQLiteDB instance(true);
        return instance;
    }

    /// Appends at most `limit` rows of T_task of that direction ("1" or "2") whose file, which is no folder, has one of
    /// the `fileStatus` values (each in single quotes, separated by commas). Lowest Priority first, then taskId.
    /// Direction 1 leaves out rows of the priority and thumbnail pools. A row handed out is leased: it is not handed
    /// out again while it and its file row still look as they did (file status, task status, priority, record).
    /// Returns the number appended; 0 on failure.
    int GetTaskAllItem(std::vector<Common::TaskItem>& tasks, const std::string& fileStatus,
                       const std::string& direction, int limit);

    /// Appends at most `limit` thumbnail jobs with the keys "fileId", "localFileName", "localParentFolder" and
    /// "thunbnailDownloadLink"; leaves out rows that were handed out and not deleted since. Returns the number.
    int GetThumbnailFileDownLoadTask(std::list<WMap>& rows, int limit);

    /// Removes direction 2 rows whose file row is absent or a folder.
    void ClearInvalidateTask();

    /// Empties T_task. On failure it stays as it was.
    void ClearTaskTable();

    /// True while any row of direction 1 or 2 exists. Kept as rows change; costs nothing.
    bool hasTransferTasks();

    /// The task of that file and direction; an empty one if absent. A row without a transfer key gives 11.
    Common::TaskItem GetTaskItem(const std::wstring& fileId, const int& direction);

    /// Deletes that row. True also when there was none; false when the statement failed and the row still stands.
    bool DeleteTaskItem(const std::wstring& fileId, int direction);

    /// Writes the columns to the row with that key and direction. True also when no row matched. False, with nothing
    /// written, when the statement failed, a column is unknown or named twice, or a number is not whole, decimal and
    /// within its range. Column names are compared without regard to case.
    bool UpdateTaskItem(const UpdateDBInfo& info, int direction);

    /// The first file row for which all pairs (column name, required value) hold; an empty one if none does, for an
    /// unknown column and for no pairs at all.
    Common::FileItem GetDriveDataItem(WMap columns);

    /// The file row with that id; an empty one if absent.
    Common::FileItem GetDriveDataItemWithKey(const std::wstring& fileId);

    /// Writes the columns to the file row with that key; answers as UpdateTaskItem. The columns may hold a new fileId;
    /// task rows keep the old one, and an empty one is refused. When another row has the new id already, the row with
    /// the key stays: it takes from the other what the cloud alone knows and it lacks (name, parent id, hash, media
    /// type, kind, version, thumbnail link), waiting downloads of the other go, and the other is kept aside
    /// (SyncRows::DisplacedFiles).
    bool UpdateDriveData(const UpdateDBInfo& info);

    /// Deletes the file row; answers as DeleteTaskItem. Task rows stay.
    bool DeleteDriveDataItem(const std::wstring& fileId);

    /// Writes one column of T_SyncConf. False when the statement failed or the column is unknown.
    bool UpdateSyncConfItem(const std::wstring& key, const std::int64_t& value);

    /// Runs one read-only statement and appends a map a row, null as the empty text. No row for a statement that
    /// fails, writes, or is followed by another.
    void ExcuteQuerySQL(std::list<WMap>& rows, const std::wstring& statement);

    /// Runs the statements in order as one batch. False when one failed; then none has taken effect. They change rows:
    /// a transaction, a pragma or a change of the schema counts as failed. A batch that writes T_task ends all leases.
    bool ExecuteMulitNoQuerySQL(const std::vector<std::string>& statements);

    /// Builds, but does not run, the statement that inserts the download task of that file with that key: texts are
    /// quoted, an empty file id is found by folder and name. On an existing row it sets the key, leaves the record
    /// alone, and resets TaskStatus only when the file is not at 22 (a pending cancel must survive).
    std::wstring GetDownLoadTaskSqlcmd(const std::wstring& localFileName, const std::wstring& localParentFolder,
                                       const std::wstring& fileId, const bool& isOnFetch,
                                       const std::int64_t& transferKey);

    /// Runs such statements as one batch; the tasks exist afterwards. False when one failed; then none has taken
    /// effect. A file that has no row by folder and name gets no task. Only leases of rows that change end.
    bool InsertTaskByOnFetch(std::list<std::wstring> statements);

private:
    explicit SQLiteDB(const bool& shared);
    bool shared;
};

}  // namespace Drive::SQLiteDB
