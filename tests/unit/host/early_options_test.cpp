#include <gtest/gtest.h>

#include <cstdlib>
#include <vector>

#include "host/launcher/apply_settings.h"
#include "host/launcher/state_option.h"
#include "interfaces/common/globals.h"

namespace Drive::Host {
namespace {

EarlyOptions Read(std::vector<const char*> words) {
    words.insert(words.begin(), "zelkor-drive");
    return ReadEarlyOptions(static_cast<int>(words.size()), words.data());
}

// HOST-START-01
TEST(EarlyOptions, FindTheStateFolderInBothSpellings) {
    EXPECT_EQ(Read({"get", "--state", "/a b"}).stateFolder, "/a b");
    EXPECT_EQ(Read({"--state=/c", "get"}).stateFolder, "/c");
    EXPECT_EQ(Read({"--state", "/first", "get", "--state=/last"}).stateFolder, "/last");
}

// HOST-START-01
TEST(EarlyOptions, TakeTheEnvironmentWhenTheLineSaysNothing) {
    setenv("ZELKOR_DRIVE_STATE", "/from/environment", 1);
    EXPECT_EQ(Read({"get"}).stateFolder, "/from/environment");
    EXPECT_EQ(Read({"get", "--state", "/line"}).stateFolder, "/line");
    unsetenv("ZELKOR_DRIVE_STATE");
}

// HOST-START-02
TEST(EarlyOptions, ReadCountsAndPassOverNonsense) {
    EXPECT_EQ(Read({"get", "--downloads", "9"}).downloads, 9);
    EXPECT_EQ(Read({"put", "--uploads=4"}).uploads, 4);
    EXPECT_FALSE(Read({"get", "--downloads", "0"}).downloads.has_value());
    EXPECT_FALSE(Read({"get", "--downloads", "many"}).downloads.has_value());
    EXPECT_FALSE(Read({"get", "--downloads"}).downloads.has_value());
}

// HOST-START-02
TEST(ApplySettings, SetsTheCountsThatTheEngineReadsAtLoad) {
    Settings settings;
    settings.downloads = 11;
    settings.uploads = 12;
    settings.thumbnails = 13;
    settings.priorityDownloads = 14;
    settings.nameLength = 99;
    ApplySettings(settings);
    EXPECT_EQ(g_MaxDownloadTaskCount, 11);
    EXPECT_EQ(g_MaxUploadTaskCount, 12);
    EXPECT_EQ(g_MaxThumbnailDownloadTaskCount, 13);
    EXPECT_EQ(g_PriorityDownloadTaskLimit, 14);
    EXPECT_EQ(g_FolderNameMaxLength, 99);
    ApplySettings(Settings());
}

}  // namespace
}  // namespace Drive::Host
