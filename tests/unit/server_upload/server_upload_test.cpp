#include "server_upload/server_upload.h"

#include <gtest/gtest.h>
#include <pplx/pplxtasks.h>
#include <unistd.h>

#include <cstdio>

#include "interfaces/cloud/cloud_drive_interface.h"
#include "tests/support/virtual_time.h"
#include "tests/unit/upload/upload_bench.h"
#include "upload/plan_parser.h"

namespace Drive::Testing {
namespace {

constexpr std::size_t kTenMebibytes = 10485760;

/// One request to the proxy as it went out.
struct Request {
    std::wstring url;
    std::wstring fileId;
    int operation;
    std::string raw;
    std::string text;
    WMap headers;
};

class ServerMode : public UploadBench {
protected:
    ServerMode() {
        Plan(R"({"uploadType":"server","version":0,"uploadUrl":"http://proxy/up"})");
        cloud.fileproxyUpload.Before([this](const std::wstring& url, const std::wstring& fileId,
                                            HttpInterface::InterfaceName operation, const std::string& raw,
                                            const std::string& text, WMap headers, WMap& result) {
            EXPECT_TRUE(result.empty()) << "the map of an earlier answer";
            requests.push_back({url, fileId, static_cast<int>(operation), raw, text, std::move(headers)});
        });
    }

    void Plan(const std::string& text) {
        cloud.objectsUploadStart.Always(
            [text](Common::FileItem&, const std::wstring&, const std::wstring&, std::wstring&) { return text; });
    }

    /// The answer to the next request.
    void Answer(bool ok, WMap answer) {
        cloud.fileproxyUpload.Next([ok, answer](const std::wstring&, const std::wstring&, HttpInterface::InterfaceName,
                                                const std::string&, const std::string&, WMap, WMap& result) {
            result = answer;
            return ok;
        });
    }

    void AnswerOpening(const std::wstring& sliceSize) {
        Answer(true, {{L"statuscode", L"200"}, {L"resumeUrl", L"http://proxy/r"}, {L"sliceSize", sliceSize}});
    }

    /// Trace lines of the proxy's own, in order.
    Texts ProxyTraces() const {
        Texts found;
        for (const std::string& text : Journal::Texts(Kind::Trace)) {
            if (text.rfind("Fileproxy", 0) == 0 || text.rfind("file server", 0) == 0) found.push_back(text);
        }
        return found;
    }

    std::string Outcome() const {
        return Journal::Has(Kind::Trace, "file server upload end and success") ? "success"
               : Journal::Has(Kind::Trace, "file server upload end and fail")  ? "fail"
                                                                               : "none";
    }

    Common::UploadStartInfo RecordOf(const std::wstring& fileId) const {
        Common::UploadStartInfo info;
        EXPECT_TRUE(TransferService::ReadStartRecord(Record(fileId), info)) << Record(fileId);
        return info;
    }

    std::vector<Request> requests;
};

// SUP-MULTI-04, SUP-MULTI-05, SUP-MULTI-06
TEST_F(ServerMode, ASmallFileGoesInOneMultipartRequest) {
    Give(L"Local-1", L"a.txt", std::string("con\0tent\r\n", 10));
    Run(L"Local-1");
    ASSERT_EQ(requests.size(), 1u);
    EXPECT_EQ(requests[0].url, L"http://proxy/up");
    EXPECT_EQ(requests[0].fileId, L"Local-1");
    EXPECT_EQ(requests[0].operation, 50003);
    EXPECT_EQ(requests[0].raw, "");
    EXPECT_EQ(requests[0].headers, (WMap{{L"Content-Type", L"multipart/related;boundary=boundary-of-the-test"},
                                         {L"Cache-Control", L"no-cache"}}));
    EXPECT_EQ(requests[0].text,
              std::string("--boundary-of-the-test\r\n Content-Type: application/json; charset=UTF-8\r\n "
                          "{\"fileName\":\"a.txt\",\"mimeType\":\"text/plain\",\"parentFolder\":[\"root-id\"],"
                          "\"sha256\":\"\"}\n\r\n --boundary-of-the-test\r\n Content-Type: application/octet-stream; "
                          "charset=UTF-8\r\n ") +
                  std::string("con\0tent\r\n", 10) + "\r\n --boundary-of-the-test--");
    EXPECT_EQ(Outcome(), "success");
}

// SUP-DISP-03, SUP-MULTI-06, SUP-MULTI-08
TEST_F(ServerMode, AMultipartUploadWritesItsLinesInOrder) {
    Give(L"Local-1", L"a.txt", "content");
    Run(L"Local-1");
    EXPECT_EQ(Joined(ProxyTraces()),
              Joined({"file server upload begin. fileid=Local-1", "FileproxyMultipartUpload Begin. fileid=Local-1",
                      "FileproxyMultipartUpload Read file end. fileid=Local-1",
                      "FileproxyMultipartUpload GetMetadata end. fileid=Local-1",
                      "FileproxyMultipartUpload Create begin. fileid=Local-1",
                      "FileproxyMultipartUpload Begin. fileid=Local-1", "file server upload end and success"}));
    EXPECT_EQ(Reports()[0], "stat 15002|UpLoadTaskManger::uploadTask |file server upload. fileid=Local-1");
    EXPECT_EQ(Reports()[1],
              "stat 15002|ServerUpload::uploadFileWithServerType |FileproxyMultipartUpload Begin. fileid=Local-1");
}

// SUP-MULTI-07
TEST_F(ServerMode, AKnownFileIsUpdated) {
    Give(L"file-1", L"a.txt", "content");
    Run(L"file-1");
    EXPECT_EQ(requests.at(0).operation, 50024);
    EXPECT_TRUE(Journal::Has(Kind::Trace, "FileproxyMultipartUpload Update begin. fileid=file-1"));
}

// SUP-DISP-04, SUP-MULTI-10
TEST_F(ServerMode, TheAnswerGoesIntoTheRowWithoutAHashCheckOrARefresh) {
    Give(L"Local-1", L"a.txt", "content");
    Answer(false, {{L"statuscode", L"200"}, {L"id", L"cloud-9"}, {L"category", L"doc"}});
    Run(L"Local-1");
    EXPECT_EQ(world.Row(L"cloud-9").GetFileStatus(), 1);
    EXPECT_EQ(world.Row(L"cloud-9").GetKind(), L"doc");
    EXPECT_EQ(common.getFileHash.Calls(), 0);
    EXPECT_EQ(cloud.getUserSpace.Calls(), 1);
    EXPECT_EQ(cloud.filesCreateComplete.Calls(), 0);
}

// SUP-DISP-05, SUP-MULTI-09, SUP-MULTI-10
TEST_F(ServerMode, OnlyAnAnswerOfExactly200IsASuccess) {
    for (const wchar_t* status : {L"201", L"2000", L"", L"500"}) {
        Give(L"Local-1", L"a.txt", "content");
        Answer(true, {{L"statuscode", status}, {L"id", L"cloud-9"}});
        Run(L"Local-1");
        EXPECT_EQ(Outcome(), "fail") << Narrow(status);
        EXPECT_EQ(world.Row(L"Local-1").GetFileStatus(), 13);
        EXPECT_TRUE(world.HasTask(L"Local-1", 2));
    }
}

// SUP-MULTI-11
TEST_F(ServerMode, AnAnswerWithoutAStatusIsAFailure) {
    Give(L"Local-1", L"a.txt", "content");
    Answer(true, {});
    Run(L"Local-1");
    EXPECT_EQ(Outcome(), "fail");
}

// SUP-MULTI-12
TEST_F(ServerMode, AFileThatCannotBeOpenedIsReportedByTheMultipartUpload) {
    Give(L"Local-1", L"a.txt", "content");
    cloud.objectsUploadStart.Before([&](Common::FileItem&, const std::wstring&, const std::wstring&, std::wstring&) {
        std::remove(world.NativeFile(L"a.txt").c_str());
    });
    Run(L"Local-1");
    EXPECT_EQ(Journal::CountBeginning(Kind::Error, "ServerUpload|multipartUpload|multipartUpload err "), 1);
    EXPECT_EQ(Journal::CountBeginning(Kind::Statistic, "15002|ServerUpload::multipartUpload |multipartUpload error: "),
              1);
    EXPECT_EQ(requests.size(), 0u);
    EXPECT_EQ(Journal::Count(Kind::Trace, "FileproxyMultipartUpload Begin. fileid=Local-1"), 2);
    EXPECT_EQ(Outcome(), "fail");
}

// SUP-MULTI-13
TEST_F(ServerMode, AnExceptionOfTheRequestIsReportedByTheMultipartUpload) {
    Give(L"Local-1", L"a.txt", "content");
    cloud.fileproxyUpload.NextThrows("cut off");
    Run(L"Local-1");
    EXPECT_TRUE(InOrder(
        Lines(), {"error ServerUpload|multipartUpload|multipartUpload err cut off",
                  "stat 15002|ServerUpload::multipartUpload |multipartUpload error: cut off",
                  "trace FileproxyMultipartUpload Begin. fileid=Local-1", "trace file server upload end and fail"}))
        << Journal::Dump();
}

// SUP-MULTI-14
TEST_F(ServerMode, ACancelledTaskIsThrownOnAndFailsTheAttempt) {
    Give(L"Local-1", L"a.txt", "content");
    cloud.fileproxyUpload.Next([](const std::wstring&, const std::wstring&, HttpInterface::InterfaceName,
                                  const std::string&, const std::string&, WMap,
                                  WMap&) -> bool { throw pplx::task_canceled("called off"); });
    Run(L"Local-1");
    EXPECT_EQ(Journal::CountBeginning(Kind::Error, "ServerUpload|"), 0);
    EXPECT_EQ(Journal::CountBeginning(Kind::Error, "UpLoadTaskManger|uploadTask|uploadTask Error:"), 1);
    EXPECT_EQ(world.Row(L"Local-1").GetFileStatus(), 13);
}

// SUP-DISP-01
TEST_F(ServerMode, OneByteBelowTenMebibytesStillGoesMultipart) {
    Give(L"Local-1", L"a.bin", Content(kTenMebibytes - 1));
    Run(L"Local-1");
    EXPECT_EQ(requests.at(0).operation, 50003);
    EXPECT_NE(requests[0].text.find(Content(kTenMebibytes - 1)), std::string::npos);
}

class ResumableUpload : public ServerMode {
protected:
    void GiveLarge(const std::wstring& fileId = L"Local-1", std::size_t bytes = kTenMebibytes) {
        content = Content(bytes);
        Give(fileId, L"a.bin", content);
    }

