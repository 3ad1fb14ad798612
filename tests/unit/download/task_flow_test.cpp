#include <gtest/gtest.h>

#include "interfaces/common/globals.h"
#include "tests/support/engine_bench.h"
#include "tests/support/private_access.h"

namespace Drive::Testing {

using Drive::Common::DownLoadAddressInfoModel;
using Drive::Common::FileItem;
using Drive::TransferService::DOWNLOADTASK_CONTEXT;
using Drive::TransferService::DownLoadTaskManger;
using Drive::TransferService::NeverDestroyed;

struct UpdatePlaceholder {
    using Type = bool (DownLoadTaskManger::*)(DOWNLOADTASK_CONTEXT&, const DownLoadAddressInfoModel&);
    friend Type Reach(UpdatePlaceholder);
};

struct SetOrClose {
    using Type = bool (DownLoadTaskManger::*)(FileItem&, const bool&);
    friend Type Reach(SetOrClose);
};

struct HandleMutex {
    using Type = NeverDestroyed<Drive::Platform::Mutex>*;
    friend Type Reach(HandleMutex);
};

template struct PrivateMember<UpdatePlaceholder, &DownLoadTaskManger::checkUpdatePlaceholder>;
template struct PrivateMember<SetOrClose, &DownLoadTaskManger::setOrCloseDownlodFileHandle>;
template struct PrivateMember<HandleMutex, &DownLoadTaskManger::downloadFileHandleMutex>;

namespace {

using TransferService::DOWNLOADCALLBACK_CONTEXT;

class DownloadFlow : public EngineBench {
protected:
    /// Lines of the pass, from its begin to the line of its outcome.
    Texts Pass() const {
        const Texts lines = Lines();
        auto first = lines.begin();
        while (first != lines.end() && first->rfind("trace DownLoadTaskManger.downLoadTask.Begin.", 0) != 0) ++first;
        auto last = first;
        while (last != lines.end() && last->find("downLoadTask.DownloadFile End") == std::string::npos &&
               last->rfind("db DeleteTaskItem", 0) != 0) {
            ++last;
        }
        return {first, last};
    }

