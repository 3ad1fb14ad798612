#include "host/mount/wishes.h"

#include <SQLiteCpp/SQLiteCpp.h>

#include <mutex>
#include <stdexcept>

namespace Drive::Host {
namespace {

constexpr const char* kSchema =
    "CREATE TABLE IF NOT EXISTS wishes (fileId TEXT PRIMARY KEY, removed INTEGER NOT NULL, version TEXT NOT NULL,"
    " path TEXT NOT NULL) WITHOUT ROWID;";

constexpr int kBusyMilliseconds = 10000;

}  // namespace

struct Wishes::Body {
    std::mutex mutex;
    std::string path;
    std::unique_ptr<SQLite::Database> database;  // guarded by mutex

    template <typename Action>
    auto Guarded(Action&& action) {
        const std::lock_guard lock(mutex);
        try {
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

Wishes::Wishes() : body(std::make_unique<Body>()) {}
Wishes::~Wishes() = default;

void Wishes::Open(const std::string& stateFolder) {
    body->path = stateFolder + "/mount.db";
    try {
        body->database = std::make_unique<SQLite::Database>(body->path, SQLite::OPEN_READWRITE | SQLite::OPEN_CREATE,
                                                            kBusyMilliseconds);
        body->database->exec("PRAGMA journal_mode=WAL;");
        body->database->exec("PRAGMA synchronous=NORMAL;");
        body->database->exec(kSchema);
    } catch (const SQLite::Exception& failure) {
        throw std::runtime_error("cannot open " + body->path + ": " + failure.what());
    }
}

std::unordered_map<std::string, Wish> Wishes::All() {
    return body->Guarded([](SQLite::Database& open) {
        std::unordered_map<std::string, Wish> wishes;
        SQLite::Statement row(open, "SELECT fileId, removed, version, path FROM wishes");
        while (row.executeStep()) {
            wishes[row.getColumn(0).getString()] = {row.getColumn(1).getInt() != 0, row.getColumn(2).getString(),
                                                    row.getColumn(3).getString()};
        }
        return wishes;
    });
}

void Wishes::PutRemoval(const std::string& fileId, const std::string& version) {
    body->Run("INSERT OR REPLACE INTO wishes VALUES (?,1,?,'')", fileId, version);
}

void Wishes::PutPlace(const std::string& fileId, const std::string& path) {
    body->Run("INSERT OR REPLACE INTO wishes VALUES (?,0,'',?)", fileId, path);
}

void Wishes::MoveBelow(const std::string& from, const std::string& to) {
    const std::string prefix = from + "/";
    const int length = static_cast<int>(prefix.size());
    // Compared as bytes: a path is not always text.
    body->Run(
        "UPDATE wishes SET path = CAST(CAST(? AS BLOB) || substr(CAST(path AS BLOB), ?) AS TEXT) WHERE removed = 0 AND "
        "substr(CAST(path AS BLOB), 1, ?) = CAST(? AS BLOB)",
        to + "/", length + 1, length, prefix);
}

void Wishes::Forget(const std::string& fileId) { body->Run("DELETE FROM wishes WHERE fileId = ?", fileId); }

}  // namespace Drive::Host
