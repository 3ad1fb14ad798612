#include "tests/fault/database/scenario.h"

#include <sqlite3.h>

namespace Drive::Testing {

namespace {

using SQLiteDB::SyncRows;

/// Enough for the write-ahead log to be folded in on the way.
constexpr std::size_t kLongRecord = 1500000;
constexpr int kManyFiles = 300;

Step Put(const std::wstring& id, int status, int direction) {
    return {"put", [=] { return SyncRows::PutFileWithTask(File(id, status), direction, 1); },
            [=](Rows& rows) {
                rows.files[id] = {status, L""};
                rows.tasks[{id, direction}] = {};
            }};
}

Step Claim(const std::wstring& id, int status) {
    return {"claim",
            [=] {
                return Db().UpdateDriveData(Update(id, {{L"fileStatus", std::to_wstring(status)}}));
            },
            [=](Rows& rows) {
                if (rows.files.contains(id)) rows.files[id].status = status;
            }};
}

Step Position(const std::wstring& id, int direction, std::size_t length) {
    return {"position",
            [=] {
                return Db().UpdateTaskItem(Update(id, {{L"fragmentInfo", std::wstring(length, L'p')}}), direction);
            },
            [=](Rows& rows) {
                if (rows.tasks.contains({id, direction})) rows.tasks[{id, direction}].record = length;
            },
            length > 0};
}

Step LongRecord(const std::wstring& id) {
    return {"long record",
            [=] {
                return Db().ExecuteMulitNoQuerySQL({"UPDATE T_task SET fragmentInfo = hex(zeroblob(" +
                                                    std::to_string(kLongRecord / 2) + ")) WHERE fileId = '" +
                                                    std::string(id.begin(), id.end()) + "'"});
            },
            [=](Rows& rows) {
                for (auto& [key, task] : rows.tasks) {
                    if (key.first == id) task.record = kLongRecord;
                }
            }};
}

Step Many() {
    return {"put many",
            [] {
                std::vector<Common::FileItem> files;
                for (int number = 0; number < kManyFiles; ++number) {
                    files.push_back(File(L"many" + std::to_wstring(number), 11));
                }
                return SyncRows::PutFilesWithTasks(files, 2, 4);
            },
            [](Rows& rows) {
                for (int number = 0; number < kManyFiles; ++number) {
                    rows.files[L"many" + std::to_wstring(number)] = {11, L""};
                    rows.tasks[{L"many" + std::to_wstring(number), 2}] = {0, 4, 0, 0};
                }
            }};
}

Step Finish(const std::wstring& id) {
    return {"finish",
            [=] {
                return Db().UpdateDriveData(Update(id, {{L"fileStatus", L"1"}, {L"localFileSha256", L"ab"}}));
            },
            [=](Rows& rows) {
                if (rows.files.contains(id)) rows.files[id] = {1, L"ab"};
            }};
}

Step DeleteTask(const std::wstring& id, int direction) {
    return {"delete task", [=] { return Db().DeleteTaskItem(id, direction); },
            [=](Rows& rows) {
                rows.tasks.erase({id, direction});
            }};
}

Step Renumber(const std::wstring& from, const std::wstring& to) {
    return {"renumber",
            [=] {
                return Db().UpdateDriveData(Update(from, {{L"fileId", to}, {L"fileStatus", L"1"}}));
            },
            [=](Rows& rows) {
                if (!rows.files.contains(from)) return;
                rows.files[to] = rows.files[from];
                rows.files[to].status = 1;
                rows.files.erase(from);
            }};
}

Step Fetch(const std::wstring& id) {
    return {"insert download",
            [=] { return Db().InsertTaskByOnFetch({Db().GetDownLoadTaskSqlcmd(L"", L"", id, true, 11)}); },
            [=](Rows& rows) {
                rows.tasks[{id, 1}].key = 11;
            }};
}

Step RaiseAll() {
    return {
        "batch",
        [] {
            return Db().ExecuteMulitNoQuerySQL({"UPDATE T_task SET Priority = 9, fragmentInfo = '', transferKey = NULL",
                                                "UPDATE T_cloudDriveData SET localFileSha256 = 'cd', fileStatus = 0"});
        },
        [](Rows& rows) {
            for (auto& [key, task] : rows.tasks) task = {0, 9, 0, 0};
            for (auto& [id, file] : rows.files) file = {0, L"cd"};
        }};
}

}  // namespace

Rows ReadRows() {
    Rows rows;
    const bool walked = SyncRows::ForEachFile([&rows](const Common::FileItem& file) {
        rows.files[file.GetFileId()] = {file.GetFileStatus(), file.GetLocalFileSha256()};
        return true;
    });
    EXPECT_TRUE(walked);
    for (const Common::TaskItem& task : SyncRows::Tasks(100000)) {
        rows.tasks[{task.GetFileId(), task.GetDirection()}] = {task.GetTaskstatus(), task.GetPriority(),
                                                               task.GetTransferKey(), task.GetFragmentInfo().size()};
    }
    return rows;
}

std::string IntegrityOf(const std::filesystem::path& file) {
    sqlite3* raw = nullptr;
    std::string answer;
    sqlite3_open(file.c_str(), &raw);
    sqlite3_exec(
        raw, "PRAGMA integrity_check",
        [](void* into, int, char** values, char**) {
            *static_cast<std::string*>(into) += values[0];
            return 0;
        },
        &answer, nullptr);
    sqlite3_close(raw);
    return answer;
}

const std::vector<Step>& Steps() {
    static const std::vector<Step> steps = {
        Put(L"down", 21, 1),
        Put(L"Local", 11, 2),
        Claim(L"down", 22),
        Position(L"down", 1, 40),
        Position(L"down", 1, 41),
        LongRecord(L"Local"),
        Finish(L"down"),
        Position(L"Local", 2, 0),
        Many(),
        DeleteTask(L"down", 1),
        LongRecord(L"Local"),
        Position(L"Local", 2, 43),
        LongRecord(L"Local"),
        Position(L"Local", 2, 42),
        Fetch(L"down"),
        Renumber(L"Local", L"cloud"),
        DeleteTask(L"Local", 2),
        RaiseAll(),
        {"clear", [] { return (Db().ClearTaskTable(), !Db().hasTransferTasks()); },
         [](Rows& rows) { rows.tasks.clear(); }},
        Put(L"last", 21, 1),
        Position(L"last", 1, 50),
    };
    return steps;
}

const std::vector<Step>& FirstSteps() {
    static const std::vector<Step> steps = {
        Put(L"down", 21, 1),
        Put(L"Local", 11, 2),
        Claim(L"down", 22),
        Position(L"down", 1, 40),
        Finish(L"down"),
        DeleteTask(L"down", 1),
        Renumber(L"Local", L"cloud"),
        Position(L"Local", 2, 0),
        Fetch(L"down"),
        RaiseAll(),
    };
    return steps;
}

}  // namespace Drive::Testing
