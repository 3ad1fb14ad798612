#include <gtest/gtest.h>

#include <memory>
#include <thread>

#include "interfaces/common/globals.h"
#include "tests/support/engine_bench.h"
#include "tests/support/private_access.h"
#include "upload/upload_task_manager.h"

namespace Drive::Testing {

struct WillFullFlag {
    using Type = Drive::TransferService::Relaxed<bool> Drive::TransferService::UpLoadTaskManger::*;
    friend Type Reach(WillFullFlag);
};

template struct PrivateMember<WillFullFlag, &Drive::TransferService::UpLoadTaskManger::firstNotifySpaceWillFull>;

using Drive::Common::TaskItem;
using Drive::TransferService::ConcurrentQueue;
using Drive::TransferService::NeverDestroyed;
using Drive::TransferService::TransferTaskService;

template <class Item>
using QueueMember = NeverDestroyed<ConcurrentQueue<Item>> TransferTaskService::*;

struct Thumbnails {
    using Type = QueueMember<WMap>;
    friend Type Reach(Thumbnails);
};
struct DownloadsWaiting {
    using Type = QueueMember<TaskItem>;
    friend Type Reach(DownloadsWaiting);
};
struct UploadsWaiting {
    using Type = QueueMember<TaskItem>;
    friend Type Reach(UploadsWaiting);
};
struct PrioritiesWaiting {
    using Type = QueueMember<TaskItem>;
    friend Type Reach(PrioritiesWaiting);
};

template struct PrivateMember<Thumbnails, &TransferTaskService::thumbnailQueue>;
template struct PrivateMember<DownloadsWaiting, &TransferTaskService::downloadQueue>;
template struct PrivateMember<UploadsWaiting, &TransferTaskService::uploadQueue>;
template struct PrivateMember<PrioritiesWaiting, &TransferTaskService::priorityQueue>;

namespace {

using TransferService::UpLoadTaskManger;

const std::string kFileRepair =
    "UPDATE T_cloudDriveData SET fileStatus = CASE WHEN  fileStatus = 22 THEN 21 WHEN  fileStatus = 12 THEN 11 ELSE "
    "fileStatus END WHERE fileStatus IN (12,22) AND isFolder = 0 AND fileId IN (SELECT fileId FROM T_task WHERE "
    "direction IN (1,2) AND T_task.fileId = T_cloudDriveData.fileId);";
const std::string kTaskRepair = "UPDATE T_task SET TaskStatus = 0 WHERE TaskStatus = 1;";

class StartingTheService : public EngineBench {
protected:
    static bool WillBeFullMessageIsDue() { return UpLoadTaskManger::getInstance().*Reach(WillFullFlag()); }
    static int LogsOf(const std::string& text) { return Journal::Count(Kind::Trace, text); }
};

// SVC-START-01
TEST_F(StartingTheService, WritesItsTextsAroundTheRepairInThisOrder) {
    VirtualTime::Run(0, [&] { Service().startTransferTaskService(); });
    const Texts expected = {
        "trace TransferTaskService.StartTransferTaskService Begin",
        "stat 15002|TransferTaskService| StartTransferTaskService",
        "db ExcuteQuerySQL(SELECT IFNULL(LastNotifySpaceFull,0) as LastNotifySpaceFull FROM T_SyncConf)",
        "db ExecuteMulitNoQuerySQL([" + kFileRepair + " | " + kTaskRepair + "])",
        "trace TransferTaskService.startTransferTaskService End"};
    EXPECT_EQ(Joined(Lines()), Joined(expected));
}

// SVC-START-02
TEST_F(StartingTheService, StartsTheMainLoopFirstAndThenTheDispatchersInOrder) {
    VirtualTime::Run(0, [&] {
        g_SyncUserKey[0] = 0;  // the main loop then says so at once
        StartService();
    });
    const Texts expected = {"trace TransferTaskService. g_SyncUserKey is empty ",
                            "trace TransferTaskService.StartThumbnailTaskService ",
                            "trace TransferTaskService.StartDownloadTaskService ",
                            "trace TransferTaskService.StartPriorityDownloadTaskService ",
                            "trace TransferTaskService.StartUploadTaskService "};
    const Texts lines = Lines({Kind::Trace});
    const Texts afterStart(lines.begin() + 2, lines.end());
    EXPECT_EQ(Joined(afterStart), Joined(expected));
}

// SVC-START-03
TEST_F(StartingTheService, TellsOfEachDispatcherWithTheStatisticOfItsArea) {
    VirtualTime::Run(0, [&] { StartService(); });
    const Texts expected = {"stat 15002|TransferTaskService| StartTransferTaskService",
                            "stat 15003|TransferTaskService| StartThumbnailTaskService",
                            "stat 15003|TransferTaskService| StartDownloadTaskService",
                            "stat 15003|TransferTaskService| StartPriorityDownloadTaskService",
                            "stat 15002|TransferTaskService| StartUploadTaskService"};
    EXPECT_EQ(Joined(Lines({Kind::Statistic})), Joined(expected));
}

// SVC-START-04
TEST_F(StartingTheService, PutsRunningFilesAndTasksBackToWaiting) {
    world.PutWithTask(world.File(L"down", L"down.txt", 5, 22), 1);
    world.PutWithTask(world.File(L"up", L"up.txt", 5, 12), 2);
    world.Sql({"UPDATE T_task SET TaskStatus = 1"});
    VirtualTime::Run(0, [&] { Service().startTransferTaskService(); });
    EXPECT_EQ(world.Row(L"down").GetFileStatus(), 21);
    EXPECT_EQ(world.Row(L"up").GetFileStatus(), 11);
    EXPECT_EQ(world.Task(L"down", 1).GetTaskstatus(), 0);
    EXPECT_EQ(world.Task(L"up", 2).GetTaskstatus(), 0);
}

// SVC-START-05
TEST_F(StartingTheService, LeavesAFileWithoutTaskAndAFolderAsTheyAre) {
    world.Put(world.File(L"alone", L"alone.txt", 5, 22));
    Common::FileItem folder = world.File(L"folder", L"folder", 0, 22);
    folder.SetIsFolder(true);
    world.PutWithTask(folder, 1);
    world.Put(world.File(L"picture", L"picture.jpg", 5, 22));
    world.Sql({"INSERT INTO T_task (fileId, direction, TaskStatus) VALUES ('picture', 3, 0)"});
    VirtualTime::Run(0, [&] { Service().startTransferTaskService(); });
    EXPECT_EQ(world.Row(L"alone").GetFileStatus(), 22);
    EXPECT_EQ(world.Row(L"folder").GetFileStatus(), 22);
    EXPECT_EQ(world.Row(L"picture").GetFileStatus(), 22);
}

// SVC-START-06
TEST_F(StartingTheService, LeavesWaitingFailedAndCancelledRowsAsTheyAre) {
    world.PutWithTask(world.File(L"failed", L"failed.txt", 5, 23), 1);
    world.PutWithTask(world.File(L"cancelled", L"cancelled.txt", 5, 21), 1);
    world.Sql({"UPDATE T_task SET TaskStatus = 3 WHERE fileId = 'cancelled'"});
    VirtualTime::Run(0, [&] { Service().startTransferTaskService(); });
    EXPECT_EQ(world.Row(L"failed").GetFileStatus(), 23);
    EXPECT_EQ(world.Task(L"cancelled", 1).GetTaskstatus(), 3);
}

// SVC-START-07
TEST_F(StartingTheService, WithoutAnEarlierMessageTheFirstWillBeFullMessageIsDueAndNoRegularCheckRuns) {
    VirtualTime::Run(0, [&] {
        StartService();
        EXPECT_TRUE(WillBeFullMessageIsDue());
        VirtualTime::AdvanceBy(100 * 1000);
    });
    EXPECT_EQ(cloud.getUserSpace.Calls(), 0);
}

// SVC-START-08
TEST_F(StartingTheService, AnEarlierMessageIsReadBackAndTakesTheFirstOneAway) {
    world.Sql({"UPDATE T_SyncConf SET LastNotifySpaceFull = 1600000000"});
    VirtualTime::Run(0, [&] {
        StartService();
        EXPECT_FALSE(WillBeFullMessageIsDue());
        EXPECT_GT(cloud.getUserSpace.Calls(), 0);  // the regular check has begun
    });
}

// SVC-START-08
TEST_F(StartingTheService, AStoredTimeThatIsNoNumberCountsAsNone) {
    database.excuteQuerySQL.Next([](std::list<WMap>& rows, const std::wstring&) {
        rows.push_back({{L"LastNotifySpaceFull", L"yesterday"}});
    });
    VirtualTime::Run(0, [&] {
        StartService();
        EXPECT_TRUE(WillBeFullMessageIsDue());
    });
}

// SVC-START-09
TEST_F(StartingTheService, WithoutARowTheTimeKeepsItsValue) {
    database.excuteQuerySQL.Always([](std::list<WMap>&, const std::wstring&) {});
    VirtualTime::Run(0, [&] {
        StartService();
        EXPECT_TRUE(WillBeFullMessageIsDue());
    });
}

// SVC-START-10
TEST_F(StartingTheService, GoesOnWhenTheRepairFails) {
    database.executeMulitNoQuerySQL.AlwaysReturns(false);
    GivePlain(L"F", L"f.txt", "content");
    VirtualTime::Run(0, [&] {
        StartService();
        VirtualTime::AdvanceBy(3000);
    });
    EXPECT_EQ(LogsOf("TransferTaskService.startTransferTaskService End"), 1);
    EXPECT_EQ(world.ReadFile(L"f.txt"), "content");
}

// SVC-START-11
TEST_F(StartingTheService, TellsOfAnExceptionOutOfTheDispatchersAndReturns) {
    VirtualTime::Run(0, [&] {
        ScriptedPool::FailTask(2);  // the thumbnail dispatcher, the first one after the main loop
        StartService();
    });
    const std::string what = "no thread could be started for a background task";
    const Texts expected = {"error TransferTaskService|startTransferTaskService|startTransferTaskService error:" + what,
                            "stat 15002|TransferTaskService| TransferTaskService error = " + what,
                            "trace TransferTaskService.startTransferTaskService End"};
    EXPECT_TRUE(InOrder(Lines(), expected));
    EXPECT_EQ(LogsOf("TransferTaskService.StartDownloadTaskService "), 0);
}

// SVC-START-12
TEST_F(StartingTheService, DropsWhatTheQueuesHeldBefore) {
    for (int i = 0; i < 5; ++i) {
        const std::wstring id = L"F" + std::to_wstring(i);
        GivePlain(id, id, "content");
    }
    VirtualTime::Run(0, [&] {
        StartService();
        VirtualTime::AdvanceBy(500);  // fetched; the dispatcher looks again at 1000
        ASSERT_EQ(database.getTaskAllItem.Calls(), 1);
        Service().stopTransferTaskService();
        world.Sql({"DELETE FROM T_task"});
        StartService();
        VirtualTime::AdvanceBy(20000);
    });
    EXPECT_EQ(ScriptedPool::Queued().size(), 0u);
}

// SVC-START-12
TEST_F(StartingTheService, DrainsAllFourQueues) {
    auto& thumbnails = *(Service().*Reach(Thumbnails()));
    auto& downloads = *(Service().*Reach(DownloadsWaiting()));
    auto& uploads = *(Service().*Reach(UploadsWaiting()));
    auto& priorities = *(Service().*Reach(PrioritiesWaiting()));
    for (int i = 0; i < 3; ++i) {
        thumbnails.push({{L"fileId", L"P"}});
        downloads.push(TaskItem());
        uploads.push(TaskItem());
        priorities.push(TaskItem());
    }
    VirtualTime::Run(0, [&] {
        Service().startTransferTaskService();
        EXPECT_TRUE(thumbnails.empty() && downloads.empty() && uploads.empty() && priorities.empty());
    });
}

// SVC-START-13
TEST_F(StartingTheService, IsOneServiceForAllThreads) {
    std::vector<TransferTaskService*> services(8);
    std::vector<std::thread> threads;
    for (auto& service : services) {
        threads.emplace_back([&service] { service = &TransferTaskService::getInstance(); });
    }
    for (std::thread& thread : threads) thread.join();
    for (const auto* service : services) EXPECT_EQ(service, &Service());
}

// SVC-START-14
TEST_F(StartingTheService, DirectlyAfterAStopLeavesOneMainLoop) {
    VirtualTime::Run(0, [&] {
        StartService();
        VirtualTime::AdvanceBy(200);
        Service().stopTransferTaskService();
        StartService();
        VirtualTime::AdvanceBy(5000);
    });
    const std::vector<std::int64_t> passes = {0, 200, 1200, 2200, 3200, 4200, 5200};
    EXPECT_EQ(Journal::Times(Kind::Database, "hasTransferTasks"), passes);
    EXPECT_EQ(LogsOf("TransferTaskService.StopTransferTaskService 1"), 1);
}

// SVC-START-15
TEST_F(StartingTheService, AnExceptionOfTheRepairLeavesThroughTheCallerBeforeAnythingRuns) {
    database.excuteQuerySQL.NextThrows("locked");
    database.executeMulitNoQuerySQL.NextThrows("locked too");
    VirtualTime::Run(0, [&] {
        EXPECT_THROW(Service().startTransferTaskService(), std::runtime_error);
        EXPECT_THROW(Service().startTransferTaskService(), std::runtime_error);
        EXPECT_EQ(VirtualTime::LiveThreads(), 0);
        EXPECT_NO_THROW(StartService());
        EXPECT_EQ(VirtualTime::LiveThreads(), 6);  // loop, four dispatchers, a fetch that pauses
    });
}

// SVC-START-16
TEST_F(StartingTheService, AMainLoopThatCannotBeStartedLeavesThroughTheCaller) {
    VirtualTime::Run(0, [&] {
        ScriptedPool::FailTask(1);
        EXPECT_THROW(Service().startTransferTaskService(), std::runtime_error);
        EXPECT_EQ(VirtualTime::LiveThreads(), 0);
    });
    EXPECT_EQ(Joined(Lines({Kind::Error})), "");
}

// SVC-START-17
TEST_F(StartingTheService, ADispatcherThatCannotBeStartedKeepsThoseBeforeItAndLeavesOutThoseBehindIt) {
    const char* const traces[] = {
        "TransferTaskService.StartThumbnailTaskService ", "TransferTaskService.StartDownloadTaskService ",
        "TransferTaskService.StartPriorityDownloadTaskService ", "TransferTaskService.StartUploadTaskService "};
    VirtualTime::Run(0, [&] {
        for (int failing = 0; failing < 4; ++failing) {
            Journal::Clear();
            ScriptedPool::FailTask(failing + 2);
            StartService();
            for (int i = 0; i < 4; ++i) EXPECT_EQ(LogsOf(traces[i]), i < failing ? 1 : 0) << failing << ", " << i;
            EXPECT_EQ(Journal::CountBeginning(Kind::Error, "TransferTaskService|startTransferTaskService|"), 1);
            EXPECT_EQ(LogsOf("TransferTaskService.startTransferTaskService End"), 1);
            Service().stopTransferTaskService();
            VirtualTime::AdvanceBy(2000);
        }
    });
}

// SVC-START-18
TEST_F(StartingTheService, OpensAFeedThatWasShut) {
    database.getTaskAllItem.NextThrows("broken");  // leaves the feed of the downloads shut
    VirtualTime::Run(0, [&] {
        StartService();
        VirtualTime::AdvanceBy(3000);
        ASSERT_EQ(Journal::Times(Kind::Database, "GetTaskAllItem('0','21','23'"), std::vector<std::int64_t>{0});
        Service().stopTransferTaskService();
        StartService();
        EXPECT_EQ(Journal::CountBeginning(Kind::Database, "GetTaskAllItem('0','21','23'"), 2);
    });
}

// SVC-START-19
TEST_F(StartingTheService, TakesTheTimeOfTheFirstRowAsASigned64BitNumber) {
    const std::pair<const wchar_t*, bool> cases[] = {
        {L"0", true}, {L"1", false}, {L"-9", true}, {L"9223372036854775807", false}, {L"17 and more", false}};
    VirtualTime::Run(0, [&] {
        for (const auto& [text, due] : cases) {
            database.excuteQuerySQL.Next([text = text](std::list<WMap>& rows, const std::wstring&) {
                rows.push_back({{L"LastNotifySpaceFull", text}});
                rows.push_back({{L"LastNotifySpaceFull", L"5"}});
            });
            Service().startTransferTaskService();
            EXPECT_EQ(WillBeFullMessageIsDue(), due) << Narrow(text);
        }
    });
}

// SVC-START-09
TEST_F(StartingTheService, WithoutARowTheTimeOfAnEarlierStartIsKept) {
    world.Sql({"UPDATE T_SyncConf SET LastNotifySpaceFull = 1600000000"});
    VirtualTime::Run(0, [&] {
        Service().startTransferTaskService();
        EXPECT_FALSE(WillBeFullMessageIsDue());
        database.excuteQuerySQL.Next([](std::list<WMap>&, const std::wstring&) {});
        Service().startTransferTaskService();
        EXPECT_FALSE(WillBeFullMessageIsDue());
    });
}

// SVC-START-20
TEST_F(StartingTheService, PutsARunningTaskOfAnyDirectionBackToWaiting) {
    world.Put(world.File(L"P", L"p.jpg", 5, 1));
    world.Sql({"INSERT INTO T_task (fileId, direction, TaskStatus) VALUES ('P', 3, 1)"});
    VirtualTime::Run(0, [&] { Service().startTransferTaskService(); });
    EXPECT_EQ(world.Task(L"P", 3).GetTaskstatus(), 0);
}

// SVC-START-21
TEST_F(StartingTheService, RunsOnAnEmptySettingsTableWithoutARegularCheck) {
    world.Sql({"DELETE FROM T_SyncConf"});
    VirtualTime::Run(0, [&] {
        StartService();
        EXPECT_TRUE(WillBeFullMessageIsDue());
        VirtualTime::AdvanceBy(5000);
    });
    EXPECT_EQ(cloud.getUserSpace.Calls(), 0);
}

// SVC-START-22
TEST_F(StartingTheService, TwiceWithoutAStopRunsTwoSetsOfLoopsOfWhichAStopEndsTheSecond) {
    VirtualTime::Run(0, [&] {
        StartService();
        VirtualTime::AdvanceBy(500);
        StartService();
        VirtualTime::AdvanceBy(2400);
        EXPECT_EQ(Journal::Times(Kind::Database, "hasTransferTasks"),
                  (std::vector<std::int64_t>{0, 500, 1000, 1500, 2000, 2500}));
        Service().stopTransferTaskService();
        VirtualTime::AdvanceBy(2100);
    });
    EXPECT_EQ(LogsOf("TransferTaskService.StopTransferTaskService 1"), 1);
    EXPECT_EQ(Journal::Times(Kind::Database, "hasTransferTasks").back(), 5000);
}

}  // namespace
}  // namespace Drive::Testing
