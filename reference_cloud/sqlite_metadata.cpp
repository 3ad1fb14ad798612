#include "reference_cloud/sqlite_metadata.h"

#include <SQLiteCpp/SQLiteCpp.h>
#include <SQLiteCpp/VariadicBind.h>
#include <sys/stat.h>

#include <condition_variable>
#include <exception>
#include <map>
#include <mutex>
#include <sstream>

#include "reference_cloud/sqlite_schema.h"

namespace Drive::ReferenceCloud {

namespace {

using Statement = SQLite::Statement;

constexpr int kBusyMilliseconds = 30000;

std::string JoinSizes(const std::vector<std::int64_t>& sizes) {
    std::string text;
    for (const std::int64_t size : sizes) text += (text.empty() ? "" : " ") + std::to_string(size);
    return text;
}

std::vector<std::int64_t> SplitSizes(const std::string& text) {
    std::istringstream stream(text);
    std::vector<std::int64_t> sizes;
    for (std::int64_t size = 0; stream >> size;) sizes.push_back(size);
    return sizes;
}

/// Reads the columns of a row one after the other.
class Columns {
public:
    explicit Columns(Statement& statement) : statement_(statement) {}
    void operator()(std::string& value) { value = statement_.getColumn(next_++).getString(); }
    void operator()(std::int64_t& value) { value = statement_.getColumn(next_++).getInt64(); }
    void operator()(int& value) { value = statement_.getColumn(next_++).getInt(); }
    void operator()(bool& value) { value = statement_.getColumn(next_++).getInt() != 0; }
    void operator()(std::vector<std::int64_t>& value) { value = SplitSizes(statement_.getColumn(next_++).getString()); }

private:
    Statement& statement_;
    int next_ = 0;
};

/// Binds the fields of a record one after the other.
class Binder {
public:
    explicit Binder(Statement& statement) : statement_(statement) {}
    void operator()(const std::string& value) { statement_.bind(next_++, value); }
    void operator()(std::int64_t value) { statement_.bind(next_++, value); }
    void operator()(int value) { statement_.bind(next_++, value); }
    void operator()(bool value) { statement_.bind(next_++, value ? 1 : 0); }
    void operator()(const std::vector<std::int64_t>& value) { statement_.bind(next_++, JoinSizes(value)); }

private:
    Statement& statement_;
    int next_ = 1;
};

// The fields of each record in the order of its table's columns.
template <class Visit>
void Fields(User& r, Visit&& visit) {
    visit(r.id), visit(r.name), visit(r.passwordHash), visit(r.rootId), visit(r.bucket), visit(r.sealedKey1);
    visit(r.sealedKey3), visit(r.keyUuid1), visit(r.keyUuid3), visit(r.quota), visit(r.used), visit(r.uploadType);
}
template <class Visit>
void Fields(Token& r, Visit&& visit) {
    visit(r.hash), visit(r.family), visit(r.userId), visit(r.refresh), visit(r.expires);
}
template <class Visit>
void Fields(FileRow& r, Visit&& visit) {
    visit(r.id), visit(r.userId), visit(r.parentId), visit(r.name), visit(r.folder), visit(r.deletedAt);
    visit(r.deletion), visit(r.depth), visit(r.size), visit(r.sha256), visit(r.md5), visit(r.mimeType);
    visit(r.category), visit(r.version), visit(r.contentId), visit(r.attachments), visit(r.encrypted);
    visit(r.created), visit(r.edited);
}
template <class Visit>
void Fields(Content& r, Visit&& visit) {
    visit(r.id), visit(r.userId), visit(r.encrypted), visit(r.size), visit(r.sha256), visit(r.md5), visit(r.bucket);
    visit(r.sliceSize), visit(r.keys), visit(r.attachments), visit(r.attachmentNames), visit(r.created);
    visit(r.orphaned);
}
template <class Visit>
void Fields(StoredObject& r, Visit&& visit) {
    visit(r.id), visit(r.userId), visit(r.uploadId), visit(r.contentId), visit(r.index), visit(r.attachment);
    visit(r.length), visit(r.syncKey), visit(r.time), visit(r.blob), visit(r.sha256), visit(r.md5), visit(r.state);
}
template <class Visit>
void Fields(Upload& r, Visit&& visit) {
    visit(r.cursor), visit(r.userId), visit(r.type), visit(r.fileId), visit(r.parentId), visit(r.name), visit(r.size);
    visit(r.sha256), visit(r.mimeType), visit(r.attachments), visit(r.bucket), visit(r.sliceSize), visit(r.version);
    visit(r.existContent), visit(r.resultFile), visit(r.touched), visit(r.keyDigest);
}
template <class Visit>
void Fields(Change& r, Visit&& visit) {
    visit(r.sequence), visit(r.snapshot);
}

class SqliteRows : public Rows {
public:
    explicit SqliteRows(SQLite::Database& database) : database_(database) {}

