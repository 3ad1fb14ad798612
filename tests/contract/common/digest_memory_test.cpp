#include "collaborators/common/digest_memory.h"

#include <fcntl.h>
#include <linux/magic.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <cerrno>

#include "interfaces/common/file_helper.h"
#include "tests/contract/common/faults.h"
#include "tests/contract/common/test_bytes.h"
#include "tests/contract/common/test_folders.h"

namespace Drive::Common {

namespace {

using Trial::CurrentFaults;

FileState State(std::uint64_t inode) { return {1, inode, 5 << 20, 1000, 2000}; }

Sha256Bytes Digest(unsigned char byte) {
    Sha256Bytes digest{};
    digest.fill(byte);
    return digest;
}

// COM-MEMORY-01
TEST(MemoryOfDigests, GivesBackWhatWasKeptForThatStateOnly) {
    DigestMemory memory;
    memory.Keep(State(7), Digest(1));
    EXPECT_EQ(memory.Find(State(7)), Digest(1));
    for (FileState other : {FileState{2, 7, 5 << 20, 1000, 2000}, FileState{1, 8, 5 << 20, 1000, 2000},
                            FileState{1, 7, 6 << 20, 1000, 2000}, FileState{1, 7, 5 << 20, 1001, 2000},
                            FileState{1, 7, 5 << 20, 1000, 2001}}) {
        EXPECT_FALSE(memory.Find(other));
    }
}

// COM-MEMORY-02
TEST(MemoryOfDigests, KeepsOneStateOfAFile) {
    DigestMemory memory;
    memory.Keep(State(7), Digest(1));
    FileState later = State(7);
    later.modified = 5000;
    memory.Keep(later, Digest(2));
    EXPECT_FALSE(memory.Find(State(7)));
    EXPECT_EQ(memory.Find(later), Digest(2));
    memory.Forget(State(7));
    EXPECT_FALSE(memory.Find(later));
}

// COM-MEMORY-03
TEST(MemoryOfDigests, IsBoundedAndDropsWhatWasUsedLeast) {
    DigestMemory memory;
    for (std::uint64_t inode = 0; inode < DigestMemory::kMostEntries; ++inode) {
        memory.Keep(State(inode), Digest(3));
    }
    EXPECT_TRUE(memory.Find(State(0)));
    memory.Keep(State(100000), Digest(4));
    EXPECT_TRUE(memory.Find(State(0)));
    EXPECT_FALSE(memory.Find(State(1)));
    EXPECT_TRUE(memory.Find(State(100000)));
}

/// The file system is told to be one that keeps times, and the wall clock to be ten seconds on, unless a test says so.
class RememberedDigest : public Trial::WithFolders {
protected:
    void SetUp() override {
        WithFolders::SetUp();
        CurrentFaults().fileSystem = EXT4_SUPER_MAGIC;
        CurrentFaults().wallClockAhead = 10;
        std::fill_n(g_SyncUserKey, 16, static_cast<unsigned char>(1));
        Trial::Put(path(), content);
    }
    void TearDown() override {
        std::fill_n(g_SyncUserKey, 16, static_cast<unsigned char>(0));
        WithFolders::TearDown();
    }
    fs::path path() const { return base / "root/f"; }
    std::wstring Sha256() const { return FileHepler::GetFileSha256(InRoot(L"f")); }
    static std::wstring Sha256Of(const std::string& bytes) {
        const std::string text = EncryptHelper::SHA256_Encode(Trial::Of(bytes));
        return {text.begin(), text.end()};
    }
    /// True when asking reads nothing.
    bool IsRemembered() const {
        CurrentFaults().journal.clear();
        EXPECT_EQ(Sha256(), Sha256Of(Trial::Get(path())));
        return CurrentFaults().Count("pread") == 0;
    }

