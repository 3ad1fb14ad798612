#include <gtest/gtest.h>

#include <atomic>

#include "interfaces/common/globals.h"
#include "service/shared/user_space.h"
#include "tests/support/engine_bench.h"
#include "tests/support/private_access.h"

namespace Drive::Testing {

using Drive::TransferService::TransferTaskService;

struct Notify {
    using Type = void (TransferTaskService::*)(const int&);
    friend Type Reach(Notify);
};

struct ShouldNotifyFull {
    using Type = bool (TransferTaskService::*)(std::int64_t, std::int64_t&);
    friend Type Reach(ShouldNotifyFull);
};

struct ShouldNotifyWillFull {
    using Type = bool (TransferTaskService::*)(std::int64_t, std::int64_t&);
    friend Type Reach(ShouldNotifyWillFull);
};

template struct PrivateMember<Notify, &TransferTaskService::notifyUserSpaceMsg>;
template struct PrivateMember<ShouldNotifyFull, &TransferTaskService::shouldNotifySpaceFull>;
template struct PrivateMember<ShouldNotifyWillFull, &TransferTaskService::shouldNotifySpaceWillFull>;

namespace {

using namespace TransferService;

constexpr std::int64_t kDay = 86400;
constexpr std::int64_t kNow = 1700000000;  // where the wall clock of a run begins

class UserSpace : public EngineBench {
protected:
    UserSpace() {
        g_SpaceIsFullSize = 1000;
        g_SpaceWillBeFullSize = 5000;
        g_SpaceNotifySpaceInterval = 60;
        g_SpaceNotifySpaceTimes = 3;
    }

    UserSpaceLevel Classify(std::int64_t space, std::int64_t needed = 0) {
        cloud.space = space;
        return classifyUserSpace(needed, remaining);
    }
    void Tell(int message) { (Service().*Reach(Notify()))(message); }
    bool FullIsDue(std::int64_t last) { return (Service().*Reach(ShouldNotifyFull()))(last, remaining); }
    bool WillFullIsDue(std::int64_t last) { return (Service().*Reach(ShouldNotifyWillFull()))(last, remaining); }
    static int Messages(int number) {
        return Journal::Count(Kind::Callback, "notify(" + std::to_string(number) + ", , false)");
    }
    static std::vector<std::int64_t> MessageTimes(int number) {
        return Journal::Times(Kind::Callback, "notify(" + std::to_string(number));
    }
    std::int64_t Stored() {
        std::list<WMap> rows;
        SQLiteDB::SQLiteDB::GetInstance().ExcuteQuerySQL(
            rows, L"SELECT IFNULL(LastNotifySpaceFull,0) as LastNotifySpaceFull FROM T_SyncConf");
        return rows.empty() ? -1 : std::stoll(rows.front()[L"LastNotifySpaceFull"]);
    }

