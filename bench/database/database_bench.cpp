// Fills a database with many files and tasks and times what the engine calls every second and after every block.
// Prints one JSON document; the exit status is 1 when an operation that the engine calls misses its target.
#include <CLI/CLI.hpp>
#include <cstdio>
#include <filesystem>
#include <utility>

#include "bench/database/latencies.h"
#include "interfaces/database/sqlite_db.h"
#include "interfaces/database/sync_rows.h"
#include "interfaces/platform/native_path.h"

namespace {

using Drive::Bench::Measure;
using Drive::SQLiteDB::SyncRows;

constexpr double kMedianTarget = 5;
constexpr double kTailTarget = 20;
bool missed = false;
bool isFirst = true;

Drive::SQLiteDB::SQLiteDB& Db() { return Drive::SQLiteDB::SQLiteDB::GetInstance(); }

std::wstring IdOf(int number) { return L"file-" + std::to_wstring(number); }

Drive::Common::FileItem FileOf(int number, int status) {
    Drive::Common::FileItem file;
    file.SetFileId(IdOf(number));
    file.SetName(L"Document number " + std::to_wstring(number) + L".txt");
    file.SetLocalFileName(file.GetName());
    file.SetLocalParentFolder(L"folder " + std::to_wstring(number / 200) + L"\\");
    file.SetHash(std::wstring(64, L'a' + number % 6));
    file.SetLocalFileSha256(file.GetHash());
    file.SetMimeType(L"text/plain");
    file.SetSize(number);
    file.SetFileStatus(status);
    return file;
}

/// The first half is to be downloaded, the second to be uploaded.
void Fill(int count) {
    constexpr int kBatch = 10000;
    for (int first = 0; first < count; first += kBatch) {
        const bool download = first < count / 2;
        std::vector<Drive::Common::FileItem> files;
        for (int number = first; number < std::min(count, first + kBatch); ++number) {
            files.push_back(FileOf(number, download ? 21 : 11));
        }
        SyncRows::PutFilesWithTasks(files, download ? 1 : 2, 1 + first % 3);
    }
    for (int number = 0; number < count; number += 100) SyncRows::PutThumbnailTask(IdOf(number));
}

void Report(const Drive::Bench::Latencies& times, bool hasTarget) {
    const bool misses = hasTarget && (times.Percentile(0.5) > kMedianTarget || times.Percentile(0.99) > kTailTarget);
    missed = missed || misses;
    const char* const verdict = hasTarget ? (misses ? "missed" : "met") : "none";
    std::printf("%s\n    {%s,\"target\":\"%s\"}", std::exchange(isFirst, false) ? "" : ",", times.Json().c_str(),
                verdict);
    std::fflush(stdout);
}

void Timed(const std::string& name, int rounds, const std::function<void(int)>& body) {
    Report(Measure(name, rounds, body), true);
}

void Once(const std::string& name, const std::function<void(int)>& body) { Report(Measure(name, 1, body), false); }

void UpdateFile(int number, const Drive::WMap& columns) {
    Drive::SQLiteDB::UpdateDBInfo info;
    info.key = IdOf(number);
    info.columns = columns;
    Db().UpdateDriveData(info);
}

void UpdateTask(int number, int direction, const Drive::WMap& columns) {
    Drive::SQLiteDB::UpdateDBInfo info;
    info.key = IdOf(number);
    info.columns = columns;
    Db().UpdateTaskItem(info, direction);
}

/// Three batches stand leased at most, as when all the slots are taken; then the leases end.
void Fetch(const std::string& name, const std::string& states, const std::string& direction, int rounds) {
    std::vector<Drive::Common::TaskItem> tasks;
    Drive::Bench::Latencies all{name, {}};
    for (int done = 0; done < rounds; done += 3) {
        const auto times = Measure(name, 3, [&](int) { Db().GetTaskAllItem(tasks, states, direction, 100); });
        all.milliseconds.insert(all.milliseconds.end(), times.milliseconds.begin(), times.milliseconds.end());
        Db().ExecuteMulitNoQuerySQL({"UPDATE T_task SET module = 0 WHERE taskId = 0"});
    }
    Report(all, true);
}

/// The workers delete what they were handed.
void FetchThumbnails(int rounds) {
    Drive::Bench::Latencies all{"GetThumbnailFileDownLoadTask(100)", {}};
    for (int round = 0; round < rounds; ++round) {
        std::list<Drive::WMap> rows;
        const auto once = Measure("", 1, [&](int) { Db().GetThumbnailFileDownLoadTask(rows, 100); });
        all.milliseconds.push_back(once.milliseconds.front());
        for (const Drive::WMap& row : rows) Db().DeleteTaskItem(row.at(L"fileId"), 3);
    }
    Report(all, true);
}

void EverySecond(int rounds) {
    Fetch("GetTaskAllItem(download, 100)", "'0','21','23'", "1", rounds);
    Fetch("GetTaskAllItem(upload, 100)", "'0','11','13'", "2", rounds);
    Timed("hasTransferTasks", rounds, [](int) { Db().hasTransferTasks(); });
    Timed("ClearInvalidateTask(none)", rounds, [](int) { Db().ClearInvalidateTask(); });
    FetchThumbnails(std::min(rounds, 50));
}

void EachTransfer(int count, int rounds) {
    const int up = count / 2;
    const std::wstring record = L"{\"writePosition\":4194304,\"writeSliceIndex\":1,\"n\":";
    Timed("GetTaskItem", rounds, [](int n) { Db().GetTaskItem(IdOf(n), 1); });
    Timed("GetDriveDataItemWithKey", rounds, [](int n) { Db().GetDriveDataItemWithKey(IdOf(n)); });
    Timed("GetDriveDataItem(place)", rounds, [](int n) {
        const auto file = FileOf(n, 0);
        Db().GetDriveDataItem(
            {{L"localFileName", file.GetLocalFileName()}, {L"localParentFolder", file.GetLocalParentFolder()}});
    });
    Timed("UpdateDriveData(claim)", rounds, [](int n) { UpdateFile(n, {{L"fileStatus", L"22"}}); });
    Timed("UpdateTaskItem(fragmentInfo)", rounds, [&](int n) {
        UpdateTask(n, 1, {{L"fragmentInfo", record + std::to_wstring(n) + L"}"}});
    });
    Timed("UpdateTaskItem(TaskStatus)", rounds, [&](int n) { UpdateTask(up + n, 2, {{L"TaskStatus", L"1"}}); });
    Timed("UpdateTaskItem(Priority)", rounds, [&](int n) { UpdateTask(up + n, 2, {{L"Priority", L"7"}}); });
    Timed("UpdateDriveData(finish)", rounds, [](int n) {
        UpdateFile(n, {{L"fileStatus", L"1"}, {L"localFileSha256", std::wstring(64, L'f')}});
    });
    Timed("DeleteTaskItem", rounds, [](int n) { Db().DeleteTaskItem(IdOf(n), 1); });
    Timed("UpdateDriveData(fileId)", rounds, [&](int n) {
        UpdateFile(up + n, {{L"fileId", L"cloud-" + std::to_wstring(n)}, {L"fileStatus", L"1"}});
    });
    Drive::Bench::Latencies clearing{"ClearInvalidateTask(one)", {}};
    for (int n = 0; n < rounds; ++n) {
        Db().DeleteDriveDataItem(IdOf(up + rounds + n));
        const auto once = Measure("", 1, [](int) { Db().ClearInvalidateTask(); });
        clearing.milliseconds.push_back(once.milliseconds.front());
    }
    Report(clearing, true);
}

void AtStart() {
    Once("start-up repair", [](int) {
        Db().ExecuteMulitNoQuerySQL(
            {"UPDATE T_cloudDriveData SET fileStatus = CASE WHEN  fileStatus = 22 THEN 21 WHEN  fileStatus = 12 THEN "
             "11 "
             "ELSE fileStatus END WHERE fileStatus IN (12,22) AND isFolder = 0 AND fileId IN (SELECT fileId FROM "
             "T_task "
             "WHERE direction IN (1,2) AND T_task.fileId = T_cloudDriveData.fileId);",
             "UPDATE T_task SET TaskStatus = 0 WHERE TaskStatus = 1;"});
    });
    Once("ResetPriorityKeys", [](int) { SyncRows::ResetPriorityKeys(); });
    Once("ForgetEncryptedPositions", [](int) { SyncRows::ForgetEncryptedPositions(); });
    Once("FilesWithoutTask", [](int) { SyncRows::FilesWithoutTask({11, 13, 21, 23}, 1, 100); });
    Once("CountByStatus", [](int) { SyncRows::CountByStatus(); });
    Once("CountTasksByDirection", [](int) { SyncRows::CountTasksByDirection(); });
    Once("ForEachFile", [](int) { SyncRows::ForEachFile([](const Drive::Common::FileItem&) { return true; }); });
}

}  // namespace

