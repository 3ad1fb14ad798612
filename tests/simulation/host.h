#pragma once

#include <set>
#include <string>
#include <vector>

#include "interfaces/common/file_item.h"
#include "service/shared/transfer_records.h"
#include "tests/simulation/cloud.h"
#include "tests/simulation/dice.h"
#include "tests/simulation/memory.h"
#include "tests/simulation/plan.h"
#include "tests/simulation/watch.h"
#include "tests/support/world.h"

namespace Drive::Simulation {

/// A host that keeps the rules of docs/host-guide.md: it writes the rows, makes missing tasks anew, checks every file
/// that came, takes notice of local edits, and hands what an on-demand fetch brings to the local file.
class Host {
public:
    Host(const Plan& plan, const LifePlan& life, Testing::World& world, Memory& memory, Cloud& cloud, Watch& watch);

    /// The rows and local files with which a history begins.
    void SetUp();
    /// What a host does with the rows before it starts the engine.
    void BeforeStart();
    /// Sets the callbacks.
    void Listen();

    void Do(const Action& action);
    /// The pass of every few minutes: missing tasks, files that came, local edits.
    void Reconcile();

    /// The files that are not home, each with what is wrong. Nothing is left to be done when there is none.
    std::vector<std::string> NotDone() const;

private:
    void PutRow(const PlannedFile& file);
    bool OnEvent(TransferService::DOWNLOADCALLBACK_CONTEXT& record);
    bool Take(const TransferService::DOWNLOADCALLBACK_CONTEXT& record);

    void Fetch(const PlannedFile& file, bool byPath);
    void Edit(const PlannedFile& file);
    void RequestStop(const PlannedFile& file);

    std::vector<Common::FileItem> Rows() const;
    Common::FileItem RowOf(const PlannedFile& file) const;
    bool HasTask(const std::wstring& fileId, int direction) const;
    void MakeTasks(bool alsoRunning);
    void CheckDownloads();
    void CheckUploads();
    void CutOverlong();
    void DropLeftOvers(const Common::FileItem& row);
    void DownloadAnew(Common::FileItem row);
    void UploadAnew(Common::FileItem row);
    void DropStaleHash(const Common::FileItem& row, const PlannedFile& file);
    std::string LocalSum(const PlannedFile& file) const;

    const Plan& plan;
    const LifePlan& life;
    Testing::World& world;
    Memory& memory;
    Cloud& cloud;
    Watch& watch;
    Dice dice;
};

}  // namespace Drive::Simulation
