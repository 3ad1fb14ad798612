#include <gtest/gtest.h>

#include <atomic>
#include <fstream>
#include <iterator>

#include "interfaces/common/globals.h"
#include "interfaces/platform/native_path.h"
#include "tests/support/engine_bench.h"

namespace Drive::Testing {
namespace {

using Receiver = Cloud::FileTransRequest::Receiver;
using TransferService::DownLoadTaskManger;

class Picture : public EngineBench {
protected:
    Picture() { cloud.PutPlain(L"P", "picture"); }

    static WMap Row(const std::wstring& fileId = L"P") {
        return {{L"fileId", fileId},
                {L"localFileName", fileId + L".png"},
                {L"localParentFolder", L"a\\"},
                {L"thunbnailDownloadLink", L"http://proxy/" + fileId}};
    }
    static void StartOn(const WMap& row) {
        auto* job = new WMap(row);
        VirtualTime::Start("worker", [job] { EXPECT_EQ(DownLoadTaskManger::DownloadThumbnailThreadFunc(job), 1u); });
    }
    static void Fetch(const WMap& row = Row()) {
        VirtualTime::Run(0, [&] {
            StartOn(row);
            EXPECT_TRUE(VirtualTime::Drain(3600 * 1000)) << VirtualTime::Dump();
        });
    }
    void NextTransfer(std::vector<std::string> pieces, int status, std::vector<bool>* answers = nullptr) {
        cloud.downloadCloudFileRequest.Next([=](const std::wstring&, WMap, const Receiver& receiver) {
            for (const std::string& piece : pieces) {
                const bool more = receiver(reinterpret_cast<const unsigned char*>(piece.data()),
                                           static_cast<std::int64_t>(piece.size()));
                if (answers != nullptr) answers->push_back(more);
                if (!more) break;
            }
            return status;
        });
    }
    static std::string Native(const std::wstring& fileId = L"P") {
        return Platform::NativePath(g_thumbnailFolder + L"a\\" + fileId + L".png.jpg");
    }
    static std::string Stored(const std::wstring& fileId = L"P") {
        std::ifstream in(Native(fileId), std::ios::binary);
        if (!in) return "(absent)";
        return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    }
    void DiskHas(Platform::DiskBytes totalFree, bool answer = true) {
        files.getDiskFreeSpaceExW.Always(
            [=](const wchar_t*, Platform::DiskBytes* caller, Platform::DiskBytes* total, Platform::DiskBytes* all) {
                *caller = *total = Platform::DiskBytes{1} << 40;
                *all = totalFree;
                return answer ? 1 : 0;
            });
    }

