#include "interfaces/common/thumbnail_helper.h"

#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <thread>

#include "interfaces/logging/log_settings.h"
#include "tests/contract/common/test_folders.h"
#include "tests/contract/common/test_pictures.h"

namespace Drive::Common {

namespace {

using Trial::Look;
using Trial::Seen;

class Thumbnails : public Trial::WithFolders {
protected:
    /// Puts the bytes under the name into the sync root and makes the picture of it.
    bool Make(const std::string& name, const std::string& bytes, const wchar_t* type,
              ThumbnailOptions option = ThumbnailOptions::Thumbnail) {
        Trial::Put(base / "root" / name, bytes);
        return Make(name, type, option);
    }
    bool Make(const std::string& name, const wchar_t* type, ThumbnailOptions option = ThumbnailOptions::Thumbnail) {
        FileItem file;
        file.SetFileId(L"id");
        file.SetMimeType(type);
        file.SetFileClientPath(Wide(base / "root" / name));
        return ThumbnailHelper::CreateThumbnail(file, option, g_thumbnailFolder + L"t.jpg");
    }
    std::string Target() const { return Trial::Get(base / "small/t.jpg"); }
    Seen Shown() const { return Look(Target()); }
    bool IsGeneric() const { return Shown().isJpeg && Shown().width == 64 && Shown().height == 64; }
    std::size_t FilesInCache() const {
        return static_cast<std::size_t>(
            std::distance(fs::directory_iterator(base / "small"), fs::directory_iterator()));
    }
};

// COM-THUMB-01
TEST_F(Thumbnails, OfAPhotoAreJpegsOfAtMost360Pixels) {
    ASSERT_TRUE(Make("p.jpg", Trial::Picture(1600, 800, ".jpg"), L"image/jpeg"));
    EXPECT_TRUE(Shown().isJpeg);
    EXPECT_EQ(Shown().width, 360);
    EXPECT_EQ(Shown().height, 180);
}

// COM-THUMB-02
TEST_F(Thumbnails, ForTheLcdAreOfAtMost1080Pixels) {
    ASSERT_TRUE(Make("p.jpg", Trial::Picture(1000, 2000, ".jpg"), L"image/jpeg", ThumbnailOptions::LcdImage));
    EXPECT_EQ(Shown().width, 540);
    EXPECT_EQ(Shown().height, 1080);
}

// COM-THUMB-03
TEST_F(Thumbnails, OfASmallPictureAreNotLarger) {
    ASSERT_TRUE(Make("p.png", Trial::Picture(50, 40, ".png"), L"image/png"));
    EXPECT_EQ(Shown().width, 50);
    EXPECT_EQ(Shown().height, 40);
}

// COM-THUMB-04
TEST_F(Thumbnails, AreMadeOfTheUsualFormats) {
    for (const std::string suffix : {".jpg", ".png", ".webp", ".tif", ".gif"}) {
        ASSERT_TRUE(Make("p" + suffix, Trial::Picture(720, 720, suffix), L"image/x"));
        EXPECT_EQ(Shown().width, 360) << suffix;
    }
}

// COM-THUMB-05
TEST_F(Thumbnails, StandUpright) {
    ASSERT_TRUE(Make("p.jpg", Trial::TurnedJpeg(720, 360), L"image/jpeg"));
    EXPECT_EQ(Shown().width, 180);
    EXPECT_EQ(Shown().height, 360);
}

// COM-THUMB-06
TEST_F(Thumbnails, ShowWhiteWhereThePictureIsClear) {
    ASSERT_TRUE(Make("p.png", Trial::Picture(100, 100, ".png", true), L"image/png"));
    EXPECT_GT(Shown().cornerBrightness, 240);
}

// COM-THUMB-07
TEST_F(Thumbnails, OfAVideoShowAFrame) {
    ASSERT_TRUE(Make("v.avi", Trial::Video(640, 480), L"video/x-msvideo"));
    EXPECT_EQ(Shown().width, 360);
    EXPECT_EQ(Shown().height, 270);
}

// COM-THUMB-08
TEST_F(Thumbnails, GoByTheNameWhenThereIsNoMediaType) {
    ASSERT_TRUE(Make("v.avi", Trial::Video(640, 480), L""));
    EXPECT_EQ(Shown().width, 360);
    ASSERT_TRUE(Make("p.png", Trial::Picture(720, 360, ".png"), L""));
    EXPECT_EQ(Shown().height, 180);
}

// COM-THUMB-09
TEST_F(Thumbnails, OfWhatCannotBeDecodedAreAGenericPicture) {
    const std::string photo = Trial::Picture(800, 800, ".png");
    for (const std::string& bytes : {std::string(), std::string("not a picture"), Trial::Noise(100000),
                                     photo.substr(0, 40), std::string(1 << 20, '\0')}) {
        ASSERT_TRUE(Make("p.png", bytes, L"image/png"));
        EXPECT_TRUE(IsGeneric());
        ASSERT_TRUE(Make("v.mp4", bytes, L"video/mp4"));
        EXPECT_TRUE(IsGeneric());
    }
}

// COM-THUMB-10
TEST_F(Thumbnails, NeverShowAnotherFileThatAPlayListNames) {
    Trial::Put(base / "outside/secret.avi", Trial::Video(640, 480));
    const std::string secret = (base / "outside/secret.avi").string();
    for (const std::string& list : {"#EXTM3U\n#EXT-X-TARGETDURATION:1\n#EXTINF:1,\n" + secret + "\n#EXT-X-ENDLIST\n",
                                    "ffconcat version 1.0\nfile '" + secret + "'\n"}) {
        ASSERT_TRUE(Make("v.mp4", list, L"video/mp4"));
        EXPECT_TRUE(IsGeneric());
        ASSERT_TRUE(Make("v.mp4", "\xEF\xBB\xBF" + list, L"video/mp4"));
        EXPECT_TRUE(IsGeneric());
    }
    const std::string drawing =
        "<svg xmlns='http://www.w3.org/2000/svg' width='100' height='100'><image href='file://" + secret +
        "' width='100' height='100'/></svg>";
    ASSERT_TRUE(Make("p.svg", drawing, L"image/svg+xml"));
    EXPECT_TRUE(IsGeneric());
}

// COM-THUMB-11
TEST_F(Thumbnails, OfAnEnormousPictureAreAGenericPictureInLimitedMemory) {
    // A PNG of a few bytes that says it has 2^30 pixels a side.
    std::string bomb = Trial::Picture(16, 16, ".png");
    bomb[16] = 0x40;
    bomb[20] = 0x40;
    ASSERT_TRUE(Make("p.png", bomb, L"image/png"));
    EXPECT_TRUE(IsGeneric());
}

// COM-THUMB-12
TEST_F(Thumbnails, OfAFileThatCannotBeReadAreFalseAndLeaveNothing) {
    EXPECT_FALSE(Make("absent.jpg", L"image/jpeg"));
    fs::create_directory(base / "root/folder.jpg");
    EXPECT_FALSE(Make("folder.jpg", L"image/jpeg"));
    ASSERT_EQ(mkfifo((base / "root/pipe.jpg").c_str(), 0600), 0);
    EXPECT_FALSE(Make("pipe.jpg", L"image/jpeg"));
    EXPECT_EQ(FilesInCache(), 0u);
}

// COM-THUMB-13
TEST_F(Thumbnails, ThatCannotBeWrittenAreFalseAndLeaveNothing) {
    fs::create_directory(base / "small/t.jpg");
    EXPECT_FALSE(Make("p.png", Trial::Picture(50, 40, ".png"), L"image/png"));
    EXPECT_EQ(FilesInCache(), 1u);
    EXPECT_TRUE(fs::is_empty(base / "small/t.jpg"));
}

// COM-THUMB-14
TEST_F(Thumbnails, AreNotWrittenOutsideTheCache) {
    Trial::Put(base / "root/p.png", Trial::Picture(50, 40, ".png"));
    fs::create_directory_symlink(base / "outside", base / "small/link");
    FileItem file;
    file.SetFileClientPath(InRoot(L"p.png"));
    for (const std::wstring& target : {Wide(base / "outside/t.jpg"), g_thumbnailFolder + L"..\\outside\\t.jpg",
                                       g_thumbnailFolder + L"link\\t.jpg"}) {
        EXPECT_FALSE(ThumbnailHelper::CreateThumbnail(file, ThumbnailOptions::Thumbnail, target));
    }
    EXPECT_TRUE(fs::is_empty(base / "outside"));
}

// COM-THUMB-15
TEST_F(Thumbnails, ReplaceAnEarlierOneWholeAndLeaveNoOtherFile) {
    Trial::Put(base / "small/t.jpg", std::string(1000000, 'x'));
    ASSERT_TRUE(Make("p.png", Trial::Picture(50, 40, ".png"), L"image/png"));
    EXPECT_EQ(Shown().width, 50);
    EXPECT_EQ(FilesInCache(), 1u);
}

// COM-THUMB-16
TEST_F(Thumbnails, LeaveNoProcessAndNoDescriptorBehind) {
    const auto descriptors = [] {
        return std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator());
    };
    const auto before = descriptors();
    ASSERT_TRUE(Make("p.png", Trial::Picture(50, 40, ".png"), L"image/png"));
    ASSERT_TRUE(Make("q.png", "broken", L"image/png"));
    EXPECT_EQ(descriptors(), before);
    EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);
}

