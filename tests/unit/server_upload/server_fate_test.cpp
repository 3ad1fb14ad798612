#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <functional>

#include "tests/unit/server_upload/server_bench.h"

namespace Drive::Testing {
namespace {

enum Fate { Changes, Grows, Shrinks, Vanishes, BecomesAFolder };

/// How an attempt ends. Refused: the proxy found other content than the start had said.
enum Ending { Done, NoSize, Unread, Refused, EmptySlice };

class ServerFate : public ProxyBench {
protected:
    /// One cell of the table: the file meets its fate at the call with this number of the given operation, and the
    /// attempt ends as told. Then the cause is gone, and the file goes up.
    template <class Watched>
    void Expect(std::size_t size, Fate fate, Watched& operation, int call, Ending ending) {
        SCOPED_TRACE("call " + std::to_string(call));
        world.Sql({"DELETE FROM T_task", "DELETE FROM T_cloudDriveData"});
        std::filesystem::remove_all(world.NativeFile(L"a.bin"));
        GiveFile(size);
        const int awaited = operation.Calls() + call;
        bool met = false;
        operation.Before([&, awaited](auto&&...) {
            if (operation.Calls() != awaited) return;
            met = true;
            Meet(fate);
        });
        Journal::Clear();
        Run(L"Local-1");
        operation.Before(nullptr);
        EXPECT_TRUE(met) << "the moment was not reached";
        ExpectEnding(ending, size);
        EXPECT_EQ(Journal::Count(Kind::Callback, "task(2, 0)"), 1);
        EXPECT_EQ(Journal::Count(Kind::Callback, "task(2, 1)"), 1);
        EXPECT_TRUE(Journal::Has(Kind::Trace, "UpLoadTaskManger.UploadThreadFunc: End uploadTaskCount=:0"));
        ExpectSuccessOnceTheCauseIsGone();
    }

    void Meet(Fate fate) {
        switch (fate) {
            case Changes:
                world.WriteFile(L"a.bin", Content(original.size(), 2));
                break;
            case Grows:
                world.WriteFile(L"a.bin", original + Content(100, 3));
                break;
            case Shrinks:
                world.WriteFile(L"a.bin", original.substr(0, original.size() / 2));
                break;
            case Vanishes:
                std::remove(world.NativeFile(L"a.bin").c_str());
                break;
            case BecomesAFolder:
                std::remove(world.NativeFile(L"a.bin").c_str());
                std::filesystem::create_directory(world.NativeFile(L"a.bin"));
                break;
        }
    }

    void ExpectEnding(Ending ending, std::size_t size) {
        const bool large = size >= kLarge;
        const std::string unit = large ? "resumeUpload" : "multipartUpload";
        const Texts reports = ProxyReports();
        EXPECT_EQ(Outcome(), ending == Done ? "Success" : "failure") << Journal::Dump();
        EXPECT_EQ(world.Row(ending == Done ? L"cloud-1" : L"Local-1").GetFileStatus(), ending == Done ? 1 : 13);
        EXPECT_EQ(world.Task(L"Local-1", 2).GetPriority(), ending == Done ? 0 : 4);
        EXPECT_EQ(world.Task(L"Local-1", 2).GetTaskstatus(), 0);
        switch (ending) {
            case Done:
                ASSERT_EQ(reports.size(), 1u) << Joined(reports);
                EXPECT_EQ(reports[0],
                          "stat 15002|UpLoadTaskManger::fileCreateUpdateComplete |fileCreateUpdateComplete success. "
                          "[LocalFileId:Local-1][CloudFileId:cloud-1][parentId:root-id]");
                EXPECT_EQ(Sha256(completed), Narrow(world.Row(L"cloud-1").GetHash()));
                return;
            case NoSize:
                EXPECT_EQ(reports, (Texts{"error UpLoadTaskManger|uploadTask|Terminate upload task:getuploadstartInfo "
                                          "failure. fileid=Local-1",
                                          "stat 15002|UpLoadTaskManger::uploadTask |Terminate upload "
                                          "task:getuploadstartInfo failure. fileid=Local-1"}));
                break;
            case Unread:
                ASSERT_EQ(reports.size(), 2u) << Joined(reports);
                EXPECT_EQ(reports[0].rfind("error ServerUpload|" + unit + "|" + unit + " err could not ", 0), 0u)
                    << reports[0];
                EXPECT_NE(reports[0].find(" ROOT\\a.bin"), std::string::npos) << reports[0];
                EXPECT_EQ(reports[1].rfind("stat 15002|ServerUpload::" + unit + " |" + unit + " error: ", 0), 0u);
                break;
            default:
                EXPECT_EQ(reports, Texts{});
        }
        EXPECT_EQ(completed, "");
        if (ending == NoSize) return;
        EXPECT_TRUE(Journal::Has(Kind::Trace, "file server upload end and fail"));
        if (!large) return;
        // An empty slice is answered as a URL that is gone; every other end keeps its position.
        EXPECT_EQ(Record(L"Local-1").empty(), ending == EmptySlice);
    }

