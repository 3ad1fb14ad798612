#include "tests/simulation/host.h"

#include <filesystem>
#include <fstream>

#include "download/download_task_manager.h"
#include "interfaces/common/globals.h"
#include "interfaces/database/sync_rows.h"
#include "interfaces/platform/file_calls.h"
#include "service/transfer_task_service.h"
#include "tests/support/journal.h"
#include "tests/support/virtual_time.h"
#include "upload/upload_task_manager.h"

namespace Drive::Simulation {

using namespace Testing;
using Common::FileItem;
using SQLiteDB::SyncRows;
using TransferService::DOWNLOADCALLBACK_CONTEXT;
using TransferService::DOWNLOADTASK_CONTEXT;
using TransferService::DownLoadTaskManger;
using TransferService::TransferTaskService;
using TransferService::UpLoadTaskManger;

namespace {

constexpr int kKeyOfPriority = 2;

std::string Text(const DOWNLOADCALLBACK_CONTEXT& record) {
    return "download(event " + std::to_string(record.event) + (record.ok ? ", ok, " : ", failed, ") +
           std::to_string(record.offset) + ", " + std::to_string(record.length) + ")";
}

}  // namespace

Host::Host(const Plan& chosen, const LifePlan& ofLife, World& ofWorld, Memory& kept, Cloud& ofCloud, Watch& ofWatch)
    : plan(chosen), life(ofLife), world(ofWorld), memory(kept), cloud(ofCloud), watch(ofWatch), dice(ofLife.seed + 1) {}

void Host::SetUp() {
    for (const PlannedFile& file : plan.files) {
        PutRow(file);
        if (file.picture) SyncRows::PutThumbnailTask(file.id);
    }
}

void Host::PutRow(const PlannedFile& file) {
    FileItem row = world.File(file.id, file.relative, file.size, file.fileStatus);
    const std::string& bytes = BytesOf(file);
    const bool upload = file.kind == FileKind::Upload;
    if (upload) {
        world.WriteFile(file.relative, bytes);
        if (file.existing) memory.Set("content/" + SumOf(file), bytes);
    } else {
        row.SetHash(Wide(SumOf(file)));
        if (file.picture) row.SetThunbnailDownloadLink(L"http://picture/" + file.id);
        if (file.resumeAt > 0) {
            world.WriteFile(file.relative, bytes.substr(0, static_cast<std::size_t>(file.resumeAt)));
        } else if (file.placeholder) {
            world.WriteFile(file.relative, "");
        }
    }
    if (!file.hasTask) return world.Put(row);
    world.PutWithTask(row, upload ? 2 : 1, file.priority);
    if (file.resumeAt == 0) return;
    world.Sql({"UPDATE T_task SET fragmentInfo = '{\"writePosition\":" + std::to_string(file.resumeAt) +
               ",\"writeSliceIndex\":0}' WHERE fileId = '" + Narrow(file.id) + "'"});
}

void Host::Listen() {
    TransferTaskService::getInstance().setFileTransNotifyMsgCallBack(
        [this](int message, const std::wstring&, bool flag) {
            Journal::Write(Kind::Callback, "notify(" + std::to_string(message) + (flag ? ", true)" : ", false)"));
            watch.Message(message);
        });
    UpLoadTaskManger::getInstance().SetUploadServiceCallbackFun([this](int kind, const std::wstring& path) {
        Journal::Write(Kind::Callback, "service(" + std::to_string(kind) + ", " + Narrow(path) + ")");
        watch.UploadEvent(kind);
        return true;
    });
    DownLoadTaskManger::getInstance().SetDownLoadTaskCallBackFun(
        [this](DOWNLOADCALLBACK_CONTEXT& record) { return OnEvent(record); });
}

bool Host::OnEvent(DOWNLOADCALLBACK_CONTEXT& record) {
    Journal::Write(Kind::Callback, Text(record));
    watch.Event(record);
    const bool refuses = dice.OneOf(life.weather.host);
    switch (record.event) {
        case TransferService::DownloadEventFetchBegins:
            if (!refuses) return true;
            if (dice.OneOf(2)) return false;
            // It keeps the placeholder to itself: the job stops at its next look.
            Platform::CloseHandle(record.fileHandle);
            record.fileHandle = nullptr;
            return true;
        case TransferService::DownloadEventData:
            return !record.ok || (!refuses && Take(record));
        case TransferService::DownloadEventEnd:
            return dice.OneOf(4);
        default:
            return true;
    }
}

bool Host::Take(const DOWNLOADCALLBACK_CONTEXT& record) {
    const std::wstring relative = record.localFilePath.substr(g_clientSyncRootFolder.size());
    std::fstream out(world.NativeFile(relative), std::ios::binary | std::ios::in | std::ios::out);
    out.seekp(record.offset);
    out.write(reinterpret_cast<const char*>(record.data), record.length);
    return static_cast<bool>(out);
}

void Host::Do(const Action& action) {
    const PlannedFile& file = plan.files[action.file];
    Journal::Write(Kind::Note, "deed " + std::to_string(static_cast<int>(action.deed)) + " " + Narrow(file.relative));
    const bool upload = file.kind == FileKind::Upload;
    switch (action.deed) {
        case Deed::Fetch:
        case Deed::FetchByPath:
            if (!upload) Fetch(file, action.deed == Deed::FetchByPath);
            return;
        case Deed::Cancel:
            if (upload) return;
            return VirtualTime::Start("cancel", [path = world.Path(file.relative)] {
                DownLoadTaskManger::getInstance().CancleDownload(path);
            });
        case Deed::RowStop:
            return RequestStop(file);
        case Deed::Edit:
            if (upload) Edit(file);
            return;
        case Deed::Remove:
            if (!upload) return;
            memory.Set("removed/" + Narrow(file.relative), "yes");
            watch.Removed(Narrow(file.relative));
            std::filesystem::remove(world.NativeFile(file.relative));
            return;
        case Deed::SpaceFull:
            return cloud.SetSpace(dice.Pick<std::int64_t>({0, g_SpaceIsFullSize - 1, g_SpaceWillBeFullSize}));
        case Deed::SpaceBack:
            return cloud.SetSpace(std::int64_t{1} << 40);
        case Deed::LineDown:
        case Deed::LineBack:
            return cloud.SetDown(action.deed == Deed::LineDown);
        case Deed::DiskFull:
        case Deed::DiskBack:
            watch.diskFull = action.deed == Deed::DiskFull;
            return;
    }
}

// A key of the priority pool is written first, but only where the file has no task yet.
void Host::Fetch(const PlannedFile& file, bool byPath) {
    const FileItem row = RowOf(file);
    if (row.GetFileId().empty() || (row.GetFileStatus() == 1 && LocalSum(file) == Narrow(row.GetHash()))) return;
    if (!HasTask(row.GetFileId(), 1)) {
        watch.HostWrites([&] { SyncRows::PutPriorityTask(row.GetFileId(), kKeyOfPriority); });
    }
    DOWNLOADTASK_CONTEXT job;
    job.localFilePath = world.Path(file.relative);
    job.fileSize = file.size;
    job.transferKey = kKeyOfPriority;
    job.isOnFetch = true;
    if (!byPath) job.fileId = row.GetFileId();
    VirtualTime::Start("fetch", [job]() mutable { TransferTaskService::getInstance().executeFetchData(job); });
}

// Fresh bytes every time; the remembered hash is blanked before a task is made.
void Host::Edit(const PlannedFile& file) {
    const FileItem row = RowOf(file);
    if (row.GetFileId().empty() || memory.Has("removed/" + Narrow(file.relative))) return;
    const auto kind = static_cast<unsigned>(1000000 + dice.Below(1000000000));
    // Now and then the size stays: only the hash can tell.
    const std::int64_t size = dice.OneOf(2) ? row.GetSize() : dice.Between(1, 100);
    world.WriteFile(file.relative, Content(static_cast<std::size_t>(std::max<std::int64_t>(size, 1)), kind));
    if (row.GetFileStatus() != 12) UploadAnew(row);
}

void Host::RequestStop(const PlannedFile& file) {
    const FileItem row = RowOf(file);
    if (row.GetFileStatus() != 22) return;
    watch.HostWrites([&] {
        world.Sql({"UPDATE T_task SET TaskStatus = 4 WHERE direction = 1 AND fileId = '" + Narrow(file.id) + "'"});
    });
}

}  // namespace Drive::Simulation