    std::int64_t remaining = -7;
};

// SVC-SPACE-01
TEST_F(UserSpace, IsClassifiedByTheTwoLimits) {
    EXPECT_EQ(Classify(-1), UserSpaceError);
    EXPECT_EQ(remaining, -1);
    EXPECT_EQ(Classify(0), UserSpaceFull);
    EXPECT_EQ(Classify(999), UserSpaceFull);
    EXPECT_EQ(Classify(1000), UserSpaceWillFull);
    EXPECT_EQ(Classify(5000), UserSpaceWillFull);
    EXPECT_EQ(Classify(5001), UserSpaceEnough);
    EXPECT_EQ(remaining, 5001);
}

// SVC-SPACE-02
TEST_F(UserSpace, IsFullForAFileThatDoesNotFit) {
    EXPECT_EQ(Classify(10000, 10001), UserSpaceFull);
    EXPECT_EQ(Classify(10000, 10000), UserSpaceEnough);
    EXPECT_EQ(Classify(10000, 0), UserSpaceEnough);
    EXPECT_EQ(Classify(10000, -5), UserSpaceEnough);
    EXPECT_EQ(Classify(-2, 10), UserSpaceError);
}

// SVC-SPACE-03
TEST_F(UserSpace, LevelsAreTheseNumbers) {
    EXPECT_EQ(UserSpaceError, 0);
    EXPECT_EQ(UserSpaceEnough, 1);
    EXPECT_EQ(UserSpaceFull, 2);
    EXPECT_EQ(UserSpaceWillFull, 3);
}

// SVC-SPACE-04
TEST_F(UserSpace, FullCheckAsksTheCloudOnlyOnceTheIntervalHasPassed) {
    cloud.space = 10;
    VirtualTime::Run(0, [&] {
        EXPECT_FALSE(FullIsDue(kNow - 59));
        EXPECT_EQ(remaining, 0);
        EXPECT_EQ(cloud.getUserSpace.Calls(), 0);
        EXPECT_TRUE(FullIsDue(kNow - 60));
        EXPECT_EQ(remaining, 10);
        cloud.space = 2000;
        EXPECT_FALSE(FullIsDue(0));
        EXPECT_EQ(remaining, 0);
    });
}

// SVC-SPACE-05
TEST_F(UserSpace, FullCheckIsOffForAnIntervalBelowOne) {
    cloud.space = 10;
    VirtualTime::Run(0, [&] {
        for (const std::int64_t interval : {0, -1}) {
            g_SpaceNotifySpaceInterval = interval;
            remaining = 55;
            EXPECT_FALSE(FullIsDue(0));
            EXPECT_EQ(remaining, 0);
        }
        EXPECT_EQ(cloud.getUserSpace.Calls(), 0);
    });
}

// SVC-SPACE-06
TEST_F(UserSpace, WillBeFullCheckAsksTheCloudOnceADayHasPassed) {
    cloud.space = 2000;
    VirtualTime::Run(0, [&] {
        EXPECT_FALSE(WillFullIsDue(kNow - kDay + 1));
        EXPECT_EQ(remaining, 0);
        EXPECT_EQ(cloud.getUserSpace.Calls(), 0);
        EXPECT_TRUE(WillFullIsDue(kNow - kDay));
        EXPECT_EQ(remaining, 2000);
        cloud.space = 10;
        EXPECT_FALSE(WillFullIsDue(0));
        EXPECT_EQ(remaining, 0);
    });
}

// SVC-SPACE-07
TEST_F(UserSpace, FullMessageComesOncemoreThanTheLimitSays) {
    g_SpaceNotifySpaceTimes = 2;
    VirtualTime::Run(0, [&] {
        for (int i = 0; i < 6; ++i) Tell(2);
    });
    EXPECT_EQ(Messages(2), 3);
    EXPECT_EQ(Journal::Count(Kind::Trace, "UpLoadTaskManger.notifySpaceInfo.Notify Space Is Full"), 3);
}

// SVC-SPACE-08
TEST_F(UserSpace, FullMessageHasNoLimitWhenTheLimitIsZero) {
    g_SpaceNotifySpaceTimes = 0;
    VirtualTime::Run(0, [&] {
        for (int i = 0; i < 50; ++i) Tell(2);
    });
    EXPECT_EQ(Messages(2), 50);
}

// SVC-SPACE-09
TEST_F(UserSpace, WillBeFullMessageIsStoredAndComesAtMostOnceADay) {
    VirtualTime::Run(0, [&] {
        Tell(3);
        const Texts expected = {"trace UpLoadTaskManger.notifySpaceInfo.Notify Space Will Full",
                                "callback notify(3, , false)",
                                "db UpdateSyncConfItem(LastNotifySpaceFull, 1700000000)"};
        EXPECT_EQ(Joined(Lines()), Joined(expected));
        EXPECT_EQ(Stored(), kNow);
        VirtualTime::AdvanceBy((kDay - 1) * 1000);
        Tell(3);
        EXPECT_EQ(Messages(3), 1);
        EXPECT_EQ(Stored(), kNow);
        VirtualTime::AdvanceBy(1000);
        Tell(3);
        EXPECT_EQ(Messages(3), 2);
        EXPECT_EQ(Stored(), kNow + kDay);
    });
}

// SVC-SPACE-10
TEST_F(UserSpace, AnyOtherMessageNumberDoesNothing) {
    VirtualTime::Run(0, [&] {
        for (const int number : {0, 1, 4, -2}) Tell(number);
    });
    EXPECT_EQ(Joined(Lines()), "");
}

// SVC-SPACE-11
TEST_F(UserSpace, AMessageThatComesWhileAnotherIsBeingSentIsDropped) {
    Service().setFileTransNotifyMsgCallBack([&](int message, const std::wstring&, bool) {
        Journal::Write(Kind::Callback, "notify(" + std::to_string(message) + ", , false)");
        VirtualTime::Pause(1000);
    });
    VirtualTime::Run(0, [&] {
        VirtualTime::Start("first", [&] { Tell(2); });
        VirtualTime::Start("second", [&] { Tell(3); });
        VirtualTime::AdvanceBy(5000);
        EXPECT_EQ(Messages(2), 1);
        EXPECT_EQ(Messages(3), 0);
        EXPECT_EQ(Stored(), 0);
    });
}

// SVC-SPACE-12
TEST_F(UserSpace, RegularFullCheckFollowsAFirstMessageAtTheInterval) {
    cloud.space = 10;
    g_SpaceNotifySpaceTimes = 0;
    VirtualTime::Run(0, [&] {
        StartService();
        VirtualTime::AdvanceBy(120 * 1000);
        EXPECT_EQ(cloud.getUserSpace.Calls(), 0);  // nothing before a first message
        Tell(2);
        VirtualTime::AdvanceBy(125 * 1000);
    });
    const std::vector<std::int64_t> expected = {120000, 180000, 240000};
    EXPECT_EQ(MessageTimes(2), expected);
    EXPECT_EQ(cloud.getUserSpace.Calls(), 2);
}

// SVC-SPACE-13
TEST_F(UserSpace, RegularFullCheckTellsItsTextsAfterTheMessage) {
    cloud.space = 10;
    VirtualTime::Run(0, [&] {
        StartService();
        Tell(2);
        const std::size_t mark = Journal::Mark();
        VirtualTime::AdvanceBy(60 * 1000);
        const Texts expected = {
            "trace UpLoadTaskManger.notifySpaceInfo.Notify Space Is Full",
            "trace TransferTaskService.Regular Inspection SpceFull Userspace = 10",
            "stat 15002|TransferTaskService| Regular Inspection SpceFull Userspace = 10",
        };
        EXPECT_EQ(Joined(LinesSince(mark, {Kind::Trace, Kind::Statistic})), Joined(expected));
    });
}

// SVC-SPACE-14
TEST_F(UserSpace, RegularWillBeFullCheckTellsTheTraceOfTheFullOneAndItsOwnStatistic) {
    cloud.space = 2000;
    world.Sql({"UPDATE T_SyncConf SET LastNotifySpaceFull = 1699913600"});  // a day ago
    VirtualTime::Run(0, [&] {
        StartService();
        VirtualTime::AdvanceBy(1000);
    });
    const Texts expected = {"trace UpLoadTaskManger.notifySpaceInfo.Notify Space Will Full",
                            "callback notify(3, , false)", "db UpdateSyncConfItem(LastNotifySpaceFull, 1700000000)",
                            "trace TransferTaskService.Regular Inspection SpceFull Userspace = 2000",
                            "stat 15002|TransferTaskService| Regular Inspection SpaceWillFull Userspace = 2000"};
    EXPECT_TRUE(InOrder(Lines(), expected));
    EXPECT_EQ(Messages(3), 1);
}

// SVC-SPACE-15
TEST_F(UserSpace, AStartWithinTheDayOfTheLastMessageKeepsSilentUntilTheDayHasPassed) {
    cloud.space = 2000;
    world.Sql({"UPDATE T_SyncConf SET LastNotifySpaceFull = 1699913700"});  // a day less 100 seconds ago
    VirtualTime::Run(0, [&] {
        StartService();
        VirtualTime::AdvanceBy(100 * 1000 + 500);
    });
    EXPECT_EQ(MessageTimes(3), std::vector<std::int64_t>{100 * 1000});
}

// SVC-SPACE-16
TEST_F(UserSpace, OnceTheDayIsOverTheCloudIsAskedEverySecondWhileThereIsEnough) {
    cloud.space = 1 << 20;
    world.Sql({"UPDATE T_SyncConf SET LastNotifySpaceFull = 1600000000"});
    VirtualTime::Run(0, [&] {
        StartService();
        VirtualTime::AdvanceBy(5000);
    });
    EXPECT_EQ(cloud.getUserSpace.Calls(), 6);
    EXPECT_EQ(Messages(3), 0);
}

// SVC-SPACE-17
TEST_F(UserSpace, WithoutAnAnswerNothingIsToldAndTheCheckIsTriedAgainASecondLater) {
    cloud.space = -1;
    VirtualTime::Run(0, [&] {
        StartService();
        Tell(2);
        VirtualTime::AdvanceBy(62 * 1000);
    });
    EXPECT_EQ(Messages(2), 1);
    EXPECT_EQ(cloud.getUserSpace.Calls(), 3);
}

// SVC-SPACE-18
TEST_F(UserSpace, ACheckThatThrowsEndsTheRegularFullCheckUntilTheNextMessage) {
    cloud.space = 10;
    g_SpaceNotifySpaceTimes = 0;
    cloud.getUserSpace.NextThrows("broken");
    VirtualTime::Run(0, [&] {
        StartService();
        Tell(2);
        VirtualTime::AdvanceBy(200 * 1000);
        EXPECT_EQ(cloud.getUserSpace.Calls(), 1);
        EXPECT_EQ(Messages(2), 1);
        Tell(2);
        VirtualTime::AdvanceBy(60 * 1000);
        EXPECT_EQ(Messages(2), 3);
    });
}

// SVC-SPACE-19
TEST_F(UserSpace, IntervalZeroLeavesOnlyTheMessagesOfUploads) {
    cloud.space = 10;
    g_SpaceNotifySpaceInterval = 0;
    VirtualTime::Run(0, [&] {
        StartService();
        Tell(2);
        VirtualTime::AdvanceBy(180 * 1000);
        EXPECT_EQ(Messages(2), 1);
        Tell(2);
        EXPECT_EQ(Messages(2), 2);
    });
}

// SVC-SPACE-20
TEST_F(UserSpace, IsAskedForWithAnEmptyText) {
    Classify(1);
    EXPECT_EQ(Joined(Lines()), "cloud GetUserSpace()\n");
}

// SVC-SPACE-21
TEST_F(UserSpace, LimitsCountAsTheyStandAtEachUse) {
    EXPECT_EQ(Classify(3000), UserSpaceWillFull);
    g_SpaceWillBeFullSize = 2999;
    EXPECT_EQ(Classify(3000), UserSpaceEnough);
    g_SpaceIsFullSize = 3001;
    EXPECT_EQ(Classify(3000), UserSpaceFull);
}

// SVC-SPACE-22
TEST_F(UserSpace, ASlowAnswerHoldsUpNeitherTheMainLoopNorAsksTwiceForFullSpace) {
    cloud.space = 1 << 20;
    cloud.getUserSpace.Takes(30 * 1000);
    VirtualTime::Run(0, [&] {
        StartService();
        Tell(2);
        VirtualTime::AdvanceBy(85 * 1000);
        EXPECT_EQ(cloud.getUserSpace.Calls(), 1);  // asked at 60, answered at 90
        EXPECT_EQ(database.hasTransferTasks.Calls(), 86);
        VirtualTime::AdvanceBy(10 * 1000);
        EXPECT_EQ(cloud.getUserSpace.Calls(), 2);
    });
}

// SVC-SPACE-23
TEST_F(UserSpace, FullMessageIsWrittenThenToldAndTurnsTheRegularCheckOn) {
    cloud.space = 10;
    VirtualTime::Run(0, [&] {
        Tell(2);
        EXPECT_EQ(Joined(Lines()),
                  "trace UpLoadTaskManger.notifySpaceInfo.Notify Space Is Full\n"
                  "callback notify(2, , false)\n");
        StartService();
        VirtualTime::AdvanceBy(60 * 1000);
        EXPECT_EQ(Messages(2), 2);
    });
}

// SVC-SPACE-24
TEST_F(UserSpace, TheTimeOfAMessageIsThatBeforeTheHostWasTold) {
    cloud.space = 10;
    g_SpaceNotifySpaceTimes = 0;
    Service().setFileTransNotifyMsgCallBack([&](int message, const std::wstring&, bool) {
        if (message == 1) return;
        Journal::Write(Kind::Callback, "notify(" + std::to_string(message) + ", , false)");
        VirtualTime::Pause(20 * 1000);
    });
    VirtualTime::Run(0, [&] {
        StartService();
        VirtualTime::Start("upload", [&] { Tell(2); });
        VirtualTime::AdvanceBy(65 * 1000);
        VirtualTime::Start("upload", [&] { Tell(3); });
        VirtualTime::AdvanceBy(60 * 1000);
    });
    EXPECT_EQ(MessageTimes(2), (std::vector<std::int64_t>{0, 60 * 1000, 120 * 1000}));
    EXPECT_EQ(Stored(), 0);  // the message of 65 came while another was being sent
}

// SVC-SPACE-25
TEST_F(UserSpace, AFullMessageThatThrowsIsNotCountedAndTheNextOneIsNotHeldUp) {
    g_SpaceNotifySpaceTimes = 1;
    int calls = 0;
    Service().setFileTransNotifyMsgCallBack([&](int, const std::wstring&, bool) {
        if (++calls == 1) throw std::runtime_error("host broke");
    });
    VirtualTime::Run(0, [&] {
        EXPECT_THROW(Tell(2), std::runtime_error);
        for (int i = 0; i < 5; ++i) Tell(2);
    });
    EXPECT_EQ(calls, 3);
}

// SVC-SPACE-26
TEST_F(UserSpace, ARegularMessageThatThrowsTellsNothingMoreAndIsTriedAgain) {
    cloud.space = 2000;
    world.Sql({"UPDATE T_SyncConf SET LastNotifySpaceFull = 1600000000"});
    std::atomic<int> calls{0};
    Service().setFileTransNotifyMsgCallBack([&](int message, const std::wstring&, bool) {
        if (message == 3 && ++calls == 1) throw std::runtime_error("host broke");
    });
    VirtualTime::Run(0, [&] {
        StartService();
        EXPECT_EQ(Stored(), 1600000000);
        VirtualTime::AdvanceBy(3000);
    });
    EXPECT_EQ(calls, 2);
    EXPECT_EQ(Stored(), kNow + 1);
    EXPECT_EQ(Journal::CountBeginning(Kind::Statistic,
                                      "15002|TransferTaskService| Regular Inspection SpaceWillFull Userspace = "),
              1);
}

// SVC-SPACE-27
TEST_F(UserSpace, ATimeThatCannotBeStoredIsKeptInMemory) {
    database.updateSyncConfItem.NextReturns(false);
    VirtualTime::Run(0, [&] {
        Tell(3);
        Tell(3);
    });
    EXPECT_EQ(Messages(3), 1);
    EXPECT_EQ(Stored(), 0);
}

// SVC-SPACE-28
TEST_F(UserSpace, AnExceptionWhileTheTimeIsStoredLetsTheMessageComeAgain) {
    database.updateSyncConfItem.NextThrows("locked");
    VirtualTime::Run(0, [&] {
        EXPECT_THROW(Tell(3), std::runtime_error);
        Tell(3);
        Tell(3);
    });
    EXPECT_EQ(Messages(3), 2);
    EXPECT_EQ(Stored(), kNow);
}

// SVC-SPACE-29
TEST_F(UserSpace, AHostThatCallsBackFromWithinAMessageHasItsOwnDropped) {
    int depth = 0;
    Service().setFileTransNotifyMsgCallBack([&](int message, const std::wstring&, bool) {
        Journal::Write(Kind::Callback, "notify(" + std::to_string(message) + ", , false)");
        if (++depth < 3) Tell(message == 2 ? 3 : 2);
    });
    VirtualTime::Run(0, [&] {
        Tell(2);
        Tell(3);
    });
    EXPECT_EQ(Joined(Lines({Kind::Callback})),
              "callback notify(2, , false)\n"
              "callback notify(3, , false)\n");
}

// SVC-SPACE-30
TEST_F(UserSpace, ALimitBelowZeroLetsNoFullMessageThrough) {
    g_SpaceNotifySpaceTimes = -1;
    VirtualTime::Run(0, [&] { Tell(2); });
    EXPECT_EQ(Joined(Lines()), "");
}

// SVC-SPACE-31
TEST_F(UserSpace, ARegularCheckWhoseMessageIsDroppedTellsItsTextsAllTheSame) {
    cloud.space = 10;
    g_SpaceNotifySpaceTimes = 1;
    VirtualTime::Run(0, [&] {
        StartService();
        Tell(2);
        Tell(2);  // the last one that the limit lets through
        VirtualTime::AdvanceBy(61 * 1000);
    });
    EXPECT_EQ(Messages(2), 2);
    // The time of the last message stands still, so the check finds the space full each second.
    EXPECT_EQ(Journal::Times(Kind::Trace, "TransferTaskService.Regular Inspection SpceFull Userspace = 10"),
              (std::vector<std::int64_t>{60 * 1000, 61 * 1000}));
}

// SVC-SPACE-32
TEST_F(UserSpace, AWillBeFullCheckThatThrowsIsTriedAgainASecondLater) {
    cloud.space = 2000;
    world.Sql({"UPDATE T_SyncConf SET LastNotifySpaceFull = 1600000000"});
    cloud.getUserSpace.NextThrows("broken");
    VirtualTime::Run(0, [&] {
        StartService();
        VirtualTime::AdvanceBy(1000);
    });
    EXPECT_EQ(MessageTimes(3), std::vector<std::int64_t>{1000});
}

}  // namespace
}  // namespace Drive::Testing
