#include "host/settings/settings.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "host/settings/ini_text.h"
#include "host/settings/login_file.h"
#include "host/settings/private_file.h"
#include "tests/unit/host/temporary_folder.h"

namespace Drive::Host {
namespace {

mode_t ModeOf(const std::string& path) {
    struct stat facts {};
    stat(path.c_str(), &facts);
    return facts.st_mode & 07777;
}

// HOST-SET-01
TEST(Settings, ComeBackAsTheyWereWritten) {
    const TemporaryFolder folder;
    Settings written;
    written.cloudUrl = "https://cloud.example:8443";
    written.user = "Jörg ;#[x]=%41";
    written.root = " /a folder/with \"odd\" ; things\nand a line break ";
    written.downloads = 7;
    written.downloadRate = 123456789012;
    std::string error;
    ASSERT_TRUE(WriteSettings(folder.Path(), written, error)) << error;
    Settings read;
    bool absent = true;
    ASSERT_TRUE(ReadSettings(folder.Path(), read, error, absent)) << error;
    EXPECT_FALSE(absent);
    EXPECT_EQ(read.cloudUrl, written.cloudUrl);
    EXPECT_EQ(read.user, written.user);
    EXPECT_EQ(read.root, written.root);
    EXPECT_EQ(read.downloads, 7);
    EXPECT_EQ(read.downloadRate, 123456789012);
}

// HOST-SET-01
TEST(Settings, KeepPathsLongerThanALineOfTheParser) {
    const TemporaryFolder folder;
    Settings written;
    for (int index = 0; index < 60; ++index) {
        written.root += "/a rather long folder name ;" + std::to_string(index);
    }
    std::string error;
    ASSERT_TRUE(WriteSettings(folder.Path(), written, error)) << error;
    Settings read;
    bool absent = false;
    ASSERT_TRUE(ReadSettings(folder.Path(), read, error, absent)) << error;
    EXPECT_EQ(read.root, written.root);
}

// HOST-SET-02
TEST(Settings, AreReadableByTheirOwnerAlone) {
    const TemporaryFolder folder;
    std::string error;
    ASSERT_TRUE(WriteSettings(folder.Path(), Settings(), error)) << error;
    EXPECT_EQ(ModeOf(SettingsPath(folder.Path())), 0600u);
}

// HOST-SET-03
TEST(Settings, AbsentOnesAreToldApartFromDamagedOnes) {
    const TemporaryFolder folder;
    Settings settings;
    std::string error;
    bool absent = false;
    EXPECT_FALSE(ReadSettings(folder.Path(), settings, error, absent));
    EXPECT_TRUE(absent);
    EXPECT_NE(error.find("zelkor-drive init"), std::string::npos);
    folder.Write("settings.ini", "[counts]\ndownloads = many\n");
    EXPECT_FALSE(ReadSettings(folder.Path(), settings, error, absent));
    EXPECT_FALSE(absent);
    EXPECT_NE(error.find("downloads = many"), std::string::npos);
}

// HOST-SET-04
TEST(Settings, AnUnknownKeyIsNamed) {
    const TemporaryFolder folder;
    folder.Write("settings.ini", "[counts]\ndownlods = 3\n");
    Settings settings;
    std::string error;
    bool absent = false;
    EXPECT_FALSE(ReadSettings(folder.Path(), settings, error, absent));
    EXPECT_NE(error.find("downlods"), std::string::npos);
}

// HOST-SET-01
TEST(Settings, APercentSignThatStartsNoCodeStandsForItself) {
    EXPECT_EQ(IniDecoded("100% and %zz and %4"), "100% and %zz and %4");
    EXPECT_EQ(IniDecoded("%41%0a"), "A\n");
}

// HOST-SET-02
TEST(LoginFile, KeepsTheTokensPrivately) {
    const TemporaryFolder folder;
    Cloud::Login written;
    written.accessToken = L"access";
    written.refreshToken = L"refresh";
    written.expiresAt = 1234567890123;
    written.userId = L"u-1";
    written.rootFileId = L"root";
    written.serverVersion = L"9";
    std::string error;
    ASSERT_TRUE(WriteLogin(folder.Path(), written, error)) << error;
    EXPECT_EQ(ModeOf(folder.Path("login.json")), 0600u);
    Cloud::Login read;
    ASSERT_TRUE(ReadLogin(folder.Path(), read, error)) << error;
    EXPECT_EQ(read.accessToken, L"access");
    EXPECT_EQ(read.refreshToken, L"refresh");
    EXPECT_EQ(read.expiresAt, 1234567890123);
    EXPECT_EQ(read.rootFileId, L"root");
}

// HOST-SET-05
TEST(LoginFile, ADamagedOneAsksToSignInAgain) {
    const TemporaryFolder folder;
    folder.Write("login.json", "{\"accessToken\":");
    Cloud::Login login;
    std::string error;
    EXPECT_FALSE(ReadLogin(folder.Path(), login, error));
    EXPECT_NE(error.find("init"), std::string::npos);
}

// HOST-SET-02
TEST(PrivateFile, ReplacesAFileThatOthersCouldRead) {
    const TemporaryFolder folder;
    folder.Write("file", "old");
    chmod(folder.Path("file").c_str(), 0644);
    std::string error;
    ASSERT_TRUE(WritePrivateFile(folder.Path("file"), "new", error)) << error;
    EXPECT_EQ(folder.Read("file"), "new");
    EXPECT_EQ(ModeOf(folder.Path("file")), 0600u);
    EXPECT_FALSE(folder.Exists("file.new"));
}

}  // namespace
}  // namespace Drive::Host
