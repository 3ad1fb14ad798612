#pragma once

#include <gtest/gtest.h>

#include <initializer_list>
#include <string>
#include <vector>

#include "tests/support/journal.h"
#include "tests/support/scripted_cloud.h"
#include "tests/support/watched_common.h"
#include "tests/support/watched_database.h"
#include "tests/support/watched_files.h"
#include "tests/support/world.h"

namespace Drive::Testing {

/// The upload engine between watched collaborators: real files, a real database, the scripted cloud. What the host
/// hears becomes "callback task(2, 1)" and "callback service(1, path)".
class UploadBench : public ::testing::Test {
protected:
    UploadBench();

    /// A file on disk with its row at 11 and its upload task. The parent is the cloud's root folder.
    Common::FileItem Give(const std::wstring& fileId, const std::wstring& relative, const std::string& bytes,
                          int priority = 1) const;

    /// Runs one worker on the task's row as it stands, in virtual time, until all that it started has ended. A file
    /// without a task row gets a task made in memory.
    void Run(const std::wstring& fileId);

    /// The same without the clock, for a test that steps it: call it on a virtual thread.
    void Work(const std::wstring& fileId);

    /// Sets the task's resume record in its row.
    void SetRecord(const std::wstring& fileId, const std::string& record) const;
    std::string Record(const std::wstring& fileId) const;

    /// Lines of the journal with the world's folders named ROOT\, SMALL\ and LARGE\.
    std::vector<std::string> Lines(std::initializer_list<Kind> kinds = {}) const;
    std::vector<std::string> LinesSince(std::size_t mark, std::initializer_list<Kind> kinds = {}) const;
    std::string Tidy(std::string text) const;

    /// Error lines and statistics of the attempt, in order.
    std::vector<std::string> Reports() const { return Lines({Kind::Error, Kind::Statistic}); }

    World world;
    ScriptedCloud& cloud = ScriptedCloud::Get();
    WatchedCommon& common = WatchedCommon::Get();
    WatchedDatabase& database = WatchedDatabase::Get();
    WatchedFiles& files = WatchedFiles::Get();
};

using Texts = std::vector<std::string>;

/// One text of many lines, so that a failed comparison shows where they part.
std::string Joined(const Texts& lines);

}  // namespace Drive::Testing