    void PutUser(const User& user) override { Put("users", user); }
    std::optional<User> UserById(const std::string& id) override {
        return One<User>("SELECT * FROM users WHERE id = ?", id);
    }
    std::optional<User> UserByName(const std::string& name) override {
        return One<User>("SELECT * FROM users WHERE name = ?", name);
    }
    std::vector<User> Users() override { return Many<User>("SELECT * FROM users ORDER BY name"); }
    void DropUser(const std::string& id) override {
        for (const char* table : {"tokens", "files", "changes", "contents", "objects", "uploads"}) {
            Run("DELETE FROM " + std::string(table) + " WHERE userId = ?", id);
        }
        Run("DELETE FROM users WHERE id = ?", id);
    }
    void AddUsed(const std::string& userId, std::int64_t bytes) override {
        Run("UPDATE users SET used = max(0, used + ?) WHERE id = ?", bytes, userId);
    }

    void PutToken(const Token& token) override { Put("tokens", token); }
    std::optional<Token> TokenByHash(const std::string& hash) override {
        return One<Token>("SELECT * FROM tokens WHERE hash = ?", hash);
    }
    void LimitFamily(const std::string& family, std::int64_t expires) override {
        Run("UPDATE tokens SET expires = min(expires, ?) WHERE family = ?", expires, family);
    }
    void LimitSignIn(const std::string& signIn, std::int64_t expires) override {
        // Families are the sign-in itself, or begin with it and a point, behind which comes the slash.
        Run("UPDATE tokens SET expires = min(expires, ?) WHERE family >= ? AND family < ?", expires, signIn,
            signIn + "/");
    }
    void DropUserTokens(const std::string& userId) override { Run("DELETE FROM tokens WHERE userId = ?", userId); }
    void DropExpiredTokens(std::int64_t now) override { Run("DELETE FROM tokens WHERE expires < ?", now); }

    void PutFile(const FileRow& file) override { Put("files", file); }
    void DropFile(const std::string& id) override { Run("DELETE FROM files WHERE id = ?", id); }
    std::optional<FileRow> FileById(const std::string& id) override {
        return One<FileRow>("SELECT * FROM files WHERE id = ?", id);
    }
    std::optional<FileRow> LiveChild(const std::string& parentId, const std::string& name) override {
        return One<FileRow>("SELECT * FROM files WHERE parentId = ? AND name = ? AND deletedAt = 0", parentId, name);
    }
    std::vector<FileRow> LiveChildren(const std::string& parentId) override {
        return Many<FileRow>("SELECT * FROM files WHERE parentId = ? AND deletedAt = 0", parentId);
    }
    std::vector<FileRow> OfDeletion(const std::string& deletion) override {
        return Many<FileRow>("SELECT * FROM files WHERE deletion = ? AND deletion <> '' ORDER BY depth", deletion);
    }
    std::vector<FileRow> DeletedBefore(std::int64_t time, int limit) override {
        return Many<FileRow>("SELECT * FROM files WHERE deletedAt <> 0 AND deletedAt < ? ORDER BY deletedAt LIMIT ?",
                             time, limit);
    }
    std::vector<FileRow> ListAfter(const std::string& userId, int depth, const std::string& id, int limit) override {
        return Many<FileRow>(
            "SELECT * FROM files WHERE userId = ? AND deletedAt = 0 AND (depth, id) > (?, ?) AND depth > 0 "
            "ORDER BY depth, id LIMIT ?",
            userId, depth, id, limit);
    }
    bool ContentIsUsed(const std::string& contentId) override {
        return Exists("SELECT 1 FROM files WHERE contentId = ? AND contentId <> '' LIMIT 1", contentId);
    }

