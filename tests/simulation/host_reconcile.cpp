#include <filesystem>
#include <list>

#include "interfaces/database/sqlite_db.h"
#include "interfaces/database/sync_rows.h"
#include "tests/simulation/host.h"
#include "tests/support/journal.h"
#include "tests/support/watching.h"

namespace Drive::Simulation {

using namespace Testing;
using Common::FileItem;
using SQLiteDB::SyncRows;

namespace {

// A look that costs little: the walk behind it opens a connection of its own.
bool LacksTask(const std::vector<int>& status, int direction) {
    std::wstring list;
    for (const int each : status) list += (list.empty() ? L"" : L",") + std::to_wstring(each);
    std::list<WMap> found;
    SQLiteDB::SQLiteDB::GetInstance().ExcuteQuerySQL(
        found, L"SELECT fileId FROM T_cloudDriveData f WHERE fileStatus IN (" + list +
                   L") AND NOT EXISTS (SELECT 1 FROM T_task t WHERE t.fileId = f.fileId AND t.direction = " +
                   std::to_wstring(direction) + L") LIMIT 1");
    return !found.empty();
}

}  // namespace

// Row by row, since the walk over all rows opens a connection of its own each time.
std::vector<FileItem> Host::Rows() const {
    Unwatched past;
    KeepBaton keep;
    SQLiteDB::SQLiteDB& database = SQLiteDB::SQLiteDB::GetInstance();
    std::list<WMap> ids;
    database.ExcuteQuerySQL(ids,
                            L"SELECT fileId FROM T_cloudDriveData ORDER BY localParentFolder, localFileName, rowid");
    std::vector<FileItem> rows;
    for (WMap& id : ids) rows.push_back(database.GetDriveDataItemWithKey(id[L"fileId"]));
    return rows;
}

FileItem Host::RowOf(const PlannedFile& file) const {
    for (const FileItem& row : Rows()) {
        if (PlaceOf(row) == Narrow(file.relative)) return row;
    }
    return {};
}

bool Host::HasTask(const std::wstring& fileId, int direction) const {
    Unwatched past;
    KeepBaton keep;
    std::list<WMap> found;
    SQLiteDB::SQLiteDB::GetInstance().ExcuteQuerySQL(found, L"SELECT fileId FROM T_task WHERE fileId = '" + fileId +
                                                                L"' AND direction = " + std::to_wstring(direction));
    return !found.empty();
}

std::string Host::LocalSum(const PlannedFile& file) const {
    if (!world.Exists(file.relative)) return {};
    const std::string bytes = world.ReadFile(file.relative);
    return bytes == BytesOf(file) ? SumOf(file) : Sha256(bytes);
}

void Host::BeforeStart() {
    for (const PlannedFile& file : plan.files) {
        const std::string place = Narrow(file.relative);
        if (memory.Has("removed/" + place)) watch.Removed(place);
    }
    CutOverlong();
    watch.HostWrites([&] {
        SyncRows::ForgetEncryptedPositions();
        SyncRows::ResetPriorityKeys();
        MakeTasks(true);
    });
    CheckDownloads();
    CheckUploads();
}

// A resumed encrypted download writes its first object at the saved position, at times beyond the file's end; a crash
// then leaves that behind a record that is emptied here.
void Host::CutOverlong() {
    for (const FileItem& row : Rows()) {
        const PlannedFile* file = watch.Planned(PlaceOf(row));
        if (file == nullptr || file->kind != FileKind::Encrypted || row.GetFileStatus() == 1) continue;
        if (!world.Exists(file->relative)) continue;
        if (static_cast<std::int64_t>(world.ReadFile(file->relative).size()) > file->size) DropLeftOvers(row);
    }
}

void Host::Reconcile() {
    if (watch.Idle()) watch.HostWrites([] { SyncRows::ResetPriorityKeys(); });
    watch.HostWrites([&] { MakeTasks(false); });
    CheckDownloads();
    CheckUploads();
}

// Rows whose task has gone get it anew; those at 12 and 22 only before a start, whose repair moves them on.
void Host::MakeTasks(bool alsoRunning) {
    const auto make = [this](std::vector<int> status, int direction) {
        if (!LacksTask(status, direction)) return;
        for (const FileItem& file : SyncRows::FilesWithoutTask(status, direction, 1000)) {
            if (direction == 1) DropLeftOvers(file);
            SyncRows::PutTask(file.GetFileId(), direction, 1);
        }
    };
    make(alsoRunning ? std::vector<int>{21, 22, 23} : std::vector<int>{21, 23}, 1);
    make(alsoRunning ? std::vector<int>{11, 12, 13} : std::vector<int>{11, 13}, 2);
}

// The host's own check: what came with other bytes is never shown and is fetched anew, from its first byte. A row that
// was put back to 0 at the end of a fetch is queued again.
void Host::CheckDownloads() {
    for (const FileItem& row : Rows()) {
        const PlannedFile* file = watch.Planned(PlaceOf(row));
        if (file == nullptr || file->kind == FileKind::Upload) continue;
        const bool wrong = row.GetFileStatus() == 1 && LocalSum(*file) != Narrow(row.GetHash());
        if (wrong || (row.GetFileStatus() == 0 && !HasTask(row.GetFileId(), 1))) DownloadAnew(row);
    }
}

// A download that begins without a record writes from the first byte on and cuts nothing: what an earlier one left must
// not show behind its end.
void Host::DropLeftOvers(const FileItem& row) {
    const PlannedFile* file = watch.Planned(PlaceOf(row));
    if (file == nullptr || file->kind == FileKind::Upload) return;
    std::filesystem::remove(world.NativeFile(file->relative));
    if (file->placeholder) world.WriteFile(file->relative, "");
    cloud.BeginsAnew(row.GetFileId());
}

void Host::DownloadAnew(FileItem row) {
    DropLeftOvers(row);
    watch.HostWrites([&] {
        SQLiteDB::SQLiteDB::GetInstance().DeleteTaskItem(row.GetFileId(), 1);
        row.SetFileStatus(21);
        SyncRows::PutFileWithTask(row, 1, 1);
    });
}

// A local edit shows by the hash of the row that was brought home.
void Host::CheckUploads() {
    for (const FileItem& row : Rows()) {
        const PlannedFile* file = watch.Planned(PlaceOf(row));
        if (file == nullptr || file->kind != FileKind::Upload) continue;
        if (row.GetFileStatus() == 11 || row.GetFileStatus() == 13) DropStaleHash(row, *file);
        if (row.GetFileStatus() != 1) continue;
        if (!world.Exists(file->relative) || LocalSum(*file) == Narrow(row.GetHash())) continue;
        UploadAnew(row);
    }
}

// The engine trusts a stored hash, and the file proxy alone would see that the content is another.
void Host::DropStaleHash(const FileItem& row, const PlannedFile& file) {
    if (row.GetLocalFileSha256().empty() || !world.Exists(file.relative)) return;
    if (LocalSum(file) == Narrow(row.GetLocalFileSha256())) return;
    watch.HostWrites([&] {
        world.Sql(
            {"UPDATE T_cloudDriveData SET localFileSha256 = '' WHERE fileId = '" + Narrow(row.GetFileId()) + "'"});
    });
}

void Host::UploadAnew(FileItem row) {
    row.SetLocalFileSha256(L"");
    row.SetFileStatus(11);
    watch.HostWrites([&] { SyncRows::PutFileWithTask(row, 2, 1); });
}

std::vector<std::string> Host::NotDone() const {
    std::vector<std::string> open;
    const std::vector<FileItem> rows = Rows();
    for (const PlannedFile& file : plan.files) {
        const std::string place = Narrow(file.relative);
        if (memory.Has("removed/" + place)) continue;
        FileItem row;
        for (const FileItem& each : rows) {
            if (PlaceOf(each) == place) row = each;
        }
        const std::string local = LocalSum(file);
        if (row.GetFileId().empty()) {
            open.push_back(place + " has no row");
        } else if (row.GetFileStatus() != 1) {
            open.push_back(place + " is at " + std::to_string(row.GetFileStatus()));
        } else if (local != Narrow(row.GetHash())) {
            open.push_back(place + " holds other bytes than its row says");
        } else if (local != cloud.Sum(row.GetFileId())) {
            open.push_back(place + " differs from the cloud");
        }
    }
    return open;
}

}  // namespace Drive::Simulation
