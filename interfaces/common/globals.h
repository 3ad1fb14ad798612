#pragma once

#include <cstdint>
#include <string>

#include "interfaces/platform/export.h"

/// The process-wide settings of ZelkorSyncFile.Common: plain variables without accessor and lock. Texts, limits and
/// folders are set by the host before the engine starts and not changed while it runs. Flags that a thread may write
/// while others read are touched through a relaxed std::atomic_ref. The four counts are read once, when the engine's
/// library is loaded: who wants other counts than the defaults sets them before that.
namespace Drive {

/// Bytes of each key buffer. The keys use 16 or 32 of them; the rest stays zero, and no answer of the key service
/// that fits this many bytes can run over.
inline constexpr int kKeyBufferBytes = 256;

/// Content key of type 1; a first byte other than zero means that the keys are in. Written by the key service only.
extern ZELKOR_API unsigned char g_SyncUserKey[kKeyBufferBytes];
/// Content key of type 3.
extern ZELKOR_API unsigned char g_SyncUserKey_sfek[kKeyBufferBytes];
/// Ids of the two keys.
extern ZELKOR_API std::string g_Keyuid;
extern ZELKOR_API std::string g_Keyuid_sfek;

/// The login token as it was at start; the cloud library keeps the live one.
extern ZELKOR_API std::wstring g_accessToken;
/// Value of the "version" header; empty sends none.
extern ZELKOR_API std::wstring g_SyncServerVersion;

/// Root of the sync folder, with a closing separator; exists before start. Downloads land below it.
extern ZELKOR_API std::wstring g_clientSyncRootFolder;
/// Id of the root folder in the cloud.
extern ZELKOR_API std::wstring g_rootFileId;
/// Cache of thumbnails and of LCD images, each with a closing separator; exist before start.
extern ZELKOR_API std::wstring g_thumbnailFolder;
extern ZELKOR_API std::wstring g_lcdthumbnailFolder;

/// No network; read by the upload gate.
extern ZELKOR_API bool g_isOffLine;
/// The cloud is moving; set once by the upload engine.
extern ZELKOR_API bool g_cloudServerIsMigrating;
/// Stop all downloads; set at stop, cleared by the host alone.
extern ZELKOR_API bool g_StopDownLoadTask;

/// Longest file name that is uploaded, in wide characters. Default 80.
extern ZELKOR_API int g_FolderNameMaxLength;

/// How many of each run at once. Defaults 3, 3, 10 and 5.
extern ZELKOR_API int g_MaxUploadTaskCount;
extern ZELKOR_API int g_MaxDownloadTaskCount;
extern ZELKOR_API int g_MaxThumbnailDownloadTaskCount;
extern ZELKOR_API std::int64_t g_PriorityDownloadTaskLimit;

/// Files below this many mebibytes may jump the queue when they are opened. Default 20.
extern ZELKOR_API std::int64_t g_PriorityDownloadSizeLimit;

/// Bytes of space left below which the user is full, and at or below which he soon will be. Defaults 10 MiB, 1 GiB.
extern ZELKOR_API std::int64_t g_SpaceIsFullSize;
extern ZELKOR_API std::int64_t g_SpaceWillBeFullSize;
/// Seconds between two regular checks of a full space; below 1 switches them off. Default 3600.
extern ZELKOR_API std::int64_t g_SpaceNotifySpaceInterval;
/// Limit of space-full messages; 0 means none. Default 3.
extern ZELKOR_API int g_SpaceNotifySpaceTimes;

}  // namespace Drive
