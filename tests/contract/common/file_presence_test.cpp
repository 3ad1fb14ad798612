#include <sys/stat.h>
#include <sys/xattr.h>

#include "interfaces/common/file_helper.h"
#include "interfaces/common/placeholder.h"
#include "tests/contract/common/test_folders.h"

namespace Drive::Common {

namespace {

class Presence : public Trial::WithFolders {};

// COM-PRESENCE-01
TEST_F(Presence, IsThatOfAFile) {
    fs::create_directory(base / "root/a");
    Trial::Put(base / "root/a/f", "x");
    Trial::Put(base / "outside/f", "x");
    EXPECT_TRUE(FileHepler::IsFileExists(InRoot(L"a\\f")));
    EXPECT_TRUE(FileHepler::IsFileExists(Wide(base / "outside/f")));
    EXPECT_FALSE(FileHepler::IsFileExists(InRoot(L"a\\g")));
    EXPECT_FALSE(FileHepler::IsFileExists(InRoot(L"b\\f")));
    EXPECT_FALSE(FileHepler::IsFileExists(InRoot(L"a\\f\\below")));
    EXPECT_FALSE(FileHepler::IsFileExists(Wide(base / "outside/g")));
    EXPECT_FALSE(FileHepler::IsFileExists(L""));
}

// COM-PRESENCE-02
TEST_F(Presence, IsNotThatOfAFolder) {
    fs::create_directory(base / "root/a");
    EXPECT_FALSE(FileHepler::IsFileExists(InRoot(L"a")));
    EXPECT_FALSE(FileHepler::IsFileExists(Wide(base / "outside")));
    EXPECT_FALSE(FileHepler::IsFileExists(g_clientSyncRootFolder));
}

// COM-PRESENCE-03
TEST_F(Presence, IsAssumedWhileTheRootIsAway) {
    Trial::Put(base / "root/f", "x");
    EXPECT_FALSE(FileHepler::IsFileExists(InRoot(L"gone")));
    fs::rename(base / "root", base / "away");
    EXPECT_TRUE(FileHepler::IsFileExists(InRoot(L"f")));
    EXPECT_TRUE(FileHepler::IsFileExists(InRoot(L"gone")));
    Trial::Put(base / "root", "a file in its place");
    EXPECT_TRUE(FileHepler::IsFileExists(InRoot(L"f")));
    fs::remove(base / "root");
    fs::rename(base / "away", base / "root");
    EXPECT_FALSE(FileHepler::IsFileExists(InRoot(L"gone")));
}

// COM-PRESENCE-04
TEST_F(Presence, IsAssumedWhileOnlyTheBareMountPointIsThere) {
    Trial::Put(base / "root/f", "x");
    EXPECT_TRUE(FileHepler::IsFileExists(InRoot(L"f")));
    fs::rename(base / "root", base / "away");
    fs::create_directory(base / "root");
    EXPECT_TRUE(FileHepler::IsFileExists(InRoot(L"f")));
    EXPECT_TRUE(FileHepler::IsFileExists(InRoot(L"gone")));
    Trial::Put(base / "root/g", "a new root with files of its own");
    EXPECT_FALSE(FileHepler::IsFileExists(InRoot(L"f")));
}

// COM-PRESENCE-05
TEST_F(Presence, IsToldOfARootThatHasBecomeEmptyItself) {
    Trial::Put(base / "root/f", "x");
    EXPECT_TRUE(FileHepler::IsFileExists(InRoot(L"f")));
    fs::remove(base / "root/f");
    EXPECT_FALSE(FileHepler::IsFileExists(InRoot(L"f")));
}

// COM-PRESENCE-06
TEST_F(Presence, IsAssumedForNamesThatCannotBeAskedFor) {
    EXPECT_TRUE(FileHepler::IsFileExists(InRoot(std::wstring(1, static_cast<wchar_t>(0x110000)))));
    EXPECT_TRUE(FileHepler::IsFileExists(InRoot(std::wstring(300, L'x'))));
    fs::create_symlink("loop", base / "root/loop");
    EXPECT_TRUE(FileHepler::IsFileExists(InRoot(L"loop")));
}

// COM-PRESENCE-07
TEST_F(Presence, IsAssumedForALinkWhoseTargetIsAway) {
    fs::create_symlink(base / "outside/away", base / "root/link");
    EXPECT_TRUE(FileHepler::IsFileExists(InRoot(L"link")));
    fs::remove(base / "root/link");
    EXPECT_FALSE(FileHepler::IsFileExists(InRoot(L"link")));
}

// COM-PRESENCE-08
TEST_F(Presence, OfCacheFilesNeedsNoSyncRoot) {
    fs::remove(base / "root");
    Trial::Put(base / "small/f.jpg", "x");
    EXPECT_TRUE(FileHepler::IsFileExists(g_thumbnailFolder + L"f.jpg"));
    EXPECT_FALSE(FileHepler::IsFileExists(g_thumbnailFolder + L"g.jpg"));
    g_clientSyncRootFolder.clear();
    EXPECT_FALSE(FileHepler::IsFileExists(std::wstring(1, static_cast<wchar_t>(0x110000))));
}

// COM-PRESENCE-09
TEST_F(Presence, SizeIsThatOnDisk) {
    Trial::Put(base / "root/f", std::string(12345, 'x'));
    Trial::Put(base / "root/empty", "");
    fs::resize_file(base / "root/f", std::uintmax_t{6} << 30);
    EXPECT_EQ(FileHepler::GetFileSizeApi(InRoot(L"f")), std::int64_t{6} << 30);
    EXPECT_EQ(FileHepler::GetLocalFileSize(InRoot(L"f")), std::int64_t{6} << 30);
    EXPECT_EQ(FileHepler::GetFileSizeApi(InRoot(L"empty")), 0);
}

// COM-PRESENCE-10
TEST_F(Presence, SizeOfWhatIsNoFileIsNegative) {
    ASSERT_EQ(mkfifo((base / "root/pipe").c_str(), 0600), 0);
    for (const std::wstring& path : {std::wstring(), InRoot(L"absent"), g_clientSyncRootFolder, InRoot(L"pipe"),
                                     InRoot(std::wstring(1, static_cast<wchar_t>(0x110000)))}) {
        EXPECT_EQ(FileHepler::GetFileSizeApi(path), -1);
        EXPECT_LE(FileHepler::GetLocalFileSize(path), 0);
    }
}

// COM-PRESENCE-11
TEST_F(Presence, MarkMakesAPlaceholderAndItsAbsenceAFile) {
    Trial::Put(base / "root/f", "");
    EXPECT_FALSE(FileHepler::IsPlaceholder(InRoot(L"f")));
    ASSERT_TRUE(MarkPlaceholder(InRoot(L"f")));
    EXPECT_TRUE(FileHepler::IsPlaceholder(InRoot(L"f")));
    EXPECT_GE(getxattr((base / "root/f").c_str(), "user.zelkor.placeholder", nullptr, 0), 0);
    EXPECT_TRUE(ClearPlaceholder(InRoot(L"f")));
    EXPECT_FALSE(FileHepler::IsPlaceholder(InRoot(L"f")));
    EXPECT_TRUE(ClearPlaceholder(InRoot(L"f")));
}

// COM-PRESENCE-12
TEST_F(Presence, PlaceholderIsNeverGuessedFromMissingBlocks) {
    Trial::Put(base / "root/f", "");
    fs::resize_file(base / "root/f", 1 << 20);
    EXPECT_FALSE(FileHepler::IsPlaceholder(InRoot(L"f")));
}

// COM-PRESENCE-13
TEST_F(Presence, AbsentFileIsNoPlaceholderAndCannotBecomeOne) {
    EXPECT_FALSE(FileHepler::IsPlaceholder(InRoot(L"absent")));
    EXPECT_FALSE(MarkPlaceholder(InRoot(L"absent")));
    EXPECT_FALSE(ClearPlaceholder(InRoot(L"absent")));
}

// COM-PRESENCE-15
TEST_F(Presence, AFolderIsNoPlaceholderAndCannotBecomeOne) {
    fs::create_directory(base / "root/folder");
    EXPECT_FALSE(MarkPlaceholder(InRoot(L"folder")));
    setxattr((base / "root/folder").c_str(), "user.zelkor.placeholder", "1", 1, 0);
    EXPECT_FALSE(FileHepler::IsPlaceholder(InRoot(L"folder")));
}

// COM-PRESENCE-14
TEST_F(Presence, NoPlaceholderCanBeMadeWhereFilesKeepNoMarks) {
    EXPECT_FALSE(MarkPlaceholder(L"\\proc\\self\\status"));
    EXPECT_FALSE(FileHepler::IsPlaceholder(L"\\proc\\self\\status"));
}

}  // namespace

}  // namespace Drive::Common
