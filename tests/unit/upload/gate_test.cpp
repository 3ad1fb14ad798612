#include <gtest/gtest.h>

#include "interfaces/common/globals.h"
#include "interfaces/platform/file_calls.h"
#include "tests/unit/upload/upload_bench.h"
#include "upload/upload_task_manager.h"

namespace Drive::Testing {
namespace {

class UploadGate : public UploadBench {
protected:
    /// Runs a file that some check stops, and tells whether that check came before all later ones.
    Texts ReportsOf(const std::wstring& fileId) {
        Run(fileId);
        EXPECT_EQ(cloud.objectsUploadStart.Calls(), 0);
        return Reports();
    }

    int Priority(const std::wstring& fileId) const { return world.Task(fileId, 2).GetPriority(); }
};

std::string TaskError(const std::string& text) { return "error UpLoadTaskManger|uploadTask|" + text; }
std::string TaskStatistic(const std::string& text) { return "stat 15002|UpLoadTaskManger::uploadTask |" + text; }

// UP-GATE-01
TEST_F(UploadGate, AMigrationStopsBeforeAnyLookAtTheFile) {
    g_cloudServerIsMigrating = true;
    Give(L"Local-1", L"a.bin", "content");
    EXPECT_EQ(ReportsOf(L"Local-1"), (Texts{TaskError("CloudServerIsMigrating Stop upload Task fileid:Local-1")}));
    EXPECT_EQ(Lines({Kind::Common}), (Texts{"common RefreshFile(ROOT\\a.bin)"}));
}

// UP-GATE-02
TEST_F(UploadGate, AFileWithoutARowFails) {
    Give(L"Local-1", L"a.bin", "content");
    world.Sql({"DELETE FROM T_cloudDriveData"});
    EXPECT_EQ(ReportsOf(L"Local-1"), (Texts{TaskError("Terminate upload task: fileid is empty.Task ID:Local-1")}));
    EXPECT_EQ(Priority(L"Local-1"), 4);
}

// UP-GATE-04
TEST_F(UploadGate, APlaceholderHasNothingToUpload) {
    Give(L"Local-1", L"a.bin", "content");
    common.isPlaceholder.AlwaysReturns(true);
    EXPECT_EQ(ReportsOf(L"Local-1"), (Texts{TaskError("Terminate upload task:File is Placeholder. fileid=Local-1")}));
    EXPECT_EQ(common.isFileExists.Calls(), 0);
}

// UP-GATE-05
TEST_F(UploadGate, APlaceholderWhoseRowHasMovedOnIsLeftAlone) {
    Give(L"Local-1", L"a.bin", "content");
    common.isPlaceholder.Always([&](const std::wstring&) {
        world.Sql({"UPDATE T_cloudDriveData SET fileStatus = 22"});
        return true;
    });
    Run(L"Local-1");
    EXPECT_EQ(world.Row(L"Local-1").GetFileStatus(), 22);
}

// UP-GATE-06
TEST_F(UploadGate, AFileThatIsGoneIsForgotten) {
    Give(L"Local-1", L"a.bin", "content");
    std::remove(world.NativeFile(L"a.bin").c_str());
    EXPECT_EQ(ReportsOf(L"Local-1"),
              (Texts{TaskError("Terminate upload task:File is not exists. fileid=Local-1"),
                     TaskStatistic("Terminate upload task:File is not exists. fileid=Local-1")}));
}

// UP-GATE-07
TEST_F(UploadGate, ANameOfTheLongestLengthPassesAndOneCharacterMoreDoesNot) {
    g_FolderNameMaxLength = 5;
    g_isOffLine = true;
    Give(L"Local-1", L"12345", "content");
    Give(L"Local-2", L"123456", "content");
    EXPECT_EQ(ReportsOf(L"Local-1").front(),
              TaskError("Terminate upload task:Network connection is broken. fileid=Local-1"));
    Journal::Clear();
    EXPECT_EQ(ReportsOf(L"Local-2"),
              (Texts{TaskError("Terminate upload task:fileName invalid with size not exceed 80. fileid=Local-2"),
                     TaskStatistic("Terminate upload task:fileName invalid with size not exceed 80. fileid=Local-2")}));
    EXPECT_EQ(world.Row(L"Local-2").GetStatus(), 5);
}

// UP-GATE-08
TEST_F(UploadGate, ANameIsMeasuredInWideCharacters) {
    g_FolderNameMaxLength = 3;
    g_isOffLine = true;
    Give(L"Local-1", L"\u00e4\u00f6\u00fc", "content");
    EXPECT_EQ(ReportsOf(L"Local-1").front(),
              TaskError("Terminate upload task:Network connection is broken. fileid=Local-1"));
}

// UP-GATE-09
TEST_F(UploadGate, FiftyGibibytesPassAndOneByteMoreDoesNot) {
    g_isOffLine = true;
    Give(L"Local-1", L"a.bin", "content");
    Give(L"Local-2", L"b.bin", "content");
    common.getFileSizeApi.NextReturns(std::int64_t{53687091200});
    common.getFileSizeApi.NextReturns(std::int64_t{53687091201});
    EXPECT_EQ(ReportsOf(L"Local-1").front(),
              TaskError("Terminate upload task:Network connection is broken. fileid=Local-1"));
    Journal::Clear();
    EXPECT_EQ(ReportsOf(L"Local-2"),
              (Texts{TaskError("Terminate upload task:File size exceeds limit Or empty. fileid=Local-2"),
                     TaskStatistic("Terminate upload task:File size exceeds limit Or empty. fileid=Local-2")}));
}

// UP-GATE-10
TEST_F(UploadGate, AnEmptyFileAndOneWithoutASizeAreRefused) {
    Give(L"Local-1", L"a.bin", "");
    Give(L"Local-2", L"b.bin", "content");
    EXPECT_EQ(ReportsOf(L"Local-1").front(),
              TaskError("Terminate upload task:File size exceeds limit Or empty. fileid=Local-1"));
    Journal::Clear();
    common.getFileSizeApi.AlwaysReturns(std::int64_t{-1});
    EXPECT_EQ(ReportsOf(L"Local-2").front(),
              TaskError("Terminate upload task:File size exceeds limit Or empty. fileid=Local-2"));
}

// UP-GATE-03
TEST_F(UploadGate, TheSizeIsThatOnDiskNotThatOfTheRow) {
    Common::FileItem file = Give(L"Local-1", L"a.bin", "content");
    file.SetSize(0);
    world.Put(file);
    Journal::Clear();
    Run(L"Local-1");
    EXPECT_EQ(world.Row(L"cloud-1").GetFileStatus(), 1);
    EXPECT_EQ(world.Row(L"cloud-1").GetSize(), 7);
}

// UP-GATE-11
TEST_F(UploadGate, AParentThatIsStillLocalFails) {
    Common::FileItem file = Give(L"Local-1", L"Folder\\a.bin", "content");
    file.SetLocalParentId(L"Local-folder");
    world.Put(file);
    Journal::Clear();
    EXPECT_EQ(ReportsOf(L"Local-1"),
              (Texts{TaskError("Terminate upload task:File Parent Id Is Local. fileid=Local-1"),
                     TaskStatistic("Terminate upload task:File Parent Id Is Local. fileid=Local-1")}));
    EXPECT_EQ(Priority(L"Local-1"), 4);
}

// UP-GATE-12
TEST_F(UploadGate, WithoutANetworkNothingIsRead) {
    g_isOffLine = true;
    Give(L"Local-1", L"a.bin", "content");
    EXPECT_EQ(ReportsOf(L"Local-1"),
              (Texts{TaskError("Terminate upload task:Network connection is broken. fileid=Local-1"),
                     TaskStatistic("Terminate upload task:Network connection is broken. fileid=Local-1")}));
    EXPECT_EQ(common.getFileHmac.Calls(), 0);
}

// UP-GATE-13
TEST_F(UploadGate, WithoutAKeyTextTheFileIsQueuedAgain) {
    Give(L"Local-1", L"a.bin", "content");
    common.getFileHmac.AlwaysReturns(std::string());
    EXPECT_EQ(ReportsOf(L"Local-1"),
              (Texts{TaskError("Terminate upload task: hmac is empty. fileid=Local-1"),
                     TaskStatistic("Terminate upload task:hmac is empty. fileid. fileid=Local-1")}));
    EXPECT_TRUE(Journal::Has(Kind::Database,
                             "ExecuteMulitNoQuerySQL([UPDATE T_cloudDriveData SET fileStatus = 11 WHERE fileId = "
                             "'Local-1' AND fileStatus IN(1,12,13); ])"));
    EXPECT_EQ(world.Row(L"Local-1").GetFileStatus(), 11);
    EXPECT_FALSE(world.HasTask(L"Local-1", 2));
}

// UP-GATE-15
TEST_F(UploadGate, SpaceThatCannotBeAskedFails) {
    Give(L"Local-1", L"a.bin", "content");
    cloud.space = -1;
    EXPECT_EQ(ReportsOf(L"Local-1"),
              (Texts{TaskError("Terminate upload task:Get userspace error. fileid=Local-1;UserSpace=-1"),
                     TaskStatistic("Terminate upload task:Get userspace error. fileid=Local-1")}));
    EXPECT_EQ(Journal::CountBeginning(Kind::Callback, "task(1"), 0);
    EXPECT_EQ(Priority(L"Local-1"), 4);
}

// UP-GATE-16
TEST_F(UploadGate, AFullSpaceNotifiesOnceInTheLifeOfTheProcess) {
    cloud.space = 3;
    Give(L"Local-1", L"a.bin", "content");
    EXPECT_EQ(ReportsOf(L"Local-1"),
              (Texts{TaskError("Terminate upload task:User Space Is Full. fileid=Local-1;UserSpace=3"),
                     TaskStatistic("Terminate upload task:User Space Is Full. fileid=Local-1;UserSpace=3")}));
    EXPECT_EQ(Journal::Count(Kind::Callback, "task(1, 2)"), 1);
    Run(L"Local-1");
    EXPECT_EQ(Journal::Count(Kind::Callback, "task(1, 2)"), 1);
    EXPECT_EQ(Journal::Count(Kind::Error,
                             "UpLoadTaskManger|uploadTask|Terminate upload task:User Space Is Full. "
                             "fileid=Local-1;UserSpace=3"),
              2);
    EXPECT_TRUE(world.HasTask(L"Local-1", 2));
    EXPECT_EQ(Priority(L"Local-1"), 7);
}

// UP-GATE-17
TEST_F(UploadGate, ASpaceThatIsAsLargeAsTheFileButBelowTheThresholdIsFull) {
    g_SpaceIsFullSize = 100;
    cloud.space = 99;
    Give(L"Local-1", L"a.bin", "content");
    EXPECT_EQ(ReportsOf(L"Local-1").size(), 2u);
    EXPECT_EQ(Journal::Count(Kind::Callback, "task(1, 2)"), 1);
}

// UP-GATE-19
TEST_F(UploadGate, ASpaceThatWillBeFullNotifiesOnceAndTheUploadGoesOn) {
    g_SpaceIsFullSize = 10;
    g_SpaceWillBeFullSize = 1000;
    cloud.space = 1000;
    Give(L"Local-1", L"a.bin", "content");
    Give(L"Local-2", L"b.bin", "content");
    Run(L"Local-1");
    EXPECT_TRUE(InOrder(Lines(), {TaskError("NotifySpaceWillFull. fileid=Local-1;UserSpace=1000"),
                                  TaskStatistic("NotifySpaceWillFull. fileid=Local-1;UserSpace=1000"),
                                  "callback task(1, 3)", "cloud FilesCreateComplete(Local-1, cursor-Local-1)"}))
        << Journal::Dump();
    Run(L"Local-2");
    EXPECT_EQ(Journal::Count(Kind::Callback, "task(1, 3)"), 1);
    EXPECT_EQ(Journal::CountBeginning(Kind::Error, "UpLoadTaskManger|uploadTask|NotifySpaceWillFull"), 1);
    EXPECT_EQ(world.Row(L"cloud-2").GetFileStatus(), 1);
}

// UP-GATE-20
TEST_F(UploadGate, AWillBeFullMessageThatIsNotDueIsNotSentAndNotLogged) {
    g_SpaceIsFullSize = 10;
    g_SpaceWillBeFullSize = 1000;
    cloud.space = 500;
    TransferService::UpLoadTaskManger::getInstance().SetFirstNotifySpaceWillFull(false);
    Give(L"Local-1", L"a.bin", "content");
    Run(L"Local-1");
    EXPECT_EQ(Journal::Count(Kind::Callback, "task(1, 3)"), 0);
    EXPECT_EQ(Journal::CountBeginning(Kind::Error, ""), 0);
}

// UP-GATE-21
TEST_F(UploadGate, AFileHeldBackIsLetThroughOnceTheSpaceAllowsIt) {
    Common::FileItem file = Give(L"Local-1", L"a.bin", "content");
    file.SetStatus(5);
    world.Put(file);
    Journal::Clear();
    Run(L"Local-1");
    EXPECT_TRUE(InOrder(
        Lines(), {"cloud GetUserSpace()", "db UpdateDriveData(Local-1, {status: 1})",
                  TaskError("user space restore. fileid=Local-1"), TaskStatistic("user space restore. fileid=Local-1"),
                  "common IsImageFile(application/octet-stream)"}))
        << Journal::Dump();
}

// UP-GATE-24
TEST_F(UploadGate, AnExceptionAnywhereFailsTheAttempt) {
    Give(L"Local-1", L"a.bin", "content");
    common.getFileHmac.AlwaysThrows("broken");
    EXPECT_EQ(ReportsOf(L"Local-1"), (Texts{TaskError("uploadTask Error:broken")}));
    EXPECT_EQ(world.Row(L"Local-1").GetFileStatus(), 13);
    EXPECT_EQ(Priority(L"Local-1"), 4);
}

class UploadParent : public UploadBench {
protected:
    Common::FileItem GiveWithLocalParent(const std::wstring& relative) {
        Common::FileItem file = Give(L"Local-1", relative, "content");
        file.SetLocalParentId(L"Local-folder");
        file.SetParentId(L"Local-folder");
        world.Put(file);
        Journal::Clear();
        return file;
    }

