#include <gtest/gtest.h>

#include <cstring>

#include "interfaces/common/globals.h"
#include "tests/support/virtual_time.h"
#include "tests/unit/upload/upload_bench.h"

namespace Drive::Testing {
namespace {

class UploadFinish : public UploadBench {
protected:
    void FailCompletion(const std::wstring& errorCode, const std::wstring& description) {
        cloud.filesCreateComplete.Always(
            [=](const Common::FileItem&, const std::wstring&, Common::CreateUpdateRequestModel&, WMap& result) {
                result[L"errorCode"] = errorCode;
                result[L"description"] = description;
                return false;
            });
    }

    /// What the worker made of the attempt, as its trace tells.
    std::string Outcome() const {
        for (const std::string& line : Journal::Texts(Kind::Trace)) {
            const std::string beginning = "UpLoadTaskManger.UploadThreadFunc:file upload task end ";
            if (line.rfind(beginning, 0) == 0) return line.substr(beginning.size());
        }
        return "none";
    }

    Common::CreateUpdateRequestModel ModelOf(const std::wstring& fileId) {
        Common::CreateUpdateRequestModel kept{Common::FileItem()};
        const auto keep = [&](const Common::FileItem&, const std::wstring&, Common::CreateUpdateRequestModel& model,
                              WMap&) { kept = model; };
        cloud.filesCreateComplete.Before(keep);
        cloud.filesUpdateComplete.Before(keep);
        Run(fileId);
        return kept;
    }
};

// UP-DONE-01
TEST_F(UploadFinish, ALocalIdIsCreatedWithBothWrappedKeysTypeOneFirst) {
    Give(L"Local-1", L"a.bin", "content");
    common.getFileHmac.AlwaysReturns(std::string(32, 'a') + std::string(32, 'b'));
    common.getEfek.Always([](const std::string& fek, const Common::Bytes& key, const std::string& iv) {
        return fek.substr(0, 2) + "-" + std::to_string(key.size()) + "-" + std::to_string(key[0]) + "-" +
               iv.substr(0, 2);
    });
    const Common::CreateUpdateRequestModel model = ModelOf(L"Local-1");
    EXPECT_TRUE(model.GetIsCreateNew());
    EXPECT_EQ(cloud.filesUpdateComplete.Calls(), 0);
    const std::vector<Common::EncFekList> keys = model.GetEncFekList();
    ASSERT_EQ(keys.size(), 2u);
    EXPECT_EQ(keys[0].keyUid, L"key-1");
    EXPECT_EQ(keys[0].keyType, 1);
    EXPECT_EQ(keys[0].efek, L"aa-16-1-bb");
    EXPECT_EQ(keys[0].iv, std::wstring(32, L'b'));
    EXPECT_EQ(keys[0].encryptAlgorithm, L"AES_128");
    EXPECT_EQ(keys[1].keyUid, L"key-3");
    EXPECT_EQ(keys[1].keyType, 3);
    EXPECT_EQ(keys[1].efek, L"aa-32-101-bb");
    EXPECT_EQ(keys[1].iv, std::wstring(32, L'b'));
    EXPECT_EQ(keys[1].encryptAlgorithm, L"AES_256");
}

// UP-DONE-02
TEST_F(UploadFinish, AnyOtherIdIsUpdated) {
    Give(L"file-1", L"a.bin", "content");
    EXPECT_FALSE(ModelOf(L"file-1").GetIsCreateNew());
    EXPECT_EQ(cloud.filesCreateComplete.Calls(), 0);
    EXPECT_TRUE(Journal::Has(Kind::Cloud, "FilesUpdateComplete(file-1, cursor-file-1)"));
    EXPECT_EQ(world.Row(L"file-1").GetFileStatus(), 1);
}

// UP-DONE-03
TEST_F(UploadFinish, TheModelCarriesTheDigestsOfThisAttempt) {
    Give(L"Local-1", L"a.bin", "content");
    const Common::CreateUpdateRequestModel model = ModelOf(L"Local-1");
    EXPECT_EQ(Narrow(model.GetSha256()), Sha256("content"));
    EXPECT_EQ(model.GetMD5(), L"9a0364b9e99bb480dd25e1f0284c8555");
    EXPECT_EQ(model.GetSize(), 7);
}

// UP-DONE-04
TEST_F(UploadFinish, WithoutTheSecondKeyNoCallIsMadeAndTheLineShowsTheFirst) {
    Give(L"Local-1", L"a.bin", "content");
    std::memset(g_SyncUserKey_sfek, 0, kKeyBufferBytes);
    common.getEfek.Always([](const std::string&, const Common::Bytes& key, const std::string&) {
        return key[0] == 0 ? std::string() : std::string("wrapped");
    });
    Run(L"Local-1");
    EXPECT_TRUE(InOrder(Lines(), {"error UpLoadTaskManger|fileCreateComplete|efek or sfek is empty; efek=wrapped;sfek=",
                                  "trace UpLoadTaskManger.uploadTask:fileCreateUpdateComplete fail. fileid=Local-1; "
                                  "errorMsg:"}))
        << Journal::Dump();
    EXPECT_EQ(cloud.filesCreateComplete.Calls(), 0);
    EXPECT_EQ(Outcome(), "failure fileid=Local-1");
}

// UP-DONE-05
TEST_F(UploadFinish, AnExceptionOfTheFinishingCallIsAFailure) {
    Give(L"Local-1", L"a.bin", "content");
    cloud.filesCreateComplete.AlwaysThrows("cut off");
    Run(L"Local-1");
    EXPECT_TRUE(InOrder(Lines(),
                        {"error UpLoadTaskManger|fileCreateComplete|fileCreateComplete error. cut off",
                         "trace UpLoadTaskManger.uploadTask:fileCreateUpdateComplete fail. fileid=Local-1; errorMsg:"}))
        << Journal::Dump();
    EXPECT_EQ(Outcome(), "failure fileid=Local-1");
}

// UP-DONE-06, UP-DONE-07
TEST_F(UploadFinish, AFailedCompletionIsToldWithTheCloudsWords) {
    Give(L"Local-1", L"a.bin", "content");
    FailCompletion(L"", L"not today");
    Run(L"Local-1");
    EXPECT_TRUE(
        InOrder(Lines(), {"trace UpLoadTaskManger.uploadTask:fileCreateUpdateComplete fail. fileid=Local-1; "
                          "errorMsg:not today",
                          "stat 15002|UpLoadTaskManger::fileCreateUpdateComplete |fileCreateUpdateComplete fail. "
                          "fileid=Local-1,errorMsg:not today"}))
        << Journal::Dump();
    EXPECT_EQ(Outcome(), "failure fileid=Local-1");
    EXPECT_TRUE(world.HasTask(L"Local-1", 2));
}

// UP-DONE-08
TEST_F(UploadFinish, MissingObjectsDeleteTheTaskForRetry) {
    Give(L"Local-1", L"a.bin", "content");
    FailCompletion(L"21004932", L"");
    Run(L"Local-1");
    EXPECT_EQ(Outcome(), "fail del for retry task fileid=Local-1");
    EXPECT_EQ(world.Row(L"Local-1").GetFileStatus(), 13);
    EXPECT_EQ(world.Row(L"Local-1").GetStatus(), 0);
}

// UP-DONE-09
TEST_F(UploadFinish, AnUnknownParentKeepsTheTask) {
    Give(L"Local-1", L"a.bin", "content");
    FailCompletion(L"21000401", L"");
    Run(L"Local-1");
    EXPECT_EQ(Outcome(), "failure fileid=Local-1");
    EXPECT_TRUE(world.HasTask(L"Local-1", 2));
}

// UP-DONE-10
TEST_F(UploadFinish, AFileThatTheCloudAlreadyHasIsTakenAsItIs) {
    Give(L"Local-1", L"a.bin", "content");
    FailCompletion(L"21015002", L"exists");
    cloud.inQuireCloudFile.Always([](const Common::FileItem&, WMap& result) {
        EXPECT_TRUE(result.empty());
        result[L"id"] = L"there-already";
        return true;
    });
    Run(L"Local-1");
    EXPECT_EQ(Outcome(), "Success fileid=Local-1");
    EXPECT_EQ(world.Row(L"there-already").GetFileStatus(), 1);
    EXPECT_EQ(cloud.getUserSpace.Calls(), 1) << "no refresh on this road";
}

// UP-DONE-11
TEST_F(UploadFinish, AFileThatTheCloudSaysItHasButDoesNotShowKeepsItsTask) {
    Give(L"Local-1", L"a.bin", "content");
    FailCompletion(L"21015002", L"exists");
    Run(L"Local-1");
    EXPECT_EQ(cloud.inQuireCloudFile.Calls(), 1);
    EXPECT_EQ(Outcome(), "failure fileid=Local-1");
    EXPECT_TRUE(world.HasTask(L"Local-1", 2));
}

// UP-DONE-12
TEST_F(UploadFinish, AnyOtherCodeDeletesTheTaskAndHoldsTheFileBack) {
    Give(L"Local-1", L"a.bin", "content");
    FailCompletion(L"12345", L"");
    Run(L"Local-1");
    EXPECT_EQ(Outcome(), "fail del task fileid=Local-1");
    EXPECT_EQ(world.Row(L"Local-1").GetStatus(), 5);
    EXPECT_FALSE(world.HasTask(L"Local-1", 2));
}

// UP-DONE-13
TEST_F(UploadFinish, AnAnswerWithoutAVersionKeepsTheColumnAndCategoryBecomesKind) {
    Common::FileItem file = Give(L"file-1", L"a.bin", "content");
    file.SetContentVersion(L"41");
    world.Put(file);
    cloud.filesUpdateComplete.Always(
        [](const Common::FileItem&, const std::wstring&, Common::CreateUpdateRequestModel&, WMap& result) {
            result[L"id"] = L"file-1";
            result[L"category"] = L"document";
            return true;
        });
    Run(L"file-1");
    EXPECT_EQ(world.Row(L"file-1").GetContentVersion(), L"41");
    EXPECT_EQ(world.Row(L"file-1").GetKind(), L"document");
    EXPECT_TRUE(Journal::Has(Kind::Database,
                             "UpdateDriveData(file-1, {fileId: file-1, fileStatus: 1, kind: document, parentFolder: , "
                             "status: 0})"))
        << Journal::Dump();
}

// UP-DONE-14
TEST_F(UploadFinish, AnAnswerWithoutAnIdWritesAnEmptyOne) {
    Give(L"Local-1", L"Folder\\a.bin", "content");
    cloud.filesCreateComplete.AlwaysReturns(true);
    Run(L"Local-1");
    EXPECT_TRUE(Journal::Has(Kind::Database,
                             "UpdateDriveData(Local-1, {fileId: , fileStatus: 1, parentFolder: Folder\\, status: 0})"))
        << Journal::Dump();
    EXPECT_TRUE(Journal::Has(
        Kind::Trace, "fileCreateUpdateComplete success. [LocalFileId:Local-1][CloudFileId:][parentId:root-id]"));
}

// UP-DONE-15
TEST_F(UploadFinish, AChangedFileFailsWithTheNewHashAndAnEmptyRecord) {
    Give(L"Local-1", L"a.bin", "content");
    cloud.objectsUploadComplete.Before([&](const Common::FileItem&, const Common::FragmentInfo&,
                                           const Common::GetKelpAddressModel&, const std::string&,
                                           const std::wstring&) { world.WriteFile(L"a.bin", "changed"); });
    Run(L"Local-1");
    const std::string sha = Sha256("changed");
    EXPECT_TRUE(InOrder(
        Lines(),
        {"debug file uploadStart GetFileSha256 filename=:a.bin",
         "trace UpLoadTaskManger.uploadTask: Check file hash Begin fileId=Local-1", "common GetFileHash(ROOT\\a.bin)",
         "db UpdateDriveData(Local-1, {hash: " + sha + ", localFileSha256: " + sha + "})",
         "db UpdateTaskItem(Local-1, {fragmentInfo: }, 2)",
         "error UpLoadTaskManger|fileCreateComplete|Check file hash error  fileId=Local-1;sha256=" + sha +
             ";md5=8977dfac2f8e04cb96e66882235f5aba"}))
        << Journal::Dump();
    EXPECT_EQ(Journal::CountBeginning(Kind::Trace, "UpLoadTaskManger.uploadTask: Check file hash End"), 0);
    EXPECT_EQ(cloud.filesCreateComplete.Calls(), 0);
    EXPECT_EQ(Outcome(), "failure fileid=Local-1");
    EXPECT_EQ(Record(L"Local-1"), "");
    EXPECT_EQ(Narrow(world.Row(L"Local-1").GetHash()), sha);
}

// UP-DONE-16
TEST_F(UploadFinish, AnEmptyMd5IsAMismatch) {
    Give(L"Local-1", L"a.bin", "content");
    common.getFileHash.Always([](const std::wstring&, std::wstring& sha256, std::wstring& md5) {
        sha256 = Wide(Sha256("content"));
        md5.clear();
        return true;
    });
    Run(L"Local-1");
    EXPECT_EQ(cloud.filesCreateComplete.Calls(), 0);
    EXPECT_EQ(Outcome(), "failure fileid=Local-1");
}

// UP-DONE-17
TEST_F(UploadFinish, AFileThatCannotBeReadAgainIsNoMismatchAndGoesWithoutAnMd5) {
    Give(L"Local-1", L"a.bin", "content");
    common.getFileHash.AlwaysReturns(false);
    EXPECT_EQ(ModelOf(L"Local-1").GetMD5(), L"");
    EXPECT_TRUE(Journal::Has(Kind::Trace, "UpLoadTaskManger.uploadTask: Check file hash End fileId=Local-1"));
    EXPECT_EQ(Outcome(), "Success fileid=Local-1");
}

// UP-DONE-18
TEST_F(UploadFinish, AFileThatTheCloudHasMovesNoContentAndNamesNoBucket) {
    Common::FileItem file = Give(L"Local-1", L"a.bin", "content");
    file.SetName(L"");
    world.Put(file);
    Journal::Clear();
    cloud.objectsUploadStart.Always([](Common::FileItem&, const std::wstring&, const std::wstring&, std::wstring&) {
        return std::string(R"({"uploadType":"exist","version":1,"bucketId":"b","recordCursor":"c","sliceSize":64,)"
                           R"("items":[{"objectId":"o1"},{"objectId":"o2"}]})");
    });
    std::wstring name;
    cloud.filesCreateComplete.Always(
        [&](const Common::FileItem& item, const std::wstring&, Common::CreateUpdateRequestModel& model, WMap& result) {
            name = item.GetName();
            EXPECT_EQ(model.GetEncFekList().size(), 2u);
            EXPECT_EQ(model.GetObjectInfoList().size(), 1u);
            EXPECT_EQ(model.GetObjectInfoList().at(0).bucketId, L"");
            EXPECT_EQ(model.GetObjectInfoList().at(0).sliceSize, 64);
            EXPECT_EQ(model.GetObjectInfoList().at(0).objectIds, (std::vector<std::wstring>{L"o1", L"o2"}));
            result[L"id"] = L"cloud-1";
            return true;
        });
    Run(L"Local-1");
    EXPECT_EQ(name, L"a.bin");
    EXPECT_TRUE(InOrder(Lines(), {"trace file exist upload. fileid=Local-1",
                                  "stat 15002|UpLoadTaskManger::uploadTask |file exist upload. fileid=Local-1",
                                  "common GetFileHash(ROOT\\a.bin)", "cloud FilesCreateComplete(Local-1, c)"}))
        << Journal::Dump();
    EXPECT_EQ(cloud.uploadRequest.Calls(), 0);
    EXPECT_EQ(Journal::CountBeginning(Kind::File, "CreateFileW"), 0);
}

// UP-DONE-19
TEST_F(UploadFinish, AnExistingFileWithoutObjectsIsCompletedWithAnEmptyListAndItsOwnName) {
    Common::FileItem file = Give(L"Local-1", L"a.bin", "content");
    file.SetName(L"cloud name");
    world.Put(file);
    cloud.objectsUploadStart.Always([](Common::FileItem&, const std::wstring&, const std::wstring&, std::wstring&) {
        return std::string(R"({"uploadType":"exist","version":1})");
    });
    const Common::CreateUpdateRequestModel model = ModelOf(L"Local-1");
    EXPECT_TRUE(model.GetObjectInfoList().empty());
    EXPECT_EQ(model.GetFileName(), L"cloud name");
}

// UP-DONE-20
TEST_F(UploadFinish, ASmallSpaceAfterTheUploadIsToldToTheClient) {
    g_SpaceIsFullSize = 100;
    for (const std::int64_t space : {std::int64_t{99}, std::int64_t{1}}) {
        Give(L"Local-1", L"a.bin", "content");
        cloud.getUserSpace.NextReturns(std::int64_t{1} << 40);
        cloud.getUserSpace.NextReturns(space);
        Run(L"Local-1");
        EXPECT_EQ(Journal::Count(Kind::Message, "DiskStatus(2)"), 1) << space;
    }
}

// UP-DONE-21
TEST_F(UploadFinish, ASpaceThatIsEnoughOrUnknownIsNotTold) {
    g_SpaceIsFullSize = 100;
    for (const std::int64_t space : {std::int64_t{100}, std::int64_t{0}, std::int64_t{-1}}) {
        Give(L"file-1", L"a.bin", "content");
        cloud.getUserSpace.NextReturns(std::int64_t{1} << 40);
        cloud.getUserSpace.NextReturns(space);
        Run(L"file-1");
        EXPECT_EQ(Journal::CountBeginning(Kind::Message, "DiskStatus"), 0) << space;
    }
}

// UP-DONE-22
TEST_F(UploadFinish, AFailureOfTheRefreshDoesNotTouchTheUpload) {
    Give(L"Local-1", L"a.bin", "content");
    cloud.getUserSpace.NextDefault();
    cloud.getUserSpace.NextThrows("no line");
    Run(L"Local-1");
    EXPECT_EQ(Lines({Kind::Error}),
              (Texts{"error UpLoadTaskManger| upload complete refresh space|GetAndTransferDiskStatus error"}));
    EXPECT_EQ(Outcome(), "Success fileid=Local-1");
}

// UP-DONE-22
TEST_F(UploadFinish, ARefreshThatCannotBeStartedDoesNotTouchTheUploadEither) {
    Give(L"Local-1", L"a.bin", "content");
    ScriptedPool::FailNextTasks(1);
    Run(L"Local-1");
    EXPECT_EQ(Lines({Kind::Error}),
              (Texts{"error UpLoadTaskManger| upload complete refresh space|GetAndTransferDiskStatus error"}));
    EXPECT_EQ(Outcome(), "Success fileid=Local-1");
}

// UP-DONE-23
TEST_F(UploadFinish, TheWorkerDoesNotWaitForTheRefresh) {
    Give(L"Local-1", L"a.bin", "content");
    cloud.getUserSpace.NextDefault();
    cloud.getUserSpace.Next([](std::wstring&) {
        VirtualTime::Pause(30000);
        return std::int64_t{1};
    });
    VirtualTime::Run(0, [&] {
        Work(L"Local-1");
        EXPECT_EQ(VirtualTime::Now(), 0);
        EXPECT_TRUE(VirtualTime::Drain(60000));
    });
}

}  // namespace
}  // namespace Drive::Testing
