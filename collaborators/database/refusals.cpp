#include "collaborators/database/refusals.h"

#include <sqlite3.h>

#include <filesystem>

#include "collaborators/database/failure_text.h"
#include "collaborators/database/schema.h"

namespace Drive::SQLiteDB {

namespace {

/// A link would let two state folders hold one database, and a folder or a pipe is told badly by what fails on it
/// later.
std::string WhatStandsThere(const std::filesystem::path& path) {
    std::error_code unknown;
    switch (std::filesystem::symlink_status(path, unknown).type()) {
        case std::filesystem::file_type::regular:
        case std::filesystem::file_type::not_found:
        case std::filesystem::file_type::none:
            return {};
        case std::filesystem::file_type::directory:
            return "is a folder";
        case std::filesystem::file_type::symlink:
            return "is a link to another place";
        default:
            return "is no ordinary file";
    }
}

/// The memory beside the log is a file as well, and one that does not fit is told as an error of the disk.
bool IsFull(const std::filesystem::path& file) {
    constexpr std::uintmax_t kLeast = 64 << 10;
    std::error_code unknown;
    const auto space = std::filesystem::space(file.parent_path(), unknown);
    return !unknown && space.available < kLeast;
}

}  // namespace

OpenResult RefuseNewer(const std::string& path, int version) {
    return {OpenOutcome::NewerSchema,
            "The database " + path + " was written by a later version of this program (schema " +
                std::to_string(version) + ", this version knows up to " + std::to_string(SchemaVersion()) +
                "). Nothing was changed. Install that version again, or choose another state folder."};
}

OpenResult RefuseForeign(const std::string& path) {
    return {OpenOutcome::Failed, "The file " + path +
                                     " is a database of another program. Nothing was changed. Move it away or "
                                     "choose another state folder."};
}

OpenResult RefuseOddPlaces(const std::string& database) {
    for (const std::string& path : {database, database + "-wal"}) {
        const std::string what = WhatStandsThere(path);
        if (!what.empty()) {
            return {OpenOutcome::Failed, "Could not open the database " + database + ": " + path + " " + what +
                                             ". Nothing was changed. Move it away or choose another state folder."};
        }
    }
    return {OpenOutcome::Opened, {}};
}

OpenResult RefuseFailure(const std::string& path, int code, const std::string& message) {
    if ((code & 0xff) == SQLITE_IOERR && IsFull(path)) code = SQLITE_FULL;
    return {OpenOutcome::Failed, "Could not open the database " + path + ": " + ExplainFailure(code, message)};
}

}  // namespace Drive::SQLiteDB
