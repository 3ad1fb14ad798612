#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "reference_cloud/records.h"

namespace Drive::ReferenceCloud {

/// The rows, inside one transaction. Only good during the call that handed it out. Every operation throws
/// std::exception when the store fails; the transaction is then rolled back. "Put" inserts or replaces by the id.
class Rows {
public:
    virtual ~Rows() = default;

    virtual void PutUser(const User& user) = 0;
    virtual std::optional<User> UserById(const std::string& id) = 0;
    virtual std::optional<User> UserByName(const std::string& name) = 0;
    virtual std::vector<User> Users() = 0;
    /// The user with everything that is theirs, store files apart: those are cleared away when no row names them.
    virtual void DropUser(const std::string& id) = 0;
    virtual void AddUsed(const std::string& userId, std::int64_t bytes) = 0;

    virtual void PutToken(const Token& token) = 0;
    virtual std::optional<Token> TokenByHash(const std::string& hash) = 0;
    virtual void LimitFamily(const std::string& family, std::int64_t expires) = 0;
    /// Every pair of a sign-in.
    virtual void LimitSignIn(const std::string& signIn, std::int64_t expires) = 0;
    virtual void DropUserTokens(const std::string& userId) = 0;
    virtual void DropExpiredTokens(std::int64_t now) = 0;

    virtual void PutFile(const FileRow& file) = 0;
    virtual void DropFile(const std::string& id) = 0;
    virtual std::optional<FileRow> FileById(const std::string& id) = 0;
    virtual std::optional<FileRow> LiveChild(const std::string& parentId, const std::string& name) = 0;
    virtual std::vector<FileRow> LiveChildren(const std::string& parentId) = 0;
    virtual std::vector<FileRow> OfDeletion(const std::string& deletion) = 0;  ///< parents first
    virtual std::vector<FileRow> DeletedBefore(std::int64_t time, int limit) = 0;
    /// Live things of a user without the root, by depth and id, after the given pair.
    virtual std::vector<FileRow> ListAfter(const std::string& userId, int depth, const std::string& id, int limit) = 0;
    virtual bool ContentIsUsed(const std::string& contentId) = 0;

    virtual std::int64_t AddChange(const std::string& userId, const std::string& snapshot) = 0;
    virtual std::vector<Change> ChangesAfter(const std::string& userId, std::int64_t sequence, int limit) = 0;
    virtual std::int64_t LastChange(const std::string& userId) = 0;

    virtual void PutContent(const Content& content) = 0;
    virtual void DropContent(const std::string& id) = 0;
    virtual std::optional<Content> ContentById(const std::string& id) = 0;
    /// A content of the user that a live file has.
    virtual std::optional<Content> ContentByDigest(const std::string& userId, const std::string& sha256,
                                                   std::int64_t size) = 0;
    virtual std::vector<Content> OrphansBefore(std::int64_t time, int limit) = 0;

    virtual void PutObject(const StoredObject& object) = 0;
    virtual void DropObject(const std::string& id) = 0;
    virtual std::optional<StoredObject> ObjectById(const std::string& id) = 0;
    virtual std::vector<StoredObject> ObjectsOfUpload(const std::string& cursor) = 0;    ///< by index
    virtual std::vector<StoredObject> ObjectsOfContent(const std::string& content) = 0;  ///< by index
    virtual void GiveObjects(const std::string& uploadCursor, const std::string& contentId) = 0;
    virtual bool BlobIsUsed(const std::string& blob) = 0;

    virtual void PutUpload(const Upload& upload) = 0;
    virtual void DropUpload(const std::string& cursor) = 0;
    virtual std::optional<Upload> UploadByCursor(const std::string& cursor) = 0;
    /// The open uploads of one file, newest first: by file id for a new version, by parent and name for a new file.
    virtual std::vector<Upload> OpenUploads(const std::string& userId, const std::string& fileId,
                                            const std::string& parentId, const std::string& name) = 0;
    virtual std::vector<Upload> UploadsBefore(std::int64_t time, int limit) = 0;
};

/// Where the rows live. Any number of threads at once, and other processes beside.
class MetadataStore {
public:
    virtual ~MetadataStore() = default;

    /// Runs `work` in a transaction: all of it is kept, across a crash, once this returns; none of it when it throws.
    virtual void Change(const std::function<void(Rows&)>& work) = 0;

    /// Runs `work` on one consistent state; it must not write.
    virtual void Read(const std::function<void(Rows&)>& work) = 0;
};

}  // namespace Drive::ReferenceCloud
