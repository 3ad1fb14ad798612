#include <fcntl.h>

#include <cerrno>
#include <future>
#include <thread>

#include "tests/unit/host/mount_fixture.h"

namespace Drive::Host {
namespace {

class Fetching : public testing::Test {
protected:
    Fetching() {
        folder.Write("file", "0123456789");
        progress.Opened(open(folder.Path("file").c_str(), O_RDONLY | O_CLOEXEC));
        progress.Began();
    }

    void Take(std::int64_t offset, const std::string& data) {
        progress.Took(offset, reinterpret_cast<const unsigned char*>(data.data()),
                      static_cast<std::int64_t>(data.size()));
    }

    FetchProgress::State Now(std::int64_t offset, std::int64_t length) {
        return progress.WaitFor(offset, length, [] { return true; });
    }

    const TemporaryFolder folder;
    FetchProgress progress{10};
};

using State = FetchProgress::State;

// HOST-MOUNT-02
TEST_F(Fetching, GivesEachRangeAsSoonAsItIsThere) {
    EXPECT_EQ(Now(0, 4), State::Interrupted);
    Take(0, "0123");
    EXPECT_EQ(Now(0, 4), State::Ready);
    EXPECT_EQ(Now(0, 5), State::Interrupted);
    Take(4, "4567");
    EXPECT_EQ(Now(4, 4), State::Ready);
}

// HOST-MOUNT-03
TEST_F(Fetching, HoldsTheLastByteBackUntilAllIsProved) {
    Take(0, "0123456789");
    EXPECT_EQ(Now(0, 9), State::Ready);
    EXPECT_EQ(Now(0, 10), State::Interrupted);
    EXPECT_EQ(Now(9, 4096), State::Interrupted);
    progress.Ended(true, "");
    EXPECT_EQ(Now(0, 10), State::Ready);
    EXPECT_EQ(Now(9, 4096), State::Ready);
}

// HOST-MOUNT-03
TEST_F(Fetching, FailsItsReadersWhenTheContentDoesNotProve) {
    Take(0, "0123456789");
    progress.Ended(false, "no");
    EXPECT_EQ(Now(0, 2), State::Failed);
    EXPECT_EQ(progress.WaitForAll([] { return false; }), State::Failed);
}

// HOST-MOUNT-04
TEST_F(Fetching, GoesOnForItsReadersWhenASecondTryBringsTheSame) {
    Take(0, "0123");
    progress.Began();
    EXPECT_EQ(Now(0, 4), State::Interrupted);
    Take(0, "0123");
    Take(4, "45");
    EXPECT_EQ(Now(0, 6), State::Ready);
}

// HOST-MOUNT-04
TEST_F(Fetching, FailsItsReadersWhenASecondTryBringsSomethingElse) {
    Take(0, "0123");
    progress.Began();
    Take(0, "0124");
    EXPECT_EQ(Now(0, 2), State::Failed);
    progress.Ended(true, "");
    EXPECT_EQ(Now(0, 2), State::Failed);
}

// HOST-MOUNT-02
TEST_F(Fetching, WakesAReaderThatWaits) {
    std::future<State> reader =
        std::async(std::launch::async, [this] { return progress.WaitFor(0, 4, [] { return false; }); });
    EXPECT_EQ(reader.wait_for(std::chrono::milliseconds(20)), std::future_status::timeout);
    Take(0, "0123");
    EXPECT_EQ(reader.get(), State::Ready);
}

class MountReading : public Mount {
protected:
    MountReading() {
        List({Folder(L"d", L"root", L"folder"), File(L"f", L"d", L"file"), File(L"e", L"root", L"empty", 0)});
    }

    // What the command does when the engine delivers.
    void Bring(const NodePtr& node, const std::string& content) {
        folder.Write("staging/file", content);
        node->fetch->Opened(open(folder.Path("staging/file").c_str(), O_RDONLY | O_CLOEXEC));
        node->fetch->Took(0, reinterpret_cast<const unsigned char*>(content.data()),
                          static_cast<std::int64_t>(content.size()));
        const std::lock_guard lock(state->mutex);
        std::filesystem::create_directories(folder.Path("root/folder"));
        std::filesystem::rename(folder.Path("staging/file"), folder.Path("root/" + state->tree.PathOf(*node)));
        node->here = true;
        RememberProved(*state, *node);
        const std::shared_ptr<FetchProgress> fetch = std::exchange(node->fetch, nullptr);
        fetch->Ended(true, "");
    }

