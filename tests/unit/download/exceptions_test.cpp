#include <gtest/gtest.h>

#include "interfaces/common/globals.h"
#include "tests/support/engine_bench.h"

namespace Drive::Testing {
namespace {

using TransferService::DOWNLOADCALLBACK_CONTEXT;
using Receiver = Cloud::FileTransRequest::Receiver;

/// What throws in the middle of a job.
class ExceptionsInAWorker : public EngineBench {
protected:
    static Texts LastLines(const Texts& lines, std::size_t count) {
        return lines.size() < count ? lines : Texts(lines.end() - static_cast<std::ptrdiff_t>(count), lines.end());
    }
    static std::string Told(const std::string& what) {
        return "error DownloadTaskManager|PoolDownloadThreadFunc|" + what;
    }
    static constexpr auto kDownloading = 22;
};

// DL-WORK-11
TEST_F(ExceptionsInAWorker, OfEachCollaboratorOutsideTheTransferGiveTheSlotBackOnceAndLeaveTheRows) {
    const std::vector<std::function<void()>> throwers = {
        [&] { common.insertOperatingFiles.NextThrows("broken"); },
        [&] { common.refreshFile.NextThrows("broken"); },
        [&] { database.getTaskItem.NextThrows("broken"); },
        [&] { files.getDiskFreeSpaceExW.NextThrows("broken"); },
        [&] { database.deleteTaskItem.NextThrows("broken"); },
        [&] { common.getFileSha256.NextThrows("broken"); },
    };
    for (std::size_t i = 0; i < throwers.size(); ++i) {
        world.Sql({"DELETE FROM T_task"});
        GivePlain(L"F", L"f.txt", "hello");
        throwers[i]();
        const std::size_t mark = Journal::Mark();
        RunOne(L"F");
        EXPECT_EQ(Joined(LastLines(LinesSince(mark), 2)), "callback slot(11)\n" + Told("broken") + "\n") << i;
        EXPECT_EQ(Downloads().getDownloadingTaskCount(), 0) << i;
        EXPECT_EQ(world.Row(L"F").GetFileStatus(), kDownloading) << i;
    }
}

// DL-WORK-15
TEST_F(ExceptionsInAWorker, ThatAreNoStandardOnesAreToldAsUnknown) {
    GivePlain(L"F", L"f.txt", "hello");
    host.Next([](DOWNLOADCALLBACK_CONTEXT&) -> bool { throw 7; });
    RunOne(L"F");
    EXPECT_EQ(Joined(LastLines(Lines(), 2)), "callback slot(11)\n" + Told("unknown!!!") + "\n");
    EXPECT_EQ(Downloads().getDownloadingTaskCount(), 0);
}

// DL-WORK-16
TEST_F(ExceptionsInAWorker, CloseThePlaceholderOfAFetch) {
    const std::size_t before = Platform::OpenHandleCount();
    for (int event = 1; event <= 3; ++event) {
        GivePlain(L"F", L"f.txt", "hello");
        world.WriteFile(L"f.txt", "");
        for (int earlier = 1; earlier < event; ++earlier) host.NextReturns(true);
        host.Next([](DOWNLOADCALLBACK_CONTEXT&) -> bool { throw 7; });
        const std::size_t mark = Journal::Mark();
        RunOne(L"F", 2);
        EXPECT_EQ(Platform::OpenHandleCount(), before) << event;
        EXPECT_EQ(Joined(LastLines(LinesSince(mark), 3)),
                  "file CloseHandle(open)\ncallback slot(2)\n" + Told("unknown!!!") + "\n")
            << event;
    }
}

// DL-WORK-16
TEST_F(ExceptionsInAWorker, AfterTheEndOfTheJobCloseNothingTwice) {
    GivePlain(L"F", L"f.txt", "hello");
    world.WriteFile(L"f.txt", "");
    int calls = 0;
    common.eraseOpetatingFile.Always([&](const std::wstring&) {
        if (++calls == 2) throw std::runtime_error("broken");  // the first one is the transfer's
    });
    RunOne(L"F", 2);
    EXPECT_EQ(Journal::CountBeginning(Kind::File, "CloseHandle"), 1);
    EXPECT_EQ(Lines().back(), Told("broken"));
}

// DL-WORK-17
TEST_F(ExceptionsInAWorker, OfTheSlotCallbackNeverLeaveTheWorker) {
    GivePlain(L"F", L"f.txt", "hello");
    Downloads().SetTaskSemaphoreCallbackFun([](int) { throw std::runtime_error("no slots"); });
    RunOne(L"F");
    EXPECT_EQ(Lines().back(), Told("no slots"));
    EXPECT_EQ(Journal::CountBeginning(Kind::Pool, "work item threw"), 0);
    EXPECT_EQ(Downloads().getDownloadingTaskCount(), 0);
}

// DL-WORK-18
TEST_F(ExceptionsInAWorker, OnTheRoadOfARefusedClaimAreToldAndGiveTheSlotBack) {
    GivePlain(L"F", L"f.txt", "hello");
    world.Sql({"UPDATE T_cloudDriveData SET fileStatus = 22"});
    database.deleteTaskItem.NextThrows("locked");
    RunOne(L"F");
    EXPECT_EQ(Joined(LastLines(Lines(), 2)), "callback slot(11)\n" + Told("locked") + "\n");
    EXPECT_TRUE(world.HasTask(L"F", 1));
}

// DL-WORK-18
TEST_F(ExceptionsInAWorker, OfTheClaimDropTheTask) {
    GivePlain(L"F", L"f.txt", "hello");
    database.updateDriveData.NextThrows("locked");
    RunOne(L"F");
    EXPECT_TRUE(InOrder(Lines(), {"error TransferCommon|getTransferFileItem|error:locked", "db DeleteTaskItem(F, 1)",
                                  "callback slot(11)"}));
    EXPECT_FALSE(world.HasTask(L"F", 1));
}

// DL-FLOW-17
TEST_F(ExceptionsInAWorker, OfTheHostAtTheBeginOfAFetchReachTheWorkerAndLeaveTheRows) {
    GivePlain(L"F", L"f.txt", "hello");
    world.WriteFile(L"f.txt", "");
    host.NextThrows("host broke");
    RunOne(L"F", 2);
    EXPECT_EQ(Lines().back(), Told("host broke"));
    EXPECT_TRUE(world.HasTask(L"F", 1));
    EXPECT_EQ(world.Row(L"F").GetFileStatus(), kDownloading);
    EXPECT_EQ(cloud.getDownloadAddressInfo.Calls(), 0);
}

// DL-FLOW-18
TEST_F(ExceptionsInAWorker, InsideThePlainTransferFailTheJob) {
    const std::vector<std::function<void()>> throwers = {
        [&] { cloud.downloadCloudFileRequest.NextThrows("broken"); },
        [&] { common.writeLocalFileV.NextThrows("broken"); },
        [&] { database.updateTaskItem.NextThrows("broken"); },
        [&] { common.eraseOpetatingFile.NextThrows("broken"); },
    };
    for (std::size_t i = 0; i < throwers.size(); ++i) {
        GivePlain(L"F", L"f.txt", "hello");
        throwers[i]();
        const std::size_t mark = Journal::Mark();
        RunOne(L"F");
        EXPECT_TRUE(InOrder(LinesSince(mark),
                            {"error DownloadTaskManager|downLoadTask|Terminate download file task:Filetask is failer. "
                             "catch error",
                             "trace DownLoadTaskManger.downLoadTask.DownloadFile End Fail fileId = F",
                             "callback download(event 2, failed)", "callback slot(11)"}))
            << i;
        EXPECT_EQ(world.Row(L"F").GetFileStatus(), 23) << i;
    }
}

// DL-PLAIN-18
TEST_F(ExceptionsInAWorker, OfTheHostOnABlockFailTheJob) {
    GivePlain(L"F", L"f.txt", "hello");
    world.WriteFile(L"f.txt", "");
    host.NextReturns(true);
    host.NextThrows("host broke");
    const std::size_t before = Platform::OpenHandleCount();
    RunOne(L"F", 2);
    EXPECT_TRUE(Journal::Has(Kind::Trace, "DownLoadTaskManger.downLoadTask.DownloadFile End Fail fileId = F"));
    EXPECT_EQ(world.Row(L"F").GetFileStatus(), 23);
    EXPECT_EQ(Platform::OpenHandleCount(), before);
}

// DL-OUT-06
TEST_F(ExceptionsInAWorker, OfTheHostAtTheEndOfAFailedJobLeaveTheTaskDeletedAndTheFileAtTwentyThree) {
    for (const int event : {2, 4}) {
        GivePlain(L"F", L"f.txt", "hello");
        cloud.getDownloadAddressInfo.NextReturns(false);
        if (event == 4) host.NextReturns(false);
        host.NextThrows("host broke");
        RunOne(L"F");
        EXPECT_EQ(Lines().back(), Told("host broke")) << event;
        EXPECT_EQ(world.Row(L"F").GetFileStatus(), 23) << event;
        EXPECT_FALSE(world.HasTask(L"F", 1)) << event;
        EXPECT_EQ(Downloads().getDownloadingTaskCount(), 0) << event;
    }
}

// DL-CANCEL-07
TEST_F(ExceptionsInAWorker, OfTheHostOnACancelLeaveThroughTheCallerAndCloseThePlaceholder) {
    world.PutWithTask(world.File(L"F", L"f.txt", 5, 23), 1);
    world.WriteFile(L"f.txt", "");
    const std::size_t before = Platform::OpenHandleCount();
    host.NextThrows("host broke");
    EXPECT_THROW(Downloads().CancleDownload(world.Path(L"f.txt")), std::runtime_error);
    EXPECT_EQ(Platform::OpenHandleCount(), before);
}

// DL-PUSH-03
TEST_F(ExceptionsInAWorker, OfTheDatabaseOnAPushLeaveThroughTheCallerAndAFailureIsNotTold) {
    TransferService::DOWNLOADTASK_CONTEXT job;
    job.localFilePath = world.Path(L"f.txt");
    database.insertTaskByOnFetch.NextReturns(false);
    Downloads().PushDownLoadTask({job});
    EXPECT_EQ(Lines().back(), "trace DownLoadTaskManger.PushDownLoadTask. PushDownLoadTaskCount:1 End");
    EXPECT_EQ(Joined(Lines({Kind::Error})), "");
    database.insertTaskByOnFetch.NextThrows("locked");
    EXPECT_THROW(Downloads().PushDownLoadTask({job}), std::runtime_error);
    EXPECT_EQ(Journal::Count(Kind::Trace, "DownLoadTaskManger.PushDownLoadTask. PushDownLoadTaskCount:1 End"), 1);
}

}  // namespace
}  // namespace Drive::Testing
