#include "interfaces/common/globals.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace Drive {

namespace {

// COM-SETTINGS-01
TEST(Settings, HaveTheirDefaults) {
    EXPECT_EQ(g_FolderNameMaxLength, 80);
    EXPECT_EQ(g_MaxUploadTaskCount, 3);
    EXPECT_EQ(g_MaxDownloadTaskCount, 3);
    EXPECT_EQ(g_MaxThumbnailDownloadTaskCount, 10);
    EXPECT_EQ(g_PriorityDownloadTaskLimit, 5);
    EXPECT_EQ(g_PriorityDownloadSizeLimit, 20);
    EXPECT_EQ(g_SpaceIsFullSize, 10485760);
    EXPECT_EQ(g_SpaceWillBeFullSize, 1073741824);
    EXPECT_EQ(g_SpaceNotifySpaceInterval, 3600);
    EXPECT_EQ(g_SpaceNotifySpaceTimes, 3);
    EXPECT_FALSE(g_isOffLine);
    EXPECT_FALSE(g_cloudServerIsMigrating);
    EXPECT_FALSE(g_StopDownLoadTask);
}

// COM-SETTINGS-02
TEST(Settings, TextsAreEmpty) {
    for (const std::wstring* text : {&g_accessToken, &g_SyncServerVersion, &g_rootFileId}) {
        EXPECT_TRUE(text->empty());
    }
    EXPECT_TRUE(g_Keyuid.empty());
    EXPECT_TRUE(g_Keyuid_sfek.empty());
}

// COM-KEYS-04
TEST(KeyBuffers, Are256ZeroedBytes) {
    EXPECT_EQ(sizeof g_SyncUserKey, 256u);
    EXPECT_EQ(sizeof g_SyncUserKey_sfek, 256u);
    const auto isZero = [](unsigned char byte) { return byte == 0; };
    EXPECT_TRUE(std::all_of(std::begin(g_SyncUserKey), std::end(g_SyncUserKey), isZero));
    EXPECT_TRUE(std::all_of(std::begin(g_SyncUserKey_sfek), std::end(g_SyncUserKey_sfek), isZero));
}

}  // namespace

}  // namespace Drive
