#include <fcntl.h>

#include "tests/unit/host/mount_fixture.h"

namespace Drive::Host {
namespace {

class MountMerge : public Mount {
protected:
    MountMerge() {
        List(Usual());
        ReadRoot();
    }

    static std::vector<Cloud::CloudFile> Usual() {
        return {Folder(L"d", L"root", L"folder"), File(L"f", L"d", L"file"), File(L"t", L"root", L"top")};
    }

    std::vector<std::string> Names(const std::string& path) const {
        std::vector<std::string> names;
        for (const auto& [name, child] : At(path)->children) {
            names.push_back(name);
        }
        return names;
    }

    // The one entry of a folder that was made by moving something aside.
    NodePtr Aside(const std::string& path) const {
        for (const auto& [name, child] : At(path)->children) {
            if (name.find("(local copy") != std::string::npos) {
                return child;
            }
        }
        return nullptr;
    }
};

// HOST-MOUNT-14
TEST_F(MountMerge, WhatChangesInTheCloudIsShown) {
    List({Folder(L"d", L"root", L"renamed"), File(L"f", L"root", L"moved"), File(L"n", L"d", L"new")});
    EXPECT_EQ(Names(""), (std::vector<std::string>{"moved", "renamed"}));
    EXPECT_EQ(Names("renamed"), std::vector<std::string>{"new"});
}

// HOST-MOUNT-14
TEST_F(MountMerge, WhatMovesInTheCloudMovesInTheRoot) {
    Arrive("folder/file", "text");
    List({Folder(L"d", L"root", L"folder"), File(L"f", L"root", L"moved"), File(L"t", L"root", L"top")});
    EXPECT_EQ(folder.Read("root/moved"), "text");
    EXPECT_TRUE(At("moved")->here);
    EXPECT_TRUE(LooksProved(*state, *At("moved")));
}

// HOST-MOUNT-15
TEST_F(MountMerge, WhatIsRemovedInTheCloudLeavesTheRootAndIsKeptForAWhile) {
    Arrive("folder/file", "text");
    List({File(L"t", L"root", L"top")});
    EXPECT_FALSE(At("folder"));
    EXPECT_FALSE(folder.Exists("root/folder"));
    std::vector<std::string> kept;
    for (const auto& one : std::filesystem::recursive_directory_iterator(folder.Path("staging/.removed"))) {
        kept.push_back(one.path().filename());
    }
    EXPECT_NE(std::find(kept.begin(), kept.end(), "file"), kept.end());
}

// HOST-MOUNT-15
TEST_F(MountMerge, AnEditOfWhatIsRemovedInTheCloudStaysAndGoesUpAnew) {
    Arrive("folder/file", "text");
    const std::unique_ptr<Handle> handle = Opened("folder/file", O_RDWR);
    ASSERT_EQ(Write(*handle, "edit"), 0);
    files->Release(*handle);
    List({File(L"t", L"root", L"top")});
    ASSERT_TRUE(At("folder/file"));
    EXPECT_FALSE(At("folder/file")->InCloud());
    EXPECT_FALSE(At("folder")->InCloud());
    EXPECT_TRUE(At("folder/file")->dirty);
    EXPECT_EQ(folder.Read("root/folder/file"), "edit");
}

// HOST-MOUNT-16
TEST_F(MountMerge, ANewVersionDoesNotReplaceAnEdit) {
    Arrive("folder/file", "text");
    const std::unique_ptr<Handle> handle = Opened("folder/file", O_RDWR);
    ASSERT_EQ(Write(*handle, "edit"), 0);
    List({Folder(L"d", L"root", L"folder"), File(L"f", L"d", L"file", 9, L"2")});
    EXPECT_EQ(folder.Read("root/folder/file"), "edit");
    EXPECT_EQ(At("folder/file")->base, L"1");
    EXPECT_EQ(At("folder/file")->cloud.contentVersion, L"2");
    merge->MoveAside(At("folder/file"));
    ASSERT_TRUE(Aside("folder"));
    EXPECT_FALSE(Aside("folder")->InCloud());
    EXPECT_EQ(Read(*handle), "edit");
    List({Folder(L"d", L"root", L"folder"), File(L"f", L"d", L"file", 9, L"2")});
    EXPECT_FALSE(At("folder/file")->here);
    EXPECT_EQ(Names("folder").size(), 2u);
}

// HOST-MOUNT-16
TEST_F(MountMerge, TwoNewFilesOfOneNameBothStay) {
    Save("folder", "new", "mine");
    std::vector<Cloud::CloudFile> all = Usual();
    all.push_back(File(L"n", L"d", L"new"));
    List(all);
    EXPECT_EQ(At("folder/new")->cloud.id, L"n");
    ASSERT_TRUE(Aside("folder"));
    EXPECT_EQ(folder.Read("root/" + state->tree.PathOf(*Aside("folder"))), "mine");
    EXPECT_EQ(told.size(), 1u);
}

// HOST-MOUNT-16
TEST_F(MountMerge, WhatIsBeingSentIsNotTakenForSomebodyElses) {
    Save("folder", "new", "mine");
    At("folder/new")->sending = true;
    std::vector<Cloud::CloudFile> all = Usual();
    all.push_back(File(L"n", L"d", L"new"));
    List(all);
    EXPECT_FALSE(Aside("folder"));
    EXPECT_TRUE(At("folder/new")->here);
}

// HOST-MOUNT-16
TEST_F(MountMerge, AFolderThatBothSidesMadeIsOne) {
    struct stat facts {};
    ASSERT_EQ(files->MakeFolder(Number(""), "both", 0755, facts), 0);
    std::vector<Cloud::CloudFile> all = Usual();
    all.push_back(Folder(L"b", L"root", L"both"));
    List(all);
    EXPECT_EQ(At("both")->cloud.id, L"b");
    EXPECT_TRUE(told.empty());
}

// HOST-MOUNT-17
TEST_F(MountMerge, WhatIsRemovedHereStaysHiddenUntilTheCloudHasRemovedIt) {
    ASSERT_EQ(files->RemoveFile(Number(""), "top"), 0);
    List(Usual());
    EXPECT_FALSE(At("top"));
    EXPECT_TRUE(Removed(L"t"));
    List({Folder(L"d", L"root", L"folder"), File(L"f", L"d", L"file")});
    EXPECT_FALSE(Removed(L"t"));
    EXPECT_TRUE(wishes.All().empty());
}

// HOST-MOUNT-17
TEST_F(MountMerge, AContentThatWasNotSeenWhenItWasRemovedBringsTheFileBack) {
    ASSERT_EQ(files->RemoveFile(Number(""), "top"), 0);
    List({Folder(L"d", L"root", L"folder"), File(L"f", L"d", L"file"), File(L"t", L"root", L"top", 4, L"2")});
    EXPECT_TRUE(At("top"));
    EXPECT_FALSE(Removed(L"t"));
    EXPECT_TRUE(wishes.All().empty());
}

// HOST-MOUNT-17
TEST_F(MountMerge, AFolderInWhichSomethingIsNewIsNotRemoved) {
    ASSERT_EQ(files->RemoveFile(Number("folder"), "file"), 0);
    ASSERT_EQ(files->RemoveFolder(Number(""), "folder"), 0);
    std::vector<Cloud::CloudFile> all = Usual();
    all.push_back(File(L"n", L"d", L"news"));
    List(all);
    EXPECT_EQ(Names("folder"), std::vector<std::string>{"news"});
    EXPECT_FALSE(Removed(L"d"));
    EXPECT_TRUE(Removed(L"f"));
}

// HOST-MOUNT-18
TEST_F(MountMerge, TheNextMountGoesOnWithWhatWasDone) {
    Arrive("folder/file", "text");
    ASSERT_EQ(files->RemoveFile(Number(""), "top"), 0);
    ASSERT_EQ(Rename("", "folder", "", "renamed"), 0);
    Save("renamed", "new", "mine");
    Restart();
    List(Usual());
    ReadRoot();
    EXPECT_EQ(Names(""), std::vector<std::string>{"renamed"});
    EXPECT_EQ(Names("renamed"), (std::vector<std::string>{"file", "new"}));
    EXPECT_EQ(At("renamed")->cloud.id, L"d");
    EXPECT_TRUE(At("renamed/file")->here);
    EXPECT_FALSE(At("renamed/file")->dirty);
    EXPECT_TRUE(At("renamed/new")->dirty);
    EXPECT_TRUE(Removed(L"t"));
    EXPECT_EQ(state->pending.count(At("renamed")), 1u);
}

// HOST-MOUNT-18
TEST_F(MountMerge, AnEditIsFoundAgainByTheNextMount) {
    Arrive("folder/file", "text");
    const std::unique_ptr<Handle> handle = Opened("folder/file", O_RDWR);
    ASSERT_EQ(Write(*handle, "longer text"), 0);
    Restart();
    List(Usual());
    ReadRoot();
    EXPECT_TRUE(At("folder/file")->dirty);
    EXPECT_EQ(At("folder/file")->base, L"1");
}

// HOST-MOUNT-18
TEST_F(MountMerge, ANewContentInPlaceOfAPlaceholderIsNoConflictForTheNextMount) {
    const std::unique_ptr<Handle> handle = Opened("folder/file", O_WRONLY | O_TRUNC);
    ASSERT_EQ(Write(*handle, "new"), 0);
    Save("", "top.tmp", "saved");
    ASSERT_EQ(Rename("", "top.tmp", "", "top"), 0);
    Restart();
    List(Usual());
    ReadRoot();
    for (const char* path : {"folder/file", "top"}) {
        EXPECT_TRUE(At(path)->dirty) << path;
        EXPECT_EQ(At(path)->base, L"1") << path;
    }
}

// HOST-MOUNT-18
TEST_F(MountMerge, WhatChangedInTheCloudBetweenTwoMountsIsTakenOver) {
    Arrive("folder/file", "text");
    Arrive("top", "text");
    Restart();
    List({Folder(L"d", L"root", L"folder"), File(L"f", L"root", L"moved"), File(L"t", L"root", L"top", 9, L"2")});
    ReadRoot();
    EXPECT_TRUE(At("moved")->here);
    EXPECT_EQ(folder.Read("root/moved"), "text");
    EXPECT_FALSE(At("folder/file"));
    EXPECT_FALSE(At("top")->here);
    EXPECT_FALSE(folder.Exists("root/top"));
}

// HOST-MOUNT-18
TEST_F(MountMerge, AFileOfUnknownOriginIsComparedBeforeAnythingElse) {
    folder.Write("root/top", "what?");
    Restart();
    List(Usual());
    ReadRoot();
    EXPECT_TRUE(At("top")->here);
    EXPECT_TRUE(At("top")->dirty);
    EXPECT_EQ(At("top")->base, L"");
    EXPECT_EQ(folder.Read("root/top"), "what?");
}

// HOST-MOUNT-18
TEST(MountWishes, GoAlongWithAFolderThatIsRenamedAndEndWithTheirFile) {
    const TemporaryFolder folder;
    Wishes wishes;
    wishes.Open(folder.Path());
    wishes.PutPlace("one", "a/x");
    wishes.PutPlace("two", "ab/x");
    wishes.PutPlace("odd", "a/\xff\xfe");
    wishes.PutRemoval("gone", "7");
    wishes.MoveBelow("a", "c/d");
    EXPECT_EQ(wishes.All()["one"].path, "c/d/x");
    EXPECT_EQ(wishes.All()["two"].path, "ab/x");
    EXPECT_EQ(wishes.All()["odd"].path, "c/d/\xff\xfe");
    EXPECT_TRUE(wishes.All()["gone"].removed);
    EXPECT_EQ(wishes.All()["gone"].version, "7");
    wishes.Forget("one");
    EXPECT_EQ(wishes.All().count("one"), 0u);
}

}  // namespace
}  // namespace Drive::Host
