#pragma once

#include <map>
#include <string>
#include <vector>

#include "host/engine/key_patience.h"
#include "host/get/download_run.h"
#include "host/get/placement.h"
#include "host/module/session.h"
#include "host/mount/carrier.h"
#include "host/mount/cloud_merge.h"
#include "host/mount/file_operations.h"
#include "host/mount/kernel_session.h"
#include "host/put/upload_run.h"
#include "host/report/reporter.h"

/// "mount": shows the cloud as a file system until it is unmounted or a signal comes. The kernel is answered on threads
/// of its own; this one brings what is read and carries away what was changed.
namespace Drive::Host {

struct MountOptions {
    std::string mountPoint;
    int everySeconds = 10;  ///< how often the cloud is asked for changes
    int attempts = 3;       ///< tries of one fetch before its readers get an error
    int stopSeconds = 30;
    ReportOptions report;
};

class MountRun : public Placer {
public:
    MountRun(Session& session, const MountOptions& options);

    /// An exit code; what there is to say is said.
    int Run();

    Shown Show(const CloudEntry& entry, const std::string& sha256, const std::optional<ProvedFile>& replaces,
               std::string& message) override;

private:
    /// One fetch that the engine was asked for.
    struct Fetching {
        NodePtr node;
        std::shared_ptr<FetchProgress> progress;
        std::string path;  ///< of the file when it was asked for
    };

    int Prepare();
    void ForgetEarlierRuns();
    bool List();
    bool Refresh(bool whole);
    bool IsKnown(const Cloud::CloudFile& change);
    void Turn();
    void BringWanted();
    void Bring(const NodePtr& node);
    void FetchEnded(const CloudEntry& entry, const Outcome& outcome);
    void TellProgress();
    std::string Evict(const std::string& path);
    std::string EvictNode(const NodePtr& node);
    void Finish();
    void EndFetches();
    void Report(const std::string& path, Result result, std::int64_t bytes, const std::string& message);

    Session& session;
    const MountOptions options;
    Reporter reporter;
    Wishes wishes;
    MountState state;
    const HydrationGuard guard;
    FileOperations files;
    KernelSession kernel;
    CloudMerge merge;
    Carrier carrier;
    DownloadRun downloads;
    UploadRun uploads;
    KeyPatience keys;
    std::map<std::wstring, Fetching> fetching;  // by file id
    std::wstring cursor;                        // of the changes that are known
    bool passedOver = false;                    // a change of something that was being sent
    std::int64_t lastAsked = 0;
    Tally tally;
};

}  // namespace Drive::Host
