#include <gtest/gtest.h>

#include "upload/file_key.h"
#include "upload/parent_path.h"
#include "upload/picture_paths.h"
#include "upload/slice_plan.h"

namespace Drive::TransferService {
namespace {

// UP-OBJ-23
TEST(SlicePlan, AFileOfOneSliceIsOneSlice) { EXPECT_EQ(SliceLength(16, 16, 0), 16); }

// UP-OBJ-23
TEST(SlicePlan, ASliceNeverPassesTheEndOfTheFile) {
    EXPECT_EQ(SliceLength(16, 40, 0), 16);
    EXPECT_EQ(SliceLength(16, 40, 16), 16);
    EXPECT_EQ(SliceLength(16, 40, 32), 8);
}

// UP-OBJ-23
TEST(SlicePlan, AFileSmallerThanASliceIsTakenWhole) { EXPECT_EQ(SliceLength(4194304, 10, 0), 10); }

// UP-OBJ-23
TEST(SlicePlan, NothingIsLeftAtTheEnd) { EXPECT_EQ(SliceLength(16, 32, 32), 0); }

// UP-OBJ-24
TEST(SlicePlan, PaddingAlwaysAddsAtLeastOneByte) {
    EXPECT_EQ(PaddedLength(0), 16);
    EXPECT_EQ(PaddedLength(15), 16);
    EXPECT_EQ(PaddedLength(16), 32);
    EXPECT_EQ(PaddedLength(31), 32);
    EXPECT_EQ(PaddedLength(32), 48);
    EXPECT_EQ(PaddedLength(4194304), 4194320);
}

// UP-PARENT-03
TEST(ParentPath, AFolderInTheRootHasAnEmptyParentPath) {
    const ParentPath path = SplitParentPath(L"Photos\\");
    EXPECT_EQ(path.name, L"Photos");
    EXPECT_EQ(path.folder, L"");
}

// UP-PARENT-04
TEST(ParentPath, ANestedFolderKeepsTheSeparatorOnItsParent) {
    const ParentPath path = SplitParentPath(L"Photos\\2024\\");
    EXPECT_EQ(path.name, L"2024");
    EXPECT_EQ(path.folder, L"Photos\\");
    EXPECT_EQ(SplitParentPath(L"a\\b\\c\\").folder, L"a\\b\\");
}

// UP-PARENT-05
TEST(ParentPath, TheLastCharacterIsCutWithoutALook) {
    const ParentPath path = SplitParentPath(L"Photos\\2024");
    EXPECT_EQ(path.name, L"202");
    EXPECT_EQ(path.folder, L"Photos\\");
    EXPECT_EQ(SplitParentPath(L"\\").name, L"");
}

// UP-PIC-03
TEST(PicturePath, MirrorsTheSyncTreeAndKeepsTheWholeName) {
    Common::FileItem file;
    file.SetLocalFileName(L"cat.png");
    file.SetLocalParentFolder(L"Photos\\2024");
    const PicturePaths paths = PicturePathsOf(file, L"/cache/small", L"/cache/large\\");
    EXPECT_EQ(paths.smallFolder, L"/cache/small\\Photos\\2024\\");
    EXPECT_EQ(paths.small, L"/cache/small\\Photos\\2024\\cat.png.jpg");
    EXPECT_EQ(paths.largeFolder, L"/cache/large\\Photos\\2024\\");
    EXPECT_EQ(paths.large, L"/cache/large\\Photos\\2024\\cat.png.jpg");
}

// UP-PIC-03
TEST(PicturePath, AFileInTheRootLiesInTheCacheFolderItself) {
    Common::FileItem file;
    file.SetLocalFileName(L"cat.png");
    EXPECT_EQ(PicturePathsOf(file, L"/s\\", L"/l\\").small, L"/s\\cat.png.jpg");
}

// UP-OBJ-25
TEST(FileKey, IsCutAtTheMiddleAndTheSecondHalfTakesTheOddCharacter) {
    const FileKeyText text("aabbc");
    EXPECT_EQ(text.keyHex, "aa");
    EXPECT_EQ(text.ivHex, "bbc");
}

// UP-OBJ-26
TEST(FileKey, DecodesAHalfIntoSixteenBytes) {
    EXPECT_EQ(DecodeKeyHalf("000102030405060708090a0b0c0d0e0f"),
              (std::vector<unsigned char>{0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15}));
}

// UP-OBJ-26
TEST(FileKey, FillsAShortHalfWithZeroAndCutsALongOne) {
    std::vector<unsigned char> expected(16, 0);
    expected[0] = 0xff;
    EXPECT_EQ(DecodeKeyHalf("ff"), expected);
    EXPECT_EQ(DecodeKeyHalf(std::string(200, '1')), std::vector<unsigned char>(16, 0x11));
}

}  // namespace
}  // namespace Drive::TransferService
