#include "tests/contract/database/open_database.h"

#include <stdlib.h>

#include "interfaces/platform/native_path.h"

namespace Drive::Testing {

StateFolder::StateFolder() {
    // In memory where there is such a place: hundreds of tests that sync to a disk take minutes.
    const std::filesystem::path memory = "/dev/shm";
    const auto place = std::filesystem::is_directory(memory) ? memory : std::filesystem::temp_directory_path();
    std::string name = (place / "zelkor-database-XXXXXX").string();
    path = mkdtemp(name.data());
}

StateFolder::~StateFolder() {
    std::error_code ignored;
    std::filesystem::permissions(path, std::filesystem::perms::owner_all, ignored);
    std::filesystem::remove_all(path, ignored);
}

std::wstring StateFolder::Wide() const { return Platform::EnginePath(path.string()); }

Common::FileItem File(const std::wstring& fileId, int fileStatus) {
    Common::FileItem file;
    file.SetFileId(fileId);
    file.SetName(fileId + L".txt");
    file.SetLocalFileName(fileId + L".txt");
    file.SetLocalParentFolder(L"docs\\");
    file.SetFileStatus(fileStatus);
    return file;
}

void PutDownload(const std::wstring& fileId, int fileStatus, int priority) {
    ASSERT_TRUE(SQLiteDB::SyncRows::PutFileWithTask(File(fileId, fileStatus), 1, priority));
}

void PutUpload(const std::wstring& fileId, int fileStatus, int priority) {
    ASSERT_TRUE(SQLiteDB::SyncRows::PutFileWithTask(File(fileId, fileStatus), 2, priority));
}

SQLiteDB::UpdateDBInfo Update(const std::wstring& key, const WMap& columns) {
    SQLiteDB::UpdateDBInfo info;
    info.key = key;
    info.columns = columns;
    return info;
}

std::vector<Common::TaskItem> FetchDownloads(int limit) {
    std::vector<Common::TaskItem> tasks;
    Db().GetTaskAllItem(tasks, kDownloadStates, "1", limit);
    return tasks;
}

std::vector<Common::TaskItem> FetchUploads(int limit) {
    std::vector<Common::TaskItem> tasks;
    Db().GetTaskAllItem(tasks, kUploadStates, "2", limit);
    return tasks;
}

std::vector<std::wstring> Ids(const std::vector<Common::TaskItem>& tasks) {
    std::vector<std::wstring> ids;
    for (const Common::TaskItem& task : tasks) ids.push_back(task.GetFileId());
    return ids;
}

std::wstring Ask(const std::wstring& query) {
    std::list<WMap> rows;
    Db().ExcuteQuerySQL(rows, query);
    return rows.empty() || rows.front().empty() ? std::wstring() : rows.front().begin()->second;
}

void OpenDatabaseTest::SetUp() {
    const SQLiteDB::OpenResult result = SQLiteDB::OpenDatabase(folder.Wide());
    ASSERT_EQ(result.outcome, SQLiteDB::OpenOutcome::Created) << result.message;
}

void OpenDatabaseTest::Reopen() {
    SQLiteDB::CloseDatabase();
    const SQLiteDB::OpenResult result = SQLiteDB::OpenDatabase(folder.Wide());
    ASSERT_EQ(result.outcome, SQLiteDB::OpenOutcome::Opened) << result.message;
}

}  // namespace Drive::Testing
