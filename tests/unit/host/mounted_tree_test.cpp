#include "host/mount/mounted_tree.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <future>
#include <thread>

namespace Drive::Host {
namespace {

CloudEntry Entry(const std::string& path, bool folder, std::int64_t size = 0) {
    CloudEntry entry;
    entry.path = path;
    entry.file.isFolder = folder;
    entry.file.size = size;
    return entry;
}

bool Never() { return false; }

class Mounted : public testing::Test {
protected:
    Mounted() { tree.Listed({Entry("folder", true), Entry("folder/file", false, 7), Entry("top", false, 1)}); }

    // Waits until somebody has asked for something.
    std::vector<std::string> Asked() {
        std::vector<std::string> wanted;
        while (wanted.empty()) {
            wanted = tree.Wanted();
            std::this_thread::yield();
        }
        return wanted;
    }

    std::future<Brought> Bring(const std::string& path) {
        return std::async(std::launch::async, [this, path] { return tree.Bring(path, Never); });
    }

    std::atomic<int> woken{0};
    MountedTree tree{[this] { ++woken; }};
};

// HOST-MOUNT-01
TEST_F(Mounted, ShowsWhatTheCloudLists) {
    ASSERT_TRUE(tree.Look("").has_value());
    std::vector<std::string> top = *tree.Look("")->children;
    std::sort(top.begin(), top.end());
    EXPECT_EQ(top, (std::vector<std::string>{"folder", "top"}));
    EXPECT_EQ(*tree.Look("folder")->children, std::vector<std::string>{"file"});
    EXPECT_EQ(tree.Look("folder/file")->size, 7);
    EXPECT_FALSE(tree.Look("folder/other").has_value());
}

// HOST-MOUNT-01
TEST_F(Mounted, ShowsNothingThatCannotStandOnThisDisk) {
    CloudEntry refused = Entry("..", false);
    refused.refusal = "no";
    tree.Listed({refused, Entry("empty", true)});
    EXPECT_FALSE(tree.Look("..").has_value());
    EXPECT_EQ(tree.Look("")->children->size(), 1u);
    EXPECT_TRUE(tree.Look("empty")->children->empty());
}

// HOST-MOUNT-02
TEST_F(Mounted, AnOpeningWaitsUntilTheFileIsHere) {
    std::future<Brought> brought = Bring("top");
    EXPECT_EQ(Asked(), std::vector<std::string>{"top"});
    EXPECT_EQ(woken, 1);
    tree.Settled("folder/file", true, "");
    EXPECT_EQ(brought.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout);
    tree.Settled("top", true, "");
    EXPECT_EQ(brought.get(), Brought::Here);
}

// HOST-MOUNT-02
TEST_F(Mounted, AnOpeningLearnsThatTheFileCouldNotBeBrought) {
    std::future<Brought> brought = Bring("top");
    Asked();
    tree.Settled("top", false, "no");
    EXPECT_EQ(brought.get(), Brought::Failed);
}

// HOST-MOUNT-02
TEST_F(Mounted, ALaterOpeningAsksAgain) {
    std::future<Brought> first = Bring("top");
    Asked();
    tree.Settled("top", true, "");
    EXPECT_EQ(first.get(), Brought::Here);
    std::future<Brought> second = Bring("top");
    EXPECT_EQ(Asked(), std::vector<std::string>{"top"});
    tree.Settled("top", false, "gone");
    EXPECT_EQ(second.get(), Brought::Failed);
}

// HOST-MOUNT-02
TEST_F(Mounted, AllWhoWaitForAFileAreToldAtOnce) {
    std::future<Brought> first = Bring("top");
    std::future<Brought> second = Bring("top");
    std::size_t asked = 0;
    while (asked < 2) {
        asked += tree.Wanted().size();
    }
    tree.Settled("top", true, "");
    EXPECT_EQ(first.get(), Brought::Here);
    EXPECT_EQ(second.get(), Brought::Here);
}

// HOST-MOUNT-03
TEST_F(Mounted, AnInterruptedOpeningEnds) {
    EXPECT_EQ(tree.Bring("top", [] { return true; }), Brought::Interrupted);
}

// HOST-MOUNT-03
TEST_F(Mounted, TheEndReleasesAllWhoWait) {
    std::future<Brought> brought = Bring("top");
    Asked();
    tree.End();
    EXPECT_EQ(brought.get(), Brought::Ended);
    EXPECT_EQ(tree.Bring("folder/file", Never), Brought::Ended);
}

}  // namespace
}  // namespace Drive::Host
