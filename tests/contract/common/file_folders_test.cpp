#include "interfaces/common/file_helper.h"
#include "interfaces/logging/log_settings.h"
#include "tests/contract/common/test_folders.h"

namespace Drive::Common {

namespace {

class Folders : public Trial::WithFolders {};

// COM-FOLDER-01
TEST_F(Folders, AreMadeWithAllTheirParents) {
    EXPECT_TRUE(FileHepler::CreateLocalDirectory(InRoot(L"a\\b\\c")));
    EXPECT_TRUE(fs::is_directory(base / "root/a/b/c"));
    EXPECT_TRUE(FileHepler::CreateLocalDirectory(g_thumbnailFolder + L"x\\y\\"));
    EXPECT_TRUE(fs::is_directory(base / "small/x/y"));
}

// COM-FOLDER-02
TEST_F(Folders, ThatExistAreNoError) {
    fs::create_directories(base / "root/a/b");
    EXPECT_TRUE(FileHepler::CreateLocalDirectory(InRoot(L"a\\b\\")));
    EXPECT_TRUE(FileHepler::CreateLocalDirectory(InRoot(L"a\\b\\c\\")));
    EXPECT_TRUE(FileHepler::CreateLocalDirectory(g_clientSyncRootFolder));
    EXPECT_TRUE(FileHepler::CreateLocalDirectory(g_lcdthumbnailFolder));
}

// COM-FOLDER-03
TEST_F(Folders, AreNotMadeOfNothingOrOverAFile) {
    EXPECT_FALSE(FileHepler::CreateLocalDirectory(L""));
    Trial::Put(base / "root/file", "x");
    EXPECT_FALSE(FileHepler::CreateLocalDirectory(InRoot(L"file")));
    EXPECT_FALSE(FileHepler::CreateLocalDirectory(InRoot(L"file\\below")));
    EXPECT_FALSE(FileHepler::CreateLocalDirectory(InRoot(std::wstring(1, static_cast<wchar_t>(0xD800)))));
}

// COM-FOLDER-04
TEST_F(Folders, OfTheCacheAreMadeAnewButNeverTheSyncRoot) {
    fs::remove(base / "small");
    EXPECT_TRUE(FileHepler::CreateLocalDirectory(g_thumbnailFolder + L"x\\"));
    EXPECT_TRUE(fs::is_directory(base / "small/x"));
    fs::remove(base / "root");
    EXPECT_FALSE(FileHepler::CreateLocalDirectory(InRoot(L"x\\")));
    EXPECT_FALSE(FileHepler::CreateLocalDirectory(g_clientSyncRootFolder));
    EXPECT_FALSE(fs::exists(base / "root"));
}

// COM-FOLDER-05
TEST_F(Folders, AreTakenAsTheyAreWithoutASyncRoot) {
    g_clientSyncRootFolder.clear();
    EXPECT_TRUE(FileHepler::CreateLocalDirectory(Wide(base / "outside/a/b")));
    EXPECT_TRUE(fs::is_directory(base / "outside/a/b"));
}

// COM-FOLDER-06
TEST_F(Folders, KeepTheirNamesInOtherScripts) {
    EXPECT_TRUE(FileHepler::CreateLocalDirectory(InRoot(L"\u65E5\u672C\\a\uF05Cb\\\xDC80")));
    EXPECT_TRUE(fs::is_directory(base / "root" / "\xE6\x97\xA5\xE6\x9C\xAC" / "a\\b" / "\x80"));
}

class Removal : public Trial::WithFolders, public ::testing::WithParamInterface<void (*)(const std::wstring&)> {};

INSTANTIATE_TEST_SUITE_P(OfBothKinds, Removal,
                         ::testing::Values(&FileHepler::RemoveFile, &FileHepler::DeleteLocalFile));

// COM-FOLDER-07
TEST_P(Removal, TakesTheFileAway) {
    fs::create_directory(base / "root/a");
    Trial::Put(base / "root/a/f", "x");
    Trial::Put(base / "large/f", "x");
    GetParam()(InRoot(L"a\\f"));
    GetParam()(g_lcdthumbnailFolder + L"f");
    EXPECT_FALSE(fs::exists(base / "root/a/f"));
    EXPECT_FALSE(fs::exists(base / "large/f"));
}

// COM-FOLDER-08
TEST_P(Removal, OfWhatIsAbsentIsNoError) {
    GetParam()(L"");
    GetParam()(InRoot(L"absent"));
    GetParam()(InRoot(L"absent\\f"));
    GetParam()(InRoot(std::wstring(1, static_cast<wchar_t>(0x110000))));
}

// COM-FOLDER-09
TEST_P(Removal, LeavesFoldersAlone) {
    fs::create_directory(base / "root/a");
    GetParam()(InRoot(L"a"));
    GetParam()(InRoot(L"a\\"));
    GetParam()(g_clientSyncRootFolder);
    EXPECT_TRUE(fs::exists(base / "root/a"));
}

// COM-FOLDER-10
TEST_P(Removal, OfALinkLeavesItsTarget) {
    Trial::Put(base / "outside/f", "x");
    fs::create_symlink(base / "outside/f", base / "root/link");
    GetParam()(InRoot(L"link"));
    EXPECT_FALSE(fs::is_symlink(base / "root/link"));
    EXPECT_TRUE(fs::exists(base / "outside/f"));
}

// COM-FOLDER-11
TEST_P(Removal, ThatFailsIsLoggedWithTheName) {
    std::vector<std::string> errors;
    Logging::SetTextSink([&errors](const Logging::TextRecord& record) { errors.push_back(record.text); });
    fs::create_directory(base / "root/folder");
    GetParam()(InRoot(L"folder"));
    GetParam()(InRoot(L"absent"));
    Logging::SetTextSink({});
    ASSERT_EQ(errors.size(), 1u);
    EXPECT_NE(errors[0].find("could not remove"), std::string::npos) << errors[0];
    EXPECT_NE(errors[0].find("folder"), std::string::npos) << errors[0];
}

}  // namespace

}  // namespace Drive::Common
