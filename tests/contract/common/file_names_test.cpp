#include "interfaces/common/file_helper.h"
#include "tests/contract/common/test_folders.h"

namespace Drive::Common {

namespace {

class Names : public Trial::WithFolders {
protected:
    bool Split(const std::wstring& path) {
        folder = name = L"old";
        return FileHepler::GetFileFolderAndLocalname(path, folder, name);
    }
    std::wstring folder;
    std::wstring name;
};

// COM-NAME-01
TEST_F(Names, SplitIntoTheFolderBelowTheRootAndTheName) {
    ASSERT_TRUE(Split(InRoot(L"a\\b\\c.txt")));
    EXPECT_EQ(folder, L"a\\b\\");
    EXPECT_EQ(name, L"c.txt");
}

// COM-NAME-02
TEST_F(Names, InTheRootHaveTheEmptyFolder) {
    ASSERT_TRUE(Split(InRoot(L"c.txt")));
    EXPECT_EQ(folder, L"");
    EXPECT_EQ(name, L"c.txt");
}

// COM-NAME-03
TEST_F(Names, SplitTheSameWithEitherSeparator) {
    const std::wstring native = Wide(base / "root");
    std::wstring slashes = native + L"/a//b/c.txt";
    std::replace(slashes.begin(), slashes.end(), L'\\', L'/');
    ASSERT_TRUE(Split(slashes));
    EXPECT_EQ(folder, L"a\\b\\");
    g_clientSyncRootFolder = native;
    ASSERT_TRUE(Split(native + L"\\a\\b\\c.txt"));
    EXPECT_EQ(folder, L"a\\b\\");
}

// COM-NAME-04
TEST_F(Names, OutsideTheRootKeepTheirWholeFolder) {
    ASSERT_TRUE(Split(L"\\elsewhere\\a\\c.txt"));
    EXPECT_EQ(folder, L"\\elsewhere\\a\\");
    EXPECT_EQ(name, L"c.txt");
    const std::wstring sibling = g_clientSyncRootFolder.substr(0, g_clientSyncRootFolder.size() - 1) + L"2\\c.txt";
    ASSERT_TRUE(Split(sibling));
    EXPECT_EQ(folder, sibling.substr(0, sibling.size() - 5));
    ASSERT_TRUE(Split(L"c.txt"));
    EXPECT_EQ(folder, L"");
}

// COM-NAME-05
TEST_F(Names, OfNothingAreRefusedWithBothTextsEmpty) {
    for (const std::wstring& path : {std::wstring(), std::wstring(L"\\"), g_clientSyncRootFolder,
                                     g_clientSyncRootFolder.substr(0, g_clientSyncRootFolder.size() - 1),
                                     InRoot(L"a\\b\\"), InRoot(L"."), InRoot(L"a\\..")}) {
        EXPECT_FALSE(Split(path));
        EXPECT_EQ(folder, L"");
        EXPECT_EQ(name, L"");
    }
}

// COM-NAME-06
TEST(LocalIds, AreThoseThatBeginWithTheMarker) {
    EXPECT_TRUE(FileHepler::IsLocalFile(L"Local123", L"Local"));
    EXPECT_TRUE(FileHepler::IsLocalFile(L"Local", L"Local"));
    EXPECT_FALSE(FileHepler::IsLocalFile(L"local123", L"Local"));
    EXPECT_FALSE(FileHepler::IsLocalFile(L"xLocal", L"Local"));
    EXPECT_FALSE(FileHepler::IsLocalFile(L"Loca", L"Local"));
    EXPECT_FALSE(FileHepler::IsLocalFile(L"", L"Local"));
    EXPECT_FALSE(FileHepler::IsLocalFile(L"", L""));
    EXPECT_TRUE(FileHepler::IsLocalDirectory(L"Local123", L"Local"));
    EXPECT_FALSE(FileHepler::IsLocalDirectory(L"cloud", L"Local"));
}

// COM-NAME-07
TEST(LocalIds, EmptyFolderIdIsNoCloudFolder) { EXPECT_TRUE(FileHepler::IsLocalDirectory(L"", L"Local")); }

// COM-NAME-08
TEST(MediaTypes, FollowTheName) {
    EXPECT_EQ(FileHepler::GetFileMimeType(L"a.jpg"), "image/jpeg");
    EXPECT_EQ(FileHepler::GetFileMimeType(L"A.JPG"), "image/jpeg");
    EXPECT_EQ(FileHepler::GetFileMimeType(L"a.b.png"), "image/png");
    EXPECT_EQ(FileHepler::GetFileMimeType(L"film.mp4"), "video/mp4");
    EXPECT_EQ(FileHepler::GetFileMimeType(L"note.txt"), "text/plain");
    EXPECT_EQ(FileHepler::GetFileMimeType(L"book.pdf"), "application/pdf");
    EXPECT_EQ(FileHepler::GetFileMimeType(L"\u65E5\u672C.webm"), "video/webm");
    EXPECT_EQ(FileHepler::GetFileMimeType(L"folder\\a.gif"), "image/gif");
}

// COM-NAME-09
TEST(MediaTypes, UnknownOnesAreBytes) {
    for (const std::wstring& name : {std::wstring(), std::wstring(L"noextension"), std::wstring(L"a.zelkorunknown"),
                                     std::wstring(L"folder\\"), std::wstring(1, static_cast<wchar_t>(0x110000))}) {
        EXPECT_EQ(FileHepler::GetFileMimeType(name), "application/octet-stream");
    }
}

// COM-NAME-10
TEST(MediaTypes, TellImagesAndVideos) {
    EXPECT_TRUE(FileHepler::IsImageFile(L"image/jpeg"));
    EXPECT_TRUE(FileHepler::IsImageFile(L"IMAGE/PNG"));
    EXPECT_FALSE(FileHepler::IsImageFile(L"video/mp4"));
    EXPECT_FALSE(FileHepler::IsImageFile(L"imagery/x"));
    EXPECT_FALSE(FileHepler::IsImageFile(L"image"));
    EXPECT_FALSE(FileHepler::IsImageFile(L""));
    EXPECT_TRUE(FileHepler::IsVideoFile(L"video/mp4"));
    EXPECT_FALSE(FileHepler::IsVideoFile(L"image/jpeg"));
    EXPECT_FALSE(FileHepler::IsVideoFile(L"text/video/"));
}

// COM-NAME-11
TEST(Attachments, AreTheirBytes) {
    FileItem file;
    EXPECT_FALSE(FileHepler::HasAttachment(file));
    file.SetAttachmentSize({1, 2});
    file.SetAttachmentFilePath({{L"small", L"path"}});
    EXPECT_FALSE(FileHepler::HasAttachment(file));
    file.SetAttachmentData({{L"small", {1}}});
    EXPECT_TRUE(FileHepler::HasAttachment(file));
}

}  // namespace

}  // namespace Drive::Common
