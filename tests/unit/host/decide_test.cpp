#include "host/get/decide.h"

#include <gtest/gtest.h>

namespace Drive::Host {
namespace {

constexpr const wchar_t* kHash = L"aa11";

class Deciding : public testing::Test {
protected:
    Deciding() {
        entry.file.id = L"id";
        entry.file.fileName = L"file";
        entry.file.size = 100;
        entry.file.sha256 = kHash;
        entry.file.contentVersion = L"3";
        entry.parentFolder = L"folder\\";
        entry.path = "folder/file";
    }

    static FileFacts File(std::int64_t size, std::int64_t changed = 7) { return {FileKind::File, size, changed}; }

    void HaveRow(int fileStatus) {
        Common::FileItem row;
        row.SetFileId(L"id");
        row.SetName(L"file");
        row.SetLocalFileName(L"file");
        row.SetLocalParentFolder(L"folder\\");
        row.SetSize(100);
        row.SetHash(kHash);
        row.SetFileStatus(fileStatus);
        facts.row = row;
    }

    void HaveTask(std::int64_t writePosition) {
        facts.task.exists = true;
        facts.task.writePosition = writePosition;
    }

    void HaveProved(const std::string& path = "folder/file") { facts.proved = ProvedFile{path, 100, 7, "aa11", "3"}; }

    Step Decided() { return Decide(entry, facts).step; }

