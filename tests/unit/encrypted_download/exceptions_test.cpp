#include <gtest/gtest.h>

#include <functional>

#include "tests/unit/encrypted_download/encrypted_bench.h"

namespace Drive::Testing {
namespace {

class EncryptedException : public EncryptedBench {};

// ENC-DL-33, ENC-DL-42
TEST_F(EncryptedException, OfEachCollaboratorFailsTheJobAndTakesTheMarkAway) {
    struct Case {
        const char* where;
        std::function<void()> arrange;
        std::size_t records;
    };
    // The second call of each, where it is made for every object: what the first object reached stays.
    const std::vector<Case> cases = {
        {"the mark",
         [&] { common.insertOperatingFiles.NextDefault(), common.insertOperatingFiles.NextThrows("broken"); }, 0},
        {"the key", [&] { common.getFek.NextThrows("broken"); }, 0},
        {"the task's row",
         [&] {
             for (int i = 0; i < 3; ++i) database.getTaskItem.NextDefault();
             database.getTaskItem.NextThrows("broken");
         },
         1},
        {"the address",
         [&] { cloud.getDownloadKelpAddress.NextDefault(), cloud.getDownloadKelpAddress.NextThrows("broken"); }, 1},
        {"the object",
         [&] { cloud.downloadDriveFileRequest.NextDefault(), cloud.downloadDriveFileRequest.NextThrows("broken"); }, 1},
        {"the write", [&] { common.writeLocalFileV.NextDefault(), common.writeLocalFileV.NextThrows("broken"); }, 1},
        {"the record", [&] { database.updateTaskItem.NextDefault(), database.updateTaskItem.NextThrows("broken"); }, 2},
    };
    for (const Case& one : cases) {
        SCOPED_TRACE(one.where);
        Give(3);
        one.arrange();
        Run();
        EXPECT_EQ(Errors(), Texts{Error("broken")}) << Journal::Dump();
        EXPECT_EQ(MarksTakenByTheTransfer(), 1);
        EXPECT_EQ(RecordsWritten().size(), one.records);
        EXPECT_EQ(Outcome(), "Fail");
        ExpectEndedWithoutFile();
        // Once the cause is gone.
        Give(3);
        Run();
        EXPECT_EQ(Outcome(), "Success");
        EXPECT_EQ(world.ReadFile(L"f.txt"), Whole());
    }
}

// ENC-DL-33
TEST_F(EncryptedException, ThatIsNoStandardOneReachesTheWorkerAndGivesTheSlotBack) {
    Give(2);
    cloud.downloadDriveFileRequest.Next([](auto&&...) -> bool { throw 7; });
    Run();
    EXPECT_EQ(Errors(), Texts{"error DownloadTaskManager|PoolDownloadThreadFunc|unknown!!!"});
    EXPECT_EQ(Journal::Count(Kind::Callback, "slot(11)"), 1);
    EXPECT_EQ(Downloads().getDownloadingTaskCount(), 0);
}

// ENC-DL-33
TEST_F(EncryptedException, OfTheMarksRemovalReachesTheFlowUnderTheOtherModuleName) {
    Give(1);
    cloud.getDownloadKelpAddress.AlwaysReturns(false);
    common.eraseOpetatingFile.NextThrows("first");
    common.eraseOpetatingFile.NextThrows("second");
    Run();
    EXPECT_EQ(Errors(),
              (Texts{Error("Terminate download file task:Filetask is failer. getdownloadkelpaddressrequest fail! "
                           "fileid = F"),
                     Error("first"),
                     "error DownloadTaskManager|downLoadTask|Terminate download file task:Filetask is failer. catch "
                     "error"}));
    EXPECT_EQ(Outcome(), "Fail");
}

}  // namespace
}  // namespace Drive::Testing
