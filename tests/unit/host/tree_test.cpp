#include "host/tree/tree.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <iterator>
#include <thread>

#include "host/tree/free_space.h"
#include "host/tree/read_digest.h"
#include "tests/unit/host/temporary_folder.h"

namespace Drive::Host {
namespace {

bool Never() { return false; }

std::ptrdiff_t Threads() {
    using Entries = std::filesystem::directory_iterator;
    return std::distance(Entries("/proc/self/task"), Entries());
}

// A reader that was left alone must not be caught by the end of the process inside a library that is being closed.
void AwaitThreads(std::ptrdiff_t count) {
    const auto until = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (Threads() > count && std::chrono::steady_clock::now() < until) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    EXPECT_LE(Threads(), count);
}

class Trees : public testing::Test {
protected:
    Trees() {
        std::filesystem::create_directories(folder.Path("tree"));
        std::filesystem::create_directories(folder.Path("other"));
        std::filesystem::create_directories(folder.Path("outside"));
        EXPECT_TRUE(tree.Open(folder.Path("tree"), error)) << error;
        EXPECT_TRUE(other.Open(folder.Path("other"), error)) << error;
    }

    const TemporaryFolder folder;
    Tree tree;
    Tree other;
    std::string error;
};

// HOST-TREE-05
TEST_F(Trees, TellWhatStandsAtAPath) {
    folder.Write("tree/a/file", "12345");
    symlink("a", folder.Path("tree/link").c_str());
    EXPECT_EQ(tree.Look("a/file").kind, FileKind::File);
    EXPECT_EQ(tree.Look("a/file").size, 5);
    EXPECT_EQ(tree.Look("a").kind, FileKind::Folder);
    EXPECT_EQ(tree.Look("link").kind, FileKind::Link);
    EXPECT_EQ(tree.Look("nothing").kind, FileKind::Absent);
    EXPECT_EQ(tree.Look("no/thing").kind, FileKind::Absent);
    EXPECT_EQ(tree.Look("link/file").kind, FileKind::Unreachable);
    EXPECT_EQ(tree.Look("a/file/below").kind, FileKind::Unreachable);
}

// HOST-TREE-06
TEST_F(Trees, MakeFoldersWithTheirParents) {
    EXPECT_TRUE(tree.MakeFolders("a/b/c", error)) << error;
    EXPECT_TRUE(tree.MakeFolders("a/b/c", error)) << error;
    EXPECT_TRUE(folder.Exists("tree/a/b/c"));
}

// HOST-TREE-07
TEST_F(Trees, NeverLeaveTheTreeThroughALink) {
    symlink(folder.Path("outside").c_str(), folder.Path("tree/link").c_str());
    EXPECT_FALSE(tree.MakeFolders("link/made", error));
    EXPECT_FALSE(tree.MakeEmptyFile("link/file", error));
    folder.Write("outside/precious", "x");
    EXPECT_FALSE(tree.RemoveFile("link/precious", error));
    folder.Write("other/file", "x");
    EXPECT_EQ(MoveNew(other, "file", tree, "link/moved", error), MoveOutcome::Failed);
    EXPECT_TRUE(folder.Exists("outside/precious"));
    EXPECT_FALSE(folder.Exists("outside/made"));
    EXPECT_FALSE(folder.Exists("outside/moved"));
}

// HOST-TREE-07
TEST_F(Trees, NeverLeaveTheTreeThroughDots) {
    folder.Write("outside/precious", "x");
    EXPECT_FALSE(tree.RemoveFile("../outside/precious", error));
    EXPECT_FALSE(tree.MakeFolders("../outside/made", error));
    EXPECT_TRUE(folder.Exists("outside/precious"));
}

// HOST-KEEP-02
TEST_F(Trees, AMoveNeverReplacesWhatIsThere) {
    folder.Write("other/file", "new");
    folder.Write("tree/file", "old");
    EXPECT_EQ(MoveNew(other, "file", tree, "file", error), MoveOutcome::Occupied);
    EXPECT_EQ(folder.Read("tree/file"), "old");
    EXPECT_EQ(MoveNew(other, "file", tree, "free", error), MoveOutcome::Moved);
    EXPECT_EQ(folder.Read("tree/free"), "new");
    EXPECT_EQ(MoveNew(other, "file", tree, "again", error), MoveOutcome::Absent);
}

// HOST-PLACE-02
TEST_F(Trees, AnExchangeKeepsBothFiles) {
    folder.Write("other/file", "new");
    folder.Write("tree/file", "old");
    EXPECT_EQ(Exchange(other, "file", tree, "file", error), MoveOutcome::Moved);
    EXPECT_EQ(folder.Read("tree/file"), "new");
    EXPECT_EQ(folder.Read("other/file"), "old");
}

// HOST-PLACE-04
TEST_F(Trees, WithoutAnExchangeOfTheFileSystemMovesDoTheSame) {
    folder.Write("tree/a", "new");
    folder.Write("other/b", "old");
    EXPECT_EQ(ExchangeByMoves(tree, "a", other, "b", error), MoveOutcome::Moved) << error;
    EXPECT_EQ(folder.Read("tree/a"), "old");
    EXPECT_EQ(folder.Read("other/b"), "new");
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.Path("tree")), {}), 1);
}

