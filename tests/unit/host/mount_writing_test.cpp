#include <fcntl.h>

#include <cerrno>
#include <future>
#include <thread>

#include "tests/unit/host/mount_fixture.h"

namespace Drive::Host {
namespace {

class MountWriting : public Mount {
protected:
    MountWriting() {
        List({Folder(L"d", L"root", L"folder"), File(L"f", L"d", L"file"), File(L"t", L"root", L"top")});
        ReadRoot();
    }
};

// HOST-MOUNT-10
TEST_F(MountWriting, ANewFileStandsInTheRootAtOnceAndWaitsForTheCloud) {
    Save("folder", "new", "content");
    EXPECT_EQ(folder.Read("root/folder/new"), "content");
    const NodePtr node = At("folder/new");
    ASSERT_TRUE(node);
    EXPECT_TRUE(node->dirty);
    EXPECT_EQ(node->writers, 0);
    EXPECT_EQ(state->pending.count(node), 1u);
    EXPECT_GT(woken, 0);
}

// HOST-MOUNT-10
TEST_F(MountWriting, CreatingRefusesWhatIsThereWhenItMustBeNew) {
    std::unique_ptr<Handle> handle;
    struct stat facts {};
    EXPECT_EQ(files->Create(Number("folder"), "file", 0644, O_EXCL, handle, facts), EEXIST);
    EXPECT_EQ(files->Create(Number("folder"), "file", 0644, O_RDWR, handle, facts), 0);
    EXPECT_EQ(handle->node, At("folder/file"));
}

// HOST-MOUNT-10
TEST_F(MountWriting, NamesThatTheCloudWouldNotTakeAreRefused) {
    std::unique_ptr<Handle> handle;
    struct stat facts {};
    EXPECT_EQ(files->Create(Number(""), std::string(81, 'x'), 0644, 0, handle, facts), ENAMETOOLONG);
    EXPECT_EQ(files->MakeFolder(Number(""), std::string(81, 'x'), 0755, facts), ENAMETOOLONG);
    EXPECT_EQ(Rename("", "top", "", std::string(81, 'x')), ENAMETOOLONG);
    EXPECT_TRUE(At("top"));
}

// HOST-MOUNT-10
TEST_F(MountWriting, FilesThatTheCloudWouldNotTakeAreRefused) {
    const std::unique_ptr<Handle> handle = Created("", "large");
    EXPECT_EQ(Write(*handle, "x", 50LL << 30), EFBIG);
    AttributeChange change;
    change.setsSize = true;
    change.size = (50LL << 30) + 1;
    struct stat facts {};
    EXPECT_EQ(files->Change(Number("large"), change, caller, facts), EFBIG);
}

// HOST-MOUNT-11
TEST_F(MountWriting, AWriteToAPlaceholderBringsItFirst) {
    const std::unique_ptr<Handle> handle = Opened("folder/file", O_RDWR);
    std::future<int> writing = std::async(std::launch::async, [&] { return Write(*handle, "X", 1); });
    NodePtr node;
    while (!node) {
        const std::lock_guard lock(state->mutex);
        node = state->wanted.empty() ? nullptr : state->wanted.front();
    }
    EXPECT_EQ(writing.wait_for(std::chrono::milliseconds(20)), std::future_status::timeout);
    folder.Write("root/folder/file", "text");
    node->fetch->Opened(open(folder.Path("root/folder/file").c_str(), O_RDONLY | O_CLOEXEC));
    const std::shared_ptr<FetchProgress> fetch = node->fetch;
    {
        const std::lock_guard lock(state->mutex);
        node->here = true;
        node->fetch.reset();
    }
    fetch->Ended(true, "");
    EXPECT_EQ(writing.get(), 0);
    EXPECT_EQ(folder.Read("root/folder/file"), "tXxt");
    EXPECT_TRUE(node->dirty);
}

// HOST-MOUNT-11
TEST_F(MountWriting, AWriteToAPlaceholderThatCannotBeBroughtFails) {
    state->ended = true;
    const std::unique_ptr<Handle> handle = Opened("folder/file", O_RDWR);
    EXPECT_EQ(Write(*handle, "X"), EIO);
    EXPECT_FALSE(At("folder/file")->dirty);
}

// HOST-MOUNT-11
TEST_F(MountWriting, WhatIsThrownAwayIsNotBrought) {
    const std::unique_ptr<Handle> handle = Opened("folder/file", O_WRONLY | O_TRUNC);
    EXPECT_EQ(Write(*handle, "new"), 0);
    EXPECT_TRUE(state->wanted.empty());
    EXPECT_EQ(folder.Read("root/folder/file"), "new");
    AttributeChange change;
    change.setsSize = true;
    struct stat facts {};
    EXPECT_EQ(files->Change(Number("top"), change, caller, facts), 0);
    EXPECT_EQ(facts.st_size, 0);
    EXPECT_TRUE(state->wanted.empty());
    EXPECT_TRUE(At("top")->dirty);
    EXPECT_EQ(At("top")->base, L"1");
}

// HOST-MOUNT-10
TEST_F(MountWriting, SizeModeAndTimesAreSetOnTheFileInTheRoot) {
    Save("", "mine", "0123456789");
    AttributeChange change;
    change.setsSize = change.setsMode = change.setsTimes = true;
    change.size = 4;
    change.mode = 0600;
    change.times[0] = change.times[1] = {777, 0};
    struct stat facts {};
    ASSERT_EQ(files->Change(Number("mine"), change, caller, facts), 0);
    EXPECT_EQ(facts.st_size, 4);
    EXPECT_EQ(facts.st_mode & 07777, 0600u);
    EXPECT_EQ(facts.st_mtim.tv_sec, 777);
    EXPECT_EQ(folder.Read("root/mine"), "0123");
}

// HOST-MOUNT-10
TEST_F(MountWriting, ANewTimeAloneIsNoNewContent) {
    Arrive("top", "text");
    AttributeChange change;
    change.setsTimes = true;
    change.times[0] = change.times[1] = {777, 0};
    struct stat facts {};
    ASSERT_EQ(files->Change(Number("top"), change, caller, facts), 0);
    EXPECT_FALSE(At("top")->dirty);
    EXPECT_TRUE(LooksProved(*state, *At("top")));
}

// HOST-MOUNT-12
TEST_F(MountWriting, SavingByRenameMakesANewVersionOfTheSameEntry) {
    Save("folder", "file.tmp", "saved");
    ASSERT_EQ(Rename("folder", "file.tmp", "folder", "file"), 0);
    EXPECT_EQ(folder.Read("root/folder/file"), "saved");
    EXPECT_FALSE(At("folder/file.tmp"));
    EXPECT_EQ(At("folder/file")->cloud.id, L"f");
    EXPECT_EQ(At("folder/file")->base, L"1");
    EXPECT_TRUE(state->removals.empty());
}

// HOST-MOUNT-12
TEST_F(MountWriting, SavingWithABackupMakesANewVersionOfTheSameEntry) {
    ASSERT_EQ(Rename("folder", "file", "folder", "file~"), 0);
    Save("folder", "file", "saved");
    ASSERT_EQ(files->RemoveFile(Number("folder"), "file~"), 0);
    EXPECT_EQ(At("folder/file")->cloud.id, L"f");
    EXPECT_FALSE(Removed(L"f"));
    EXPECT_TRUE(wishes.All().empty());
}

// HOST-MOUNT-12
TEST_F(MountWriting, RemovingAndMakingAnewMakesANewVersionOfTheSameEntry) {
    ASSERT_EQ(files->RemoveFile(Number("folder"), "file"), 0);
    EXPECT_TRUE(Removed(L"f"));
    Save("folder", "file", "saved");
    EXPECT_EQ(At("folder/file")->cloud.id, L"f");
    EXPECT_FALSE(Removed(L"f"));
}

// HOST-MOUNT-13
TEST_F(MountWriting, AnEntryThatReplacesAnotherRemovesIt) {
    ASSERT_EQ(Rename("", "top", "folder", "file"), 0);
    EXPECT_EQ(At("folder/file")->cloud.id, L"t");
    EXPECT_TRUE(Removed(L"f"));
    EXPECT_EQ(wishes.All()["t"].path, "folder/file");
    EXPECT_TRUE(wishes.All()["f"].removed);
}

// HOST-MOUNT-13
TEST_F(MountWriting, RenamingKeepsTheRulesOfTheSystem) {
    struct stat facts {};
    ASSERT_EQ(files->MakeFolder(Number(""), "other", 0755, facts), 0);
    EXPECT_EQ(Rename("", "top", "", "folder"), EISDIR);
    EXPECT_EQ(Rename("", "other", "", "top"), ENOTDIR);
    EXPECT_EQ(Rename("", "other", "", "folder"), ENOTEMPTY);
    EXPECT_EQ(Rename("", "top", "folder", "file", false), EEXIST);
    EXPECT_EQ(Rename("", "gone", "", "x"), ENOENT);
    EXPECT_EQ(Rename("", "folder", "folder", "x"), EINVAL);
    EXPECT_EQ(Rename("", "folder", "", "other"), 0);
    EXPECT_TRUE(At("other/file"));
}

// HOST-MOUNT-13
TEST_F(MountWriting, AFolderTakesAlongWhatIsInIt) {
    Arrive("folder/file", "text");
    ASSERT_EQ(Rename("", "folder", "", "renamed"), 0);
    EXPECT_EQ(folder.Read("root/renamed/file"), "text");
    EXPECT_TRUE(LooksProved(*state, *At("renamed/file")));
    EXPECT_EQ(wishes.All()["d"].path, "renamed");
}

// HOST-MOUNT-13
TEST_F(MountWriting, WhatMovesAwayOrIsRemovedIsKnownToLeaveItsPlaceInTheCloud) {
    EXPECT_FALSE(IsLeaving(*state, L"t"));
    ASSERT_EQ(Rename("", "top", "folder", "top"), 0);
    EXPECT_TRUE(IsLeaving(*state, L"t"));
    ASSERT_EQ(Rename("folder", "top", "", "top"), 0);
    EXPECT_FALSE(IsLeaving(*state, L"t"));
    ASSERT_EQ(files->RemoveFile(Number(""), "top"), 0);
    EXPECT_TRUE(IsLeaving(*state, L"t"));
}

// HOST-MOUNT-10
TEST_F(MountWriting, AFileThatSomebodyTookOutOfTheRootIsAPlaceholderAgain) {
    Arrive("top", "text");
    std::filesystem::remove(folder.Path("root/top"));
    const std::unique_ptr<Handle> handle = Opened("top", O_RDONLY);
    EXPECT_FALSE(At("top")->here);
    EXPECT_FALSE(handle->file);
}

// HOST-MOUNT-13
TEST_F(MountWriting, RemovingKeepsTheRulesOfTheSystem) {
    EXPECT_EQ(files->RemoveFolder(Number(""), "folder"), ENOTEMPTY);
    EXPECT_EQ(files->RemoveFile(Number(""), "folder"), EISDIR);
    EXPECT_EQ(files->RemoveFolder(Number(""), "top"), ENOTDIR);
    EXPECT_EQ(files->RemoveFile(Number(""), "gone"), ENOENT);
    ASSERT_EQ(files->RemoveFile(Number("folder"), "file"), 0);
    EXPECT_EQ(files->RemoveFolder(Number(""), "folder"), 0);
    EXPECT_FALSE(At("folder"));
    EXPECT_TRUE(Removed(L"d"));
}

// HOST-MOUNT-13
TEST_F(MountWriting, AFileThatNobodyElseKnewLeavesNothingBehind) {
    Save("", "temporary", "x");
    ASSERT_EQ(files->RemoveFile(Number(""), "temporary"), 0);
    EXPECT_FALSE(folder.Exists("root/temporary"));
    EXPECT_TRUE(state->removals.empty());
    EXPECT_TRUE(state->pending.empty());
    EXPECT_TRUE(wishes.All().empty());
}

// HOST-MOUNT-10
TEST_F(MountWriting, WhatIsSyncedIsInTheRoot) {
    const std::unique_ptr<Handle> handle = Created("folder", "kept");
    ASSERT_EQ(Write(*handle, "kept"), 0);
    EXPECT_EQ(files->Sync(*handle, false), 0);
    EXPECT_EQ(files->SyncFolder(Number("folder")), 0);
    EXPECT_EQ(folder.Read("root/folder/kept"), "kept");
}

}  // namespace
}  // namespace Drive::Host
