#pragma once

/// Routes of the wire protocol, shared by client and server. `{id}` stands for one percent-encoded path segment. All
/// bodies are JSON in UTF-8 unless said otherwise. Every route but health, login, refresh and the object store needs
/// "Authorization: Bearer <token>".
namespace Drive::Cloud::Wire {

inline constexpr const char* kHealth = "/health";  // GET

inline constexpr const char* kLogin = "/v1/account/login";      // POST user, password
inline constexpr const char* kRefresh = "/v1/account/refresh";  // POST refreshToken
inline constexpr const char* kLogout = "/v1/account/logout";    // POST
inline constexpr const char* kSpace = "/v1/account/space";      // GET

inline constexpr const char* kPublicKey = "/v1/keys/public";  // GET
inline constexpr const char* kKeyList = "/v1/keys/list";      // POST keyKind, temporaryKey, version

inline constexpr const char* kFiles = "/v1/files";             // GET ?cursor=&limit=   all files, parents first
inline constexpr const char* kChanges = "/v1/changes";         // GET ?cursor=&limit=
inline constexpr const char* kFindFile = "/v1/files/find";     // GET ?parentFolder=&fileName=
inline constexpr const char* kFolders = "/v1/folders";         // POST fileName, parentFolder
inline constexpr const char* kEmptyFiles = "/v1/files/empty";  // POST fileName, parentFolder
inline constexpr const char* kFilePrefix = "/v1/files/";       // GET, DELETE {id}; below: {id} and one of
inline constexpr const char* kRenameSuffix = "/rename";        // POST fileName
inline constexpr const char* kMoveSuffix = "/move";            // POST parentFolder
inline constexpr const char* kRestoreSuffix = "/restore";      // POST
inline constexpr const char* kDownloadSuffix = "/download";    // GET   how the file is stored
inline constexpr const char* kContentSuffix = "/content";      // GET   plain bytes, Range
inline constexpr const char* kThumbnailSuffix = "/thumbnail";  // GET   JPEG bytes

inline constexpr const char* kUploadStart = "/v1/uploads/start";             // POST
inline constexpr const char* kUploadAddress = "/v1/uploads/address";         // POST
inline constexpr const char* kUploadObject = "/v1/uploads/object-complete";  // POST
inline constexpr const char* kUploadCreate = "/v1/uploads/create-complete";  // POST
inline constexpr const char* kUploadUpdate = "/v1/uploads/update-complete";  // POST
inline constexpr const char* kDownloadAddress = "/v1/downloads/address";     // POST

/// The object store: PUT and GET {bucket}/{object}?expires=&signature= with the headers that the address call gave.
inline constexpr const char* kStorePrefix = "/store/";

/// The file proxy: {session}. The method and the query tell the operation.
inline constexpr const char* kProxyPrefix = "/proxy/";
inline constexpr const char* kProxyUploadType = "uploadType";  // "multipart" or "resume"; absent on a slice
inline constexpr const char* kProxyMultipart = "multipart";    // 50003 is a POST, 50024 a PATCH
inline constexpr const char* kProxyResume = "resume";  // 50026 is a POST, 50027 a PATCH; 50028 PUTs to resumeUrl

}  // namespace Drive::Cloud::Wire