    Trial::FreshFaults fresh;
    std::string content = Trial::Noise(2 << 20);
};

// COM-MEMORY-04
TEST_F(RememberedDigest, ServesTheFirstStepsOfAnUpload) {
    const std::string keyed = FileHepler::GetFileHmac(InRoot(L"f"));
    EXPECT_TRUE(IsRemembered());
    CurrentFaults().journal.clear();
    EXPECT_EQ(FileHepler::GetFileHmac(InRoot(L"f")), keyed);
    EXPECT_EQ(CurrentFaults().Count("pread"), 0u);
}

// COM-MEMORY-05
TEST_F(RememberedDigest, NeverServesTheCheckBeforeCompletion) {
    Sha256();
    CurrentFaults().journal.clear();
    std::wstring sha256;
    std::wstring md5;
    ASSERT_TRUE(FileHepler::GetFileHash(InRoot(L"f"), sha256, md5));
    EXPECT_GE(CurrentFaults().Count("pread"), 4u);
    EXPECT_TRUE(IsRemembered());
}

// COM-MEMORY-06
TEST_F(RememberedDigest, IsCorrectedByTheCheckBeforeCompletion) {
    const int file = open(path().c_str(), O_RDONLY | O_CLOEXEC);
    RememberedDigests().Keep(*StateOf(file), Digest(9));
    close(file);
    std::wstring sha256;
    std::wstring md5;
    ASSERT_TRUE(FileHepler::GetFileHash(InRoot(L"f"), sha256, md5));
    EXPECT_EQ(sha256, Sha256Of(content));
    EXPECT_EQ(Sha256(), Sha256Of(content));
}

// COM-MEMORY-07
TEST_F(RememberedDigest, IsNotMadeOfAFileChangedWithinTwoSeconds) {
    CurrentFaults().wallClockAhead = 0;
    Sha256();
    EXPECT_FALSE(IsRemembered());
}

// COM-MEMORY-08
TEST_F(RememberedDigest, IsNotMadeOfAFileFromTheFuture) {
    const timespec future[2] = {{4000000000, 0}, {4000000000, 0}};
    ASSERT_EQ(utimensat(AT_FDCWD, path().c_str(), future, 0), 0);
    Sha256();
    EXPECT_FALSE(IsRemembered());
}

// COM-MEMORY-09
TEST_F(RememberedDigest, IsGoneAfterAChangeThatRestoresSizeAndTime) {
    struct stat before {};
    ASSERT_EQ(stat(path().c_str(), &before), 0);
    Sha256();
    ASSERT_TRUE(IsRemembered());
    Trial::Put(path(), Trial::Noise(2 << 20, 5));
    const timespec times[2] = {before.st_atim, before.st_mtim};
    ASSERT_EQ(utimensat(AT_FDCWD, path().c_str(), times, 0), 0);
    EXPECT_FALSE(IsRemembered());
}

// COM-MEMORY-10
TEST_F(RememberedDigest, IsGoneAfterAChangeThroughAMappingThatWasOpenAllAlong) {
    const int file = open(path().c_str(), O_RDWR | O_CLOEXEC);
    auto* mapped = static_cast<char*>(mmap(nullptr, 2 << 20, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0));
    ASSERT_NE(mapped, MAP_FAILED);
    mapped[12345] ^= 1;
    Sha256();
    usleep(20000);
    mapped[12345] ^= 2;
    struct statfs volume {};
    ASSERT_EQ(statfs(path().c_str(), &volume), 0);
    // Only a file system that is on the list promises this; on another the digest would not have been kept at all.
    CurrentFaults().fileSystem = 0;
    if (volume.f_type != EXT4_SUPER_MAGIC) {
        RememberedDigests().Forget(*StateOf(file));
    }
    EXPECT_EQ(Sha256(), Sha256Of(Trial::Get(path())));
    munmap(mapped, 2 << 20);
    close(file);
}

// COM-MEMORY-11
TEST_F(RememberedDigest, IsNotMadeOfAFileThatChangedWhileItWasRead) {
    bool changed = false;
    CurrentFaults().beforeRead = [&] {
        if (!changed) {
            changed = true;
            Trial::Put(path(), Trial::Noise(2 << 20, 6));
        }
    };
    EXPECT_EQ(Sha256(), Sha256Of(Trial::Noise(2 << 20, 6)));
}

// COM-MEMORY-12
TEST_F(RememberedDigest, IsNotMadeWhereTimesAreNotKept) {
    for (const long other : {TMPFS_MAGIC, NFS_SUPER_MAGIC, 0x65735546}) {
        CurrentFaults().fileSystem = other;
        Sha256();
        EXPECT_FALSE(IsRemembered());
    }
}

// COM-MEMORY-13
TEST_F(RememberedDigest, IsNotMadeWhenTheFileCannotBeSynced) {
    CurrentFaults().fdatasync = {EIO, EIO, EIO};
    Sha256();
    EXPECT_FALSE(IsRemembered());
}

// COM-MEMORY-14
TEST_F(RememberedDigest, IsNotMadeOfSmallFiles) {
    Trial::Put(path(), Trial::Noise((1 << 20) - 1));
    Sha256();
    EXPECT_FALSE(IsRemembered());
}

// COM-MEMORY-15
TEST_F(RememberedDigest, DoesNotPassToAnotherFileOfTheSameName) {
    Sha256();
    fs::remove(path());
    Trial::Put(path(), Trial::Noise(2 << 20, 7));
    EXPECT_FALSE(IsRemembered());
}

}  // namespace

}  // namespace Drive::Common
