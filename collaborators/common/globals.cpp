#include "interfaces/common/globals.h"

namespace Drive {

unsigned char g_SyncUserKey[kKeyBufferBytes] = {};
unsigned char g_SyncUserKey_sfek[kKeyBufferBytes] = {};
std::string g_Keyuid;
std::string g_Keyuid_sfek;

std::wstring g_accessToken;
std::wstring g_SyncServerVersion;

std::wstring g_clientSyncRootFolder;
std::wstring g_rootFileId;
std::wstring g_thumbnailFolder;
std::wstring g_lcdthumbnailFolder;

bool g_isOffLine = false;
bool g_cloudServerIsMigrating = false;
bool g_StopDownLoadTask = false;

int g_FolderNameMaxLength = 80;

int g_MaxUploadTaskCount = 3;
int g_MaxDownloadTaskCount = 3;
int g_MaxThumbnailDownloadTaskCount = 10;
std::int64_t g_PriorityDownloadTaskLimit = 5;

std::int64_t g_PriorityDownloadSizeLimit = 20;

std::int64_t g_SpaceIsFullSize = std::int64_t{10} << 20;
std::int64_t g_SpaceWillBeFullSize = std::int64_t{1} << 30;
std::int64_t g_SpaceNotifySpaceInterval = 3600;
int g_SpaceNotifySpaceTimes = 3;

}  // namespace Drive
