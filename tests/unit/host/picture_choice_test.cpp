#include "host/thumbnails/picture_choice.h"

#include <gtest/gtest.h>

namespace Drive::Host {
namespace {

CloudEntry Entry(const std::string& path, const std::wstring& link, bool isFolder = false) {
    CloudEntry entry;
    entry.path = path;
    entry.file.thumbnailLink = link;
    entry.file.isFolder = isFolder;
    return entry;
}

std::vector<std::string> Paths(const PictureChoice& choice) {
    std::vector<std::string> paths;
    for (const CloudEntry& entry : choice.entries) {
        paths.push_back(entry.path);
    }
    return paths;
}

class ChosenPictures : public testing::Test {
protected:
    ChosenPictures() {
        entries = {Entry("album", L"", true), Entry("album/a.jpg", L"http://a"), Entry("album/notes.txt", L""),
                   Entry("albums.jpg", L"http://b"), Entry("../refused.jpg", L"http://c")};
        entries.back().refusal = "its name cannot be a file name here";
    }
    std::vector<CloudEntry> entries;
};

using Names = std::vector<std::string>;

// HOST-PIC-01
TEST_F(ChosenPictures, AreThoseOfEveryFileOfWhichTheCloudOffersOne) {
    const PictureChoice choice = ChoosePictures(entries, {});
    EXPECT_EQ(Paths(choice), (Names{"album/a.jpg", "albums.jpg"}));
    EXPECT_TRUE(choice.unknown.empty());
    EXPECT_TRUE(choice.withoutPictures.empty());
}

// HOST-PIC-02
TEST_F(ChosenPictures, AreThoseOfWhatIsNamedAndOfAllBelowIt) {
    EXPECT_EQ(Paths(ChoosePictures(entries, {"album"})), (Names{"album/a.jpg"}));
    EXPECT_EQ(Paths(ChoosePictures(entries, {"albums.jpg", "album/a.jpg"})), (Names{"album/a.jpg", "albums.jpg"}));
    EXPECT_EQ(Paths(ChoosePictures(entries, {"alb"})), Names{});
}

// HOST-PIC-03
TEST_F(ChosenPictures, DoNotHideWhatIsNotThereOrHasNone) {
    const PictureChoice choice = ChoosePictures(entries, {"album", "album/notes.txt", "gone.jpg", "../refused.jpg"});
    EXPECT_EQ(choice.unknown, (Names{"gone.jpg", "../refused.jpg"}));
    EXPECT_EQ(choice.withoutPictures, (std::unordered_set<std::string>{"album/notes.txt"}));
}

// HOST-PIC-04
TEST_F(ChosenPictures, StandWhereTheRowTellsElseWhereTheCloudDoes) {
    EXPECT_EQ(PicturePath(entries[1], nullptr), "album/a.jpg.jpg");
    Common::FileItem row;
    row.SetLocalParentFolder(L"an earlier\\place\\");
    row.SetLocalFileName(L"a.jpg");
    EXPECT_EQ(PicturePath(entries[1], &row), "an earlier/place/a.jpg.jpg");
    row.SetLocalFileName(L"\xD800.jpg");
    EXPECT_EQ(PicturePath(entries[1], &row), "") << "no path can be made of half a character";
}

// HOST-PIC-05
TEST_F(ChosenPictures, AreToldFromErrorPagesByTheirFirstBytes) {
    for (const std::string& head : {std::string("\xFF\xD8\xFF\xE0"), std::string("\x89PNG\r\n\x1A\n"),
                                    std::string("GIF89a"), std::string("RIFF\0\0\0\0WEBPVP8 ", 16),
                                    std::string("\0\0\0\x18"
                                                "ftypheic",
                                                12)}) {
        EXPECT_TRUE(LooksLikePicture(head)) << head;
    }
    for (const std::string& head :
         {std::string(), std::string("\xFF\xD8"), std::string("<html><body>"), std::string("{\"errorCode\":"),
          std::string("RIFF\0\0\0\0WAVE", 12), std::string("    ftyp")}) {
        EXPECT_FALSE(LooksLikePicture(head)) << head;
    }
}

}  // namespace
}  // namespace Drive::Host
