#include <gtest/gtest.h>

#include <functional>
#include <vector>

#include "service/shared/transfer_common.h"
#include "tests/support/engine_bench.h"

namespace Drive::Testing {
namespace {

using TransferService::TransferCommon;

class Claiming : public EngineBench {
protected:
    bool Claim(const std::wstring& fileId, int direction, bool claim = true, const std::wstring& path = L"") {
        task = Common::TaskItem();
        task.SetFileId(fileId);
        task.SetDirection(direction);
        return TransferCommon::getInstance().getTransferFileItem(task, file, path, claim);
    }

    Common::TaskItem task;
    Common::FileItem file;
};

// SVC-CLAIM-01
TEST_F(Claiming, ADownloadPutsTheFileToTwentyTwoOnce) {
    world.PutWithTask(world.File(L"F", L"f.txt", 7, 21), 1);
    EXPECT_TRUE(Claim(L"F", 1));
    EXPECT_EQ(file.GetFileStatus(), 22);
    EXPECT_EQ(world.Row(L"F").GetFileStatus(), 22);
    EXPECT_FALSE(Claim(L"F", 1));
    const Texts expected = {"db GetDriveDataItemWithKey(F)", "db UpdateDriveData(F, {fileStatus: 22})",
                            "db GetDriveDataItemWithKey(F)"};
    EXPECT_EQ(Joined(Lines()), Joined(expected));
}

// SVC-CLAIM-02
TEST_F(Claiming, AMereLookRefusesARunningDownloadAndChangesNothing) {
    for (const int status : {0, 1, 13, 21, 23}) {
        world.Put(world.File(L"F", L"f.txt", 7, status));
        EXPECT_TRUE(Claim(L"F", 1, false));
        EXPECT_EQ(world.Row(L"F").GetFileStatus(), status);
    }
    world.Put(world.File(L"F", L"f.txt", 7, 22));
    EXPECT_FALSE(Claim(L"F", 1, false));
}

// SVC-CLAIM-03
TEST_F(Claiming, AFailedDownloadMayBeTakenAgain) {
    world.Put(world.File(L"F", L"f.txt", 7, 23));
    EXPECT_TRUE(Claim(L"F", 1));
    EXPECT_EQ(world.Row(L"F").GetFileStatus(), 22);
}

// SVC-CLAIM-04
TEST_F(Claiming, ADownloadWhoseFileHasNoRowIsRefused) {
    EXPECT_FALSE(Claim(L"gone", 1));
    EXPECT_EQ(database.updateDriveData.Calls(), 0);
}

// SVC-CLAIM-05
TEST_F(Claiming, TheAnswerOfTheDownloadClaimsUpdateIsNotLookedAt) {
    world.Put(world.File(L"F", L"f.txt", 7, 21));
    database.updateDriveData.NextReturns(false);
    EXPECT_TRUE(Claim(L"F", 1));
    EXPECT_EQ(file.GetFileStatus(), 22);
}

// SVC-CLAIM-06
TEST_F(Claiming, ADownloadWithoutIdIsFoundByItsPath) {
    world.PutWithTask(world.File(L"F", L"a\\f.txt", 7, 21), 1);
    EXPECT_TRUE(Claim(L"", 1, false, world.Path(L"a\\f.txt")));
    EXPECT_EQ(task.GetFileId(), L"F");
    EXPECT_EQ(task.GetTaskId(), world.Task(L"F", 1).GetTaskId());
    const Texts expected = {
        "db ExcuteQuerySQL(SELECT IFNULL(c.fileId,'') as fileId, IFNULL(t.taskId,0) as taskId,c.fileStatus FROM "
        "T_cloudDriveData c LEFT JOIN T_task t ON t.fileId = c.fileId WHERE isFolder = 0  AND localFileName = 'f.txt' "
        "AND localParentFolder = 'a\\' AND c.fileId NOT LIKE 'Local%')"};
    EXPECT_EQ(Joined(Lines({Kind::Database})), Joined(expected));
}

// SVC-CLAIM-07
TEST_F(Claiming, ANameWithAQuoteIsNotFoundByItsPath) {
    world.Put(world.File(L"F", L"o'clock\\f.txt", 7, 21));
    EXPECT_FALSE(Claim(L"", 1, false, world.Path(L"o'clock\\f.txt")));
}

// SVC-CLAIM-08
TEST_F(Claiming, ALocalIdIsLeftOutOfThePathLookupUnlessTheFileInHandNamesIt) {
    world.Put(world.File(L"Local7", L"f.txt", 7, 21));
    EXPECT_FALSE(Claim(L"", 1, false, world.Path(L"f.txt")));
    file.SetFileId(L"Local7");
    EXPECT_TRUE(Claim(L"", 1, false, world.Path(L"f.txt")));
    EXPECT_EQ(task.GetFileId(), L"Local7");
}

// SVC-CLAIM-09
TEST_F(Claiming, AnUploadPutsTheFileToTwelveAndTheTaskToOne) {
    world.PutWithTask(world.File(L"U", L"u.txt", 7, 11), 2);
    EXPECT_TRUE(Claim(L"U", 2));
    const Texts expected = {"db GetDriveDataItemWithKey(U)",
                            "db UpdateDriveData(U, {fileStatus: 12})",
                            "trace FileId=U;Set TransferFileStatus To Uploading",
                            "db GetTaskItem(U, 2)",
                            "db UpdateTaskItem(U, {TaskStatus: 1}, 2)",
                            "trace FileId=U;Set Task To Run"};
    EXPECT_EQ(Joined(Lines()), Joined(expected));
    EXPECT_EQ(file.GetFileStatus(), 12);
    EXPECT_EQ(world.Task(L"U", 2).GetTaskstatus(), 1);
}

// SVC-CLAIM-10
TEST_F(Claiming, AnUploadOfAFileThatIsBeingUploadedIsRefused) {
    world.PutWithTask(world.File(L"U", L"u.txt", 7, 12), 2);
    EXPECT_FALSE(Claim(L"U", 2));
    const Texts expected = {"db GetDriveDataItemWithKey(U)", "trace FileId=U;File is Uploading"};
    EXPECT_EQ(Joined(Lines()), Joined(expected));
}

// SVC-CLAIM-11
TEST_F(Claiming, AnUploadWhoseTaskRunsIsRefusedAndTheFileStaysAtTwelve) {
    world.PutWithTask(world.File(L"U", L"u.txt", 7, 11), 2);
    world.Sql({"UPDATE T_task SET TaskStatus = 1"});
    EXPECT_FALSE(Claim(L"U", 2));
    EXPECT_TRUE(Journal::Has(Kind::Trace, "FileId=U;Task is Running"));
    EXPECT_EQ(world.Row(L"U").GetFileStatus(), 12);
}

// SVC-CLAIM-12
TEST_F(Claiming, AnUploadIsClaimedWhateverTheClaimFlagSays) {
    world.PutWithTask(world.File(L"U", L"u.txt", 7, 11), 2);
    EXPECT_TRUE(Claim(L"U", 2, false));
    EXPECT_EQ(world.Row(L"U").GetFileStatus(), 12);
}

// SVC-CLAIM-13
TEST_F(Claiming, AnUploadWithoutIdIsAnsweredTrueWithoutALook) {
    EXPECT_TRUE(Claim(L"", 2));
    EXPECT_EQ(Joined(Lines()), "");
}

// SVC-CLAIM-14
TEST_F(Claiming, AnUploadWhoseFileRowIsAbsentIsDecidedByItsTask) {
    world.PutWithTask(world.File(L"U", L"u.txt", 7, 11), 2);
    world.Sql({"DELETE FROM T_cloudDriveData"});
    EXPECT_TRUE(Claim(L"U", 2));
    EXPECT_EQ(world.Task(L"U", 2).GetTaskstatus(), 1);
    EXPECT_FALSE(Claim(L"U", 2));
}

// SVC-CLAIM-15
TEST_F(Claiming, AnUploadIsRefusedWhenItsTaskCannotBeWritten) {
    world.PutWithTask(world.File(L"U", L"u.txt", 7, 11), 2);
    database.updateTaskItem.NextReturns(false);
    EXPECT_FALSE(Claim(L"U", 2));
    EXPECT_FALSE(Journal::Has(Kind::Trace, "FileId=U;Set Task To Run"));
}

// SVC-CLAIM-16
TEST_F(Claiming, AnUploadGoesOnWhenItsFileRowCannotBeWritten) {
    world.PutWithTask(world.File(L"U", L"u.txt", 7, 11), 2);
    database.updateDriveData.NextReturns(false);
    EXPECT_TRUE(Claim(L"U", 2));
    EXPECT_EQ(file.GetFileStatus(), 11);
    EXPECT_FALSE(Journal::Has(Kind::Trace, "FileId=U;Set TransferFileStatus To Uploading"));
}

// SVC-CLAIM-17
TEST_F(Claiming, AnyOtherDirectionIsAnsweredTrue) {
    EXPECT_TRUE(Claim(L"X", 3));
    EXPECT_TRUE(Claim(L"X", 0));
    EXPECT_EQ(Joined(Lines()), "");
}

// SVC-CLAIM-18
TEST_F(Claiming, AnExceptionIsToldAndRefusesAndTheNextClaimIsNotHeldUp) {
    world.PutWithTask(world.File(L"F", L"f.txt", 7, 21), 1);
    database.getDriveDataItemWithKey.NextThrows("broken");
    EXPECT_FALSE(Claim(L"F", 1));
    EXPECT_TRUE(Journal::Has(Kind::Error, "TransferCommon|getTransferFileItem|error:broken"));
    EXPECT_TRUE(Claim(L"F", 1));
}

// SVC-CLAIM-19
TEST_F(Claiming, OfManyWorkersOnOneFileExactlyOneGoesOn) {
    for (const int direction : {1, 2}) {
        for (std::uint64_t seed = 1; seed <= 20; ++seed) {
            world.PutWithTask(world.File(L"F", L"f.txt", 7, direction == 1 ? 21 : 11), direction);
            world.Sql({"UPDATE T_task SET TaskStatus = 0"});
            int granted = 0;
            VirtualTime::Run(seed, [&] {
                for (int i = 0; i < 6; ++i) {
                    VirtualTime::Start("claimer", [&, direction] {
                        Common::TaskItem mine;
                        mine.SetFileId(L"F");
                        mine.SetDirection(direction);
                        Common::FileItem row;
                        if (TransferCommon::getInstance().getTransferFileItem(mine, row, L"", true)) ++granted;
                    });
                }
                EXPECT_TRUE(VirtualTime::Drain(1000));
            });
            EXPECT_EQ(granted, 1) << "direction " << direction << ", seed " << seed;
        }
    }
}

// SVC-CLAIM-20
TEST_F(Claiming, TheTwoDirectionsNeverHoldEachOtherUp) {
    world.PutWithTask(world.File(L"D", L"d.txt", 7, 21), 1);
    world.PutWithTask(world.File(L"U", L"u.txt", 7, 11), 2);
    for (const int slow : {1, 2}) {
        const std::wstring slowId = slow == 1 ? L"D" : L"U";
        database.getDriveDataItemWithKey.Before([slowId](const std::wstring& id) {
            if (id == slowId) VirtualTime::Pause(60000);
        });
        VirtualTime::Run(0, [&] {
            VirtualTime::Start("slow", [&] {
                Common::TaskItem mine;
                mine.SetFileId(slowId);
                mine.SetDirection(slow);
                Common::FileItem row;
                TransferCommon::getInstance().getTransferFileItem(mine, row, L"", true);
            });
            VirtualTime::Settle();
            Claim(slow == 1 ? L"U" : L"D", 3 - slow);
            EXPECT_EQ(VirtualTime::Now(), 0) << slow;
            EXPECT_TRUE(VirtualTime::Drain(100000));
        });
    }
}

// SVC-CLAIM-21
TEST_F(Claiming, ATaskIdOfZeroOrLessInTheRowLeavesTheOneThatTheTaskHas) {
    for (const wchar_t* number : {L"0", L"-5", L""}) {
        database.excuteQuerySQL.Next([number](std::list<WMap>& rows, const std::wstring&) {
            rows.push_back({{L"fileId", L"F"}, {L"taskId", number}, {L"fileStatus", L"21"}});
        });
        task = Common::TaskItem();
        task.SetDirection(1);
        task.SetTaskId(77);
        EXPECT_TRUE(TransferCommon::getInstance().getTransferFileItem(task, file, world.Path(L"f.txt"), false));
        EXPECT_EQ(task.GetTaskId(), 77);
        EXPECT_EQ(task.GetFileId(), L"F");
    }
}

// SVC-CLAIM-22
TEST_F(Claiming, AnExceptionOfAnyDatabaseCallOfAnUploadRefusesAndIsTold) {
    const std::vector<std::function<void()>> throwers = {
        [&] { database.getDriveDataItemWithKey.NextThrows("broken"); },
        [&] { database.updateDriveData.NextThrows("broken"); },
        [&] { database.getTaskItem.NextThrows("broken"); },
        [&] { database.updateTaskItem.NextThrows("broken"); },
    };
    for (const auto& thrower : throwers) {
        world.PutWithTask(world.File(L"U", L"u.txt", 7, 11), 2);
        thrower();
        EXPECT_FALSE(Claim(L"U", 2));
    }
    EXPECT_EQ(Journal::Count(Kind::Error, "TransferCommon|getTransferFileItem|error:broken"), 4);
    world.PutWithTask(world.File(L"U", L"u.txt", 7, 11), 2);
    world.Sql({"UPDATE T_task SET TaskStatus = 0"});
    EXPECT_TRUE(Claim(L"U", 2));
}

// SVC-CLAIM-23
TEST_F(Claiming, AFileFoundByItsPathThatIsBeingDownloadedIsRefused) {
    world.PutWithTask(world.File(L"F", L"f.txt", 7, 22), 1);
    EXPECT_FALSE(Claim(L"", 1, false, world.Path(L"f.txt")));
    EXPECT_EQ(database.updateDriveData.Calls(), 0);
}

// SVC-CLAIM-24
TEST_F(Claiming, AFolderIsNeverFoundByItsPath) {
    Common::FileItem folder = world.File(L"D", L"folder", 0, 0);
    folder.SetIsFolder(true);
    world.Put(folder);
    EXPECT_FALSE(Claim(L"", 1, false, world.Path(L"folder")));
}

// SVC-CLAIM-25
TEST_F(Claiming, ADownloadWithAnIdIsReadByItAloneAndKeepsItsTaskId) {
    world.PutWithTask(world.File(L"F", L"f.txt", 7, 21), 1);
    task = Common::TaskItem();
    task.SetDirection(1);
    task.SetFileId(L"F");
    task.SetTaskId(99);
    EXPECT_TRUE(TransferCommon::getInstance().getTransferFileItem(task, file, world.Path(L"elsewhere"), true));
    EXPECT_EQ(task.GetTaskId(), 99);
    EXPECT_EQ(file.GetLocalFileName(), L"f.txt");
    EXPECT_EQ(database.excuteQuerySQL.Calls(), 0);
}

}  // namespace
}  // namespace Drive::Testing
