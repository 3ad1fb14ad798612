#include "tests/simulation/faults.h"

#include "tests/support/virtual_time.h"
#include "tests/support/watched_common.h"
#include "tests/support/watched_database.h"
#include "tests/support/watched_files.h"

namespace Drive::Simulation {

using namespace Testing;
using SQLiteDB::UpdateDBInfo;

void Faults::Install() {
    if (weather.database > 0) InstallDatabase();
    InstallDisk();
}

void Faults::Tick() {
    if (dice.OneOf(weather.pool)) ScriptedPool::FailNext(1);
}

bool Faults::Disk() { return dice.OneOf(weather.disk) || watch.diskFull; }

bool Faults::Statement(const std::wstring& fileId) {
    if (!dice.OneOf(weather.database)) return false;
    watch.Fault(fileId);
    return true;
}

void Faults::InstallDatabase() {
    WatchedDatabase& database = WatchedDatabase::Get();
    database.updateDriveData.Perhaps([this](const UpdateDBInfo& info) { return Statement(info.key); },
                                     [](const UpdateDBInfo&) { return false; });
    database.updateTaskItem.Perhaps([this](const UpdateDBInfo& info, int) { return Statement(info.key); },
                                    [](const UpdateDBInfo&, int) { return false; });
    database.deleteTaskItem.Perhaps([this](const std::wstring& fileId, int) { return Statement(fileId); },
                                    [](const std::wstring&, int) { return false; });
    database.getTaskItem.Perhaps([this](const std::wstring& fileId, const int&) { return Statement(fileId); },
                                 [](const std::wstring&, const int&) { return Common::TaskItem(); });
    database.getDriveDataItemWithKey.Perhaps([this](const std::wstring& fileId) { return Statement(fileId); },
                                             [](const std::wstring&) { return Common::FileItem(); });
    // A batch that fails names no file; what it costs is bounded by the next pass.
    database.getTaskAllItem.Perhaps(
        [this](std::vector<Common::TaskItem>&, const std::string&, const std::string&, int) {
            return dice.OneOf(weather.database);
        },
        [](std::vector<Common::TaskItem>&, const std::string&, const std::string&, int) { return 0; });
    database.executeMulitNoQuerySQL.Perhaps(
        [this](const std::vector<std::string>&) {
            if (!dice.OneOf(weather.database)) return false;
            watch.FaultOfJob();
            return true;
        },
        [](const std::vector<std::string>&) { return false; });
    database.insertTaskByOnFetch.Perhaps([this](std::list<std::wstring>) { return dice.OneOf(weather.database); },
                                         [](std::list<std::wstring>) { return false; });
}

void Faults::InstallDisk() {
    WatchedCommon& common = WatchedCommon::Get();
    common.writeLocalFileV.Perhaps(
        [this](std::int64_t, const char*, std::size_t, const std::wstring&) { return Disk(); },
        [](std::int64_t, const char*, std::size_t, const std::wstring&) { return false; });
    common.getFileHmac.Perhaps([this](const std::wstring&) { return dice.OneOf(weather.disk); },
                               [](const std::wstring&) { return std::string(); });
    WatchedFiles& files = WatchedFiles::Get();
    files.createFileW.Perhaps([this](const wchar_t*, Platform::DWORD, Platform::DWORD, void*, Platform::DWORD,
                                     Platform::DWORD, Platform::HANDLE) { return dice.OneOf(weather.disk); },
                              [](const wchar_t*, Platform::DWORD, Platform::DWORD, void*, Platform::DWORD,
                                 Platform::DWORD, Platform::HANDLE) { return Platform::kInvalidHandle; });
    files.getDiskFreeSpaceExW.Perhaps(
        [this](const wchar_t*, Platform::DiskBytes*, Platform::DiskBytes*, Platform::DiskBytes*) { return Disk(); },
        [](const wchar_t*, Platform::DiskBytes*, Platform::DiskBytes*, Platform::DiskBytes* free) {
            *free = 0xC800000;
            return Platform::BOOL{1};
        });
}

}  // namespace Drive::Simulation