    void PlanWithUrl(const std::string& position) {
        Plan(R"({"uploadType":"server","version":0,"uploadUrl":"http://proxy/up","resumeUrl":"http://proxy/old",)"
             R"("position":)" +
             position + "}");
    }

    std::string content;
};

// SUP-DISP-02, SUP-RES-01, SUP-RES-02, SUP-RES-12, SUP-RES-13
TEST_F(ResumableUpload, TenMebibytesAskForAUrlAndGoSliceBySlice) {
    GiveLarge();
    AnswerOpening(L"4194304");
    Answer(true, {{L"statuscode", L"308"}});
    Answer(true, {{L"statuscode", L"308"}});
    Answer(true, {{L"statuscode", L"200"}, {L"id", L"cloud-9"}});
    Run(L"Local-1");
    ASSERT_EQ(requests.size(), 4u);
    EXPECT_EQ(requests[0].url, L"http://proxy/up");
    EXPECT_EQ(requests[0].operation, 50026);
    EXPECT_EQ(requests[0].raw, "");
    EXPECT_EQ(requests[0].text,
              "{\"fileName\":\"a.bin\",\"mimeType\":\"application/octet-stream\",\"parentFolder\":[\"root-id\"],"
              "\"sha256\":\"\"}\n");
    EXPECT_EQ(requests[0].headers, (WMap{{L"X-Upload-Content-Typ", L"application/octet-stream"},
                                         {L"X-Upload-Content-Length", L"10485760"},
                                         {L"Content-Type", L"application/json"},
                                         {L"Cache-Control", L"no-cache"}}));
    const wchar_t* ranges[] = {L"bytes 0-4194303/10485760", L"bytes 4194304-4194303/10485760",
                               L"bytes 8388608-2097151/10485760"};
    std::string sent;
    for (int i = 1; i < 4; ++i) {
        EXPECT_EQ(requests[i].url, L"http://proxy/r");
        EXPECT_EQ(requests[i].operation, 50028);
        EXPECT_EQ(requests[i].text, "");
        EXPECT_EQ(requests[i].headers[L"Content-Range"], ranges[i - 1]);
        EXPECT_EQ(requests[i].headers[L"Content-Length"], std::to_wstring(requests[i].raw.size()));
        EXPECT_EQ(requests[i].headers[L"Content-Type"], L"application/octet-stream");
        EXPECT_EQ(requests[i].headers.size(), 3u);
        sent += requests[i].raw;
    }
    EXPECT_EQ(sent == content, true);
    EXPECT_EQ(world.Row(L"cloud-9").GetFileStatus(), 1);
}

// SUP-DISP-03, SUP-RES-17, SUP-RES-18
TEST_F(ResumableUpload, WritesItsLinesInOrderAndPausesBetweenSlices) {
    GiveLarge();
    AnswerOpening(L"8388608");
    Answer(true, {{L"statuscode", L"308"}});
    Answer(true, {{L"statuscode", L"200"}});
    Run(L"Local-1");
    EXPECT_EQ(Joined(ProxyTraces()),
              Joined({"file server upload begin. fileid=Local-1", "FileproxyResumeUpload Begin. fileid=Local-1",
                      "FileproxyResumeUpload Create begin. fileid=Local-1",
                      "FileproxyResumeUpload GetResumeUploadUrl. fileid=Local-1",
                      "FileproxyResumeUpload ReadFileUpload Begian. fileid=Local-1; postion =0",
                      "FileproxyResumeUpload ReadFileUpload End. fileid=Local-1",
                      "FileproxyResumeUpload SaveResumUploadPostion Begin. fileid=Local-1",
                      "FileproxyResumeUpload SaveResumUploadPostion End. fileid=Local-1",
                      "FileproxyResumeUpload End. fileid=Local-1", "file server upload end and success"}));
    EXPECT_EQ(Journal::Count(Kind::Sleep, "10"), 2);
    EXPECT_EQ(Reports()[1],
              "stat 15002|ServerUpload::uploadFileWithServerType |FileproxyResumeUpload Begin. fileid=Local-1");
}

// SUP-RES-16
TEST_F(ResumableUpload, AFileOfExactlyOneSliceIsOneRequestOverTheWholeRange) {
    GiveLarge();
    AnswerOpening(L"10485760");
    Answer(true, {{L"statuscode", L"200"}});
    Run(L"Local-1");
    ASSERT_EQ(requests.size(), 2u);
    EXPECT_EQ(requests[1].headers[L"Content-Range"], L"bytes 0-10485759/10485760");
}

// SUP-RES-03
TEST_F(ResumableUpload, AKnownFileAsksForAnUpdate) {
    GiveLarge(L"file-1");
    AnswerOpening(L"10485760");
    Answer(true, {{L"statuscode", L"200"}, {L"id", L"file-1"}});
    Run(L"file-1");
    EXPECT_EQ(requests.at(0).operation, 50027);
    EXPECT_TRUE(Journal::Has(Kind::Trace, "FileproxyResumeUpload Update begin. fileid=file-1"));
}

// SUP-RES-22
TEST_F(ResumableUpload, ThePositionIsKeptAfterTheLastSliceToo) {
    GiveLarge();
    AnswerOpening(L"10485760");
    Answer(true, {{L"statuscode", L"200"}, {L"id", L"cloud-9"}});
    std::string record;
    database.updateTaskItem.Before([&](const SQLiteDB::UpdateDBInfo& info, int direction) {
        const auto found = info.columns.find(L"fragmentInfo");
        if (found == info.columns.end()) return;
        EXPECT_EQ(direction, 2);
        EXPECT_EQ(info.key, L"Local-1");
        record = Narrow(found->second);
    });
    Run(L"Local-1");
    EXPECT_NE(record.find("\"position\":10485760"), std::string::npos) << record;
    EXPECT_NE(record.find("\"uploadType\":\"server\""), std::string::npos) << record;
}

// SUP-RES-04
TEST_F(ResumableUpload, ARefusedOpeningWithoutAUrlFailsAtOnce) {
    GiveLarge();
    Answer(false, {{L"statuscode", L"403"}});
    Run(L"Local-1");
    EXPECT_EQ(requests.size(), 1u);
    EXPECT_EQ(Outcome(), "fail");
    EXPECT_EQ(Journal::CountBeginning(Kind::Trace, "FileproxyResumeUpload ReadFileUpload"), 0);
    EXPECT_EQ(Journal::CountBeginning(Kind::Trace, "FileproxyResumeUpload End"), 0);
}

// SUP-RES-05
TEST_F(ResumableUpload, ARefusedOpeningWithAUrlGoesOn) {
    GiveLarge();
    Answer(false, {{L"resumeUrl", L"http://proxy/r"}, {L"sliceSize", L"10485760"}});
    Answer(true, {{L"statuscode", L"200"}, {L"id", L"cloud-9"}});
    Run(L"Local-1");
    EXPECT_EQ(Outcome(), "success");
}

// SUP-RES-06
TEST_F(ResumableUpload, AnAcceptedOpeningWithoutAUrlGoesOnToTheEmptyOne) {
    GiveLarge();
    Answer(true, {{L"statuscode", L"200"}, {L"sliceSize", L"10485760"}});
    Answer(false, {{L"statuscode", L"0"}});
    Run(L"Local-1");
    ASSERT_EQ(requests.size(), 2u);
    EXPECT_EQ(requests[1].url, L"");
    EXPECT_EQ(Outcome(), "fail");
}

// SUP-RES-08
TEST_F(ResumableUpload, ASliceSizeThatIsNoNumberSendsEmptySlicesUntilOneFails) {
    GiveLarge();
    AnswerOpening(L"large");
    Answer(true, {{L"statuscode", L"200"}});
    Answer(false, {{L"statuscode", L"404"}});
    Run(L"Local-1");
    ASSERT_EQ(requests.size(), 3u);
    EXPECT_EQ(requests[1].raw, "");
    EXPECT_EQ(requests[1].headers[L"Content-Range"], L"bytes 0-18446744073709551615/10485760");
    EXPECT_EQ(requests[2].headers[L"Content-Range"], L"bytes 0-18446744073709551615/10485760");
}

// SUP-RES-09
TEST_F(ResumableUpload, AKnownUrlGoesOnWithSlicesAsLongAsThePosition) {
    GiveLarge();
    PlanWithUrl("3000000");
    for (int i = 0; i < 2; ++i) Answer(true, {{L"statuscode", L"308"}});
    Answer(true, {{L"statuscode", L"200"}, {L"id", L"cloud-9"}});
    Run(L"Local-1");
    ASSERT_EQ(requests.size(), 3u);
    EXPECT_EQ(requests[0].url, L"http://proxy/old");
    EXPECT_EQ(requests[0].headers[L"Content-Range"], L"bytes 3000000-2999999/10485760");
    EXPECT_EQ(requests[1].headers[L"Content-Range"], L"bytes 6000000-2999999/10485760");
    EXPECT_EQ(requests[2].headers[L"Content-Range"], L"bytes 9000000-1485759/10485760");
    EXPECT_EQ(requests[0].raw + requests[1].raw + requests[2].raw == content.substr(3000000), true);
    EXPECT_TRUE(
        Journal::Has(Kind::Trace, "FileproxyResumeUpload ReadFileUpload Begian. fileid=Local-1; postion =3000000"));
    EXPECT_EQ(Outcome(), "success");
}

// SUP-RES-10
TEST_F(ResumableUpload, AKnownUrlAtPositionZeroSendsEmptySlices) {
    GiveLarge();
    PlanWithUrl("0");
    Answer(true, {{L"statuscode", L"200"}});
    Answer(false, {{L"statuscode", L"500"}});
    Run(L"Local-1");
    ASSERT_EQ(requests.size(), 2u);
    EXPECT_EQ(requests[0].headers[L"Content-Length"], L"0");
    EXPECT_EQ(RecordOf(L"Local-1").GetPosition(), 0u);
}

// SUP-RES-19
TEST_F(ResumableUpload, APositionAtTheEndSendsNothingFailsAndKeepsTheRecord) {
    GiveLarge();
    PlanWithUrl("10485760");
    Run(L"Local-1");
    EXPECT_EQ(requests.size(), 0u);
    EXPECT_EQ(Outcome(), "fail");
    EXPECT_EQ(RecordOf(L"Local-1").GetPosition(), 10485760u);
    EXPECT_EQ(RecordOf(L"Local-1").GetResumeUrl(), L"http://proxy/old");
}

// SUP-RES-25
TEST_F(ResumableUpload, AUrlThatIsGoneEmptiesTheRecord) {
    GiveLarge();
    AnswerOpening(L"4194304");
    Answer(false, {{L"statuscode", L"404"}});
    Run(L"Local-1");
    EXPECT_TRUE(InOrder(Lines(), {"trace FileproxyResumeUpload Upload Fail. fileid=Local-1; postion =0",
                                  "trace FileproxyResumeUpload ReadFileUpload End. fileid=Local-1",
                                  "db UpdateTaskItem(Local-1, {fragmentInfo: }, 2)",
                                  "trace FileproxyResumeUpload End. fileid=Local-1"}))
        << Journal::Dump();
    EXPECT_EQ(Record(L"Local-1"), "");
    EXPECT_EQ(Journal::CountBeginning(Kind::Trace, "FileproxyResumeUpload SaveResumUploadPostion"), 0);
}

// SUP-DISP-05, SUP-RES-23
TEST_F(ResumableUpload, AFailedSliceIsNotRetriedAndItsPositionIsKept) {
    GiveLarge();
    AnswerOpening(L"4194304");
    Answer(true, {{L"statuscode", L"308"}});
    Answer(false, {{L"statuscode", L"500"}});
    Run(L"Local-1");
    EXPECT_EQ(requests.size(), 3u);
    EXPECT_TRUE(Journal::Has(Kind::Trace, "FileproxyResumeUpload Upload Fail. fileid=Local-1; postion =4194304"));
    EXPECT_EQ(RecordOf(L"Local-1").GetPosition(), 4194304u);
    EXPECT_EQ(RecordOf(L"Local-1").GetSliceSize(), 4194304);
    EXPECT_EQ(RecordOf(L"Local-1").GetVersion(), 0);
    EXPECT_EQ(Outcome(), "fail");
    EXPECT_EQ(world.Task(L"Local-1", 2).GetPriority(), 4);
}

// SUP-RES-24
TEST_F(ResumableUpload, AFailedSliceWhoseAnswerIs200CountsAsSent) {
    GiveLarge();
    AnswerOpening(L"10485760");
    Answer(false, {{L"statuscode", L"200"}, {L"id", L"cloud-9"}});
    Run(L"Local-1");
    EXPECT_EQ(Outcome(), "success");
}

// SUP-RES-30
TEST_F(ResumableUpload, AnExceptionOfASliceIsReportedAndThePositionKept) {
    GiveLarge();
    AnswerOpening(L"4194304");
    Answer(true, {{L"statuscode", L"308"}});
    cloud.fileproxyUpload.NextThrows("cut off");
    Run(L"Local-1");
    EXPECT_TRUE(
        InOrder(Lines(), {"error ServerUpload|resumeUpload|resumeUpload err cut off",
                          "stat 15002|ServerUpload::resumeUpload |resumeUpload error: cut off",
                          "trace FileproxyResumeUpload SaveResumUploadPostion Begin. fileid=Local-1",
                          "trace FileproxyResumeUpload End. fileid=Local-1", "trace file server upload end and fail"}))
        << Journal::Dump();
    EXPECT_EQ(Journal::CountBeginning(Kind::Trace, "FileproxyResumeUpload ReadFileUpload End"), 0);
    EXPECT_EQ(RecordOf(L"Local-1").GetPosition(), 4194304u);
}

// SUP-RES-31
TEST_F(ResumableUpload, AFileThatCannotBeOpenedIsReportedAndThePositionKept) {
    GiveLarge();
    PlanWithUrl("3000000");
    cloud.objectsUploadStart.Before([&](Common::FileItem&, const std::wstring&, const std::wstring&, std::wstring&) {
        std::remove(world.NativeFile(L"a.bin").c_str());
    });
    Run(L"Local-1");
    EXPECT_EQ(requests.size(), 0u);
    EXPECT_EQ(Journal::CountBeginning(Kind::Error, "ServerUpload|resumeUpload|resumeUpload err "), 1);
    EXPECT_EQ(RecordOf(L"Local-1").GetPosition(), 3000000u);
}

// SUP-RES-32
TEST_F(ResumableUpload, AFileCutShortAmongItsSlicesEndsWithAnEmptySlice) {
    GiveLarge();
    AnswerOpening(L"4194304");
    cloud.fileproxyUpload.Next([&](const std::wstring&, const std::wstring&, HttpInterface::InterfaceName,
                                   const std::string&, const std::string&, WMap, WMap& result) {
        EXPECT_EQ(truncate(world.NativeFile(L"a.bin").c_str(), 4194304 + 10), 0);
        result[L"statuscode"] = L"308";
        return true;
    });
    Answer(true, {{L"statuscode", L"308"}});
    Run(L"Local-1");
    ASSERT_EQ(requests.size(), 4u);
    EXPECT_EQ(requests[2].raw.size(), 10u);
    EXPECT_EQ(requests[3].raw.size(), 0u);
    EXPECT_EQ(Record(L"Local-1"), "") << "the library answers an empty slice with 404";
}

// SUP-RES-33
TEST_F(ResumableUpload, ACancelledTaskIsThrownOnAndFailsTheAttempt) {
    GiveLarge();
    AnswerOpening(L"4194304");
    cloud.fileproxyUpload.Next([](const std::wstring&, const std::wstring&, HttpInterface::InterfaceName,
                                  const std::string&, const std::string&, WMap,
                                  WMap&) -> bool { throw pplx::task_canceled("called off"); });
    Run(L"Local-1");
    EXPECT_EQ(Journal::CountBeginning(Kind::Error, "ServerUpload|"), 0);
    EXPECT_EQ(Journal::CountBeginning(Kind::Error, "UpLoadTaskManger|uploadTask|uploadTask Error:"), 1);
}

}  // namespace
}  // namespace Drive::Testing
