// Fills a database with many files and tasks and times what the engine calls every second and after every block, alone
// and beside another process that reads without a pause. Prints one JSON document; the exit status is 1 when an
// operation that the engine calls misses its target.
#include <signal.h>
#include <spawn.h>
#include <sys/prctl.h>
#include <sys/wait.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <filesystem>
#include <thread>
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
std::string beside;  // ends the name of each operation

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

void Report(Drive::Bench::Latencies times, bool hasTarget) {
    times.name += beside;
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
    Drive::Bench::Latencies all{name, {}, {}};
    for (int done = 0; done < rounds; done += 3) {
        all.Add(Measure(name, 3, [&](int) { Db().GetTaskAllItem(tasks, states, direction, 100); }));
        Db().ExecuteMulitNoQuerySQL({"UPDATE T_task SET module = 0 WHERE taskId = 0"});
    }
    Report(all, true);
}

/// The workers delete what they were handed.
void FetchThumbnails(int rounds) {
    Drive::Bench::Latencies all{"GetThumbnailFileDownLoadTask(100)", {}, {}};
    for (int round = 0; round < rounds; ++round) {
        std::list<Drive::WMap> rows;
        all.Add(Measure("", 1, [&](int) { Db().GetThumbnailFileDownLoadTask(rows, 100); }));
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

/// From these rows on, which are changed for good.
void EachTransfer(int down, int up, int rounds) {
    const std::wstring record = L"{\"writePosition\":4194304,\"writeSliceIndex\":1,\"n\":";
    Timed("GetTaskItem", rounds, [&](int n) { Db().GetTaskItem(IdOf(down + n), 1); });
    Timed("GetDriveDataItemWithKey", rounds, [&](int n) { Db().GetDriveDataItemWithKey(IdOf(down + n)); });
    Timed("GetDriveDataItem(place)", rounds, [&](int n) {
        const auto file = FileOf(down + n, 0);
        Db().GetDriveDataItem(
            {{L"localFileName", file.GetLocalFileName()}, {L"localParentFolder", file.GetLocalParentFolder()}});
    });
    Timed("UpdateDriveData(claim)", rounds, [&](int n) { UpdateFile(down + n, {{L"fileStatus", L"22"}}); });
    Timed("UpdateTaskItem(fragmentInfo)", rounds, [&](int n) {
        UpdateTask(down + n, 1, {{L"fragmentInfo", record + std::to_wstring(n) + L"}"}});
    });
    Timed("UpdateTaskItem(TaskStatus)", rounds, [&](int n) { UpdateTask(up + n, 2, {{L"TaskStatus", L"1"}}); });
    Timed("UpdateTaskItem(Priority)", rounds, [&](int n) { UpdateTask(up + n, 2, {{L"Priority", L"7"}}); });
    Timed("UpdateDriveData(finish)", rounds, [&](int n) {
        UpdateFile(down + n, {{L"fileStatus", L"1"}, {L"localFileSha256", std::wstring(64, L'f')}});
    });
    Timed("DeleteTaskItem", rounds, [&](int n) { Db().DeleteTaskItem(IdOf(down + n), 1); });
    Timed("UpdateDriveData(fileId)", rounds, [&](int n) {
        UpdateFile(up + n, {{L"fileId", L"cloud-" + std::to_wstring(up + n)}, {L"fileStatus", L"1"}});
    });
    Drive::Bench::Latencies clearing{"ClearInvalidateTask(one)", {}, {}};
    for (int n = 0; n < rounds; ++n) {
        Db().DeleteDriveDataItem(IdOf(up + rounds + n));
        clearing.Add(Measure("", 1, [](int) { Db().ClearInvalidateTask(); }));
    }
    Report(clearing, true);
}

/// Another process of the same user that looks at the rows, as a status command does, and never rests.
class Reader {
public:
    explicit Reader(const std::string& folder) {
        std::string program = "/proc/self/exe", option = "--read", place = folder;
        char* arguments[] = {program.data(), option.data(), place.data(), nullptr};
        if (posix_spawn(&child, program.c_str(), nullptr, nullptr, arguments, environ) != 0) child = 0;
        std::this_thread::sleep_for(std::chrono::seconds(1));
    }
    /// False when it had ended before it was told to.
    bool End() {
        int status = 0;
        if (child == 0 || waitpid(child, &status, WNOHANG) != 0) return false;
        kill(child, SIGTERM);
        waitpid(child, &status, 0);
        return true;
    }

private:
    pid_t child = 0;
};

int ReadUntilEnded(const std::string& folder) {
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    if (!Drive::SQLiteDB::OpenDatabaseReadOnly(Drive::Platform::EnginePath(folder)).ok()) return 2;
    while (true) {
        SyncRows::CountByStatus();
        SyncRows::Tasks(1000);
        int files = 0;
        SyncRows::ForEachFile([&files](const Drive::Common::FileItem&) { return ++files < 10000; });
    }
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
    std::string read;
    program.add_option("--read", read, "does nothing but read the database in this folder until it is ended");
    CLI11_PARSE(program, argumentCount, arguments);
    if (!read.empty()) return ReadUntilEnded(read);

    std::filesystem::remove_all(folder);
    const std::wstring wide = Drive::Platform::EnginePath(folder);
    if (!Drive::SQLiteDB::OpenDatabase(wide).ok()) return 2;
    std::printf(
        "{\"benchmark\":\"database\",\"rows\":%d,\"rounds\":%d,\"median_target_ms\":%g,\"p99_target_ms\":%g,\n"
        "  \"operations\":[",
        count, rounds, kMedianTarget, kTailTarget);
    Once("fill", [&](int) { Fill(count); });
    Drive::SQLiteDB::CloseDatabase();
    Once("OpenDatabase(closed in good order)", [&](int) { Drive::SQLiteDB::OpenDatabase(wide); });
    EverySecond(rounds);
    EachTransfer(0, count / 2, rounds);
    Reader reader(folder);
    beside = " beside a reader";
    EverySecond(rounds);
    EachTransfer(2 * rounds, count / 2 + 2 * rounds, rounds);
    beside = "";
    if (!reader.End()) return 2;
    AtStart();
    Drive::SQLiteDB::CloseDatabase();
    std::filesystem::remove(folder + "/transfer.clean");
    Once("OpenDatabase(whole check)", [&](int) { Drive::SQLiteDB::OpenDatabase(wide); });
    Once("ClearTaskTable", [](int) { Db().ClearTaskTable(); });
    Drive::SQLiteDB::CloseDatabase();
    std::filesystem::remove_all(folder);
    std::printf("],\n  \"all_met\":%s}\n", missed ? "false" : "true");
    return missed ? 1 : 0;
}
