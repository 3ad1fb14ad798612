// What a power cut would leave: a name stands when its folder was synced after it was made, bytes when their file was.
#include <dirent.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <map>
#include <mutex>
#include <set>

#include "reference_cloud/cloud.h"
#include "reference_cloud/file_object_store.h"
#include "tests/unit/reference_cloud/temporary_folder.h"

namespace {

namespace fs = std::filesystem;

/// What has been synced so far, by inode.
struct Disk {
    std::mutex mutex;
    // Guarded by mutex.
    std::map<ino_t, std::set<std::string>> names;
    std::map<ino_t, off_t> bytes;

    void Note(int file) {
        struct stat status {};
        if (::fstat(file, &status) != 0) return;
        const std::lock_guard lock(mutex);
        if (!S_ISDIR(status.st_mode)) {
            bytes[status.st_ino] = status.st_size;
            return;
        }
        auto& entries = names[status.st_ino];
        entries.clear();
        for (const auto& entry : fs::directory_iterator("/proc/self/fd/" + std::to_string(file))) {
            entries.insert(entry.path().filename());
        }
    }

    void Forget() {
        const std::lock_guard lock(mutex);
        names.clear();
        bytes.clear();
    }

    static struct stat Look(const fs::path& path) {
        struct stat status {};
        EXPECT_EQ(::stat(path.c_str(), &status), 0) << path;
        return status;
    }

    bool HasName(const fs::path& path) {
        const auto folder = Look(path.parent_path());
        const std::lock_guard lock(mutex);
        return names[folder.st_ino].count(path.filename()) == 1;
    }

    bool HasBytes(const fs::path& path) {
        const auto status = Look(path);
        const std::lock_guard lock(mutex);
        return bytes.count(status.st_ino) == 1 && bytes[status.st_ino] == status.st_size;
    }
};

Disk g_disk;

}  // namespace

/// Stands in for the one of the C library in this program.
extern "C" __attribute__((visibility("default"))) int fsync(int file) {
    g_disk.Note(file);
    return static_cast<int>(::syscall(SYS_fsync, file));
}

namespace Drive::ReferenceCloud {

namespace {

class DurabilityTest : public testing::Test {
protected:
    DurabilityTest() { g_disk.Forget(); }
    std::string Put(ObjectStore& store, const std::string& bytes) {
        const auto writer = store.Create();
        writer->Append(bytes);
        return writer->Commit();
    }
    fs::path PathOf(const std::string& key) const { return root_ / key.substr(0, 2) / key; }

    TemporaryFolder folder_;
    const fs::path root_ = folder_.Path() / "objects";
};

// REF-STORE-01
TEST_F(DurabilityTest, AnObjectThatWasTakenSurvivesAPowerCutWithItsNameAndAllItsBytes) {
    const auto store = OpenFileObjectStore(root_);
    for (const std::size_t size : {1000U, 524288U, 524289U, (4U << 20) + 16}) {
        const fs::path path = PathOf(Put(*store, std::string(size, 'x')));
        EXPECT_TRUE(g_disk.HasBytes(path));
        EXPECT_TRUE(g_disk.HasName(path));
        EXPECT_TRUE(g_disk.HasName(path.parent_path()));
    }
}

// REF-STORE-01
TEST_F(DurabilityTest, FoldersThatAKilledServerHadMadeAreSyncedByTheNextOne) {
    OpenFileObjectStore(root_);
    g_disk.Forget();  // killed before it had synced anything
    const auto store = OpenFileObjectStore(root_);
    const fs::path path = PathOf(Put(*store, "x"));
    EXPECT_TRUE(g_disk.HasName(path));
    EXPECT_TRUE(g_disk.HasName(path.parent_path()));
}

// REF-STORE-02
TEST_F(DurabilityTest, TheServersKeysAreDurableBeforeAnythingIsSealedWithThem) {
    const fs::path data = folder_.Path() / "data";
    const auto cloud = OpenCloud(data);
    EXPECT_TRUE(g_disk.HasName(data));
    EXPECT_TRUE(g_disk.HasName(data / "secrets.json"));
    EXPECT_TRUE(g_disk.HasBytes(data / "secrets.json"));
}

}  // namespace

}  // namespace Drive::ReferenceCloud
