#include <gtest/gtest.h>
#include <limits.h>
#include <sys/resource.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "interfaces/platform/file_calls.h"
#include "interfaces/platform/native_path.h"
#include "tests/contract/platform/open_files.h"

namespace Drive::Platform {

namespace {

/// While it lives the process gets no further descriptor.
class NoDescriptors {
public:
    NoDescriptors() {
        ::getrlimit(RLIMIT_NOFILE, &before);
        const int next = ::dup(STDERR_FILENO);
        ::close(next);
        rlimit limited = before;
        limited.rlim_cur = static_cast<rlim_t>(next);
        ::setrlimit(RLIMIT_NOFILE, &limited);
    }
    ~NoDescriptors() { ::setrlimit(RLIMIT_NOFILE, &before); }
    NoDescriptors(const NoDescriptors&) = delete;
    NoDescriptors& operator=(const NoDescriptors&) = delete;

private:
    rlimit before{};
};

/// A native path below `folder` of exactly `length` bytes, all folders of which there are.
std::string PathOfLength(const Testing::TemporaryFolder& folder, std::size_t length) {
    std::string path = folder.Native("").string();
    while (length - path.size() > 255) {
        path += std::string(std::min<std::size_t>(200, length - path.size() - 2), 'd') + "/";
        std::filesystem::create_directory(path);
    }
    return path + std::string(length - path.size(), 'n');
}

}  // namespace

// PLAT-OPEN-22
TEST_F(OpenFiles, NothingIsEmptiedWithoutTheRightToWrite) {
    folder.Put("there", "content");
    EXPECT_EQ(Open("there", kGenericRead, 5), kInvalidHandle);
    EXPECT_EQ(Open("there", kFileReadAttributes, 5), kInvalidHandle);
    EXPECT_EQ(folder.Get("there"), "content");
    EXPECT_TRUE(CloseHandle(Open("there", kGenericRead | kGenericWrite, 5)));
    EXPECT_EQ(folder.Get("there"), "");
}

// PLAT-OPEN-23
TEST_F(OpenFiles, ANameOf255BytesIsOpenedAndALongerOneMakesNothing) {
    std::string euros;
    while (euros.size() < 255) euros += "\xE2\x82\xAC";
    for (const std::string& longest :
         {std::string(255, 'n'), euros, std::string(255, '\xFF'), std::string(255, '\\')}) {
        EXPECT_TRUE(CloseHandle(Open(longest, kGenericWrite, kOpenAlways)));
        EXPECT_TRUE(folder.Has(longest));
        for (const DWORD access : {kGenericWrite, kFileReadAttributes}) {
            EXPECT_EQ(Open(longest + "n", access, kOpenAlways), kInvalidHandle);
        }
    }
    EXPECT_EQ(folder.CountEntries(), 4u);
}

// PLAT-OPEN-24
TEST_F(OpenFiles, APathAsLongAsTheSystemTakesIsOpenedAndALongerOneMakesNothing) {
    const std::string longest = PathOfLength(folder, PATH_MAX - 1);
    const HANDLE handle = CreateFileW(EnginePath(longest).c_str(), kGenericWrite, 7, nullptr, kOpenAlways, 0, nullptr);
    EXPECT_TRUE(WriteAt(handle, 0, "content", 7));
    EXPECT_TRUE(SyncToDisk(handle));
    EXPECT_TRUE(CloseHandle(handle));
    EXPECT_EQ(std::filesystem::file_size(longest), 7u);

    folder.Put("from", "other");
    for (const std::string& tooLong : {longest + "n", longest + std::string(5000, 'n')}) {
        const std::wstring path = EnginePath(tooLong);
        DiskBytes free = 77;
        EXPECT_EQ(CreateFileW(path.c_str(), kGenericWrite, 7, nullptr, kOpenAlways, 0, nullptr), kInvalidHandle);
        EXPECT_EQ(CreateFileW(path.c_str(), kFileReadAttributes, 7, nullptr, kOpenAlways, 0, nullptr), kInvalidHandle);
        EXPECT_FALSE(CopyFileW(folder.Engine("from").c_str(), path.c_str(), 0));
        EXPECT_FALSE(CopyFileW(path.c_str(), folder.Engine("to").c_str(), 0));
        EXPECT_FALSE(GetDiskFreeSpaceExW(path.c_str(), nullptr, nullptr, &free));
        EXPECT_EQ(free, 77u);
    }
    const auto files = std::filesystem::directory_iterator(std::filesystem::path(longest).parent_path());
    EXPECT_EQ(std::distance(files, std::filesystem::directory_iterator()), 1);
    EXPECT_FALSE(folder.Has("to"));
}

// PLAT-OPEN-25
TEST_F(OpenFiles, WithoutDescriptorsNothingIsMadeAndWhatIsOpenGoesOn) {
    folder.Put("there", "content");
    folder.Put("from", "new");
    const HANDLE handle = Open("there", kGenericRead | kGenericWrite, kOpenExisting);
    const std::size_t before = OpenHandleCount();
    {
        const NoDescriptors none;
        for (const DWORD access : {kGenericRead, kGenericWrite, kFileReadAttributes}) {
            EXPECT_EQ(Open("new", access, kOpenAlways), kInvalidHandle);
            EXPECT_EQ(Open("there", access, 2), kInvalidHandle);
        }
        EXPECT_FALSE(CopyFileW(folder.Engine("from").c_str(), folder.Engine("there").c_str(), 0));
        EXPECT_FALSE(CopyFileW(folder.Engine("from").c_str(), folder.Engine("new").c_str(), 1));
        EXPECT_EQ(Read(handle), "content");
        EXPECT_TRUE(WriteAt(handle, 0, "C", 1));
        EXPECT_TRUE(SyncToDisk(handle));
        EXPECT_EQ(SizeOf(handle), 7);
        DiskBytes free = 0;
        EXPECT_TRUE(GetDiskFreeSpaceExW(folder.Engine("").c_str(), nullptr, nullptr, &free));
    }
    EXPECT_EQ(OpenHandleCount(), before);
    EXPECT_EQ(folder.CountEntries(), 2u);
    EXPECT_EQ(folder.Get("there"), "Content");
    EXPECT_TRUE(CloseHandle(Open("new", kGenericWrite, kOpenAlways)));
    EXPECT_TRUE(CloseHandle(handle));
}

}  // namespace Drive::Platform