// COM-THUMB-17
TEST_F(Thumbnails, AreMadeAlsoWhenTheClientLetsItsChildrenBeReaped) {
    struct sigaction ignore {};
    struct sigaction before {};
    ignore.sa_handler = SIG_IGN;
    ASSERT_EQ(sigaction(SIGCHLD, &ignore, &before), 0);
    EXPECT_TRUE(Make("p.png", Trial::Picture(50, 40, ".png"), L"image/png"));
    EXPECT_EQ(Shown().width, 50);
    EXPECT_TRUE(Make("q.png", "broken", L"image/png"));
    EXPECT_TRUE(IsGeneric());
    ASSERT_EQ(sigaction(SIGCHLD, &before, nullptr), 0);
}

// COM-THUMB-18
TEST_F(Thumbnails, SayInTheLogWhichFileCouldNotBeDecoded) {
    std::string text;
    Logging::SetTextSink([&](const Logging::TextRecord& record) { text += record.text; });
    ASSERT_TRUE(Make("broken.png", "broken", L"image/png"));
    Logging::SetTextSink({});
    EXPECT_NE(text.find("broken.png"), std::string::npos);
}

// COM-THUMB-19
TEST_F(Thumbnails, OfAVideoThatIsTextAreNotEvenTried) {
    std::string text;
    Logging::SetTextSink([&](const Logging::TextRecord& record) { text += record.text; });
    ASSERT_TRUE(Make("v.mp4", "#EXTM3U\n#EXTINF:1,\nhttp://127.0.0.1:9/a.ts\n", L"video/mp4"));
    Logging::SetTextSink({});
    EXPECT_TRUE(IsGeneric());
    EXPECT_NE(text.find("this is text or empty"), std::string::npos);
}

// COM-THUMB-20
TEST_F(Thumbnails, AreMadeByManyThreadsAtOnce) {
    Trial::Put(base / "root/p.png", Trial::Picture(500, 500, ".png"));
    std::vector<std::thread> threads;
    for (int number = 0; number < 6; ++number) {
        threads.emplace_back([this, number] {
            FileItem file;
            file.SetFileClientPath(InRoot(L"p.png"));
            EXPECT_TRUE(ThumbnailHelper::CreateThumbnail(file, ThumbnailOptions::Thumbnail,
                                                         g_thumbnailFolder + std::to_wstring(number) + L".jpg"));
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(FilesInCache(), 6u);
}

}  // namespace

}  // namespace Drive::Common

int main(int count, char** arguments) {
    ::testing::InitGoogleTest(&count, arguments);
    Drive::Common::Trial::PreparePictures(arguments[0]);
    const int result = RUN_ALL_TESTS();
    Drive::Common::Trial::EndPictures();
    return result;
}
