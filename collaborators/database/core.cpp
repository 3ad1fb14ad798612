#include "collaborators/database/core.h"

#include <sqlite3.h>

#include <algorithm>

#include "collaborators/database/clean_end.h"
#include "collaborators/database/failure_text.h"
#include "collaborators/database/open_steps.h"
#include "interfaces/logging/sync_panel_log.h"

namespace Drive::SQLiteDB {

namespace {

/// The end of a program waits no longer for readers: the log is folded in by the next one.
constexpr std::chrono::seconds kMostWaitingAtEnd{1};

/// What an operation may still wait for the file when it has waited for its turn already.
constexpr std::chrono::milliseconds kLeastWaiting{100};

}  // namespace

Core& Core::Get() {
    static Core* const core = new Core;
    return *core;
}

OpenResult Core::Open(const std::wstring& folder) {
    const std::unique_lock closed(scanning);
    const std::scoped_lock all(writing, reading);
    if (reader)
        return {OpenOutcome::Failed, "A database is open already in this process (" + path + "). Close it first."};
    OpenedFile opened = OpenForWriting(folder, lock);
    if (!opened.result.ok()) {
        lock.Release();
        return opened.result;
    }
    try {
        transfers = {};
        thumbnails = {};
        WatchTaskRows(*opened.writer, transfers, thumbnails);
        log.Watch(*opened.writer);
        reader = std::make_unique<Connection>(opened.path, true);
        writer = std::move(opened.writer);
        path = opened.path;
        present = Durability::Full;
        checkedAt = opened.checkedAt;
        readOnly = false;
        damageMet = false;
        CountTransferTasks();
        return opened.result;
    } catch (const std::exception& error) {
        reader.reset();
        writer.reset();
        opened.writer.reset();
        lock.Release();
        return {OpenOutcome::Failed, "Could not open the database " + opened.path + ": " + error.what() + "."};
    }
}

OpenResult Core::OpenReadOnly(const std::wstring& folder) {
    const std::unique_lock closed(scanning);
    const std::scoped_lock all(writing, reading);
    if (reader)
        return {OpenOutcome::Failed, "A database is open already in this process (" + path + "). Close it first."};
    OpenedFile opened = OpenForReading(folder);
    if (!opened.result.ok()) return opened.result;
    reader = std::move(opened.reader);
    path = opened.path;
    readOnly = true;
    return opened.result;
}

void Core::Close() {
    const std::unique_lock closed(scanning);
    const std::scoped_lock all(writing, reading);
    reader.reset();
    if (writer) {
        try {
            writer->WaitUntil(std::chrono::steady_clock::now() + kMostWaitingAtEnd);
            writer->Execute("PRAGMA wal_checkpoint(TRUNCATE)");
        } catch (const std::exception&) {
            // The log file stays beside the database and is folded in when it is opened next.
        }
        writer.reset();
        if (!damageMet) LeaveCleanEnd(path, checkedAt);
    }
    lock.Release();
    hasTransferTasks = false;
    readOnly = false;
}

bool Core::Write(const char* operation, const Work& work, Durability durability) {
    const auto asked = std::chrono::steady_clock::now();
    const std::lock_guard guard(writing);
    if (!writer) return false;
    // Were each to wait its ten seconds after the others', the last of many would wait for minutes.
    writer->WaitUntil(std::max(asked + kMostWaiting, std::chrono::steady_clock::now() + kLeastWaiting));
    try {
        Commit(work, durability);
        transfers.Commit();
        thumbnails.Commit();
        CountTransferTasks();
        FoldIn();
        return true;
    } catch (...) {
        transfers.RollBack();
        thumbnails.RollBack();
        Report(operation);
        return false;
    }
}

void Core::Commit(const Work& work, Durability durability) {
    // Left open only when the disk refused the roll-back as well.
    if (sqlite3_get_autocommit(writer->Handle()) == 0) writer->Execute("ROLLBACK");
    Durable(durability);
    SQLite::Transaction transaction(writer->Raw(), SQLite::TransactionBehavior::IMMEDIATE);
    work(*writer);
    transaction.commit();
}

void Core::Durable(Durability durability) {
    if (present == durability) return;
    writer->Execute(durability == Durability::Full ? "PRAGMA synchronous = FULL" : "PRAGMA synchronous = NORMAL");
    present = durability;
}

void Core::CountTransferTasks() {
    try {
        auto statement = writer->Statement("SELECT EXISTS (SELECT 1 FROM T_task WHERE direction IN (1,2))");
        hasTransferTasks = statement->executeStep() && statement->getColumn(0).getInt() != 0;
    } catch (const std::exception&) {
        Report("count the transfer tasks");
    }
}

/// What was committed stands whatever happens here.
void Core::FoldIn() noexcept try {
    const std::string trouble = log.FoldIn(*writer);
    if (trouble.empty()) return;
    SyncPanelLog::WriteErrorLog("DataBase", "SQLiteDB", "The write-ahead log of the database " + path + trouble);
} catch (const std::exception&) {
    return;
}

bool Core::Hand(const char* operation, const Work& work) {
    const std::lock_guard guard(writing);
    if (!writer) return false;
    try {
        work(*writer);
        return true;
    } catch (...) {
        Report(operation);
        return false;
    }
}

bool Core::Read(const char* operation, const Work& work) {
    const std::lock_guard guard(reading);
    if (!reader) return false;
    try {
        work(*reader);
        return true;
    } catch (...) {
        Report(operation);
        return false;
    }
}

bool Core::Scan(const char* operation, const Work& work) {
    const std::shared_lock open(scanning);
    {
        const std::lock_guard guard(reading);
        if (!reader) return false;
    }
    try {
        Connection own(path, true);
        const SQLite::Transaction transaction(own.Raw());
        work(own);
        return true;
    } catch (...) {
        Report(operation);
        return false;
    }
}

bool Core::HasTransferTasks() {
    if (!readOnly) return hasTransferTasks;
    bool any = false;
    Read("count the transfer tasks", [&any](Connection& connection) {
        any = connection.Number("SELECT EXISTS (SELECT 1 FROM T_task WHERE direction IN (1,2))") != 0;
    });
    return any;
}

void Core::Report(const char* operation) const {
    std::string reason = "unknown failure.";
    try {
        throw;
    } catch (const SQLite::Exception& error) {
        reason = ExplainFailure(error.getErrorCode(), error.what());
        if (MeansDamage(error.getErrorCode())) damageMet = true;
    } catch (const std::exception& error) {
        reason = std::string(error.what()) + ".";
    } catch (...) {
    }
    SyncPanelLog::WriteErrorLog("DataBase", "SQLiteDB",
                                std::string("Could not ") + operation + " in the database " + path + ": " + reason);
}

}  // namespace Drive::SQLiteDB
