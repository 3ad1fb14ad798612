#include "host/commands/verify_outcome.h"

#include <gtest/gtest.h>

namespace Drive::Host {
namespace {

const std::wstring kTold = L"aa";

class VerifyOutcome : public testing::Test {
protected:
    VerifyOutcome() {
        entry.path = "file";
        entry.file.size = 5;
        entry.file.sha256 = kTold;
        here.path = "file";
        here.facts.kind = FileKind::File;
        here.facts.size = 5;
        sides.here = &here;
        sides.digestHere = kTold;
        sides.cloud = CloudContent{kTold, 5, ""};
    }

    void Expect(Result result, const std::string& message) {
        const Outcome outcome = JudgeSides(entry, sides);
        EXPECT_EQ(ResultWord(outcome.result), std::string(ResultWord(result)));
        EXPECT_EQ(outcome.message, message);
        EXPECT_EQ(outcome.path, "file");
    }

    CloudEntry entry;
    LocalEntry here;
    BothSides sides;
};

// HOST-VERIFY-03
TEST_F(VerifyOutcome, BothSidesThatAreAsTheCloudTellsAreFine) { Expect(Result::Unchanged, ""); }

// HOST-VERIFY-03, HOST-VERIFY-04
TEST_F(VerifyOutcome, EachSideIsHeldAgainstWhatTheCloudTells) {
    sides.digestHere = L"bb";
    Expect(Result::Differs, "its content is another here");
    sides.cloud->sha256 = L"bb";
    Expect(Result::Differs,
           "its content is another here; what the cloud holds is not what it tells: the content there is damaged");
    sides.digestHere = kTold;
    Expect(Result::Differs, "what the cloud holds is not what it tells: the content there is damaged");
    sides.cloud = CloudContent{kTold, 4, ""};
    Expect(Result::Differs, "the cloud holds 4 bytes of it, not 5 as it tells");
}

// HOST-VERIFY-04
TEST_F(VerifyOutcome, ContentThatCannotBeBroughtDownIsAFailureWithItsReason) {
    sides.cloud = CloudContent{L"", 0, "object 2 of 3 is lost"};
    Expect(Result::Failed, "object 2 of 3 is lost");
    sides.here = nullptr;
    Expect(Result::Failed, "not here; object 2 of 3 is lost");
}

// HOST-VERIFY-03
TEST_F(VerifyOutcome, WithoutADigestInTheListTheSidesAreHeldAgainstEachOther) {
    entry.file.sha256.clear();
    Expect(Result::Unchanged, "");
    sides.digestHere = L"bb";
    Expect(Result::Differs, "its content here is not that in the cloud");
    sides.cloud.reset();
    Expect(Result::Differs, "the cloud tells no digest");
}

// HOST-VERIFY-01
TEST_F(VerifyOutcome, WithoutTheCloudsContentTheFileHereIsHeldAgainstTheList) {
    sides.cloud.reset();
    Expect(Result::Unchanged, "");
    sides.digestHere = L"bb";
    Expect(Result::Differs, "its content is another here");
    sides.digestHere.clear();
    Expect(Result::Differs, "it cannot be read here");
    here.facts.size = 7;
    Expect(Result::Differs, "7 bytes here, 5 in the cloud");
    here.facts.kind = FileKind::Link;
    Expect(Result::Differs, "it is of another kind here");
    sides.here = nullptr;
    Expect(Result::Missing, "not here");
}

// HOST-VERIFY-01
TEST_F(VerifyOutcome, FoldersAndRefusedNamesHaveNoContent) {
    EXPECT_TRUE(HasContent(entry));
    entry.file.isFolder = true;
    sides.cloud.reset();
    EXPECT_FALSE(HasContent(entry));
    Expect(Result::Differs, "it is of another kind here");
    here.facts.kind = FileKind::Folder;
    Expect(Result::FolderThere, "");
    entry.refusal = "no name for this disk";
    EXPECT_FALSE(HasContent(entry));
    Expect(Result::Refused, "no name for this disk");
}

// HOST-VERIFY-01
TEST_F(VerifyOutcome, AFileIsOnlyReadWhereItsSizeLeavesTheQuestionOpen) {
    EXPECT_TRUE(NeedsDigestHere(entry, &here));
    EXPECT_FALSE(NeedsDigestHere(entry, nullptr));
    here.facts.size = 4;
    EXPECT_FALSE(NeedsDigestHere(entry, &here));
    here.facts = {FileKind::Folder, 5};
    EXPECT_FALSE(NeedsDigestHere(entry, &here));
}

}  // namespace
}  // namespace Drive::Host