    std::int64_t AddChange(const std::string& userId, const std::string& snapshot) override {
        Run("INSERT INTO changes(userId, snapshot) VALUES(?, ?)", userId, snapshot);
        return database_.getLastInsertRowid();
    }
    std::vector<Change> ChangesAfter(const std::string& userId, std::int64_t sequence, int limit) override {
        return Many<Change>(
            "SELECT sequence, snapshot FROM changes WHERE userId = ? AND sequence > ? ORDER BY sequence LIMIT ?",
            userId, sequence, limit);
    }
    std::int64_t LastChange(const std::string& userId) override {
        Statement& statement = Prepare("SELECT coalesce(max(sequence), 0) FROM changes WHERE userId = ?", userId);
        statement.executeStep();
        return statement.getColumn(0).getInt64();
    }

    void PutContent(const Content& content) override { Put("contents", content); }
    void DropContent(const std::string& id) override { Run("DELETE FROM contents WHERE id = ?", id); }
    std::optional<Content> ContentById(const std::string& id) override {
        return One<Content>("SELECT * FROM contents WHERE id = ?", id);
    }
    std::optional<Content> ContentByDigest(const std::string& userId, const std::string& sha256,
                                           std::int64_t size) override {
        return One<Content>(
            "SELECT * FROM contents c WHERE userId = ? AND sha256 = ? AND size = ? AND orphaned = 0 AND EXISTS "
            "(SELECT 1 FROM files f WHERE f.contentId = c.id AND f.contentId <> '' AND f.deletedAt = 0) LIMIT 1",
            userId, sha256, size);
    }
    std::vector<Content> OrphansBefore(std::int64_t time, int limit) override {
        return Many<Content>("SELECT * FROM contents WHERE orphaned <> 0 AND orphaned < ? LIMIT ?", time, limit);
    }

    void PutObject(const StoredObject& object) override { Put("objects", object); }
    void DropObject(const std::string& id) override { Run("DELETE FROM objects WHERE id = ?", id); }
    std::optional<StoredObject> ObjectById(const std::string& id) override {
        return One<StoredObject>("SELECT * FROM objects WHERE id = ?", id);
    }
    std::vector<StoredObject> ObjectsOfUpload(const std::string& cursor) override {
        return Many<StoredObject>("SELECT * FROM objects WHERE uploadId = ? AND uploadId <> '' ORDER BY position",
                                  cursor);
    }
    std::vector<StoredObject> ObjectsOfContent(const std::string& content) override {
        return Many<StoredObject>("SELECT * FROM objects WHERE contentId = ? AND contentId <> '' ORDER BY position",
                                  content);
    }
    void GiveObjects(const std::string& uploadCursor, const std::string& contentId) override {
        Run("UPDATE objects SET uploadId = '', contentId = ? WHERE uploadId = ? AND uploadId <> ''", contentId,
            uploadCursor);
    }
    bool BlobIsUsed(const std::string& blob) override {
        return Exists("SELECT 1 FROM objects WHERE blob = ? AND blob <> '' LIMIT 1", blob);
    }

