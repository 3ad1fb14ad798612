// The proxy's side of the road: what a server on loopback gets from the engine through the shipped cloud library.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "interfaces/cloud/drive_account.h"
#include "server_upload/server_upload.h"
#include "tests/support/http_server.h"
#include "tests/support/world.h"

namespace Drive::Testing {
namespace {

constexpr std::size_t kLarge = 10485760 + 3;

class OnTheWire : public ::testing::Test {
protected:
    OnTheWire() {
        Cloud::CloudSettings settings;
        settings.baseUrl = server.WideUrl();
        settings.connectSeconds = 5;
        settings.idleSeconds = 30;
        settings.controlSeconds = 60;
        settings.repeats = 0;
        Cloud::DriveAccount::Configure(settings);
        Cloud::Login login;
        login.accessToken = L"live-token";
        Cloud::DriveAccount::UseLogin(login);
        Cloud::DriveAccount::OnRefresh({});
    }

    /// Sends the file as the upload engine would hand it over; the answer is in `result`.
    bool Send(const std::wstring& fileId, const std::string& bytes) {
        world.WriteFile(L"a \u00e4.txt", bytes);
        Common::FileItem file = world.File(fileId, L"a \u00e4.txt", static_cast<std::int64_t>(bytes.size()), 12);
        file.SetFileClientPath(world.Path(L"a \u00e4.txt"));
        file.SetMimeType(L"text/plain");
        file.SetLocalFileSha256(L"0123abcd");
        Common::UploadStartInfo plan;
        plan.SetUploadType(L"server");
        plan.SetUploadUrl(server.WideUrl("/proxy/s1"));
        Common::TaskItem task;
        task.SetFileId(fileId);
        result.clear();
        return TransferService::ServerUpload::getInstance().uploadFileWithServerType(file, plan, task, result);
    }

    const std::string kMetadata =
        "{\"fileName\":\"a \\u00e4.txt\",\"mimeType\":\"text/plain\",\"parentFolder\":[\"root-id\"],"
        "\"sha256\":\"0123abcd\"}\n";

    World world;
    HttpServer server;
    WMap result;
};

// SUP-MULTI-18
TEST_F(OnTheWire, AMultipartUploadArrivesByteForByteInTheRequiredForm) {
    for (const wchar_t* id : {L"Local-1", L"file-1"}) {
        server.AnswerAll(Reply::Json(R"({"id":"cloud-1"})"));
        const std::string bytes = std::string("\0\r\n--x\xff", 7) + Content(5000);
        EXPECT_TRUE(Send(id, bytes));
        const SeenRequest seen = server.Last();
        EXPECT_EQ(seen.method, id == std::wstring(L"Local-1") ? "POST" : "PATCH") << "a new file, or a new version";
        EXPECT_EQ(seen.target, "/proxy/s1?uploadType=multipart");
        const std::string type = seen.Header("Content-Type");
        const std::string head = "multipart/related;boundary=";
        ASSERT_EQ(type.substr(0, head.size()), head);
        const std::string boundary = type.substr(head.size());
        ASSERT_FALSE(boundary.empty());
        EXPECT_EQ(seen.body == "--" + boundary + "\r\n Content-Type: application/json; charset=UTF-8\r\n " + kMetadata +
                                   "\r\n --" + boundary +
                                   "\r\n Content-Type: application/octet-stream; charset=UTF-8\r\n " + bytes +
                                   "\r\n --" + boundary + "--",
                  true)
            << seen.body.substr(0, 400);
        EXPECT_EQ(seen.Header("Cache-Control"), "no-cache");
        EXPECT_EQ(seen.Header("Content-Length"), std::to_string(seen.body.size()));
        EXPECT_EQ(seen.CountHeader("Content-Type"), 1);
    }
}

// SUP-RES-37
TEST_F(OnTheWire, AResumableUploadArrivesByteForByteInTheRequiredForm) {
    const std::string bytes = Content(kLarge);
    server.Answer([this](const SeenRequest& seen) {
        if (seen.target.rfind("/proxy/s1", 0) == 0) {
            return Reply::Json("{\"resumeUrl\":\"" + server.Url("/proxy/r1") + "\",\"sliceSize\":5242880}");
        }
        const bool last = seen.Header("Content-Range").find("bytes 10485760-") == 0;
        return last ? Reply::Json(R"({"id":"cloud-1"})") : Reply::Json(R"({"position":0})");
    });
    EXPECT_TRUE(Send(L"Local-1", bytes));
    const std::vector<SeenRequest> seen = server.Requests();
    ASSERT_EQ(seen.size(), 4u);
    EXPECT_EQ(seen[0].method, "POST");
    EXPECT_EQ(seen[0].target, "/proxy/s1?uploadType=resume");
    EXPECT_EQ(seen[0].body, kMetadata);
    EXPECT_NE(seen[0].head.find("\r\nX-Upload-Content-Typ: text/plain\r\n"), std::string::npos) << seen[0].head;
    EXPECT_EQ(seen[0].CountHeader("X-Upload-Content-Type"), 0);
    EXPECT_EQ(seen[0].Header("X-Upload-Content-Length"), "10485763");
    EXPECT_EQ(seen[0].Header("Content-Type"), "application/json");
    EXPECT_EQ(seen[0].Header("Cache-Control"), "no-cache");

    const char* const ranges[] = {"bytes 0-5242879/10485763", "bytes 5242880-5242879/10485763",
                                  "bytes 10485760-2/10485763"};
    std::string sent;
    for (std::size_t i = 1; i < seen.size(); ++i) {
        EXPECT_EQ(seen[i].method, "PUT");
        EXPECT_EQ(seen[i].target, "/proxy/r1");
        EXPECT_EQ(seen[i].Header("Content-Range"), ranges[i - 1]);
        EXPECT_EQ(seen[i].Header("Content-Length"), std::to_string(seen[i].body.size()));
        EXPECT_EQ(seen[i].CountHeader("Content-Length"), 1);
        EXPECT_EQ(seen[i].Header("Content-Type"), "text/plain");
        sent += seen[i].body;
    }
    EXPECT_EQ(sent == bytes, true);
    EXPECT_EQ(result[L"id"], L"cloud-1");

    EXPECT_TRUE(Send(L"file-1", bytes));
    const SeenRequest opening = server.Requests().at(4);
    EXPECT_EQ(opening.method, "PATCH") << "a new version";
    EXPECT_EQ(opening.target, "/proxy/s1?uploadType=resume");
    EXPECT_EQ(opening.body, kMetadata);
}

}  // namespace
}  // namespace Drive::Testing