// HOST-PLACE-04
TEST_F(Trees, AnExchangeByMovesThatFailsLeavesTheOldFileInItsPlace) {
    folder.Write("other/b", "old");
    EXPECT_EQ(ExchangeByMoves(tree, "a", other, "b", error), MoveOutcome::Absent);
    EXPECT_EQ(folder.Read("other/b"), "old");
    folder.Write("tree/a", "new");
    EXPECT_EQ(ExchangeByMoves(tree, "a", other, "nothing", error), MoveOutcome::Absent);
    EXPECT_EQ(folder.Read("tree/a"), "new");
}

// HOST-TREE-08
TEST_F(Trees, AnEmptyFileTakesThePlaceOfALeftOver) {
    folder.Write("tree/a/file", "left over");
    EXPECT_TRUE(tree.MakeEmptyFile("a/file", error)) << error;
    EXPECT_EQ(tree.Look("a/file").size, 0);
    EXPECT_TRUE(tree.MakeEmptyFile("new/file", error)) << error;
}

// HOST-TREE-08
TEST_F(Trees, RemovingWhatIsNotThereIsNoFailure) {
    EXPECT_TRUE(tree.RemoveFile("nothing", error));
    EXPECT_TRUE(tree.RemoveFile("no/thing", error));
}

// HOST-TREE-06
TEST_F(Trees, AFolderGoesOnlyWhenItIsEmpty) {
    folder.Write("tree/full/file", "x");
    ASSERT_TRUE(tree.MakeFolders("empty", error));
    tree.RemoveFolderIfEmpty("full");
    tree.RemoveFolderIfEmpty("empty");
    EXPECT_TRUE(folder.Exists("tree/full/file"));
    EXPECT_FALSE(folder.Exists("tree/empty"));
}

// HOST-CHANGE-04
TEST_F(Trees, TellWhyAFileCannotBeRead) {
    folder.Write("tree/file", "x");
    symlink("file", folder.Path("tree/link").c_str());
    EXPECT_EQ(tree.ReadProblem("file"), "");
    EXPECT_EQ(tree.ReadProblem("nothing"), "it cannot be read: No such file or directory");
    EXPECT_NE(tree.ReadProblem("link"), "");
}

// HOST-VERIFY-02
TEST_F(Trees, ADigestIsThatOfTheDiskAndNeverAMemory) {
    folder.Write("tree/file", "before");
    const auto then = std::filesystem::file_time_type::clock::now() - std::chrono::hours(1);
    std::filesystem::last_write_time(folder.Path("tree/file"), then);
    const std::wstring before = ReadDigest(folder.Path("tree"), "file", Never);
    folder.Write("tree/file", "after!");
    std::filesystem::last_write_time(folder.Path("tree/file"), then);
    EXPECT_EQ(before.size(), 64u);
    EXPECT_NE(ReadDigest(folder.Path("tree"), "file", Never), before);
    EXPECT_EQ(ReadDigest(folder.Path("tree"), "nothing", Never), L"");
}

// HOST-STOP-04
TEST_F(Trees, TheReadingOfALargeFileEndsWithTheWishToStop) {
    folder.Write("tree/large", "x");
    std::filesystem::resize_file(folder.Path("tree/large"), std::uintmax_t{8} << 30);  // a hole, which reads as slowly
    std::thread([] {}).join();  // with the first one a sanitizer begins a thread of its own, which stays
    const std::ptrdiff_t threads = Threads();
    const auto begun = std::chrono::steady_clock::now();
    EXPECT_EQ(ReadDigest(folder.Path("tree"), "large", [] { return true; }), L"");
    EXPECT_LT(std::chrono::steady_clock::now() - begun, std::chrono::seconds(2));
    std::filesystem::resize_file(folder.Path("tree/large"), std::uintmax_t{65} << 20);
    EXPECT_EQ(ReadDigest(folder.Path("tree"), "large", Never).size(), 64u);
    AwaitThreads(threads);
}

// HOST-SPACE-04
TEST_F(Trees, FreeSpaceIsUnknownWhereNoFolderIs) {
    EXPECT_GT(FreeBytes(folder.Path("tree")), 0);
    EXPECT_EQ(FreeBytes(folder.Path("nowhere")), -1);
}

// HOST-LOCK-02
TEST_F(Trees, OneProcessHasATreeAtATime) {
    EXPECT_TRUE(tree.Lock());
    Tree again;
    ASSERT_TRUE(again.Open(folder.Path("tree"), error));
    EXPECT_FALSE(again.Lock());
}

}  // namespace
}  // namespace Drive::Host
