#include <gtest/gtest.h>

#include "interfaces/common/globals.h"
#include "tests/support/engine_bench.h"
#include "tests/support/private_access.h"

namespace Drive::Testing {

struct LineMutex {
    using Type = Drive::TransferService::NeverDestroyed<Drive::Platform::Mutex>*;
    friend Type Reach(LineMutex);
};

template struct PrivateMember<LineMutex, &Drive::TransferService::DownLoadTaskManger::downloadFileHandleMutex>;

namespace {

using TransferService::DOWNLOADCALLBACK_CONTEXT;

class EndingDownloads : public EngineBench {
protected:
    void PutAt(int status) {
        world.PutWithTask(world.File(L"F", L"a\\f.txt", 5, status), 1);
        world.WriteFile(L"a\\f.txt", "");
    }
};

// DL-CANCEL-01
TEST_F(EndingDownloads, CancellingAFileWithoutRowDoesNothing) {
    Downloads().CancleDownload(world.Path(L"a\\f.txt"));
    const Texts expected = {"common GetFileFolderAndLocalname(ROOT\\a\\f.txt)",
                            "db GetDriveDataItem({localFileName: f.txt, localParentFolder: a\\})"};
    EXPECT_EQ(Joined(Lines()), Joined(expected));
}

// DL-CANCEL-02
TEST_F(EndingDownloads, CancellingARunningDownloadMarksItsTask) {
    PutAt(22);
    Downloads().CancleDownload(world.Path(L"a\\f.txt"));
    EXPECT_EQ(Lines().back(), "db UpdateTaskItem(F, {TaskStatus: 3}, 1)");
    EXPECT_EQ(world.Task(L"F", 1).GetTaskstatus(), 3);
    EXPECT_EQ(host.Calls(), 0);
}

// DL-CANCEL-03
TEST_F(EndingDownloads, CancellingAFailedDownloadTellsTheHostToEndItsFetch) {
    PutAt(23);
    const std::size_t before = Platform::OpenHandleCount();
    host.Next([&](DOWNLOADCALLBACK_CONTEXT& record) {
        EXPECT_EQ(record.event, 4);
        EXPECT_TRUE(record.ok);
        EXPECT_EQ(record.localFilePath, world.Path(L"a\\f.txt"));
        EXPECT_TRUE(Platform::IsOpenHandle(record.fileHandle));
        EXPECT_EQ(record.transferKey, 0);
        return true;
    });
    Downloads().CancleDownload(world.Path(L"a\\f.txt"));
    const Texts lines = Lines();
    const Texts expected = {"file CreateFileW(ROOT\\a\\f.txt, 0x80, 5, none, 3, 0x40000000, none)",
                            "callback download(event 4, ok)", "file CloseHandle(open)"};
    EXPECT_EQ(Joined(Texts(lines.end() - 3, lines.end())), Joined(expected));
    EXPECT_EQ(Platform::OpenHandleCount(), before);
    EXPECT_EQ(world.Row(L"F").GetFileStatus(), 23);  // the answer is not looked at
    EXPECT_TRUE(world.HasTask(L"F", 1));
}

// DL-CANCEL-04
TEST_F(EndingDownloads, TheHostIsToldAlsoWhenThePlaceholderCannotBeOpened) {
    PutAt(23);
    files.createFileW.NextReturns(Platform::kInvalidHandle);
    Downloads().CancleDownload(world.Path(L"a\\f.txt"));
    EXPECT_TRUE(InOrder(Lines(), {"callback download(event 4, ok)", "file CloseHandle(invalid)"}));
}

// DL-CANCEL-05
TEST_F(EndingDownloads, CancellingAFileInAnyOtherStateDoesNothing) {
    for (const int status : {0, 1, 11, 12, 13, 21}) {
        PutAt(status);
        const std::size_t mark = Journal::Mark();
        Downloads().CancleDownload(world.Path(L"a\\f.txt"));
        EXPECT_EQ(LinesSince(mark).size(), 2u) << Joined(LinesSince(mark));  // the look alone
    }
}

// DL-CANCEL-06
TEST_F(EndingDownloads, ARunningJobEndsAtItsNextCheckAndDoesNotComeBack) {
    const std::string content = Content(3 << 20);
    GivePlain(L"F", L"f.bin", content);
    common.writeLocalFileV.Takes(10);
    cloud.getDownloadAddressInfo.Takes(1000);
    VirtualTime::Run(0, [&] {
        StartWorker(L"F");
        VirtualTime::AdvanceBy(500);
        Downloads().CancleDownload(world.Path(L"f.bin"));
        EXPECT_TRUE(VirtualTime::Drain(60000));
    });
    EXPECT_EQ(world.Row(L"F").GetFileStatus(), 23);
    EXPECT_FALSE(world.HasTask(L"F", 1));
    EXPECT_EQ(world.ReadFile(L"f.bin"), "(absent)");
}

// DL-STOP-01
TEST_F(EndingDownloads, AFileWithoutRowMayBeStopped) {
    EXPECT_TRUE(Downloads().StopDownloadTask(world.Path(L"nowhere.txt")));
    EXPECT_EQ(database.getTaskItem.Calls(), 0);
}

// DL-STOP-02
TEST_F(EndingDownloads, AJobOfThePriorityPoolMayNotBeStoppedAndAnyOtherMay) {
    PutAt(22);
    world.Sql({"UPDATE T_task SET transferKey = 2"});
    EXPECT_FALSE(Downloads().StopDownloadTask(world.Path(L"a\\f.txt")));
    for (const char* key : {"1", "11", "0", "NULL", "3"}) {
        world.Sql({std::string("UPDATE T_task SET transferKey = ") + key});
        EXPECT_TRUE(Downloads().StopDownloadTask(world.Path(L"a\\f.txt"))) << key;
    }
    EXPECT_EQ(database.updateTaskItem.Calls() + database.updateDriveData.Calls(), 0);
    EXPECT_EQ(world.Task(L"F", 1).GetTaskstatus(), 0);
}

// DL-STOP-03
TEST_F(EndingDownloads, TheAnswerStandsInLineBehindWhoeverHoldsTheLineMutex) {
    PutAt(22);
    VirtualTime::Run(0, [&] {
        Platform::Mutex& mutex = **Reach(LineMutex());
        mutex.lock();
        bool answered = false;
        VirtualTime::Start("asker", [&] { answered = Downloads().StopDownloadTask(world.Path(L"a\\f.txt")); });
        VirtualTime::AdvanceBy(1000);
        EXPECT_FALSE(answered);
        mutex.unlock();
        VirtualTime::Settle();
        EXPECT_TRUE(answered);
    });
}

// DL-STOP-08
TEST_F(EndingDownloads, AFileWithoutATaskMayBeStopped) {
    world.Put(world.File(L"F", L"a\\f.txt", 5, 23));
    EXPECT_TRUE(Downloads().StopDownloadTask(world.Path(L"a\\f.txt")));
    EXPECT_EQ(Lines().back(), "db GetTaskItem(F, 1)");
}

// DL-STOP-09
TEST_F(EndingDownloads, StoppingTheEngineTwiceReturnsTwice) {
    VirtualTime::Run(0, [&] {
        Downloads().StopDownLoadMangerService();
        Downloads().StopDownLoadMangerService();
        EXPECT_EQ(VirtualTime::Now(), 0);
    });
    EXPECT_EQ(Journal::Count(Kind::Trace, "DownLoadTaskManger.StopDownLoadMangerService End"), 2);
}

// DL-STOP-10
TEST_F(EndingDownloads, StoppingTheEngineReturnsAlsoWhenTheCountIsBelowZero) {
    GivePlain(L"F", L"f.txt", "hello");
    files.createFileW.NextThrows("no handle");
    VirtualTime::Run(0, [&] {
        Work(L"F", 2);
        ASSERT_EQ(Downloads().getDownloadingTaskCount(), -1);
        Downloads().StopDownLoadMangerService();
    });
    EXPECT_TRUE(Journal::Has(Kind::Trace, "DownLoadTaskManger.StopDownLoadMangerService End"));
}

// DL-STOP-11
TEST_F(EndingDownloads, AJobOfThePriorityPoolThatMayNotBeStoppedRunsOnToItsEnd) {
    GivePlain(L"F", L"f.txt", "hello");
    world.WriteFile(L"f.txt", "");
    world.Sql({"UPDATE T_task SET transferKey = 2"});
    cloud.getDownloadAddressInfo.Takes(1000);
    VirtualTime::Run(0, [&] {
        StartWorker(L"F");
        VirtualTime::AdvanceBy(500);
        EXPECT_FALSE(Downloads().StopDownloadTask(world.Path(L"f.txt")));
        EXPECT_TRUE(VirtualTime::Drain(60000));
    });
    EXPECT_EQ(world.Row(L"F").GetFileStatus(), 1);
}

// DL-STOP-12
TEST_F(EndingDownloads, AStopThatTheHostWritesIntoTheRowEndsARunningJob) {
    GivePlain(L"F", L"f.txt", "hello");
    cloud.getDownloadAddressInfo.Takes(1000);
    VirtualTime::Run(0, [&] {
        StartWorker(L"F");
        VirtualTime::AdvanceBy(500);
        world.Sql({"UPDATE T_task SET TaskStatus = 4"});
        EXPECT_TRUE(VirtualTime::Drain(60000));
    });
    EXPECT_EQ(world.Row(L"F").GetFileStatus(), 23);
    EXPECT_FALSE(world.HasTask(L"F", 1));
    EXPECT_FALSE(world.Exists(L"f.txt"));
}

// DL-CANCEL-08
TEST_F(EndingDownloads, CancellingARunningDownloadWithoutATaskOrAgainstABrokenDatabaseTellsNobody) {
    world.Put(world.File(L"F", L"a\\f.txt", 5, 22));
    database.updateTaskItem.NextReturns(false);
    Downloads().CancleDownload(world.Path(L"a\\f.txt"));
    Downloads().CancleDownload(world.Path(L"a\\f.txt"));
    EXPECT_EQ(Journal::Count(Kind::Database, "UpdateTaskItem(F, {TaskStatus: 3}, 1)"), 2);
    EXPECT_EQ(world.TaskCount(), 0);
    EXPECT_EQ(host.Calls(), 0);
    EXPECT_EQ(Joined(Lines({Kind::Error, Kind::File})), "");
}

// DL-CANCEL-09
TEST_F(EndingDownloads, CancellingAFailedDownloadSendsThePathAloneAndNoPlatformFetch) {
    PutAt(23);
    host.Next([&](DOWNLOADCALLBACK_CONTEXT& record) {
        EXPECT_EQ(record.fileSize, 0);
        EXPECT_FALSE(record.isPlatformFetch);
        EXPECT_EQ(record.data, nullptr);
        EXPECT_TRUE(record.message.empty());
        return false;
    });
    Downloads().CancleDownload(world.Path(L"a\\f.txt"));
    EXPECT_EQ(host.Calls(), 1);
}

// DL-STOP-04
TEST_F(EndingDownloads, StoppingTheEngineWithNoWorkerReturnsAtOnceAndTheFlagStays) {
    VirtualTime::Run(0, [&] {
        Downloads().StopDownLoadMangerService();
        EXPECT_EQ(VirtualTime::Now(), 0);
    });
    const Texts expected = {"trace DownLoadTaskManger.StopDownLoadMangerService Begin",
                            "stat 15003|StopDownLoadMangerService| StopDownLoadMangerService",
                            "trace DownLoadTaskManger.StopDownLoadMangerService End"};
    EXPECT_EQ(Joined(Lines()), Joined(expected));
    EXPECT_TRUE(g_StopDownLoadTask);
}

// DL-STOP-05
TEST_F(EndingDownloads, StoppingTheEngineWaitsForAWorkerInItsRetryPause) {
    GiveEncrypted(L"F", L"f.txt", "hello", 5);
    common.getFek.AlwaysReturns(std::string(32, '5'));
    common.writeLocalFileV.AlwaysReturns(false);
    VirtualTime::Run(0, [&] {
        StartWorker(L"F");
        VirtualTime::AdvanceBy(1000);
        Downloads().StopDownLoadMangerService();
        EXPECT_EQ(VirtualTime::Now(), 3000);
    });
    EXPECT_TRUE(Journal::Has(Kind::Trace, "DownLoadTaskManger.downLoadTask.DownloadFile End Stop fileId = F"));
}

// DL-STOP-06
TEST_F(EndingDownloads, StoppingTheEngineWaitsForEveryWorker) {
    for (int i = 0; i < 3; ++i) GivePlain(L"F" + std::to_wstring(i), L"f" + std::to_wstring(i), "hello");
    for (const int delay : {1000, 5000, 3000}) {
        cloud.getDownloadAddressInfo.Next([delay](const std::wstring&, Common::DownLoadAddressInfoModel&) {
            VirtualTime::Pause(delay);
            return false;
        });
    }
    VirtualTime::Run(0, [&] {
        for (int i = 0; i < 3; ++i) StartWorker(L"F" + std::to_wstring(i));
        VirtualTime::Settle();
        Downloads().StopDownLoadMangerService();
        EXPECT_EQ(VirtualTime::Now(), 5000);
        EXPECT_EQ(Downloads().getDownloadingTaskCount(), 0);
    });
}

// DL-STOP-07
TEST_F(EndingDownloads, StoppingTheEngineDoesNotWaitForThumbnails) {
    cloud.downloadCloudFileRequest.Takes(60000);
    auto* row = new WMap{{L"fileId", L"P"},
                         {L"localFileName", L"p.jpg"},
                         {L"localParentFolder", L""},
                         {L"thunbnailDownloadLink", L"http://proxy/P"}};
    VirtualTime::Run(0, [&] {
        VirtualTime::Start("worker", [row] { TransferService::DownLoadTaskManger::DownloadThumbnailThreadFunc(row); });
        VirtualTime::AdvanceBy(1000);
        ASSERT_EQ(cloud.downloadCloudFileRequest.Calls(), 1);
        Downloads().StopDownLoadMangerService();
        EXPECT_EQ(VirtualTime::Now(), 1000);
    });
}

}  // namespace
}  // namespace Drive::Testing
