#include "host/get/cloud_tree.h"

#include <gtest/gtest.h>

#include <map>

namespace Drive::Host {
namespace {

Cloud::CloudFile Entry(const wchar_t* id, const wchar_t* parent, const std::wstring& name, bool folder = false) {
    Cloud::CloudFile file;
    file.id = id;
    file.parentFolder = parent;
    file.fileName = name;
    file.isFolder = folder;
    file.size = folder ? 0 : 1;
    return file;
}

std::map<std::wstring, CloudEntry> Placed(std::vector<Cloud::CloudFile> files, std::size_t longest = 4000) {
    std::map<std::wstring, CloudEntry> byId;
    for (CloudEntry& entry : PlaceEntries(std::move(files), L"root", longest)) {
        byId[entry.file.id] = entry;
    }
    return byId;
}

// HOST-LIST-01
TEST(CloudTree, GivesEachEntryItsPathBelowTheRoot) {
    const auto placed = Placed({Entry(L"a", L"root", L"A", true), Entry(L"b", L"a", L"B ü", true),
                                Entry(L"f", L"b", L"file.txt"), Entry(L"g", L"root", L"top")});
    EXPECT_EQ(placed.at(L"f").path, "A/B ü/file.txt");
    EXPECT_EQ(placed.at(L"f").parentFolder, L"A\\B ü\\");
    EXPECT_EQ(placed.at(L"g").path, "top");
    EXPECT_EQ(placed.at(L"g").parentFolder, L"");
    for (const auto& [id, entry] : placed) {
        EXPECT_EQ(entry.refusal, "") << entry.path;
    }
}

// HOST-LIST-02
TEST(CloudTree, PutsParentsFirstWhateverTheOrderOfTheList) {
    const std::vector<CloudEntry> placed = PlaceEntries(
        {Entry(L"f", L"b", L"f"), Entry(L"b", L"a", L"B", true), Entry(L"a", L"root", L"A", true)}, L"root", 4000);
    ASSERT_EQ(placed.size(), 3u);
    EXPECT_EQ(placed[0].path, "A");
    EXPECT_EQ(placed[1].path, "A/B");
    EXPECT_EQ(placed[2].path, "A/B/f");
}

// HOST-LIST-03
TEST(CloudTree, LeavesOutTheRootItselfAndWhatIsDeleted) {
    Cloud::CloudFile gone = Entry(L"x", L"root", L"gone");
    gone.isDeleted = true;
    EXPECT_EQ(Placed({Entry(L"root", L"", L"My drive", true), gone, Entry(L"a", L"root", L"a")}).size(), 1u);
}

// HOST-LIST-04
TEST(CloudTree, RefusesNamesThatWouldLeaveTheTree) {
    for (const wchar_t* name : {L"..", L".", L"", L"a/b", L"a\\b", L"../../etc/passwd"}) {
        EXPECT_NE(Placed({Entry(L"a", L"root", name)}).at(L"a").refusal, "") << testing::PrintToString(name);
    }
    EXPECT_NE(Placed({Entry(L"a", L"root", std::wstring(L"a\0b", 3))}).at(L"a").refusal, "");
}

// HOST-LIST-05
TEST(CloudTree, TellsARefusedNameReadably) {
    EXPECT_EQ(Placed({Entry(L"a", L"root", L"a/\x1b[31m")}).at(L"a").path, "a/?[31m");
}

// HOST-LIST-06
TEST(CloudTree, RefusesWhatLiesInARefusedFolder) {
    const auto placed = Placed({Entry(L"a", L"root", L"..", true), Entry(L"f", L"a", L"f")});
    EXPECT_NE(placed.at(L"f").refusal, "");
}

// HOST-LIST-07
TEST(CloudTree, RefusesTheSecondOfTwoEntriesOfOneName) {
    const auto placed = Placed({Entry(L"1", L"root", L"same"), Entry(L"2", L"root", L"same")});
    EXPECT_EQ(placed.at(L"1").refusal, "");
    EXPECT_NE(placed.at(L"2").refusal, "");
}

// HOST-LIST-06
TEST(CloudTree, RefusesFoldersThatLieInsideThemselves) {
    const auto placed = Placed({Entry(L"a", L"b", L"A", true), Entry(L"b", L"a", L"B", true),
                                Entry(L"c", L"c", L"C", true), Entry(L"f", L"a", L"f")});
    EXPECT_EQ(placed.size(), 4u);
    for (const auto& [id, entry] : placed) {
        EXPECT_NE(entry.refusal, "") << testing::PrintToString(id);
    }
}

// HOST-LIST-06
TEST(CloudTree, RefusesEntriesWithoutAFolder) {
    const auto placed =
        Placed({Entry(L"f", L"nowhere", L"f"), Entry(L"g", L"root", L"g"), Entry(L"h", L"g", L"in a file")});
    EXPECT_NE(placed.at(L"f").refusal, "");
    EXPECT_EQ(placed.at(L"g").refusal, "");
    EXPECT_NE(placed.at(L"h").refusal, "");
}

// HOST-LIST-08
TEST(CloudTree, RefusesNamesAndPathsTooLongForTheSystem) {
    EXPECT_EQ(Placed({Entry(L"a", L"root", std::wstring(255, L'x'))}).at(L"a").refusal, "");
    EXPECT_NE(Placed({Entry(L"a", L"root", std::wstring(256, L'x'))}).at(L"a").refusal, "");
    EXPECT_NE(Placed({Entry(L"a", L"root", std::wstring(128, L'ü'))}).at(L"a").refusal, "");
    EXPECT_EQ(Placed({Entry(L"a", L"root", L"12345")}, 5).at(L"a").refusal, "");
    EXPECT_NE(Placed({Entry(L"a", L"root", L"123456")}, 5).at(L"a").refusal, "");
}

// HOST-LIST-09
TEST(CloudTree, BearsAListingAsDeepAsItIsLong) {
    std::vector<Cloud::CloudFile> files;
    std::wstring parent = L"root";
    for (int depth = 0; depth < 20000; ++depth) {
        const std::wstring id = std::to_wstring(depth);
        files.push_back(Entry(id.c_str(), parent.c_str(), L"d", true));
        parent = id;
    }
    std::reverse(files.begin(), files.end());
    EXPECT_EQ(Placed(std::move(files)).size(), 20000u);
}

// HOST-NAME-02
TEST(CloudTree, GivesUndecodableAndMappedNamesBackAsTheyWere) {
    const auto placed = Placed({Entry(L"a", L"root", L"x\xDCFFy"), Entry(L"b", L"root", L"back\xF05Cslash")});
    EXPECT_EQ(placed.at(L"a").path, "x\xFFy");
    EXPECT_EQ(placed.at(L"b").path, "back\\slash");
}

}  // namespace
}  // namespace Drive::Host
