#include "host/records/host_records.h"

#include <SQLiteCpp/SQLiteCpp.h>

#include <stdexcept>

namespace Drive::Host {
namespace {

constexpr const char* kSchema =
    "CREATE TABLE IF NOT EXISTS proved (fileId TEXT PRIMARY KEY, path TEXT NOT NULL, size INTEGER NOT NULL,"
    " changed INTEGER NOT NULL, sha256 TEXT NOT NULL, contentVersion TEXT NOT NULL) WITHOUT ROWID;"
    "CREATE TABLE IF NOT EXISTS troubles (fileId TEXT PRIMARY KEY, path TEXT NOT NULL, kind TEXT NOT NULL,"
    " message TEXT NOT NULL, at INTEGER NOT NULL) WITHOUT ROWID;"
    "CREATE TABLE IF NOT EXISTS sending (path TEXT PRIMARY KEY, size INTEGER NOT NULL, changed INTEGER NOT NULL)"
    " WITHOUT ROWID;"
    "CREATE TABLE IF NOT EXISTS parked (fileId TEXT NOT NULL, direction INTEGER NOT NULL, priority INTEGER NOT NULL,"
    " fragmentInfo TEXT NOT NULL, PRIMARY KEY (fileId, direction)) WITHOUT ROWID;"
    "CREATE TABLE IF NOT EXISTS host_values (name TEXT PRIMARY KEY, value TEXT NOT NULL) WITHOUT ROWID;";

constexpr int kBusyMilliseconds = 10000;

}  // namespace

struct HostRecords::Body {
    std::string path;
    std::unique_ptr<SQLite::Database> database;
    std::unique_ptr<SQLite::Transaction> transaction;

    template <typename Action>
    auto Guarded(Action&& action) {
        try {
            if (!database) {
                throw std::runtime_error(path + " is not open");
            }
            return action(*database);
        } catch (const SQLite::Exception& failure) {
            throw std::runtime_error(path + ": " + failure.what());
        }
    }

