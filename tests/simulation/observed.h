#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

/// What the checks look at: a picture of the engine, its rows and the outside, brought up to date at every step.
namespace Drive::Simulation {

enum Pool { DownloadPool, PriorityPool, UploadPool, ThumbnailPool, kPools };

/// The slots of one kind of worker.
struct Slots {
    int made = 0;
    int left = 0;
    int refused = 0;  ///< gone with a work item that the pool refused
    int keyless = 0;  ///< gone with a retry whose row had gone
    int moved = 0;    ///< gone to another kind with a retry whose row had got that kind's key; below zero: come
};

/// One work item from its acceptance to its end.
struct Job {
    Pool pool = DownloadPool;
    std::wstring fileId;
    std::string thread;  ///< empty until it has begun
    int slotsBack = 0;   ///< how often it gave its slot back
    int counted = 0;     ///< what it added to the count of running jobs, less what it took off
    bool everCounted = false;
    bool transfers = false;  ///< it holds the claim on its file
    bool keyless = false;    ///< its reload found no row, and with it no key
    int keyPool = -1;        ///< the kind that the key of its reloaded row belongs to; -1 before a reload
    bool reloads = false;    ///< it has raised its priority and reads its row again
    bool afterStop = false;  ///< it began once stop had returned
    bool vanished = false;   ///< an upload whose file was seen to be gone
    int handles = 0;         ///< files that it has open

    // Events to the host.
    int finished = 0;
    int failed = 0;
    int closed = 0;
    int afterEnd = 0;        ///< events after the end, the closing one left out
    std::int64_t next = -1;  ///< offset that the next block must have; -1 before the first
    bool gap = false;
    std::string wrongContent;  ///< what was wrong with the content when it was told to be complete

    // An upload's.
    int told = 0;             ///< events that say that it is done
    bool tookHome = false;    ///< it wrote that its file is in step
    bool byProxy = false;     ///< it sent content through the file proxy
    bool proxyHas = false;    ///< the proxy's last answer said that it has the whole content
    bool proxyGone = false;   ///< the last slice met a URL that is gone
    bool recordLeft = false;  ///< at its end its task holds a position

    int passes = 0;
    std::int64_t firstWrite = -1;  ///< where a download's first block went
    int piecesAfterCancel = 0;     ///< blocks that were delivered once its row said cancel or stop
};

struct FileState {
    std::wstring fileId;
    int fileStatus = 0;
    int status = 0;
    std::int64_t size = 0;
    std::wstring hash;
    std::wstring localSha256;
};

struct TaskState {
    std::wstring fileId;
    int direction = 0;
    int taskStatus = 0;
    int priority = 0;
    std::wstring record;
};

struct Observed {
    std::array<Slots, kPools> slots;
    std::map<std::uint64_t, Job> jobs;  ///< by the order of acceptance
    const Job* ended = nullptr;         ///< the one whose end is being looked at
    int downloadCount = 0;
    int uploadCount = 0;

    std::map<std::string, FileState> files;   ///< by place
    std::map<std::string, FileState> before;  ///< the same before the change that is being looked at
    std::vector<TaskState> tasks;
    std::set<std::string> stuck;             ///< places at 12 or 22 whose worker is of an earlier life
    std::set<std::string> refusedAsRunning;  ///< places that a refused claim left at 12
    std::set<std::wstring> faulted;          ///< ids for which the database failed in this life
    bool databaseFailed = false;             ///< a statement that names no file failed in this life
    std::set<std::string> removed;           ///< places whose local file was removed
    std::string recordAhead;                 ///< what is wrong with a position record
    std::string proxyTrouble;                ///< what the file proxy should not have been sent
    std::string notInCloud;                  ///< what is wrong with a row that says that its upload is done

    std::array<bool, kPools> queueEmpty{};
    bool downloadFeedIdle = true;
    bool uploadFeedIdle = true;
    std::int64_t downloadFeedStuck = 0;  ///< milliseconds for which the feed was closed with nothing that could open it
    std::int64_t uploadFeedStuck = 0;

    int fullMessages = 0;
    int willBeFullMessages = 0;
    std::int64_t willBeFullDistance = 1 << 30;  ///< seconds between the last two of them

    bool stopCalled = false;
    bool stopReturned = false;
    std::int64_t stopTook = 0;
    int outlivedStop = 0;              ///< downloads that were transferring when stop returned
    int begunAfterStop = 0;            ///< transfers that began once stop had returned
    int threadsLeft = 0;               ///< that are neither dispatchers parked on a condition nor the run's own
    std::vector<std::string> notDone;  ///< files that a calm life has not brought home
};

}  // namespace Drive::Simulation
