#include <gtest/gtest.h>

#include <memory>
#include <thread>
#include <vector>

#include "interfaces/common/drive_functions.h"
#include "interfaces/common/globals.h"
#include "tests/support/engine_bench.h"

namespace Drive::Testing {
namespace {

using TransferService::DOWNLOADCALLBACK_CONTEXT;
using TransferService::DOWNLOADTASK_CONTEXT;

class DownloadWorker : public EngineBench {};

// DL-WORK-01
TEST_F(DownloadWorker, BringsAFileInTheseStepsInThisOrder) {
    const std::string hash = Sha256("hello");
    GivePlain(L"F", L"a\\f.txt", "hello");
    RunOne(L"F");
    const Texts expected = {
        "trace DownLoadTaskManger.DownloadThreadFunc: downloadingTaskCount=:0",
        "db GetDriveDataItemWithKey(F)",
        "db UpdateDriveData(F, {fileStatus: 22})",
        "trace DownLoadTaskManger.DownloadThreadFunc: downloadingTaskCount=:1",
        "common InsertOperatingFiles(a\\f.txt, 5)",
        "common RefreshFile(ROOT\\a\\f.txt)",
        "message RefreshFile(ROOT\\a\\f.txt)",
        "callback slot(0)",
        "trace DownLoadTaskManger.downLoadTask.Begin. fileId = F;taskId=1",
        "db GetTaskItem(F, 1)",
        "trace DownLoadTaskManger.downLoadTask.InitTransferKey. fileId = F",
        "trace DownLoadTaskManger.downLoadTask.CheckDiskFreeSpace fileId = F",
        "file GetDiskFreeSpaceExW(ROOT\\)",
        "trace DownLoadTaskManger.downLoadTask.getDownloadAddressInfo. fileId = F",
        "cloud GetDownloadAddressInfo(F)",
        "trace DownLoadTaskManger.downLoadTask.DownloadCloudFile fileId = F",
        "common InsertOperatingFiles(a\\f.txt, 5)",
        "trace DownLoadTaskManger.cloudDownloadFile.readDownloadPosition. fileId = F",
        "trace DownLoadTaskManger.cloudDownloadFile.DownloadCloudFileRequest. fileId = F",
        "cloud DownloadCloudFileRequest(http://proxy/F, {Authorization: Bearer token, Range: bytes=0-, version: 7})",
        "db GetTaskItem(F, 1)",
        "common WriteLocalFileV(0, 5, ROOT\\a\\f.txt)",
        "db UpdateTaskItem(F, {fragmentInfo: {\"writePosition\":5,\"writeSliceIndex\":0}}, 1)",
        "common EraseOpetatingFile(a\\f.txt)",
        "trace DownLoadTaskManger.cloudDownloadFile.Download Success End. fileId = F",
        "db DeleteTaskItem(F, 1)",
        "trace DownLoadTaskManger.downLoadTask.DownloadFile End Success fileId = F",
        "common GetFileSha256(ROOT\\a\\f.txt)",
        "db UpdateDriveData(F, {fileStatus: 1, localFileSha256: " + hash + "})",
        "callback download(event 3, ok)",
        "callback slot(11)",
        "trace DownLoadTaskManger.DownloadThreadFunc: End downloadingTaskCount=:0",
        "common EraseOpetatingFile(a\\f.txt)",
        "common RefreshFile(ROOT\\a\\f.txt)",
        "message RefreshFile(ROOT\\a\\f.txt)",
    };
    EXPECT_EQ(Joined(Lines()), Joined(expected));
    EXPECT_EQ(world.ReadFile(L"a\\f.txt"), "hello");
    EXPECT_EQ(world.Row(L"F").GetFileStatus(), 1);
    EXPECT_EQ(Narrow(world.Row(L"F").GetLocalFileSha256()), hash);
    EXPECT_FALSE(world.HasTask(L"F", 1));
}

// DL-WORK-02
TEST_F(DownloadWorker, DropsATaskWhoseFileIsBeingDownloaded) {
    GivePlain(L"F", L"f.txt", "hello");
    world.Sql({"UPDATE T_cloudDriveData SET fileStatus = 22"});
    RunOne(L"F");
    const Texts expected = {"trace DownLoadTaskManger.DownloadThreadFunc: downloadingTaskCount=:0",
                            "db GetDriveDataItemWithKey(F)", "db DeleteTaskItem(F, 1)", "callback slot(11)"};
    const Texts lines = Lines();
    EXPECT_EQ(Joined(Texts(lines.end() - 4, lines.end())), Joined(expected));
    EXPECT_FALSE(world.HasTask(L"F", 1));
    EXPECT_EQ(world.Row(L"F").GetFileStatus(), 22);
}

// DL-WORK-03
TEST_F(DownloadWorker, DropsATaskWhoseFileIsGoneWithoutTellingTheHost) {
    GivePlain(L"F", L"f.txt", "hello");
    world.Sql({"DELETE FROM T_cloudDriveData"});
    RunOne(L"F", 2);
    EXPECT_FALSE(world.HasTask(L"F", 1));
    EXPECT_EQ(Joined(Lines({Kind::Callback})), "callback slot(2)\n");
}

// DL-WORK-04
TEST_F(DownloadWorker, GivesBackTheSlotOfTheKeyThatTheTaskCarries) {
    for (const std::int64_t key : {1, 2, 11}) {
        GivePlain(L"F", L"f.txt", "hello");
        world.WriteFile(L"f.txt", "");
        const std::size_t mark = Journal::Mark();
        RunOne(L"F", key);
        EXPECT_TRUE(InOrder(LinesSince(mark, {Kind::Callback}),
                            {"callback slot(0)", "callback slot(" + std::to_string(key) + ")"}));
    }
    GivePlain(L"F", L"f.txt", "hello");
    const std::size_t mark = Journal::Mark();
    RunOne(L"F", -3);  // a background job
    EXPECT_TRUE(InOrder(LinesSince(mark, {Kind::Callback}), {"callback slot(0)", "callback slot(11)"}));
}

// DL-WORK-05
TEST_F(DownloadWorker, OpensThePlaceholderOfAFetchWithTheNumbersOfItsKey) {
    for (const std::int64_t key : {1, 2, 11}) {
        GivePlain(L"F", L"f.txt", "hello");
        world.WriteFile(L"f.txt", "");
        const std::size_t mark = Journal::Mark();
        RunOne(L"F", key);
        const std::string numbers = key == 1 ? "0x80000080, 0" : "0x80, 1";
        EXPECT_EQ(LinesSince(mark, {Kind::File}).front(),
                  "file CreateFileW(ROOT\\f.txt, " + numbers + ", none, 3, 0x80000004, none)");
    }
}

// DL-WORK-06
TEST_F(DownloadWorker, OpensNothingForABackgroundJob) {
    GivePlain(L"F", L"f.txt", "hello");
    RunOne(L"F");
    EXPECT_EQ(Journal::CountBeginning(Kind::File, "CreateFileW"), 0);
    EXPECT_EQ(Journal::CountBeginning(Kind::File, "CloseHandle"), 0);
}

// DL-WORK-07
TEST_F(DownloadWorker, AFetchWhosePlaceholderCannotBeOpenedEndsAtTwentyThree) {
    GivePlain(L"F", L"missing.txt", "hello");
    RunOne(L"F", 2);
    const Texts expected = {
        "db UpdateDriveData(F, {fileStatus: 22})",
        "file CreateFileW(ROOT\\missing.txt, 0x80, 1, none, 3, 0x80000004, none)",
        "db DeleteTaskItem(F, 1)",
        "db UpdateDriveData(F, {fileStatus: 23})",
        "callback slot(2)",
    };
    EXPECT_TRUE(InOrder(Lines(), expected));
    EXPECT_EQ(Lines().back(), "callback slot(2)");
    EXPECT_EQ(Journal::Count(Kind::Trace, "DownLoadTaskManger.DownloadThreadFunc: downloadingTaskCount=:1"), 0);
    EXPECT_EQ(Downloads().getDownloadingTaskCount(), 0);
}

// DL-WORK-08
TEST_F(DownloadWorker, ClosesTheHandleOfAFetchAndSaysSo) {
    GivePlain(L"F", L"f.txt", "hello");
    world.WriteFile(L"f.txt", "");
    const std::size_t before = Platform::OpenHandleCount();
    RunOne(L"F", 2);
    const Texts expected = {"callback download(event 3, ok)", "file CloseHandle(open)",
                            "debug ****** Close File HANDLE = ROOT\\f.txt", "callback slot(2)"};
    EXPECT_TRUE(InOrder(Lines(), expected));
    EXPECT_EQ(Platform::OpenHandleCount(), before);
}

// DL-WORK-09
TEST_F(DownloadWorker, CountsAJobFromItsClaimToItsEnd) {
    GivePlain(L"F", L"f.txt", "hello");
    cloud.getDownloadAddressInfo.Takes(1000);
    VirtualTime::Run(0, [&] {
        EXPECT_EQ(Downloads().getDownloadingTaskCount(), 0);
        StartWorker(L"F");
        VirtualTime::AdvanceBy(500);
        EXPECT_EQ(Downloads().getDownloadingTaskCount(), 1);
        VirtualTime::AdvanceBy(1000);
        EXPECT_EQ(Downloads().getDownloadingTaskCount(), 0);
    });
}

// DL-WORK-10
TEST_F(DownloadWorker, MarksUnderTheLocalNameAndClearsUnderTheCloudsName) {
    Common::FileItem file = GivePlain(L"F", L"a\\local.txt", "hello");
    file.SetName(L"cloud.txt");
    world.Put(file);
    RunOne(L"F");
    const Texts lines = Lines({Kind::Common});
    EXPECT_EQ(lines.front(), "common InsertOperatingFiles(a\\local.txt, 5)");
    EXPECT_TRUE(InOrder(lines, {"common RefreshFile(ROOT\\a\\cloud.txt)", "common EraseOpetatingFile(a\\cloud.txt)"}));
    EXPECT_EQ(Journal::Count(Kind::Common, "EraseOpetatingFile(a\\local.txt)"), 0);
    EXPECT_EQ(world.ReadFile(L"a\\cloud.txt"), "hello");
}

// DL-WORK-11
TEST_F(DownloadWorker, AnExceptionGivesTheSlotBackIsToldAndLeavesTheRows) {
    GivePlain(L"F", L"f.txt", "hello");
    host.NextThrows("host broke");  // event 3
    RunOne(L"F");
    const Texts lines = Lines();
    const Texts expected = {"callback download(event 3, ok)", "callback slot(11)",
                            "error DownloadTaskManager|PoolDownloadThreadFunc|host broke"};
    EXPECT_EQ(Joined(Texts(lines.end() - 3, lines.end())), Joined(expected));
    EXPECT_EQ(Downloads().getDownloadingTaskCount(), 0);
}

// DL-WORK-12
TEST_F(DownloadWorker, AnExceptionBeforeTheCountWasRaisedTakesOneOffAllTheSame) {
    GivePlain(L"F", L"f.txt", "hello");
    database.getDriveDataItemWithKey.NextDefault();
    database.updateDriveData.Before([](const SQLiteDB::UpdateDBInfo&) {});
    common.insertOperatingFiles.Reset();
    files.createFileW.NextThrows("no handle");
    RunOne(L"F", 2);
    EXPECT_TRUE(Journal::Has(Kind::Error, "DownloadTaskManager|PoolDownloadThreadFunc|no handle"));
    EXPECT_EQ(Downloads().getDownloadingTaskCount(), -1);
    EXPECT_TRUE(world.HasTask(L"F", 1));
    EXPECT_EQ(world.Row(L"F").GetFileStatus(), 22);
}

// DL-WORK-13
TEST_F(DownloadWorker, WithoutACallbackOfTheHostEveryJobFailsOnTheCallIntoNothing) {
    GivePlain(L"F", L"f.txt", "hello");
    Downloads().SetDownLoadTaskCallBackFun({});
    RunOne(L"F");
    EXPECT_TRUE(Journal::Has(Kind::Error, "DownloadTaskManager|PoolDownloadThreadFunc|bad_function_call"));
}

// DL-WORK-14
TEST_F(DownloadWorker, HashesTheFileOnlyAfterItsTaskIsGone) {
    GivePlain(L"F", L"f.txt", "hello");
    bool taskWasThere = true;
    common.getFileSha256.Before([&](const std::wstring&) { taskWasThere = world.HasTask(L"F", 1); });
    RunOne(L"F");
    EXPECT_FALSE(taskWasThere);
}

// DL-WORK-19
TEST_F(DownloadWorker, PutsThePathTogetherWithNothingBetween) {
    Common::FileItem file = GivePlain(L"F", L"f.txt", "hello");
    file.SetLocalParentFolder(L"a\\b");
    world.Put(file);
    g_clientSyncRootFolder += L"staging";
    RunOne(L"F");
    EXPECT_TRUE(Journal::Has(Kind::Common, "EraseOpetatingFile(a\\bf.txt)"));
    EXPECT_EQ(Lines().back(), "message RefreshFile(ROOT\\a\\bf.txt)");
}

// DL-WORK-20
TEST_F(DownloadWorker, TakesSizeAndNamesFromTheRowAndNotFromTheTask) {
    GivePlain(L"F", L"f.txt", "hello");
    Common::FileItem file = world.File(L"F", L"g.txt", 3, 21);
    world.Put(file);
    RunOne(L"F");
    EXPECT_TRUE(Journal::Has(Kind::Common, "WriteLocalFileV(0, 3, " + Narrow(world.Path(L"g.txt")) + ")"));
}

// DL-WORK-21
TEST_F(DownloadWorker, ACallbackReplacesTheEarlierOne) {
    int first = 0;
    int second = 0;
    Downloads().SetDownLoadTaskCallBackFun([&](DOWNLOADCALLBACK_CONTEXT&) { return ++first > 0; });
    Downloads().SetDownLoadTaskCallBackFun([&](DOWNLOADCALLBACK_CONTEXT&) { return ++second > 0; });
    int slots = 0;
    Downloads().SetTaskSemaphoreCallbackFun([](int) { ADD_FAILURE(); });
    Downloads().SetTaskSemaphoreCallbackFun([&](int) { ++slots; });
    GivePlain(L"F", L"f.txt", "hello");
    RunOne(L"F");
    EXPECT_EQ(first, 0);
    EXPECT_EQ(second, 1);
    EXPECT_EQ(slots, 2);
}

// DL-WORK-22
TEST_F(DownloadWorker, SeveralAtOnceEachBringTheirOwnFile) {
    for (int i = 0; i < 6; ++i) {
        const std::wstring id = L"F" + std::to_wstring(i);
        GivePlain(id, id, Content(3000 + static_cast<std::size_t>(i), static_cast<unsigned>(i)));
    }
    cloud.pieceSize = 256;
    for (std::uint64_t seed = 1; seed <= 3; ++seed) {
        VirtualTime::Run(seed, [&] {
            for (int i = 0; i < 6; ++i) {
                const std::wstring id = L"F" + std::to_wstring(i);
                world.PutWithTask(world.File(id, id, 3000 + i, 21), 1);
                StartWorker(id);
            }
            EXPECT_TRUE(VirtualTime::Drain(60000));
        });
        for (int i = 0; i < 6; ++i) {
            const std::wstring id = L"F" + std::to_wstring(i);
            EXPECT_TRUE(world.ReadFile(id) == Content(3000 + static_cast<std::size_t>(i), static_cast<unsigned>(i)));
            EXPECT_EQ(world.Row(id).GetFileStatus(), 1);
        }
    }
    EXPECT_EQ(Downloads().getDownloadingTaskCount(), 0);
}

// DL-WORK-23
TEST_F(DownloadWorker, IsOneEngineForAllThreads) {
    std::vector<TransferService::DownLoadTaskManger*> engines(8);
    std::vector<std::thread> threads;
    for (auto& engine : engines) {
        threads.emplace_back([&engine] { engine = &TransferService::DownLoadTaskManger::getInstance(); });
    }
    for (std::thread& thread : threads) thread.join();
    for (const auto* engine : engines) EXPECT_EQ(engine, &Downloads());
}

// DL-PUSH-01
TEST_F(DownloadWorker, PushingNothingLogsZeroTwiceAndAsksNothing) {
    Downloads().PushDownLoadTask({});
    const Texts expected = {"trace DownLoadTaskManger.PushDownLoadTask. PushDownLoadTaskCount:0 Begin",
                            "trace DownLoadTaskManger.PushDownLoadTask. PushDownLoadTaskCount:0 End"};
    EXPECT_EQ(Joined(Lines()), Joined(expected));
}

// DL-PUSH-02
TEST_F(DownloadWorker, PushingWritesAllJobsInOneBatchAndStartsNone) {
    std::list<DOWNLOADTASK_CONTEXT> jobs;
    for (const wchar_t* name : {L"one", L"two"}) {
        world.Put(world.File(name, std::wstring(L"a\\") + name, 7, 0));
        DOWNLOADTASK_CONTEXT job;
        job.localFilePath = world.Path(std::wstring(L"a\\") + name);
        job.fileId = name;
        job.transferKey = 11;
        job.isOnFetch = name == std::wstring(L"two");
        jobs.push_back(job);
    }
    Downloads().PushDownLoadTask(jobs);
    const Texts expected = {
        "trace DownLoadTaskManger.PushDownLoadTask. PushDownLoadTaskCount:2 Begin",
        "common GetFileFolderAndLocalname(ROOT\\a\\one)", "db GetDownLoadTaskSqlcmd(one, a\\, one, false, 11)",
        "common GetFileFolderAndLocalname(ROOT\\a\\two)", "db GetDownLoadTaskSqlcmd(two, a\\, two, true, 11)"};
    const Texts lines = Lines();
    ASSERT_EQ(lines.size(), 7u) << Joined(lines);
    EXPECT_EQ(Joined(Texts(lines.begin(), lines.begin() + 5)), Joined(expected));
    EXPECT_EQ(lines[5].rfind("db InsertTaskByOnFetch([", 0), 0u);
    EXPECT_EQ(lines[6], "trace DownLoadTaskManger.PushDownLoadTask. PushDownLoadTaskCount:2 End");
    EXPECT_TRUE(world.HasTask(L"one", 1));
    EXPECT_TRUE(world.HasTask(L"two", 1));
    EXPECT_EQ(ScriptedPool::Queued().size(), 0u);
}

}  // namespace
}  // namespace Drive::Testing