    void PutUpload(const Upload& upload) override { Put("uploads", upload); }
    void DropUpload(const std::string& cursor) override { Run("DELETE FROM uploads WHERE cursor = ?", cursor); }
    std::optional<Upload> UploadByCursor(const std::string& cursor) override {
        return One<Upload>("SELECT * FROM uploads WHERE cursor = ?", cursor);
    }
    std::vector<Upload> OpenUploads(const std::string& userId, const std::string& fileId, const std::string& parentId,
                                    const std::string& name) override {
        return Many<Upload>(
            "SELECT * FROM uploads WHERE userId = ? AND fileId = ? AND parentId = ? AND name = ? AND resultFile = '' "
            "ORDER BY version DESC",
            userId, fileId, parentId, name);
    }
    std::vector<Upload> UploadsBefore(std::int64_t time, int limit) override {
        return Many<Upload>("SELECT * FROM uploads WHERE touched < ? LIMIT ?", time, limit);
    }

    /// Ends every statement. One that still stands on a row would keep the connection on an old state for ever.
    void Settle() {
        for (auto& [text, statement] : statements_) statement->tryReset();
    }

private:
    template <class... Values>
    Statement& Prepare(const std::string& sql, const Values&... values) {
        auto& statement = statements_[sql];
        if (!statement) statement = std::make_unique<Statement>(database_, sql);
        statement->tryReset();  // an earlier failure of this statement was told when it happened
        statement->clearBindings();
        Binder binder(*statement);
        (binder(values), ...);
        return *statement;
    }

    template <class... Values>
    void Run(const std::string& sql, const Values&... values) {
        Statement& statement = Prepare(sql, values...);
        statement.exec();
        statement.reset();
    }

    /// Insert, or update by the first column; a clash in any other unique column is an error.
    std::string PutText(const std::string& table) {
        std::string marks, updates, key;
        Statement info(database_, "SELECT name FROM pragma_table_info(?)");
        info.bind(1, table);
        while (info.executeStep()) {
            const std::string column = info.getColumn(0).getString();
            marks += marks.empty() ? "?" : ",?";
            if (key.empty()) {
                key = column;
            } else {
                updates += (updates.empty() ? "" : ",") + column + "=excluded." + column;
            }
        }
        return "INSERT INTO " + table + " VALUES(" + marks + ") ON CONFLICT(" + key + ") DO UPDATE SET " + updates;
    }

    template <class Record>
    void Put(const std::string& table, const Record& record) {
        auto& text = puts_[table];
        if (text.empty()) text = PutText(table);
        Statement& statement = Prepare(text);
        Record copy = record;
        Fields(copy, Binder(statement));
        statement.exec();
        statement.reset();
    }

    template <class Record, class... Values>
    std::optional<Record> One(const std::string& sql, const Values&... values) {
        auto records = Many<Record>(sql, values...);
        if (records.empty()) return std::nullopt;
        return std::move(records.front());
    }

    template <class Record, class... Values>
    std::vector<Record> Many(const std::string& sql, const Values&... values) {
        Statement& statement = Prepare(sql, values...);
        std::vector<Record> records;
        while (statement.executeStep()) Fields(records.emplace_back(), Columns(statement));
        statement.reset();
        return records;
    }

    template <class... Values>
    bool Exists(const std::string& sql, const Values&... values) {
        Statement& statement = Prepare(sql, values...);
        const bool found = statement.executeStep();
        statement.reset();
        return found;
    }

