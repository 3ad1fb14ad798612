#include <gtest/gtest.h>

#include <limits>

#include "interfaces/common/globals.h"
#include "tests/unit/upload/upload_bench.h"

namespace Drive::Testing {
namespace {

using StartAnswer = std::string;

class UploadStart : public UploadBench {
protected:
    /// The cloud answers each start with this text and code.
    void Answer(const std::string& text, const std::wstring& code = L"") {
        cloud.objectsUploadStart.Always(
            [text, code](Common::FileItem&, const std::wstring&, const std::wstring&, std::wstring& errorCode) {
                errorCode = code;
                return text;
            });
    }

    /// Leaves the record as the start settled it: the first object cannot be produced.
    void StopAtFirstObject() {
        common.aES_128_CBC_Encrypt_FileHandle.AlwaysReturns(Common::Bytes());
        common.hasAttachment.AlwaysReturns(false);
    }

    /// Statements that write the resume record, in order.
    Texts RecordWrites() const {
        Texts found;
        for (const std::string& line : Lines({Kind::Database})) {
            if (line.find("{fragmentInfo: ") != std::string::npos) found.push_back(line);
        }
        return found;
    }

    Texts StartErrors() const {
        Texts found;
        for (const std::string& line : Lines({Kind::Error})) {
            if (line.find("|uploadStart|") != std::string::npos ||
                line.find("|loadUploadStartinfo|") != std::string::npos)
                found.push_back(line);
        }
        return found;
    }

