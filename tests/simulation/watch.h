#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <set>
#include <string>

#include "interfaces/database/update_info.h"
#include "service/shared/transfer_records.h"
#include "tests/simulation/cloud.h"
#include "tests/simulation/invariants.h"
#include "tests/simulation/observed.h"
#include "tests/simulation/plan.h"
#include "tests/support/virtual_time.h"
#include "tests/support/world.h"

namespace Drive::Simulation {

/// Keeps the picture that the invariants look at, from the doubles' hooks and from the engine's own members, and holds
/// the invariants against it. Everything runs with the baton, so nothing here needs a lock.
class Watch {
public:
    /// What ends a life before its time.
    struct Ends {
        std::function<void(int number, const std::string& sentence, const std::string& detail)> broken;
        std::function<void()> crash;
    };

    Watch(const Plan& plan, const LifePlan& life, Testing::World& world, Cloud& cloud, Ends ends);

    /// Sets the slots of this life and hangs itself into the doubles and the pool. Before the run.
    void Attach();
    /// From here on every step is looked at: the service has been started.
    void Begin();

    /// To be called by the run at every step.
    void Step();

    /// The host writes rows of its own.
    void HostWrites(const std::function<void()>& writing);
    /// An event of the download callback, on the worker's thread; before the host answers it.
    void Event(const TransferService::DOWNLOADCALLBACK_CONTEXT& record);
    /// An event of the upload callback, on the worker's thread.
    void UploadEvent(int kind);
    /// A message of the service.
    void Message(int number);
    void Removed(const std::string& place) { seen.removed.insert(place); }
    /// The database has refused a statement about this file; empty for one that names none.
    void Fault(const std::wstring& fileId);
    /// The same about the file of the job that calls, if one does.
    void FaultOfJob();

    /// Holds the invariants of this moment.
    void Check(Moment moment);

    Observed seen;
    std::uint64_t steps = 0;
    bool diskFull = false;  ///< no local write succeeds

    /// No job runs, no queue holds anything.
    bool Idle() const;
    /// A feed would still find something.
    bool Waiting() const;
    const PlannedFile* Planned(const std::string& place) const;

private:
    // watch.cpp
    void OnItem(const Testing::ScriptedPool::Item& item, Testing::ScriptedPool::Stage stage);
    void JobEnds(std::map<std::uint64_t, Job>::iterator job);
    Job* Mine();
    void ReadEngine();
    void ReadFeeds();

    // watch_hooks.cpp
    void WatchDatabase();
    void WatchFiles();
    void WatchCloud();
    void WatchProxy();
    void FileWritten(bool ok, const SQLiteDB::UpdateDBInfo& info);
    void TaskWritten(bool ok, const SQLiteDB::UpdateDBInfo& info, int direction);
    void Piece();
    void ReadRecordLeft(Job& job) const;

    // watch_rows.cpp
    void ReadRows();
    std::string RecordAhead() const;
    std::string PositionAhead(const TaskState& task) const;
    std::string StoreAhead(const TaskState& task) const;
    std::string NotInCloud() const;
    std::string WrongContent(const std::wstring& path, const Job& job) const;

    const Plan& plan;
    const LifePlan& life;
    Testing::World& world;
    Cloud& cloud;
    Ends ends;
    std::map<const void*, std::uint64_t> byArgument;
    std::uint64_t accepted = 0;
    bool begun = false;
    bool looking = false;
    bool rowsChanged = false;
    std::set<std::wstring> cancelled;
    std::int64_t downloadFeedOpen = 0;
    std::int64_t uploadFeedOpen = 0;
    std::int64_t lastWillBeFull = -1;
};

}  // namespace Drive::Simulation
