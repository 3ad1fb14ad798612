#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <fstream>
#include <thread>

#include "interfaces/common/file_helper.h"
#include "tests/contract/common/test_folders.h"

namespace Drive::Common {

namespace {

/// The sync root is a disk of one mebibyte.
class FullDisk : public Trial::WithFolders {
protected:
    void SetUp() override {
        WithFolders::SetUp();
        ASSERT_EQ(mount("tmpfs", (base / "root").c_str(), "tmpfs", 0, "size=1m"), 0) << errno;
    }
    void TearDown() override {
        umount2((base / "root").c_str(), MNT_DETACH);
        WithFolders::TearDown();
    }
    bool Write(std::int64_t position, const std::string& data) const {
        return FileHepler::WriteLocalFileV(position, data.data(), data.size(), InRoot(L"f"));
    }
};

// COM-DURABLE-15
TEST_F(FullDisk, IsToldAfterABoundedWait) {
    EXPECT_TRUE(Write(0, std::string(512 << 10, 'a')));
    EXPECT_FALSE(Write(512 << 10, std::string(1 << 20, 'b')));
    EXPECT_EQ(Trial::Get(base / "root/f").substr(0, 512 << 10), std::string(512 << 10, 'a'));
}

// COM-DURABLE-16
TEST_F(FullDisk, IsWaitedForUntilThereIsRoomAgain) {
    Trial::Put(base / "root/filler", std::string(800 << 10, 'x'));
    std::thread cleaner([this] {
        std::this_thread::sleep_for(std::chrono::milliseconds(700));
        fs::remove(base / "root/filler");
    });
    const std::string data = Trial::Noise(700 << 10);
    EXPECT_TRUE(Write(0, data));
    cleaner.join();
    EXPECT_EQ(Trial::Get(base / "root/f"), data);
}

// COM-DURABLE-17
TEST_F(FullDisk, ThatWasUnmountedDoesNotLookLikeADeletedFile) {
    EXPECT_TRUE(Write(0, "x"));
    EXPECT_TRUE(FileHepler::IsFileExists(InRoot(L"f")));
    EXPECT_FALSE(FileHepler::IsFileExists(InRoot(L"gone")));
    ASSERT_EQ(umount2((base / "root").c_str(), MNT_DETACH), 0);
    EXPECT_TRUE(FileHepler::IsFileExists(InRoot(L"f")));
}

/// A name space of its own for mounts, as the system's administrator or as one of a user name space.
bool EnterOwnNameSpace() {
    const uid_t user = getuid();
    if (unshare(CLONE_NEWNS) != 0) {
        if (unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0) {
            return false;
        }
        std::ofstream("/proc/self/uid_map") << "0 " << user << " 1";
    }
    return mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0;
}

}  // namespace

}  // namespace Drive::Common

int main(int count, char** arguments) {
    ::testing::InitGoogleTest(&count, arguments);
    if (!::testing::GTEST_FLAG(list_tests) && !Drive::Common::EnterOwnNameSpace()) {
        std::fprintf(stderr, "this test needs a name space for mounts: run it as root or allow user name spaces\n");
        return 1;
    }
    return RUN_ALL_TESTS();
}
