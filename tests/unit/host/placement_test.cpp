#include "host/get/placement.h"

#include <gtest/gtest.h>

#include "tests/unit/host/temporary_folder.h"

namespace Drive::Host {
namespace {

class Placing : public testing::Test {
protected:
    Placing() {
        for (const char* name : {"staging", "root", "state"}) {
            std::filesystem::create_directories(folder.Path(name));
        }
        EXPECT_TRUE(staging.Open(folder.Path("staging"), message));
        EXPECT_TRUE(visible.Open(folder.Path("root"), message));
        records.Open(folder.Path("state"), false);
        entry.file.id = L"id";
        entry.file.fileName = L"file";
        entry.file.editedTime = 1700000000;
        entry.parentFolder = L"a\\";
        entry.path = "a/file";
        folder.Write("staging/a/file", "new content");
    }

    ProvedFile VisibleAsProved() {
        const FileFacts facts = visible.Look("a/file");
        return {"a/file", facts.size, facts.changed, "old", ""};
    }

    const TemporaryFolder folder;
    Tree staging, visible;
    HostRecords records;
    Placement placement{staging, visible, records};
    CloudEntry entry;
    std::string message;
};

// HOST-PLACE-01
TEST_F(Placing, ShowsTheStagedFileWithTheCloudsTimeAndRemembersIt) {
    EXPECT_EQ(placement.Show(entry, "digest", std::nullopt, message), Shown::Yes);
    EXPECT_EQ(folder.Read("root/a/file"), "new content");
    EXPECT_FALSE(folder.Exists("staging/a/file"));
    const ProvedFile proved = records.AllProved().at("id");
    EXPECT_EQ(proved.sha256, "digest");
    EXPECT_EQ(proved.changed, 1700000000LL * 1000000000);
    EXPECT_EQ(proved.size, 11);
}

// HOST-KEEP-02
TEST_F(Placing, LeavesAloneWhatAppearedAtThePlace) {
    folder.Write("root/a/file", "somebody's work");
    EXPECT_EQ(placement.Show(entry, "digest", std::nullopt, message), Shown::KeptLocal);
    EXPECT_EQ(folder.Read("root/a/file"), "somebody's work");
    EXPECT_EQ(folder.Read("staging/a/file"), "new content");
    EXPECT_TRUE(records.AllProved().empty());
}

// HOST-PLACE-02
TEST_F(Placing, PutsANewVersionInPlaceOfTheProvedOne) {
    folder.Write("root/a/file", "old content");
    EXPECT_EQ(placement.Show(entry, "digest", VisibleAsProved(), message), Shown::Yes);
    EXPECT_EQ(folder.Read("root/a/file"), "new content");
    EXPECT_FALSE(folder.Exists("staging/a/file"));
    EXPECT_EQ(message, "");
}

// HOST-KEEP-03
TEST_F(Placing, KeepsAnEditThatWasMadeWhileTheNewVersionTravelled) {
    folder.Write("root/a/file", "old content");
    const ProvedFile proved = VisibleAsProved();
    folder.Write("root/a/file", "edited meanwhile");
    EXPECT_EQ(placement.Show(entry, "digest", proved, message), Shown::Yes);
    EXPECT_EQ(folder.Read("root/a/file"), "new content");
    EXPECT_NE(message.find("local copy"), std::string::npos);
    bool kept = false;
    for (const auto& file : std::filesystem::directory_iterator(folder.Path("root/a"))) {
        kept = kept || folder.Read("root/a/" + file.path().filename().string()) == "edited meanwhile";
    }
    EXPECT_TRUE(kept);
}

// HOST-PLACE-02
TEST_F(Placing, ShowsANewVersionWhereTheOldOneWasRemovedMeanwhile) {
    folder.Write("root/a/file", "old content");
    const ProvedFile proved = VisibleAsProved();
    std::filesystem::remove(folder.Path("root/a/file"));
    EXPECT_EQ(placement.Show(entry, "digest", proved, message), Shown::Yes);
    EXPECT_EQ(folder.Read("root/a/file"), "new content");
}

// HOST-PLACE-03
TEST_F(Placing, DoesNotShowThroughALink) {
    std::filesystem::create_directories(folder.Path("elsewhere"));
    std::filesystem::create_directory_symlink(folder.Path("elsewhere"), folder.Path("root/a"));
    EXPECT_EQ(placement.Show(entry, "digest", std::nullopt, message), Shown::Failed);
    EXPECT_FALSE(folder.Exists("elsewhere/file"));
    EXPECT_EQ(folder.Read("staging/a/file"), "new content");
}

// HOST-KEEP-04
TEST_F(Placing, MovesAsideWithoutReplacingAnEarlierCopy) {
    folder.Write("root/a/file", "one");
    ASSERT_TRUE(placement.MoveAside("a/file", message)) << message;
    folder.Write("root/a/file", "two");
    ASSERT_TRUE(placement.MoveAside("a/file", message)) << message;
    int copies = 0;
    for (const auto& file : std::filesystem::directory_iterator(folder.Path("root/a"))) {
        copies += file.is_regular_file() ? 1 : 0;
    }
    EXPECT_EQ(copies, 2);
}

// HOST-KEEP-04
TEST(AsideName, KeepsTheEndingAndFitsIntoAName) {
    setenv("TZ", "UTC", 1);
    EXPECT_EQ(AsideName("report.txt", 0, 0), "report (local copy 1970-01-01 00.00.00).txt");
    EXPECT_EQ(AsideName("report.txt", 0, 1), "report (local copy 1970-01-01 00.00.00 2).txt");
    EXPECT_EQ(AsideName(".hidden", 0, 0), ".hidden (local copy 1970-01-01 00.00.00)");
    const std::string name = AsideName(std::string(251, 'x') + ".txt", 0, 0);
    EXPECT_EQ(name.size(), 255u);
    EXPECT_EQ(name.substr(251), ".txt");
}

// HOST-KEEP-04
TEST(AsideName, NeverCutsACharacterInTwo) {
    std::string umlauts;
    for (int count = 0; count < 127; ++count) {
        umlauts += "ü";
    }
    const std::string name = AsideName(umlauts, 0, 0);
    const std::size_t stem = name.find(" (");
    EXPECT_EQ(stem % 2, 0u);
    EXPECT_LE(name.size(), 255u);
}

}  // namespace
}  // namespace Drive::Host
