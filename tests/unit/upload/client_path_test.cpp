#include <gtest/gtest.h>

#include <cstdio>

#include "interfaces/common/globals.h"
#include "interfaces/platform/file_calls.h"
#include "tests/support/virtual_time.h"
#include "tests/unit/upload/upload_bench.h"
#include "upload/plan_parser.h"

namespace Drive::Testing {
namespace {

using Common::GetKelpAddressModel;
using Common::KelpAddressRequestModel;

std::string SliceError(const std::string& text) { return "error UpLoadTaskManger|fileUpload|" + text; }
std::string SliceStatistic(const std::string& text) { return "stat 15002|UpLoadTaskManger::fileUpload |" + text; }

class ClientUpload : public UploadBench {
protected:
    /// The resume record as the next attempt would read it.
    Common::UploadStartInfo RecordOf(const std::wstring& fileId) const {
        Common::UploadStartInfo info;
        EXPECT_TRUE(TransferService::ReadStartRecord(Record(fileId), info)) << Record(fileId);
        return info;
    }

    /// Errors and statistics but for those of a plain beginning.
    Texts SliceReports() const {
        Texts found;
        for (const std::string& line : Reports()) {
            if (line.find("file client upload. fileid=") == std::string::npos) found.push_back(line);
        }
        return found;
    }

    std::vector<std::wstring> SentObjectIds() {
        std::vector<std::wstring> ids;
        for (const Common::ObjectInfoList& list : sent)
            ids.insert(ids.end(), list.objectIds.begin(), list.objectIds.end());
        return ids;
    }

    void KeepCompletion() {
        cloud.filesCreateComplete.Before(
            [this](const Common::FileItem& file, const std::wstring&, Common::CreateUpdateRequestModel& model, WMap&) {
                sent = model.GetObjectInfoList();
                sentName = file.GetName();
            });
    }

    void FailAddress(const std::wstring& errorCode, const std::wstring& statuscode, const std::wstring& description) {
        cloud.getUploadKelpAddress.Always(
            [=](const Common::FileItem&, const KelpAddressRequestModel&, GetKelpAddressModel&, WMap& result) {
                if (!errorCode.empty()) result[L"errorCode"] = errorCode;
                if (!statuscode.empty()) result[L"statuscode"] = statuscode;
                if (!description.empty()) result[L"description"] = description;
                return false;
            });
    }

