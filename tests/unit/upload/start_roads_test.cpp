#include <gtest/gtest.h>

#include "interfaces/common/globals.h"
#include "interfaces/logging/type_convert.h"
#include "interfaces/platform/file_calls.h"
#include "tests/unit/upload/upload_bench.h"

namespace {

/// The next text that the engine widens throws a number: no library throws one by itself.
bool throwAtNextText = false;

}  // namespace

std::wstring RealWiden(const std::string& text) asm(
    "__real__ZN5Drive11TypeConvert15StringToWStringERKNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEE");
std::wstring WatchedWiden(const std::string& text) asm(
    "__wrap__ZN5Drive11TypeConvert15StringToWStringERKNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEE");
std::wstring WatchedWiden(const std::string& text) {
    if (throwAtNextText && text == "throw here") {
        throwAtNextText = false;
        throw 7;
    }
    return RealWiden(text);
}

namespace Drive::Testing {
namespace {

class UploadStartRoads : public UploadBench {};

// UP-START-19
TEST_F(UploadStartRoads, HashAndSizeOfThisAttemptGoToTheCloudOnTheItem) {
    Common::FileItem file = Give(L"Local-1", L"a.bin", "content");
    file.SetHash(L"stale");
    file.SetSize(99);
    world.Put(file);
    Common::FileItem sent;
    cloud.objectsUploadStart.Before(
        [&](Common::FileItem& item, const std::wstring&, const std::wstring&, std::wstring&) { sent = item; });
    Run(L"Local-1");
    EXPECT_EQ(Narrow(sent.GetHash()), Sha256("content"));
    EXPECT_EQ(sent.GetSize(), 7);
    EXPECT_EQ(sent.GetMimeType(), L"application/octet-stream");
    EXPECT_FALSE(sent.GetFileHMAC().empty());
}

// UP-START-20, UP-CLEAN-01
TEST_F(UploadStartRoads, AMigrationNoticeThatThrowsDropsTheRecordLikeAnyOtherException) {
    Give(L"Local-1", L"a.bin", "content");
    SetRecord(L"Local-1", R"({"version":7})");
    cloud.objectsUploadStart.Always(
        [](Common::FileItem&, const std::wstring&, const std::wstring&, std::wstring& errorCode) {
            errorCode = L"21084031";
            return std::string();
        });
    database.clearTaskTable.NextThrows("no disk");
    Run(L"Local-1");
    EXPECT_TRUE(g_cloudServerIsMigrating);
    EXPECT_TRUE(InOrder(
        Lines(), {"error UpLoadTaskManger|uploadStart|Error:no disk", "db UpdateTaskItem(Local-1, {fragmentInfo: }, 2)",
                  "error UpLoadTaskManger|uploadTask|Terminate upload task:getuploadstartInfo failure. "
                  "fileid=Local-1"}))
        << Journal::Dump();
    EXPECT_EQ(Journal::CountBeginning(Kind::Message, "TransferMessageCommand"), 0);
    EXPECT_EQ(Record(L"Local-1"), "");
}

// UP-START-17
TEST_F(UploadStartRoads, AnExceptionOfEachStepIsLoggedAndDropsTheRecord) {
    const std::vector<std::function<void()>> throwers = {
        [&] { common.getFileSha256.NextThrows("broken"); },
        [&] { common.getLocalFileSize.NextThrows("broken"); },
        [&] { database.updateDriveData.NextDefault(), database.updateDriveData.NextThrows("broken"); },
        [&] { cloud.objectsUploadStart.NextThrows("broken"); },
        [&] { database.updateTaskItem.NextDefault(), database.updateTaskItem.NextThrows("broken"); },
    };
    for (std::size_t i = 0; i < throwers.size(); ++i) {
        SCOPED_TRACE(i);
        Give(L"Local-1", L"a.bin", "content");
        SetRecord(L"Local-1", R"({"version":7})");
        world.Sql({"UPDATE T_cloudDriveData SET localFileSha256 = ''"});
        throwers[i]();
        Run(L"Local-1");
        EXPECT_EQ(Lines({Kind::Error}).front(), "error UpLoadTaskManger|uploadStart|Error:broken");
        EXPECT_EQ(Record(L"Local-1"), "");
        EXPECT_EQ(world.Row(L"Local-1").GetFileStatus(), 13);
        EXPECT_EQ(world.Task(L"Local-1", 2).GetPriority(), 4);
        Run(L"Local-1");
        EXPECT_FALSE(world.HasTask(L"Local-1", 2));
    }
}

// UP-START-21
TEST_F(UploadStartRoads, ARecordWithoutAnObjectHasNoVersionAndNoCursor) {
    std::string answer;
    for (const char* record : {"null", "[]", "\"text\"", "5", "{}"}) {
        Give(L"Local-1", L"a.bin", "content");
        SetRecord(L"Local-1", record);
        answer.clear();
        database.updateTaskItem.Before([&](const SQLiteDB::UpdateDBInfo& info, int) {
            if (answer.empty() && info.columns.count(L"fragmentInfo") != 0) {
                answer = Narrow(info.columns.at(L"fragmentInfo"));
            }
        });
        Run(L"Local-1");
        EXPECT_TRUE(Journal::Has(Kind::Cloud, "ObjectsUploadStart(Local-1, " + Sha256("content") + ", )")) << record;
        EXPECT_EQ(answer.rfind("{\"bucketId\":\"bucket\"", 0), 0u) << "the answer is stored: " << answer;
        EXPECT_EQ(Lines({Kind::Error}), Texts{});
    }
}

// UP-PLAN-21
TEST_F(UploadStartRoads, AnExceptionThatIsNoStandardOneIsLoggedWithoutAText) {
    Give(L"Local-1", L"a.bin", "content");
    cloud.objectsUploadStart.AlwaysReturns(std::string(R"({"uploadType":"throw here"})"));
    throwAtNextText = true;
    Run(L"Local-1");
    EXPECT_FALSE(throwAtNextText);
    EXPECT_EQ(Lines({Kind::Error}),
              (Texts{"error UpLoadTaskManger|loadUploadStartinfo|loadUploadStartinfo error.",
                     "error UpLoadTaskManger|uploadTask|Terminate upload task:getuploadstartInfo failure. "
                     "fileid=Local-1"}));
    EXPECT_TRUE(world.HasTask(L"Local-1", 2));
}

// UP-FRAG-08
TEST_F(UploadStartRoads, AnExceptionOfTheRecordsWriteFailsTheAttemptAndLeavesTheHandleOpen) {
    Give(L"Local-1", L"a.bin", Content(40));
    database.updateTaskItem.NextDefault();
    database.updateTaskItem.NextDefault();
    database.updateTaskItem.NextThrows("no disk");
    const std::size_t before = Platform::OpenHandleCount();
    Run(L"Local-1");
    EXPECT_EQ(Lines({Kind::Error}), Texts{"error UpLoadTaskManger|uploadTask|uploadTask Error:no disk"});
    EXPECT_EQ(Platform::OpenHandleCount(), before + 1);
    EXPECT_EQ(cloud.uploadRequest.Calls(), 1);
    EXPECT_EQ(world.Row(L"Local-1").GetFileStatus(), 13);
    EXPECT_EQ(world.Task(L"Local-1", 2).GetPriority(), 4);
}

// UP-FRAG-09
TEST_F(UploadStartRoads, ARecordWhoseCountWasChangedByHandIsResumedAsIfItHadNotBeen) {
    Give(L"Local-1", L"a.bin", Content(40));
    SetRecord(L"Local-1",
              R"({"uploadType":"client","version":1,"bucketId":"b","recordCursor":"c","sliceSize":16,"itemcount":99,)"
              R"("items":[{"objectId":"p1","length":32,"status":true},{"objectId":"p2","length":32},)"
              R"({"objectId":"p3","length":16}]})");
    cloud.uploadRequest.NextDefault();
    cloud.uploadRequest.NextReturns(false);
    Run(L"Local-1");
    EXPECT_EQ(cloud.uploadRequest.Calls(), 2);
    EXPECT_NE(Record(L"Local-1").find("\"itemcount\":3"), std::string::npos) << Record(L"Local-1");
}

}  // namespace
}  // namespace Drive::Testing