    const std::string failedJob =
        "error DownloadTaskManager|DownloadThumbnailThreadFunc|DownLoadThumbnail Fail. fileid =P";
    const std::string rowGoes = "db DeleteTaskItem(P, 3)";
    const std::string slotBack = "callback slot(3)";
};

// DL-THUMB-01, DL-THUMB-14
TEST_F(Picture, IsFetchedInTheseStepsInThisOrder) {
    const std::size_t before = Platform::OpenHandleCount();
    Fetch();
    const Texts expected = {"file GetDiskFreeSpaceExW(SMALL\\)",
                            "common CreateLocalDirectory(SMALL\\a\\)",
                            "file CreateFileW(SMALL\\a\\P.png.jpg, 0xc0000000, 6, none, 4, 0x40000000, none)",
                            "cloud DownloadCloudFileRequest(http://proxy/P, {Authorization: Bearer token})",
                            "common WriteLocalFileByHandleV(0, 7)",
                            "common EraseOpetatingFile()",
                            "file CloseHandle(open)",
                            "trace DownLoadTaskManger.downLoadThumbnailTask.Download Thumbnail Success End. fileId = P",
                            rowGoes,
                            slotBack};
    EXPECT_EQ(Joined(Lines()), Joined(expected));
    EXPECT_EQ(Stored(), "picture");
    EXPECT_EQ(Platform::OpenHandleCount(), before);
}

// DL-THUMB-02
TEST_F(Picture, ANullInPlaceOfTheJobIsToldAndGivesNoSlotBack) {
    EXPECT_EQ(DownLoadTaskManger::DownloadThumbnailThreadFunc(nullptr), 0u);
    EXPECT_EQ(Joined(Lines()),
              "error TransferService::DownLoadTaskManger|DownloadThumbnailThreadFunc|the input parameter is Null!!!\n");
}

// DL-THUMB-03
TEST_F(Picture, WithoutALinkIsToldAndItsTaskGoesAllTheSame) {
    WMap row = Row();
    row[L"thunbnailDownloadLink"] = L"";
    Fetch(row);
    const Texts expected = {"file GetDiskFreeSpaceExW(SMALL\\)",
                            "error DownLoadTaskManger|marlowBendDownloadThumbnailFile|Terminate download thumbnail "
                            "task:ThumbnailDownloadLink is null.fileid=P",
                            rowGoes, failedJob, slotBack};
    EXPECT_EQ(Joined(Lines()), Joined(expected));
    EXPECT_EQ(Stored(), "(absent)");
}

// DL-THUMB-04
TEST_F(Picture, WithTwoHundredMebibytesFreeOrLessNoFileIsMade) {
    const std::pair<Platform::DiskBytes, bool> cases[] = {
        {0xC800000, true}, {0, true}, {Platform::DiskBytes{1} << 40, false}};
    for (const auto& [totalFree, answer] : cases) {
        DiskHas(totalFree, answer);
        const std::size_t mark = Journal::Mark();
        Fetch();
        const Texts expected = {"file GetDiskFreeSpaceExW(SMALL\\)",
                                "error DownLoadTaskManger|downLoadThumbnailTask|Terminate download thumbnail "
                                "task:DiskFreeSpace Is not enougth.",
                                rowGoes, failedJob, slotBack};
        EXPECT_EQ(Joined(LinesSince(mark)), Joined(expected));
        EXPECT_EQ(Stored(), "(absent)");
    }
    DiskHas(0xC800001);
    Fetch();
    EXPECT_EQ(Stored(), "picture");
}

// DL-THUMB-05
TEST_F(Picture, ThatTheCloudDoesNotHaveLeavesNoFileAndItsTaskGoes) {
    cloud.files.clear();
    Fetch();
    const Texts lines = Lines();
    const Texts expected = {"common EraseOpetatingFile()",
                            "file CloseHandle(open)",
                            "common RemoveFile(SMALL\\a\\P.png.jpg)",
                            "error DownloadTaskManager|downLoadThumbnailTask|downLoadThumbnailTask fail statuscode=404",
                            rowGoes,
                            failedJob,
                            slotBack};
    ASSERT_GE(lines.size(), expected.size());
    EXPECT_EQ(Joined(Texts(lines.end() - 7, lines.end())), Joined(expected));
    EXPECT_EQ(Stored(), "(absent)");
}

// DL-THUMB-06
TEST_F(Picture, OfAnyStatusButTwoHundredAndTwoHundredSixIsTakenAway) {
    for (const int status : {200, 206}) {
        NextTransfer({"abc"}, status);
        Fetch();
        EXPECT_EQ(Stored(), "abc") << status;
    }
    for (const int status : {0, -1, 201, 416, 500}) {
        NextTransfer({"abc"}, status);
        Fetch();
        EXPECT_EQ(Stored(), "(absent)") << status;
        EXPECT_TRUE(Journal::Has(Kind::Error,
                                 "DownloadTaskManager|downLoadThumbnailTask|downLoadThumbnailTask fail statuscode=" +
                                     std::to_string(status)));
    }
}

// DL-THUMB-07
TEST_F(Picture, WhoseRequestThrowsFailsWithStatusMinusOneAndIsClosed) {
    const std::size_t before = Platform::OpenHandleCount();
    cloud.downloadCloudFileRequest.AlwaysThrows("broken");
    Fetch();
    const Texts expected = {"error DownloadTaskManager|downLoadThumbnailTask|catch exception. address=http://proxy/P",
                            "common EraseOpetatingFile()", "file CloseHandle(open)",
                            "common RemoveFile(SMALL\\a\\P.png.jpg)",
                            "error DownloadTaskManager|downLoadThumbnailTask|downLoadThumbnailTask fail statuscode=-1"};
    EXPECT_TRUE(InOrder(Lines(), expected)) << Joined(Lines());
    EXPECT_EQ(Platform::OpenHandleCount(), before);
    EXPECT_EQ(Stored(), "(absent)");
}

// DL-THUMB-08
TEST_F(Picture, IsWrittenPieceByPieceAsItComes) {
    NextTransfer({"ab", "", "cdef", "g"}, 200);
    Fetch();
    EXPECT_TRUE(InOrder(Lines({Kind::Common}),
                        {"common WriteLocalFileByHandleV(0, 2)", "common WriteLocalFileByHandleV(2, 0)",
                         "common WriteLocalFileByHandleV(2, 4)", "common WriteLocalFileByHandleV(6, 1)"}));
    EXPECT_EQ(Stored(), "abcdefg");
}

// DL-THUMB-09
TEST_F(Picture, SeesTheStopOfTheEngineAtItsNextPieceAndFollowsTheStatus) {
    for (const int status : {200, 0}) {
        g_StopDownLoadTask = false;
        std::vector<bool> answers;
        common.writeLocalFileByHandleV.Before(
            [](std::int64_t, const char*, std::size_t, Platform::HANDLE) { g_StopDownLoadTask = true; });
        NextTransfer({"ab", "cd"}, status, &answers);
        Fetch();
        EXPECT_EQ(answers, (std::vector<bool>{true, false}));
        EXPECT_EQ(Stored(), status == 200 ? "ab" : "(absent)");
    }
    EXPECT_EQ(Journal::Count(Kind::Trace, "DownLoadTaskManger.downLoadThumbnailTask.Stop GloblStop fileId = P"), 2);
}

// DL-THUMB-10
TEST_F(Picture, ThatCannotBeWrittenEndsTheTransfer) {
    std::vector<bool> answers;
    common.writeLocalFileByHandleV.NextDefault();
    common.writeLocalFileByHandleV.NextReturns(false);
    NextTransfer({"ab", "cd", "ef"}, 0, &answers);
    Fetch();
    EXPECT_EQ(answers, (std::vector<bool>{true, false}));
    EXPECT_EQ(Stored(), "(absent)");
}

// DL-THUMB-11
TEST_F(Picture, ThatIsThereAlreadyIsWrittenOverAndNotCut) {
    NextTransfer({"a longer picture"}, 200);
    Fetch();
    Fetch();
    EXPECT_EQ(Stored(), "picturer picture");
}

// DL-THUMB-12
TEST_F(Picture, AnExceptionIsToldAndGivesTheSlotBack) {
    common.createLocalDirectory.NextThrows("broken");
    Fetch();
    const Texts lines = Lines();
    const Texts expected = {"common CreateLocalDirectory(SMALL\\a\\)",
                            "error DownloadTaskManager|DownloadThumbnailThreadFunc|broken", slotBack};
    EXPECT_EQ(Joined(Texts(lines.end() - 3, lines.end())), Joined(expected));
    common.createLocalDirectory.Next([](const std::wstring&) -> bool { throw 7; });
    Fetch();
    EXPECT_TRUE(Journal::Has(Kind::Error, "DownloadTaskManager|DownloadThumbnailThreadFunc|unknown!!!"));
    EXPECT_EQ(Journal::Count(Kind::Callback, "slot(3)"), 2);
}

// DL-THUMB-13
TEST_F(Picture, TouchesNeitherTheFilesStateNorTheHostNorTheCountOfDownloads) {
    for (const bool works : {true, false}) {
        world.Put(world.File(L"P", L"a\\P.png", 7, 21));
        cloud.downloadCloudFileRequest.Before(
            [&](const std::wstring&, WMap, const Receiver&) { EXPECT_EQ(Downloads().getDownloadingTaskCount(), 0); });
        if (!works) NextTransfer({}, 500);
        Fetch();
        EXPECT_EQ(world.Row(L"P").GetFileStatus(), 21);
    }
    EXPECT_EQ(cloud.downloadCloudFileRequest.Calls(), 2);
    EXPECT_EQ(host.Calls(), 0);
    EXPECT_EQ(database.updateDriveData.Calls() + database.updateTaskItem.Calls(), 0);
}

// DL-THUMB-15
TEST_F(Picture, WhoseFileCannotBeOpenedIsAskedForAndFailsOnTheFirstWrite) {
    files.createFileW.NextReturns(Platform::kInvalidHandle);
    Fetch();
    EXPECT_EQ(cloud.downloadCloudFileRequest.Calls(), 1);
    EXPECT_TRUE(InOrder(Lines(), {"common WriteLocalFileByHandleV(0, 7)", "file CloseHandle(invalid)",
                                  "error DownloadTaskManager|downLoadThumbnailTask|downLoadThumbnailTask fail "
                                  "statuscode=0",
                                  rowGoes, failedJob, slotBack}))
        << Joined(Lines());
}

// DL-THUMB-16
TEST_F(Picture, PutsItsPathTogetherWithNothingBetweenAndMakesTheFolderUpToTheLastBackslash) {
    WMap row = Row();
    row[L"localParentFolder"] = L"a\\b";  // no separator at its end
    Fetch(row);
    EXPECT_TRUE(InOrder(Lines(), {"common CreateLocalDirectory(SMALL\\a\\)",
                                  "file CreateFileW(SMALL\\a\\bP.png.jpg, 0xc0000000, 6, none, 4, 0x40000000, none)"}));
    g_thumbnailFolder.clear();
    row[L"localParentFolder"] = L"";
    DiskHas(Platform::DiskBytes{1} << 40);
    files.createFileW.AlwaysReturns(Platform::kInvalidHandle);
    const std::size_t mark = Journal::Mark();
    Fetch(row);
    EXPECT_TRUE(InOrder(Journal::LinesSince(mark), {"common CreateLocalDirectory()",
                                                    "file CreateFileW(P.png.jpg, 0xc0000000, 6, none, 4, 0x40000000, "
                                                    "none)"}));
}

// DL-THUMB-17
TEST_F(Picture, OfARowWithoutItsColumnsIsOneWithoutALink) {
    Fetch(WMap());
    EXPECT_TRUE(InOrder(Lines(), {"error DownLoadTaskManger|marlowBendDownloadThumbnailFile|Terminate download "
                                  "thumbnail task:ThumbnailDownloadLink is null.fileid=",
                                  "db DeleteTaskItem(3)",
                                  "error DownloadTaskManager|DownloadThumbnailThreadFunc|DownLoadThumbnail Fail. "
                                  "fileid =",
                                  slotBack}));
}

// DL-THUMB-18
TEST_F(Picture, ATaskThatCannotBeDeletedIsToldAndGivesTheSlotBack) {
    database.deleteTaskItem.NextThrows("locked");
    Fetch();
    EXPECT_TRUE(InOrder(Lines(), {"error DownloadTaskManager|DownloadThumbnailThreadFunc|locked", slotBack}));
    EXPECT_EQ(Stored(), "picture");
}

// DL-THUMB-19
TEST_F(Picture, AnExceptionBesideTheRequestClosesTheFileToo) {
    const std::size_t before = Platform::OpenHandleCount();
    common.eraseOpetatingFile.NextThrows("broken");
    Fetch();
    EXPECT_EQ(Platform::OpenHandleCount(), before);
    cloud.downloadCloudFileRequest.Next([](const std::wstring&, WMap, const Receiver&) -> int { throw 7; });
    Fetch();
    EXPECT_EQ(Platform::OpenHandleCount(), before);
    EXPECT_TRUE(Journal::Has(Kind::Error, "DownloadTaskManager|DownloadThumbnailThreadFunc|unknown!!!"));
}

// DL-THUMB-20
TEST_F(Picture, ASlotThatCannotBeGivenBackIsToldAndNothingLeavesTheWorker) {
    Downloads().SetTaskSemaphoreCallbackFun([](int) { throw std::runtime_error("no slots"); });
    Fetch();
    EXPECT_EQ(Lines().back(), "error DownloadTaskManager|DownloadThumbnailThreadFunc|no slots");
    EXPECT_EQ(Journal::CountBeginning(Kind::Pool, "work item threw"), 0);
}

// DL-THUMB-21
TEST_F(Picture, SeveralAtOnceKeepTheirOwnFilesAndPositions) {
    const std::string one = Content(300 << 10, 1);
    const std::string two = Content(200 << 10, 2);
    cloud.PutPlain(L"one", one);
    cloud.PutPlain(L"two", two);
    cloud.pieceSize = 4096;
    common.writeLocalFileByHandleV.Takes(1);
    VirtualTime::Run(0, [&] {
        StartOn(Row(L"one"));
        StartOn(Row(L"two"));
        EXPECT_TRUE(VirtualTime::Drain(60000));
        EXPECT_LT(VirtualTime::Now(), 100);  // beside each other
    });
    EXPECT_TRUE(Stored(L"one") == one);
    EXPECT_TRUE(Stored(L"two") == two);
}

}  // namespace
}  // namespace Drive::Testing
