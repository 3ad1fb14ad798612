// The thread pool on virtual threads, steered by ScriptedPool.
#include <atomic>
#include <deque>
#include <exception>
#include <mutex>

#include "interfaces/platform/thread_pool.h"
#include "interfaces/platform/worker_errors.h"
#include "tests/support/journal.h"
#include "tests/support/kernel.h"
#include "tests/support/untraced.h"

namespace Drive::Testing {

namespace {

struct Pool {
    std::mutex mutex;
    int refusals = 0;
    int taskRefusals = 0;
    int taskToRefuse = 0;
    bool hold = false;
    std::deque<ScriptedPool::Item> held;
    std::vector<ScriptedPool::Item> queued;
    std::function<void(const ScriptedPool::Item&, ScriptedPool::Stage)> observer;
    // Accepted and not returned, what is held included. Orders nothing, so that the sanitizer sees the engine's races.
    std::atomic<int> running{0};
};

Pool& ThePool() {
    static auto* pool = new Pool;
    return *pool;
}

void Report(const char* where) {
    try {
        throw;
    } catch (const std::exception& error) {
        Journal::Write(Kind::Pool, std::string(where) + " threw " + error.what());
        Platform::ReportWorkerError(error.what());
    } catch (...) {
        Journal::Write(Kind::Pool, std::string(where) + " threw something");
        Platform::ReportWorkerError("an exception of unknown type");
    }
}

void CountRunning(int change) { ThePool().running.fetch_add(change, std::memory_order_relaxed); }

void Tell(const ScriptedPool::Item& item, ScriptedPool::Stage stage) {
    Untraced hidden;
    if (ThePool().observer) ThePool().observer(item, stage);
}

void StartItem(const ScriptedPool::Item& item) {
    Untraced hidden;
    Kernel::Get().Launch("work", [item] {
        Tell(item, ScriptedPool::Stage::Begun);
        try {
            item.routine(item.argument);
        } catch (...) {
            Report("work item");
        }
        Tell(item, ScriptedPool::Stage::Ended);
        CountRunning(-1);
    });
}

bool TakeRefusal(int& refusals) {
    if (refusals <= 0) return false;
    --refusals;
    return true;
}

}  // namespace

void ScriptedPool::FailNext(int count) { ThePool().refusals = count; }
void ScriptedPool::FailNextTasks(int count) { ThePool().taskRefusals = count; }
void ScriptedPool::FailTask(int number) { ThePool().taskToRefuse = number; }
void ScriptedPool::Hold(bool on) { ThePool().hold = on; }

std::vector<ScriptedPool::Item> ScriptedPool::Held() {
    std::lock_guard<std::mutex> lock(ThePool().mutex);
    return {ThePool().held.begin(), ThePool().held.end()};
}

bool ScriptedPool::ReleaseOne() {
    Item item{};
    {
        std::lock_guard<std::mutex> lock(ThePool().mutex);
        if (ThePool().held.empty()) return false;
        item = ThePool().held.front();
        ThePool().held.pop_front();
    }
    StartItem(item);
    return true;
}

void ScriptedPool::ReleaseAll() {
    while (ReleaseOne()) {
    }
}

std::vector<ScriptedPool::Item> ScriptedPool::Queued() {
    std::lock_guard<std::mutex> lock(ThePool().mutex);
    return ThePool().queued;
}

void ScriptedPool::Observe(std::function<void(const Item&, Stage)> observer) {
    ThePool().observer = std::move(observer);
}

void ScriptedPool::Reset() {
    Pool& pool = ThePool();
    std::lock_guard<std::mutex> lock(pool.mutex);
    pool.refusals = pool.taskRefusals = pool.taskToRefuse = 0;
    pool.hold = false;
    CountRunning(-static_cast<int>(pool.held.size()));
    pool.held.clear();
    pool.queued.clear();
    pool.observer = nullptr;
}

}  // namespace Drive::Testing

namespace Drive::Platform {

using namespace Drive::Testing;

BOOL QueueUserWorkItem(WorkItem routine, void* argument, ULONG flags) {
    VirtualTime::MaybeYield();
    const ScriptedPool::Item item{routine, argument, flags};
    bool refused = false;
    bool held = false;
    {
        Pool& pool = ThePool();
        std::lock_guard<std::mutex> lock(pool.mutex);
        pool.queued.push_back(item);
        refused = TakeRefusal(pool.refusals);
        held = !refused && pool.hold;
        if (held) pool.held.push_back(item);
    }
    Journal::Write(Kind::Pool, std::string("QueueUserWorkItem(") + (argument == nullptr ? "null, " : "") +
                                   std::to_string(flags) + ")" + (refused ? " refused" : ""));
    Tell(item, refused ? ScriptedPool::Stage::Refused : ScriptedPool::Stage::Accepted);
    if (refused) return 0;
    CountRunning(1);
    if (!held) StartItem(item);
    return 1;
}

bool StartTaskThread(TaskBody body, void* argument) {
    VirtualTime::MaybeYield();
    bool refused = false;
    {
        std::lock_guard<std::mutex> lock(ThePool().mutex);
        refused = TakeRefusal(ThePool().taskRefusals);
        if (ThePool().taskToRefuse > 0 && --ThePool().taskToRefuse == 0) refused = true;
    }
    Journal::Write(Kind::Pool, std::string("StartTaskThread()") + (refused ? " refused" : ""));
    if (refused) return false;
    CountRunning(1);
    Untraced hidden;
    return Kernel::Get().Launch("task", [body, argument] {
        try {
            body(argument);
        } catch (...) {
            Report("task");
        }
        CountRunning(-1);
    });
}

int RunningWorkCount() { return ThePool().running.load(std::memory_order_relaxed); }

}  // namespace Drive::Platform
