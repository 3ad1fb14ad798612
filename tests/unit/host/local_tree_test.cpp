#include "host/put/local_tree.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <map>

#include "tests/unit/host/temporary_folder.h"

namespace Drive::Host {
namespace {

std::map<std::string, LocalEntry> Read(const TemporaryFolder& folder, const std::string& leaveOut = "") {
    Tree tree;
    std::string error;
    EXPECT_TRUE(tree.Open(folder.Path(), error)) << error;
    std::map<std::string, LocalEntry> entries;
    for (const LocalEntry& entry : ReadLocalTree(tree, leaveOut)) {
        entries[entry.path] = entry;
    }
    return entries;
}

// HOST-TREE-01
TEST(LocalTree, ListsEveryEntryWithItsPlaceAsTheRowsHoldIt) {
    const TemporaryFolder folder;
    folder.Write("a/b c/file.txt", "12345");
    folder.Write("top", "");
    const auto entries = Read(folder);
    ASSERT_EQ(entries.size(), 4u);
    EXPECT_EQ(entries.at("a/b c/file.txt").parentFolder, L"a\\b c\\");
    EXPECT_EQ(entries.at("a/b c/file.txt").name, L"file.txt");
    EXPECT_EQ(entries.at("a/b c/file.txt").facts.size, 5);
    EXPECT_EQ(entries.at("top").parentFolder, L"");
    EXPECT_EQ(entries.at("a").facts.kind, FileKind::Folder);
}

// HOST-TREE-01
TEST(LocalTree, ListsFoldersBeforeWhatIsInThem) {
    const TemporaryFolder folder;
    folder.Write("b/file", "");
    folder.Write("a/deep/file", "");
    Tree tree;
    std::string error;
    ASSERT_TRUE(tree.Open(folder.Path(), error));
    std::map<std::string, std::size_t> position;
    const std::vector<LocalEntry> entries = ReadLocalTree(tree, "");
    for (std::size_t index = 0; index < entries.size(); ++index) {
        position[entries[index].path] = index;
    }
    EXPECT_LT(position.at("a"), position.at("a/deep"));
    EXPECT_LT(position.at("a/deep"), position.at("a/deep/file"));
    EXPECT_LT(position.at("b"), position.at("b/file"));
}

// HOST-TREE-02
TEST(LocalTree, ListsLinksWithoutFollowingThem) {
    const TemporaryFolder folder;
    folder.Write("real/file", "");
    symlink("real", folder.Path("link").c_str());
    const auto entries = Read(folder);
    EXPECT_EQ(entries.at("link").facts.kind, FileKind::Link);
    EXPECT_EQ(entries.count("link/file"), 0u);
}

// HOST-NAME-02
TEST(LocalTree, CarriesNamesThatAreNoText) {
    const TemporaryFolder folder;
    folder.Write("x\xFFy", "");
    folder.Write("back\\slash", "");
    const auto entries = Read(folder);
    EXPECT_EQ(entries.at("x\xFFy").name, L"x\xDCFFy");
    EXPECT_EQ(entries.at("back\\slash").name, L"back\xF05Cslash");
}

// HOST-TREE-03
TEST(LocalTree, PassesOverTheStagingTree) {
    const TemporaryFolder folder;
    folder.Write(".zelkor-staging/half", "");
    folder.Write("file", "");
    EXPECT_EQ(Read(folder, ".zelkor-staging").size(), 1u);
}

// The user for whom every folder is open would see nothing of it.
class AsSomebody {
public:
    AsSomebody() : before(geteuid()) { wasRoot = before == 0 && seteuid(65534) == 0; }
    ~AsSomebody() {
        if (wasRoot && seteuid(before) != 0) {
            abort();
        }
    }

private:
    const uid_t before;
    bool wasRoot;
};

// HOST-TREE-04
TEST(LocalTree, TellsAFolderThatCannotBeRead) {
    const TemporaryFolder folder;
    folder.Write("closed/file", "");
    chmod(folder.Path().c_str(), 0755);
    chmod(folder.Path("closed").c_str(), 0);
    std::map<std::string, LocalEntry> entries;
    {
        const AsSomebody somebody;
        entries = Read(folder);
    }
    chmod(folder.Path("closed").c_str(), 0700);
    EXPECT_EQ(entries.at("closed").facts.kind, FileKind::Unreachable);
}

}  // namespace
}  // namespace Drive::Host
