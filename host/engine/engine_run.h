#pragma once

#include <cstdint>
#include <string>
#include <vector>

/// The engine as the host sees it: one start per process, its callbacks turned into a list of events, and an end with
/// a deadline.
namespace Drive::Host {

struct EngineEvent {
    enum class Kind {
        Arrived,    ///< a file is complete at `path`, and the row is at 1
        Ended,      ///< a download ended without the file; the row is at 23 and the task is gone
        Uploaded,   ///< the file at `path` is in the cloud
        SpaceFull,  ///< the user's space is full
        SpaceLow,   ///< the user's space will soon be full
        Migrating   ///< the cloud is being moved; all tasks are gone
    };
    Kind kind;
    std::wstring path;  ///< as the engine writes it, full; empty where no file is meant
};

class EngineRun {
public:
    /// Sets all callbacks and starts the service. Once per process, after the database is open and the folders and
    /// limits are set.
    static void Start();

    /// Waits for the next event, this long at most, and takes all that came.
    static std::vector<EngineEvent> Wait(int milliseconds);

    /// Ends a Wait early. Any thread.
    static void Wake();

    /// Downloads that are running now.
    static int RunningDownloads();

    /// Asks the download of that path to end; it does at its next block, and reports Ended.
    static void CancelDownload(const std::wstring& path);

    /// True once the cloud has given the keys of the account; before that the engine moves nothing.
    static bool HasKeys();

    /// Lets uploads begin again after a migration. Only while no upload runs.
    static void ForgetMigration();

    /// Stops the service on a thread of its own. What has not ended after two seconds waits for the cloud, and its
    /// calls are broken off. False when it has not ended after `milliseconds`; the process can then only end.
    static bool Stop(int milliseconds);
};

}  // namespace Drive::Host