int main(int argumentCount, char** arguments) {
    CLI::App program("Times of the database's operations on large tables");
    int count = 1000000;
    int rounds = 2000;
    std::string folder = (std::filesystem::temp_directory_path() / "zelkor-database-bench").string();
    program.add_option("--rows", count, "files, and as many tasks");
    program.add_option("--rounds", rounds, "runs of each operation");
    program.add_option("--folder", folder, "where the database is made and removed again");
    CLI11_PARSE(program, argumentCount, arguments);

    std::filesystem::remove_all(folder);
    const std::wstring wide = Drive::Platform::EnginePath(folder);
    if (!Drive::SQLiteDB::OpenDatabase(wide).ok()) return 2;
    std::printf(
        "{\"benchmark\":\"database\",\"rows\":%d,\"rounds\":%d,\"median_target_ms\":%g,\"p99_target_ms\":%g,\n"
        "  \"operations\":[",
        count, rounds, kMedianTarget, kTailTarget);
    Once("fill", [&](int) { Fill(count); });
    Drive::SQLiteDB::CloseDatabase();
    Once("OpenDatabase", [&](int) { Drive::SQLiteDB::OpenDatabase(wide); });
    EverySecond(rounds);
    EachTransfer(count, rounds);
    AtStart();
    Once("ClearTaskTable", [](int) { Db().ClearTaskTable(); });
    Drive::SQLiteDB::CloseDatabase();
    std::filesystem::remove_all(folder);
    std::printf("],\n  \"all_met\":%s}\n", missed ? "false" : "true");
    return missed ? 1 : 0;
}
