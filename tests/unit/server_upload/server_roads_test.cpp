#include <gtest/gtest.h>

#include "tests/support/virtual_time.h"
#include "tests/unit/server_upload/server_bench.h"
#include "upload/plan_parser.h"

namespace Drive::Testing {
namespace {

using Proxied = HttpInterface::InterfaceName;

class ServerRoads : public ProxyBench {
protected:
    /// The answer to one slice, once `slices` of this attempt were taken: a failure with this status.
    void CutBehind(int slices, const std::wstring& status, bool opens = true) {
        const int first = cloud.fileproxyUpload.Calls() + (opens ? 1 : 0);
        cloud.fileproxyUpload.Always(
            [this, first, slices, status](const std::wstring& url, const std::wstring&, Proxied operation,
                                          const std::string& raw, const std::string& text, WMap headers, WMap& result) {
                if (cloud.fileproxyUpload.Calls() == first + slices + 1) {
                    result[L"statuscode"] = status;
                    return false;
                }
                return UploadProxy(url, operation, raw, text, headers, result);
            });
    }

    Common::UploadStartInfo RecordNow() const {
        Common::UploadStartInfo info;
        EXPECT_TRUE(TransferService::ReadStartRecord(Record(L"Local-1"), info)) << Record(L"Local-1");
        return info;
    }

