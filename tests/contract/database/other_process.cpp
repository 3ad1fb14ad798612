// A second program on the same state folder, for what one process cannot show of itself.
//   open FOLDER   opens it and prints the outcome's number
//   read FOLDER   opens it for reading and prints what stands there
//   write FOLDER  writes without end and prints a line after each operation that has answered true
#include <cstdio>
#include <cstring>
#include <string>

#include "interfaces/database/sqlite_db.h"
#include "interfaces/database/sync_rows.h"
#include "interfaces/platform/native_path.h"

namespace {

using Drive::Common::FileItem;
using Drive::SQLiteDB::SyncRows;

Drive::SQLiteDB::SQLiteDB& Db() { return Drive::SQLiteDB::SQLiteDB::GetInstance(); }

bool Set(const std::wstring& fileId, const std::wstring& column, const std::wstring& value, int direction) {
    Drive::SQLiteDB::UpdateDBInfo info;
    info.key = fileId;
    info.columns = {{column, value}};
    return direction == 0 ? Db().UpdateDriveData(info) : Db().UpdateTaskItem(info, direction);
}

void Acknowledge(const char* operation, int number, bool done) {
    if (!done) return;
    std::printf("%s %d\n", operation, number);
    std::fflush(stdout);
}

int Open(const std::wstring& folder) {
    std::printf("%d\n", static_cast<int>(Drive::SQLiteDB::OpenDatabase(folder).outcome));
    return 0;
}

int Read(const std::wstring& folder) {
    const auto outcome = Drive::SQLiteDB::OpenDatabaseReadOnly(folder);
    std::printf("%d %zu %d %d\n", static_cast<int>(outcome.outcome), SyncRows::Tasks(100).size(),
                Db().hasTransferTasks() ? 1 : 0, Db().DeleteTaskItem(L"before", 1) ? 1 : 0);
    return 0;
}

int Write(const std::wstring& folder) {
    if (!Drive::SQLiteDB::OpenDatabase(folder).ok()) return 1;
    for (int number = 0; number < 1000000; ++number) {
        const std::wstring id = std::to_wstring(number);
        FileItem file;
        file.SetFileId(id);
        file.SetFileStatus(21);
        Acknowledge("put", number, SyncRows::PutFileWithTask(file, 1, 1));
        Acknowledge("claim", number, Set(id, L"fileStatus", L"22", 0));
        Acknowledge("position", number, Set(id, L"fragmentInfo", L"{\"writePosition\":" + id + L"}", 1));
        if (number % 2 == 0) Acknowledge("delete", number, Db().DeleteTaskItem(id, 1));
    }
    return 0;
}

}  // namespace

int main(int count, char** arguments) {
    if (count != 3) return 2;
    const std::wstring folder = Drive::Platform::EnginePath(arguments[2]);
    if (std::strcmp(arguments[1], "open") == 0) return Open(folder);
    if (std::strcmp(arguments[1], "read") == 0) return Read(folder);
    if (std::strcmp(arguments[1], "write") == 0) return Write(folder);
    return 2;
}
