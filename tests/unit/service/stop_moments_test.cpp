#include <gtest/gtest.h>

#include <atomic>

#include "interfaces/common/globals.h"
#include "service/feeding_state.h"
#include "tests/support/engine_bench.h"
#include "tests/support/private_access.h"

namespace Drive::Testing {

using Drive::TransferService::TaskSemaphore;

struct FreeSlots {
    using Type = int TaskSemaphore::*;
    friend Type Reach(FreeSlots);
};

template struct PrivateMember<FreeSlots, &TaskSemaphore::count>;

namespace {

using TransferService::DOWNLOADCALLBACK_CONTEXT;
using Receiver = Cloud::FileTransRequest::Receiver;

constexpr int kJobs = 8;
constexpr std::int64_t kLong = 5000;  // what the operation in question takes; the stop comes a second after its begin

__attribute__((constructor(101))) void GiveEightSlots() { g_MaxDownloadTaskCount = kJobs; }

/// The service is stopped while eight downloads all stand in the same moment of their life, or each in another one.
class StoppingEightDownloads : public EngineBench {
protected:
    static std::wstring Id(int number) { return L"F" + std::to_wstring(number); }
    static std::wstring Name(int number) { return L"f" + std::to_wstring(number) + L".txt"; }

    void GivePlainOnes(int count = kJobs) {
        for (int i = 0; i < count; ++i) GivePlain(Id(i), Name(i), "hello", i);
    }
    void GiveEncryptedOnes() {
        common.getFek.AlwaysReturns(std::string(32, '5'));
        for (int i = 0; i < kJobs; ++i) GiveEncrypted(Id(i), Name(i), "helloworld", 5);
    }
    /// Fetches of the platform through the ordinary pool.
    void GiveFetches() {
        GivePlainOnes();
        for (int i = 0; i < kJobs; ++i) world.WriteFile(Name(i), "");
        world.Sql({"UPDATE T_task SET transferKey = 1"});
    }
    /// The host takes long over an event with this outcome.
    void HostTakesLongOver(int event, bool ok, bool closing = false) {
        host.Always([=, this](DOWNLOADCALLBACK_CONTEXT& record) {
            if (record.event == event && record.ok == ok) {
                ++there;
                VirtualTime::Pause(kLong);
            }
            return record.event != 4 || closing;
        });
    }

    /// Starts the service, waits until all stand there, and stops it a second later.
    void StopWhen(const std::function<bool()>& allThere) {
        handles = Platform::OpenHandleCount();
        VirtualTime::Run(0, [&] {
            StartService();
            ASSERT_TRUE(VirtualTime::RunUntil(allThere, 60000)) << VirtualTime::Dump();
            VirtualTime::AdvanceBy(1000);
            const std::int64_t begun = VirtualTime::Now();
            VirtualTime::Start("stopper", [this, begun] {
                Service().stopTransferTaskService();
                waited = VirtualTime::Now() - begun;
                countAtReturn = Downloads().getDownloadingTaskCount();
                returnedAt = Journal::Mark();
                returned = true;
            });
            ASSERT_TRUE(VirtualTime::RunUntil([&] { return returned.load(); }, 3600 * 1000)) << VirtualTime::Dump();
            VirtualTime::AdvanceBy(60000);
            threadsLeft = VirtualTime::LiveThreads();
        });
    }

    /// What holds after every stop. Files of finished jobs are at `fileStatus`.
    void ExpectEnd(std::int64_t wait, int fileStatus, int jobs = kJobs) {
        EXPECT_EQ(waited, wait);
        EXPECT_EQ(countAtReturn, 0);
        EXPECT_EQ(threadsLeft, 2);  // the two dispatchers that wait for a signal, as ever
        EXPECT_EQ(Platform::OpenHandleCount(), handles);
        for (int i = 0; i < jobs; ++i) {
            EXPECT_EQ(world.Row(Id(i)).GetFileStatus(), fileStatus) << i;
            EXPECT_FALSE(world.HasTask(Id(i), 1)) << i;
        }
    }
    /// No worker that the stop waits for tells the host anything once it has returned.
    void ExpectSilenceAfterwards() {
        EXPECT_EQ(Joined(Journal::LinesSince(returnedAt, {Kind::Callback, Kind::Cloud})), "");
    }
    void ExpectAllSlotsFree() { EXPECT_EQ((*TransferService::downloadSemaphore).*Reach(FreeSlots()), kJobs); }
    void ExpectEndOfAll(std::int64_t wait, int fileStatus) {
        ExpectEnd(wait, fileStatus);
        ExpectSilenceAfterwards();
        ExpectAllSlotsFree();
    }

