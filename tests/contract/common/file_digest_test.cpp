#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <thread>

#include "interfaces/common/file_helper.h"
#include "tests/contract/common/test_bytes.h"
#include "tests/contract/common/test_folders.h"

namespace Drive::Common {

namespace {

std::wstring Widened(const std::string& text) { return {text.begin(), text.end()}; }

class FileDigest : public Trial::WithFolders {
protected:
    void SetUp() override {
        WithFolders::SetUp();
        std::fill(std::begin(g_SyncUserKey), std::end(g_SyncUserKey), static_cast<unsigned char>(0));
        std::fill_n(g_SyncUserKey, 16, static_cast<unsigned char>(0x42));
    }
    void TearDown() override {
        std::fill(std::begin(g_SyncUserKey), std::end(g_SyncUserKey), static_cast<unsigned char>(0));
        WithFolders::TearDown();
    }
    std::wstring sha256;
    std::wstring md5;
};

// COM-DIGEST-12
TEST_F(FileDigest, OfEveryLengthAroundTheBlocksIsThatOfTheBytes) {
    constexpr std::size_t kBlock = std::size_t{512} << 10;
    for (const std::size_t length : {std::size_t{0}, std::size_t{1}, kBlock - 1, kBlock, kBlock + 1, 2 * kBlock,
                                     3 * kBlock, 3 * kBlock + 1, 7 * kBlock - 1}) {
        const std::string content = Trial::Noise(length);
        Trial::Put(base / "root/f", content);
        ASSERT_TRUE(FileHepler::GetFileHash(InRoot(L"f"), sha256, md5));
        EXPECT_EQ(sha256, Widened(EncryptHelper::SHA256_Encode(Trial::Of(content))));
        EXPECT_EQ(md5, Widened(EncryptHelper::MD5_Encode(Trial::Of(content))));
        EXPECT_EQ(FileHepler::GetFileSha256(InRoot(L"f")), sha256);
    }
}

// COM-DIGEST-13
TEST_F(FileDigest, OfWhatIsNoReadableFileIsEmpty) {
    fs::create_directory(base / "root/folder");
    ASSERT_EQ(mkfifo((base / "root/pipe").c_str(), 0600), 0);
    fs::create_symlink("/dev/zero", base / "root/endless");
    const std::wstring noName = InRoot(std::wstring(1, static_cast<wchar_t>(0x110000)));
    for (const std::wstring& path : {std::wstring(), InRoot(L"absent"), InRoot(L"folder"), InRoot(L"pipe"),
                                     InRoot(L"endless"), InRoot(L"absent\\f"), noName}) {
        sha256 = md5 = L"old";
        EXPECT_FALSE(FileHepler::GetFileHash(path, sha256, md5));
        EXPECT_EQ(sha256, L"");
        EXPECT_EQ(md5, L"");
        EXPECT_EQ(FileHepler::GetFileSha256(path), L"");
        EXPECT_EQ(FileHepler::GetFileHmac(path), "");
    }
}

// COM-DIGEST-14
TEST_F(FileDigest, FollowsEveryChangeAtOnce) {
    for (char character = 'a'; character <= 'z'; ++character) {
        const std::string content((std::size_t{1} << 20) + 1, character);
        Trial::Put(base / "root/f", content);
        EXPECT_EQ(FileHepler::GetFileSha256(InRoot(L"f")), Widened(EncryptHelper::SHA256_Encode(Trial::Of(content))));
    }
}

// COM-DIGEST-15
TEST_F(FileDigest, FollowsAChangeThatHidesItsTime) {
    const fs::path path = base / "root/f";
    const timespec past[2] = {{1000000000, 0}, {1000000000, 0}};
    for (char character = 'a'; character <= 'e'; ++character) {
        const std::string content(std::size_t{2} << 20, character);
        Trial::Put(path, content);
        ASSERT_EQ(utimensat(AT_FDCWD, path.c_str(), past, 0), 0);
        EXPECT_EQ(FileHepler::GetFileSha256(InRoot(L"f")), Widened(EncryptHelper::SHA256_Encode(Trial::Of(content))));
    }
}

// COM-DIGEST-16
TEST_F(FileDigest, KeyedOneIs64DigitsAndTheSameOnEveryAttempt) {
    Trial::Put(base / "root/f", "content");
    const std::string first = FileHepler::GetFileHmac(InRoot(L"f"));
    EXPECT_EQ(first.size(), 64u);
    EXPECT_EQ(first.find_first_not_of("0123456789abcdef"), std::string::npos);
    EXPECT_EQ(FileHepler::GetFileHmac(InRoot(L"f")), first);
}

// COM-DIGEST-17
TEST_F(FileDigest, KeyedOneDependsOnContentAndUserAlone) {
    Trial::Put(base / "root/f", "content");
    Trial::Put(base / "outside/other", "content");
    Trial::Put(base / "root/g", "contenu");
    const std::string first = FileHepler::GetFileHmac(InRoot(L"f"));
    EXPECT_EQ(FileHepler::GetFileHmac(Wide(base / "outside/other")), first);
    EXPECT_NE(FileHepler::GetFileHmac(InRoot(L"g")), first);
    g_SyncUserKey[16] = 0x77;
    EXPECT_EQ(FileHepler::GetFileHmac(InRoot(L"f")), first);
    g_SyncUserKey[15] = 0x43;
    EXPECT_NE(FileHepler::GetFileHmac(InRoot(L"f")), first);
}

// COM-DIGEST-18
TEST_F(FileDigest, KeyedOneOfAKnownFileIsForGood) {
    // What was uploaded with this key must stay readable and resumable in every later version.
    Trial::Put(base / "root/f", "content");
    EXPECT_EQ(FileHepler::GetFileHmac(InRoot(L"f")),
              "e62cea210354153db03ba6817d2f3863c25268faf3c14bbb44820e6e22dca1cd");
}

// COM-DIGEST-19
TEST_F(FileDigest, KeyedOneIsEmptyWithoutAUserKey) {
    Trial::Put(base / "root/f", "content");
    g_SyncUserKey[0] = 0;
    EXPECT_EQ(FileHepler::GetFileHmac(InRoot(L"f")), "");
}

// COM-DIGEST-20
TEST_F(FileDigest, MayBeAskedByManyThreadsAtOnce) {
    const std::string content = Trial::Noise(3000000);
    Trial::Put(base / "root/f", content);
    const std::wstring expected = Widened(EncryptHelper::SHA256_Encode(Trial::Of(content)));
    std::atomic<int> good{0};
    std::vector<std::thread> threads;
    for (int number = 0; number < 8; ++number) {
        threads.emplace_back([&] {
            std::wstring ownSha256;
            std::wstring ownMd5;
            good += FileHepler::GetFileHash(InRoot(L"f"), ownSha256, ownMd5) && ownSha256 == expected ? 1 : 0;
            good += FileHepler::GetFileSha256(InRoot(L"f")) == expected ? 1 : 0;
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(good, 16);
}

}  // namespace

}  // namespace Drive::Common