    static bool IsStartFailure(const Texts& reports) {
        return reports.size() >= 2 &&
               reports[reports.size() - 2] ==
                   "error UpLoadTaskManger|uploadTask|Terminate upload task:getuploadstartInfo failure. "
                   "fileid=Local-1" &&
               reports.back() ==
                   "stat 15002|UpLoadTaskManger::uploadTask |Terminate upload task:getuploadstartInfo failure. "
                   "fileid=Local-1";
    }
};

const char* const kNewPlan = R"({"uploadType":"client","version":7,"bucketId":"b","recordCursor":"c7","sliceSize":16,)"
                             R"("items":[{"objectId":"o1","length":16,"extra":1}],"unknown":"kept"})";

// UP-START-01, UP-START-18
TEST_F(UploadStart, AnEmptyParentIdFailsBeforeAnyCallOrRow) {
    Common::FileItem file = Give(L"Local-1", L"a.bin", "content");
    common.isLocalDirectory.AlwaysReturns(false);
    file.SetLocalParentId(L"");
    world.Put(file);
    Journal::Clear();
    Run(L"Local-1");
    EXPECT_EQ(StartErrors(), (Texts{"error UpLoadTaskManger|uploadStart|file uploadStart fail: parentfolderid is "
                                    "empty. fileid=Local-1"}));
    EXPECT_TRUE(IsStartFailure(Reports()));
    EXPECT_EQ(cloud.objectsUploadStart.Calls(), 0);
    EXPECT_EQ(common.getFileSha256.Calls(), 0);
    EXPECT_EQ(Journal::CountBeginning(Kind::Database, "UpdateDriveData(Local-1, {hash"), 0);
    EXPECT_EQ(world.Task(L"Local-1", 2).GetPriority(), 4);
}

// UP-START-02, UP-START-05
TEST_F(UploadStart, AHashOfTheRowIsTrustedAndTheFileIsNotRead) {
    Common::FileItem file = Give(L"Local-1", L"a.bin", "content");
    file.SetLocalFileSha256(L"from-the-row");
    world.Put(file);
    Journal::Clear();
    Run(L"Local-1");
    EXPECT_EQ(common.getFileSha256.Calls(), 0);
    EXPECT_TRUE(Journal::Has(Kind::Cloud, "ObjectsUploadStart(Local-1, from-the-row, )"));
    EXPECT_TRUE(Journal::Has(Kind::Database,
                             "UpdateDriveData(Local-1, {hash: from-the-row, localFileSha256: from-the-row, size: 7})"));
}

// UP-START-03
TEST_F(UploadStart, ASizeThatIsZeroNegativeOrTheLargestIsRefusedInOneTest) {
    Give(L"Local-1", L"a.bin", "content");
    for (const std::int64_t size : {std::int64_t{0}, std::int64_t{-1}, std::numeric_limits<std::int64_t>::min() + 1,
                                    std::numeric_limits<std::int64_t>::max()}) {
        Journal::Clear();
        common.getLocalFileSize.AlwaysReturns(size);
        Run(L"Local-1");
        EXPECT_EQ(Journal::Count(Kind::Trace, "UpLoadTaskManger.uploadStart GetFileSize fail"), 1) << size;
        EXPECT_TRUE(IsStartFailure(Reports())) << size;
        EXPECT_EQ(Journal::CountBeginning(Kind::Database, "UpdateDriveData(Local-1, {hash"), 0) << size;
    }
    EXPECT_EQ(cloud.objectsUploadStart.Calls(), 0);
}

// UP-START-04
TEST_F(UploadStart, TheLargestSizeLessOnePasses) {
    Give(L"Local-1", L"a.bin", "content");
    common.getLocalFileSize.AlwaysReturns(std::numeric_limits<std::int64_t>::max() - 1);
    Answer("");
    Run(L"Local-1");
    EXPECT_EQ(cloud.objectsUploadStart.Calls(), 1);
}

// UP-START-06
TEST_F(UploadStart, AFirstAttemptSendsAnEmptyCursorAndStoresTheAnswerCharacterForCharacter) {
    Give(L"Local-1", L"a.bin", "content");
    Answer(kNewPlan);
    StopAtFirstObject();
    Run(L"Local-1");
    EXPECT_EQ(RecordWrites().front(), std::string("db UpdateTaskItem(Local-1, {fragmentInfo: ") + kNewPlan + "}, 2)");
    EXPECT_TRUE(Journal::Has(Kind::Cloud, "ObjectsUploadStart(Local-1, " + Sha256("content") + ", )"));
}

// UP-START-07
TEST_F(UploadStart, AnAnswerWithVersionZeroIsStoredToo) {
    Give(L"Local-1", L"a.bin", "content");
    SetRecord(L"Local-1", R"({"version":0,"recordCursor":"old"})");
    Answer(R"({"uploadType":"client","version":0})");
    Run(L"Local-1");
    EXPECT_EQ(RecordWrites().front(),
              "db UpdateTaskItem(Local-1, {fragmentInfo: {\"uploadType\":\"client\",\"version\":0}}, 2)");
    EXPECT_TRUE(Journal::Has(Kind::Cloud, "ObjectsUploadStart(Local-1, " + Sha256("content") + ", old)"));
}

// UP-START-08
TEST_F(UploadStart, AnEqualVersionKeepsTheLocalPlanWhole) {
    Give(L"Local-1", L"a.bin", "content");
    SetRecord(L"Local-1",
              R"({"uploadType":"client","version":7,"bucketId":"mine","recordCursor":"my cursor","sliceSize":16,)"
              R"("items":[{"objectId":"mine-1","length":16,"status":true}]})");
    Answer(kNewPlan);
    Run(L"Local-1");
    EXPECT_EQ(RecordWrites(), Texts{});
    EXPECT_TRUE(Journal::Has(Kind::Cloud, "ObjectsUploadStart(Local-1, " + Sha256("content") + ", my cursor)"));
    EXPECT_TRUE(Journal::Has(Kind::Cloud, "FilesCreateComplete(Local-1, my cursor)"));
    EXPECT_EQ(cloud.uploadRequest.Calls(), 0);
}

// UP-START-09
TEST_F(UploadStart, ANewerVersionReplacesTheLocalPlanAndItsProgress) {
    Give(L"Local-1", L"a.bin", "content");
    SetRecord(L"Local-1", R"({"uploadType":"client","version":6,"sliceSize":16,)"
                          R"("items":[{"objectId":"mine-1","length":16,"status":true}]})");
    Answer(kNewPlan);
    Run(L"Local-1");
    EXPECT_EQ(RecordWrites().front(), std::string("db UpdateTaskItem(Local-1, {fragmentInfo: ") + kNewPlan + "}, 2)");
    EXPECT_TRUE(Journal::Has(Kind::Cloud, "GetUploadKelpAddress(Local-1, o1, 16)"));
}

// UP-START-10
TEST_F(UploadStart, ADamagedRecordCountsAsNone) {
    Give(L"Local-1", L"a.bin", "content");
    SetRecord(L"Local-1", R"({"version":7,"recordCursor":)");
    Answer(kNewPlan);
    Run(L"Local-1");
    EXPECT_EQ(StartErrors(), Texts{});
    EXPECT_TRUE(Journal::Has(Kind::Cloud, "ObjectsUploadStart(Local-1, " + Sha256("content") + ", )"));
    EXPECT_EQ(world.Row(L"cloud-1").GetFileStatus(), 1);
}

// UP-START-11
TEST_F(UploadStart, ARecordWithATextInPlaceOfANumberIsLoggedAndCountsAsFarAsItWasRead) {
    Give(L"Local-1", L"a.bin", "content");
    SetRecord(L"Local-1", R"({"version":7,"recordCursor":"old","sliceSize":"many"})");
    Answer(R"({"uploadType":"client","version":8,"sliceSize":16})");
    Run(L"Local-1");
    ASSERT_EQ(StartErrors().size(), 1u);
    EXPECT_EQ(StartErrors()[0].rfind("error UpLoadTaskManger|loadUploadStartinfo|loadUploadStartinfo error.", 0), 0u);
    EXPECT_GT(StartErrors()[0].size(), 73u);
    EXPECT_TRUE(Journal::Has(Kind::Cloud, "ObjectsUploadStart(Local-1, " + Sha256("content") + ", old)"));
}

// UP-START-12, UP-START-18
TEST_F(UploadStart, AnAnswerThatCannotBeReadFailsWithHashAndSizeInTheRowAndTheRecordKept) {
    Give(L"Local-1", L"a.bin", "content");
    SetRecord(L"Local-1", R"({"version":7})");
    for (const char* text : {"", "<html>", "[]", R"({"version":"seven"})"}) {
        Answer(text);
        Journal::Clear();
        Run(L"Local-1");
        EXPECT_TRUE(IsStartFailure(Reports())) << text;
        EXPECT_EQ(RecordWrites(), Texts{}) << text;
    }
    EXPECT_EQ(Narrow(world.Row(L"Local-1").GetHash()), Sha256("content"));
    EXPECT_EQ(Record(L"Local-1"), R"({"version":7})");
}

// UP-START-13
TEST_F(UploadStart, AMigrationEmptiesTheTasksAndTellsTheClientOnce) {
    Give(L"Local-1", L"a.bin", "content");
    Answer("", L"21084031");
    Run(L"Local-1");
    EXPECT_TRUE(InOrder(
        Lines(), {"cloud ObjectsUploadStart(Local-1, " + Sha256("content") + ", )", "db ClearTaskTable()",
                  "message TransferMessageCommand(10, )",
                  "trace [UpLoadTaskManger::uploadStart] The cloud server is being migrated.",
                  "stat 15002|UpLoadTaskManger::uploadStart|The cloud server is being migrated.",
                  "error UpLoadTaskManger|uploadTask|Terminate upload task:getuploadstartInfo failure. fileid=Local-1",
                  "trace UpLoadTaskManger.UploadThreadFunc:file upload task end failure fileid=Local-1"}))
        << Journal::Dump();
    EXPECT_TRUE(g_cloudServerIsMigrating);
    EXPECT_EQ(world.TaskCount(), 0);
}

// UP-START-14
TEST_F(UploadStart, AMigrationAnswerWithAReadableBodyGoesOnUntilTheNextTestOfTheFlag) {
    Give(L"Local-1", L"a.bin", "content");
    Answer(kNewPlan, L"21084031");
    Run(L"Local-1");
    EXPECT_TRUE(
        InOrder(Lines(), {"db ClearTaskTable()", "trace UpLoadTaskManger.uploadTask:file client upload. fileid=Local-1",
                          "file CloseHandle(open)",
                          "error UpLoadTaskManger|uploadTask|CloudServerIsMigrating Stop upload Task "
                          "fileid:Local-1",
                          "trace UpLoadTaskManger.UploadThreadFunc:file upload task end fail stop task "
                          "fileid=Local-1"}))
        << Journal::Dump();
    EXPECT_EQ(cloud.uploadRequest.Calls(), 0);
}

// UP-START-15
TEST_F(UploadStart, ASecondMigrationAnswerClearsAndTellsNothing) {
    Give(L"Local-1", L"a.bin", "content");
    cloud.objectsUploadStart.Always(
        [](Common::FileItem&, const std::wstring&, const std::wstring&, std::wstring& errorCode) {
            g_cloudServerIsMigrating = true;
            errorCode = L"21084031";
            return std::string();
        });
    Run(L"Local-1");
    EXPECT_EQ(Journal::CountBeginning(Kind::Database, "ClearTaskTable"), 0);
    EXPECT_EQ(Journal::CountBeginning(Kind::Message, "TransferMessageCommand"), 0);
    EXPECT_EQ(Journal::CountBeginning(Kind::Trace, "[UpLoadTaskManger::uploadStart]"), 0);
}

// UP-START-16
TEST_F(UploadStart, ACodeThatOnlyBeginsLikeAMigrationIsNone) {
    Give(L"Local-1", L"a.bin", "content");
    Answer("", L"210840311");
    Run(L"Local-1");
    EXPECT_FALSE(g_cloudServerIsMigrating);
    EXPECT_TRUE(world.HasTask(L"Local-1", 2));
}

// UP-START-17, UP-CLEAN-01
TEST_F(UploadStart, AnExceptionIsLoggedAndDropsTheRecord) {
    Give(L"Local-1", L"a.bin", "content");
    SetRecord(L"Local-1", R"({"version":7})");
    cloud.objectsUploadStart.AlwaysThrows("no line");
    Run(L"Local-1");
    EXPECT_TRUE(InOrder(
        Lines(), {"error UpLoadTaskManger|uploadStart|Error:no line", "db UpdateTaskItem(Local-1, {fragmentInfo: }, 2)",
                  "error UpLoadTaskManger|uploadTask|Terminate upload task:getuploadstartInfo failure. "
                  "fileid=Local-1"}))
        << Journal::Dump();
    EXPECT_EQ(Record(L"Local-1"), "");
}

// UP-CLEAN-03
TEST_F(UploadStart, TheCleanUpsOwnExceptionIsLoggedAndNotSeen) {
    Give(L"Local-1", L"a.bin", "content");
    cloud.objectsUploadStart.AlwaysThrows("no line");
    database.updateTaskItem.NextDefault();
    database.updateTaskItem.NextThrows("no disk");
    Run(L"Local-1");
    EXPECT_TRUE(InOrder(Lines({Kind::Error}),
                        {"error UpLoadTaskManger|uploadStart|Error:no line",
                         "error UpLoadTaskManger|clearCache|upload fail then clear cache error. no disk",
                         "error UpLoadTaskManger|uploadTask|Terminate upload task:getuploadstartInfo failure. "
                         "fileid=Local-1"}))
        << Journal::Dump();
}

// UP-GATE-27
TEST_F(UploadStart, ATypeThatNobodyKnowsMovesNoContentAndIsNoError) {
    Give(L"Local-1", L"a.bin", "content");
    Answer(R"({"uploadType":"teleport","version":1,"recordCursor":"c"})");
    std::size_t lists = 9;
    cloud.filesCreateComplete.Before([&](const Common::FileItem&, const std::wstring&,
                                         Common::CreateUpdateRequestModel& model,
                                         WMap&) { lists = model.GetObjectInfoList().size(); });
    Run(L"Local-1");
    EXPECT_EQ(lists, 0u);
    EXPECT_EQ(Journal::CountBeginning(Kind::File, "CreateFileW"), 0);
    EXPECT_TRUE(Journal::Has(Kind::Cloud, "FilesCreateComplete(Local-1, c)"));
    EXPECT_EQ(Lines({Kind::Error}), Texts{});
}

}  // namespace
}  // namespace Drive::Testing
