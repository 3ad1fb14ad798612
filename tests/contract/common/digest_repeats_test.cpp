#include <cerrno>

#include "interfaces/common/file_helper.h"
#include "tests/contract/common/faults.h"
#include "tests/contract/common/stepped_clock.h"
#include "tests/contract/common/test_bytes.h"
#include "tests/contract/common/test_folders.h"

namespace Drive::Common {

namespace {

using Trial::CurrentFaults;

std::wstring Widened(const std::string& text) { return {text.begin(), text.end()}; }

class DigestRepeats : public Trial::WithFolders {
protected:
    void SetUp() override {
        WithFolders::SetUp();
        content = Trial::Noise(2000000);
        Trial::Put(base / "root/f", content);
        std::fill_n(g_SyncUserKey, 16, static_cast<unsigned char>(1));
        Trial::TakeSlept();
    }
    void TearDown() override {
        CurrentFaults().beforeRead = nullptr;
        std::fill_n(g_SyncUserKey, 16, static_cast<unsigned char>(0));
        WithFolders::TearDown();
    }
    bool Hash() { return FileHepler::GetFileHash(InRoot(L"f"), sha256, md5); }
    void ExpectDigestsOf(const std::string& bytes) const {
        EXPECT_EQ(sha256, Widened(EncryptHelper::SHA256_Encode(Trial::Of(bytes))));
        EXPECT_EQ(md5, Widened(EncryptHelper::MD5_Encode(Trial::Of(bytes))));
    }

    Trial::FreshFaults fresh;
    std::string content;
    std::wstring sha256;
    std::wstring md5;
};

// COM-DIGEST-01
TEST_F(DigestRepeats, InterruptionsAndShortReadsAreGoneOverInside) {
    CurrentFaults().pread = {EINTR, -1, -1000, EINTR, -3};
    ASSERT_TRUE(Hash());
    ExpectDigestsOf(content);
    EXPECT_EQ(Trial::TakeSlept(), 0);
}

// COM-DIGEST-02
TEST_F(DigestRepeats, PassingFaultIsReadAgain) {
    for (const int error : {EIO, ESTALE, ENOMEM, EAGAIN}) {
        CurrentFaults().pread = {0, error};
        ASSERT_TRUE(Hash());
        ExpectDigestsOf(content);
        EXPECT_GT(Trial::TakeSlept(), 0);
    }
}

// COM-DIGEST-03
TEST_F(DigestRepeats, LastingFaultIsFalseWithBothTextsEmpty) {
    sha256 = md5 = L"old";
    CurrentFaults().pread = Trial::Script(1000, EIO);
    EXPECT_FALSE(Hash());
    EXPECT_EQ(sha256, L"");
    EXPECT_EQ(md5, L"");
    EXPECT_LE(CurrentFaults().Count("pread"), 10u);
    EXPECT_EQ(FileHepler::GetFileSha256(InRoot(L"f")), L"");
    EXPECT_EQ(FileHepler::GetFileHmac(InRoot(L"f")), "");
}

// COM-DIGEST-04
TEST_F(DigestRepeats, FaultInTheMiddleOfABigFileIsNeverAShortDigest) {
    CurrentFaults().pread = {0, 0, 0, EIO, 0, 0, 0, EIO, 0, 0, 0, EIO, 0, 0, 0, EIO};
    EXPECT_FALSE(Hash());
}

// COM-DIGEST-05
TEST_F(DigestRepeats, AbsentFileIsNotAskedForAgain) {
    EXPECT_FALSE(FileHepler::GetFileHash(InRoot(L"absent"), sha256, md5));
    EXPECT_EQ(Trial::TakeSlept(), 0);
}

// COM-DIGEST-06
TEST_F(DigestRepeats, FileThatChangedOnceIsReadAgain) {
    int reads = 0;
    CurrentFaults().beforeRead = [&] {
        if (++reads == 2) {
            content = Trial::Noise(1500000, 99);
            Trial::Put(base / "root/f", content);
        }
    };
    ASSERT_TRUE(Hash());
    ExpectDigestsOf(content);
}

/// The caller leaves its comparison out when there is no digest: a torn file must then differ, not go unseen.
// COM-DIGEST-07
TEST_F(DigestRepeats, FileThatNeverHoldsStillGetsADigestButNoIdentity) {
    int reads = 0;
    CurrentFaults().beforeRead = [&] {
        if (++reads % 3 == 0) {
            std::ofstream(base / "root/f", std::ios::app) << 'x';
        }
    };
    const std::wstring before = Widened(EncryptHelper::SHA256_Encode(Trial::Of(content)));
    ASSERT_TRUE(Hash());
    EXPECT_EQ(sha256.size(), 64u);
    EXPECT_EQ(md5.size(), 32u);
    EXPECT_NE(sha256, before);
    EXPECT_EQ(FileHepler::GetFileSha256(InRoot(L"f")), L"");
    EXPECT_EQ(FileHepler::GetFileHmac(InRoot(L"f")), "");
}

// COM-DIGEST-08
TEST_F(DigestRepeats, FileThatGrowsAsFastAsItIsReadEndsAllTheSame) {
    const std::string block = Trial::Noise(512 << 10);
    CurrentFaults().beforeRead = [&] { std::ofstream(base / "root/f", std::ios::app) << block; };
    ASSERT_TRUE(Hash());
    EXPECT_LE(CurrentFaults().Count("pread"), 60u);
    EXPECT_NE(sha256, Widened(EncryptHelper::SHA256_Encode(Trial::Of(content))));
}

// COM-DIGEST-09
TEST_F(DigestRepeats, MemoryDoesNotGrowWithTheFile) {
    // A sparse file of many blocks: every read goes into one of three buffers, so the journal's calls are all of one
    // size and their number is that of the blocks.
    fs::resize_file(base / "root/f", 64 << 20);
    CurrentFaults().journal.clear();
    ASSERT_TRUE(Hash());
    EXPECT_EQ(CurrentFaults().Count("pread"), 128u + 1);
}

}  // namespace

}  // namespace Drive::Common
