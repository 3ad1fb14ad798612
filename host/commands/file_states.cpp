#include "host/commands/file_states.h"

#include <list>
#include <optional>
#include <unordered_map>

#include "host/report/record_bytes.h"
#include "interfaces/database/sqlite_db.h"
#include "interfaces/platform/native_path.h"
#include "interfaces/platform/text.h"

namespace Drive::Host {
namespace {

struct Word {
    int fileStatus;
    const char* people;
    const char* json;
};

constexpr Word kWords[] = {{0, "no transfer", "none"},
                           {1, "in step", "inStep"},
                           {11, "waiting to go up", "uploadWaiting"},
                           {12, "going up", "uploading"},
                           {13, "failed to go up", "uploadFailed"},
                           {21, "waiting to come down", "downloadWaiting"},
                           {22, "coming down", "downloading"},
                           {23, "failed to come down", "downloadFailed"}};

// Texts of numbers, as rows of a query are.
std::int64_t Number(const std::wstring& text) {
    try {
        return text.empty() ? 0 : std::stoll(text);
    } catch (const std::exception&) {
        return 0;
    }
}

std::list<WMap> RowsAt(int fileStatus, std::size_t limit) {
    std::list<WMap> rows;
    SQLiteDB::SQLiteDB::GetInstance().ExcuteQuerySQL(
        rows,
        L"SELECT fileId, localParentFolder, localFileName, size FROM T_cloudDriveData WHERE isFolder = 0 AND "
        L"fileStatus = " +
            std::to_wstring(fileStatus) + L" LIMIT " + std::to_wstring(limit));
    return rows;
}

class Records {
public:
    explicit Records(HostRecords& records) : records(records) {}

    // Of the task in sight or, where the tasks of that direction are set aside, of that one; nothing without a task.
    std::optional<std::wstring> Of(const std::wstring& fileId, int direction) {
        const Common::TaskItem task = SQLiteDB::SQLiteDB::GetInstance().GetTaskItem(fileId, direction);
        if (!task.GetFileId().empty()) {
            return task.GetFragmentInfo();
        }
        if (!parked[direction]) {
            parked[direction].emplace();
            for (ParkedTask& aside : records.Parked(direction)) {
                (*parked[direction])[aside.fileId] = std::move(aside.fragmentInfo);
            }
        }
        const auto found = parked[direction]->find(Platform::NarrowText(fileId));
        return found == parked[direction]->end() ? std::nullopt : std::optional(Platform::WidenText(found->second));
    }

private:
    HostRecords& records;
    std::optional<std::unordered_map<std::string, std::string>> parked[3];
};

// A row may hold what no path can be made of; it is shown as it is.
std::string PathOf(const WMap& row) {
    const std::wstring path = row.at(L"localParentFolder") + row.at(L"localFileName");
    try {
        return Platform::NativePath(path);
    } catch (const std::exception&) {
        return Platform::NarrowText(row.at(L"fileId"));
    }
}

}  // namespace

std::vector<FileState> FilesInMotion(HostRecords& records, int limit) {
    std::vector<FileState> files;
    Records tasks(records);
    for (const int fileStatus : {12, 22, 11, 21, 13, 23}) {
        const std::size_t left = static_cast<std::size_t>(limit) - files.size();
        for (const WMap& row : left > 0 ? RowsAt(fileStatus, left) : std::list<WMap>()) {
            const int direction = fileStatus > 20 ? 1 : 2;
            const std::int64_t size = Number(row.at(L"size"));
            const std::optional<std::wstring> record = tasks.Of(row.at(L"fileId"), direction);
            // A try that broke off is no failure as long as the task waits for the next one.
            const int shown = fileStatus % 10 == 3 && record ? fileStatus - 2 : fileStatus;
            files.push_back({PathOf(row), shown, BytesInRecord(record.value_or(L""), direction, size), size});
        }
    }
    return files;
}

const char* StateWord(int fileStatus) {
    for (const Word& word : kWords) {
        if (word.fileStatus == fileStatus) {
            return word.people;
        }
    }
    return "in an unknown state";
}

const char* StateName(int fileStatus) {
    for (const Word& word : kWords) {
        if (word.fileStatus == fileStatus) {
            return word.json;
        }
    }
    return "unknown";
}

}  // namespace Drive::Host
