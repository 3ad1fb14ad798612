#include <gtest/gtest.h>

#include <cstdio>
#include <functional>

#include "interfaces/common/globals.h"
#include "interfaces/platform/file_calls.h"
#include "tests/support/private_access.h"
#include "tests/unit/upload/upload_bench.h"
#include "upload/plan_parser.h"
#include "upload/upload_task_manager.h"

namespace Drive::Testing {

using TransferService::UpLoadTaskManger;

struct StopFlag {
    using Type = TransferService::Relaxed<bool>*;
    friend Type Reach(StopFlag);
};
template struct PrivateMember<StopFlag, &UpLoadTaskManger::uploadStopFlag>;

namespace {

using Common::GetKelpAddressModel;
using Common::KelpAddressRequestModel;

std::string SliceError(const std::string& text) { return "error UpLoadTaskManger|fileUpload|" + text; }

class ClientUploadRoads : public UploadBench {
protected:
    Common::UploadStartInfo RecordOf(const std::wstring& fileId) const {
        Common::UploadStartInfo info;
        EXPECT_TRUE(TransferService::ReadStartRecord(Record(fileId), info)) << Record(fileId);
        return info;
    }

    /// Which objects the record holds as stored: "110".
    std::string Marks(const std::wstring& fileId) const {
        std::string marks;
        const Common::UploadStartInfo record = RecordOf(fileId);
        for (const auto& fragment : record.GetFragmentInfos()) marks += fragment.status ? '1' : '0';
        return marks;
    }

    void Plan(const std::string& text) {
        cloud.objectsUploadStart.Always(
            [text](Common::FileItem&, const std::wstring&, const std::wstring&, std::wstring&) { return text; });
    }

    std::vector<Common::ObjectInfoList> RunAndKeepLists() {
        std::vector<Common::ObjectInfoList> lists;
        cloud.filesCreateComplete.Before([&](const Common::FileItem&, const std::wstring&,
                                             Common::CreateUpdateRequestModel& model,
                                             WMap&) { lists = model.GetObjectInfoList(); });
        Run(L"Local-1");
        cloud.filesCreateComplete.Before(nullptr);
        return lists;
    }