    NodePtr WaitForWish() {
        for (;;) {
            std::this_thread::yield();
            const std::lock_guard lock(state->mutex);
            if (!state->wanted.empty()) {
                const NodePtr node = state->wanted.front();
                state->wanted.clear();
                return node;
            }
        }
    }
};

// HOST-MOUNT-01
TEST_F(MountReading, APlaceholderShowsTheSizeAndTimeThatTheCloudTells) {
    struct stat facts {};
    ASSERT_EQ(files->Look(Number("folder"), "file", facts), 0);
    EXPECT_EQ(facts.st_size, 4);
    EXPECT_EQ(facts.st_mtim.tv_sec, 1000);
    EXPECT_TRUE(S_ISREG(facts.st_mode));
    EXPECT_EQ(facts.st_blocks, 0);
    EXPECT_EQ(files->Look(Number("folder"), "other", facts), ENOENT);
    EXPECT_EQ(files->Look(Number("folder"), std::string(300, 'x'), facts), ENAMETOOLONG);
}

// HOST-MOUNT-01
TEST_F(MountReading, WhatCannotStandOnThisDiskIsNotShown) {
    List({File(L"bad", L"root", L".."), File(L"g", L"root", L"good")});
    EXPECT_EQ(At(""), state->tree.Root());
    EXPECT_EQ(state->tree.Root()->children.size(), 1u);
    EXPECT_TRUE(At("good"));
}

// HOST-MOUNT-05
TEST_F(MountReading, TwoReadersShareOneFetch) {
    const std::unique_ptr<Handle> one = Opened("folder/file", O_RDONLY), two = Opened("folder/file", O_RDONLY);
    EXPECT_TRUE(state->wanted.empty());
    std::future<std::string> first = std::async(std::launch::async, [&] { return Read(*one); });
    const NodePtr node = WaitForWish();
    std::future<std::string> second = std::async(std::launch::async, [&] { return Read(*two); });
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
    EXPECT_TRUE(state->wanted.empty());
    Bring(node, "text");
    EXPECT_EQ(first.get(), "text");
    EXPECT_EQ(second.get(), "text");
}

// HOST-MOUNT-06
TEST_F(MountReading, AFailedFetchIsAnInputOutputErrorAndTheNextReaderTriesAnew) {
    const std::unique_ptr<Handle> one = Opened("folder/file", O_RDONLY);
    std::future<std::string> reader = std::async(std::launch::async, [&] { return Read(*one); });
    const NodePtr node = WaitForWish();
    std::exchange(node->fetch, nullptr)->Ended(false, "no");
    EXPECT_EQ(reader.get(), "error " + std::to_string(EIO));
    const std::unique_ptr<Handle> two = Opened("folder/file", O_RDONLY);
    std::future<std::string> again = std::async(std::launch::async, [&] { return Read(*two); });
    Bring(WaitForWish(), "text");
    EXPECT_EQ(again.get(), "text");
}

// HOST-MOUNT-07
TEST_F(MountReading, AnInterruptedReaderEndsAndTheFetchGoesOn) {
    interrupted = true;
    const std::unique_ptr<Handle> one = Opened("folder/file", O_RDONLY);
    EXPECT_EQ(Read(*one), "error " + std::to_string(EINTR));
    EXPECT_FALSE(At("folder/file")->here);
    Bring(WaitForWish(), "text");
    EXPECT_EQ(Read(*one), "text");
}

// HOST-MOUNT-07
TEST_F(MountReading, AfterTheEndNobodyWaits) {
    state->ended = true;
    const std::unique_ptr<Handle> one = Opened("folder/file", O_RDONLY);
    EXPECT_EQ(Read(*one), "error " + std::to_string(EIO));
}

// HOST-MOUNT-08
TEST_F(MountReading, AReaderKeepsItsFileWhenItIsRenamedOrRemovedOnTheWay) {
    const std::unique_ptr<Handle> one = Opened("folder/file", O_RDONLY);
    std::future<std::string> reader = std::async(std::launch::async, [&] { return Read(*one); });
    const NodePtr node = WaitForWish();
    ASSERT_EQ(Rename("folder", "file", "", "elsewhere"), 0);
    Bring(node, "text");
    EXPECT_EQ(reader.get(), "text");
    EXPECT_EQ(folder.Read("root/elsewhere"), "text");
    ASSERT_EQ(files->RemoveFile(Number(""), "elsewhere"), 0);
    EXPECT_EQ(Read(*one, 1), "ext");
    struct stat facts {};
    ASSERT_EQ(files->Attributes(node->number, facts), 0);
    EXPECT_EQ(facts.st_size, 4);
    EXPECT_EQ(facts.st_nlink, 0u);
}

// HOST-MOUNT-08
TEST_F(MountReading, AReaderKeepsItsVersionWhenTheCloudHasANewOne) {
    Arrive("folder/file", "text");
    const std::unique_ptr<Handle> one = Opened("folder/file", O_RDONLY);
    const std::uint64_t before = At("folder/file")->number;
    List({Folder(L"d", L"root", L"folder"), File(L"f", L"d", L"file", 6, L"2")});
    EXPECT_EQ(Read(*one), "text");
    EXPECT_NE(At("folder/file")->number, before);
    EXPECT_FALSE(At("folder/file")->here);
    EXPECT_FALSE(folder.Exists("root/folder/file"));
}

// HOST-MOUNT-01
TEST_F(MountReading, AnEmptyFileNeedsNoFetch) {
    const std::unique_ptr<Handle> one = Opened("empty", O_RDONLY);
    EXPECT_EQ(Read(*one), "");
    EXPECT_TRUE(state->wanted.empty());
}

// HOST-MOUNT-09
TEST(HydrationGuard, LetsNobodyBringContentInTheBackground) {
    std::map<pid_t, ProcessFacts> processes{{10, {"cat", 5, false}},        {11, {"cat", 5, true}},
                                            {12, {"tumblerd", 5, false}},   {13, {"helper", 12, false}},
                                            {14, {"my-indexer", 5, false}}, {5, {"bash", 1, false}}};
    const HydrationGuard guard(std::string(kUsualIndexers) + " my-indexer, other",
                               [&](pid_t process) { return processes[process]; });
    EXPECT_TRUE(guard.MayFetch(10));
    EXPECT_FALSE(guard.MayFetch(11));
    EXPECT_FALSE(guard.MayFetch(12));
    EXPECT_FALSE(guard.MayFetch(13));
    EXPECT_FALSE(guard.MayFetch(14));
    EXPECT_TRUE(guard.MayFetch(0));
    EXPECT_TRUE(guard.MayFetch(99));
}

// HOST-MOUNT-09
TEST(HydrationGuard, KnowsThisProcess) {
    const ProcessFacts facts = FactsOfProcess(getpid());
    EXPECT_EQ(facts.parent, getppid());
    EXPECT_FALSE(facts.name.empty());
    EXPECT_FALSE(facts.idle);
    EXPECT_TRUE(FactsOfProcess(0x7FFFFFFF).name.empty());
}

// HOST-MOUNT-09
TEST_F(MountReading, WhoMayNotBringContentReadsWhatIsHere) {
    const HydrationGuard refusing("indexer", [](pid_t) { return ProcessFacts{"indexer", 0, false}; });
    FileOperations guarded(*state, refusing);
    const Caller indexer{7, [] { return false; }};
    std::unique_ptr<Handle> handle;
    EXPECT_EQ(guarded.Open(Number("folder/file"), O_RDONLY, indexer, handle), EACCES);
    Arrive("folder/file", "text");
    EXPECT_EQ(guarded.Open(Number("folder/file"), O_RDONLY, indexer, handle), 0);
    EXPECT_EQ(Read(*handle), "text");
}

}  // namespace
}  // namespace Drive::Host
