// The program itself, as a child.

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <fstream>
#include <thread>

#include "tests/unit/reference_cloud/cloud_fixture.h"
#include "tests/unit/reference_cloud/raw_connection.h"

namespace Drive::ReferenceCloud {

namespace {

class ProcessTest : public testing::Test {
protected:
    ProcessTest() { std::ofstream(folder_.Path() / "password") << "secret\n"; }
    ~ProcessTest() override { End(SIGKILL); }

    /// Starts the program with its output in a file.
    pid_t Spawn(std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), ZELKOR_CLOUD_PROGRAM);
        std::vector<char*> pointers;
        for (auto& argument : arguments) pointers.push_back(argument.data());
        pointers.push_back(nullptr);
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        for (const int stream : {1, 2}) {
            const std::string path = folder_.Path() / (stream == 1 ? "out" : "err");
            posix_spawn_file_actions_addopen(&actions, stream, path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        }
        pid_t child = -1;
        EXPECT_EQ(::posix_spawn(&child, ZELKOR_CLOUD_PROGRAM, &actions, nullptr, pointers.data(), environ), 0);
        posix_spawn_file_actions_destroy(&actions);
        return child;
    }
    static int Wait(pid_t child) {
        int status = 0;
        ::waitpid(child, &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    }
    int Run(std::vector<std::string> arguments) { return Wait(Spawn(std::move(arguments))); }
    std::string Text(const char* stream) {
        std::ifstream file(folder_.Path() / stream);
        return {std::istreambuf_iterator<char>(file), {}};
    }
    void StartServer(std::vector<std::string> more = {}) {
        std::vector<std::string> arguments{"--data", data_, "--listen", "127.0.0.1:0"};
        arguments.insert(arguments.end(), more.begin(), more.end());
        child_ = Spawn(arguments);
        for (int attempt = 0; attempt < 500 && Text("out").find('\n') == std::string::npos; ++attempt) {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        const std::string line = Text("out");
        ASSERT_EQ(line.rfind("listening on http", 0), 0U) << line << Text("err");
        client_.base = line.substr(13, line.size() - 14);
    }
    int End(int signal) {
        if (child_ <= 0) return -1;
        ::kill(child_, signal);
        return Wait(std::exchange(child_, -1));
    }
    void AddUser() {
        ASSERT_EQ(Run({"user", "add", "--data", data_, "anna", "--password-file", folder_.Path() / "password"}), 0)
            << Text("err");
    }

    TemporaryFolder folder_;
    const std::string data_ = folder_.Path() / "data";
    pid_t child_ = -1;
    TestClient client_{""};
};

// REF-PROCESS-01
TEST_F(ProcessTest, PrintsExactlyOneLineWhenItIsReadyAndEndsOnATerm) {
    AddUser();
    StartServer();
    client_.Login("anna", "secret");
    EXPECT_FALSE(client_.token.empty());
    EXPECT_EQ(End(SIGTERM), 0);
    EXPECT_EQ(Text("out"), "listening on " + client_.base + "\n");
    EXPECT_EQ(Text("err"), "");
}

// REF-PROCESS-02
TEST_F(ProcessTest, WhatWasAnsweredSurvivesAKill) {
    AddUser();
    StartServer({"--slice-size", "1024"});
    client_.Login("anna", "secret");
    const SampleUpload upload(RandomText(3000));
    const Json::Value plan = client_.Post("/v1/uploads/start", upload.Start(client_)).json;
    SendObjects(client_, plan);
    EXPECT_EQ(End(SIGKILL), 128 + SIGKILL);

    StartServer({"--slice-size", "1024"});
    const Answer done = client_.Post("/v1/uploads/create-complete", upload.Completion(client_, plan));
    ASSERT_EQ(done.status, 200) << done.body;
    EXPECT_EQ(End(SIGKILL), 128 + SIGKILL);

    StartServer();
    const std::string id = done.json["id"].asString();
    EXPECT_EQ(client_.Get("/v1/files/" + id).json["sha256"], Sha256(upload.bytes));
    const Json::Value list = client_.Get("/v1/files/" + id + "/download").json["objectInfoList"][0];
    Json::Value request(Json::objectValue);
    request["objectId"] = list["objectIds"][2];
    const Answer address = client_.Post("/v1/downloads/address", request);
    EXPECT_EQ(client_.Get(address.json["url"].asString()).body, StoredBytes(plan["items"][2]));
}

// REF-PROCESS-02
TEST_F(ProcessTest, AServerUploadGoesOnAfterAKill) {
    AddUser();
    StartServer({"--upload-type", "server"});
    client_.Login("anna", "secret");
    const std::string bytes = RandomText(3000);
    const SampleUpload upload(bytes);
    const auto slice = [&](std::size_t position, std::size_t length) {
        const Json::Value plan = client_.Post("/v1/uploads/start", upload.Start(client_)).json;
        EXPECT_EQ(plan["position"], Json::Int64(position));
        return client_.Send(
            "PUT", plan["uploadUrl"].asString(), bytes.substr(position, length),
            {{"Content-Range", "bytes " + std::to_string(position) + "-" + std::to_string(length - 1) + "/3000"}});
    };
    EXPECT_EQ(slice(0, 1000).status, 200);
    End(SIGKILL);
    StartServer({"--upload-type", "server"});
    const Answer done = slice(1000, 2000);
    ASSERT_EQ(done.status, 200) << done.body;
    EXPECT_EQ(client_.Get("/v1/files/" + done.json["id"].asString() + "/content").body, bytes);
}

// REF-PROCESS-03
TEST_F(ProcessTest, ASecondServerOnTheSameFolderIsRefused) {
    StartServer();
    EXPECT_EQ(Run({"--data", data_, "--listen", "127.0.0.1:0"}), 1);
    EXPECT_NE(Text("err").find("another server works on"), std::string::npos);
}

// REF-PROCESS-04
TEST_F(ProcessTest, UsersAreAddedChangedAndListed) {
    AddUser();
    EXPECT_EQ(Run({"user", "add", "--data", data_, "anna", "--password-file", folder_.Path() / "password"}), 1);
    EXPECT_NE(Text("err").find("already a user named \"anna\""), std::string::npos);
    EXPECT_EQ(Run({"user", "add", "--data", data_, "eve", "--password", "visible"}), 1);
    StartServer();
    client_.Login("anna", "secret");
    EXPECT_EQ(Run({"user", "add", "--data", data_, "max", "--password-file", folder_.Path() / "password",
                   "--upload-type", "default"}),
              0)
        << Text("err");
    TestClient usual(client_.base);
    usual.Login("max", "secret");
    EXPECT_EQ(usual.Post("/v1/uploads/start", SampleUpload("abc").Start(usual)).json["uploadType"], "client");
    std::ofstream(folder_.Path() / "new") << "other\n";
    EXPECT_EQ(Run({"user", "set", "--data", data_, "anna", "--password-file", folder_.Path() / "new", "--quota", "7",
                   "--upload-type", "server"}),
              0)
        << Text("err");
    EXPECT_EQ(client_.Get("/v1/account/space").status, 401) << "a new password ends every sign-in";
    client_.Login("anna", "other");
    EXPECT_EQ(client_.Get("/v1/account/space").json["total"], 7);
    EXPECT_EQ(Run({"user", "list", "--data", data_}), 0);
    EXPECT_EQ(Text("out").rfind("anna\t", 0), 0U);
    EXPECT_EQ(Run({"token", "revoke", "--data", data_, "anna"}), 0);
    EXPECT_EQ(client_.Get("/v1/account/space").status, 401);
    EXPECT_EQ(Run({"user", "remove", "--data", data_, "anna"}), 0);
    EXPECT_EQ(Run({"user", "set", "--data", data_, "anna", "--quota", "7"}), 1);
}

// REF-PROCESS-05
TEST_F(ProcessTest, ATreeIsImportedWhileTheServerRuns) {
    AddUser();
    const auto source = folder_.Path() / "source";
    std::filesystem::create_directory(source);
    std::ofstream(source / "file") << "content";
    std::filesystem::create_symlink("file", source / "link");
    StartServer();
    EXPECT_EQ(Run({"import", "--data", data_, "--user", "anna", source}), 0) << Text("err");
    EXPECT_NE(Text("out").find("passed over: " + (source / "link").string() + " (link)"), std::string::npos);
    EXPECT_NE(Text("out").find("imported 1 files (7 bytes) and 0 folders, 0 files unchanged, 1 passed over, 0 failed"),
              std::string::npos);
    client_.Login("anna", "secret");
    const Json::Value items = client_.Get("/v1/files").json["items"];
    ASSERT_EQ(items.size(), 1U);
    EXPECT_EQ(client_.Get("/v1/files/" + items[0]["id"].asString() + "/content").body, "content");
}

// REF-PROCESS-06
TEST_F(ProcessTest, SpeaksTlsWithTheGivenCertificate) {
    AddUser();
    const std::string certificate = folder_.Path() / "cert.pem", key = folder_.Path() / "key.pem";
    const std::string make =
        "openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes -days 2 -subj "
        "/CN=localhost -addext subjectAltName=DNS:localhost -keyout " +
        key + " -out " + certificate + " 2>/dev/null";
    ASSERT_EQ(std::system(make.c_str()), 0);
    StartServer({"--tls-cert", certificate, "--tls-key", key});
    EXPECT_EQ(client_.base.rfind("https://", 0), 0U);
    client_.base = "https://localhost" + client_.base.substr(client_.base.rfind(':'));
    EXPECT_EQ(client_.Get("/health").status, 0) << "a certificate that nobody trusts";
    client_.certificate = certificate;
    EXPECT_EQ(client_.Get("/health").status, 200);
    const auto shakesHands = [&](const std::string& version) {
        const std::string address = client_.base.substr(8);
        return std::system(("openssl s_client -connect " + address + " -" + version +
                            " -cipher ALL:@SECLEVEL=0 </dev/null >/dev/null 2>&1")
                               .c_str()) == 0;
    };
    EXPECT_TRUE(shakesHands("tls1_2"));
    EXPECT_FALSE(shakesHands("tls1_1")) << "what is older than TLS 1.2 is broken";
    client_.Login("anna", "secret");
    const SampleUpload upload(RandomText(5000000));
    const Json::Value plan = client_.Post("/v1/uploads/start", upload.Start(client_)).json;
    SendObjects(client_, plan);
    EXPECT_EQ(client_.Post("/v1/uploads/create-complete", upload.Completion(client_, plan)).status, 200);
}

/// Memory of a process that is in the machine's, in bytes.
std::int64_t ResidentBytes(pid_t process) {
    std::ifstream stream("/proc/" + std::to_string(process) + "/statm");
    std::int64_t all = 0, resident = 0;
    stream >> all >> resident;
    return resident * ::sysconf(_SC_PAGESIZE);
}

// REF-PROCESS-08
TEST_F(ProcessTest, ItsMemoryDoesNotGrowWithTheFilesThatSlowClientsRead) {
    AddUser();
    const auto source = folder_.Path() / "source";
    std::filesystem::create_directory(source);
    const std::int64_t size = 16 << 20;
    std::ofstream(source / "file") << std::string(static_cast<std::size_t>(size), 'x');
    ASSERT_EQ(Run({"import", "--data", data_, "--user", "anna", source}), 0) << Text("err");
    StartServer();
    client_.Login("anna", "secret");
    const std::string id = client_.Get("/v1/files").json["items"][0]["id"].asString();
    const int port = std::stoi(client_.base.substr(client_.base.rfind(':') + 1));
    const std::string request =
        "GET /v1/files/" + id + "/content HTTP/1.1\r\nHost: x\r\nAuthorization: Bearer " + client_.token + "\r\n\r\n";
    const std::int64_t before = ResidentBytes(child_);
    std::vector<RawConnection> slow;
    for (int index = 0; index < 100; ++index) {
        slow.emplace_back(port, 16 * 1024);
        ASSERT_TRUE(slow.back().Send(request));
    }
    for (RawConnection& connection : slow) EXPECT_FALSE(connection.Read(20000).empty());
    const std::int64_t grown = ResidentBytes(child_) - before;
#ifndef ZELKOR_SANITIZED  // whose own bookkeeping is most of it
    EXPECT_LT(grown, 100 * size / 10);
#endif
    EXPECT_EQ(client_.Get("/health").status, 200);
    RecordProperty("grown", std::to_string(grown));
}

// REF-PROCESS-07
TEST_F(ProcessTest, WrongOptionsAreToldWithoutServing) {
    EXPECT_NE(Run({}), 0);
    EXPECT_NE(Run({"--data", data_}), 0);
    EXPECT_EQ(Run({"--data", data_, "--listen", "nonsense"}), 1);
    EXPECT_EQ(Run({"--data", data_, "--listen", "127.0.0.1:0", "--tls-cert", "x"}), 1);
    EXPECT_NE(Run({"--data", data_, "--listen", "127.0.0.1:0", "--upload-type", "x"}), 0);
    EXPECT_NE(Run({"--data", data_, "--listen", "127.0.0.1:0", "--trash-seconds", "-1"}), 0);
    EXPECT_NE(Run({"--data", data_, "--listen", "127.0.0.1:0", "--rate", "-1"}), 0);
    EXPECT_EQ(Run({"--data", data_, "--listen", "127.0.0.1:0", "--scenario", folder_.Path() / "nothing"}), 1);
    EXPECT_NE(Text("err").find("the scenario"), std::string::npos);
    EXPECT_EQ(Run({"--help"}), 0);
}

}  // namespace

}  // namespace Drive::ReferenceCloud
