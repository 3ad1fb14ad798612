#include "host/get/inherited_proof.h"

#include <gtest/gtest.h>

namespace Drive::Host {
namespace {

CloudEntry Entry(const wchar_t* id, const char* path) {
    CloudEntry entry;
    entry.file.id = id;
    entry.path = path;
    return entry;
}

ProvedFile Proved(const char* path) { return {path, 5, 7, "digest", "3"}; }

// HOST-GET-10
TEST(InheritedProof, GoesToTheFileThatWasMadeAnewUnderTheName) {
    std::unordered_map<std::string, ProvedFile> proved{{"old", Proved("a/b.txt")}, {"other", Proved("c.txt")}};
    const auto handedOn = HandOnProofs({Entry(L"new", "a/b.txt"), Entry(L"other", "c.txt")}, proved);
    ASSERT_EQ(handedOn.size(), 1U);
    EXPECT_EQ(handedOn[0].from, "old");
    EXPECT_EQ(handedOn[0].to, "new");
    EXPECT_EQ(proved.count("old"), 0U);
    EXPECT_EQ(proved.at("new").sha256, "digest");
    EXPECT_EQ(proved.at("new").contentVersion, "") << "the third version of one file is not that of another";
    EXPECT_EQ(proved.at("other").contentVersion, "3");
}

// HOST-GET-10
TEST(InheritedProof, StaysWhereTheCloudStillHasTheFile) {
    std::unordered_map<std::string, ProvedFile> proved{{"old", Proved("b.txt")}};
    EXPECT_TRUE(HandOnProofs({Entry(L"old", "moved.txt"), Entry(L"new", "b.txt")}, proved).empty());
    EXPECT_EQ(proved.count("old"), 1U);
}

// HOST-GET-10
TEST(InheritedProof, IsNotTakenByAFolderARefusedEntryOrAFileThatIsProvedItself) {
    std::unordered_map<std::string, ProvedFile> proved{
        {"one", Proved("one")}, {"two", Proved("two")}, {"three", Proved("three")}, {"mine", Proved("three")}};
    CloudEntry folder = Entry(L"folder", "one"), refused = Entry(L"refused", "two");
    folder.file.isFolder = true;
    refused.refusal = "its name is too long";
    EXPECT_TRUE(HandOnProofs({folder, refused, Entry(L"mine", "three")}, proved).empty());
    EXPECT_EQ(proved.size(), 4U);
}

}  // namespace
}  // namespace Drive::Host
