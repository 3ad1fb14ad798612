#include "collaborators/database/write_ahead_log.h"

#include <sqlite3.h>

#include "collaborators/database/failure_text.h"

namespace Drive::SQLiteDB {

namespace {

constexpr int kFoldInAt = 1000;
constexpr int kWaitAt = 4000;
constexpr int kTellAt = 16000;
constexpr int kPagesPerMebibyte = 256;
constexpr std::chrono::milliseconds kMostWaitingForReaders{100};
constexpr std::chrono::seconds kBetweenWaits{1};

}  // namespace

void WriteAheadLog::Watch(Connection& connection) {
    *this = {};
    sqlite3_wal_hook(connection.Handle(), &WriteAheadLog::Remember, this);
}

int WriteAheadLog::Remember(void* self, sqlite3*, const char*, int pages) {
    static_cast<WriteAheadLog*>(self)->pagesInLog = pages;
    return SQLITE_OK;
}

std::string WriteAheadLog::FoldIn(Connection& connection) {
    if (pagesInLog < kFoldInAt) return {};
    sqlite3_wal_checkpoint_v2(connection.Handle(), "main", SQLITE_CHECKPOINT_PASSIVE, nullptr, nullptr);
    const auto now = std::chrono::steady_clock::now();
    if (pagesInLog < kWaitAt || now < nextWait) return {};
    // Lets those of now go and has the next ones read the file itself, so that nobody holds the log any more.
    connection.WaitUntil(now + kMostWaitingForReaders);
    const int result =
        sqlite3_wal_checkpoint_v2(connection.Handle(), "main", SQLITE_CHECKPOINT_RESTART, nullptr, nullptr);
    if (result != SQLITE_OK) nextWait = now + kBetweenWaits;
    return TellOnce(pagesInLog, result, sqlite3_errmsg(connection.Handle()));
}

std::string WriteAheadLog::TellOnce(int pages, int result, const std::string& message) {
    if (result == SQLITE_OK) told = false;
    if (result == SQLITE_OK || told || pages < kTellAt) return {};
    told = true;
    const std::string grown = " has grown to " + std::to_string(pages / kPagesPerMebibyte) + " MiB: ";
    if ((result & 0xff) != SQLITE_BUSY) return grown + ExplainFailure(result, message);
    return grown +
           "somebody reads the database without an end. Nothing is lost, and it shrinks once that has ended; end "
           "programs that hold the file open, or watch the space on the disk.";
}

}  // namespace Drive::SQLiteDB
