#pragma once

#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "host/engine/key_patience.h"
#include "host/get/cloud_tree.h"
#include "host/get/file_rows.h"
#include "host/get/outcome.h"
#include "host/get/placement.h"
#include "host/module/session.h"
#include "host/put/local_tree.h"
#include "host/put/put_decide.h"
#include "host/put/upload_run.h"
#include "host/report/progress_meter.h"
#include "host/report/reporter.h"

/// "put": sends what the visible tree holds and the cloud does not. Nothing is removed from the cloud. One thread; one
/// run.
namespace Drive::Host {

struct PutOptions {
    double timeoutSeconds = 0;              ///< 0 for none
    std::optional<std::int64_t> limitRate;  ///< bytes a second
    int attempts = 6;
    int stopSeconds = 30;
    bool overwrite = false;
    bool dryRun = false;  ///< tell what would be done, and do nothing
    ReportOptions report;
};

class PutCommand {
public:
    PutCommand(Session& session, const PutOptions& options);

    /// An exit code; what there is to say is said.
    int Run();

private:
    int List();
    void ReadState();
    PutFacts FactsOf(const LocalEntry& entry) const;
    void Act(const LocalEntry& entry);
    void Perform(const LocalEntry& entry, const PutFacts& facts, PutStep step, const std::string& reason);
    void Compare(const LocalEntry& entry, const PutFacts& facts, const PutDecision& decision);
    void CreateFolder(const LocalEntry& entry);
    void CreateEmpty(const LocalEntry& entry, const PutFacts& facts, bool replace);
    void KeepRow(const LocalEntry& entry, const Cloud::CloudFile& file, const std::wstring& localSha256);
    void Queue(const LocalEntry& entry, const PutFacts& facts, bool fresh);
    void DropTask(const LocalEntry& entry);
    void LeaveAlone(const LocalEntry& entry, Result result, const std::string& reason);
    static void ForgetPictures(const LocalEntry& entry);
    std::optional<std::wstring> ParentIdOf(const LocalEntry& entry) const;
    void Tell(const LocalEntry& entry, Result result, const std::string& message);
    void Plan(const LocalEntry& entry, const PutFacts& facts, PutStep step);
    void Emptied(const UploadRun::Job& job);
    void Notice(EngineEvent::Kind kind);
    int Upload();
    int CodeOf(RunEnd end);
    void ForgetFullSpace();
    void Prove();
    std::pair<Result, std::string> ProofOf(const UploadRun::Job& job);
    bool ShowProgress();
    bool Late() const;
    int Finish(int code);

    Session& session;
    const PutOptions options;
    Reporter reporter;
    Placement placement;
    UploadRun uploads;
    const std::int64_t started;
    const DownloadLimits limits;
    std::unordered_map<std::string, CloudEntry> cloud;               // by path
    std::unordered_map<std::wstring, Cloud::CloudFile> shown;        // by id, as the cloud lists them afterwards
    std::unordered_map<std::string, std::wstring> folderIds;         // by path; folders that the cloud has
    std::unordered_map<std::wstring, Common::FileItem> rowsByPlace;  // by folder and name
    std::unordered_map<std::wstring, bool> uploadTasks;              // by file id
    std::unordered_map<std::string, ProvedFile> proved;
    std::unordered_map<std::string, SentFile> sending;
    std::unordered_map<std::string, Trouble> troubles;
    std::uint64_t sentBefore = 0;
    ProgressMeter meter;
    KeyPatience keys;
    Tally tally;
};

}  // namespace Drive::Host
