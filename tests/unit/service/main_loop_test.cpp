#include <gtest/gtest.h>

#include <cstring>

#include "interfaces/common/globals.h"
#include "tests/support/engine_bench.h"

namespace Drive::Testing {
namespace {

class MainLoop : public EngineBench {};

class MainLoopWithoutKey : public EngineBench {
protected:
    MainLoopWithoutKey() { std::memset(g_SyncUserKey, 0, sizeof(g_SyncUserKey)); }
};

class MainLoopOfADeafHost : public EngineBench {
protected:
    MainLoopOfADeafHost() : EngineBench(false) {}
};

// SVC-LOOP-01
TEST_F(MainLoop, MakesOnePassASecondWithTheFeedsTheSpaceAndTheMessageInOrder) {
    world.Sql({"UPDATE T_SyncConf SET LastNotifySpaceFull = 1600000000"});
    cloud.space = 1;
    VirtualTime::Run(0, [&] { StartService(); });
    const Texts expected = {"db GetThumbnailFileDownLoadTask(100)",
                            "db GetTaskAllItem('0','21','23', 1, 100)",
                            "db ClearInvalidateTask()",
                            "cloud GetUserSpace()",
                            "db hasTransferTasks()",
                            "callback notify(1, , false)"};
    const Texts lines = Lines({Kind::Database, Kind::Cloud, Kind::Callback});
    const Texts afterRepair(lines.begin() + 2, lines.end());
    EXPECT_EQ(Joined(afterRepair), Joined(expected));
}

// SVC-LOOP-01
TEST_F(MainLoop, PassesAreASecondApart) {
    VirtualTime::Run(0, [&] {
        StartService();
        VirtualTime::AdvanceBy(4500);
    });
    const std::vector<std::int64_t> expected = {0, 1000, 2000, 3000, 4000};
    EXPECT_EQ(Journal::Times(Kind::Database, "hasTransferTasks"), expected);
}

// SVC-LOOP-02
TEST_F(MainLoop, TellsTheHostWhetherTasksExist) {
    GivePlain(L"F", L"f.txt", "content");
    ScriptedPool::Hold(true);
    VirtualTime::Run(0, [&] {
        StartService();
        EXPECT_EQ(Journal::Count(Kind::Callback, "notify(1, , true)"), 1);
        world.Sql({"DELETE FROM T_task"});
        VirtualTime::AdvanceBy(1000);
        EXPECT_EQ(Journal::Count(Kind::Callback, "notify(1, , false)"), 1);
        database.hasTransferTasks.AlwaysReturns(true);
        VirtualTime::AdvanceBy(1000);
        EXPECT_EQ(Journal::Count(Kind::Callback, "notify(1, , true)"), 2);
    });
}

// SVC-LOOP-03
TEST_F(MainLoopOfADeafHost, NeverAsksWhetherTasksExist) {
    VirtualTime::Run(0, [&] {
        StartService();
        VirtualTime::AdvanceBy(10000);
    });
    EXPECT_EQ(database.hasTransferTasks.Calls(), 0);
    EXPECT_GT(database.getTaskAllItem.Calls(), 0);
}

// SVC-LOOP-04
TEST_F(MainLoopWithoutKey, AsksForTheKeyEveryThreeSecondsAndFetchesNothing) {
    GivePlain(L"F", L"f.txt", "content");
    VirtualTime::Run(0, [&] {
        StartService();
        VirtualTime::AdvanceBy(10000);
    });
    const std::vector<std::int64_t> expected = {0, 3000, 6000, 9000};
    EXPECT_EQ(Journal::Times(Kind::Trace, "TransferTaskService. g_SyncUserKey is empty "), expected);
    EXPECT_EQ(Journal::Times(Kind::Cloud, "PublickKey()"), expected);
    EXPECT_EQ(database.getTaskAllItem.Calls(), 0);
    EXPECT_EQ(database.getThumbnailFileDownLoadTask.Calls(), 0);
    EXPECT_EQ(database.clearInvalidateTask.Calls(), 0);
    EXPECT_EQ(database.hasTransferTasks.Calls(), 0);
}

// SVC-LOOP-05
TEST_F(MainLoopWithoutKey, GoesOnInTheSamePassOnceTheKeyIsThere) {
    cloud.publickKey.Next([] {
        g_SyncUserKey[0] = 1;
        return std::string();
    });
    VirtualTime::Run(0, [&] { StartService(); });
    EXPECT_EQ(Journal::Times(Kind::Database, "GetTaskAllItem"), std::vector<std::int64_t>{0});
}

// SVC-LOOP-06
TEST_F(MainLoopWithoutKey, AnExceptionIsToldUnderTheNameOfTheStartAndThePassRepeatedASecondLater) {
    cloud.publickKey.NextThrows("no answer");
    VirtualTime::Run(0, [&] {
        StartService();
        VirtualTime::AdvanceBy(1000);
    });
    const Texts expected = {
        "error TransferTaskService|startTransferTaskService|bacekground mian service thread error:no answer",
        "stat 15002|TransferTaskService| TransferTaskService error = no answer"};
    EXPECT_TRUE(InOrder(Lines(), expected));
    const std::vector<std::int64_t> asked = {0, 1000};
    EXPECT_EQ(Journal::Times(Kind::Cloud, "PublickKey()"), asked);
}

// SVC-LOOP-06
TEST_F(MainLoop, SurvivesAPassThatCannotStartItsTasks) {
    VirtualTime::Run(0, [&] {
        StartService();
        ScriptedPool::FailNextTasks(1);
        VirtualTime::AdvanceBy(1000);
        EXPECT_EQ(Journal::CountBeginning(Kind::Error, "TransferTaskService|startTransferTaskService|bacekground"), 1);
        EXPECT_EQ(database.hasTransferTasks.Calls(), 1);  // the failed pass asked nothing
        VirtualTime::AdvanceBy(1000);
        EXPECT_EQ(database.hasTransferTasks.Calls(), 2);
    });
}

// SVC-LOOP-07
TEST_F(MainLoop, EndsOnItsNextPassAfterTheStop) {
    VirtualTime::Run(0, [&] {
        StartService();
        VirtualTime::AdvanceBy(500);
        Service().stopTransferTaskService();
        const std::size_t mark = Journal::Mark();
        VirtualTime::AdvanceBy(499);
        EXPECT_EQ(Joined(Journal::LinesSince(mark)), "");
        VirtualTime::AdvanceBy(1);
        const Texts expected = {"trace TransferTaskService.StopTransferTaskService 1",
                                "stat 15002|TransferTaskService| StopTransferTaskService",
                                "trace TransferTaskService.cancel bacekground mian service thread thread"};
        EXPECT_EQ(Joined(Journal::LinesOf("task-1", {Kind::Trace, Kind::Statistic})), Joined(expected));
        const int asked = database.hasTransferTasks.Calls();
        VirtualTime::AdvanceBy(10000);
        EXPECT_EQ(database.hasTransferTasks.Calls(), asked);
    });
}

// SVC-LOOP-08
TEST_F(MainLoopWithoutKey, SeesTheStopBetweenTwoKeyRequests) {
    VirtualTime::Run(0, [&] {
        StartService();
        Service().stopTransferTaskService();
        VirtualTime::AdvanceBy(3000);
        EXPECT_TRUE(Journal::Has(Kind::Trace, "TransferTaskService.StopTransferTaskService 1"));
        EXPECT_EQ(cloud.publickKey.Calls(), 1);
    });
}

// SVC-LOOP-09
TEST_F(MainLoop, TellsTheCallbackThatWasSetLast) {
    Service().setFileTransNotifyMsgCallBack([](int, const std::wstring&, bool) { ADD_FAILURE(); });
    Service().setFileTransNotifyMsgCallBack([](int message, const std::wstring&, bool) {
        Journal::Write(Kind::Callback, "second(" + std::to_string(message) + ")");
    });
    VirtualTime::Run(0, [&] { StartService(); });
    EXPECT_EQ(Journal::Count(Kind::Callback, "second(1)"), 1);
}

// SVC-LOOP-10
TEST_F(MainLoopWithoutKey, OnlyTheFirstByteTellsWhetherTheKeyIsThere) {
    g_SyncUserKey[1] = 1;
    g_SyncUserKey_sfek[0] = 1;
    VirtualTime::Run(0, [&] { StartService(); });
    EXPECT_EQ(cloud.publickKey.Calls(), 1);
    EXPECT_EQ(database.getTaskAllItem.Calls(), 0);
}

// SVC-LOOP-11
TEST_F(MainLoop, IsNotHeldUpByASlowHostOrASlowDatabase) {
    Service().setFileTransNotifyMsgCallBack([](int, const std::wstring&, bool) { VirtualTime::Pause(60000); });
    database.getTaskAllItem.Takes(60000);
    VirtualTime::Run(0, [&] {
        StartService();
        VirtualTime::AdvanceBy(5000);
    });
    EXPECT_EQ(database.hasTransferTasks.Calls(), 6);
    EXPECT_EQ(Journal::CountBeginning(Kind::Database, "GetThumbnailFileDownLoadTask"), 6);
}

// SVC-LOOP-12
TEST_F(MainLoop, AMessageThatThrowsIsLostAndTheNextOneComes) {
    int calls = 0;
    Service().setFileTransNotifyMsgCallBack([&](int, const std::wstring&, bool) {
        ++calls;
        throw std::runtime_error("host broke");
    });
    database.hasTransferTasks.NextThrows("locked");
    VirtualTime::Run(0, [&] {
        StartService();
        VirtualTime::AdvanceBy(3000);
        EXPECT_EQ(calls, 3);
    });
    EXPECT_EQ(database.hasTransferTasks.Calls(), 4);
    EXPECT_EQ(Joined(Lines({Kind::Error})), "");
}

// SVC-LOOP-13
TEST_F(MainLoop, APassWhoseTasksCannotAllBeStartedDoesWhatStandsBeforeTheFirstOne) {
    world.Sql({"UPDATE T_SyncConf SET LastNotifySpaceFull = 1600000000"});
    const char* const operations[] = {"GetThumbnailFileDownLoadTask", "GetTaskAllItem('0','21'", "ClearInvalidateTask",
                                      "GetUserSpace", "hasTransferTasks"};
    for (int failing = 1; failing <= 5; ++failing) {
        VirtualTime::Run(0, [&] {
            StartService();
            VirtualTime::AdvanceBy(5999);  // the next upload fetch is due again
            const std::size_t mark = Journal::Mark();
            ScriptedPool::FailTask(failing);
            VirtualTime::AdvanceBy(1);
            const std::string lines = Joined(Journal::LinesSince(mark, {Kind::Database, Kind::Cloud}));
            for (int i = 0; i < 5; ++i) {
                EXPECT_EQ(lines.find(operations[i]) != std::string::npos, i + 1 < failing) << failing << ", " << i;
            }
            Service().stopTransferTaskService();
            VirtualTime::AdvanceBy(8000);  // nobody is left with a mutex
        });
    }
    EXPECT_EQ(Journal::CountBeginning(Kind::Error, "TransferTaskService|startTransferTaskService|bacekground"), 5);
}

// SVC-LOOP-14
TEST_F(MainLoopWithoutKey, AnExceptionThatIsNoStandardOneEndsTheLoopAndNothingElse) {
    cloud.publickKey.Next([]() -> std::string { throw 7; });
    VirtualTime::Run(0, [&] {
        StartService();
        VirtualTime::AdvanceBy(10000);
        EXPECT_EQ(VirtualTime::LiveThreads(), 4);  // the dispatchers
    });
    EXPECT_EQ(cloud.publickKey.Calls(), 1);
}

}  // namespace
}  // namespace Drive::Testing
