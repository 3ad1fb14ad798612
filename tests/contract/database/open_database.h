#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <list>
#include <string>
#include <vector>

#include "interfaces/database/sqlite_db.h"
#include "interfaces/database/sync_rows.h"

namespace Drive::Testing {

/// A folder of its own below the system's place for temporary files, removed at the end.
class StateFolder {
public:
    StateFolder();
    ~StateFolder();
    StateFolder(const StateFolder&) = delete;
    StateFolder& operator=(const StateFolder&) = delete;

    const std::filesystem::path& Native() const { return path; }
    std::filesystem::path Database() const { return path / "transfer.db"; }
    std::wstring Wide() const;

private:
    std::filesystem::path path;
};

/// The thin object, as any caller takes it.
inline SQLiteDB::SQLiteDB& Db() { return SQLiteDB::SQLiteDB::GetInstance(); }

/// The lists that the engine's feeds give.
inline const std::string kDownloadStates = "'0','21','23'";
inline const std::string kUploadStates = "'0','11','13'";

Common::FileItem File(const std::wstring& fileId, int fileStatus);

/// A file named `fileId`.txt in the folder "docs\" with its task, priority 1.
void PutDownload(const std::wstring& fileId, int fileStatus = 21, int priority = 1);
void PutUpload(const std::wstring& fileId, int fileStatus = 11, int priority = 1);

SQLiteDB::UpdateDBInfo Update(const std::wstring& key, const WMap& columns);

std::vector<Common::TaskItem> FetchDownloads(int limit = 100);
std::vector<Common::TaskItem> FetchUploads(int limit = 100);

/// Their file ids, in order.
std::vector<std::wstring> Ids(const std::vector<Common::TaskItem>& tasks);

/// The first column of the first row, empty when there is none.
std::wstring Ask(const std::wstring& query);

/// An empty database, open.
class OpenDatabaseTest : public testing::Test {
protected:
    void SetUp() override;
    void TearDown() override { SQLiteDB::CloseDatabase(); }
    /// Closes and opens again, as a new process would.
    void Reopen();
    StateFolder folder;
};

using IdList = std::vector<std::wstring>;

}  // namespace Drive::Testing
