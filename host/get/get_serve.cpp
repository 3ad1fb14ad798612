// "get" on demand: entries are brought as they are asked for, until somebody ends it.
#include "host/control/run_desk.h"
#include "host/engine/engine_run.h"
#include "host/engine/parked_tasks.h"
#include "host/get/get_command.h"
#include "host/module/exit_codes.h"
#include "host/module/stop_signal.h"
#include "interfaces/cloud/drive_account.h"
#include "interfaces/database/sqlite_db.h"
#include "interfaces/platform/clock.h"
#include "interfaces/platform/text.h"

namespace Drive::Host {
namespace {

constexpr std::int64_t kAskEvery = 30 * 1000;  // milliseconds between two questions to the cloud

}  // namespace

// In a long run the facts change while it goes on; they are read when an entry is wanted.
void GetCommand::Refresh(const CloudEntry& entry) {
    SQLiteDB::SQLiteDB& database = SQLiteDB::SQLiteDB::GetInstance();
    const std::string fileId = Platform::NarrowText(entry.file.id);
    rows.files[entry.file.id] = database.GetDriveDataItemWithKey(entry.file.id);
    if (rows.files[entry.file.id].GetFileId().empty()) {
        rows.files.erase(entry.file.id);
    }
    rows.downloads.erase(entry.file.id);
    const Common::TaskItem task = database.GetTaskItem(entry.file.id, 1);
    if (!task.GetFileId().empty()) {
        rows.downloads[entry.file.id] = ReadTaskFacts(task.GetFragmentInfo());
    }
    proved.erase(fileId);
    if (const std::optional<ProvedFile> known = session.records.Proved(fileId)) {
        proved[fileId] = *known;
    }
}

bool GetCommand::ListFor(EntrySource& wishes) {
    std::vector<CloudEntry> entries;
    if (List(entries) != kExitOk) {
        return false;
    }
    served.clear();
    for (const CloudEntry& entry : entries) {
        if (entry.refusal.empty()) {
            served[entry.path] = entry;
        }
    }
    wishes.Listed(entries);
    return true;
}

void GetCommand::FollowChanges(EntrySource& wishes) {
    const std::int64_t now = Platform::MonotonicMilliseconds();
    if (now - lastAsked < kAskEvery) {
        return;
    }
    lastAsked = now;
    std::wstring since = Platform::WidenText(cursor);
    std::vector<Cloud::CloudFile> changes;
    if (Cloud::DriveAccount::Changes(since, changes).ok && !changes.empty()) {
        ListFor(wishes);
    }
}

void GetCommand::ServeWishes(EntrySource& wishes) {
    for (const std::string& path : wishes.Wanted()) {
        const auto found = served.find(path);
        if (found == served.end()) {
            wishes.Settled(path, false, "it is no longer in the cloud");
            continue;
        }
        if (!underWay.insert(path).second) {
            continue;  // whoever asked first waits for the same
        }
        Refresh(found->second);
        Act(found->second);
    }
    FollowChanges(wishes);
    RunDesk::Get().Tell("mount", {0, 0, downloads.FilesDone(), downloads.FilesAll()});
    RunDesk::Get().Serve([this](const std::string& path) { return downloads.Cancel(path); });
}

int GetCommand::Serve(EntrySource& wishes, const std::function<bool(std::string&)>& begin,
                      const std::function<bool()>& ended) {
    OnStopRequested([] { Cloud::DriveAccount::Abort(); });
    PrepareRows();
    ParkAll(session.records);
    if (!ListFor(wishes)) {
        return StopRequested() ? kExitStopped : kExitCloud;
    }
    lastAsked = Platform::MonotonicMilliseconds();
    source = &wishes;
    EngineRun::Start();
    OnStopRequested({});
    std::string error;
    int code = kExitOk;
    if (begin(error)) {
        downloads.Serve([&] { ServeWishes(wishes); }, ended);
    } else {
        reporter.Note(error);
        code = kExitLocal;
    }
    downloads.SettleRest("the mount was ended");
    source = nullptr;
    if (!EngineRun::Stop(options.stopSeconds * 1000)) {
        reporter.Note("a transfer did not stop in time and was cut off");
    }
    return code;
}

}  // namespace Drive::Host