    void GiveFolder(const std::wstring& fileId, const std::wstring& relative) {
        Common::FileItem folder = world.File(fileId, relative, 0, 1);
        folder.SetIsFolder(true);
        world.Put(folder);
        Journal::Clear();
    }
};

// UP-PARENT-01
TEST_F(UploadParent, ARealParentIdTouchesNoRow) {
    Give(L"Local-1", L"Folder\\a.bin", "content");
    Run(L"Local-1");
    EXPECT_EQ(database.getDriveDataItem.Calls(), 0);
    EXPECT_EQ(world.Row(L"cloud-1").GetFileStatus(), 1);
}

// UP-PARENT-02
TEST_F(UploadParent, AFileInTheRootTakesTheRootIdInTheRowButNotInThisAttempt) {
    GiveWithLocalParent(L"a.bin");
    std::wstring sent;
    cloud.objectsUploadStart.Before([&](Common::FileItem& file, const std::wstring&, const std::wstring&,
                                        std::wstring&) { sent = file.GetLocalParentId(); });
    Run(L"Local-1");
    EXPECT_TRUE(Journal::Has(Kind::Database, "UpdateDriveData(Local-1, {localParentId: root-id, parentId: root-id})"));
    EXPECT_EQ(sent, L"Local-folder");
}

// UP-PARENT-03
TEST_F(UploadParent, AFolderInTheRootIsLookedUpByItsNameAndAnEmptyPath) {
    GiveFolder(L"folder-1", L"Folder");
    GiveWithLocalParent(L"Folder\\a.bin");
    std::wstring sent;
    cloud.objectsUploadStart.Before([&](Common::FileItem& file, const std::wstring&, const std::wstring&,
                                        std::wstring&) { sent = file.GetLocalParentId() + L"/" + file.GetParentId(); });
    Run(L"Local-1");
    EXPECT_TRUE(Journal::Has(Kind::Database, "GetDriveDataItem({localFileName: Folder, localParentFolder: })"))
        << Journal::Dump();
    EXPECT_TRUE(
        Journal::Has(Kind::Database, "UpdateDriveData(Local-1, {localParentId: folder-1, parentId: folder-1})"));
    EXPECT_EQ(sent, L"folder-1/folder-1");
}

// UP-PARENT-04
TEST_F(UploadParent, ANestedFolderIsLookedUpBelowItsParentsPath) {
    GiveFolder(L"folder-2", L"Folder\\Inner");
    GiveWithLocalParent(L"Folder\\Inner\\a.bin");
    Run(L"Local-1");
    EXPECT_TRUE(Journal::Has(Kind::Database, "GetDriveDataItem({localFileName: Inner, localParentFolder: Folder\\})"))
        << Journal::Dump();
    EXPECT_EQ(world.Row(L"cloud-1").GetLocalParentId(), L"folder-2");
}

// UP-PARENT-06
TEST_F(UploadParent, AFolderThatIsStillLocalOrWithoutARowChangesNothing) {
    GiveWithLocalParent(L"Folder\\a.bin");
    Run(L"Local-1");
    EXPECT_EQ(world.Row(L"Local-1").GetLocalParentId(), L"Local-folder");
    GiveFolder(L"Local-7", L"Folder");
    Run(L"Local-1");
    EXPECT_EQ(world.Row(L"Local-1").GetLocalParentId(), L"Local-folder");
    EXPECT_EQ(cloud.objectsUploadStart.Calls(), 0);
}

// UP-PARENT-07
TEST_F(UploadParent, ARowThatCannotBeWrittenFailsTheCheck) {
    GiveFolder(L"folder-1", L"Folder");
    GiveWithLocalParent(L"Folder\\a.bin");
    database.updateDriveData.NextDefault();
    database.updateDriveData.NextReturns(false);
    Run(L"Local-1");
    EXPECT_EQ(Reports().front(), TaskError("Terminate upload task:File Parent Id Is Local. fileid=Local-1"));
}

}  // namespace
}  // namespace Drive::Testing
