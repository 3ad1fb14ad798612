#include <gtest/gtest.h>

#include <filesystem>

#include "interfaces/platform/file_calls.h"
#include "tests/contract/platform/temporary_folder.h"

namespace Drive::Platform {

namespace {

constexpr DWORD kDelete = 0x00010000;

class ShareModes : public ::testing::Test {
protected:
    ShareModes() { folder.Put("file", "content"); }

    HANDLE Open(DWORD access, DWORD share) {
        return CreateFileW(folder.Engine("file").c_str(), access, share, nullptr, kOpenExisting, 0, nullptr);
    }

    bool MayOpen(DWORD access, DWORD share) {
        const HANDLE handle = Open(access, share);
        CloseHandle(handle);
        return IsOpenHandle(handle);
    }

    bool CanBeRemoved() {
        std::error_code refused;
        return std::filesystem::remove(folder.Native("file"), refused);
    }

    Testing::TemporaryFolder folder;
};

constexpr DWORD kShareAll = kFileShareRead | kFileShareWrite | kFileShareDelete;

}  // namespace

// PLAT-HOME-01
TEST_F(ShareModes, AFileThatIsSharedWithNobodyKeepsAllOthersOut) {
    const HANDLE alone = Open(kGenericRead, 0);
    ASSERT_TRUE(IsOpenHandle(alone));
    EXPECT_FALSE(MayOpen(kGenericRead, kShareAll));
    EXPECT_FALSE(MayOpen(kGenericWrite, kShareAll));
    EXPECT_FALSE(CanBeRemoved());
    EXPECT_TRUE(CloseHandle(alone));
    EXPECT_TRUE(MayOpen(kGenericRead, kShareAll));
}

// PLAT-HOME-02
TEST_F(ShareModes, AFileSharedForReadingLetsReadersInAndNoWriter) {
    const HANDLE first = Open(kGenericRead, kFileShareRead);
    EXPECT_TRUE(MayOpen(kGenericRead, kFileShareRead));
    EXPECT_FALSE(MayOpen(kGenericWrite, kShareAll));
    EXPECT_FALSE(CanBeRemoved());
    CloseHandle(first);
    EXPECT_TRUE(MayOpen(kGenericWrite, 0));
}

// PLAT-HOME-03
TEST_F(ShareModes, WhoDoesNotShareWhatIsInUseIsRefused) {
    const HANDLE writer = Open(kGenericWrite, kShareAll);
    EXPECT_FALSE(MayOpen(kGenericRead, kFileShareRead));
    EXPECT_TRUE(MayOpen(kGenericRead, kFileShareRead | kFileShareWrite));
    CloseHandle(writer);
}

// PLAT-HOME-04
TEST_F(ShareModes, AttributesAreReadWhoeverHoldsTheFile) {
    const HANDLE alone = Open(kGenericRead | kGenericWrite, 0);
    const HANDLE attributes = Open(kFileReadAttributes, kShareAll);
    EXPECT_EQ(SizeOf(attributes), 7);
    CloseHandle(attributes);
    CloseHandle(alone);
}

// PLAT-HOME-05
TEST_F(ShareModes, AFileSharedForDeletionStaysReadableUntilItsLastHandleIsClosed) {
    const HANDLE reader = Open(kGenericRead, kShareAll);
    const HANDLE remover = CreateFileW(folder.Engine("file").c_str(), kDelete, kShareAll, nullptr, kOpenExisting,
                                       0x04000000 /* delete on close */, nullptr);
    ASSERT_TRUE(IsOpenHandle(remover));
    EXPECT_TRUE(CloseHandle(remover));
    char content[7] = {};
    EXPECT_EQ(ReadAt(reader, 0, content, 7), 7);
    EXPECT_EQ(std::string(content, 7), "content");
    CloseHandle(reader);
    EXPECT_FALSE(folder.Has("file"));
}

// PLAT-HOME-06
TEST_F(ShareModes, AHandleThatMayOnlyReadCannotSwearThatAnythingIsOnDisk) {
    const HANDLE reader = Open(kGenericRead, kShareAll);
    EXPECT_FALSE(SyncToDisk(reader));
    CloseHandle(reader);
}

}  // namespace Drive::Platform
