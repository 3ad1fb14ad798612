#include <gtest/gtest.h>

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
        VirtualTime::AdvanceBy(400 * 1000);
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
        VirtualTime::AdvanceBy(600 * 1000);
        EXPECT_EQ(Messages(2), 1);
        Tell(2);
        EXPECT_EQ(Messages(2), 2);
    });
}

}  // namespace
}  // namespace Drive::Testing
