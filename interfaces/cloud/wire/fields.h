#pragma once

/// Field names of the wire protocol, shared by client and server. Sizes are bytes, times seconds since the epoch,
/// digests lower-case hexadecimal, unless said otherwise.
namespace Drive::Cloud::Wire {

// Every refusal: status 4xx or 5xx and both of these.
inline constexpr const char* kErrorCode = "errorCode";      // text; empty when there is none
inline constexpr const char* kDescription = "description";  // text for people

// Account.
inline constexpr const char* kUser = "user";
inline constexpr const char* kPassword = "password";
inline constexpr const char* kAccessToken = "accessToken";
inline constexpr const char* kRefreshToken = "refreshToken";
inline constexpr const char* kExpiresIn = "expiresIn";  // seconds
inline constexpr const char* kUserId = "userId";
inline constexpr const char* kRootFileId = "rootFileId";
inline constexpr const char* kServerVersion = "serverVersion";
inline constexpr const char* kTotal = "total";
inline constexpr const char* kUsed = "used";
inline constexpr const char* kRemaining = "remaining";

// Keys.
inline constexpr const char* kPublicKeyField = "publicKey";  // Base64 of 91 bytes
inline constexpr const char* kVersion = "version";           // text beside a public key, number in a plan
inline constexpr const char* kKeyKind = "keyKind";           // number, 1
inline constexpr const char* kTemporaryKey = "temporaryKey";
inline constexpr const char* kKeys = "keys";
inline constexpr const char* kKeyType =
    "keyType";  // number in a key list and a completion, text "1" or "3" in a download
inline constexpr const char* kEncryptedKey = "encryptedKey";
inline constexpr const char* kKeyUuid = "keyUuid";

// Files, lists and changes.
inline constexpr const char* kItems = "items";
inline constexpr const char* kNextCursor = "nextCursor";      // text; empty when this was the last page
inline constexpr const char* kChangeCursor = "changeCursor";  // text; where Changes goes on
inline constexpr const char* kCursor = "cursor";
inline constexpr const char* kLimit = "limit";
inline constexpr const char* kId = "id";
inline constexpr const char* kFileId = "fileId";
inline constexpr const char* kFileName = "fileName";
inline constexpr const char* kParentFolder = "parentFolder";  // id of the parent; in proxy metadata an array of one
inline constexpr const char* kIsFolder = "isFolder";
inline constexpr const char* kIsDeleted = "isDeleted";
inline constexpr const char* kSize = "size";
inline constexpr const char* kSha256 = "sha256";
inline constexpr const char* kMd5 = "md5";
inline constexpr const char* kMimeType = "mimeType";
inline constexpr const char* kCategory = "category";
inline constexpr const char* kContentVersion = "contentVersion";  // text
inline constexpr const char* kThumbnailLink = "thumbnailLink";
inline constexpr const char* kAttachmentSize = "attachmentSize";  // array of numbers, "small" first
inline constexpr const char* kCreatedTime = "createdTime";
inline constexpr const char* kEditedTime = "editedTime";

// Plans.
inline constexpr const char* kUploadType = "uploadType";  // "client", "exist" or "server"
inline constexpr const char* kBucketId = "bucketId";
inline constexpr const char* kPosition = "position";
inline constexpr const char* kRecordCursor = "recordCursor";
inline constexpr const char* kKeyDigest = "keyDigest";  // of the file key, see key_digest.h
inline constexpr const char* kUploadUrl = "uploadUrl";
inline constexpr const char* kResumeUrl = "resumeUrl";
inline constexpr const char* kSliceSize = "sliceSize";
inline constexpr const char* kObjectId = "objectId";
inline constexpr const char* kLength = "length";
inline constexpr const char* kSyncKey = "synckey";
inline constexpr const char* kTime = "time";
inline constexpr const char* kStatus = "status";

// Addresses.
inline constexpr const char* kUrl = "url";
inline constexpr const char* kMethod = "method";
inline constexpr const char* kHeaders = "headers";
inline constexpr const char* kResponse = "response";    // the store's answer text
inline constexpr const char* kExpires = "expires";      // query of a signed address, seconds since the epoch
inline constexpr const char* kSignature = "signature";  // query of a signed address

// Completion and download.
inline constexpr const char* kObjectInfoList = "objectInfoList";
inline constexpr const char* kObjectIds = "objectIds";
inline constexpr const char* kSyncKeys = "synckeys";
inline constexpr const char* kAttachmentList = "attachmentList";
inline constexpr const char* kAttributes = "attributes";
inline constexpr const char* kName = "name";
inline constexpr const char* kEncFekList = "encFekList";
inline constexpr const char* kEfek = "efek";
inline constexpr const char* kIv = "iv";
inline constexpr const char* kEncryptAlgorithm = "encryptAlgorithm";
inline constexpr const char* kKeyUid = "keyUid";
inline constexpr const char* kDownloadUrl = "downloadUrl";

// Headers of our own.
inline constexpr const char* kVersionHeader = "version";
inline constexpr const char* kObjectDigestHeader = "X-Object-Sha256";      // the store's answer to GET and PUT
inline constexpr const char* kUploadContentType = "X-Upload-Content-Typ";  // twenty characters, deliberate
inline constexpr const char* kUploadContentLength = "X-Upload-Content-Length";

}  // namespace Drive::Cloud::Wire
