#include "tests/simulation/watch.h"

#include <algorithm>

#include "download/download_task_manager.h"
#include "tests/simulation/engine_members.h"
#include "tests/support/journal.h"
#include "tests/support/watching.h"

namespace Drive::Testing {

template struct PrivateMember<CountOfSlots, &TaskSemaphore::count>;
template struct PrivateMember<DownloadQueueOf, &TransferTaskService::downloadQueue>;
template struct PrivateMember<UploadQueueOf, &TransferTaskService::uploadQueue>;
template struct PrivateMember<PriorityQueueOf, &TransferTaskService::priorityQueue>;
template struct PrivateMember<ThumbnailQueueOf, &TransferTaskService::thumbnailQueue>;
template struct PrivateMember<UploadCountOf, &UpLoadTaskManger::uploadingTaskCount>;

}  // namespace Drive::Testing

namespace Drive::Simulation {

using namespace Testing;
using TransferService::DownLoadTaskManger;
using Stage = ScriptedPool::Stage;

namespace {

constexpr int kKeyOfPriority = 2;

TaskSemaphore& SlotsOf(int pool) {
    if (pool == UploadPool) return *TransferService::uploadSemaphore;
    if (pool == ThumbnailPool) return *TransferService::thumbnailSemaphore;
    return pool == PriorityPool ? *TransferService::prioritySemaphore : *TransferService::downloadSemaphore;
}

int& Count(int pool) { return SlotsOf(pool).*Reach(CountOfSlots()); }

bool Empty(int pool) {
    auto& service = TransferTaskService::getInstance();
    if (pool == UploadPool) return (service.*Reach(UploadQueueOf()))->empty();
    if (pool == PriorityPool) return (service.*Reach(PriorityQueueOf()))->empty();
    if (pool == ThumbnailPool) return (service.*Reach(ThumbnailQueueOf()))->empty();
    return (service.*Reach(DownloadQueueOf()))->empty();
}

Job JobOf(const ScriptedPool::Item& item) {
    Job job;
    if (item.routine == DownLoadTaskManger::DownloadThumbnailThreadFunc) {
        job.pool = ThumbnailPool;
        job.fileId = (*static_cast<WMap*>(item.argument))[L"fileId"];
        return job;
    }
    const auto& task = *static_cast<const Common::TaskItem*>(item.argument);
    job.fileId = task.GetFileId();
    if (item.routine == UpLoadTaskManger::UploadThreadFunc) {
        job.pool = UploadPool;
    } else if (task.GetTransferKey() == kKeyOfPriority) {
        job.pool = PriorityPool;
    }
    return job;
}

}  // namespace

Watch::Watch(const Plan& chosen, const LifePlan& ofLife, World& ofWorld, Cloud& ofCloud, Ends whenOver)
    : plan(chosen), life(ofLife), world(ofWorld), cloud(ofCloud), ends(std::move(whenOver)) {}

void Watch::Attach() {
    const int made[] = {life.downloadSlots, life.prioritySlots, life.uploadSlots, life.thumbnailSlots};
    for (int pool = 0; pool < kPools; ++pool) {
        Count(pool) = made[pool];
        seen.slots[static_cast<std::size_t>(pool)].made = seen.slots[static_cast<std::size_t>(pool)].left = made[pool];
    }
    ScriptedPool::Observe([this](const ScriptedPool::Item& item, Stage stage) { OnItem(item, stage); });
    WatchDatabase();
    WatchFiles();
    WatchCloud();
}

void Watch::Begin() {
    ReadRows();
    for (const auto& [place, file] : seen.files) {
        if (file.fileStatus == 12 || file.fileStatus == 22) seen.stuck.insert(place);
    }
    begun = true;
}

bool Watch::Idle() const {
    return seen.jobs.empty() &&
           std::all_of(seen.queueEmpty.begin(), seen.queueEmpty.end(), [](bool empty) { return empty; });
}

bool Watch::Waiting() const {
    return std::any_of(seen.tasks.begin(), seen.tasks.end(), [&](const TaskState& task) {
        return std::any_of(seen.files.begin(), seen.files.end(), [&](const auto& each) {
            const FileState& file = each.second;
            if (file.fileId != task.fileId || file.fileStatus == 1 || task.direction == 3) return false;
            return (file.fileStatus >= 20) == (task.direction == 1) || file.fileStatus == 0;
        });
    });
}

const PlannedFile* Watch::Planned(const std::string& place) const {
    for (const PlannedFile& file : plan.files) {
        if (Narrow(file.relative) == place) return &file;
    }
    return nullptr;
}

Job* Watch::Mine() {
    const std::string thread = VirtualTime::ThreadName();
    for (auto& [number, job] : seen.jobs) {
        if (job.thread == thread) return &job;
    }
    return nullptr;
}

void Watch::OnItem(const ScriptedPool::Item& item, Stage stage) {
    if (stage == Stage::Accepted || stage == Stage::Refused) {
        Job job = JobOf(item);
        if (stage == Stage::Refused) {
            ++seen.slots[job.pool].refused;
            return;
        }
        byArgument[item.argument] = ++accepted;
        seen.jobs[accepted] = job;
        return;
    }
    if (stage == Stage::Begun) {
        Job& job = seen.jobs[byArgument[item.argument]];
        byArgument.erase(item.argument);
        job.thread = VirtualTime::ThreadName();
        job.afterStop = seen.stopReturned;
        return;
    }
    const std::string thread = VirtualTime::ThreadName();
    JobEnds(
        std::find_if(seen.jobs.begin(), seen.jobs.end(), [&](const auto& job) { return job.second.thread == thread; }));
}

void Watch::JobEnds(std::map<std::uint64_t, Job>::iterator job) {
    Step();
    if (job->second.keyless) ++seen.slots[job->second.pool].keyless;
    ReadRecordLeft(job->second);
    seen.ended = &job->second;
    Check(Moment::JobEnded);
    seen.ended = nullptr;
    for (const auto& [place, file] : seen.files) {
        if (job->second.pool == UploadPool && !job->second.everCounted && file.fileId == job->second.fileId &&
            file.fileStatus == 12) {
            seen.refusedAsRunning.insert(place);
        }
    }
    seen.jobs.erase(job);
}

void Watch::ReadEngine() {
    Job* mine = Mine();
    for (int pool = 0; pool < kPools; ++pool) {
        Slots& slots = seen.slots[static_cast<std::size_t>(pool)];
        const int change = Count(pool) - slots.left;
        slots.left += change;
        if (change > 0 && mine != nullptr && mine->pool == pool) mine->slotsBack += change;
        if (change > 0 && mine != nullptr && mine->pool != pool && mine->keyPool == pool) {
            mine->slotsBack += change;
            seen.slots[mine->pool].moved += change;
            seen.slots[static_cast<std::size_t>(pool)].moved -= change;
        }
        seen.queueEmpty[static_cast<std::size_t>(pool)] = Empty(pool);
    }
    const int downloads = DownLoadTaskManger::getInstance().getDownloadingTaskCount();
    const int uploads = *Reach(UploadCountOf());
    const int change = downloads - seen.downloadCount + uploads - seen.uploadCount;
    seen.downloadCount = downloads;
    seen.uploadCount = uploads;
    if (mine == nullptr) return;
    mine->counted += change;
    if (change > 0) mine->everCounted = true;
}

// A feed is closed for good when nothing is left that could open it: no job, nothing queued, and no refused work item,
// whose job would have reported. A dispatcher whose last slot went with a retry that had no key holds its task for
// ever.
void Watch::ReadFeeds() {
    const std::int64_t now = VirtualTime::Now();
    const auto busy = [&](int pool) {
        return !seen.queueEmpty[static_cast<std::size_t>(pool)] ||
               seen.slots[static_cast<std::size_t>(pool)].refused > 0 ||
               (seen.slots[static_cast<std::size_t>(pool)].keyless > 0 &&
                seen.slots[static_cast<std::size_t>(pool)].left == 0) ||
               std::any_of(seen.jobs.begin(), seen.jobs.end(),
                           [&](const auto& job) { return job.second.pool == pool; });
    };
    seen.downloadFeedIdle = TransferService::downloadFeedIdle;
    seen.uploadFeedIdle = TransferService::uploadFeedIdle;
    if (seen.downloadFeedIdle || busy(DownloadPool) || seen.stopCalled) downloadFeedOpen = now;
    if (seen.uploadFeedIdle || busy(UploadPool) || seen.stopCalled) uploadFeedOpen = now;
    seen.downloadFeedStuck = now - downloadFeedOpen;
    seen.uploadFeedStuck = now - uploadFeedOpen;
}

void Watch::Step() {
    if (!begun || looking) return;
    looking = true;
    ++steps;
    ReadEngine();
    ReadFeeds();
    if (rowsChanged) {
        ReadRows();
        Check(Moment::Rows);
    }
    Check(Moment::Step);
    if (life.ending == Ending::Crash && steps == life.crashStep) ends.crash();
    looking = false;
}

void Watch::Check(Moment moment) {
    std::string detail;
    const Invariant* broken = FirstBroken(moment, seen, detail);
    if (broken != nullptr) ends.broken(broken->number, broken->sentence, detail);
}

void Watch::HostWrites(const std::function<void()>& writing) {
    if (begun && rowsChanged) {
        ReadRows();
        Check(Moment::Rows);
    }
    Unwatched past;
    KeepBaton keep;
    writing();
    ReadRows();
    seen.before = seen.files;
}

void Watch::Fault(const std::wstring& fileId) {
    if (fileId.empty()) {
        seen.databaseFailed = true;
    } else {
        seen.faulted.insert(fileId);
    }
}

void Watch::FaultOfJob() {
    const Job* mine = Mine();
    if (mine != nullptr) Fault(mine->fileId);
}

void Watch::Message(int number) {
    if (number == 2) ++seen.fullMessages;
    if (number != 3) return;
    ++seen.willBeFullMessages;
    const std::int64_t now = VirtualTime::WallClock();
    if (lastWillBeFull >= 0) seen.willBeFullDistance = now - lastWillBeFull;
    lastWillBeFull = now;
}

}  // namespace Drive::Simulation
