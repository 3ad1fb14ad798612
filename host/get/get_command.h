#pragma once

#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "host/engine/key_patience.h"
#include "host/get/cloud_tree.h"
#include "host/get/decide.h"
#include "host/get/download_run.h"
#include "host/get/file_rows.h"
#include "host/get/outcome.h"
#include "host/get/placement.h"
#include "host/module/session.h"
#include "host/report/progress_meter.h"
#include "host/report/reporter.h"

/// "get": makes the visible tree hold what the cloud holds. One thread; one run.
namespace Drive::Host {

struct GetOptions {
    double timeoutSeconds = 0;              ///< 0 for none
    std::optional<std::int64_t> limitRate;  ///< bytes a second
    int attempts = 6;
    int stopSeconds = 30;
    bool verify = false;            ///< read every file that is here again
    bool overwrite = false;         ///< move what was changed here aside instead of keeping it in place
    std::vector<std::string> only;  ///< these entries, with all below them; empty for everything
    bool ifChanged = false;         ///< do nothing when the cloud tells no change since the last run that went well
    bool onDemand = false;          ///< ahead of everything else
    bool dryRun = false;            ///< tell what would be done, and do nothing
    ReportOptions report;
};

class GetCommand {
public:
    GetCommand(Session& session, const GetOptions& options);

    /// An exit code; what there is to say is said.
    int Run();

    /// The exit code when it is only wanted if something has changed, and the cloud tells no change. Needs a session
    /// that can ask, no more.
    std::optional<int> RunIfNothingNew();

private:
    bool NothingNew();
    int List(std::vector<CloudEntry>& entries);
    void PrepareRows();
    bool Choose(std::vector<CloudEntry>& entries);
    void HandOn(const std::vector<CloudEntry>& entries);
    void ForgetGone(const std::vector<CloudEntry>& entries);
    EntryFacts FactsOf(const CloudEntry& entry) const;
    void Act(const CloudEntry& entry);
    void Perform(const CloudEntry& entry, const EntryFacts& facts, const Decision& decision);
    void Keep(const CloudEntry& entry, EntryFacts facts, const Decision& decision);
    void MakeFolder(const CloudEntry& entry, const EntryFacts& facts, Result result);
    void MakeEmpty(const CloudEntry& entry, const EntryFacts& facts, const Decision& decision);
    void CheckVisible(const CloudEntry& entry, const EntryFacts& facts, Result whenGood);
    void MoveHere(const CloudEntry& entry, const EntryFacts& facts);
    void PlaceStaged(const CloudEntry& entry, const EntryFacts& facts, const Decision& decision);
    void RemoveHusks(std::string folder);
    void Queue(const CloudEntry& entry, const EntryFacts& facts, const Decision& decision);
    void WriteRow(const CloudEntry& entry, const EntryFacts& facts, const std::wstring& localSha256);
    void Tell(const CloudEntry& entry, Result result, const std::string& message);
    void Plan(const CloudEntry& entry, const EntryFacts& facts, const Decision& decision);
    bool EnoughSpace();
    int Download();
    int CodeOf(RunEnd end);
    bool ShowProgress();
    bool Late() const;
    int Finish(int code);

    Session& session;
    const GetOptions options;
    Reporter reporter;
    Placement placement;
    DownloadRun downloads;
    const std::int64_t started;
    const DownloadLimits limits;
    RowSnapshot rows;
    std::unordered_set<std::string> folders;  // paths of the cloud's folders
    std::unordered_map<std::string, ProvedFile> proved;
    std::unordered_map<std::string, Trouble> troubles;
    std::uint64_t receivedBefore = 0;
    ProgressMeter meter;
    KeyPatience keys;
    Tally tally;
    std::string cursor;  // of the changes after this run's list
};

}  // namespace Drive::Host