    SQLite::Database& database_;
    std::map<std::string, std::unique_ptr<Statement>> statements_;
    std::map<std::string, std::string> puts_;
};

/// One connection with its prepared statements; one thread at a time.
struct Connection {
    explicit Connection(const std::string& path)
        : database(path, SQLite::OPEN_READWRITE | SQLite::OPEN_CREATE, kBusyMilliseconds), rows(database) {
        database.exec("PRAGMA journal_mode = WAL");
        database.exec("PRAGMA synchronous = FULL");
        database.exec("PRAGMA cache_size = -32768");
    }
    SQLite::Database database;
    SqliteRows rows;
};

bool HasColumn(SQLite::Database& database, const LaterColumn& column) {
    Statement found(database, "SELECT 1 FROM pragma_table_info(?) WHERE name = ?");
    SQLite::bind(found, column.table, column.name);
    return found.executeStep();
}

/// Another process may open the file at the same moment: who comes second finds the column there.
void AddColumn(SQLite::Database& database, const LaterColumn& column) {
    if (HasColumn(database, column)) return;
    SQLite::Transaction transaction(database, SQLite::TransactionBehavior::IMMEDIATE);
    if (!HasColumn(database, column)) {
        database.exec("ALTER TABLE " + std::string(column.table) + " ADD COLUMN " + column.definition);
    }
    transaction.commit();
}

/// Reads have a connection of their own, so that they do not wait for the disk while a change is synced. Changes that
/// come while one is being synced are put into one transaction together, each behind a savepoint of its own: what
/// costs is the sync, not the work.
class SqliteMetadata : public MetadataStore {
public:
    explicit SqliteMetadata(const std::string& path) : writer_(path), reader_(path) {
        ::chmod(path.c_str(), 0600);
        writer_.database.exec(kSqliteSchema);
        for (const LaterColumn& column : kLaterColumns) AddColumn(writer_.database, column);
    }

    void Change(const std::function<void(Rows&)>& work) override {
        Pending own{&work, nullptr, false};
        std::unique_lock lock(queueMutex_);
        queue_.push_back(&own);
        while (!own.done) {
            if (leading_) {
                turn_.wait(lock);
                continue;
            }
            leading_ = true;
            std::vector<Pending*> batch;
            batch.swap(queue_);
            lock.unlock();
            Commit(batch);
            lock.lock();
            for (Pending* pending : batch) pending->done = true;
            leading_ = false;
            turn_.notify_all();
        }
        lock.unlock();
        if (own.error) std::rethrow_exception(own.error);
    }

    void Read(const std::function<void(Rows&)>& work) override {
        const std::lock_guard lock(readMutex_);
        SQLite::Transaction transaction(reader_.database, SQLite::TransactionBehavior::DEFERRED);
        try {
            work(reader_.rows);
        } catch (...) {
            reader_.rows.Settle();
            throw;
        }
        reader_.rows.Settle();
        transaction.commit();
    }

private:
    struct Pending {
        const std::function<void(Rows&)>* work;
        std::exception_ptr error;
        bool done;  // guarded by queueMutex_
    };

    /// All of the batch in one transaction; what throws is taken back alone.
    void Commit(const std::vector<Pending*>& batch) {
        try {
            SQLite::Transaction transaction(writer_.database, SQLite::TransactionBehavior::IMMEDIATE);
            for (Pending* pending : batch) pending->error = Attempt(*pending->work);
            transaction.commit();
        } catch (...) {
            for (Pending* pending : batch) pending->error = std::current_exception();
        }
    }

    /// One change behind a savepoint; null when it went through.
    std::exception_ptr Attempt(const std::function<void(Rows&)>& work) {
        writer_.database.exec("SAVEPOINT change");
        std::exception_ptr error;
        try {
            work(writer_.rows);
        } catch (...) {
            error = std::current_exception();
        }
        writer_.rows.Settle();
        if (error) writer_.database.exec("ROLLBACK TO change");
        writer_.database.exec("RELEASE change");
        return error;
    }

    std::mutex queueMutex_;
    std::condition_variable turn_;
    // Guarded by queueMutex_.
    std::vector<Pending*> queue_;
    bool leading_ = false;
    // Used by whoever leads.
    Connection writer_;

    std::mutex readMutex_;
    Connection reader_;  // guarded by readMutex_
};

}  // namespace

std::unique_ptr<MetadataStore> OpenSqliteMetadata(const std::string& path) {
    return std::make_unique<SqliteMetadata>(path);
}

}  // namespace Drive::ReferenceCloud
