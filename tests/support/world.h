#pragma once

#include <string>
#include <vector>

#include "interfaces/common/file_item.h"
#include "interfaces/common/task_item.h"

namespace Drive::Testing {

/// A folder of its own with a sync root, the two cache folders and an open database; sets the globals of Common to it
/// and gives the user keys. One a process. What the engine tells the client process becomes lines of the journal:
/// "message TransferMessageCommand(10, )", "message RefreshFile(path)", "message DiskStatus(2)".
class World {
public:
    World();
    /// The same in this folder, which outlives the world: what a run before left in it is found again.
    explicit World(const std::string& existing);
    ~World();
    World(const World&) = delete;
    World& operator=(const World&) = delete;

    /// Native folder that holds everything.
    const std::string& Folder() const { return folder; }

    /// The engine's full path of a file below the sync root, given with slashes or backslashes.
    std::wstring Path(const std::wstring& relative) const;
    /// The native one.
    std::string NativeFile(const std::wstring& relative) const;

    void WriteFile(const std::wstring& relative, const std::string& bytes) const;
    /// Content of a file below the sync root; "(absent)" when there is none.
    std::string ReadFile(const std::wstring& relative) const;
    bool Exists(const std::wstring& relative) const;

    /// A file row as sync logic would write it, not yet put into the database. `relative` with backslashes.
    Common::FileItem File(const std::wstring& fileId, const std::wstring& relative, std::int64_t size,
                          int fileStatus) const;

    /// Writes a row, alone or with its task of `direction`.
    void Put(const Common::FileItem& file) const;
    void PutWithTask(const Common::FileItem& file, int direction, int priority = 1) const;

    /// Reads the present rows back, past any script.
    Common::FileItem Row(const std::wstring& fileId) const;
    Common::TaskItem Task(const std::wstring& fileId, int direction) const;
    bool HasTask(const std::wstring& fileId, int direction) const;
    int TaskCount() const;

    /// Runs statements of the test's own, for rows that no operation writes. Fails the test when one fails.
    void Sql(const std::vector<std::string>& statements) const;

private:
    void SetUp();

    std::string folder;
    bool keep = false;
};

/// Bytes of a repeatable content: `size` of them, different for each `kind`.
std::string Content(std::size_t size, unsigned kind = 1);

/// SHA-256 as lower-case hexadecimal, computed past the engine's libraries.
std::string Sha256(const std::string& bytes);

}  // namespace Drive::Testing