    /// The host sees that the file is another and has its hash taken anew; a file that is not there comes back.
    void ExpectSuccessOnceTheCauseIsGone() {
        if (!std::filesystem::is_regular_file(world.NativeFile(L"a.bin"))) {
            std::filesystem::remove_all(world.NativeFile(L"a.bin"));
            world.WriteFile(L"a.bin", original);
        }
        if (world.HasTask(L"Local-1", 2)) {
            world.Sql({"UPDATE T_cloudDriveData SET localFileSha256 = ''"});
            Run(L"Local-1");
            EXPECT_EQ(completed == world.ReadFile(L"a.bin"), true);
            EXPECT_EQ(Narrow(world.Row(L"cloud-1").GetHash()), Sha256(completed));
        }
        EXPECT_EQ(world.Row(L"cloud-1").GetFileStatus(), 1);
        EXPECT_EQ(world.TaskCount(), 0);
    }

    /// A resumable upload: behind the gate, at the start, at the opening, and at each of three slices.
    void ExpectResumable(Fate fate, const Ending (&endings)[6]) {
        Expect(kLarge, fate, cloud.getUserSpace, 1, endings[0]);
        Expect(kLarge, fate, cloud.objectsUploadStart, 1, endings[1]);
        for (int call = 1; call <= 4; ++call) Expect(kLarge, fate, cloud.fileproxyUpload, call, endings[call + 1]);
    }

    /// A multipart upload: behind the gate, at the start and at its one request.
    void ExpectMultipart(Fate fate, const Ending (&endings)[3]) {
        Expect(1000, fate, cloud.getUserSpace, 1, endings[0]);
        Expect(1000, fate, cloud.objectsUploadStart, 1, endings[1]);
        Expect(1000, fate, cloud.fileproxyUpload, 1, endings[2]);
    }
};

// SUP-RES-35
TEST_F(ServerFate, OfALargeFileThatChanges) {
    ExpectResumable(Changes, {Done, Refused, Refused, Refused, Refused, Done});
}

// SUP-RES-35
TEST_F(ServerFate, OfALargeFileThatGrows) { ExpectResumable(Grows, {Done, Done, Done, Done, Done, Done}); }

// SUP-RES-35
TEST_F(ServerFate, OfALargeFileThatShrinks) {
    // Half of it is below the threshold, which is looked at behind the start.
    ExpectResumable(Shrinks, {Done, EmptySlice, EmptySlice, EmptySlice, EmptySlice, Done});
}

// SUP-RES-35
TEST_F(ServerFate, OfALargeFileThatVanishes) { ExpectResumable(Vanishes, {NoSize, Unread, Unread, Done, Done, Done}); }

// SUP-RES-35, SUP-RES-36
TEST_F(ServerFate, OfALargeFileThatCanNoLongerBeRead) {
    ExpectResumable(BecomesAFolder, {NoSize, Unread, Unread, Done, Done, Done});
}

// SUP-RES-35
TEST_F(ServerFate, OfASmallFileThatChanges) { ExpectMultipart(Changes, {Done, Refused, Done}); }

// SUP-RES-35
TEST_F(ServerFate, OfASmallFileThatGrows) { ExpectMultipart(Grows, {Done, Refused, Done}); }

// SUP-RES-35
TEST_F(ServerFate, OfASmallFileThatShrinks) { ExpectMultipart(Shrinks, {Done, Refused, Done}); }

// SUP-RES-35
TEST_F(ServerFate, OfASmallFileThatVanishes) { ExpectMultipart(Vanishes, {NoSize, Unread, Done}); }

// SUP-RES-35, SUP-MULTI-17
TEST_F(ServerFate, OfASmallFileThatCanNoLongerBeRead) { ExpectMultipart(BecomesAFolder, {NoSize, Unread, Done}); }

}  // namespace
}  // namespace Drive::Testing