    CloudEntry entry;
    EntryFacts facts;
};

// HOST-GET-03
TEST_F(Deciding, ANewFileIsFetched) { EXPECT_EQ(Decided(), Step::Fetch); }

// HOST-GET-04
TEST_F(Deciding, AProvedFileThatLooksAsItDidIsLeftAlone) {
    HaveProved();
    facts.visible = File(100);
    EXPECT_EQ(Decided(), Step::Unchanged);
}

// HOST-GET-04
TEST_F(Deciding, AProvedFileWithAnotherTimeIsReadAgain) {
    HaveProved();
    facts.visible = File(100, 8);
    EXPECT_EQ(Decided(), Step::Adopt);
}

// HOST-KEEP-01
TEST_F(Deciding, AFileOfAnotherSizeIsNeverOverwritten) {
    facts.visible = File(99);
    EXPECT_EQ(Decided(), Step::KeepLocal);
    HaveProved();
    EXPECT_EQ(Decided(), Step::KeepLocal);
}

// HOST-GET-05
TEST_F(Deciding, ANewVersionReplacesTheProvedOne) {
    HaveProved();
    facts.visible = File(100);
    entry.file.sha256 = L"bb22";
    const Decision decision = Decide(entry, facts);
    EXPECT_EQ(decision.step, Step::Fetch);
    EXPECT_TRUE(decision.replaces);
}

// HOST-GET-05
TEST_F(Deciding, WithoutADigestTheVersionTellsANewContent) {
    HaveProved();
    facts.visible = File(100);
    entry.file.sha256.clear();
    EXPECT_EQ(Decided(), Step::Unchanged);
    entry.file.contentVersion = L"4";
    EXPECT_EQ(Decided(), Step::Fetch);
}

// HOST-RESUME-01
TEST_F(Deciding, AnInterruptedDownloadGoesOnFromItsRecord) {
    HaveRow(22);
    HaveTask(64);
    facts.staged = File(64);
    EXPECT_EQ(Decided(), Step::Resume);
    facts.staged = File(70);
    EXPECT_EQ(Decided(), Step::Resume);
}

// HOST-RESUME-01
TEST_F(Deciding, ARecordThatPromisesMoreThanIsThereIsDropped) {
    HaveRow(21);
    HaveTask(64);
    facts.staged = File(63);
    EXPECT_EQ(Decided(), Step::Fetch);
    facts.staged = {};
    EXPECT_EQ(Decided(), Step::Fetch);
    facts.staged = File(101);
    EXPECT_EQ(Decided(), Step::Fetch);
}

// HOST-RESUME-01
TEST_F(Deciding, AWaitingTaskWithoutARecordIsLeftToTheEngine) {
    HaveRow(21);
    HaveTask(0);
    EXPECT_EQ(Decided(), Step::Resume);
}

// HOST-RESUME-01
TEST_F(Deciding, ADownloadOfAnEarlierContentStartsAnew) {
    HaveRow(22);
    HaveTask(64);
    facts.staged = File(64);
    entry.file.sha256 = L"bb22";
    EXPECT_EQ(Decided(), Step::Fetch);
}

// HOST-RESUME-01
TEST_F(Deciding, ADownloadUnderAnEarlierNameStartsAnew) {
    HaveRow(22);
    HaveTask(64);
    facts.staged = File(64);
    entry.file.fileName = L"renamed";
    EXPECT_EQ(Decided(), Step::Fetch);
}

// HOST-GET-03
TEST_F(Deciding, AFailedFileIsFetchedAgain) {
    HaveRow(23);
    facts.staged = File(100);
    EXPECT_EQ(Decided(), Step::Fetch);
}

// HOST-GET-06
TEST_F(Deciding, ContentThatArrivedUnseenIsPlaced) {
    HaveRow(1);
    facts.staged = File(100);
    EXPECT_EQ(Decided(), Step::PlaceStaged);
    facts.staged = File(99);
    EXPECT_EQ(Decided(), Step::Fetch);
}

// HOST-GET-03
TEST_F(Deciding, AFileThatWasRemovedHereComesAgain) {
    HaveRow(1);
    HaveProved();
    EXPECT_EQ(Decided(), Step::Fetch);
}

// HOST-GET-07
TEST_F(Deciding, AFileThatMovedInTheCloudIsRenamedHere) {
    HaveProved("old/place");
    facts.earlier = File(100);
    EXPECT_EQ(Decided(), Step::MoveHere);
}

// HOST-GET-07
TEST_F(Deciding, AMovedFileThatWasChangedHereIsFetchedInstead) {
    HaveProved("old/place");
    facts.earlier = File(100, 8);
    EXPECT_EQ(Decided(), Step::Fetch);
}

// HOST-GET-08
TEST_F(Deciding, AnEmptyFileIsMadeByOurOwnHand) {
    entry.file.size = 0;
    EXPECT_EQ(Decided(), Step::MakeEmpty);
}

// HOST-KEEP-01
TEST_F(Deciding, NothingThatIsNoFileGivesWay) {
    for (const FileKind kind : {FileKind::Folder, FileKind::Link, FileKind::Other, FileKind::Unreachable}) {
        facts.visible = {kind, 100, 7};
        EXPECT_EQ(Decided(), Step::KeepLocal);
    }
}

// HOST-GET-08
TEST_F(Deciding, AFolderIsMadeOnceAndNeverInPlaceOfAFile) {
    entry.file.isFolder = true;
    EXPECT_EQ(Decided(), Step::MakeFolder);
    facts.visible = {FileKind::Folder, 0, 0};
    EXPECT_EQ(Decided(), Step::FolderThere);
    facts.visible = File(1);
    EXPECT_EQ(Decided(), Step::KeepLocal);
    facts.visible = {FileKind::Link, 0, 0};
    EXPECT_EQ(Decided(), Step::KeepLocal);
}

// HOST-GET-09
TEST_F(Deciding, ARefusedEntryStaysRefusedWhateverStandsThere) {
    entry.refusal = "no";
    HaveProved();
    facts.visible = File(100);
    const Decision decision = Decide(entry, facts);
    EXPECT_EQ(decision.step, Step::Refuse);
    EXPECT_EQ(decision.reason, "no");
}

// HOST-RESUME-02
TEST(TaskFacts, ReadThePlainPosition) {
    const TaskFacts facts = ReadTaskFacts(L"{\"writePosition\":4194304,\"writeSliceIndex\":0}");
    EXPECT_TRUE(facts.exists);
    EXPECT_EQ(facts.writePosition, 4194304);
    EXPECT_FALSE(facts.damaged);
}

// HOST-RESUME-02
TEST(TaskFacts, AnEmptyRecordIsAStartFromTheBeginning) {
    EXPECT_EQ(ReadTaskFacts(L"").writePosition, 0);
    EXPECT_FALSE(ReadTaskFacts(L"{}").damaged);
}

// HOST-RESUME-02
TEST(TaskFacts, AnEncryptedPositionCannotBeGoneOnWith) {
    EXPECT_TRUE(ReadTaskFacts(L"{\"writePosition\":4194304,\"writeSliceIndex\":1}").damaged);
}

// HOST-RESUME-02
TEST(TaskFacts, NonsenseCannotBeGoneOnWith) {
    EXPECT_TRUE(ReadTaskFacts(L"{\"writePosition\":").damaged);
    EXPECT_TRUE(ReadTaskFacts(L"{\"writePosition\":-1,\"writeSliceIndex\":0}").damaged);
    EXPECT_TRUE(ReadTaskFacts(L"[1,2,3,4,5,6]").damaged);
}

}  // namespace
}  // namespace Drive::Host
