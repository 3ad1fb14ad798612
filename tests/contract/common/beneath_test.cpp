#include "collaborators/common/beneath.h"

#include <fcntl.h>

#include <cerrno>

#include "interfaces/common/file_helper.h"
#include "tests/contract/common/faults.h"
#include "tests/contract/common/test_folders.h"

namespace Drive::Common {

namespace {

using Opener = UniqueFd (*)(int, const std::string&, int, mode_t);

/// The kernel's lookup and the walk that stands in for it.
class Beneath : public Trial::WithFolders, public ::testing::WithParamInterface<Opener> {
protected:
    void SetUp() override {
        WithFolders::SetUp();
        fs::create_directories(base / "root/a/b");
        Trial::Put(base / "root/a/b/f", "x");
        Trial::Put(base / "outside/victim", "x");
        root = UniqueFd(open((base / "root").c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    }
    bool Opens(const std::string& path, int flags = O_RDONLY) const {
        return static_cast<bool>(GetParam()(root.Get(), path, flags, 0600));
    }
    UniqueFd root;
};

INSTANTIATE_TEST_SUITE_P(BothWays, Beneath, ::testing::Values(&OpenBeneath, &OpenByWalk));

// COM-PATH-01
TEST_P(Beneath, OpensWhatStandsBelow) {
    EXPECT_TRUE(Opens("a/b/f"));
    EXPECT_TRUE(Opens("a//b/"));
    EXPECT_TRUE(Opens(""));
    EXPECT_TRUE(Opens("a/b", O_PATH | O_DIRECTORY));
    EXPECT_TRUE(Opens("a/new", O_WRONLY | O_CREAT | O_EXCL));
    EXPECT_TRUE(fs::exists(base / "root/a/new"));
}

// COM-PATH-02
TEST_P(Beneath, TellsWhyItDoesNotOpen) {
    EXPECT_FALSE(Opens("a/absent"));
    EXPECT_EQ(errno, ENOENT);
    EXPECT_FALSE(Opens("a/b/f/below"));
    EXPECT_EQ(errno, ENOTDIR);
}

// COM-PATH-03
TEST_P(Beneath, NeverLeadsOut) {
    fs::create_directory_symlink(base / "outside", base / "root/absolute");
    fs::create_directory_symlink("../../outside", base / "root/a/relative");
    fs::create_symlink(base / "outside/victim", base / "root/file");
    for (const char* path : {"..", "../outside/victim", "a/../../outside/victim", "a/b/../../../outside/victim",
                             "absolute/victim", "a/relative/victim", "file"}) {
        EXPECT_FALSE(Opens(path)) << path;
    }
    EXPECT_FALSE(Opens((base / "outside/victim").string()));
    EXPECT_FALSE(Opens((base / "root/a/b/f").string()));
}

// COM-PATH-04
TEST_P(Beneath, LeavesNoDescriptorBehind) {
    const auto count = [] { return std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator()); };
    const auto before = count();
    for (const char* path : {"a/b/f", "", "a/absent", "../x", "a/b/f/x"}) {
        (void)Opens(path);
    }
    EXPECT_EQ(count(), before);
}

/// Kernels and sandboxes without the beneath-only lookup answer one of these.
class WithoutKernelLookup : public Trial::WithFolders, public ::testing::WithParamInterface<int> {
protected:
    void SetUp() override {
        WithFolders::SetUp();
        Trial::CurrentFaults().openat2Error = GetParam();
    }
    Trial::FreshFaults fresh;
};

INSTANTIATE_TEST_SUITE_P(Errors, WithoutKernelLookup, ::testing::Values(ENOSYS, EPERM));

// COM-PATH-05
TEST_P(WithoutKernelLookup, FilesAreWrittenAndRemovedAllTheSame) {
    EXPECT_TRUE(FileHepler::WriteLocalFileV(0, "x", 1, InRoot(L"a\\b\\f")));
    EXPECT_EQ(Trial::Get(base / "root/a/b/f"), "x");
    EXPECT_TRUE(FileHepler::CreateLocalDirectory(InRoot(L"c\\d")));
    FileHepler::RemoveFile(InRoot(L"a\\b\\f"));
    EXPECT_FALSE(fs::exists(base / "root/a/b/f"));
}

// COM-PATH-06
TEST_P(WithoutKernelLookup, NoLinkIsFollowed) {
    fs::create_directory(base / "root/inside");
    fs::create_directory_symlink(base / "outside", base / "root/out");
    fs::create_directory_symlink("inside", base / "root/link");
    EXPECT_FALSE(FileHepler::WriteLocalFileV(0, "x", 1, InRoot(L"out\\f")));
    EXPECT_FALSE(FileHepler::WriteLocalFileV(0, "x", 1, InRoot(L"link\\f")));
    EXPECT_FALSE(FileHepler::CreateLocalDirectory(InRoot(L"out\\made")));
    EXPECT_TRUE(fs::is_empty(base / "outside"));
    EXPECT_TRUE(fs::is_empty(base / "root/inside"));
}

}  // namespace

}  // namespace Drive::Common
