#include "host/thumbnails/picture_run.h"

#include <unistd.h>

#include <list>
#include <unordered_set>
#include <utility>

#include "host/engine/engine_run.h"
#include "host/get/file_rows.h"
#include "host/module/stop_signal.h"
#include "interfaces/database/sqlite_db.h"
#include "interfaces/database/sync_rows.h"
#include "interfaces/platform/clock.h"
#include "interfaces/platform/text.h"

namespace Drive::Host {
namespace {

constexpr int kTickMilliseconds = 100;
constexpr std::int64_t kLookEvery = 500;
constexpr std::size_t kMostUnderWay = 400;  // the engine takes a hundred at a time; it must never wait for more
constexpr int kDirectionPicture = 3;

SQLiteDB::SQLiteDB& Database() { return SQLiteDB::SQLiteDB::GetInstance(); }

}  // namespace

std::string PictureRecord(const std::wstring& fileId) { return "picture " + Platform::NarrowText(fileId); }

std::string PictureState(const CloudEntry& entry, const std::string& path) {
    return Platform::NarrowText(entry.file.contentVersion) + " " + path;
}

void PictureRun::Add(const CloudEntry& entry, const std::string& path, bool hasRow) {
    std::string error;
    session.records.SetValue(PictureRecord(entry.file.id), "");
    if (!pictures.RemoveFile(path, error)) {
        return settled(entry, Result::Failed, 0, error);
    }
    waiting.push_back({entry, path, hasRow});
    ++all;
}

// A file that is not here yet gets a row for the time of the run: the engine finds link and place in it.
void PictureRun::HandOut() {
    while (!waiting.empty() && underWay.size() < kMostUnderWay) {
        Job job = std::move(waiting.front());
        waiting.pop_front();
        const std::wstring fileId = job.entry.file.id;
        SQLiteDB::UpdateDBInfo link;
        link.key = fileId;
        link.columns.insert(SQLiteDB::MakePair(L"thunbnailDownloadLink", job.entry.file.thumbnailLink));
        const bool rowStands =
            job.hasRow ? Database().UpdateDriveData(link) : SQLiteDB::SyncRows::PutFile(RowOf(job.entry, 0, L""));
        if (!rowStands || !SQLiteDB::SyncRows::PutThumbnailTask(fileId)) {
            settled(job.entry, Result::Failed, 0,
                    "the database in " + session.stateFolder + " cannot be written; is the disk full?");
            Forget(job);
            ++done;
            continue;
        }
        underWay.emplace(fileId, std::move(job));
    }
}

void PictureRun::Forget(const Job& job) {
    Database().DeleteTaskItem(job.entry.file.id, kDirectionPicture);
    if (!job.hasRow) {
        Database().DeleteDriveDataItem(job.entry.file.id);
    }
}

std::string PictureRun::Head(const std::string& path) const {
    char bytes[kPictureHead] = {};
    const int file = pictures.OpenForReading(path);
    const ssize_t count = file < 0 ? 0 : read(file, bytes, sizeof bytes);
    if (file >= 0) {
        close(file);
    }
    return {bytes, static_cast<std::size_t>(count > 0 ? count : 0)};
}

void PictureRun::Settle(const Job& job) {
    ++done;
    Forget(job);
    if (LooksLikePicture(Head(job.path))) {
        session.records.SetValue(PictureRecord(job.entry.file.id), PictureState(job.entry, job.path));
        return settled(job.entry, Result::Downloaded, pictures.Look(job.path).size, "");
    }
    std::string ignored;
    pictures.RemoveFile(job.path, ignored);
    settled(job.entry, Result::Failed, 0,
            "the cloud gave no picture of it; see logs/transfer.log in the state folder. The next 'thumbnails' tries "
            "again");
}

void PictureRun::LookAtTasks() {
    std::list<WMap> rows;
    std::unordered_set<std::wstring> left;
    // A failed question looks like no task at all; the row that always answers tells the two apart.
    Database().ExcuteQuerySQL(rows, L"SELECT fileId FROM T_task WHERE direction = 3 UNION ALL SELECT ''");
    for (WMap& row : rows) {
        left.insert(row[L"fileId"]);
    }
    if (left.count(L"") == 0) {
        return;
    }
    for (auto job = underWay.begin(); job != underWay.end();) {
        if (left.count(job->first) == 0) {
            Settle(job->second);
            job = underWay.erase(job);
        } else {
            ++job;
        }
    }
}

RunEnd PictureRun::Run(std::int64_t deadline, const std::function<bool()>& tick) {
    std::int64_t looked = Platform::MonotonicMilliseconds();
    while (!Empty()) {
        EngineRun::Wait(kTickMilliseconds);
        const std::int64_t now = Platform::MonotonicMilliseconds();
        if (now - looked >= kLookEvery) {
            looked = now;
            LookAtTasks();
            HandOut();
        }
        if (!tick()) {
            return RunEnd::NoKeys;
        }
        if (StopRequested()) {
            return RunEnd::Stopped;
        }
        if (deadline != 0 && now >= deadline) {
            return RunEnd::Timeout;
        }
    }
    return RunEnd::AllSettled;
}

void PictureRun::End() {
    LookAtTasks();
    for (const auto& [fileId, job] : underWay) {
        std::string ignored;
        Forget(job);
        pictures.RemoveFile(job.path, ignored);
        settled(job.entry, Result::Pending, 0, "not brought; the next 'thumbnails' brings it");
    }
    for (const Job& job : waiting) {
        settled(job.entry, Result::Pending, 0, "not brought; the next 'thumbnails' brings it");
    }
    underWay.clear();
    waiting.clear();
}

}  // namespace Drive::Host