    static int Ended(const char* how) {
        return Journal::CountBeginning(Kind::Trace,
                                       std::string("DownLoadTaskManger.downLoadTask.DownloadFile End ") + how);
    }

    std::atomic<int> there{0};

private:
    std::size_t handles = 0;
    std::atomic<bool> returned{false};
    std::atomic<std::int64_t> waited{-1};
    std::atomic<int> countAtReturn{-1};
    std::atomic<std::size_t> returnedAt{0};
    int threadsLeft = -1;
};

// SVC-MOMENT-01
TEST_F(StoppingEightDownloads, InTheClaimWaitsForNoneAndTheyEndAsStopped) {
    GivePlainOnes();
    database.getDriveDataItemWithKey.Takes(kLong);
    StopWhen([&] { return database.getDriveDataItemWithKey.Calls() == 1; });
    ExpectEnd(0, 23);
    ExpectAllSlotsFree();
    EXPECT_EQ(Ended("Stop"), kJobs);
    EXPECT_EQ(cloud.getDownloadAddressInfo.Calls(), 0);
}

// SVC-MOMENT-02
TEST_F(StoppingEightDownloads, OpeningTheirPlaceholdersWaitsForNoneAndTheHandlesAreClosed) {
    GiveFetches();
    files.createFileW.Takes(kLong);
    StopWhen([&] { return files.createFileW.Calls() == kJobs; });
    ExpectEnd(0, 23);
    ExpectAllSlotsFree();
    EXPECT_EQ(Ended("Stop"), kJobs);
    EXPECT_EQ(files.closeHandle.Calls(), kJobs);
}

// SVC-MOMENT-03
TEST_F(StoppingEightDownloads, OnceTheyAreCountedWaitsAndTheirPassEndsAsStopped) {
    GivePlainOnes();
    common.insertOperatingFiles.Takes(kLong);
    StopWhen([&] { return common.insertOperatingFiles.Calls() == kJobs; });
    ExpectEndOfAll(4000, 23);
    EXPECT_EQ(Ended("Stop"), kJobs);
}

// SVC-MOMENT-04
TEST_F(StoppingEightDownloads, ReadingTheirTaskRowsIsSeenAtTheFirstPiece) {
    GivePlainOnes();
    database.getTaskItem.Takes(kLong);
    StopWhen([&] { return database.getTaskItem.Calls() == kJobs; });
    ExpectEndOfAll(9000, 23);
    EXPECT_EQ(Ended("Fail"), kJobs);
}

// SVC-MOMENT-05
TEST_F(StoppingEightDownloads, InTheHostAtTheBeginOfAFetchWaitsForTheHost) {
    GiveFetches();
    HostTakesLongOver(1, true);
    StopWhen([&] { return there == kJobs; });
    ExpectEndOfAll(4000, 23);
    EXPECT_EQ(Ended("Fail"), kJobs);
}

// SVC-MOMENT-06
TEST_F(StoppingEightDownloads, AskingTheDiskGoOnToTheFirstPiece) {
    GivePlainOnes();
    files.getDiskFreeSpaceExW.Takes(kLong);
    StopWhen([&] { return files.getDiskFreeSpaceExW.Calls() == kJobs; });
    ExpectEndOfAll(4000, 23);
    EXPECT_EQ(cloud.downloadCloudFileRequest.Calls(), kJobs);
}

// SVC-MOMENT-07
TEST_F(StoppingEightDownloads, BeforeTheAnswerOfTheCloudWaitsForTheAnswer) {
    GivePlainOnes();
    cloud.getDownloadAddressInfo.Takes(kLong);
    StopWhen([&] { return cloud.getDownloadAddressInfo.Calls() == kJobs; });
    ExpectEndOfAll(4000, 23);
    EXPECT_EQ(Joined(Lines({Kind::Common})).find("WriteLocalFileV"), std::string::npos);
}

// SVC-MOMENT-08
TEST_F(StoppingEightDownloads, BeforeTheFirstPieceWriteNothing) {
    GivePlainOnes();
    cloud.downloadCloudFileRequest.Takes(kLong);
    StopWhen([&] { return cloud.downloadCloudFileRequest.Calls() == kJobs; });
    ExpectEndOfAll(4000, 23);
    for (int i = 0; i < kJobs; ++i) EXPECT_FALSE(world.Exists(Name(i)));
}

// SVC-MOMENT-09
TEST_F(StoppingEightDownloads, BetweenTwoPiecesEndAtTheNextOneWithThePositionSaved) {
    GivePlainOnes();
    cloud.downloadCloudFileRequest.Always([&](const std::wstring&, WMap, const Receiver& receiver) {
        const auto* bytes = reinterpret_cast<const unsigned char*>("hello");
        EXPECT_TRUE(receiver(bytes, 2));
        ++there;
        VirtualTime::Pause(kLong);
        EXPECT_FALSE(receiver(bytes + 2, 3));
        return 0;
    });
    StopWhen([&] { return there == kJobs; });
    ExpectEndOfAll(4000, 23);
    for (int i = 0; i < kJobs; ++i) {
        EXPECT_TRUE(
            Journal::Has(Kind::Trace, "DownLoadTaskManger.cloudDownloadFile.Stop GloblStop fileId = " + Narrow(Id(i))));
        EXPECT_TRUE(Journal::Has(
            Kind::Database,
            "UpdateTaskItem(" + Narrow(Id(i)) + ", {fragmentInfo: {\"writePosition\":0,\"writeSliceIndex\":0}}, 1)"));
    }
}

// SVC-MOMENT-10
TEST_F(StoppingEightDownloads, InTheWriteOfTheirLastBlockComeToTheirGoodEnd) {
    GivePlainOnes();
    common.writeLocalFileV.Takes(kLong);
    StopWhen([&] { return common.writeLocalFileV.Calls() == kJobs; });
    ExpectEndOfAll(4000, 1);
    for (int i = 0; i < kJobs; ++i) EXPECT_EQ(world.ReadFile(Name(i)), "hello");
}

// SVC-MOMENT-11
TEST_F(StoppingEightDownloads, BetweenTheWriteAndItsRecordComeToTheirGoodEnd) {
    GivePlainOnes();
    database.updateTaskItem.Takes(kLong);
    StopWhen([&] { return database.updateTaskItem.Calls() == kJobs; });
    ExpectEndOfAll(4000, 1);
}

// SVC-MOMENT-12
TEST_F(StoppingEightDownloads, InTheHostWithABlockWaitsForTheHost) {
    GiveFetches();
    HostTakesLongOver(2, true);
    StopWhen([&] { return there == kJobs; });
    ExpectEndOfAll(4000, 1);
}

// SVC-MOMENT-13
TEST_F(StoppingEightDownloads, AskingForTheAddressOfASliceFinishThatSlice) {
    GiveEncryptedOnes();
    cloud.getDownloadKelpAddress.Takes(kLong);
    StopWhen([&] { return cloud.getDownloadKelpAddress.Calls() == kJobs; });
    ExpectEndOfAll(4000, 23);
    EXPECT_EQ(Ended("Stop"), kJobs);
    EXPECT_EQ(cloud.getDownloadKelpAddress.Calls(), kJobs);
    for (int i = 0; i < kJobs; ++i) {
        EXPECT_EQ(world.ReadFile(Name(i)), "hello");
        EXPECT_TRUE(
            Journal::Has(Kind::Trace, "DownLoadTaskManger.downLoadTask.StopDownLoadTask fileId = " + Narrow(Id(i))));
    }
}

// SVC-MOMENT-14
TEST_F(StoppingEightDownloads, FetchingASliceFinishThatSlice) {
    GiveEncryptedOnes();
    cloud.downloadDriveFileRequest.Takes(kLong);
    StopWhen([&] { return cloud.downloadDriveFileRequest.Calls() == kJobs; });
    ExpectEndOfAll(4000, 23);
    for (int i = 0; i < kJobs; ++i) EXPECT_EQ(world.ReadFile(Name(i)), "hello");
}

// SVC-MOMENT-15
TEST_F(StoppingEightDownloads, InAnAttemptThatFailsMakeNoFurtherOne) {
    GiveEncryptedOnes();
    cloud.objects.clear();
    cloud.downloadDriveFileRequest.Takes(kLong);
    StopWhen([&] { return cloud.downloadDriveFileRequest.Calls() == kJobs; });
    ExpectEndOfAll(4000, 23);
    EXPECT_EQ(cloud.downloadDriveFileRequest.Calls(), kJobs);
    EXPECT_EQ(Journal::CountBeginning(Kind::Trace, "DownLoadTaskManger.driveDownloadFile.Stop Global Stop  fileId = F"),
              kJobs);
}

// SVC-MOMENT-16
TEST_F(StoppingEightDownloads, InTheWriteOfASliceRecordItAndStopBeforeTheNext) {
    GiveEncryptedOnes();
    common.writeLocalFileV.Takes(kLong);
    StopWhen([&] { return common.writeLocalFileV.Calls() == kJobs; });
    ExpectEndOfAll(4000, 23);
    EXPECT_EQ(Journal::CountBeginning(Kind::Database, "UpdateTaskItem(F"), kJobs);
}

// SVC-MOMENT-17
TEST_F(StoppingEightDownloads, InTheirRetryPauseWaitsForThePauseAndTheNextPassEndsAsStopped) {
    GiveEncryptedOnes();
    common.writeLocalFileV.AlwaysReturns(false);
    StopWhen([&] { return Journal::Count(Kind::Sleep, "3000") == kJobs; });
    ExpectEndOfAll(2000, 23);
    EXPECT_EQ(Ended("Stop"), kJobs);
}

// SVC-MOMENT-18
TEST_F(StoppingEightDownloads, DeletingTheTaskOfAFinishedFileComeToTheirGoodEnd) {
    GivePlainOnes();
    database.deleteTaskItem.Takes(kLong);
    StopWhen([&] { return database.deleteTaskItem.Calls() == kJobs; });
    ExpectEndOfAll(4000, 1);
}

// SVC-MOMENT-19
TEST_F(StoppingEightDownloads, HashingAFinishedFileComeToTheirGoodEnd) {
    GivePlainOnes();
    common.getFileSha256.Takes(kLong);
    StopWhen([&] { return common.getFileSha256.Calls() == kJobs; });
    ExpectEndOfAll(4000, 1);
}

// SVC-MOMENT-20
TEST_F(StoppingEightDownloads, WritingTheRowOfAFinishedFileComeToTheirGoodEnd) {
    GivePlainOnes();
    database.updateDriveData.Before([&](const SQLiteDB::UpdateDBInfo& info) {
        if (info.columns.count(L"localFileSha256") == 0) return;
        ++there;
        VirtualTime::Pause(kLong);
    });
    StopWhen([&] { return there == kJobs; });
    ExpectEndOfAll(4000, 1);
}

// SVC-MOMENT-21
TEST_F(StoppingEightDownloads, InTheHostWithAFinishedFileWaitsForTheHost) {
    GivePlainOnes();
    HostTakesLongOver(3, true);
    StopWhen([&] { return there == kJobs; });
    ExpectEndOfAll(4000, 1);
}

// SVC-MOMENT-22
TEST_F(StoppingEightDownloads, InTheHostWithAFailedFileWaitsForTheHost) {
    GivePlainOnes();
    cloud.getDownloadAddressInfo.AlwaysReturns(false);
    HostTakesLongOver(2, false);
    StopWhen([&] { return there == kJobs; });
    ExpectEndOfAll(4000, 23);
}

// SVC-MOMENT-23
TEST_F(StoppingEightDownloads, InTheClosingEventWaitsForItsAnswerAndTheRowsFollowIt) {
    GivePlainOnes();
    cloud.getDownloadAddressInfo.AlwaysReturns(false);
    HostTakesLongOver(4, false, true);
    StopWhen([&] { return there == kJobs; });
    ExpectEndOfAll(4000, 0);
}

// SVC-MOMENT-24
TEST_F(StoppingEightDownloads, ClosingTheirHandlesWaitsUntilTheyAreClosed) {
    GiveFetches();
    files.closeHandle.Takes(kLong);
    StopWhen([&] { return files.closeHandle.Calls() == kJobs; });
    ExpectEndOfAll(4000, 1);
}

// SVC-MOMENT-25
TEST_F(StoppingEightDownloads, ClearingTheirMarksWaitsForNoneSinceTheyAreNoLongerCounted) {
    GivePlainOnes();
    cloud.getDownloadAddressInfo.AlwaysReturns(false);
    common.eraseOpetatingFile.Takes(kLong);
    StopWhen([&] { return common.eraseOpetatingFile.Calls() == kJobs; });
    ExpectEndOfAll(0, 23);
}

// SVC-MOMENT-26
TEST_F(StoppingEightDownloads, WhileTwelveMoreWaitForASlotLeavesTheRowsOfThoseAsTheyAre) {
    GivePlainOnes(20);
    cloud.getDownloadAddressInfo.Takes(kLong);
    StopWhen([&] { return cloud.getDownloadAddressInfo.Calls() == kJobs; });
    ExpectEnd(4000, 23);
    EXPECT_EQ(ScriptedPool::Queued().size(), static_cast<std::size_t>(kJobs));
    for (int i = kJobs; i < 20; ++i) {
        EXPECT_EQ(world.Row(Id(i)).GetFileStatus(), 21) << i;
        EXPECT_TRUE(world.HasTask(Id(i), 1)) << i;
    }
    EXPECT_EQ((*TransferService::downloadSemaphore).*Reach(FreeSlots()), kJobs - 1);  // one went with the popped task
    EXPECT_TRUE(Journal::Has(Kind::Trace, "TransferTaskService.StopDownloadTaskService 2"));
}

// SVC-MOMENT-27
TEST_F(StoppingEightDownloads, EachInAnotherMomentEndsEachInItsOwnWay) {
    GivePlainOnes();
    common.getFek.AlwaysReturns(std::string(32, '5'));
    for (const int i : {5, 6}) GiveEncrypted(Id(i), Name(i), "helloworld", 5, i);
    const auto stay = [&] {
        ++there;
        VirtualTime::Pause(kLong);
    };
    cloud.getDownloadAddressInfo.Before([&](const std::wstring& id, Common::DownLoadAddressInfoModel&) {
        if (id == Id(0)) stay();
    });
    cloud.downloadCloudFileRequest.Before([&](const std::wstring& url, WMap, const Receiver&) {
        if (url == L"http://proxy/F1") stay();
    });
    common.writeLocalFileV.Before([&](std::int64_t, const char*, std::size_t, const std::wstring& path) {
        if (path == world.Path(Name(2))) stay();
    });
    database.updateTaskItem.Before([&](const SQLiteDB::UpdateDBInfo& info, int) {
        if (info.key == Id(3)) stay();
    });
    common.getFileSha256.Before([&](const std::wstring& path) {
        if (path == world.Path(Name(4))) stay();
    });
    cloud.downloadDriveFileRequest.Before([&](const std::wstring& url, WMap, const std::vector<unsigned char>&,
                                              const std::vector<unsigned char>&, const std::wstring&, std::int64_t,
                                              std::vector<unsigned char>&) {
        if (url == L"http://store/F5-object-0") stay();
    });
    common.writeLocalFileV.Perhaps(
        [&](std::int64_t, const char*, std::size_t, const std::wstring& path) { return path == world.Path(Name(6)); },
        [](std::int64_t, const char*, std::size_t, const std::wstring&) { return false; });
    host.Always([&](DOWNLOADCALLBACK_CONTEXT& record) {
        if (record.event == 3 && record.localFilePath == world.Path(Name(7))) stay();
        return record.event != 4;
    });
    StopWhen([&] { return there == 7 && Journal::Count(Kind::Sleep, "3000") == 1; });
    const int expected[kJobs] = {23, 23, 1, 1, 1, 23, 23, 1};
    for (int i = 0; i < kJobs; ++i) EXPECT_EQ(world.Row(Id(i)).GetFileStatus(), expected[i]) << i;
    EXPECT_EQ(world.TaskCount(), 0);
    ExpectEnd(4000, 0, 0);
    ExpectSilenceAfterwards();
    ExpectAllSlotsFree();
}

// SVC-MOMENT-28
TEST_F(StoppingEightDownloads, BesideAnUploadThatHangsWaitsForTheDownloadsAndThenTenSeconds) {
    GivePlainOnes();
    GiveUpload(L"U", L"u.txt", "content");
    cloud.getDownloadAddressInfo.Takes(12000);
    cloud.objectsUploadStart.Takes(3600 * 1000);
    StopWhen([&] { return cloud.objectsUploadStart.Calls() == 1; });
    EXPECT_EQ(cloud.getDownloadAddressInfo.Calls(), kJobs);
    const auto ends = Journal::Times(Kind::Trace, "DownLoadTaskManger.StopDownLoadMangerService End");
    const auto begins = Journal::Times(Kind::Trace, "UpLoadTaskManger.StopUpLoadMangerService Begin ");
    ASSERT_EQ(ends.size(), 1u);
    EXPECT_EQ(ends[0], 13000);  // the downloads began at 1000
    EXPECT_EQ(begins, ends);
    EXPECT_EQ(Journal::Times(Kind::Trace, "UpLoadTaskManger.StopUpLoadMangerService End "),
              std::vector<std::int64_t>{23000});
}

}  // namespace
}  // namespace Drive::Testing
