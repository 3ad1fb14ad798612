#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <initializer_list>
#include <string>
#include <vector>

#include "download/download_task_manager.h"
#include "service/transfer_task_service.h"
#include "tests/support/journal.h"
#include "tests/support/operation.h"
#include "tests/support/scripted_cloud.h"
#include "tests/support/virtual_time.h"
#include "tests/support/watched_common.h"
#include "tests/support/watched_database.h"
#include "tests/support/watched_files.h"
#include "tests/support/world.h"

namespace Drive::Testing {

using Texts = std::vector<std::string>;

/// The service and the download engine between watched collaborators: real files, a real database, the scripted cloud,
/// and a host whose callbacks are lines of the journal:
///   "callback notify(1, , true)"
///   "callback download(event 2, ok, offset 0, length 5, end 5)"   ("failed" in place of "ok")
///   "callback slot(11)"      until the service installs its own function
///   "callback service(1, path)"
class EngineBench : public ::testing::Test {
protected:
    /// `hears` false: the host has set no callback for the service's messages.
    explicit EngineBench(bool hears = true);

    /// Answers the host's download callback. Without a script: false to event 4, true to all others; a platform fetch
    /// begins with the handle and the key that the record brings.
    Operation<bool(TransferService::DOWNLOADCALLBACK_CONTEXT&)> host;

    TransferService::TransferTaskService& Service() { return TransferService::TransferTaskService::getInstance(); }
    TransferService::DownLoadTaskManger& Downloads() { return TransferService::DownLoadTaskManger::getInstance(); }

    /// A row at 21 with its download task, and the file in the cloud. `relative` with backslashes.
    Common::FileItem GivePlain(const std::wstring& fileId, const std::wstring& relative, const std::string& bytes,
                               int priority = 1);
    Common::FileItem GiveEncrypted(const std::wstring& fileId, const std::wstring& relative, const std::string& bytes,
                                   std::size_t objectSize, int priority = 1);

    /// A row at 11 with its upload task, and the file on disk below the cloud's root folder.
    Common::FileItem GiveUpload(const std::wstring& fileId, const std::wstring& relative, const std::string& bytes,
                                int priority = 1);

    /// Starts the service and lets everybody reach the first wait.
    void StartService();

    /// Starts one download worker on the task's row as it stands, on a virtual thread. A key above 0 replaces the
    /// row's. A file without a task row gets a task made in memory.
    void StartWorker(const std::wstring& fileId, std::int64_t key = 0);
    /// The same, and lets time pass until it has ended; within a run.
    void Work(const std::wstring& fileId, std::int64_t key = 0);
    /// The same in a run of its own.
    void RunOne(const std::wstring& fileId, std::int64_t key = 0);

    /// Lines of the journal with the world's folders named ROOT\ and so on.
    Texts Lines(std::initializer_list<Kind> kinds = {}) const;
    Texts LinesSince(std::size_t mark, std::initializer_list<Kind> kinds = {}) const;
    std::string Tidy(std::string text) const;

    World world;
    ScriptedCloud& cloud = ScriptedCloud::Get();
    WatchedCommon& common = WatchedCommon::Get();
    WatchedDatabase& database = WatchedDatabase::Get();
    WatchedFiles& files = WatchedFiles::Get();
};

/// One text of many lines, so that a failed comparison shows where they part.
std::string Joined(const Texts& lines);

}  // namespace Drive::Testing