    static std::string Positions(std::int64_t first, std::int64_t step) {
        std::string text;
        for (std::int64_t at = first; at < static_cast<std::int64_t>(kLarge); at += step)
            text += std::to_string(at) + " ";
        return text;
    }
};

// SUP-DISP-06
TEST_F(ServerRoads, AnEmptyUploadUrlIsHandedOnAndTheAttemptFails) {
    for (const std::size_t size : {std::size_t{7}, kLarge}) {
        GiveFile(size);
        cloud.objectsUploadStart.AlwaysReturns(std::string(R"({"uploadType":"server"})"));
        cloud.fileproxyUpload.Always([](const std::wstring& url, const std::wstring&, Proxied, const std::string&,
                                        const std::string&, WMap, WMap&) {
            EXPECT_EQ(url, L"");
            return false;
        });
        Run(L"Local-1");
        EXPECT_EQ(Outcome(), "failure");
        EXPECT_EQ(world.Row(L"Local-1").GetFileStatus(), 13);
    }
    EXPECT_EQ(cloud.fileproxyUpload.Calls(), 2);
}

// SUP-DISP-09
TEST_F(ServerRoads, TheSchemeOfTheUploadUrlIsNotLookedAt) {
    for (const std::size_t size : {std::size_t{7}, kLarge}) {
        GiveFile(size);
        cloud.objectsUploadStart.AlwaysReturns(std::string(R"({"uploadType":"server","uploadUrl":"odd+scheme:x y"})"));
        const int before = cloud.fileproxyUpload.Calls();
        cloud.fileproxyUpload.Next([](const std::wstring& url, const std::wstring&, Proxied, const std::string&,
                                      const std::string&, WMap, WMap&) {
            EXPECT_EQ(url, L"odd+scheme:x y");
            return false;
        });
        Run(L"Local-1");
        EXPECT_EQ(cloud.fileproxyUpload.Calls(), before + 1);
    }
}

// SUP-DISP-08
TEST_F(ServerRoads, ASmallFileGoesWholeAlsoWhenTheCloudNamesAResumeUrl) {
    GiveFile(7);
    cloud.objectsUploadStart.AlwaysReturns(std::string(
        R"({"uploadType":"server","version":0,"uploadUrl":"u","resumeUrl":"r","position":3,"sliceSize":1})"));
    startHash = Sha256(original);
    Run(L"Local-1");
    EXPECT_EQ(requests, 1);
    EXPECT_EQ(completed, original);
}

// SUP-DISP-07
TEST_F(ServerRoads, TwoUploadsAtOnceKeepTheirOwnState) {
    Give(L"Local-1", L"a.bin", "first content");
    Give(L"Local-2", L"b.bin", "second content");
    std::vector<std::string> bodies;
    cloud.fileproxyUpload.Always([&](const std::wstring&, const std::wstring& id, Proxied, const std::string&,
                                     const std::string& text, WMap, WMap& result) {
        VirtualTime::Pause(1000);
        bodies.push_back(text);
        result = {{L"statuscode", L"200"}, {L"id", L"cloud of " + id}};
        return true;
    });
    VirtualTime::Run(0, [&] {
        VirtualTime::Start("one", [&] { Work(L"Local-1"); });
        VirtualTime::Start("two", [&] { Work(L"Local-2"); });
        EXPECT_TRUE(VirtualTime::Drain(60000));
    });
    ASSERT_EQ(bodies.size(), 2u);
    EXPECT_NE(bodies[0].find("first content") == std::string::npos,
              bodies[1].find("first content") == std::string::npos);
    EXPECT_EQ(world.Row(L"cloud of Local-1").GetFileStatus(), 1);
    EXPECT_EQ(world.Row(L"cloud of Local-2").GetFileStatus(), 1);
}

// SUP-MULTI-15
TEST_F(ServerRoads, AnAnswerOf200WithoutMoreIsASuccessThatHasNothingToTake) {
    GiveFile(7);
    cloud.fileproxyUpload.Always([](const std::wstring&, const std::wstring&, Proxied, const std::string&,
                                    const std::string&, WMap, WMap& result) {
        result[L"statuscode"] = L"200";
        return true;
    });
    Run(L"Local-1");
    EXPECT_EQ(Outcome(), "Success");
    EXPECT_TRUE(
        Journal::Has(Kind::Database, "UpdateDriveData(Local-1, {fileId: , fileStatus: 1, parentFolder: , status: 0})"));
}

// SUP-MULTI-16
TEST_F(ServerRoads, TheHashOfTheMetadataIsTheOneThatTheRowHeldWhenTheAttemptBegan) {
    std::vector<std::string> metadata;
    cloud.fileproxyUpload.Before([&](const std::wstring&, const std::wstring&, Proxied, const std::string&,
                                     const std::string& text, WMap, WMap&) {
        const std::size_t begin = text.find("\"sha256\":");
        metadata.push_back(text.substr(begin, text.find('}', begin) - begin));
    });
    GiveFile(7);
    cloud.fileproxyUpload.NextReturns(false);
    Run(L"Local-1");
    Run(L"Local-1");
    EXPECT_EQ(metadata, (Texts{"\"sha256\":\"\"", "\"sha256\":\"" + Sha256(original) + "\""}));
    EXPECT_EQ(completed, original);
}

// SUP-RES-20
TEST_F(ServerRoads, OnlyTheAnswerToTheLastSliceIsHandedOn) {
    GiveFile(kLarge);
    int slices = 0;
    cloud.fileproxyUpload.Always([&](const std::wstring& url, const std::wstring&, Proxied operation,
                                     const std::string& raw, const std::string& text, WMap headers, WMap& result) {
        EXPECT_TRUE(result.empty());
        const bool taken = UploadProxy(url, operation, raw, text, headers, result);
        if (operation == Proxied::ResumeSlice && ++slices < 3) result[L"category"] = L"of a middle slice";
        return taken;
    });
    Run(L"Local-1");
    EXPECT_EQ(slices, 3);
    EXPECT_EQ(world.Row(L"cloud-1").GetFileStatus(), 1);
    EXPECT_EQ(world.Row(L"cloud-1").GetKind(), L"");
}

// SUP-RES-26, SUP-RES-23
TEST_F(ServerRoads, AnUploadCutAtEachSliceGoesOnAtThePositionThatTheCloudNames) {
    for (int cut = 0; cut < 3; ++cut) {
        SCOPED_TRACE(cut);
        GiveFile(kLarge);
        CutBehind(cut, L"503");
        Run(L"Local-1");
        EXPECT_EQ(Outcome(), "failure");
        EXPECT_EQ(RecordNow().GetPosition(), static_cast<std::uint64_t>(cut * kSlice));
        EXPECT_EQ(RecordNow().GetResumeUrl(), L"http://proxy/r");
        EXPECT_TRUE(Journal::Has(Kind::Trace, "FileproxyResumeUpload Upload Fail. fileid=Local-1; postion =" +
                                                  std::to_string(cut * kSlice)));
        EXPECT_EQ(world.Task(L"Local-1", 2).GetPriority(), 4);
        positions.clear();
        Run(L"Local-1");
        EXPECT_EQ(openings, 2) << "the cloud names the position, and its URL is asked for anew";
        EXPECT_EQ(positions, Positions(cut * kSlice, kSlice));
        EXPECT_EQ(completed == original, true);
        EXPECT_EQ(world.Row(L"cloud-1").GetFileStatus(), 1);
    }
}

// SUP-RES-26, SUP-RES-09
TEST_F(ServerRoads, AnUploadCutAtALaterSliceGoesOnWithoutAnOpeningWhenTheCloudNamesTheUrlToo) {
    givesUrlAtStart = true;
    for (int cut = 1; cut < 3; ++cut) {
        SCOPED_TRACE(cut);
        GiveFile(kLarge);
        CutBehind(cut, L"503");
        Run(L"Local-1");
        positions.clear();
        Run(L"Local-1");
        EXPECT_EQ(openings, 1);
        EXPECT_EQ(positions, Positions(cut * kSlice, cut * kSlice)) << "slices as long as what had been sent";
        EXPECT_EQ(completed == original, true);
    }
}

// SUP-RES-27, SUP-RES-25
TEST_F(ServerRoads, AnUploadCutByANotFoundAtEachSliceStartsAfresh) {
    for (int cut = 0; cut < 3; ++cut) {
        SCOPED_TRACE(cut);
        GiveFile(kLarge);
        CutBehind(cut, L"404");
        Run(L"Local-1");
        EXPECT_EQ(Outcome(), "failure");
        EXPECT_EQ(Record(L"Local-1"), "");
        held.clear();  // the proxy has forgotten the upload
        positions.clear();
        const std::size_t before = Journal::Mark();
        Run(L"Local-1");
        EXPECT_TRUE(InOrder(LinesSince(before), {"cloud ObjectsUploadStart(Local-1, " + Sha256(original) + ", )"}));
        EXPECT_EQ(openings, 2);
        EXPECT_EQ(positions, Positions(0, kSlice));
        EXPECT_EQ(completed == original, true);
    }
}

// SUP-RES-28
TEST_F(ServerRoads, APositionThatCannotBeWrittenGoesUnnoticed) {
    GiveFile(kLarge);
    database.updateTaskItem.Always(
        [](const SQLiteDB::UpdateDBInfo& info, int) { return info.columns.count(L"fragmentInfo") == 0; });
    Run(L"Local-1");
    EXPECT_EQ(Outcome(), "Success");
    EXPECT_EQ(Lines({Kind::Error}), Texts{});
}

// SUP-RES-29
TEST_F(ServerRoads, AnExceptionOfThePositionsWriteFailsTheAttempt) {
    GiveFile(kLarge);
    database.updateTaskItem.NextDefault();
    database.updateTaskItem.NextDefault();
    database.updateTaskItem.NextThrows("no disk");
    Run(L"Local-1");
    EXPECT_EQ(Lines({Kind::Error}), Texts{"error UpLoadTaskManger|uploadTask|uploadTask Error:no disk"});
    EXPECT_EQ(Outcome(), "failure");
    EXPECT_EQ(world.Row(L"Local-1").GetFileStatus(), 13);
    EXPECT_EQ(Journal::Count(Kind::Callback, "task(2, 1)"), 1);
}

// SUP-RES-34
TEST_F(ServerRoads, AnExceptionOfTheOpeningFailsTheAttempt) {
    GiveFile(kLarge);
    cloud.fileproxyUpload.NextThrows("no line");
    Run(L"Local-1");
    EXPECT_EQ(Lines({Kind::Error}), Texts{"error UpLoadTaskManger|uploadTask|uploadTask Error:no line"});
    EXPECT_EQ(Outcome(), "failure");
    Run(L"Local-1");
    EXPECT_EQ(completed == original, true);
}

// SUP-DISP-04
TEST_F(ServerRoads, AnExceptionOfTheFinishedRowFailsTheAttempt) {
    GiveFile(7);
    database.updateDriveData.NextDefault();
    database.updateDriveData.NextDefault();
    database.updateDriveData.NextThrows("no disk");
    Run(L"Local-1");
    EXPECT_EQ(Lines({Kind::Error}), Texts{"error UpLoadTaskManger|uploadTask|uploadTask Error:no disk"});
    EXPECT_EQ(world.Row(L"Local-1").GetFileStatus(), 13);
    Run(L"Local-1");
    EXPECT_EQ(world.Row(L"cloud-1").GetFileStatus(), 1);
}

}  // namespace
}  // namespace Drive::Testing