    void DiskHas(std::int64_t freeForCaller, std::int64_t totalFree, bool answer = true) {
        files.getDiskFreeSpaceExW.Always(
            [=](const wchar_t*, Platform::DiskBytes* caller, Platform::DiskBytes* total, Platform::DiskBytes* all) {
                *caller = static_cast<Platform::DiskBytes>(freeForCaller);
                *total = std::uint64_t{1} << 40;
                *all = static_cast<Platform::DiskBytes>(totalFree);
                return answer ? 1 : 0;
            });
    }
};

// DL-FLOW-01
TEST_F(DownloadFlow, AStopThatWasSetBeforeThePassTouchesNoDatabase) {
    GivePlain(L"F", L"f.txt", "hello");
    g_StopDownLoadTask = true;
    RunOne(L"F");
    EXPECT_EQ(Joined(Pass()),
              "trace DownLoadTaskManger.downLoadTask.Begin. fileId = F;taskId=1\n"
              "trace DownLoadTaskManger.downLoadTask.Stop Download Task fileId = F\n");
    EXPECT_TRUE(Journal::Has(Kind::Trace, "DownLoadTaskManger.downLoadTask.DownloadFile End Stop fileId = F"));
}

// DL-FLOW-02
TEST_F(DownloadFlow, ACancelInTheRowEndsThePassBeforeAnyCloudCall) {
    GivePlain(L"F", L"f.txt", "hello");
    world.Sql({"UPDATE T_task SET TaskStatus = 3"});
    RunOne(L"F");
    EXPECT_EQ(Joined(Pass()),
              "trace DownLoadTaskManger.downLoadTask.Begin. fileId = F;taskId=1\n"
              "db GetTaskItem(F, 1)\n"
              "trace DownLoadTaskManger.downLoadTask DownloadTask Cancellation; fileId = F\n");
    EXPECT_TRUE(Journal::Has(Kind::Trace, "DownLoadTaskManger.downLoadTask.DownloadFile End Cancle fileId = F"));
    EXPECT_EQ(cloud.getDownloadAddressInfo.Calls(), 0);
}

// DL-FLOW-03
TEST_F(DownloadFlow, AStopInTheRowEndsThePassBeforeAnyCloudCall) {
    GivePlain(L"F", L"f.txt", "hello");
    world.Sql({"UPDATE T_task SET TaskStatus = 4"});
    RunOne(L"F");
    EXPECT_EQ(Joined(Pass()),
              "trace DownLoadTaskManger.downLoadTask.Begin. fileId = F;taskId=1\n"
              "db GetTaskItem(F, 1)\n"
              "trace DownLoadTaskManger.downLoadTask DownloadTask Stop; fileId = F\n");
    EXPECT_TRUE(Journal::Has(Kind::Trace, "DownLoadTaskManger.downLoadTask.DownloadFile End Stop fileId = F"));
}

// DL-FLOW-04
TEST_F(DownloadFlow, AnyOtherStatusAndAMissingRowGoOn) {
    for (const int status : {0, 1, 2, 5}) {
        GivePlain(L"F", L"f.txt", "hello");
        world.Sql({"UPDATE T_task SET TaskStatus = " + std::to_string(status)});
        RunOne(L"F");
        EXPECT_EQ(world.Row(L"F").GetFileStatus(), 1) << status;
    }
    cloud.PutPlain(L"G", "hello");
    world.Put(world.File(L"G", L"g.txt", 5, 21));
    RunOne(L"G");
    EXPECT_EQ(world.Row(L"G").GetFileStatus(), 1);
}

// DL-FLOW-05, DL-FLOW-19
TEST_F(DownloadFlow, AFetchAsksTheHostForHandleAndKey) {
    GivePlain(L"F", L"f.txt", "hello");
    world.WriteFile(L"f.txt", "");
    Platform::HANDLE given = nullptr;
    host.Next([&](DOWNLOADCALLBACK_CONTEXT& record) {
        EXPECT_EQ(record.event, 1);
        EXPECT_TRUE(record.ok);
        EXPECT_EQ(record.transferKey, 0);
        EXPECT_TRUE(record.isPlatformFetch);
        EXPECT_EQ(record.localFilePath, world.Path(L"f.txt"));
        EXPECT_EQ(record.fileSize, 5);
        given = record.fileHandle;
        EXPECT_TRUE(Platform::IsOpenHandle(given));
        record.transferKey = 77;
        return true;
    });
    std::int64_t keyLater = 0;
    host.Next([&](DOWNLOADCALLBACK_CONTEXT& record) {
        EXPECT_EQ(record.event, 2);
        EXPECT_EQ(record.fileHandle, given);
        EXPECT_EQ(std::string(reinterpret_cast<const char*>(record.data), record.length), "hello");
        keyLater = record.transferKey;
        return true;
    });
    RunOne(L"F", 2);
    EXPECT_EQ(keyLater, 77);
    EXPECT_TRUE(InOrder(Lines({Kind::Callback}),
                        {"callback download(event 1, ok)", "callback download(event 2, ok, offset 0, length 5, end 5)",
                         "callback download(event 3, ok)", "callback slot(2)"}));
    EXPECT_EQ(world.ReadFile(L"f.txt"), "");  // the data went to the host alone
}

// DL-FLOW-20
TEST_F(DownloadFlow, TheHandleThatTheHostGivesIsTheOneThatTheWorkerCloses) {
    GivePlain(L"F", L"f.txt", "hello");
    world.WriteFile(L"f.txt", "");
    world.WriteFile(L"other.txt", "");
    const std::size_t before = Platform::OpenHandleCount();
    Platform::HANDLE given = nullptr;
    host.Next([&](DOWNLOADCALLBACK_CONTEXT& record) {
        Platform::CloseHandle(record.fileHandle);
        given = Platform::CreateFileW(world.Path(L"other.txt").c_str(), 0x80, 1, nullptr, 3, 0, nullptr);
        record.fileHandle = given;
        return true;
    });
    bool closed = false;
    files.closeHandle.Before([&](Platform::HANDLE handle) { closed = closed || handle == given; });
    RunOne(L"F", 2);
    EXPECT_TRUE(Platform::IsOpenHandle(given));
    EXPECT_TRUE(closed);
    EXPECT_EQ(Platform::OpenHandleCount(), before);
}

// DL-FLOW-21
TEST_F(DownloadFlow, AMissingObjectListFailsTheEncryptedRoadAndAsksForNothing) {
    GiveEncrypted(L"F", L"f.txt", "hello", 5);
    cloud.getDownloadAddressInfo.Always([&](const std::wstring&, Common::DownLoadAddressInfoModel& model) {
        model.SetEncFekList({{L"efek", L"AES_128", L"1", std::wstring(32, L'1'), L"uid"}});
        return true;
    });
    RunOne(L"F");
    EXPECT_EQ(world.Row(L"F").GetFileStatus(), 23);
    EXPECT_EQ(cloud.getDownloadKelpAddress.Calls(), 0);
}

// DL-FLOW-06
TEST_F(DownloadFlow, AHostThatRefusesTheFetchFailsTheJob) {
    GivePlain(L"F", L"f.txt", "hello");
    world.WriteFile(L"f.txt", "");
    host.NextReturns(false);
    RunOne(L"F", 2);
    EXPECT_TRUE(Journal::Has(Kind::Error,
                             "DownLoadTaskManger|downLoadTask|Terminate download file task:Placeholder "
                             "start download fail! fileid = F"));
    EXPECT_TRUE(Journal::Has(Kind::Trace, "DownLoadTaskManger.downLoadTask.DownloadFile End Fail fileId = F"));
    EXPECT_EQ(cloud.getDownloadAddressInfo.Calls(), 0);
}

// DL-FLOW-07
TEST_F(DownloadFlow, AFetchWithoutHandleStopsWhateverItsRowSays) {
    GivePlain(L"F", L"f.txt", "hello");
    world.WriteFile(L"f.txt", "");
    world.Sql({"UPDATE T_task SET TaskStatus = 3"});
    files.createFileW.NextReturns(nullptr);
    RunOne(L"F", 2);
    EXPECT_EQ(database.getTaskItem.Calls(), 0);
    EXPECT_TRUE(Journal::Has(Kind::Trace,
                             "DownLoadTaskManger.downLoadTask DownloadTask Stop with FileHandle is Null; fileId = F"));
    EXPECT_TRUE(Journal::Has(Kind::Trace, "DownLoadTaskManger.downLoadTask.DownloadFile End Stop fileId = F"));
}

// DL-FLOW-07
TEST_F(DownloadFlow, AFetchThatTheHostLeavesWithoutHandleTakesNoData) {
    for (const Platform::HANDLE gone : {Platform::HANDLE{nullptr}, Platform::kInvalidHandle}) {
        GivePlain(L"F", L"f.txt", "hello");
        world.WriteFile(L"f.txt", "");
        host.Next([gone](DOWNLOADCALLBACK_CONTEXT& record) {
            Platform::CloseHandle(record.fileHandle);
            record.fileHandle = gone;
            return true;
        });
        RunOne(L"F", 2);
        EXPECT_EQ(Journal::CountBeginning(Kind::Callback, "download(event 2, ok"), 0);
        EXPECT_EQ(world.Row(L"F").GetFileStatus(), 23);
    }
}

// DL-FLOW-08
TEST_F(DownloadFlow, TwoHundredMebibytesFreeExactlyAreNotEnough) {
    const std::string error =
        "DownLoadTaskManger|downLoadTask|Terminate download file task:DiskFreeSpace is not enough! fileid = F";
    GivePlain(L"F", L"f.txt", "hello");
    DiskHas(std::int64_t{1} << 40, 0xC800000);
    RunOne(L"F");
    EXPECT_EQ(Journal::Count(Kind::Error, error), 1);
    EXPECT_EQ(world.Row(L"F").GetFileStatus(), 23);
    EXPECT_EQ(cloud.getDownloadAddressInfo.Calls(), 0);

    GivePlain(L"F", L"f.txt", "hello");
    DiskHas(0, 0xC800001);  // what the caller may use is not looked at
    RunOne(L"F");
    EXPECT_EQ(Journal::Count(Kind::Error, error), 1);
    EXPECT_EQ(world.Row(L"F").GetFileStatus(), 1);
}

// DL-FLOW-09
TEST_F(DownloadFlow, ADiskThatCannotBeAskedIsNotEnough) {
    GivePlain(L"F", L"f.txt", "hello");
    DiskHas(std::int64_t{1} << 40, std::int64_t{1} << 40, false);
    RunOne(L"F");
    EXPECT_EQ(world.Row(L"F").GetFileStatus(), 23);
}

// DL-FLOW-10
TEST_F(DownloadFlow, WithoutAnAddressTheJobFails) {
    GivePlain(L"F", L"f.txt", "hello");
    cloud.getDownloadAddressInfo.AlwaysReturns(false);
    RunOne(L"F");
    EXPECT_TRUE(Journal::Has(Kind::Error,
                             "DownLoadTaskManger|downLoadTask|Terminate download file task:getDownloadAddressInfo "
                             "fail! fileid = F"));
}

// DL-FLOW-11
TEST_F(DownloadFlow, AKeyListTakesTheEncryptedRoadWhateverTheAddressSays) {
    GiveEncrypted(L"F", L"f.txt", "hello", 5);
    cloud.getDownloadAddressInfo.Always([&](const std::wstring&, Common::DownLoadAddressInfoModel& model) {
        model.SetDownloadURL(L"http://proxy/F");
        model.SetEncFekList({{L"efek", L"AES_128", L"2", L"", L""}});
        return true;
    });
    RunOne(L"F");
    EXPECT_TRUE(Journal::Has(Kind::Trace, "DownLoadTaskManger.downLoadTask.DownloadDriveFile fileId = F"));
    EXPECT_EQ(cloud.downloadCloudFileRequest.Calls(), 0);
}

// DL-FLOW-12
TEST_F(DownloadFlow, AnExceptionOfTheCloudFailsTheJobUnderTheOtherModuleName) {
    GivePlain(L"F", L"f.txt", "hello");
    cloud.getDownloadAddressInfo.AlwaysThrows("broken");
    RunOne(L"F");
    EXPECT_TRUE(Journal::Has(Kind::Error,
                             "DownloadTaskManager|downLoadTask|Terminate download file task:Filetask is failer. catch "
                             "error"));
    EXPECT_TRUE(Journal::Has(Kind::Trace, "DownLoadTaskManger.downLoadTask.DownloadFile End Fail fileId = F"));
}

class PlaceholderSize : public DownloadFlow {
protected:
    PlaceholderSize() {
        world.WriteFile(L"f.txt", "12345");
        world.Put(world.File(L"F", L"f.txt", 5, 22));
        job.fileId = L"F";
        job.localFilePath = world.Path(L"f.txt");
        job.fileSize = 5;
        job.isPlatformFetch = true;
        list.attributes = {{L"small", 3}, {L"", 9}, {L"", 11}};
        model.SetObjectInfoList({list});
    }

