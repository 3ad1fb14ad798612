#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>

#include "collaborators/database/connection.h"
#include "collaborators/database/folder_lock.h"
#include "interfaces/database/sync_rows.h"

namespace Drive::SQLiteDB {

struct OpenedFile {
    OpenResult result;
    std::string path;
    std::unique_ptr<Connection> writer;
    std::unique_ptr<Connection> reader;
    std::int64_t checkedAt = 0;  ///< when the whole file was checked last, seconds since the epoch
};

/// Takes the folder, checks or makes the file, moves a damaged one aside, and brings the schema up. Never throws; a
/// result that is not ok has no connection, and the caller releases the lock.
OpenedFile OpenForWriting(const std::wstring& folder, FolderLock& lock);

/// Opens what is there, for reading. Never throws.
OpenedFile OpenForReading(const std::wstring& folder);

}  // namespace Drive::SQLiteDB
