#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "interfaces/common/globals.h"
#include "tests/support/engine_bench.h"

namespace Drive::Testing {
namespace {

using TransferService::DOWNLOADCALLBACK_CONTEXT;
using Receiver = Cloud::FileTransRequest::Receiver;

constexpr std::size_t kBlock = 0x400000;

class PlainDownload : public EngineBench {
protected:
    Texts Writes() const {
        Texts writes;
        for (const std::string& line : Lines({Kind::Common})) {
            if (line.rfind("common WriteLocalFileV", 0) == 0) writes.push_back(line);
        }
        return writes;
    }
    Texts Positions() const {
        Texts positions;
        for (const std::string& line : Lines({Kind::Database})) {
            if (line.find("fragmentInfo") != std::string::npos) positions.push_back(line);
        }
        return positions;
    }
    static std::string Position(std::int64_t offset) {
        return "db UpdateTaskItem(F, {fragmentInfo: {\"writePosition\":" + std::to_string(offset) +
               ",\"writeSliceIndex\":0}}, 1)";
    }
    void SetRecord(const std::string& record) const {
        world.Sql({"UPDATE T_task SET fragmentInfo = '" + record + "' WHERE fileId = 'F'"});
    }
    /// The next transfer delivers these pieces and answers this status, whatever the receiver says.
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
};

// DL-PLAIN-01
TEST_F(PlainDownload, SendsRangeLoginAndVersion) {
    GivePlain(L"F", L"f.txt", "hello");
    RunOne(L"F");
    EXPECT_TRUE(Journal::Has(Kind::Cloud,
                             "DownloadCloudFileRequest(http://proxy/F, {Authorization: Bearer token, Range: bytes=0-, "
                             "version: 7})"));
}

// DL-PLAIN-02
TEST_F(PlainDownload, SendsNoVersionWhenNoneIsSet) {
    g_SyncServerVersion.clear();
    GivePlain(L"F", L"f.txt", "hello");
    RunOne(L"F");
    EXPECT_TRUE(Journal::Has(
        Kind::Cloud, "DownloadCloudFileRequest(http://proxy/F, {Authorization: Bearer token, Range: bytes=0-})"));
}

// DL-PLAIN-03
TEST_F(PlainDownload, ResumesAtTheSavedPosition) {
    const std::string content = Content(5000);
    GivePlain(L"F", L"f.bin", content);
    world.WriteFile(L"f.bin", content.substr(0, 1000));
    SetRecord("{\"writePosition\":1000,\"writeSliceIndex\":0}");
    RunOne(L"F");
    EXPECT_EQ(Journal::CountBeginning(Kind::Cloud,
                                      "DownloadCloudFileRequest(http://proxy/F, {Authorization: Bearer "
                                      "token, Range: bytes=1000-, version: 7})"),
              1);
    EXPECT_EQ(Joined(Writes()), "common WriteLocalFileV(1000, 4000, ROOT\\f.bin)\n");
    EXPECT_EQ(Joined(Positions()), Position(5000) + "\n");
    EXPECT_TRUE(world.ReadFile(L"f.bin") == content);
}

// DL-PLAIN-04
TEST_F(PlainDownload, PassesAFileOfOneBlockOnInOnePiece) {
    const std::string content = Content(kBlock);
    GivePlain(L"F", L"f.bin", content);
    RunOne(L"F");
    EXPECT_EQ(Joined(Writes()), "common WriteLocalFileV(0, 4194304, ROOT\\f.bin)\n");
    EXPECT_EQ(Joined(Positions()), Position(4194304) + "\n");
    EXPECT_TRUE(world.ReadFile(L"f.bin") == content);
}

// DL-PLAIN-05
TEST_F(PlainDownload, PassesTheByteBehindABlockOnByItself) {
    const std::string content = Content(kBlock + 1);
    GivePlain(L"F", L"f.bin", content);
    RunOne(L"F");
    EXPECT_EQ(Joined(Writes()),
              "common WriteLocalFileV(0, 4194304, ROOT\\f.bin)\n"
              "common WriteLocalFileV(4194304, 1, ROOT\\f.bin)\n");
    EXPECT_EQ(Joined(Positions()), Position(4194304) + "\n" + Position(4194305) + "\n");
    EXPECT_TRUE(world.ReadFile(L"f.bin") == content);
}

#ifdef ZELKOR_SANITIZED
// Copying millions of bytes is slow there.
const std::vector<std::size_t> sizes = {1000, kBlock + 1};
const std::vector<std::size_t> offsets = {0, 999, kBlock};
#else
const std::vector<std::size_t> sizes = {1, 1000, kBlock - 1, kBlock, kBlock + 1, 2 * kBlock + 1};
const std::vector<std::size_t> offsets = {0, 1, 999, kBlock - 1, kBlock, kBlock + 1};
#endif

// DL-PLAIN-06
TEST_F(PlainDownload, BringsFilesOfAllSizesWholeFromEveryPosition) {
    cloud.pieceSize = 1 << 20;
    for (const std::size_t size : sizes) {
        const std::string content = Content(size);
        for (const std::size_t offset : offsets) {
            if (offset >= size) continue;
            GivePlain(L"F", L"f.bin", content);
            world.WriteFile(L"f.bin", content.substr(0, offset));
            SetRecord("{\"writePosition\":" + std::to_string(offset) + ",\"writeSliceIndex\":0}");
            const std::size_t mark = Journal::Mark();
            RunOne(L"F");
            Texts blocks;
            for (std::size_t end = std::min(offset + kBlock, size);; end = std::min(end + kBlock, size)) {
                blocks.push_back(Position(static_cast<std::int64_t>(end)));
                if (end == size) break;
            }
            Texts positions;
            for (const std::string& line : LinesSince(mark, {Kind::Database})) {
                if (line.find("fragmentInfo") != std::string::npos) positions.push_back(line);
            }
            EXPECT_EQ(Joined(positions), Joined(blocks)) << size << " from " << offset;
            EXPECT_TRUE(world.ReadFile(L"f.bin") == content) << size << " from " << offset;
            EXPECT_EQ(world.Row(L"F").GetFileStatus(), 1) << size << " from " << offset;
        }
    }
}

// DL-PLAIN-19
TEST_F(PlainDownload, ARecordAtTheEndOfTheFileAsksForNothingAndFollowsTheStatus) {
    const std::string range = "DownloadCloudFileRequest(http://proxy/F, {Authorization: Bearer token, Range: bytes=6-";
    for (const bool emptyPiece : {false, true}) {
        GivePlain(L"F", L"f.bin", "abcdef");
        world.WriteFile(L"f.bin", "abcdef");
        SetRecord("{\"writePosition\":6,\"writeSliceIndex\":0}");
        if (emptyPiece) NextTransfer({""}, 206);
        const std::size_t mark = Journal::Mark();
        RunOne(L"F");
        EXPECT_EQ(world.ReadFile(L"f.bin"), "abcdef");
        EXPECT_EQ(world.Row(L"F").GetFileStatus(), emptyPiece ? 1 : 23);
        EXPECT_EQ(InOrder(LinesSince(mark), {"common WriteLocalFileV(6, 0, ROOT\\f.bin)", Position(6)}), emptyPiece);
    }
    EXPECT_EQ(Journal::CountBeginning(Kind::Cloud, range), 2);
    EXPECT_TRUE(Journal::Has(Kind::Error,
                             "DownloadTaskManager|cloudDownloadFile|Terminate download file task:Filetask is failer. "
                             "DownloadCloudFileRequest faile statuscode=416"));
}

// DL-PLAIN-20
TEST_F(PlainDownload, ARecordBeyondTheEndOfTheFilePassesNothingOn) {
    GivePlain(L"F", L"f.bin", "abcdefgh");
    SetRecord("{\"writePosition\":100,\"writeSliceIndex\":0}");
    std::vector<bool> answers;
    NextTransfer({"abc", "defgh", "more"}, 206, &answers);
    RunOne(L"F");
    EXPECT_EQ(answers, (std::vector<bool>{true, true, true}));
    EXPECT_EQ(Joined(Writes()), "");
    EXPECT_EQ(Joined(Positions()), "");
    EXPECT_EQ(world.Row(L"F").GetFileStatus(), 1);
}

// DL-PLAIN-21
TEST_F(PlainDownload, PiecesBehindTheEndOfTheFilePassEmptyBlocksOn) {
    GivePlain(L"F", L"f.bin", "abcdefgh");
    NextTransfer({"abcdefgh", "XY", "Z"}, 200);
    RunOne(L"F");
    EXPECT_EQ(Joined(Writes()),
              "common WriteLocalFileV(0, 8, ROOT\\f.bin)\n"
              "common WriteLocalFileV(8, 0, ROOT\\f.bin)\n"
              "common WriteLocalFileV(8, 0, ROOT\\f.bin)\n");
    EXPECT_EQ(world.ReadFile(L"f.bin"), "abcdefgh");
}

// DL-PLAIN-22
TEST_F(PlainDownload, APositionThatCannotBeWrittenIsNotLookedAt) {
    GivePlain(L"F", L"f.bin", "abcdef");
    database.updateTaskItem.AlwaysReturns(false);
    RunOne(L"F");
    EXPECT_EQ(world.ReadFile(L"f.bin"), "abcdef");
    EXPECT_EQ(world.Row(L"F").GetFileStatus(), 1);
}

// DL-PLAIN-23
TEST_F(PlainDownload, OnePieceOfTwoBlocksPassesTheFirstOnAndLeavesTheOther) {
    const std::string content = Content(2 * kBlock);
    GivePlain(L"F", L"f.bin", content);
    NextTransfer({content}, 200);
    RunOne(L"F");
    EXPECT_EQ(Joined(Writes()), "common WriteLocalFileV(0, 4194304, ROOT\\f.bin)\n");
    EXPECT_EQ(Joined(Positions()), Position(4194304) + "\n");
}

// DL-PLAIN-26
TEST_F(PlainDownload, WhatAPieceBringsBeyondItsBlockIsKeptForTheNext) {
    const std::string content = Content(kBlock + 10);
    GivePlain(L"F", L"f.bin", content);
    NextTransfer({content.substr(0, kBlock - 5), content.substr(kBlock - 5, 10), content.substr(kBlock + 5)}, 200);
    RunOne(L"F");
    EXPECT_EQ(Joined(Writes()),
              "common WriteLocalFileV(0, 4194304, ROOT\\f.bin)\n"
              "common WriteLocalFileV(4194304, 10, ROOT\\f.bin)\n");
    EXPECT_TRUE(world.ReadFile(L"f.bin") == content);
}

// DL-PLAIN-24
TEST_F(PlainDownload, ADamagedRecordBeginsAtZero) {
    GivePlain(L"F", L"f.bin", "abcdef");
    SetRecord("{\"writePosition\":3,\"wri");
    RunOne(L"F");
    EXPECT_EQ(Joined(Writes()), "common WriteLocalFileV(0, 6, ROOT\\f.bin)\n");
}

// DL-PLAIN-25
TEST_F(PlainDownload, IgnoresTheSliceIndexOfTheRecordAndWritesZero) {
    GivePlain(L"F", L"f.bin", "abcdef");
    world.WriteFile(L"f.bin", "abc");
    SetRecord("{\"writePosition\":3,\"writeSliceIndex\":5}");
    RunOne(L"F");
    EXPECT_EQ(Joined(Positions()), Position(6) + "\n");
    EXPECT_EQ(world.ReadFile(L"f.bin"), "abcdef");
}

// DL-PLAIN-07
TEST_F(PlainDownload, AnEmptyFilePassesAnEmptyBlockWithEachPiece) {
    GivePlain(L"F", L"f.bin", "");
    NextTransfer({"", ""}, 200);
    RunOne(L"F");
    EXPECT_EQ(Joined(Writes()),
              "common WriteLocalFileV(0, 0, ROOT\\f.bin)\n"
              "common WriteLocalFileV(0, 0, ROOT\\f.bin)\n");
    EXPECT_EQ(world.ReadFile(L"f.bin"), "");
    EXPECT_EQ(world.Row(L"F").GetFileStatus(), 1);
}

// DL-PLAIN-08
TEST_F(PlainDownload, KeepsPiecesUntilABlockIsThereAndPassesOnOneBlockAPiece) {
    GivePlain(L"F", L"f.bin", "abcdefgh");
    std::vector<bool> answers;
    NextTransfer({"abc", "de", "fghXY"}, 200, &answers);
    RunOne(L"F");
    EXPECT_EQ(Joined(Writes()), "common WriteLocalFileV(0, 8, ROOT\\f.bin)\n");
    EXPECT_EQ(answers, (std::vector<bool>{true, true, true}));
    EXPECT_EQ(world.ReadFile(L"f.bin"), "abcdefgh");
}

// DL-PLAIN-09
TEST_F(PlainDownload, NothingIsFlushedAtTheEndOfAShortBody) {
    GivePlain(L"F", L"f.bin", "abcdefgh");
    NextTransfer({"abc"}, 200);
    RunOne(L"F");
    EXPECT_EQ(Joined(Writes()), "");
    EXPECT_TRUE(Journal::Has(Kind::Trace, "DownLoadTaskManger.downLoadTask.DownloadFile End Success fileId = F"));
}

// DL-PLAIN-10
TEST_F(PlainDownload, TheStatusAloneDecides) {
    for (const int status : {200, 206}) {
        GivePlain(L"F", L"f.bin", "abc");
        NextTransfer({"abc"}, status);
        const std::size_t mark = Journal::Mark();
        RunOne(L"F");
        EXPECT_TRUE(InOrder(LinesSince(mark, {Kind::Trace}),
                            {"trace DownLoadTaskManger.cloudDownloadFile.Download Success End. fileId = F"}));
    }
    for (const int status : {0, -1, 201, 404, 416, 500}) {
        GivePlain(L"F", L"f.bin", "abc");
        NextTransfer({"abc"}, status);
        RunOne(L"F");
        EXPECT_TRUE(Journal::Has(Kind::Error,
                                 "DownloadTaskManager|cloudDownloadFile|Terminate download file task:Filetask is "
                                 "failer. DownloadCloudFileRequest faile statuscode=" +
                                     std::to_string(status)));
        EXPECT_EQ(world.Row(L"F").GetFileStatus(), 23);
    }
}

// DL-PLAIN-11
TEST_F(PlainDownload, ACancelSavesThePositionAndEndsTheTransferWhateverComesOutOfIt) {
    for (const int status : {200, 0}) {
        const std::string content = Content(kBlock + 5);
        GivePlain(L"F", L"f.bin", content);
        std::vector<bool> answers;
        common.writeLocalFileV.Next([&](std::int64_t, const char*, std::size_t, const std::wstring&) {
            Downloads().CancleDownload(world.Path(L"f.bin"));
            return true;
        });
        NextTransfer({content.substr(0, kBlock), content.substr(kBlock)}, status, &answers);
        const std::size_t mark = Journal::Mark();
        RunOne(L"F");
        EXPECT_EQ(answers, (std::vector<bool>{true, false}));
        EXPECT_TRUE(InOrder(LinesSince(mark), {Position(4194304),
                                               "trace DownLoadTaskManger.downLoadTask DownloadTask Cancellation; "
                                               "fileId = F",
                                               Position(4194304), "common EraseOpetatingFile(f.bin)"}));
        EXPECT_EQ(world.Row(L"F").GetFileStatus(), status == 200 ? 1 : 23);
    }
}

// DL-PLAIN-12
TEST_F(PlainDownload, AStopInTheRowEndsTheTransferTheSameWay) {
    GivePlain(L"F", L"f.bin", "abcdef");
    std::vector<bool> answers;
    cloud.downloadCloudFileRequest.Before(
        [&](const std::wstring&, WMap, const Receiver&) { world.Sql({"UPDATE T_task SET TaskStatus = 4"}); });
    NextTransfer({"abc", "def"}, 0, &answers);
    RunOne(L"F");
    EXPECT_EQ(answers, std::vector<bool>{false});
    EXPECT_EQ(Joined(Positions()), Position(0) + "\n");
    EXPECT_TRUE(Journal::Has(Kind::Trace, "DownLoadTaskManger.downLoadTask DownloadTask Stop; fileId = F"));
    EXPECT_TRUE(Journal::Has(Kind::Trace, "DownLoadTaskManger.downLoadTask.DownloadFile End Fail fileId = F"));
}

// DL-PLAIN-13
TEST_F(PlainDownload, TheGlobalStopSavesThePositionAndIsToldByItsTrace) {
    GivePlain(L"F", L"f.bin", "abcdef");
    std::vector<bool> answers;
    cloud.downloadCloudFileRequest.Before(
        [&](const std::wstring&, WMap, const Receiver&) { g_StopDownLoadTask = true; });
    NextTransfer({"abc", "def"}, 0, &answers);
    RunOne(L"F");
    EXPECT_EQ(answers, std::vector<bool>{false});
    EXPECT_TRUE(InOrder(Lines(), {"db GetTaskItem(F, 1)", Position(0),
                                  "trace DownLoadTaskManger.cloudDownloadFile.Stop GloblStop fileId = F"}));
}

// DL-PLAIN-14
TEST_F(PlainDownload, AFailedWriteEndsTheTransferAtThePositionOfTheLastBlock) {
    const std::string content = Content(2 * kBlock);
    GivePlain(L"F", L"f.bin", content);
    common.writeLocalFileV.NextDefault();
    common.writeLocalFileV.NextReturns(false);
    RunOne(L"F");
    EXPECT_EQ(Joined(Positions()), Position(4194304) + "\n");
    EXPECT_TRUE(Journal::Has(Kind::Error,
                             "DownloadTaskManager|cloudDownloadFile|Terminate download file task:Filetask is failer. "
                             "DownloadCloudFileRequest faile statuscode=0"));
    EXPECT_EQ(world.Row(L"F").GetFileStatus(), 23);
}

// DL-PLAIN-15
TEST_F(PlainDownload, AFetchHandsEachBlockToTheHostAndWritesNothing) {
    const std::string content = Content(kBlock + 7);
    GivePlain(L"F", L"f.bin", content);
    world.WriteFile(L"f.bin", "");
    std::string received;
    host.Always([&](DOWNLOADCALLBACK_CONTEXT& record) {
        if (record.event == 2 && record.ok) {
            EXPECT_EQ(record.offset, static_cast<std::int64_t>(received.size()));
            received.append(reinterpret_cast<const char*>(record.data), record.length);
        }
        return true;
    });
    RunOne(L"F", 2);
    EXPECT_TRUE(received == content);
    EXPECT_TRUE(
        InOrder(Lines({Kind::Callback}), {"callback download(event 2, ok, offset 0, length 4194304, end 4194304)",
                                          "callback download(event 2, ok, offset 4194304, length 7, end 4194311)"}));
    EXPECT_EQ(Joined(Writes()), "");
    EXPECT_EQ(Joined(Positions()), Position(4194304) + "\n" + Position(4194311) + "\n");
}

// DL-PLAIN-16
TEST_F(PlainDownload, AHostThatRefusesABlockEndsTheTransfer) {
    GivePlain(L"F", L"f.bin", "abcdef");
    world.WriteFile(L"f.bin", "");
    host.NextReturns(true);   // the fetch begins
    host.NextReturns(false);  // the block
    RunOne(L"F", 2);
    EXPECT_EQ(Joined(Positions()), "");
    EXPECT_EQ(world.Row(L"F").GetFileStatus(), 23);
}

// DL-PLAIN-17
TEST_F(PlainDownload, APieceOfTheWholeIsTakenAsItComesWhenTheCloudIgnoresTheRange) {
    GivePlain(L"F", L"f.bin", "abcdef");
    world.WriteFile(L"f.bin", "abc");
    SetRecord("{\"writePosition\":3,\"writeSliceIndex\":0}");
    NextTransfer({"abcdef"}, 200);
    RunOne(L"F");
    EXPECT_EQ(world.ReadFile(L"f.bin"), "abcabc");  // written where the record says
}

}  // namespace
}  // namespace Drive::Testing