    bool Check() { return (Downloads().*Reach(UpdatePlaceholder()))(job, model); }

    TransferService::DOWNLOADTASK_CONTEXT job;
    Common::DownloadObjectInfoList list;
    Common::DownLoadAddressInfoModel model;
};

// DL-FLOW-13
TEST_F(PlaceholderSize, IsBroughtIntoLineWithTheCloud) {
    EXPECT_TRUE(Check());
    EXPECT_EQ(job.fileSize, 9);
    const Texts expected = {
        "common GetFileSizeApi(ROOT\\f.txt)",
        "trace DownLoadTaskManger.downLoadTask UpdatePlaceholderSize;fileId= F;PlaceholderSize=5;filesize=9",
        "callback download(event 5, ok)", "db UpdateDriveData(F, {size: 9})"};
    EXPECT_EQ(Joined(Lines()), Joined(expected));
    EXPECT_EQ(world.Row(L"F").GetSize(), 9);
}

// DL-FLOW-14
TEST_F(PlaceholderSize, StaysWhenTheHostRefusesTheNewOne) {
    host.NextReturns(false);
    EXPECT_FALSE(Check());
    EXPECT_EQ(job.fileSize, 9);
    EXPECT_EQ(world.Row(L"F").GetSize(), 5);
}

// DL-FLOW-15
TEST_F(PlaceholderSize, StaysWhenThereIsNothingToCompareOrNothingDiffers) {
    list.attributes = {{L"", 5}};
    model.SetObjectInfoList({list});
    EXPECT_FALSE(Check());
    list.attributes = {{L"small", 9}};
    model.SetObjectInfoList({list});
    EXPECT_FALSE(Check());
    model.SetObjectInfoList({});
    EXPECT_FALSE(Check());
    list.attributes = {{L"", 9}};
    model.SetObjectInfoList({list});
    job.isPlatformFetch = false;
    EXPECT_FALSE(Check());
    EXPECT_EQ(job.fileSize, 5);
    EXPECT_EQ(host.Calls(), 0);
}

// DL-FLOW-22
TEST_F(PlaceholderSize, IsTakenAlsoWhenItsRowCannotBeWrittenAndNeverBelowOne) {
    database.updateDriveData.NextReturns(false);
    EXPECT_TRUE(Check());
    EXPECT_EQ(job.fileSize, 9);
    for (const std::int64_t size : {0, -4}) {
        list.attributes = {{L"", size}};
        model.SetObjectInfoList({list});
        EXPECT_FALSE(Check()) << size;
    }
    EXPECT_EQ(host.Calls(), 1);
}

// DL-FLOW-23
TEST_F(PlaceholderSize, OnlyTheFirstObjectCounts) {
    Common::DownloadObjectInfoList second;
    second.attributes = {{L"", 77}};
    list.attributes = {{L"", 5}};
    model.SetObjectInfoList({list, second});
    EXPECT_FALSE(Check());
    EXPECT_EQ(job.fileSize, 5);
}

// DL-FLOW-16
TEST_F(DownloadFlow, TheHandleOperationOnlyStandsInLineBehindWhoeverHoldsItsMutex) {
    VirtualTime::Run(0, [&] {
        Platform::Mutex& mutex = **Reach(HandleMutex());
        mutex.lock();
        bool done = false;
        VirtualTime::Start("caller", [&] {
            Common::FileItem file;
            EXPECT_FALSE((Downloads().*Reach(SetOrClose()))(file, true));
            done = true;
        });
        VirtualTime::AdvanceBy(1000);
        EXPECT_FALSE(done);
        mutex.unlock();
        VirtualTime::Settle();
        EXPECT_TRUE(done);
    });
    EXPECT_EQ(Joined(Lines()), "");
}

}  // namespace
}  // namespace Drive::Testing
