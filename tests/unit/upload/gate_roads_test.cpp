#include <gtest/gtest.h>

#include <functional>
#include <stdexcept>

#include "interfaces/common/globals.h"
#include "tests/support/private_access.h"
#include "tests/support/virtual_time.h"
#include "tests/unit/upload/upload_bench.h"
#include "upload/upload_task_manager.h"

namespace Drive::Testing {

using TransferService::UpLoadTaskManger;

struct UploadTask {
    using Type = TransferService::TaskResult (UpLoadTaskManger::*)(Common::TaskItem&, Common::FileItem&);
    friend Type Reach(UploadTask);
};
template struct PrivateMember<UploadTask, &UpLoadTaskManger::uploadTask>;

namespace {

std::string TaskError(const std::string& text) { return "error UpLoadTaskManger|uploadTask|" + text; }

class UploadGateRoads : public UploadBench {
protected:
    Common::FileItem GiveWith(const std::function<void(Common::FileItem&)>& change) {
        Common::FileItem file = Give(L"Local-1", L"Folder\\a.bin", "content");
        change(file);
        world.Put(file);
        Journal::Clear();
        return file;
    }
};

// UP-GATE-14
TEST_F(UploadGateRoads, ARowWithoutKeyTextThatHasMovedOnIsLeftAlone) {
    Give(L"Local-1", L"a.bin", "content");
    common.getFileHmac.Always([&](const std::wstring&) {
        world.Sql({"UPDATE T_cloudDriveData SET fileStatus = 22"});
        return std::string();
    });
    Run(L"Local-1");
    EXPECT_EQ(world.Row(L"Local-1").GetFileStatus(), 22);
    EXPECT_FALSE(world.HasTask(L"Local-1", 2));
}

// UP-GATE-18
TEST_F(UploadGateRoads, ASpaceOfExactlyTheFilesSizeIsEnoughAndOneByteLessIsNot) {
    g_SpaceIsFullSize = 0;
    g_SpaceWillBeFullSize = 0;
    Give(L"Local-1", L"a.bin", "content");
    cloud.space = 6;
    Run(L"Local-1");
    EXPECT_EQ(Reports().front(), TaskError("Terminate upload task:User Space Is Full. fileid=Local-1;UserSpace=6"));
    cloud.space = 7;
    Run(L"Local-1");
    EXPECT_EQ(world.Row(L"cloud-1").GetFileStatus(), 1);
}

// UP-GATE-29
TEST_F(UploadGateRoads, ASpaceOfExactlyTheThresholdIsNotFullAndOneAboveTheOtherIsEnough) {
    g_SpaceIsFullSize = 100;
    g_SpaceWillBeFullSize = 200;
    const std::pair<std::int64_t, int> spaces[] = {{201, 0}, {100, 1}};
    for (const auto& [space, told] : spaces) {
        Give(L"Local-1", L"a.bin", "content");
        cloud.space = space;
        Run(L"Local-1");
        EXPECT_FALSE(world.HasTask(L"Local-1", 2)) << space;
        EXPECT_EQ(Journal::Count(Kind::Callback, "task(1, 3)"), told) << space;
        EXPECT_EQ(Journal::Count(Kind::Callback, "task(1, 2)"), 0) << space;
    }
}

// UP-GATE-22
TEST_F(UploadGateRoads, AFileThatIsNotHeldBackKeepsItsStatusThroughTheSpaceCheck) {
    for (const int status : {0, 1, 4, 6}) {
        GiveWith([&](Common::FileItem& file) { file.SetStatus(status); });
        cloud.objectsUploadStart.AlwaysReturns(std::string());
        Run(L"Local-1");
        EXPECT_EQ(world.Row(L"Local-1").GetStatus(), status);
        EXPECT_EQ(Journal::CountBeginning(Kind::Error, "UpLoadTaskManger|uploadTask|user space restore"), 0);
    }
}

// UP-GATE-23
TEST_F(UploadGateRoads, TheChecksStandInThisOrderAndTheFirstThatStrikesSpeaksAlone) {
    struct Check {
        const char* error;
        std::size_t reports;
        std::function<void()> arrange;
    };
    const std::vector<Check> checks = {
        {"CloudServerIsMigrating Stop upload Task fileid:Local-1", 1, [] { g_cloudServerIsMigrating = true; }},
        {"Terminate upload task:File is Placeholder. fileid=Local-1", 1,
         [&] { common.isPlaceholder.AlwaysReturns(true); }},
        {"Terminate upload task:File is not exists. fileid=Local-1", 2,
         [&] { common.isFileExists.AlwaysReturns(false); }},
        {"Terminate upload task:fileName invalid with size not exceed 80. fileid=Local-1", 2,
         [] { g_FolderNameMaxLength = 1; }},
        {"Terminate upload task:File size exceeds limit Or empty. fileid=Local-1", 2,
         [&] { common.getFileSizeApi.AlwaysReturns(std::int64_t{0}); }},
        {"Terminate upload task:File Parent Id Is Local. fileid=Local-1", 2,
         [&] { world.Sql({"UPDATE T_cloudDriveData SET localParentId = 'Local-x'"}); }},
        {"Terminate upload task:Network connection is broken. fileid=Local-1", 2, [] { g_isOffLine = true; }},
        {"Terminate upload task: hmac is empty. fileid=Local-1", 2,
         [&] { common.getFileHmac.AlwaysReturns(std::string()); }},
        {"Terminate upload task:Get userspace error. fileid=Local-1;UserSpace=-1", 2, [&] { cloud.space = -1; }},
    };
    for (std::size_t first = 0; first < checks.size(); ++first) {
        g_cloudServerIsMigrating = g_isOffLine = false;
        g_FolderNameMaxLength = 80;
        cloud.space = 1 << 20;
        common.Reset();
        GiveWith([](Common::FileItem&) {});
        for (std::size_t i = first; i < checks.size(); ++i) checks[i].arrange();
        Journal::Clear();
        Run(L"Local-1");
        const Texts reports = Reports();
        ASSERT_EQ(reports.size(), checks[first].reports) << Joined(reports);
        EXPECT_EQ(reports[0], TaskError(checks[first].error));
        EXPECT_EQ(cloud.objectsUploadStart.Calls(), 0);
    }
}

// UP-GATE-25
TEST_F(UploadGateRoads, AnExceptionOfEachOperationFailsTheAttemptAndTheNextOneSucceeds) {
    struct Thrower {
        const char* name;
        std::function<void()> arrange;
    };
    const auto at = [](auto& operation, int call) {
        for (int i = 1; i < call; ++i) operation.NextDefault();
        operation.NextThrows("broken");
    };
    const std::vector<Thrower> throwers = {
        {"media type", [&] { at(common.getFileMimeType, 1); }},
        {"size", [&] { at(common.getFileSizeApi, 1); }},
        {"placeholder", [&] { at(common.isPlaceholder, 1); }},
        {"statement", [&] { common.isPlaceholder.NextReturns(true), at(database.executeMulitNoQuerySQL, 1); }},
        {"existence", [&] { at(common.isFileExists, 1); }},
        {"forgetting", [&] { common.isFileExists.NextReturns(false), at(database.deleteDriveDataItem, 1); }},
        {"parent", [&] { at(common.isLocalDirectory, 1); }},
        {"folder's row", [&] { common.isLocalDirectory.NextReturns(true), at(database.getDriveDataItem, 1); }},
        {"key text", [&] { at(common.getFileHmac, 1); }},
        {"space", [&] { at(cloud.getUserSpace, 1); }},
        {"held back",
         [&] {
             world.Sql({"UPDATE T_cloudDriveData SET status = 5"});
             at(database.updateDriveData, 2);
         }},
        {"image", [&] { at(common.isImageFile, 1); }},
        {"video", [&] { at(common.isVideoFile, 1); }},
        {"attachment", [&] { at(common.hasAttachment, 1); }},
        {"opening", [&] { at(files.createFileW, 1); }},
        {"existence among the objects", [&] { at(common.isFileExists, 2); }},
        {"closing", [&] { at(files.closeHandle, 1); }},
        {"hash check", [&] { at(common.getFileHash, 1); }},
        {"finished row", [&] { at(database.updateDriveData, 3); }},
    };
    for (const Thrower& thrower : throwers) {
        SCOPED_TRACE(thrower.name);
        GiveWith([](Common::FileItem&) {});
        thrower.arrange();
        Journal::Clear();
        Run(L"Local-1");
        EXPECT_EQ(Lines({Kind::Error}).back(), TaskError("uploadTask Error:broken")) << Journal::Dump();
        EXPECT_EQ(world.Row(L"Local-1").GetFileStatus(), 13);
        EXPECT_EQ(world.Task(L"Local-1", 2).GetPriority(), 4);
        EXPECT_EQ(world.Task(L"Local-1", 2).GetTaskstatus(), 0);
        EXPECT_EQ(Journal::Count(Kind::Callback, "task(2, 1)"), 1);
        EXPECT_TRUE(Journal::Has(Kind::Trace, "UpLoadTaskManger.UploadThreadFunc: End uploadTaskCount=:0"));
        Run(L"Local-1");
        EXPECT_FALSE(world.HasTask(L"Local-1", 2));
        EXPECT_TRUE(world.Row(L"Local-1").GetFileId().empty()) << "it stands under the cloud's id";
    }
}

// UP-GATE-26
TEST_F(UploadGateRoads, TheWorkersOwnItemStaysAsItWas) {
    Common::FileItem file = GiveWith([](Common::FileItem& item) {
        item.SetLocalParentId(L"Local-x");
        item.SetSize(3);
        item.SetName(L"other");
    });
    Common::FileItem folder = world.File(L"folder-1", L"Folder", 0, 1);
    folder.SetIsFolder(true);
    world.Put(folder);
    file = world.Row(L"Local-1");
    Common::TaskItem task = world.Task(L"Local-1", 2);
    VirtualTime::Run(0, [&] {
        EXPECT_EQ((UpLoadTaskManger::getInstance().*Reach(UploadTask()))(task, file),
                  TransferService::TaskResultSuccess);
        EXPECT_TRUE(VirtualTime::Drain(60000));
    });
    EXPECT_EQ(file.GetSize(), 3);
    EXPECT_EQ(file.GetHash(), L"");
    EXPECT_EQ(file.GetName(), L"other");
    EXPECT_EQ(file.GetMimeType(), L"");
    EXPECT_EQ(file.GetFileHMAC(), "");
    EXPECT_EQ(file.GetLocalParentId(), L"Local-x");
}

// UP-GATE-28
TEST_F(UploadGateRoads, ANotificationThatThrowsFailsTheAttemptAndStaysDue) {
    for (const bool full : {true, false}) {
        int told = 0;
        UpLoadTaskManger::getInstance().SetUploadTaskCallbackFun([&](int kind, int) {
            if (kind != 1) return;
            if (++told == 1) throw std::runtime_error("deaf");
        });
        g_SpaceIsFullSize = 10;
        g_SpaceWillBeFullSize = 1000;
        cloud.space = full ? 9 : 1000;
        GiveWith([](Common::FileItem&) {});
        Run(L"Local-1");
        EXPECT_EQ(Lines({Kind::Error}).back(), TaskError("uploadTask Error:deaf"));
        EXPECT_EQ(world.Row(L"Local-1").GetFileStatus(), 13);
        Run(L"Local-1");
        EXPECT_EQ(told, 2);
        EXPECT_EQ(world.HasTask(L"Local-1", 2), full);
    }
}

class UploadParentRoads : public UploadBench {
protected:
    void GiveInTheRoot() {
        Common::FileItem file = Give(L"Local-1", L"a.bin", "content");
        file.SetLocalParentId(L"Local-root");
        world.Put(file);
        Journal::Clear();
    }
};

// UP-PARENT-07
TEST_F(UploadParentRoads, ARowOfAFileInTheRootThatCannotBeWrittenFailsTheCheck) {
    GiveInTheRoot();
    database.updateDriveData.NextDefault();
    database.updateDriveData.NextReturns(false);
    Run(L"Local-1");
    EXPECT_EQ(Reports().front(), TaskError("Terminate upload task:File Parent Id Is Local. fileid=Local-1"));
    EXPECT_EQ(cloud.objectsUploadStart.Calls(), 0);
    Run(L"Local-1");
    EXPECT_FALSE(world.HasTask(L"Local-1", 2));
}

// UP-PARENT-08
TEST_F(UploadParentRoads, TheNextAttemptOfAFileInTheRootGoesOnWithTheRootsId) {
    GiveInTheRoot();
    std::vector<std::wstring> sent;
    cloud.objectsUploadStart.Before([&](Common::FileItem& file, const std::wstring&, const std::wstring&,
                                        std::wstring&) { sent.push_back(file.GetLocalParentId()); });
    cloud.objectsUploadStart.NextReturns(std::string());
    Run(L"Local-1");
    Run(L"Local-1");
    EXPECT_EQ(sent, (std::vector<std::wstring>{L"Local-root", L"root-id"}));
}

}  // namespace
}  // namespace Drive::Testing
