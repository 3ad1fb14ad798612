#include "tests/simulation/life.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <fstream>

#include "service/transfer_task_service.h"
#include "tests/simulation/faults.h"
#include "tests/simulation/host.h"
#include "tests/support/journal.h"

namespace Drive::Simulation {

using namespace Testing;
using TransferService::TransferTaskService;

namespace {

constexpr std::int64_t kSecond = 1000;
constexpr std::int64_t kLongestDrain = 900 * kSecond;
constexpr std::size_t kLastLines = 60;
constexpr int kTicksOfRest = 3;

class Life {
public:
    Life(const Plan& chosen, std::size_t itsNumber, const std::string& itsFolder, bool logs)
        : plan(chosen),
          number(itsNumber),
          life(chosen.lives[itsNumber]),
          folder(itsFolder),
          log(logs),
          world(itsFolder),
          memory(Remembered(itsFolder)),
          cloud(chosen, life, memory),
          watch(chosen, life, world, cloud,
                {[this](int which, const std::string& sentence, const std::string& detail) {
                     Broken(which, sentence, detail);
                 },
                 [this] { End(0); }}),
          host(chosen, life, world, memory, cloud, watch),
          faults(life, watch) {}

    [[noreturn]] void Run();

private:
    static Memory Remembered(const std::string& folder) {
        Memory kept;
        kept.Load(folder + "/memory");
        return kept;
    }

    bool IsLast() const { return number + 1 == plan.lives.size(); }
    void RunService();
    void Pass();
    bool AtRest();
    void Stop();
    int ThreadsLeft() const;

    std::string Tidy(std::string text) const;
    void WriteLog() const;
    [[noreturn]] void Broken(int which, const std::string& sentence, const std::string& detail) const;
    [[noreturn]] void End(int status) const;

    const Plan& plan;
    const std::size_t number;
    const LifePlan& life;
    const std::string folder;
    const bool log;
    World world;
    Memory memory;
    Cloud cloud;
    Watch watch;
    Host host;
    Faults faults;
    int quietTicks = 0;
};

void Life::Run() {
    cloud.Install();
    watch.Attach();
    faults.Install();
    host.Listen();
    VirtualOptions options;
    options.seed = life.seed | 1;
    options.spuriousOneOf = 40;
    options.wallClock = 1700000000 + static_cast<std::int64_t>(number) * 1000;
    options.onStep = [this] { watch.Step(); };
    VirtualTime::Run(options, [this] { RunService(); });
    End(::testing::UnitTest::GetInstance()->Failed() ? 1 : 0);
}

void Life::RunService() {
    if (number == 0) host.SetUp();
    host.BeforeStart();
    watch.Begin();
    // Start sets what gives slots back after the dispatchers, by requirement; a worker that got in between would keep
    // its slot in a window of two statements.
    VirtualTime::KeepBaton(true);
    TransferTaskService::getInstance().startTransferTaskService();
    VirtualTime::KeepBaton(false);
    Pass();
    if (life.ending == Ending::Crash) End(0);
    Stop();
}

// Lets the time of the life go by, with the host's deeds at their moments.
void Life::Pass() {
    const std::int64_t reconcileEvery = IsLast() ? 5 * kSecond : 20 * kSecond;
    std::size_t next = 0;
    for (std::int64_t tick = kSecond; VirtualTime::Now() < life.length; tick += kSecond) {
        const std::int64_t until = std::min(tick, life.length);
        for (; next < life.actions.size() && life.actions[next].at <= until; ++next) {
            VirtualTime::AdvanceBy(std::max<std::int64_t>(0, life.actions[next].at - VirtualTime::Now()));
            host.Do(life.actions[next]);
        }
        VirtualTime::AdvanceBy(until - VirtualTime::Now());
        faults.Tick();
        if (tick % reconcileEvery == 0) host.Reconcile();
        if (life.ending == Ending::Rest && next == life.actions.size() && AtRest()) break;
    }
    if (!IsLast()) return;
    watch.seen.notDone = host.NotDone();
    watch.Check(Moment::CalmLifeOver);
}

// Nothing runs, and no feed would find anything.
bool Life::AtRest() {
    quietTicks = watch.Idle() && !watch.Waiting() ? quietTicks + 1 : 0;
    if (quietTicks < kTicksOfRest || (IsLast() && !host.NotDone().empty())) return false;
    watch.Check(Moment::Rest);
    return true;
}

void Life::Stop() {
    watch.seen.stopCalled = true;
    VirtualTime::Start("stop", [this] {
        const std::int64_t began = VirtualTime::Now();
        TransferTaskService::getInstance().stopTransferTaskService();
        watch.seen.stopTook = VirtualTime::Now() - began;
        watch.seen.stopReturned = true;
        for (const auto& [key, job] : watch.seen.jobs) {
            const bool download = job.pool == DownloadPool || job.pool == PriorityPool;
            if (download && job.passes > 0 && job.counted > 0) ++watch.seen.outlivedStop;
        }
    });
    const std::int64_t latest = VirtualTime::Now() + kLongestDrain;
    do {
        VirtualTime::AdvanceBy(kSecond);
        watch.seen.threadsLeft = ThreadsLeft();
    } while (VirtualTime::Now() < latest && (!watch.seen.stopReturned || watch.seen.threadsLeft > 0));
    watch.Check(Moment::Stopped);
}

int Life::ThreadsLeft() const {
    const auto threads = VirtualTime::Threads();
    return static_cast<int>(std::count_if(threads.begin(), threads.end(), [](const ThreadState& thread) {
        return thread.name != "test" && thread.state != "waits for a condition";
    }));
}

std::string Life::Tidy(std::string text) const {
    std::string engineFolder = folder;
    std::replace(engineFolder.begin(), engineFolder.end(), '/', '\\');
    for (const std::string& name : {folder, engineFolder}) {
        for (auto at = text.find(name); at != std::string::npos; at = text.find(name)) text.erase(at, name.size());
    }
    return text;
}

void Life::WriteLog() const {
    std::ofstream out(folder + "/log", std::ios::app);
    out << "life " << number << "\n" << Tidy(Journal::Dump());
}

void Life::Broken(int which, const std::string& sentence, const std::string& detail) const {
    std::string lines;
    const std::vector<Entry> entries = Journal::Entries();
    for (std::size_t i = entries.size() > kLastLines ? entries.size() - kLastLines : 0; i < entries.size(); ++i) {
        lines += "  " + std::to_string(entries[i].time) + " ms  " + entries[i].thread + "  " + entries[i].Line() + "\n";
    }
    std::printf(
        "%s\nseed %llu, life %zu of %zu, at %lld ms, step %llu: INV-%02d does not hold\n  %s\n  %s\n"
        "to repeat it: zelkor_simulation --seed %llu --log\n",
        Tidy(lines).c_str(), static_cast<unsigned long long>(plan.seed), number + 1, plan.lives.size(),
        static_cast<long long>(VirtualTime::Now()), static_cast<unsigned long long>(watch.steps), which,
        sentence.c_str(), detail.c_str(), static_cast<unsigned long long>(plan.seed));
    End(1);
}

void Life::End(int status) const {
    if (log) WriteLog();
    memory.Save(folder + "/memory");
    std::fflush(nullptr);
    _exit(status);
}

}  // namespace

void Live(const Plan& plan, std::size_t number, const std::string& folder, bool log) {
    auto* life = new Life(plan, number, folder, log);
    life->Run();
}

}  // namespace Drive::Simulation
