#include "host/launcher/apply_settings.h"

#include "interfaces/common/globals.h"

namespace Drive::Host {

void ApplySettings(const Settings& settings) {
    g_MaxUploadTaskCount = settings.uploads;
    g_MaxDownloadTaskCount = settings.downloads;
    g_MaxThumbnailDownloadTaskCount = settings.thumbnails;
    g_PriorityDownloadTaskLimit = settings.priorityDownloads;
    g_PriorityDownloadSizeLimit = settings.priorityMebibytes;
    g_FolderNameMaxLength = settings.nameLength;
    g_SpaceIsFullSize = settings.spaceFullBytes;
    g_SpaceWillBeFullSize = settings.spaceLowBytes;
    g_SpaceNotifySpaceInterval = settings.spaceCheckSeconds;
    g_SpaceNotifySpaceTimes = settings.spaceMessages;
}

}  // namespace Drive::Host