    std::vector<Common::ObjectInfoList> sent;
    std::wstring sentName;
};

// UP-OBJ-01
TEST_F(ClientUpload, WhatTheStoreHoldsDecryptsToTheFileObjectByObject) {
    const std::string bytes = Content(40);
    Give(L"Local-1", L"a.bin", bytes);
    std::string hmac;
    common.getFileHmac.Always([](const std::wstring&) {
        return std::string("000102030405060708090a0b0c0d0e0f") + "101112131415161718191a1b1c1d1e1f";
    });
    Run(L"Local-1");
    Common::Bytes key, iv;
    for (unsigned char i = 0; i < 16; ++i) {
        key.push_back(i);
        iv.push_back(static_cast<unsigned char>(16 + i));
    }
    std::string back;
    for (const wchar_t* id : {L"Local-1-object-0", L"Local-1-object-1", L"Local-1-object-2"}) {
        Common::Bytes plain;
        ASSERT_TRUE(Common::EncryptHelper::AES_128_CBC_Decrypt(key, iv, cloud.objects[id], plain));
        back.append(plain.begin(), plain.end());
    }
    EXPECT_EQ(back, bytes);
}

// UP-OBJ-02
TEST_F(ClientUpload, TheCompletionNamesBucketSliceSizeAndObjectsInOrder) {
    Common::FileItem file = Give(L"Local-1", L"a.bin", Content(40));
    file.SetName(L"another name");
    world.Put(file);
    KeepCompletion();
    Run(L"Local-1");
    ASSERT_EQ(sent.size(), 1u);
    EXPECT_EQ(sent[0].bucketId, L"bucket");
    EXPECT_EQ(sent[0].sliceSize, 16);
    EXPECT_EQ(sent[0].objectIds,
              (std::vector<std::wstring>{L"Local-1-object-0", L"Local-1-object-1", L"Local-1-object-2"}));
    EXPECT_TRUE(sent[0].attachmentList.empty());
    EXPECT_EQ(sentName, L"a.bin");
}

// UP-OBJ-03
TEST_F(ClientUpload, TheAddressIsAskedWithAllThatThePlanAndTheDigestsSay) {
    Give(L"Local-1", L"a.bin", Content(10));
    KelpAddressRequestModel asked;
    cloud.getUploadKelpAddress.Before([&](const Common::FileItem&, const KelpAddressRequestModel& request,
                                          GetKelpAddressModel&, WMap&) { asked = request; });
    Run(L"Local-1");
    const Common::Bytes stored = cloud.objects[L"Local-1-object-0"];
    EXPECT_EQ(asked.bucketId, L"bucket");
    EXPECT_EQ(asked.objectId, L"Local-1-object-0");
    EXPECT_EQ(asked.synckey, L"synckey-0");
    EXPECT_EQ(asked.time, L"time-0");
    EXPECT_EQ(asked.recordCursor, L"cursor-Local-1");
    EXPECT_EQ(asked.length, 16);
    EXPECT_EQ(asked.sha256, Sha256(std::string(stored.begin(), stored.end())));
    EXPECT_EQ(asked.md5.size(), 32u);
}

// UP-OBJ-04
TEST_F(ClientUpload, ThePutIsExactlyWhatTheAddressGrants) {
    Give(L"Local-1", L"a.bin", Content(10));
    cloud.getUploadKelpAddress.Always(
        [](const Common::FileItem&, const KelpAddressRequestModel&, GetKelpAddressModel& model, WMap&) {
            model.SetUrl(L"http://else/where");
            model.SetMethod(L"POST");
            model.SetObjectBucketId(L"b9");
            model.SetKelpAddressHeaders({{L"x-one", L"1"}, {L"x-two", L"2"}});
            return true;
        });
    Run(L"Local-1");
    EXPECT_TRUE(Journal::Has(Kind::Cloud, "UploadRequest(http://else/where, POST, 16, {x-one: 1, x-two: 2})"))
        << Journal::Dump();
}

// UP-FRAG-06
TEST_F(ClientUpload, EachObjectRewritesTheRecordWithItsStatusAndThePosition) {
    Give(L"Local-1", L"a.bin", Content(40));
    std::vector<std::pair<std::uint64_t, std::string>> steps;
    database.updateTaskItem.Before([&](const SQLiteDB::UpdateDBInfo& info, int direction) {
        const auto found = info.columns.find(L"fragmentInfo");
        if (found == info.columns.end()) return;
        EXPECT_EQ(direction, 2);
        Common::UploadStartInfo plan;
        EXPECT_TRUE(TransferService::ReadStartRecord(Narrow(found->second), plan));
        std::string marks;
        for (const auto& fragment : plan.GetFragmentInfos()) marks += fragment.status ? '1' : '0';
        steps.emplace_back(plan.GetPosition(), marks);
    });
    Run(L"Local-1");
    EXPECT_EQ(steps,
              (std::vector<std::pair<std::uint64_t, std::string>>{{0, "000"}, {16, "100"}, {32, "110"}, {40, "111"}}));
}

// UP-OBJ-05
TEST_F(ClientUpload, AResumeSkipsWhatIsStoredAndReadsOnAtTwiceTheSliceSize) {
    Give(L"Local-1", L"a.bin", Content(40));
    SetRecord(L"Local-1",
              R"({"uploadType":"client","version":1,"bucketId":"b","recordCursor":"c","sliceSize":16,"position":32,)"
              R"("items":[{"objectId":"p1","length":32,"status":true},{"objectId":"p2","length":32,"status":true},)"
              R"({"objectId":"p3","length":16}]})");
    KeepCompletion();
    Run(L"Local-1");
    EXPECT_EQ(cloud.uploadRequest.Calls(), 1);
    EXPECT_EQ(cloud.getUploadKelpAddress.Calls(), 1);
    EXPECT_TRUE(Journal::Has(Kind::Trace, "UpLoadTaskManger.fileUpload:upload slicefile stratoffset= 32;readlength=8"));
    EXPECT_EQ(SentObjectIds(), (std::vector<std::wstring>{L"p1", L"p2", L"p3"}));
}

// UP-OBJ-06
TEST_F(ClientUpload, WithEveryObjectStoredNothingIsReadOrSentButTheFileIsCompleted) {
    Give(L"Local-1", L"a.bin", Content(20));
    SetRecord(L"Local-1",
              R"({"uploadType":"client","version":1,"bucketId":"b","recordCursor":"c","sliceSize":16,)"
              R"("items":[{"objectId":"p1","length":32,"status":true},{"objectId":"p2","length":16,"status":true}]})");
    KeepCompletion();
    Run(L"Local-1");
    EXPECT_EQ(cloud.uploadRequest.Calls(), 0);
    EXPECT_EQ(common.aES_128_CBC_Encrypt_FileHandle.Calls(), 0);
    EXPECT_EQ(SentObjectIds(), (std::vector<std::wstring>{L"p1", L"p2"}));
    EXPECT_EQ(sent[0].bucketId, L"b");
    EXPECT_EQ(common.getFileHash.Calls(), 1);
}

// UP-OBJ-07
TEST_F(ClientUpload, AFileThatCannotBeOpenedIsDeletedForRetry) {
    Give(L"Local-1", L"a.bin", "content");
    files.createFileW.AlwaysReturns(Platform::kInvalidHandle);
    Run(L"Local-1");
    EXPECT_TRUE(InOrder(
        Lines(), {"error UpLoadTaskManger|uploadTask|Terminate upload task:Create file handle fail. fileid=Local-1",
                  "stat 15002|UpLoadTaskManger::uploadTask |Create file handle fail. fileid=Local-1",
                  "db DeleteTaskItem(Local-1, 2)",
                  "trace UpLoadTaskManger.UploadThreadFunc:file upload task end fail del for retry task "
                  "fileid=Local-1"}))
        << Journal::Dump();
    EXPECT_EQ(Journal::CountBeginning(Kind::File, "CloseHandle"), 0);
    EXPECT_EQ(world.Row(L"Local-1").GetFileStatus(), 13);
}

// UP-OBJ-08
TEST_F(ClientUpload, AFileDeletedAmongItsObjectsStopsTheUploadAndLeavesTheHandleOpen) {
    Give(L"Local-1", L"a.bin", Content(40));
    cloud.uploadRequest.Before([&](const std::wstring&, WMap, const std::wstring&, const std::vector<unsigned char>&,
                                   WMap&, std::string&) { std::remove(world.NativeFile(L"a.bin").c_str()); });
    const std::size_t before = Platform::OpenHandleCount();
    Run(L"Local-1");
    EXPECT_EQ(SliceReports(),
              (Texts{"error UpLoadTaskManger|uploadTask|Terminate upload task:File is not exists. fileid=Local-1"}));
    EXPECT_EQ(Journal::CountBeginning(Kind::File, "CloseHandle"), 0);
    EXPECT_EQ(Platform::OpenHandleCount(), before + 1);
    EXPECT_TRUE(Journal::Has(Kind::Trace,
                             "UpLoadTaskManger.UploadThreadFunc:file upload task end fail stop task fileid=Local-1"));
    EXPECT_TRUE(world.HasTask(L"Local-1", 2));
    EXPECT_EQ(world.Row(L"Local-1").GetFileStatus(), 13);
}

// UP-OBJ-09
TEST_F(ClientUpload, AMigrationSeenAmongTheObjectsStopsBeforeTheNextOne) {
    Give(L"Local-1", L"a.bin", Content(40));
    cloud.objectsUploadComplete.Before([](const Common::FileItem&, const Common::FragmentInfo&,
                                          const GetKelpAddressModel&, const std::string&,
                                          const std::wstring&) { g_cloudServerIsMigrating = true; });
    Run(L"Local-1");
    EXPECT_TRUE(InOrder(Lines(), {"file CloseHandle(open)",
                                  "error UpLoadTaskManger|uploadTask|CloudServerIsMigrating Stop upload Task "
                                  "fileid:Local-1"}))
        << Journal::Dump();
    EXPECT_EQ(cloud.uploadRequest.Calls(), 1);
    EXPECT_EQ(RecordOf(L"Local-1").GetPosition(), 16u);
}

// UP-OBJ-10
TEST_F(ClientUpload, AFailedEncryptionIsRecordedAsNotStoredWithAnEmptyBucket) {
    Give(L"Local-1", L"a.bin", Content(40));
    common.aES_128_CBC_Encrypt_FileHandle.AlwaysReturns(Common::Bytes());
    Run(L"Local-1");
    EXPECT_EQ(SliceReports(), (Texts{SliceError("encrypt slicefile error objectId=Local-1-object-0"),
                                     SliceStatistic("encrypt slicefile error objectId=Local-1-object-0")}));
    EXPECT_TRUE(InOrder(Lines(), {"file CloseHandle(open)",
                                  "trace UpLoadTaskManger.UploadThreadFunc:file upload task end failure "
                                  "fileid=Local-1"}));
    EXPECT_EQ(RecordOf(L"Local-1").GetBucketId(), L"");
    EXPECT_FALSE(RecordOf(L"Local-1").GetFragmentInfos()[0].status);
    EXPECT_EQ(RecordOf(L"Local-1").GetPosition(), 0u);
}

// UP-OBJ-11, UP-OBJ-12
TEST_F(ClientUpload, AFileGrownSinceThePlanFailsOnTheLengthAndDropsTheRecord) {
    Give(L"Local-1", L"a.bin", Content(10));
    cloud.objectsUploadStart.Always([&](Common::FileItem&, const std::wstring&, const std::wstring&, std::wstring&) {
        return std::string(
            R"({"uploadType":"client","version":1,"sliceSize":64,"items":[{"objectId":"o","length":32}]})");
    });
    Run(L"Local-1");
    const std::string text =
        "encrypt buffer length not equal fragmentinfo length objectId=o;encryptlength=16;length=32";
    EXPECT_TRUE(InOrder(Lines(), {SliceError(text), SliceStatistic(text),
                                  "db UpdateTaskItem(Local-1, {fragmentInfo: }, 2)", "file CloseHandle(open)"}))
        << Journal::Dump();
    EXPECT_EQ(Record(L"Local-1"), "");
    EXPECT_EQ(cloud.getUploadKelpAddress.Calls(), 0);
    Run(L"Local-1");
    EXPECT_EQ(Journal::Count(Kind::Cloud, "ObjectsUploadStart(Local-1, " + Sha256(Content(10)) + ", )"), 2);
}

// UP-OBJ-13
TEST_F(ClientUpload, ARefusedAddressKeepsTheRecordAsItWas) {
    Give(L"Local-1", L"a.bin", Content(40));
    FailAddress(L"21000401", L"403", L"no");
    Run(L"Local-1");
    EXPECT_EQ(
        SliceReports(),
        (Texts{"error UpLoadTaskManger|getKelpAddress|Upload getKelpAddress fail errorCode21000401; description =no",
               SliceError("fileslice getKelpAddress false:Local-1-object-0"),
               SliceStatistic("fileslice getKelpAddress false:Local-1-object-0")}));
    EXPECT_EQ(RecordOf(L"Local-1").GetBucketId(), L"bucket");
    EXPECT_EQ(RecordOf(L"Local-1").GetRecordCursor(), L"cursor-Local-1");
}

// UP-OBJ-14
TEST_F(ClientUpload, ALostPlanClearsTheRecordWhateverTheStatusIs) {
    Give(L"Local-1", L"a.bin", Content(40));
    FailAddress(L"21000400", L"404", L"");
    Run(L"Local-1");
    EXPECT_TRUE(InOrder(
        Lines(), {"error UpLoadTaskManger|getKelpAddress|Upload getKelpAddress fail errorCode21000400; description =",
                  SliceError("fileslice getKelpAddress false:Local-1-object-0"),
                  SliceStatistic("fileslice getKelpAddress false:Local-1-object-0"),
                  "db UpdateTaskItem(Local-1, {fragmentInfo: }, 2)", "file CloseHandle(open)"}))
        << Journal::Dump();
    EXPECT_EQ(Record(L"Local-1"), "");
}

// UP-OBJ-15
TEST_F(ClientUpload, AStatusOf500ClearsTheRecordWhateverTheCodeIs) {
    Give(L"Local-1", L"a.bin", Content(40));
    FailAddress(L"", L"500", L"");
    Run(L"Local-1");
    EXPECT_EQ(Record(L"Local-1"), "");
}

// UP-OBJ-16
TEST_F(ClientUpload, AStatusThatOnlyBeginsWith500KeepsTheRecord) {
    Give(L"Local-1", L"a.bin", Content(40));
    FailAddress(L"210004000", L"5000", L"");
    Run(L"Local-1");
    EXPECT_NE(Record(L"Local-1"), "");
}

// UP-OBJ-17
TEST_F(ClientUpload, AnExceptionOfTheAddressCallIsNoAddressAndReleasesTheLock) {
    Give(L"Local-1", L"a.bin", Content(40));
    cloud.getUploadKelpAddress.NextThrows("gone");
    Run(L"Local-1");
    EXPECT_EQ(SliceReports(), (Texts{"error UpLoadTaskManger|getKelpAddress|Error:gone",
                                     SliceError("fileslice getKelpAddress false:Local-1-object-0"),
                                     SliceStatistic("fileslice getKelpAddress false:Local-1-object-0")}));
    Run(L"Local-1");
    EXPECT_EQ(world.Row(L"cloud-1").GetFileStatus(), 1);
}

// UP-OBJ-18
TEST_F(ClientUpload, AFailedPutIsTriedAgainWithTheBucketThatTheEngineRemembers) {
    Give(L"Local-1", L"a.bin", Content(20));
    cloud.getUploadKelpAddress.Always(
        [](const Common::FileItem&, const KelpAddressRequestModel&, GetKelpAddressModel& model, WMap&) {
            model.SetObjectBucketId(L"named-by-the-cloud");
            return true;
        });
    cloud.uploadRequest.NextReturns(false);
    Run(L"Local-1");
    EXPECT_EQ(SliceReports(), (Texts{SliceError("fileslice upload false:Local-1-object-0"),
                                     SliceStatistic("fileslice upload false:Local-1-object-0")}));
    EXPECT_EQ(RecordOf(L"Local-1").GetBucketId(), L"");
    EXPECT_EQ(RecordOf(L"Local-1").GetPosition(), 0u);
    EXPECT_FALSE(RecordOf(L"Local-1").GetFragmentInfos()[0].status);

    std::vector<std::wstring> asked;
    cloud.getUploadKelpAddress.Before([&](const Common::FileItem&, const KelpAddressRequestModel& request,
                                          GetKelpAddressModel&, WMap&) { asked.push_back(request.bucketId); });
    Run(L"Local-1");
    EXPECT_EQ(asked, (std::vector<std::wstring>{L"named-by-the-cloud", L"named-by-the-cloud"}));
}

// UP-OBJ-19
TEST_F(ClientUpload, AnUnconfirmedObjectKeepsItsBucketButNotItsStatus) {
    Give(L"Local-1", L"a.bin", Content(20));
    cloud.objectsUploadComplete.AlwaysReturns(false);
    Run(L"Local-1");
    EXPECT_EQ(SliceReports(), Texts{});
    EXPECT_EQ(RecordOf(L"Local-1").GetBucketId(), L"bucket");
    EXPECT_FALSE(RecordOf(L"Local-1").GetFragmentInfos()[0].status);
    EXPECT_EQ(RecordOf(L"Local-1").GetPosition(), 0u);
    EXPECT_TRUE(
        Journal::Has(Kind::Trace, "UpLoadTaskManger.UploadThreadFunc:file upload task end failure fileid=Local-1"));
}

// UP-OBJ-20
TEST_F(ClientUpload, AnExceptionOfTheStoreIsLoggedWithoutAStatisticAndRecorded) {
    Give(L"Local-1", L"a.bin", Content(20));
    cloud.uploadRequest.NextThrows("cut off");
    Run(L"Local-1");
    EXPECT_EQ(SliceReports(), (Texts{SliceError("fileslice upload exception:cut off")}));
    EXPECT_EQ(RecordOf(L"Local-1").GetBucketId(), L"");
    EXPECT_TRUE(InOrder(Lines(), {"file CloseHandle(open)"}));
}

// UP-OBJ-21
TEST_F(ClientUpload, NothingOfAFailedAttemptStaysOpen) {
    Give(L"Local-1", L"a.bin", Content(20));
    cloud.uploadRequest.NextReturns(false);
    const std::size_t before = Platform::OpenHandleCount();
    Run(L"Local-1");
    Run(L"Local-1");
    EXPECT_EQ(Platform::OpenHandleCount(), before);
    EXPECT_EQ(world.Row(L"cloud-1").GetFileStatus(), 1);
}

// UP-FRAG-07
TEST_F(ClientUpload, ARecordThatCannotBeWrittenGoesUnnoticed) {
    Give(L"Local-1", L"a.bin", Content(20));
    database.updateTaskItem.Always(
        [](const SQLiteDB::UpdateDBInfo& info, int) { return info.columns.count(L"fragmentInfo") == 0; });
    Run(L"Local-1");
    EXPECT_EQ(world.Row(L"cloud-1").GetFileStatus(), 1);
}

// UP-OBJ-22
TEST_F(ClientUpload, TheWorkersAskForAddressesOneAtATime) {
    Give(L"Local-1", L"a.bin", Content(10));
    Give(L"Local-2", L"b.bin", Content(10));
    int inside = 0;
    int most = 0;
    cloud.getUploadKelpAddress.Always(
        [&](const Common::FileItem&, const KelpAddressRequestModel& asked, GetKelpAddressModel& model, WMap&) {
            most = std::max(most, ++inside);
            VirtualTime::Pause(1000);
            --inside;
            model.SetUrl(L"http://store/" + asked.objectId);
            return true;
        });
    VirtualTime::Run(0, [&] {
        VirtualTime::Start("one", [&] { Work(L"Local-1"); });
        VirtualTime::Start("two", [&] { Work(L"Local-2"); });
        EXPECT_TRUE(VirtualTime::Drain(60000));
        EXPECT_GE(VirtualTime::Now(), 2000);
    });
    EXPECT_EQ(most, 1);
    EXPECT_EQ(cloud.getUploadKelpAddress.Calls(), 2);
}

}  // namespace
}  // namespace Drive::Testing
