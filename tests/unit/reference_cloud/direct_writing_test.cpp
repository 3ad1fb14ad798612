// Objects are written past the page cache where the file system lets us. What comes back never depends on it.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <filesystem>

#include "reference_cloud/file_object_store.h"
#include "tests/unit/reference_cloud/temporary_folder.h"

namespace {

/// What the file system does; the calls below are those of this program's store alone.
struct FileSystem {
    bool knowsDirectWriting = true;
    bool takesOurBlocks = true;  ///< false: direct writes are refused, as for larger blocks
    std::size_t mostOfADirectWrite = SIZE_MAX;
    std::int64_t room = INT64_MAX;
    int directWrites = 0;
    int bufferedWrites = 0;
};
FileSystem g_fileSystem;

bool IsDirect(int file) { return (::syscall(SYS_fcntl, file, F_GETFL) & O_DIRECT) != 0; }

}  // namespace

/// Stand in for those of the C library in this program.
extern "C" __attribute__((visibility("default"))) int fcntl(int file, int command, ...) {
    va_list rest;
    va_start(rest, command);
    const long argument = va_arg(rest, long);
    va_end(rest);
    if (command == F_SETFL && (argument & O_DIRECT) != 0 && !g_fileSystem.knowsDirectWriting) {
        errno = EINVAL;
        return -1;
    }
    return static_cast<int>(::syscall(SYS_fcntl, file, command, argument));
}

extern "C" __attribute__((visibility("default"))) ssize_t write(int file, const void* bytes, std::size_t count) {
    const bool direct = IsDirect(file);
    if (direct) {
        const bool aligned = count % 4096 == 0 && reinterpret_cast<std::uintptr_t>(bytes) % 4096 == 0 &&
                             ::syscall(SYS_lseek, file, 0, SEEK_CUR) % 4096 == 0;
        if (!g_fileSystem.takesOurBlocks || !aligned) {
            errno = EINVAL;
            return -1;
        }
        count = std::min(count, g_fileSystem.mostOfADirectWrite);
    }
    if (static_cast<std::int64_t>(count) > g_fileSystem.room) {
        errno = ENOSPC;
        return -1;
    }
    ++(direct ? g_fileSystem.directWrites : g_fileSystem.bufferedWrites);
    g_fileSystem.room -= static_cast<std::int64_t>(count);
    // A short direct write on a real disk ends where it likes; the flag would refuse such a length.
    if (direct && count % 4096 != 0) {
        ::syscall(SYS_fcntl, file, F_SETFL, 0);
        const long written = ::syscall(SYS_write, file, bytes, count);
        ::syscall(SYS_fcntl, file, F_SETFL, O_DIRECT);
        return written;
    }
    return ::syscall(SYS_write, file, bytes, count);
}

namespace Drive::ReferenceCloud {

namespace {

namespace fs = std::filesystem;

class DirectWriting : public testing::Test {
protected:
    DirectWriting() { g_fileSystem = {}; }
    ~DirectWriting() override { g_fileSystem = {}; }

    static std::string Bytes(std::size_t size) {
        std::string bytes(size, '\0');
        for (std::size_t at = 0; at < size; ++at) bytes[at] = static_cast<char>((at * 2654435761U) >> 16);
        return bytes;
    }

    void ExpectGivesBack(const std::string& bytes, std::size_t piece, bool sync = true) {
        const auto writer = store_->Create(sync);
        for (std::size_t at = 0; at < bytes.size(); at += piece)
            writer->Append(std::string_view(bytes).substr(at, piece));
        const auto reader = store_->Open(writer->Commit());
        ASSERT_TRUE(reader);
        ASSERT_EQ(reader->Size(), static_cast<std::int64_t>(bytes.size()));
        std::string read(bytes.size(), '\0');
        for (std::size_t at = 0; at < read.size();) {
            const std::size_t count = reader->Read(static_cast<std::int64_t>(at), &read[at], read.size() - at);
            ASSERT_GT(count, 0U);
            at += count;
        }
        EXPECT_TRUE(read == bytes) << bytes.size() << " bytes in pieces of " << piece;
    }

    std::size_t FilesOnDisk() const {
        return static_cast<std::size_t>(std::count_if(fs::recursive_directory_iterator(folder_.Path()),
                                                      fs::recursive_directory_iterator(),
                                                      [](const auto& entry) { return entry.is_regular_file(); }));
    }

    TemporaryFolder folder_;
    std::unique_ptr<ObjectStore> store_ = OpenFileObjectStore(folder_.Path());
    const std::string object_ = Bytes((4 << 20) + 16);
};

// REF-STORE-21
TEST_F(DirectWriting, TakesWholeBlocksPastThePageCacheAndTheRestThroughIt) {
    ExpectGivesBack(object_, 100001);
    EXPECT_EQ(g_fileSystem.directWrites, 8);
    EXPECT_EQ(g_fileSystem.bufferedWrites, 1);
}

// REF-STORE-21
TEST_F(DirectWriting, GivesBackObjectsThatEndBesideABlock) {
    for (const std::size_t size : {524287U, 524288U, 524289U, 1048576U, 1048577U, 4096U, 4097U, 1U}) {
        for (const std::size_t piece : {size, std::size_t{65536}, std::size_t{524288}, std::size_t{524289}})
            ExpectGivesBack(Bytes(size), piece);
    }
}

// REF-STORE-21
TEST_F(DirectWriting, LeavesAnImportToThePageCache) {
    ExpectGivesBack(object_, 65536, false);
    EXPECT_EQ(g_fileSystem.directWrites, 0);
}

// REF-STORE-22
TEST_F(DirectWriting, IsNotNeededOnAFileSystemThatDoesNotKnowIt) {
    g_fileSystem.knowsDirectWriting = false;
    ExpectGivesBack(object_, 100001);
    EXPECT_EQ(g_fileSystem.directWrites, 0);
}

// REF-STORE-22
TEST_F(DirectWriting, GoesOnThroughThePageCacheWhenBlocksAreRefused) {
    g_fileSystem.takesOurBlocks = false;
    ExpectGivesBack(object_, 100001);
    EXPECT_EQ(g_fileSystem.directWrites, 0);
}

// REF-STORE-22
TEST_F(DirectWriting, GoesOnThroughThePageCacheWhereABlockWasWrittenInPart) {
    for (const std::size_t most : {1000U, 4096U, 5000U, 65536U}) {
        g_fileSystem.mostOfADirectWrite = most;
        ExpectGivesBack(object_, 100001);
    }
}

// REF-STORE-23
TEST_F(DirectWriting, AFullDiskIsToldAndLeavesNothing) {
    for (const std::int64_t room : {0, 524288, 4 << 20}) {
        g_fileSystem.room = room;
        EXPECT_THROW(ExpectGivesBack(object_, 100001), std::system_error) << room;
        g_fileSystem.room = INT64_MAX;
        EXPECT_EQ(FilesOnDisk(), 0U);
    }
}

}  // namespace

}  // namespace Drive::ReferenceCloud
