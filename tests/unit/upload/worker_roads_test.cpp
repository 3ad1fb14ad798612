#include <gtest/gtest.h>

#include <mutex>
#include <stdexcept>

#include "interfaces/common/globals.h"
#include "interfaces/platform/clock.h"
#include "tests/support/private_access.h"
#include "tests/support/virtual_time.h"
#include "tests/unit/upload/upload_bench.h"
#include "upload/upload_task_manager.h"

namespace Drive::Testing {

using TransferService::NeverDestroyed;
using TransferService::UpLoadTaskManger;

struct ApplyResult {
    using Type = void (UpLoadTaskManger::*)(TransferService::TaskResult, const Common::TaskItem&,
                                            const Common::FileItem&, WMap&, WMap&);
    friend Type Reach(ApplyResult);
};
struct UpdateCount {
    using Type = void (UpLoadTaskManger::*)(int);
    friend Type Reach(UpdateCount);
};
struct CountMutex {
    using Type = NeverDestroyed<Platform::Mutex> UpLoadTaskManger::*;
    friend Type Reach(CountMutex);
};
struct CountCondition {
    using Type = NeverDestroyed<Platform::ConditionVariable> UpLoadTaskManger::*;
    friend Type Reach(CountCondition);
};
template struct PrivateMember<ApplyResult, &UpLoadTaskManger::applyResult>;
template struct PrivateMember<UpdateCount, &UpLoadTaskManger::updateUploadingTaskCount>;
template struct PrivateMember<CountMutex, &UpLoadTaskManger::uploadCountMutex>;
template struct PrivateMember<CountCondition, &UpLoadTaskManger::uploadCountCondition>;

namespace {

UpLoadTaskManger& Engine() { return UpLoadTaskManger::getInstance(); }

class UploadOutcome : public UploadBench {
protected:
    /// Columns that an outcome asks for: those of the task, then those of the file.
    std::pair<WMap, WMap> Apply(int result) {
        Give(L"Local-1", L"a.bin", "content", 4);
        WMap taskColumns, fileColumns;
        (Engine().*Reach(ApplyResult()))(static_cast<TransferService::TaskResult>(result), world.Task(L"Local-1", 2),
                                         world.Row(L"Local-1"), taskColumns, fileColumns);
        return {taskColumns, fileColumns};
    }
};

// UP-WORK-13
TEST_F(UploadOutcome, OfNoSynchronisationKeepsTheTaskAndHoldsTheFileBack) {
    const auto [taskColumns, fileColumns] = Apply(4);
    EXPECT_TRUE(taskColumns.empty());
    EXPECT_EQ(fileColumns, (WMap{{L"fileStatus", L"13"}, {L"status", L"5"}}));
    EXPECT_EQ(Lines(),
              Texts{"trace UpLoadTaskManger.UploadThreadFunc:file upload task end fail nosync fileid=Local-1"});
    EXPECT_TRUE(world.HasTask(L"Local-1", 2));
}

// UP-WORK-14
TEST_F(UploadOutcome, ThatNoUploadHasKeepsTheTaskAndLeavesNoTrace) {
    for (const int result : {6, 7, 9, -1}) {
        const auto [taskColumns, fileColumns] = Apply(result);
        EXPECT_TRUE(taskColumns.empty()) << result;
        EXPECT_EQ(fileColumns, (WMap{{L"fileStatus", L"13"}})) << result;
        EXPECT_EQ(Lines(), Texts{}) << result;
    }
}

class UploadWorkerRoads : public UploadBench {};

// UP-WORK-23
TEST_F(UploadWorkerRoads, TakingOneOffACountOfZeroLeavesZeroAndStillWakes) {
    bool woken = false;
    VirtualTime::Run(0, [&] {
        VirtualTime::Start("waiter", [&] {
            std::unique_lock lock(*(Engine().*Reach(CountMutex())));
            woken = (*(Engine().*Reach(CountCondition()))).wait_until(lock, Platform::MonotonicMilliseconds() + 5000);
        });
        VirtualTime::Settle();
        (Engine().*Reach(UpdateCount()))(-1);
        EXPECT_TRUE(VirtualTime::Drain(60000));
        EXPECT_EQ(VirtualTime::Now(), 0);
        Engine().StopUpLoadMangerService();
        EXPECT_EQ(VirtualTime::Now(), 0) << "the count is 0, not below";
        (Engine().*Reach(UpdateCount()))(1);
        Engine().StopUpLoadMangerService();
        EXPECT_EQ(VirtualTime::Now(), 10000) << "one worker, waited for in vain";
    });
    EXPECT_TRUE(woken);
}

// UP-WORK-24
TEST_F(UploadWorkerRoads, TheAnswerOfTheServiceCallbackIsNotLookedAt) {
    Engine().SetUploadServiceCallbackFun([](int, const std::wstring&) { return false; });
    Give(L"Local-1", L"a.bin", "content");
    Run(L"Local-1");
    EXPECT_EQ(world.Row(L"cloud-1").GetFileStatus(), 1);
    EXPECT_EQ(world.TaskCount(), 0);
    EXPECT_EQ(Lines({Kind::Error}), Texts{});
}

// UP-WORK-25
TEST_F(UploadWorkerRoads, ACallbackGivenLaterTakesThePlaceOfTheOneBefore) {
    int ends = 0;
    int services = 0;
    Engine().SetUploadTaskCallbackFun([&](int kind, int value) { ends += kind == 2 && value == 1; });
    Engine().SetUploadServiceCallbackFun([&](int kind, const std::wstring& path) {
        services += kind == 1 && path == world.Path(L"a.bin");
        return true;
    });
    Give(L"Local-1", L"a.bin", "content");
    Run(L"Local-1");
    EXPECT_EQ(ends, 1);
    EXPECT_EQ(services, 1);
    EXPECT_EQ(Lines({Kind::Callback}), Texts{});
}

// UP-WORK-27
TEST_F(UploadWorkerRoads, AnExceptionWhileTheOutcomeIsWrittenPutsTheTaskBackAndReportsTheEndOnce) {
    g_isOffLine = true;
    Give(L"Local-1", L"a.bin", "content");
    database.updateDriveData.NextDefault();
    database.updateDriveData.NextThrows("no disk");
    Run(L"Local-1");
    EXPECT_TRUE(InOrder(Lines(), {"db UpdateDriveData(Local-1, {fileStatus: 13})",
                                  "db UpdateTaskItem(Local-1, {Priority: 4, TaskStatus: 0}, 2)", "callback task(2, 1)",
                                  "error UpLoadTaskManger|StartUpLoadMangerService|error no disk"}))
        << Journal::Dump();
    EXPECT_EQ(Journal::Count(Kind::Callback, "task(2, 1)"), 1);
    EXPECT_EQ(Journal::CountBeginning(Kind::Common, "RefreshFile"), 0);
    EXPECT_EQ(world.Task(L"Local-1", 2).GetTaskstatus(), 0);
}

// UP-WORK-29
TEST_F(UploadWorkerRoads, ADatabaseThatFailsAgainDoesNotKeepTheEndFromBeingReported) {
    g_isOffLine = true;
    Give(L"Local-1", L"a.bin", "content");
    database.updateTaskItem.NextDefault();
    database.updateTaskItem.AlwaysThrows("no disk");
    Run(L"Local-1");
    EXPECT_EQ(database.updateTaskItem.Calls(), 3);
    EXPECT_EQ(Journal::Count(Kind::Callback, "task(2, 1)"), 1);
    EXPECT_EQ(Lines({Kind::Error}).back(), "error UpLoadTaskManger|StartUpLoadMangerService|error no disk");
    database.updateTaskItem.Reset();
    world.Sql({"UPDATE T_task SET TaskStatus = 0"});
    Run(L"Local-1");
    EXPECT_EQ(Journal::Count(Kind::Trace, "UpLoadTaskManger.UploadThreadFunc: uploadTaskCount=:1"), 2)
        << "the count had gone down";
}

// UP-WORK-26
TEST_F(UploadWorkerRoads, AnExceptionOfTheEndCallbackIsToldAndTheEndIsRaisedAgain) {
    int ends = 0;
    Engine().SetUploadTaskCallbackFun([&](int, int value) {
        if (value == 1 && ++ends == 1) throw std::runtime_error("deaf");
    });
    Give(L"Local-1", L"a.bin", "content");
    Run(L"Local-1");
    EXPECT_EQ(ends, 2);
    EXPECT_EQ(Lines({Kind::Error}), Texts{"error UpLoadTaskManger|StartUpLoadMangerService|error deaf"});
    EXPECT_EQ(world.Row(L"cloud-1").GetFileStatus(), 1);
    EXPECT_EQ(world.TaskCount(), 0);
    VirtualTime::Run(0, [] {
        Engine().StopUpLoadMangerService();
        EXPECT_EQ(VirtualTime::Now(), 0) << "the count stopped at 0";
    });
}

// UP-WORK-28
TEST_F(UploadWorkerRoads, TwoWorkersRunSideBySideEachCountedOnce) {
    Give(L"Local-1", L"a.bin", Content(20));
    Give(L"Local-2", L"b.bin", Content(20, 2));
    cloud.objectsUploadStart.Takes(1000);
    VirtualTime::Run(0, [&] {
        VirtualTime::Start("one", [&] { Work(L"Local-1"); });
        VirtualTime::Start("two", [&] { Work(L"Local-2"); });
        EXPECT_TRUE(VirtualTime::Drain(60000));
        EXPECT_EQ(VirtualTime::Now(), 1000);
    });
    const auto counted = [](const std::string& text) {
        return Journal::Count(Kind::Trace, "UpLoadTaskManger.UploadThreadFunc: " + text);
    };
    EXPECT_EQ(counted("uploadTaskCount=:1"), 1);
    EXPECT_EQ(counted("uploadTaskCount=:2"), 1);
    EXPECT_EQ(counted("End uploadTaskCount=:1"), 1);
    EXPECT_EQ(counted("End uploadTaskCount=:0"), 1);
    EXPECT_EQ(world.TaskCount(), 0);
    EXPECT_FALSE(world.Row(L"cloud-1").GetFileId().empty());
    EXPECT_FALSE(world.Row(L"cloud-2").GetFileId().empty());
}

}  // namespace
}  // namespace Drive::Testing
