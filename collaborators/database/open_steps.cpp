#include "collaborators/database/open_steps.h"

#include <sqlite3.h>

#include <array>
#include <fstream>

#include "collaborators/database/clean_end.h"
#include "collaborators/database/failure_text.h"
#include "collaborators/database/refusals.h"
#include "collaborators/database/schema.h"
#include "collaborators/database/set_aside.h"
#include "collaborators/database/soundness.h"
#include "interfaces/logging/sync_panel_log.h"
#include "interfaces/platform/clock.h"
#include "interfaces/platform/native_path.h"

namespace Drive::SQLiteDB {

namespace {

const char* const kFileName = "transfer.db";
constexpr std::uintmax_t kSmallestPage = 512;

OpenedFile Refused(OpenResult result) {
    OpenedFile refused;
    refused.result = std::move(result);
    return refused;
}

bool HasOurMark(Connection& connection) { return connection.Number("PRAGMA application_id") == kApplicationId; }

bool IsForeign(Connection& connection, int version) {
    if (version != 0) return !HasOurMark(connection);
    return connection.Number("SELECT EXISTS (SELECT 1 FROM sqlite_master)") != 0;
}

OpenResult RefuseUnknownVersion(Connection& connection, const std::string& path, int version) {
    return HasOurMark(connection) ? RefuseNewer(path, version) : RefuseForeign(path);
}

void SetUp(Connection& connection) {
    SQLite::Statement mode(connection.Raw(), "PRAGMA journal_mode = WAL");
    if (!mode.executeStep() || mode.getColumn(0).getString() != "wal") {
        throw SQLite::Exception("the file system cannot hold a write-ahead log; use a folder on a local disk",
                                SQLITE_ERROR);
    }
    // SQLite opens what may not be written for reading, without a word.
    if (sqlite3_db_readonly(connection.Handle(), "main") != 0) {
        throw SQLite::Exception("the file may not be written", SQLITE_READONLY);
    }
    connection.Execute("PRAGMA synchronous = FULL");
    connection.Execute("PRAGMA recursive_triggers = ON");
    connection.Execute("PRAGMA secure_delete = FAST");
    connection.Execute("PRAGMA journal_size_limit = 16777216");
}

/// `checkedAt` is 0 for a file that has to be checked. Throws SQLite::Exception; one that means damage stands for a
/// failed check as well.
OpenedFile OpenChecked(const std::filesystem::path& path, bool existed, std::int64_t checkedAt) {
    OpenedFile opened;
    opened.path = path.string();
    opened.checkedAt = checkedAt > 0 ? checkedAt : Platform::UnixTimeSeconds();
    opened.writer = std::make_unique<Connection>(opened.path, false);
    const int version = opened.writer->Number("PRAGMA user_version");
    if (version > SchemaVersion()) return Refused(RefuseUnknownVersion(*opened.writer, opened.path, version));
    if (existed && checkedAt == 0 && !IsSound(*opened.writer))
        throw SQLite::Exception("the check failed", SQLITE_CORRUPT);
    if (IsForeign(*opened.writer, version)) return Refused(RefuseForeign(opened.path));
    opened.writer->FoldInOnClose();
    SetUp(*opened.writer);
    Migrate(*opened.writer, Migrations());
    opened.result.outcome = existed && version > 0 ? OpenOutcome::Opened : OpenOutcome::Created;
    opened.result.message =
        (opened.result.outcome == OpenOutcome::Opened ? "Opened the database " : "Made the database ") + opened.path +
        ".";
    if (existed && checkedAt == 0 && !IndexesFit(*opened.writer)) {
        RemakeIndexes(*opened.writer);
        opened.result.message +=
            " An index of it did not hold all rows and has been made anew from them. Nothing was lost; check the disk.";
        SyncPanelLog::WriteErrorLog("DataBase", "SQLiteDB", opened.result.message);
    }
    return opened;
}

OpenedFile Rebuild(const std::filesystem::path& path) {
    const std::filesystem::path aside = SetAside(path);
    MakePrivateFile(path);
    OpenedFile opened = OpenChecked(path, false, 0);
    if (!opened.result.ok()) return opened;
    opened.result.outcome = OpenOutcome::Rebuilt;
    opened.result.message = "The database " + path.string() + " was damaged. It has been moved to " + aside.string() +
                            " and a new, empty one was made. No file was lost: what stands in the sync folder and in "
                            "the cloud will be compared anew. Check the disk; delete the old file when all is well.";
    return opened;
}

/// 0 for what is not there. What cannot be looked at is no empty file, or a healthy database would be moved aside.
std::uintmax_t SizeOf(const std::filesystem::path& path) {
    std::error_code failure;
    const auto size = std::filesystem::file_size(path, failure);
    if (!failure) return size;
    if (failure == std::errc::no_such_file_or_directory) return 0;
    throw std::filesystem::filesystem_error("cannot look at the file", path, failure);
}

bool HoldsSomething(const std::filesystem::path& path) { return SizeOf(path) > 0; }

void RequireReadable(const std::filesystem::path& path) {
    if (!HoldsSomething(path)) return;
    std::ifstream file(path, std::ios::binary);
    std::array<char, 65536> block;
    while (file.read(block.data(), block.size())) continue;
    if (!file.is_open() || file.bad()) throw SQLite::Exception("not all of it can be read", SQLITE_IOERR);
}

/// SQLite tells what the disk did not give it as damage, too. So the file is looked at once more, and only what was
/// read whole and is still found to be damaged counts as that.
OpenedFile OpenAgainOrRebuild(const std::filesystem::path& path, bool existed) {
    RequireReadable(path);
    RequireReadable(path.string() + "-wal");
    try {
        return OpenChecked(path, existed, 0);
    } catch (const SQLite::Exception& error) {
        if (!MeansDamage(error.getErrorCode())) throw;
    }
    return Rebuild(path);
}

OpenedFile OpenOrRebuild(const std::filesystem::path& path) {
    const bool existed = HoldsSomething(path);
    try {
        // A log without its database is what an interrupted move left.
        if (!existed && HoldsSomething(path.string() + "-wal")) SetAside(path);
        // SQLite takes what is shorter than any page for an empty file and writes over it.
        if (existed && SizeOf(path) < kSmallestPage) return Rebuild(path);
        MakePrivateFile(path);
        return OpenChecked(path, existed, TakeCleanEnd(path));
    } catch (const SQLite::Exception& error) {
        if (!MeansDamage(error.getErrorCode())) throw;
    }
    return OpenAgainOrRebuild(path, existed);
}

}  // namespace

OpenedFile OpenForWriting(const std::wstring& folder, FolderLock& lock) {
    std::string path;
    try {
        const std::filesystem::path native = Platform::NativePath(folder);
        path = (native / kFileName).string();
        const auto outcome = lock.Take(native);
        if (outcome == FolderLock::Outcome::HeldByOther) {
            return Refused({OpenOutcome::Locked, "The state folder " + native.string() + " is in use by process " +
                                                     lock.Detail() + ". End that one first, or use another folder."});
        }
        if (outcome == FolderLock::Outcome::Failed) {
            return Refused({OpenOutcome::Failed, "Could not use the state folder " + native.string() + ": " +
                                                     lock.Detail() + ". Check that it can be made and written."});
        }
        if (OpenResult odd = RefuseOddPlaces(path); !odd.ok()) return Refused(std::move(odd));
        OpenedFile opened = OpenOrRebuild(path);
        SyncFolder(native);
        return opened;
    } catch (const SQLite::Exception& error) {
        return Refused(RefuseFailure(path, error.getErrorCode(), error.what()));
    } catch (const std::exception& error) {
        return Refused(RefuseFailure(path, SQLITE_ERROR, error.what()));
    }
}

OpenedFile OpenForReading(const std::wstring& folder) {
    OpenedFile opened;
    try {
        opened.path = (std::filesystem::path(Platform::NativePath(folder)) / kFileName).string();
        if (OpenResult odd = RefuseOddPlaces(opened.path); !odd.ok()) return Refused(std::move(odd));
        if (!HoldsSomething(opened.path)) {
            return Refused(
                {OpenOutcome::Failed, "There is no database " + opened.path + ". Start the program there once."});
        }
        opened.reader = std::make_unique<Connection>(opened.path, true);
        const int version = opened.reader->Number("PRAGMA user_version");
        if (version > SchemaVersion()) return Refused(RefuseUnknownVersion(*opened.reader, opened.path, version));
        if (IsForeign(*opened.reader, version)) return Refused(RefuseForeign(opened.path));
        if (version < SchemaVersion()) {
            return Refused({OpenOutcome::Failed, "The database " + opened.path +
                                                     " is from an earlier version. Start the program there once; it "
                                                     "brings the file up to date."});
        }
        opened.result = {OpenOutcome::Opened, "Opened the database " + opened.path + " for reading."};
        return opened;
    } catch (const SQLite::Exception& error) {
        return Refused(RefuseFailure(opened.path, error.getErrorCode(), error.what()));
    } catch (const std::exception& error) {
        return Refused(RefuseFailure(opened.path, SQLITE_ERROR, error.what()));
    }
}

}  // namespace Drive::SQLiteDB
