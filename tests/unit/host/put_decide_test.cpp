#include "host/put/put_decide.h"

#include <gtest/gtest.h>

namespace Drive::Host {
namespace {

class DecidingPut : public testing::Test {
protected:
    DecidingPut() {
        entry.path = "folder/file";
        entry.parentFolder = L"folder\\";
        entry.name = L"file";
        entry.facts = {FileKind::File, 100, 7};
    }

    void CloudHas(std::int64_t size = 100, const wchar_t* sha256 = L"aa11") {
        facts.cloud = CloudEntry();
        facts.cloud->file.id = L"id";
        facts.cloud->file.size = size;
        facts.cloud->file.sha256 = sha256;
        facts.cloud->path = "folder/file";
    }

    void HaveProved() { facts.proved = ProvedFile{"folder/file", 100, 7, "aa11", ""}; }

    PutStep Decided() { return DecidePut(entry, facts, limits).step; }

    LocalEntry entry;
    PutFacts facts;
    PutLimits limits;
};

// HOST-PUT-03
TEST_F(DecidingPut, ANewFileIsSent) { EXPECT_EQ(Decided(), PutStep::SendNew); }

// HOST-RESUME-03
TEST_F(DecidingPut, AnInterruptedUploadGoesOnWhileTheFileLooksAsItDid) {
    facts.waiting = true;
    facts.sending = SentFile{100, 7};
    EXPECT_EQ(Decided(), PutStep::Resume);
    facts.sending = SentFile{100, 8};
    EXPECT_EQ(Decided(), PutStep::SendNew);
    facts.sending = SentFile{99, 7};
    EXPECT_EQ(Decided(), PutStep::SendNew);
    facts.sending = SentFile{100, 7};
    facts.waiting = false;
    EXPECT_EQ(Decided(), PutStep::SendNew);
}

// HOST-PUT-04
TEST_F(DecidingPut, AProvedFileIsLeftAlone) {
    CloudHas();
    HaveProved();
    EXPECT_EQ(Decided(), PutStep::Unchanged);
}

// HOST-PUT-05
TEST_F(DecidingPut, AnEditOfAProvedFileIsSentAsANewVersion) {
    CloudHas();
    HaveProved();
    entry.facts = {FileKind::File, 101, 8};
    EXPECT_EQ(Decided(), PutStep::SendVersion);
}

// HOST-PUT-06
TEST_F(DecidingPut, AFileOfTheSameSizeIsReadBeforeItIsSent) {
    CloudHas();
    HaveProved();
    entry.facts.changed = 8;
    const PutDecision decision = DecidePut(entry, facts, limits);
    EXPECT_EQ(decision.step, PutStep::Compare);
    EXPECT_EQ(decision.otherwise, PutStep::SendVersion);
}

// HOST-CONFLICT-01
TEST_F(DecidingPut, ANewerVersionInTheCloudIsNotOverwritten) {
    CloudHas(200, L"bb22");
    HaveProved();
    EXPECT_EQ(Decided(), PutStep::CloudNewer);
}

// HOST-CONFLICT-02
TEST_F(DecidingPut, ChangesOnBothSidesAreAConflict) {
    CloudHas(200, L"bb22");
    HaveProved();
    entry.facts = {FileKind::File, 101, 8};
    EXPECT_EQ(Decided(), PutStep::Conflict);
    limits.overwrite = true;
    EXPECT_EQ(Decided(), PutStep::SendVersion);
}

// HOST-CONFLICT-02
TEST_F(DecidingPut, TwoFilesThatNeverMetAreAConflictUnlessTheyAreTheSame) {
    CloudHas(200);
    EXPECT_EQ(Decided(), PutStep::Conflict);
    CloudHas(100);
    const PutDecision decision = DecidePut(entry, facts, limits);
    EXPECT_EQ(decision.step, PutStep::Compare);
    EXPECT_EQ(decision.otherwise, PutStep::Conflict);
    EXPECT_NE(decision.reason, "");
}

// HOST-PUT-01
TEST_F(DecidingPut, EmptyFilesTravelByOurOwnCalls) {
    entry.facts.size = 0;
    EXPECT_EQ(Decided(), PutStep::CreateEmpty);
    CloudHas();
    HaveProved();
    EXPECT_EQ(Decided(), PutStep::ReplaceEmpty);
}

// HOST-PUT-01
TEST_F(DecidingPut, FoldersAreMadeOnceAndNeverInPlaceOfAFile) {
    entry.facts.kind = FileKind::Folder;
    EXPECT_EQ(Decided(), PutStep::CreateFolder);
    CloudHas();
    EXPECT_EQ(Decided(), PutStep::Conflict);
    facts.cloud->file.isFolder = true;
    EXPECT_EQ(Decided(), PutStep::FolderThere);
    entry.facts.kind = FileKind::File;
    EXPECT_EQ(Decided(), PutStep::Conflict);
}

// HOST-PUT-02
TEST_F(DecidingPut, LinksAndTheLikeDoNotTravel) {
    for (const FileKind kind : {FileKind::Link, FileKind::Other}) {
        entry.facts.kind = kind;
        EXPECT_EQ(Decided(), PutStep::NotSent);
    }
    entry.facts.kind = FileKind::Unreachable;
    EXPECT_EQ(Decided(), PutStep::Refuse);
}

// HOST-PUT-07
TEST_F(DecidingPut, WhatTheEngineWouldRefuseIsRefusedByNameBefore) {
    entry.name = std::wstring(80, L'ü');
    EXPECT_EQ(Decided(), PutStep::SendNew);
    entry.name += L'x';
    EXPECT_EQ(Decided(), PutStep::Refuse);
    entry.name = L"file";
    entry.facts.size = 53687091200;
    EXPECT_EQ(Decided(), PutStep::SendNew);
    entry.facts.size = 53687091201;
    EXPECT_EQ(Decided(), PutStep::Refuse);
}

}  // namespace
}  // namespace Drive::Host
