#pragma once

#include <cstdint>
#include <string>
#include <vector>

/// What the cloud remembers, as plain values. Times are seconds since the epoch, sizes bytes.
namespace Drive::ReferenceCloud {

struct User {
    std::string id;
    std::string name;
    std::string passwordHash;
    std::string rootId;
    std::string bucket;
    std::string sealedKey1;  ///< content key of type 1, sealed with the server's master key, Base64
    std::string sealedKey3;
    std::string keyUuid1;
    std::string keyUuid3;
    std::int64_t quota = 0;
    std::int64_t used = 0;   ///< plain bytes of live files
    std::string uploadType;  ///< "client", "server", or empty for the server's setting
};

struct Token {
    std::string hash;    ///< SHA-256 of the token; the token itself is never kept
    std::string family;  ///< of one pair: its sign-in, and behind a point what tells a refreshed pair apart
    std::string userId;
    bool refresh = false;
    std::int64_t expires = 0;
};

struct FileRow {
    std::string id;
    std::string userId;
    std::string parentId;  ///< empty for a user's root only
    std::string name;
    bool folder = false;
    std::int64_t deletedAt = 0;  ///< 0 for a live one
    std::string deletion;        ///< which deletion took it; a restore brings back all of one
    int depth = 0;               ///< 0 for the root; orders lists parents first
    std::int64_t size = 0;
    std::string sha256;
    std::string md5;
    std::string mimeType;
    std::string category;
    std::int64_t version = 0;  ///< of the content
    std::string contentId;     ///< empty for folders and empty files
    std::vector<std::int64_t> attachments;
    bool encrypted = false;
    std::int64_t created = 0;
    std::int64_t edited = 0;
};

/// One stored content. Several files of one user may share it.
struct Content {
    std::string id;
    std::string userId;
    bool encrypted = false;
    std::int64_t size = 0;  ///< plain
    std::string sha256;     ///< of the plain bytes
    std::string md5;
    std::string bucket;
    std::int64_t sliceSize = 0;
    std::string keys;  ///< encFekList of the download answer, JSON text
    std::vector<std::int64_t> attachments;
    std::string attachmentNames;  ///< JSON text, same order
    std::int64_t created = 0;
    std::int64_t orphaned = 0;  ///< since when no file has it; 0 while one has
};

/// One stored object: a piece of an upload or of a content. A plain content's objects follow one another.
struct StoredObject {
    enum State { planned = 0, stored = 1, confirmed = 2 };

    std::string id;
    std::string userId;
    std::string uploadId;   ///< while the upload is open
    std::string contentId;  ///< afterwards
    std::int64_t index = 0;
    bool attachment = false;
    std::int64_t length = 0;  ///< bytes as stored; of a plain piece those that count
    std::string syncKey;
    std::string time;
    std::string blob;  ///< key in the object store; empty while planned
    std::string sha256;
    std::string md5;
    int state = planned;
};

struct Upload {
    std::string cursor;
    std::string userId;
    std::string type;    ///< "client", "exist" or "server"
    std::string fileId;  ///< empty for a new file
    std::string parentId;
    std::string name;
    std::int64_t size = 0;
    std::string sha256;  ///< may be empty for "server"
    std::string mimeType;
    std::vector<std::int64_t> attachments;
    std::string bucket;
    std::int64_t sliceSize = 0;
    std::int64_t version = 0;
    std::string existContent;  ///< of an "exist" plan
    std::string resultFile;    ///< set when it is complete, so that a repeated completion gets the same answer
    std::int64_t touched = 0;
    std::string keyDigest;  ///< of the key that its objects have, as the start told it; empty when it told none
};

struct Change {
    std::int64_t sequence = 0;
    std::string snapshot;  ///< the entry as it stood after the change, JSON text
};

}  // namespace Drive::ReferenceCloud
