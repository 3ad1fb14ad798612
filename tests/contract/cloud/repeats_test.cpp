// What is sent again, when, and what is not. The clock is stepped by the pauses.
#include <ctime>

#include "interfaces/cloud/cloud_drive_interface.h"
#include "interfaces/cloud/file_trans_request.h"
#include "tests/contract/cloud/cloud_test.h"
#include "tests/contract/cloud/stepped_clock.h"

namespace Drive::Testing {
namespace {

using Cloud::CloudDriveInterface;
using Cloud::CloudFile;
using Cloud::DriveAccount;
using Cloud::FileTransRequest;
using HttpInterface::InterfaceName;

class Repeating : public CloudTest {
protected:
    Repeating() {
        auto settings = Settings();
        settings.repeats = 4;
        settings.controlSeconds = 60;
        Configure(settings);
        ForgetPauses();
    }

    bool GetEntry() {
        CloudFile file;
        return DriveAccount::Get(L"f1", file).ok;
    }

    int Download(std::string& got) {
        FileTransRequest request;
        request.receiveDownloadFileCallBackFun([&](const unsigned char* data, const std::int64_t& length) {
            got.append(reinterpret_cast<const char*>(data), static_cast<std::size_t>(length));
            return true;
        });
        return FileTransRequest::DownloadCloudFileRequest(server.WideUrl("/x"), {}, &request);
    }

    static Reply Status(int status, const std::string& retryAfter = "") {
        Reply reply = Reply::Json("{}", status);
        if (!retryAfter.empty()) reply.headers.emplace_back("Retry-After", retryAfter);
        return reply;
    }

    static Reply Reset() {
        Reply reply;
        reply.silent = reply.reset = true;
        return reply;
    }

