#include "host/commands/folder_watch.h"

#include <gtest/gtest.h>

#include "tests/unit/host/temporary_folder.h"

namespace Drive::Host {
namespace {

// True when a change is heard of within a few seconds.
bool Hears(FolderWatch& watch) {
    for (int turn = 0; turn < 50; ++turn) {
        watch.Wait(100);
        if (watch.QuietSince(0)) {
            return true;
        }
    }
    return false;
}

class Watching : public testing::Test {
protected:
    Watching() { folder.Write("a/b/file", "x"); }
    const TemporaryFolder folder;
};

// HOST-WATCH-01
TEST_F(Watching, NothingIsHeardWhileNothingHappens) {
    FolderWatch watch(folder.Path());
    EXPECT_TRUE(watch.Complete());
    watch.Wait(50);
    EXPECT_FALSE(watch.QuietSince(0));
}

// HOST-WATCH-02
TEST_F(Watching, AChangeDeepBelowIsHeard) {
    FolderWatch watch(folder.Path());
    folder.Write("a/b/file", "changed");
    EXPECT_TRUE(Hears(watch));
}

// HOST-WATCH-02
TEST_F(Watching, ARemovalAndARenameAreHeard) {
    FolderWatch watch(folder.Path());
    std::filesystem::rename(folder.Path("a/b/file"), folder.Path("a/file"));
    EXPECT_TRUE(Hears(watch));
    watch.Forget();
    std::filesystem::remove(folder.Path("a/file"));
    EXPECT_TRUE(Hears(watch));
}

// HOST-WATCH-02
TEST_F(Watching, ANewFolderIsWatchedWithAllThatCameInIt) {
    FolderWatch watch(folder.Path());
    folder.Write("elsewhere/deep/file", "x");
    EXPECT_TRUE(Hears(watch));
    watch.Forget();
    folder.Write("elsewhere/deep/file", "changed");
    EXPECT_TRUE(Hears(watch));
}

// HOST-WATCH-03
TEST_F(Watching, AChangeIsQuietOnlyAfterAWhile) {
    FolderWatch watch(folder.Path());
    folder.Write("a/file", "x");
    ASSERT_TRUE(Hears(watch));
    EXPECT_FALSE(watch.QuietSince(60000));
    watch.Forget();
    EXPECT_FALSE(watch.QuietSince(0));
}

}  // namespace
}  // namespace Drive::Host
