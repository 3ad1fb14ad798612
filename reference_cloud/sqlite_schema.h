#pragma once

namespace Drive::ReferenceCloud {

/// Every statement may run again on a file that has it already.
inline constexpr const char* kSqliteSchema = R"sql(
CREATE TABLE IF NOT EXISTS users(
  id TEXT PRIMARY KEY, name TEXT NOT NULL UNIQUE, passwordHash TEXT NOT NULL, rootId TEXT NOT NULL,
  bucket TEXT NOT NULL, sealedKey1 TEXT NOT NULL, sealedKey3 TEXT NOT NULL, keyUuid1 TEXT NOT NULL,
  keyUuid3 TEXT NOT NULL, quota INTEGER NOT NULL, used INTEGER NOT NULL, uploadType TEXT NOT NULL) WITHOUT ROWID;
CREATE TABLE IF NOT EXISTS tokens(
  hash TEXT PRIMARY KEY, family TEXT NOT NULL, userId TEXT NOT NULL, refresh INTEGER NOT NULL,
  expires INTEGER NOT NULL) WITHOUT ROWID;
CREATE INDEX IF NOT EXISTS tokensByFamily ON tokens(family);
CREATE INDEX IF NOT EXISTS tokensByExpiry ON tokens(expires);
CREATE TABLE IF NOT EXISTS files(
  id TEXT PRIMARY KEY, userId TEXT NOT NULL, parentId TEXT NOT NULL, name TEXT NOT NULL, folder INTEGER NOT NULL,
  deletedAt INTEGER NOT NULL, deletion TEXT NOT NULL, depth INTEGER NOT NULL, size INTEGER NOT NULL,
  sha256 TEXT NOT NULL, md5 TEXT NOT NULL, mimeType TEXT NOT NULL, category TEXT NOT NULL, version INTEGER NOT NULL,
  contentId TEXT NOT NULL, attachments TEXT NOT NULL, encrypted INTEGER NOT NULL, created INTEGER NOT NULL,
  edited INTEGER NOT NULL) WITHOUT ROWID;
CREATE UNIQUE INDEX IF NOT EXISTS filesByName ON files(parentId, name) WHERE deletedAt = 0;
CREATE INDEX IF NOT EXISTS filesByDepth ON files(userId, depth, id) WHERE deletedAt = 0;
CREATE INDEX IF NOT EXISTS filesByContent ON files(contentId) WHERE contentId <> '';
CREATE INDEX IF NOT EXISTS filesByDeletion ON files(deletion) WHERE deletion <> '';
CREATE INDEX IF NOT EXISTS filesByDeletedAt ON files(deletedAt) WHERE deletedAt <> 0;
CREATE TABLE IF NOT EXISTS changes(
  sequence INTEGER PRIMARY KEY AUTOINCREMENT, userId TEXT NOT NULL, snapshot TEXT NOT NULL);
CREATE INDEX IF NOT EXISTS changesByUser ON changes(userId, sequence);
CREATE TABLE IF NOT EXISTS contents(
  id TEXT PRIMARY KEY, userId TEXT NOT NULL, encrypted INTEGER NOT NULL, size INTEGER NOT NULL, sha256 TEXT NOT NULL,
  md5 TEXT NOT NULL, bucket TEXT NOT NULL, sliceSize INTEGER NOT NULL, keys TEXT NOT NULL, attachments TEXT NOT NULL,
  attachmentNames TEXT NOT NULL, created INTEGER NOT NULL, orphaned INTEGER NOT NULL) WITHOUT ROWID;
CREATE INDEX IF NOT EXISTS contentsByDigest ON contents(userId, sha256, size) WHERE orphaned = 0;
CREATE INDEX IF NOT EXISTS contentsByOrphaned ON contents(orphaned) WHERE orphaned <> 0;
CREATE TABLE IF NOT EXISTS objects(
  id TEXT PRIMARY KEY, userId TEXT NOT NULL, uploadId TEXT NOT NULL, contentId TEXT NOT NULL, position INTEGER NOT NULL,
  attachment INTEGER NOT NULL, length INTEGER NOT NULL, syncKey TEXT NOT NULL, time TEXT NOT NULL, blob TEXT NOT NULL,
  sha256 TEXT NOT NULL, md5 TEXT NOT NULL, state INTEGER NOT NULL) WITHOUT ROWID;
CREATE INDEX IF NOT EXISTS objectsByUpload ON objects(uploadId, position) WHERE uploadId <> '';
CREATE INDEX IF NOT EXISTS objectsByContent ON objects(contentId, position) WHERE contentId <> '';
CREATE INDEX IF NOT EXISTS objectsByBlob ON objects(blob) WHERE blob <> '';
CREATE TABLE IF NOT EXISTS uploads(
  cursor TEXT PRIMARY KEY, userId TEXT NOT NULL, type TEXT NOT NULL, fileId TEXT NOT NULL, parentId TEXT NOT NULL,
  name TEXT NOT NULL, size INTEGER NOT NULL, sha256 TEXT NOT NULL, mimeType TEXT NOT NULL, attachments TEXT NOT NULL,
  bucket TEXT NOT NULL, sliceSize INTEGER NOT NULL, version INTEGER NOT NULL, existContent TEXT NOT NULL,
  resultFile TEXT NOT NULL, touched INTEGER NOT NULL, keyDigest TEXT NOT NULL DEFAULT '') WITHOUT ROWID;
CREATE INDEX IF NOT EXISTS uploadsByFile ON uploads(userId, fileId, parentId, name) WHERE resultFile = '';
CREATE INDEX IF NOT EXISTS uploadsByTouched ON uploads(touched);
)sql";

/// Columns that came later, at the end of their tables; each is added where it is not there yet.
struct LaterColumn {
    const char* table;
    const char* name;
    const char* definition;
};
inline constexpr LaterColumn kLaterColumns[] = {{"uploads", "keyDigest", "keyDigest TEXT NOT NULL DEFAULT ''"}};

}  // namespace Drive::ReferenceCloud