    /// Does this once the first object is confirmed.
    void AfterTheFirstObject(std::function<void()> then) {
        cloud.objectsUploadComplete.Next([then](const Common::FileItem&, const Common::FragmentInfo&,
                                                const GetKelpAddressModel&, const std::string&, const std::wstring&) {
            then();
            return true;
        });
    }
};

// UP-OBJ-27, UP-OBJ-31
TEST_F(ClientUploadRoads, AFileOfExactlyOneSliceIsOneObjectSixteenBytesLonger) {
    Give(L"Local-1", L"a.bin", Content(16));
    Run(L"Local-1");
    EXPECT_EQ(cloud.objects[L"Local-1-object-0"].size(), 32u);
    EXPECT_EQ(cloud.uploadRequest.Calls(), 1);
    EXPECT_EQ(Lines({Kind::File}), (Texts{"file CreateFileW(ROOT\\a.bin, 0x80000000, 5, none, 3, 0x40000000, none)",
                                          "file CloseHandle(open)"}));
}

// UP-OBJ-31
TEST_F(ClientUploadRoads, TheFileIsOpenedOnceForAllItsObjects) {
    Give(L"Local-1", L"a.bin", Content(100));
    Run(L"Local-1");
    EXPECT_EQ(cloud.uploadRequest.Calls(), 7);
    EXPECT_EQ(files.createFileW.Calls(), 1);
    EXPECT_EQ(files.closeHandle.Calls(), 1);
}

// UP-OBJ-28, UP-OBJ-11
TEST_F(ClientUploadRoads, TheFirstObjectOfAnotherSizeThanPlannedFailsBehindThoseThatFit) {
    Give(L"Local-1", L"a.bin", Content(40));
    Plan(R"({"uploadType":"client","version":1,"bucketId":"b","sliceSize":16,"items":[{"objectId":"o1","length":32},)"
         R"({"objectId":"o2","length":48},{"objectId":"o3","length":16}]})");
    std::string whenDropped;
    database.updateTaskItem.Before([&](const SQLiteDB::UpdateDBInfo& info, int) {
        const auto found = info.columns.find(L"fragmentInfo");
        if (found != info.columns.end() && found->second.empty()) whenDropped = Marks(L"Local-1");
    });
    Run(L"Local-1");
    EXPECT_EQ(whenDropped, "100");
    EXPECT_EQ(cloud.uploadRequest.Calls(), 1);
    EXPECT_EQ(Lines({Kind::Error}), Texts{SliceError("encrypt buffer length not equal fragmentinfo length "
                                                     "objectId=o2;encryptlength=32;length=48")});
    EXPECT_EQ(Record(L"Local-1"), "");
    EXPECT_EQ(world.Task(L"Local-1", 2).GetPriority(), 4);
}

// UP-OBJ-29
TEST_F(ClientUploadRoads, APlanWithoutObjectsSendsNothingAndCompletesWithOneEmptyList) {
    Give(L"Local-1", L"a.bin", "content");
    Plan(R"({"uploadType":"client","version":1,"bucketId":"b","sliceSize":16})");
    const auto lists = RunAndKeepLists();
    ASSERT_EQ(lists.size(), 1u);
    EXPECT_TRUE(lists[0].objectIds.empty());
    EXPECT_EQ(lists[0].bucketId, L"b");
    EXPECT_EQ(lists[0].sliceSize, 16);
    EXPECT_EQ(cloud.uploadRequest.Calls(), 0);
    EXPECT_EQ(files.closeHandle.Calls(), 1);
    EXPECT_EQ(world.Row(L"cloud-1").GetFileStatus(), 1);
}

// UP-OBJ-30
TEST_F(ClientUploadRoads, TheBucketThatAnAddressNamesServesEveryLaterFileWhosePlanNamesNone) {
    std::vector<std::wstring> asked;
    cloud.getUploadKelpAddress.Before([&](const Common::FileItem&, const KelpAddressRequestModel& request,
                                          GetKelpAddressModel&, WMap&) { asked.push_back(request.bucketId); });
    cloud.getUploadKelpAddress.Next(
        [](const Common::FileItem&, const KelpAddressRequestModel&, GetKelpAddressModel& model, WMap&) {
            model.SetObjectBucketId(L"remembered");
            return true;
        });
    const std::string plan = R"({"uploadType":"client","version":1,"sliceSize":16,)"
                             R"("items":[{"objectId":"o1","length":16}]})";
    Plan(plan);
    Give(L"Local-1", L"a.bin", "content");
    Run(L"Local-1");
    Give(L"Local-2", L"b.bin", "another");
    Run(L"Local-2");
    Plan(R"({"uploadType":"client","version":1,"bucketId":"own","sliceSize":16,)"
         R"("items":[{"objectId":"o1","length":16}]})");
    Give(L"Local-3", L"c.bin", "a third");
    Run(L"Local-3");
    EXPECT_EQ(asked, (std::vector<std::wstring>{L"", L"remembered", L"own"}));
}

// UP-OBJ-32
TEST_F(ClientUploadRoads, TheCloudIsToldWithTheStoresOwnAnswerAndThePlansCursor) {
    Give(L"Local-1", L"a.bin", "content");
    cloud.uploadRequest.Always([](const std::wstring&, WMap, const std::wstring&, const std::vector<unsigned char>&,
                                  WMap& responseHeaders, std::string& response) {
        EXPECT_TRUE(responseHeaders.empty());
        EXPECT_EQ(response, "");
        response = "<stored etag=\"7\"/>";
        return true;
    });
    std::wstring bucket;
    std::int64_t length = 0;
    cloud.objectsUploadComplete.Before([&](const Common::FileItem&, const Common::FragmentInfo& fragment,
                                           const GetKelpAddressModel& model, const std::string&, const std::wstring&) {
        bucket = model.GetObjectBucketId();
        length = fragment.length;
    });
    Run(L"Local-1");
    EXPECT_TRUE(Journal::Has(Kind::Cloud,
                             "ObjectsUploadComplete(Local-1, Local-1-object-0, <stored etag=\"7\"/>, cursor-Local-1)"))
        << Journal::Dump();
    EXPECT_EQ(bucket, L"bucket");
    EXPECT_EQ(length, 16);
}

// UP-OBJ-33
TEST_F(ClientUploadRoads, BeforeEachObjectComeExistenceThenStopThenMigration) {
    const std::string gone =
        "error UpLoadTaskManger|uploadTask|Terminate upload task:File is not exists. "
        "fileid=Local-1";
    const std::string migrating =
        "error UpLoadTaskManger|uploadTask|CloudServerIsMigrating Stop upload Task "
        "fileid:Local-1";
    for (int last = 0; last < 3; ++last) {
        *Reach(StopFlag()) = false;
        g_cloudServerIsMigrating = false;
        Give(L"Local-1", L"a.bin", Content(40));
        SetRecord(L"Local-1", "");
        AfterTheFirstObject([&] {
            if (last < 1) std::remove(world.NativeFile(L"a.bin").c_str());
            if (last < 2) *Reach(StopFlag()) = true;
            g_cloudServerIsMigrating = true;
        });
        Run(L"Local-1");
        const Texts expected[] = {{gone}, {}, {migrating}};
        EXPECT_EQ(Lines({Kind::Error}), expected[last]) << last;
        EXPECT_EQ(Journal::Count(Kind::Trace, "UpLoadTaskManger.uploadTask:file upload stop  fileid=Local-1"),
                  last == 1);
        EXPECT_EQ(Journal::CountBeginning(Kind::File, "CloseHandle"), last == 0 ? 0 : 1);
        EXPECT_EQ(Marks(L"Local-1"), "100");
        EXPECT_EQ(world.Task(L"Local-1", 2).GetPriority(), 1) << "a stop costs no urgency";
    }
}

// UP-OBJ-34, UP-OBJ-05
TEST_F(ClientUploadRoads, AFailureAtALaterObjectKeepsWhatWasReachedAndTheNextAttemptSendsOnlyTheRest) {
    for (int failed = 0; failed < 3; ++failed) {
        Give(L"Local-1", L"a.bin", Content(40));
        for (int i = 0; i < failed; ++i) cloud.uploadRequest.NextDefault();
        cloud.uploadRequest.NextReturns(false);
        Run(L"Local-1");
        EXPECT_EQ(Marks(L"Local-1"), std::string(static_cast<std::size_t>(failed), '1') +
                                         std::string(static_cast<std::size_t>(3 - failed), '0'));
        EXPECT_EQ(RecordOf(L"Local-1").GetPosition(), 16u * static_cast<unsigned>(failed));
        const int before = cloud.uploadRequest.Calls();
        const auto lists = RunAndKeepLists();
        EXPECT_EQ(cloud.uploadRequest.Calls() - before, 3 - failed);
        ASSERT_EQ(lists.size(), 1u);
        EXPECT_EQ(lists[0].objectIds,
                  (std::vector<std::wstring>{L"Local-1-object-0", L"Local-1-object-1", L"Local-1-object-2"}));
        EXPECT_EQ(lists[0].bucketId, L"bucket");
        EXPECT_FALSE(world.HasTask(L"Local-1", 2));
    }
}

// UP-OBJ-35, UP-OBJ-20
TEST_F(ClientUploadRoads, AnExceptionOfEachStepOfAnObjectIsRecordedAsNotStoredAndClosesTheHandle) {
    struct Thrower {
        const char* name;
        std::function<void()> arrange;
    };
    const auto atTheSecond = [](auto& operation) {
        operation.NextDefault();
        operation.NextThrows("broken");
    };
    const std::vector<Thrower> throwers = {
        {"encryption", [&] { atTheSecond(common.aES_128_CBC_Encrypt_FileHandle); }},
        {"MD5", [&] { atTheSecond(common.mD5_Encode); }},
        {"SHA-256", [&] { atTheSecond(common.sHA256_Encode); }},
        {"store", [&] { atTheSecond(cloud.uploadRequest); }},
        {"confirmation", [&] { atTheSecond(cloud.objectsUploadComplete); }},
    };
    for (const Thrower& thrower : throwers) {
        SCOPED_TRACE(thrower.name);
        const std::size_t handles = Platform::OpenHandleCount();
        Give(L"Local-1", L"a.bin", Content(40));
        thrower.arrange();
        Run(L"Local-1");
        EXPECT_EQ(Reports(), (Texts{"stat 15002|UpLoadTaskManger::uploadTask |file client upload. fileid=Local-1",
                                    SliceError("fileslice upload exception:broken")}));
        EXPECT_EQ(Marks(L"Local-1"), "100");
        EXPECT_EQ(RecordOf(L"Local-1").GetPosition(), 16u);
        EXPECT_EQ(RecordOf(L"Local-1").GetBucketId(), L"");
        EXPECT_EQ(Platform::OpenHandleCount(), handles);
        EXPECT_EQ(Journal::Count(Kind::Callback, "task(2, 1)"), 1);
        EXPECT_EQ(world.Row(L"Local-1").GetFileStatus(), 13);
        Run(L"Local-1");
        EXPECT_FALSE(world.HasTask(L"Local-1", 2));
        EXPECT_EQ(Platform::OpenHandleCount(), handles);
    }
}

}  // namespace
}  // namespace Drive::Testing