    static Reply Entry() { return Reply::Json(R"({"id":"f1"})"); }
};

// CLOUD-REPEAT-01
TEST_F(Repeating, TransientFailuresOfAnIdempotentCallAreRiddenOut) {
    for (const Reply& trouble : {Status(408), Status(429), Status(502), Status(503), Status(504), Reset()}) {
        server.Forget();
        server.AnswerInTurn({trouble, trouble, Entry()});
        EXPECT_TRUE(GetEntry());
        EXPECT_EQ(3u, server.Requests().size());
    }
}

// CLOUD-REPEAT-01
TEST_F(Repeating, OtherFailuresAreNotSentAgain) {
    for (const int status : {301, 400, 401, 403, 404, 409, 413, 500, 501, 507}) {
        server.Forget();
        server.AnswerAll(Status(status));
        EXPECT_FALSE(GetEntry());
        EXPECT_EQ(1u, server.Requests().size()) << status;
    }
    EXPECT_TRUE(PausesSoFar().empty());
}

// CLOUD-REPEAT-01
TEST_F(Repeating, TheLastAnswerCountsWhenNothingHelps) {
    server.AnswerAll(Status(503));
    CloudFile file;
    EXPECT_EQ(503, DriveAccount::Get(L"f1", file).status);
    EXPECT_EQ(5u, server.Requests().size());
}

// CLOUD-REPEAT-02
TEST_F(Repeating, PausesGrowAndAreJittered) {
    server.AnswerAll(Status(503));
    std::vector<std::int64_t> totals;
    for (int count = 0; count < 10; ++count) {
        ForgetPauses();
        GetEntry();
        totals.push_back(PausedMilliseconds());
        EXPECT_GE(totals.back(), (200 + 400 + 800 + 1600) / 2);
        EXPECT_LE(totals.back(), 200 + 400 + 800 + 1600);
        for (const auto pause : PausesSoFar()) EXPECT_LE(pause, 100u) << "a stop would wait for it";
    }
    EXPECT_NE(std::vector<std::int64_t>(10, totals[0]), totals);
}

// CLOUD-REPEAT-02
TEST_F(Repeating, PausesHaveACap) {
    auto settings = Settings();
    settings.repeats = 12;
    settings.controlSeconds = 1000;
    Configure(settings);
    server.AnswerAll(Status(503));
    GetEntry();
    EXPECT_EQ(13u, server.Requests().size());
    EXPECT_LE(PausedMilliseconds(), 12 * 5000);
}

// CLOUD-REPEAT-03
TEST_F(Repeating, NeverEarlierThanTheServerAsked) {
    server.AnswerInTurn({Status(429, "7"), Entry()});
    EXPECT_TRUE(GetEntry());
    EXPECT_GE(PausedMilliseconds(), 7000);
    EXPECT_LE(PausedMilliseconds(), 7200);
}

// CLOUD-REPEAT-03
TEST_F(Repeating, AMomentThatTheServerNamesIsWaitedFor) {
    const auto moment = [](std::time_t ahead) {
        const std::time_t at = std::time(nullptr) + ahead;
        std::tm parts{};
        gmtime_r(&at, &parts);
        char text[64];
        std::strftime(text, sizeof text, "%a, %d %b %Y %H:%M:%S GMT", &parts);
        return std::string(text);
    };
    server.AnswerInTurn({Status(503, moment(13)), Entry()});
    EXPECT_TRUE(GetEntry());
    EXPECT_GE(PausedMilliseconds(), 1000);  // the time until the answer is read counts too
    EXPECT_LE(PausedMilliseconds(), 13'200);
    ForgetPauses();
    server.AnswerInTurn({Status(503, moment(-3600)), Entry()});
    EXPECT_TRUE(GetEntry());
    EXPECT_LE(PausedMilliseconds(), 200) << "a moment that is over";
    ForgetPauses();
    server.Forget();
    server.AnswerAll(Status(503, moment(3600)));
    EXPECT_FALSE(GetEntry());
    EXPECT_EQ(1u, server.Requests().size()) << "a moment that is far away";
}

// CLOUD-REPEAT-03
TEST_F(Repeating, AServerThatAsksForMuchPatienceIsLeftAlone) {
    for (const char* patience : {"3600", "99999999999", "999999999999999999999999"}) {
        server.Forget();
        server.AnswerAll(Status(503, patience));
        EXPECT_FALSE(GetEntry());
        EXPECT_EQ(1u, server.Requests().size()) << patience;
    }
    EXPECT_TRUE(PausesSoFar().empty());
}

// CLOUD-REPEAT-03
TEST_F(Repeating, ARetryAfterThatIsNoneDoesNotHurt) {
    for (const char* patience : {"soon", "-5", ""}) {
        server.AnswerInTurn({Status(503, patience), Entry()});
        EXPECT_TRUE(GetEntry()) << patience;
    }
}

// CLOUD-REPEAT-04
TEST_F(Repeating, TheTotalLimitOfAControlCallHoldsOverAllItsTries) {
    auto settings = Settings();
    settings.repeats = 100;
    settings.controlSeconds = 20;
    Configure(settings);
    server.AnswerAll(Status(503));
    EXPECT_FALSE(GetEntry());
    EXPECT_LE(PausedMilliseconds(), 20'000);
    EXPECT_GT(PausedMilliseconds(), 10'000);
}

// CLOUD-REPEAT-05
TEST_F(Repeating, CompletionsAndWholeContentsGoOnce) {
    Common::FileItem file;
    file.SetFileId(L"f1");
    Common::CreateUpdateRequestModel model(file);
    WMap result;
    for (const Reply& trouble : {Status(503), Status(429), Reset()}) {
        server.Forget();
        server.AnswerAll(trouble);
        EXPECT_FALSE(CloudDriveInterface::FilesCreateComplete(file, L"", model, result));
        EXPECT_FALSE(CloudDriveInterface::FilesUpdateComplete(file, L"", model, result));
        for (const auto operation : {InterfaceName::MultipartCreate, InterfaceName::MultipartUpdate}) {
            EXPECT_FALSE(
                CloudDriveInterface::FileproxyUpload(server.WideUrl("/p"), L"f1", operation, "", "x", {}, result));
        }
        EXPECT_EQ(4u, server.Requests().size());
    }
    EXPECT_TRUE(PausesSoFar().empty());
}

// CLOUD-REPEAT-05
TEST_F(Repeating, SlicesAndResumeAddressesAreSentAgain) {
    WMap result;
    server.AnswerInTurn({Status(503), Reset(), Entry()});
    EXPECT_TRUE(CloudDriveInterface::FileproxyUpload(server.WideUrl("/p"), L"f1", InterfaceName::ResumeSlice, "slice",
                                                     "", {{L"Content-Range", L"bytes 0-4/5"}}, result));
    EXPECT_EQ("slice", server.Last().body);
    EXPECT_EQ(3u, server.Requests().size());
    server.AnswerInTurn({Status(502), Reply::Json(R"({"resumeUrl":"http://h/p","sliceSize":5})")});
    EXPECT_TRUE(CloudDriveInterface::FileproxyUpload(server.WideUrl("/p"), L"f1", InterfaceName::ResumeCreate, "", "{}",
                                                     {}, result));
}

// CLOUD-REPEAT-05
TEST_F(Repeating, APutToTheStoreIsSentAgainWholeAndAPostIsNot) {
    WMap headers;
    std::string text;
    const std::string content = Content(300'000);
    const std::vector<unsigned char> body(content.begin(), content.end());
    server.AnswerInTurn({Status(503), Reset(), Reply{}});
    EXPECT_TRUE(FileTransRequest::UploadRequest(server.WideUrl("/x"), {}, L"PUT", body, headers, text));
    for (const auto& request : server.Requests()) EXPECT_TRUE(request.body == content);
    EXPECT_EQ(3u, server.Requests().size());
    server.Forget();
    server.AnswerAll(Status(503));
    EXPECT_FALSE(FileTransRequest::UploadRequest(server.WideUrl("/x"), {}, L"POST", body, headers, text));
    EXPECT_EQ(1u, server.Requests().size());
}

// CLOUD-REPEAT-06
TEST_F(Repeating, ADownloadIsAskedAgainAsLongAsNothingWasDelivered) {
    Reply content;
    content.body = "content";
    Reply empty = content;
    empty.cutAfter = 0;
    server.AnswerInTurn({Reset(), Status(503), empty, content});
    std::string got;
    EXPECT_EQ(200, Download(got));
    EXPECT_EQ("content", got);
    EXPECT_EQ(4u, server.Requests().size());
}

// CLOUD-REPEAT-06
TEST_F(Repeating, ADownloadThatBrokeOffInTheMiddleIsNotAskedAgain) {
    Reply content;
    content.body = Content(200'000);
    content.cutAfter = 100'000;
    server.AnswerAll(content);
    std::string got;
    EXPECT_EQ(-1, Download(got));
    EXPECT_EQ(content.body.substr(0, 100'000), got);
    EXPECT_EQ(1u, server.Requests().size());
}

// CLOUD-REPEAT-06
TEST_F(Repeating, APersistentRefusalOfADownloadComesBackAsItCame) {
    server.AnswerAll(Status(503));
    std::string got;
    EXPECT_EQ(503, Download(got));
    EXPECT_EQ(5u, server.Requests().size());
    EXPECT_EQ("", got);
}

// CLOUD-REPEAT-06
TEST_F(Repeating, AnObjectIsAskedAgainFromItsFirstByte) {
    std::vector<unsigned char> received;
    server.AnswerInTurn({Reset(), Status(429), Status(404)});
    EXPECT_FALSE(FileTransRequest::DownloadDriveFileRequest(server.WideUrl("/x"), {}, std::vector<unsigned char>(16, 1),
                                                            std::vector<unsigned char>(16, 1), L"AES_128", 16,
                                                            received));
    EXPECT_EQ(3u, server.Requests().size());
}

// CLOUD-CALL-18
TEST_F(Repeating, TheSpaceIsAskedAnewAfterTenSeconds) {
    server.AnswerAll(Reply::Json(R"({"remaining":60})"));
    std::wstring text;
    CloudDriveInterface::GetUserSpace(text);
    StepClock(9'900);
    CloudDriveInterface::GetUserSpace(text);
    EXPECT_EQ(1u, server.Requests().size());
    StepClock(200);
    CloudDriveInterface::GetUserSpace(text);
    EXPECT_EQ(2u, server.Requests().size());
}

// CLOUD-LOGIN-01
TEST_F(Repeating, ALoginSaysWhenItExpires) {
    server.AnswerAll(Reply::Json(R"({"accessToken":"t","expiresIn":3600})"));
    Cloud::Login login;
    EXPECT_TRUE(DriveAccount::SignIn(L"u", L"p", login).ok);
    EXPECT_EQ(1'800'003'600, login.expiresAt);
}

}  // namespace
}  // namespace Drive::Testing
