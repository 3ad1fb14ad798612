#include <gtest/gtest.h>

#include <algorithm>

#include "interfaces/common/globals.h"
#include "tests/unit/encrypted_download/encrypted_bench.h"

namespace Drive::Testing {
namespace {

using Common::Bytes;
using Common::DownLoadAddressInfoModel;
using Common::DownloadKelpAddressInfo;
using Common::DownloadObjectInfoList;
using Common::KelpAddressRequestModel;

class EncryptedObjects : public EncryptedBench {
protected:
    EncryptedObjects() {
        cloud.getDownloadKelpAddress.Before(
            [this](const KelpAddressRequestModel& request, DownloadKelpAddressInfo&) { asked.push_back(request); });
    }

    std::vector<std::wstring> AskedIds() const {
        std::vector<std::wstring> ids;
        for (const auto& request : asked) ids.push_back(request.objectId);
        return ids;
    }

    std::vector<KelpAddressRequestModel> asked;
};

const char* const kFetch = "cloud DownloadDriveFileRequest(http://store/F-object-";

// ENC-DL-09, ENC-DL-10
TEST_F(EncryptedObjects, ComeInTheseStepsInThisOrder) {
    Give(2);
    Run();
    const Texts lines = Lines();
    auto first =
        std::find(lines.begin(), lines.end(), "trace DownLoadTaskManger.downLoadTask.DownloadDriveFile fileId = F");
    ASSERT_NE(first, lines.end());
    const auto last = std::find(first, lines.end(), "db DeleteTaskItem(F, 1)");
    EXPECT_EQ(Joined({first + 1, last}),
              "common InsertOperatingFiles(f.txt, 5)\n"
              "trace DownLoadTaskManger.driveDownloadFile.getDecryptKeyType. fileId = F\n"
              "common GetFek(efek, 16)\n"
              "trace DownLoadTaskManger.driveDownloadFile.readDownloadPosition. fileId = F\n"
              "db GetTaskItem(F, 1)\n"
              "trace DownLoadTaskManger.downLoadTask.getDownloadKelpAddress Begin fileId = F\n"
              "cloud GetDownloadKelpAddress(bucket, F-object-0, synckey-0, time, cursor-F, 20)\n"
              "trace DownLoadTaskManger.downLoadTask.Download Slicefile Begin fileId = F\n"
              "cloud DownloadDriveFileRequest(http://store/F-object-0, {x-store: yes}, 16, 16, AES_128, 20)\n"
              "db GetTaskItem(F, 1)\n"
              "trace DownLoadTaskManger.driveDownloadFile.WriteLocalFile. fileId = F\n"
              "common WriteLocalFileV(0, 10, ROOT\\f.txt)\n"
              "db UpdateTaskItem(F, {fragmentInfo: {\"writePosition\":10,\"writeSliceIndex\":1}}, 1)\n"
              "db GetTaskItem(F, 1)\n"
              "trace DownLoadTaskManger.downLoadTask.getDownloadKelpAddress Begin fileId = F\n"
              "cloud GetDownloadKelpAddress(bucket, F-object-1, synckey-1, time, cursor-F, 20)\n"
              "trace DownLoadTaskManger.downLoadTask.Download Slicefile Begin fileId = F\n"
              "cloud DownloadDriveFileRequest(http://store/F-object-1, {x-store: yes}, 16, 16, AES_128, 20)\n"
              "db GetTaskItem(F, 1)\n"
              "trace DownLoadTaskManger.driveDownloadFile.WriteLocalFile. fileId = F\n"
              "common WriteLocalFileV(10, 10, ROOT\\f.txt)\n"
              "db UpdateTaskItem(F, {fragmentInfo: {\"writePosition\":20,\"writeSliceIndex\":2}}, 1)\n"
              "trace DownLoadTaskManger.driveDownloadFile.Download Success End. fileId = F\n"
              "common EraseOpetatingFile(f.txt)\n");
    EXPECT_EQ(world.ReadFile(L"f.txt"), Whole());
    EXPECT_EQ(Outcome(), "Success");
    EXPECT_EQ(world.Row(L"F").GetFileStatus(), 1);
    EXPECT_EQ(Narrow(world.Row(L"F").GetLocalFileSha256()), Sha256(Whole()));
}

// ENC-DL-11, ENC-DL-14
TEST_F(EncryptedObjects, AreAskedForWithAllThatTheFirstListSays) {
    Give(2);
    ChangeAnswer([](DownLoadAddressInfoModel& model) {
        std::vector<DownloadObjectInfoList> lists = model.GetObjectInfoList();
        lists[0].time = L"T";
        lists[0].bucketId = L"B";
        lists[0].length = 77;
        lists.push_back(lists[0]);
        lists[1].objectIds = {L"other"};
        model.SetObjectInfoList(lists);
    });
    Run();
    ASSERT_EQ(asked.size(), 2u);
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(asked[i].bucketId, L"B");
        EXPECT_EQ(asked[i].objectId, ObjectId(i));
        EXPECT_EQ(asked[i].synckey, L"key " + std::to_wstring(i));
        EXPECT_EQ(asked[i].time, L"T");
        EXPECT_EQ(asked[i].recordCursor, L"cursor-F");
        EXPECT_EQ(asked[i].length, 77);
        EXPECT_EQ(asked[i].md5, "");
        EXPECT_EQ(asked[i].sha256, "");
    }
    EXPECT_EQ(Journal::CountBeginning(Kind::Cloud,
                                      "DownloadDriveFileRequest(http://store/F-object-1, {x-store: yes}, "
                                      "16, 16, AES_128, 77)"),
              1);
}

// ENC-DL-12
TEST_F(EncryptedObjects, TakeTheirKeysInStepAndGoOnWithEmptyOnes) {
    Give(3);
    ChangeAnswer([](DownLoadAddressInfoModel& model) {
        std::vector<DownloadObjectInfoList> lists = model.GetObjectInfoList();
        lists[0].synckeys = {L"only"};
        model.SetObjectInfoList(lists);
    });
    Run();
    ASSERT_EQ(asked.size(), 3u);
    EXPECT_EQ(asked[0].synckey, L"only");
    EXPECT_EQ(asked[1].synckey, L"");
    EXPECT_EQ(asked[2].synckey, L"");
    EXPECT_EQ(world.ReadFile(L"f.txt"), Whole());
}

// ENC-DL-13
TEST_F(EncryptedObjects, AreFetchedFromTheGrantedAddressWithItsHeadersAlone) {
    Give(1);
    cloud.getDownloadKelpAddress.Always([](const KelpAddressRequestModel&, DownloadKelpAddressInfo& info) {
        info.SetUrl(L"http://elsewhere/F-object-0");
        info.SetHeaders({{L"a", L"1"}, {L"b", L"2"}});
        return true;
    });
    Run();
    EXPECT_TRUE(Journal::Has(
        Kind::Cloud, "DownloadDriveFileRequest(http://elsewhere/F-object-0, {a: 1, b: 2}, 16, 16, AES_128, 10)"))
        << Journal::Dump();
}

// ENC-DL-13
TEST_F(EncryptedObjects, NeverBringTheHeadersOfTheOneBefore) {
    Give(2);
    cloud.getDownloadKelpAddress.NextDefault();
    cloud.getDownloadKelpAddress.Next([](const KelpAddressRequestModel&, DownloadKelpAddressInfo& info) {
        EXPECT_TRUE(info.GetHeaders().empty());
        EXPECT_TRUE(info.GetUrl().empty());
        info.SetUrl(L"http://store/F-object-1");
        return true;
    });
    Run();
    EXPECT_TRUE(
        Journal::Has(Kind::Cloud, "DownloadDriveFileRequest(http://store/F-object-1, {}, 16, 16, AES_128, 20)"));
}

// ENC-DL-15
TEST_F(EncryptedObjects, MoveTheRecordOneByOne) {
    Give(3);
    Run();
    EXPECT_EQ(RecordsWritten(),
              (Texts{R"({"writePosition":10,"writeSliceIndex":1})", R"({"writePosition":20,"writeSliceIndex":2})",
                     R"({"writePosition":30,"writeSliceIndex":3})"}));
}

// ENC-DL-16
TEST_F(EncryptedObjects, OfWhichThereAreNoneAreASuccessThatWritesNothing) {
    Give(1);
    ChangeAnswer([](DownLoadAddressInfoModel& model) {
        std::vector<DownloadObjectInfoList> lists = model.GetObjectInfoList();
        lists[0].objectIds.clear();
        model.SetObjectInfoList(lists);
    });
    Run();
    EXPECT_EQ(Outcome(), "Success");
    EXPECT_EQ(common.writeLocalFileV.Calls(), 0);
    EXPECT_EQ(RecordsWritten(), Texts{});
    EXPECT_FALSE(world.Exists(L"f.txt"));
}

// ENC-DL-22
TEST_F(EncryptedObjects, WithoutTheirListFailTheJob) {
    Give(1);
    ChangeAnswer([](DownLoadAddressInfoModel& model) { model.SetObjectInfoList({}); });
    Run();
    ASSERT_EQ(Errors().size(), 1u);
    EXPECT_EQ(Errors()[0].rfind(Error(""), 0), 0u);
    EXPECT_GT(Errors()[0].size(), Error("").size());
    EXPECT_EQ(MarksTakenByTheTransfer(), 1);
    ExpectEndedWithoutFile();
}

// ENC-DL-17
TEST_F(EncryptedObjects, BehindTheSizeOfTheFileAreNotFetched) {
    Give(5);
    world.Sql({"UPDATE T_cloudDriveData SET size = 30"});
    Run();
    EXPECT_EQ(AskedIds(), (std::vector<std::wstring>{ObjectId(0), ObjectId(1), ObjectId(2)}));
    EXPECT_EQ(Outcome(), "Success");
    EXPECT_EQ(world.ReadFile(L"f.txt"), Whole().substr(0, 30));
}

// ENC-DL-17
TEST_F(EncryptedObjects, ThatPassTheSizeOfTheFileEndItToo) {
    Give(5);
    world.Sql({"UPDATE T_cloudDriveData SET size = 21"});
    Run();
    EXPECT_EQ(asked.size(), 3u);
    EXPECT_EQ(Outcome(), "Success");
}

// ENC-DL-18
TEST_F(EncryptedObjects, ThatEndBeforeTheSizeOfTheFileAreASuccess) {
    Give(2);
    world.Sql({"UPDATE T_cloudDriveData SET size = 21"});
    Run();
    EXPECT_EQ(asked.size(), 2u);
    EXPECT_EQ(Outcome(), "Success");
    EXPECT_EQ(Narrow(world.Row(L"F").GetLocalFileSha256()), Sha256(Whole()));
}

// ENC-DL-19, ENC-DL-20
TEST_F(EncryptedObjects, OfAResumedJobBeginWithTheFirstOneAtTheSavedPosition) {
    Give(3);
    world.WriteFile(L"f.txt", Whole().substr(0, 20));
    SetRecord(R"({"writePosition":20,"writeSliceIndex":2})");
    Run();
    EXPECT_EQ(AskedIds(), (std::vector<std::wstring>{ObjectId(0)})) << "the size is reached";
    EXPECT_TRUE(Journal::Has(Kind::Common, "WriteLocalFileV(20, 10, " + Narrow(world.Path(L"f.txt")) + ")"));
    EXPECT_EQ(RecordsWritten(), (Texts{R"({"writePosition":30,"writeSliceIndex":1})"}));
    EXPECT_EQ(world.ReadFile(L"f.txt"), Whole().substr(0, 20) + Object(0));
    EXPECT_EQ(Outcome(), "Success");
}

// ENC-DL-21
TEST_F(EncryptedObjects, ThatAFailedAttemptLeftAreTakenAsTheyAre) {
    Give(1);
    cloud.downloadDriveFileRequest.Always(
        [](const std::wstring&, WMap, const Bytes&, const Bytes&, const std::wstring&, std::int64_t, Bytes& received) {
            received = {'h', 'a', 'l', 'f'};
            return false;
        });
    Run();
    EXPECT_EQ(cloud.downloadDriveFileRequest.Calls(), 4);
    EXPECT_EQ(world.ReadFile(L"f.txt"), "half");
    EXPECT_EQ(Outcome(), "Success");
    EXPECT_NE(world.Row(L"F").GetLocalFileSha256(), world.Row(L"F").GetHash()) << "the host's check sees it";
}

// ENC-DL-23
TEST_F(EncryptedObjects, GetFourAttemptsOnOneAddressWithoutAPause) {
    Give(1);
    for (int i = 0; i < 3; ++i) cloud.downloadDriveFileRequest.NextReturns(false);
    Run();
    const Texts lines = Lines({Kind::Trace, Kind::Cloud, Kind::Sleep});
    const auto first = std::find_if(lines.begin(), lines.end(), [](const std::string& line) {
        return line.rfind("cloud GetDownloadKelpAddress", 0) == 0;
    });
    ASSERT_NE(first, lines.end());
    const std::string begin = "trace DownLoadTaskManger.downLoadTask.Download Slicefile Begin fileId = F";
    const std::string fetch = std::string(kFetch) + "0, {x-store: yes}, 16, 16, AES_128, 10)";
    const std::string again = "trace DownLoadTaskManger.downLoadTask. Download slicefile fail goto retry;retryCount=";
    EXPECT_EQ(Joined({first + 1, first + 12}),
              Joined({begin, fetch, again + "1;fileId = F", begin, fetch, again + "2;fileId = F", begin, fetch,
                      again + "3;fileId = F", begin, fetch}));
    EXPECT_EQ(cloud.downloadDriveFileRequest.Calls(), 4);
    EXPECT_EQ(Journal::CountBeginning(Kind::Sleep, ""), 0);
    EXPECT_EQ(Outcome(), "Success");
}

// ENC-DL-24
TEST_F(EncryptedObjects, BeginEachAttemptWithAnEmptyBuffer) {
    Give(2);
    std::vector<std::size_t> before;
    const auto leave = [&](bool arrived) {
        cloud.downloadDriveFileRequest.Next([&before, arrived](const std::wstring&, WMap, const Bytes&, const Bytes&,
                                                               const std::wstring&, std::int64_t, Bytes& received) {
            before.push_back(received.size());
            received.push_back('x');
            return arrived;
        });
    };
    for (const bool arrived : {false, false, true, true}) leave(arrived);
    Run();
    EXPECT_EQ(before, (std::vector<std::size_t>{0, 0, 0, 0}));
}

// ENC-DL-25
TEST_F(EncryptedObjects, OfWhichFourAttemptsBringNothingFailTheJobAtThePositionOfTheLastWholeOne) {
    Give(3);
    cloud.objects.erase(ObjectId(1));
    Run();
    EXPECT_EQ(cloud.downloadDriveFileRequest.Calls(), 5);
    EXPECT_EQ(Errors(), (Texts{Error("Terminate download file task:ReceiveData is Empty! fileid = F")}));
    EXPECT_EQ(RecordsWritten(), (Texts{R"({"writePosition":10,"writeSliceIndex":1})"}));
    EXPECT_EQ(MarksTakenByTheTransfer(), 1);
    EXPECT_EQ(Outcome(), "Fail");
    ExpectEndedWithoutFile();
}

// ENC-DL-25
TEST_F(EncryptedObjects, ThatArriveEmptyFailTheJobAtTheFirstAttempt) {
    Give(1);
    cloud.downloadDriveFileRequest.AlwaysReturns(true);
    Run();
    EXPECT_EQ(cloud.downloadDriveFileRequest.Calls(), 1);
    EXPECT_EQ(Errors(), (Texts{Error("Terminate download file task:ReceiveData is Empty! fileid = F")}));
}

}  // namespace
}  // namespace Drive::Testing
