#include <gtest/gtest.h>

#include <cstdio>

#include "tests/support/private_access.h"
#include "tests/unit/upload/upload_bench.h"
#include "upload/upload_task_manager.h"

namespace Drive::Testing {

using TransferService::UpLoadTaskManger;

struct GetUserKey {
    using Type = std::string (UpLoadTaskManger::*)(const std::string&, const std::string&, const int&);
    friend Type Reach(GetUserKey);
};
struct ClearCache {
    using Type = void (UpLoadTaskManger::*)(const std::wstring&, const Common::FileItem&);
    friend Type Reach(ClearCache);
};
template struct PrivateMember<GetUserKey, &UpLoadTaskManger::getUserKey>;
template struct PrivateMember<ClearCache, &UpLoadTaskManger::clearCache>;

namespace {

class UploadFinishRoads : public UploadBench {
protected:
    static UpLoadTaskManger& Engine() { return UpLoadTaskManger::getInstance(); }

    void ExpectKept(const std::string& lastError) {
        EXPECT_EQ(Lines({Kind::Error}).back(), lastError);
        EXPECT_EQ(world.Row(L"Local-1").GetFileStatus(), 13);
        EXPECT_EQ(world.Task(L"Local-1", 2).GetPriority(), 4);
    }
};

// UP-DONE-25
TEST_F(UploadFinishRoads, ARowThatCannotBeWrittenAtTheEndGoesUnnoticed) {
    Give(L"Local-1", L"a.bin", "content");
    database.updateDriveData.NextDefault();
    database.updateDriveData.NextDefault();
    database.updateDriveData.NextReturns(false);
    Run(L"Local-1");
    EXPECT_EQ(Lines({Kind::Error}), Texts{});
    EXPECT_TRUE(Journal::Has(Kind::Trace,
                             "UpLoadTaskManger.UploadThreadFunc:file upload task end Success "
                             "fileid=Local-1"));
    EXPECT_FALSE(world.HasTask(L"Local-1", 2));
    EXPECT_EQ(world.Row(L"Local-1").GetFileStatus(), 12) << "the old row, for the host to put right";
}

// UP-DONE-26
TEST_F(UploadFinishRoads, AKeyOfAnyOtherTypeGivesAnEmptyTextWithoutACall) {
    for (const int type : {2, 0, 4, -1, 13}) {
        EXPECT_EQ((Engine().*Reach(GetUserKey()))(std::string(32, 'a'), std::string(32, 'b'), type), "") << type;
    }
    EXPECT_EQ(common.getEfek.Calls(), 0);
    EXPECT_NE((Engine().*Reach(GetUserKey()))(std::string(32, 'a'), std::string(32, 'b'), 1), "");
    EXPECT_NE((Engine().*Reach(GetUserKey()))(std::string(32, 'a'), std::string(32, 'b'), 3), "");
}

// UP-DONE-05
TEST_F(UploadFinishRoads, AnExceptionOfTheWrappingIsAFailureWithoutACallOrACode) {
    Give(L"Local-1", L"a.bin", "content");
    common.getEfek.NextThrows("broken");
    Run(L"Local-1");
    EXPECT_EQ(cloud.filesCreateComplete.Calls(), 0);
    ExpectKept("error UpLoadTaskManger|fileCreateComplete|fileCreateComplete error. broken");
    Run(L"Local-1");
    EXPECT_EQ(world.Row(L"cloud-1").GetFileStatus(), 1);
}

// UP-DONE-04
TEST_F(UploadFinishRoads, WithoutTheFirstKeyNoCallIsMadeEither) {
    Give(L"Local-1", L"a.bin", "content");
    common.getEfek.NextReturns(std::string());
    common.getEfek.NextReturns(std::string("second"));
    Run(L"Local-1");
    EXPECT_EQ(cloud.filesCreateComplete.Calls(), 0);
    ExpectKept("error UpLoadTaskManger|fileCreateComplete|efek or sfek is empty; efek=;sfek=second");
}

// UP-DONE-27
TEST_F(UploadFinishRoads, AnExceptionWhileTheCloudIsAskedForTheFileFailsTheAttempt) {
    Give(L"Local-1", L"a.bin", "content");
    cloud.filesCreateComplete.Next(
        [](const Common::FileItem&, const std::wstring&, Common::CreateUpdateRequestModel&, WMap& result) {
            result[L"errorCode"] = L"21015002";
            return false;
        });
    cloud.inQuireCloudFile.NextThrows("no line");
    Run(L"Local-1");
    ExpectKept("error UpLoadTaskManger|uploadTask|uploadTask Error:no line");
}

// UP-DONE-28, UP-DONE-15
TEST_F(UploadFinishRoads, AChangedFileGoesUpWholeInTheNextAttemptUnderItsNewHash) {
    Give(L"Local-1", L"a.bin", Content(40));
    cloud.objectsUploadComplete.Next([&](const Common::FileItem&, const Common::FragmentInfo&,
                                         const Common::GetKelpAddressModel&, const std::string&, const std::wstring&) {
        world.WriteFile(L"a.bin", Content(40, 2));
        return true;
    });
    Run(L"Local-1");
    EXPECT_EQ(Narrow(world.Row(L"Local-1").GetLocalFileSha256()), Sha256(Content(40, 2)));
    Journal::Clear();
    std::string told;
    cloud.filesCreateComplete.Before([&](const Common::FileItem&, const std::wstring&,
                                         Common::CreateUpdateRequestModel& model,
                                         WMap&) { told = Narrow(model.GetSha256()); });
    Run(L"Local-1");
    EXPECT_TRUE(Journal::Has(Kind::Cloud, "ObjectsUploadStart(Local-1, " + Sha256(Content(40, 2)) + ", )"));
    EXPECT_EQ(Journal::CountBeginning(Kind::Cloud, "UploadRequest("), 3) << "the objects sent before are abandoned";
    EXPECT_EQ(told, Sha256(Content(40, 2)));
    EXPECT_EQ(Narrow(world.Row(L"cloud-1").GetHash()), Sha256(Content(40, 2)));
}

// UP-DONE-29
TEST_F(UploadFinishRoads, AFileThatChangedIsCaughtOnThePathOfAnExistingOneToo) {
    Give(L"Local-1", L"a.bin", "content");
    cloud.objectsUploadStart.Always([&](Common::FileItem&, const std::wstring&, const std::wstring&, std::wstring&) {
        world.WriteFile(L"a.bin", "changed");
        return std::string(R"({"uploadType":"exist","version":1,"items":[{"objectId":"o"}]})");
    });
    Run(L"Local-1");
    EXPECT_EQ(cloud.filesCreateComplete.Calls(), 0);
    ExpectKept("error UpLoadTaskManger|fileCreateComplete|Check file hash error  fileId=Local-1;sha256=" +
               Sha256("changed") + ";md5=8977dfac2f8e04cb96e66882235f5aba");
    EXPECT_EQ(Record(L"Local-1"), "");
}

class UploadCleanUp : public UploadFinishRoads {
protected:
    void CleanUp(const Common::FileItem& file) { (Engine().*Reach(ClearCache()))(L"no number", file); }
};

// UP-CLEAN-04, UP-CLEAN-01
TEST_F(UploadCleanUp, OfAFileWithoutPicturesEmptiesItsRecordAndNothingElse) {
    Common::FileItem file = Give(L"Local-1", L"a.bin", "content");
    SetRecord(L"Local-1", "{}");
    CleanUp(file);
    EXPECT_EQ(Lines(), Texts{"db UpdateTaskItem(Local-1, {fragmentInfo: }, 2)"});
    EXPECT_EQ(Record(L"Local-1"), "");
}

// UP-CLEAN-06
TEST_F(UploadCleanUp, OfAnEmptyRecordIsTheSameCall) {
    Common::FileItem file = Give(L"Local-1", L"a.bin", "content");
    CleanUp(file);
    CleanUp(file);
    EXPECT_EQ(Lines(), Texts(2, "db UpdateTaskItem(Local-1, {fragmentInfo: }, 2)"));
    EXPECT_EQ(Record(L"Local-1"), "");
}

// UP-CLEAN-02, UP-CLEAN-05
TEST_F(UploadCleanUp, DeletesThePicturesInTheirOrderAlsoWhenOneIsGone) {
    Common::FileItem file = Give(L"Local-1", L"a.bin", "content");
    world.WriteFile(L"large.jpg", "picture");
    file.SetAttachmentFilePath({{L"large", world.Path(L"large.jpg")}, {L"small", world.Path(L"gone.jpg")}});
    CleanUp(file);
    EXPECT_EQ(Lines(), (Texts{"db UpdateTaskItem(Local-1, {fragmentInfo: }, 2)",
                              "common DeleteLocalFile(ROOT\\gone.jpg)", "common DeleteLocalFile(ROOT\\large.jpg)"}));
    EXPECT_FALSE(world.Exists(L"large.jpg"));
}

// UP-CLEAN-03
TEST_F(UploadCleanUp, OfWhichADeletionThrowsIsLoggedAndNotSeenByItsCaller) {
    Common::FileItem file = Give(L"Local-1", L"a.bin", "content");
    file.SetAttachmentFilePath({{L"large", world.Path(L"l.jpg")}, {L"small", world.Path(L"s.jpg")}});
    common.deleteLocalFile.NextThrows("no disk");
    EXPECT_NO_THROW(CleanUp(file));
    EXPECT_EQ(Lines({Kind::Error}),
              Texts{"error UpLoadTaskManger|clearCache|upload fail then clear cache error. no disk"});
    EXPECT_EQ(common.deleteLocalFile.Calls(), 1) << "what is not yet deleted stays";
}

}  // namespace
}  // namespace Drive::Testing