    template <typename... Values>
    void Run(const char* text, const Values&... values) {
        Guarded([&](SQLite::Database& open) {
            SQLite::Statement statement(open, text);
            int index = 0;
            (statement.bind(++index, values), ...);
            statement.exec();
        });
    }
};

HostRecords::HostRecords() : body(std::make_unique<Body>()) {}
HostRecords::~HostRecords() = default;

void HostRecords::Open(const std::string& stateFolder, bool readOnly) {
    body->path = stateFolder + "/host.db";
    try {
        const int flags = readOnly ? SQLite::OPEN_READONLY : SQLite::OPEN_READWRITE | SQLite::OPEN_CREATE;
        body->database = std::make_unique<SQLite::Database>(body->path, flags, kBusyMilliseconds);
        if (!readOnly) {
            body->database->exec("PRAGMA journal_mode=WAL;");
            body->database->exec("PRAGMA synchronous=NORMAL;");
            body->database->exec(kSchema);
        }
    } catch (const SQLite::Exception& failure) {
        body->database.reset();
        throw std::runtime_error("cannot open " + body->path + ": " + failure.what());
    }
}

std::unordered_map<std::string, ProvedFile> HostRecords::AllProved() {
    return body->Guarded([](SQLite::Database& open) {
        std::unordered_map<std::string, ProvedFile> files;
        SQLite::Statement row(open, "SELECT fileId, path, size, changed, sha256, contentVersion FROM proved");
        while (row.executeStep()) {
            files[row.getColumn(0).getString()] = {row.getColumn(1).getString(), row.getColumn(2).getInt64(),
                                                   row.getColumn(3).getInt64(), row.getColumn(4).getString(),
                                                   row.getColumn(5).getString()};
        }
        return files;
    });
}

std::optional<ProvedFile> HostRecords::Proved(const std::string& fileId) {
    return body->Guarded([&](SQLite::Database& open) {
        SQLite::Statement row(open, "SELECT path, size, changed, sha256, contentVersion FROM proved WHERE fileId = ?");
        row.bind(1, fileId);
        std::optional<ProvedFile> file;
        if (row.executeStep()) {
            file = ProvedFile{row.getColumn(0).getString(), row.getColumn(1).getInt64(), row.getColumn(2).getInt64(),
                              row.getColumn(3).getString(), row.getColumn(4).getString()};
        }
        return file;
    });
}

void HostRecords::PutProved(const std::string& fileId, const ProvedFile& file) {
    body->Run("INSERT OR REPLACE INTO proved VALUES (?,?,?,?,?,?)", fileId, file.path, file.size, file.changed,
              file.sha256, file.contentVersion);
}

void HostRecords::ForgetProved(const std::string& fileId) { body->Run("DELETE FROM proved WHERE fileId = ?", fileId); }

bool HostRecords::AnyProved() {
    return body->Guarded(
        [](SQLite::Database& open) { return SQLite::Statement(open, "SELECT 1 FROM proved LIMIT 1").executeStep(); });
}

std::vector<Trouble> HostRecords::Troubles() {
    return body->Guarded([](SQLite::Database& open) {
        std::vector<Trouble> troubles;
        SQLite::Statement row(open, "SELECT fileId, path, kind, message, at FROM troubles ORDER BY path");
        while (row.executeStep()) {
            troubles.push_back({row.getColumn(0).getString(), row.getColumn(1).getString(),
                                row.getColumn(2).getString(), row.getColumn(3).getString(),
                                row.getColumn(4).getInt64()});
        }
        return troubles;
    });
}

void HostRecords::PutTrouble(const Trouble& trouble) {
    body->Run("INSERT OR REPLACE INTO troubles VALUES (?,?,?,?,?)", trouble.fileId, trouble.path, trouble.kind,
              trouble.message, trouble.at);
}

void HostRecords::ForgetTrouble(const std::string& fileId) {
    body->Run("DELETE FROM troubles WHERE fileId = ?", fileId);
}

std::unordered_map<std::string, SentFile> HostRecords::AllSending() {
    return body->Guarded([](SQLite::Database& open) {
        std::unordered_map<std::string, SentFile> files;
        SQLite::Statement row(open, "SELECT path, size, changed FROM sending");
        while (row.executeStep()) {
            files[row.getColumn(0).getString()] = {row.getColumn(1).getInt64(), row.getColumn(2).getInt64()};
        }
        return files;
    });
}

void HostRecords::PutSending(const std::string& path, const SentFile& file) {
    body->Run("INSERT OR REPLACE INTO sending VALUES (?,?,?)", path, file.size, file.changed);
}

void HostRecords::ForgetSending(const std::string& path) { body->Run("DELETE FROM sending WHERE path = ?", path); }

std::vector<ParkedTask> HostRecords::Parked(int direction) {
    return body->Guarded([&](SQLite::Database& open) {
        std::vector<ParkedTask> tasks;
        SQLite::Statement row(open, "SELECT fileId, direction, priority, fragmentInfo FROM parked WHERE direction = ?");
        row.bind(1, direction);
        while (row.executeStep()) {
            tasks.push_back({row.getColumn(0).getString(), row.getColumn(1).getInt(), row.getColumn(2).getInt(),
                             row.getColumn(3).getString()});
        }
        return tasks;
    });
}

void HostRecords::Park(const ParkedTask& task) {
    body->Run("INSERT OR REPLACE INTO parked VALUES (?,?,?,?)", task.fileId, task.direction, task.priority,
              task.fragmentInfo);
}

void HostRecords::Unpark(const std::string& fileId, int direction) {
    body->Run("DELETE FROM parked WHERE fileId = ? AND direction = ?", fileId, direction);
}

std::string HostRecords::Value(const std::string& name) {
    return body->Guarded([&](SQLite::Database& open) {
        SQLite::Statement row(open, "SELECT value FROM host_values WHERE name = ?");
        row.bind(1, name);
        return row.executeStep() ? row.getColumn(0).getString() : std::string();
    });
}

void HostRecords::SetValue(const std::string& name, const std::string& value) {
    body->Run("INSERT OR REPLACE INTO host_values VALUES (?,?)", name, value);
}

void HostRecords::Begin() {
    body->Guarded([&](SQLite::Database& open) { body->transaction = std::make_unique<SQLite::Transaction>(open); });
}

void HostRecords::Commit() {
    body->Guarded([&](SQLite::Database&) {
        if (body->transaction) {
            body->transaction->commit();
            body->transaction.reset();
        }
    });
}

}  // namespace Drive::Host
