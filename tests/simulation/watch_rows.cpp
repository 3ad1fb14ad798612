#include <json/json.h>

#include <algorithm>
#include <cstdlib>
#include <list>

#include "download/position_record.h"
#include "interfaces/common/globals.h"
#include "interfaces/database/sqlite_db.h"
#include "tests/simulation/watch.h"
#include "tests/support/journal.h"
#include "tests/support/watching.h"

namespace Drive::Simulation {

using namespace Testing;

namespace {

int Number(WMap& row, const wchar_t* column) { return static_cast<int>(std::wcstol(row[column].c_str(), nullptr, 10)); }

std::list<WMap> Query(const wchar_t* statement) {
    std::list<WMap> rows;
    SQLiteDB::SQLiteDB::GetInstance().ExcuteQuerySQL(rows, statement);
    return rows;
}

}  // namespace

void Watch::ReadRows() {
    Unwatched past;
    KeepBaton keep;
    rowsChanged = false;
    seen.before = std::move(seen.files);
    seen.files.clear();
    seen.tasks.clear();
    cancelled.clear();
    for (WMap& row : Query(L"SELECT fileId, localParentFolder, localFileName, fileStatus, status, size, hash, "
                           L"localFileSha256 FROM T_cloudDriveData WHERE isFolder = 0")) {
        FileState file{row[L"fileId"], Number(row, L"fileStatus"), Number(row, L"status"), Number(row, L"size"),
                       row[L"hash"],   row[L"localFileSha256"]};
        const std::string place = Narrow(row[L"localParentFolder"] + row[L"localFileName"]);
        if (file.fileStatus != 12 && file.fileStatus != 22) {
            seen.stuck.erase(place);
            seen.refusedAsRunning.erase(place);
        }
        seen.files[place] = file;
    }
    for (WMap& row : Query(L"SELECT fileId, direction, TaskStatus, Priority, fragmentInfo FROM T_task")) {
        TaskState task{row[L"fileId"], Number(row, L"direction"), Number(row, L"TaskStatus"), Number(row, L"Priority"),
                       row[L"fragmentInfo"]};
        if (task.direction == 1 && task.taskStatus >= 3) cancelled.insert(task.fileId);
        seen.tasks.push_back(task);
    }
    seen.recordAhead = RecordAhead();
    seen.notInCloud = NotInCloud();
}

std::string Watch::RecordAhead() const {
    for (const TaskState& task : seen.tasks) {
        if (task.record.size() < 11) continue;
        const std::string found = task.direction == 1 ? PositionAhead(task) : StoreAhead(task);
        if (!found.empty()) return found;
    }
    return {};
}

std::string Watch::PositionAhead(const TaskState& task) const {
    const auto file = std::find_if(plan.files.begin(), plan.files.end(),
                                   [&](const PlannedFile& each) { return each.id == task.fileId; });
    if (file == plan.files.end()) return {};
    const std::int64_t position = TransferService::ParseDownloadPosition(task.record).writePosition;
    const std::string disk = world.ReadFile(file->relative);
    const std::string name = Narrow(file->relative);
    if (position > 0 && (disk == "(absent)" || static_cast<std::int64_t>(disk.size()) < position)) {
        return name + " holds less than the " + std::to_string(position) + " bytes of its record";
    }
    // A resumed encrypted download deliberately writes its first object at the saved position.
    if (file->kind != FileKind::Plain || cloud.Altered(file->id)) return {};
    if (disk.compare(0, static_cast<std::size_t>(position), BytesOf(*file), 0, static_cast<std::size_t>(position)) ==
        0) {
        return {};
    }
    return name + " holds other bytes below the position of its record";
}

std::string Watch::StoreAhead(const TaskState& task) const {
    Json::Value record;
    if (!Json::Reader().parse(Narrow(task.record), record) || !record.isObject()) return {};
    if (!record["resumeUrl"].asString().empty() && record["position"].asInt64() > cloud.Reached(task.fileId)) {
        return Narrow(task.fileId) + ": the file proxy holds less than " + record["position"].asString();
    }
    for (const Json::Value& item : record["items"]) {
        if (!item["status"].asBool() || cloud.Confirmed(Wide(item["objectId"].asString()))) continue;
        return Narrow(task.fileId) + ": the cloud has not confirmed " + item["objectId"].asString();
    }
    return {};
}

void Watch::ReadRecordLeft(Job& job) const {
    job.recordLeft = std::any_of(seen.tasks.begin(), seen.tasks.end(), [&](const TaskState& task) {
        return task.direction == 2 && task.fileId == job.fileId && !task.record.empty();
    });
}

std::string Watch::NotInCloud() const {
    for (const auto& [place, file] : seen.files) {
        const auto old = seen.before.find(place);
        if (file.fileStatus != 1 || (old != seen.before.end() && old->second.fileStatus == 1)) continue;
        if (seen.faulted.count(file.fileId) > 0 ||
            (old != seen.before.end() && seen.faulted.count(old->second.fileId) > 0))
            continue;
        const PlannedFile* planned = Planned(place);
        if (planned == nullptr || planned->kind != FileKind::Upload) continue;
        const std::string sum = cloud.Sum(file.fileId);
        if (sum.empty()) return place + " is not in the cloud";
        if (sum != Narrow(file.hash)) return place + " has another content in the cloud";
    }
    return {};
}

// What the cloud altered on the way, and what an encrypted download that does not begin at its beginning wrote, is for
// the host's own check: that one writes its first object at the position of the record.
std::string Watch::WrongContent(const std::wstring& path, const Job& job) const {
    const std::wstring relative = path.substr(g_clientSyncRootFolder.size());
    const PlannedFile* file = Planned(Narrow(relative));
    if (file == nullptr || cloud.Altered(file->id) || seen.faulted.count(job.fileId) > 0 || seen.databaseFailed)
        return {};
    if (file->kind == FileKind::Encrypted && (job.passes > 1 || job.firstWrite > 0)) return {};
    const std::string disk = world.ReadFile(relative);
    if (disk == BytesOf(*file)) return {};
    if (disk == "(absent)") return "there is no file";
    return "the file holds other bytes, " + std::to_string(disk.size()) + " of " + std::to_string(file->size);
}

}  // namespace Drive::Simulation
