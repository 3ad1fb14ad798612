#include "host/module/root_check.h"

#include <gtest/gtest.h>

#include "host/module/below_root.h"
#include "tests/unit/host/temporary_folder.h"

namespace Drive::Host {
namespace {

class RootCheck : public testing::Test {
protected:
    RootCheck() {
        std::filesystem::create_directories(folder.Path("state"));
        records.Open(folder.Path("state"), false);
        folder.Write("root/file", "x");
        RememberRoot(folder.Path("root"), records);
        records.PutProved("1", {"file", 1, 1, "digest", "1"});
    }

    // As when the disk is not mounted: another folder, with nothing in it, stands at the same place.
    void Replace() const {
        std::filesystem::rename(folder.Path("root"), folder.Path("elsewhere"));
        std::filesystem::create_directories(folder.Path("root"));
    }
    bool Mounted() { return LooksMounted(folder.Path("root"), ".staging", records); }

    const TemporaryFolder folder;
    HostRecords records;
};

// HOST-ROOT-02
TEST_F(RootCheck, AnotherEmptyFolderIsNotTheRoot) {
    Replace();
    EXPECT_FALSE(Mounted());
    folder.Write("root/.staging/x", "");
    std::filesystem::create_directories(folder.Path("root/lost+found"));
    EXPECT_FALSE(Mounted()) << "what the host and a fresh file system put there does not count";
}

// HOST-ROOT-04
TEST_F(RootCheck, TheSameFolderMayBeEmptiedOnPurpose) {
    std::filesystem::remove(folder.Path("root/file"));
    EXPECT_TRUE(Mounted());
}

// HOST-ROOT-04
TEST_F(RootCheck, AnotherFolderWithFilesIsTheRoot) {
    Replace();
    folder.Write("root/other", "x");
    EXPECT_TRUE(Mounted());
}

// HOST-ROOT-04
TEST_F(RootCheck, AnEmptyRootIsFineWhereNoFileHasStood) {
    records.ForgetProved("1");
    Replace();
    EXPECT_TRUE(Mounted());
}

// HOST-ROOT-02
TEST_F(RootCheck, AFolderThatWasRememberedAnewIsTheRoot) {
    Replace();
    RememberRoot(folder.Path("root"), records);
    EXPECT_TRUE(Mounted());
}

// HOST-CLI-03
TEST(BelowRoot, TakesEveryFormThatAPersonTypes) {
    for (const char* typed : {"a/b", "./a/b", "a//b/", "/home/x/drive/a/b", "/home/x/drive//a/./b/"}) {
        EXPECT_EQ(BelowRoot("/home/x/drive", typed), "a/b") << typed;
    }
    EXPECT_EQ(BelowRoot("/home/x/drive", "/home/x/drive"), "");
    EXPECT_EQ(BelowRoot("/home/x/drive", "/home/x/driveless"), "home/x/driveless");
    EXPECT_EQ(BelowRoot("/home/x/drive", "..x/.y"), "..x/.y");
}

}  // namespace
}  // namespace Drive::Host
