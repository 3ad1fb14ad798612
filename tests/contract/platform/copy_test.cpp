#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <thread>

#include "interfaces/platform/file_calls.h"
#include "tests/contract/platform/copy_files.h"

namespace Drive::Platform {

// PLAT-COPY-01
TEST_F(CopyFiles, CopyTheContentToANewName) {
    std::string content(3'000'001, '\0');
    for (std::size_t index = 0; index < content.size(); ++index) content[index] = static_cast<char>(index * 7 >> 3);
    folder.Put("from", content);
    EXPECT_TRUE(Copy("from", "to"));
    EXPECT_TRUE(folder.Get("to") == content);
    EXPECT_TRUE(folder.Get("from") == content);
    EXPECT_EQ(folder.CountEntries(), 2u);
}

// PLAT-COPY-02
TEST_F(CopyFiles, AnEmptyFileIsCopiedAsWell) {
    folder.Put("from", "");
    EXPECT_TRUE(Copy("from", "to"));
    EXPECT_TRUE(folder.Has("to"));
    EXPECT_EQ(folder.Get("to"), "");
}

// PLAT-COPY-03
TEST_F(CopyFiles, ReplaceAnExistingTarget) {
    folder.Put("from", "new");
    folder.Put("to", "a longer old content");
    EXPECT_TRUE(Copy("from", "to"));
    EXPECT_EQ(folder.Get("to"), "new");
    EXPECT_EQ(folder.CountEntries(), 2u);
}

// PLAT-COPY-04
TEST_F(CopyFiles, RefuseAnExistingTargetWhenAsked) {
    folder.Put("from", "new");
    folder.Put("to", "old");
    EXPECT_FALSE(Copy("from", "to", true));
    EXPECT_EQ(folder.Get("to"), "old");
    EXPECT_EQ(folder.CountEntries(), 2u);
    EXPECT_TRUE(Copy("from", "other", true));
    EXPECT_EQ(folder.Get("other"), "new");
}

// PLAT-COPY-05
TEST_F(CopyFiles, AMissingSourceLeavesTheTargetAsItWas) {
    folder.Put("to", "old");
    EXPECT_FALSE(Copy("absent", "to"));
    EXPECT_FALSE(Copy("absent", "new"));
    EXPECT_EQ(folder.Get("to"), "old");
    EXPECT_EQ(folder.CountEntries(), 1u);
}

// PLAT-COPY-06
TEST_F(CopyFiles, AFolderIsNoSource) {
    std::filesystem::create_directory(folder.Native("sub"));
    EXPECT_FALSE(Copy("sub", "to"));
    EXPECT_EQ(folder.CountEntries(), 1u);
}

// PLAT-COPY-08
TEST_F(CopyFiles, OfManyWhoRefuseAnExistingTargetExactlyOneGetsTheName) {
    folder.Put("from", std::string(200'000, 'n'));
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(3);
    std::size_t round = 0;
    for (; round < 20 && std::chrono::steady_clock::now() < end; ++round) {
        const std::string target = "to" + std::to_string(round);
        std::atomic<int> successes{0};
        std::vector<std::thread> copiers;
        for (int index = 0; index < 4; ++index) {
            copiers.emplace_back([&] { successes += Copy("from", target, true) ? 1 : 0; });
        }
        for (std::thread& copier : copiers) copier.join();
        ASSERT_EQ(successes, 1) << round;
    }
    EXPECT_EQ(folder.CountEntries(), round + 1);
}

// PLAT-COPY-09
TEST_F(CopyFiles, AFolderIsNoTarget) {
    folder.Put("from", "content");
    std::filesystem::create_directory(folder.Native("sub"));
    EXPECT_FALSE(Copy("from", "sub"));
    EXPECT_TRUE(std::filesystem::is_directory(folder.Native("sub")));
    EXPECT_EQ(folder.CountEntries(), 2u);
}

// PLAT-COPY-10
TEST_F(CopyFiles, AMissingTargetFolderIsAFailure) {
    folder.Put("from", "content");
    EXPECT_FALSE(Copy("from", "absent/to"));
    EXPECT_EQ(folder.CountEntries(), 1u);
}

// PLAT-COPY-12
TEST_F(CopyFiles, AFileIsNotCopiedOntoItself) {
    folder.Put("from", "content");
    EXPECT_FALSE(Copy("from", "from"));
    EXPECT_EQ(folder.Get("from"), "content");
}

// PLAT-COPY-13
TEST_F(CopyFiles, TheCopyIsAFileOfItsOwn) {
    folder.Put("from", "content");
    ASSERT_TRUE(Copy("from", "to"));
    folder.Put("from", "changed");
    EXPECT_EQ(folder.Get("to"), "content");
}

// PLAT-COPY-14
TEST_F(CopyFiles, ATargetReadByAnotherKeepsItsOldContentForThatReader) {
    folder.Put("from", "new");
    folder.Put("to", "old");
    const HANDLE reader = CreateFileW(folder.Engine("to").c_str(), kGenericRead, 7, nullptr, kOpenExisting, 0, nullptr);
    ASSERT_TRUE(Copy("from", "to"));
    char content[3] = {};
    EXPECT_EQ(ReadAt(reader, 0, content, 3), 3);
    EXPECT_EQ(std::string(content, 3), "old");
    CloseHandle(reader);
}

// PLAT-COPY-15
TEST_F(CopyFiles, ABadPathIsAFailure) {
    folder.Put("from", "content");
    const std::wstring from = folder.Engine("from");
    EXPECT_FALSE(CopyFileW(nullptr, from.c_str(), 0));
    EXPECT_FALSE(CopyFileW(from.c_str(), nullptr, 0));
    EXPECT_FALSE(CopyFileW(from.c_str(), L"", 0));
    EXPECT_FALSE(CopyFileW(from.c_str(), (from + L'\xD800').c_str(), 0));
    EXPECT_EQ(folder.CountEntries(), 1u);
}

// PLAT-COPY-16
TEST_F(CopyFiles, ANameOfTheLongestLengthIsNoObstacle) {
    folder.Put("from", "content");
    const std::string longest(255, 'n');
    EXPECT_TRUE(Copy("from", longest));
    // Read through the contract: elsewhere the path may be too long for others.
    const HANDLE copy =
        CreateFileW(folder.Engine(longest).c_str(), kGenericRead, 7, nullptr, kOpenExisting, 0, nullptr);
    char content[8] = {};
    EXPECT_EQ(ReadAt(copy, 0, content, 8), 7);
    EXPECT_STREQ(content, "content");
    EXPECT_TRUE(CloseHandle(copy));
}

}  // namespace Drive::Platform
