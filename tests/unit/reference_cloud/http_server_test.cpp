#include "reference_cloud/http_server.h"

#include <algorithm>
#include <chrono>
#include <fstream>
#include <sstream>
#include <thread>

#include "reference_cloud/http_message.h"
#include "tests/unit/reference_cloud/cloud_fixture.h"
#include "tests/unit/reference_cloud/raw_connection.h"

namespace Drive::ReferenceCloud {

namespace {

using Clock = std::chrono::steady_clock;

double Since(Clock::time_point start) { return std::chrono::duration<double>(Clock::now() - start).count(); }

/// A server whose one route gives so many bytes, with a scenario that tests can write.
class HttpServerTest : public testing::Test {
protected:
    void Run(HttpSettings settings = {}, const std::string& scenario = R"({"rules": []})") {
        WriteScenario(scenario);
        journal_ = std::make_unique<Journal>(folder_.Path() / "journal");
        scenario_ = std::make_unique<Scenario>(folder_.Path() / "scenario");
        server_ = std::make_unique<HttpServer>(
            settings, [this](Request& request) { return Dispatch(request); }, *journal_, *scenario_);
        server_->Start();
        client_ = std::make_unique<TestClient>("http://127.0.0.1:" + std::to_string(server_->Port()));
    }
    void WriteScenario(const std::string& text) {
        std::ofstream(folder_.Path() / "scenario.new") << text;
        std::filesystem::rename(folder_.Path() / "scenario.new", folder_.Path() / "scenario");
    }
    std::unique_ptr<Handler> Dispatch(Request& request) {
        ++dispatched_;
        return SmallBody(1 << 20, [&request](std::string&& body) {
            if (request.path == "/fail") throw std::runtime_error("on purpose");
            if (request.path == "/slow") std::this_thread::sleep_for(std::chrono::milliseconds(300));
            Response response;
            response.text = body.empty() ? std::string(std::stoul("0" + request.Query("bytes")), 'a') : body;
            return response;
        });
    }
    std::vector<Json::Value> JournalLines(std::size_t wanted) {
        std::vector<Json::Value> lines;
        for (int attempt = 0; attempt < 2000; ++attempt) {  // a line is written after the client has its answer
            lines.clear();
            std::ifstream stream(folder_.Path() / "journal");
            for (std::string line; std::getline(stream, line);) lines.push_back(ParseJson(line).value_or(""));
            if (lines.size() >= wanted) break;
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        // In the order in which they began: a line is written on its connection's thread.
        std::sort(lines.begin(), lines.end(), [](const Json::Value& one, const Json::Value& other) {
            return one["begin"].asDouble() < other["begin"].asDouble();
        });
        return lines;
    }
    RawConnection Connect(int window = 0) { return RawConnection(server_->Port(), window); }

    TemporaryFolder folder_;
    std::unique_ptr<Journal> journal_;
    std::unique_ptr<Scenario> scenario_;
    std::atomic<int> dispatched_{0};
    std::unique_ptr<HttpServer> server_;
    std::unique_ptr<TestClient> client_;
};

// REF-JOURNAL-01
TEST_F(HttpServerTest, TheJournalTellsEachRequest) {
    Run();
    client_->Get("/a?bytes=300000", {{"Range", "bytes=7-"}});
    client_->Post("/b", std::string(5000, 'y'));
    const auto lines = JournalLines(2);
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_EQ(lines[0]["method"], "GET");
    EXPECT_EQ(lines[0]["path"], "/a");
    EXPECT_EQ(lines[0]["range"], "bytes=7-");
    EXPECT_EQ(lines[0]["status"], 200);
    EXPECT_EQ(lines[0]["bytesOut"], 300000);
    EXPECT_EQ(lines[0]["inFlight"], 1);
    EXPECT_EQ(lines[0]["clientGone"], false);
    EXPECT_LE(lines[0]["begin"].asDouble(), lines[0]["end"].asDouble());
    EXPECT_EQ(lines[1]["bytesIn"], 5000);
}

// REF-JOURNAL-02
TEST_F(HttpServerTest, TheJournalCountsRequestsAtOnce) {
    Run();
    std::vector<std::thread> threads;
    for (int index = 0; index < 4; ++index) threads.emplace_back([this] { client_->Get("/slow"); });
    for (auto& thread : threads) thread.join();
    int most = 0;
    for (const Json::Value& line : JournalLines(4)) most = std::max(most, line["inFlight"].asInt());
    EXPECT_EQ(most, 4);
}

// REF-JOURNAL-02
TEST_F(HttpServerTest, TheJournalTellsOfClientsThatWentAway) {
    HttpSettings settings;
    settings.rate = 100000;
    Run(settings);
    RawConnection connection = Connect();
    ASSERT_TRUE(connection.Send("GET /?bytes=10000000 HTTP/1.1\r\nHost: x\r\n\r\n"));
    EXPECT_FALSE(connection.Read(1).empty());
    connection.Reset();
    const auto lines = JournalLines(1);
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_EQ(lines[0]["clientGone"], true);
    EXPECT_LT(lines[0]["bytesOut"].asInt64(), 10000000);
}

// REF-HTTP-01
TEST_F(HttpServerTest, AnAnswerKeepsToItsRate) {
    HttpSettings settings;
    settings.rate = 100000;
    Run(settings);
    const auto start = Clock::now();
    EXPECT_EQ(client_->Get("/?bytes=30000").body.size(), 30000U);
    EXPECT_GT(Since(start), 0.25);
}

// REF-HTTP-01
TEST_F(HttpServerTest, AllAnswersTogetherKeepToTheTotalRate) {
    HttpSettings settings;
    settings.totalRate = 100000;
    Run(settings);
    const auto start = Clock::now();
    std::vector<std::thread> threads;
    for (int index = 0; index < 3; ++index) {
        threads.emplace_back([this] { EXPECT_EQ(client_->Get("/?bytes=15000").body.size(), 15000U); });
    }
    for (auto& thread : threads) thread.join();
    EXPECT_GT(Since(start), 0.4);
}

// REF-HTTP-03
TEST_F(HttpServerTest, AFailureIsAnAnswer) {
    Run();
    const Answer answer = client_->Get("/fail");
    EXPECT_EQ(answer.status, 500);
    EXPECT_EQ(answer.json["errorCode"], "21005001");
    EXPECT_EQ(answer.body.find("on purpose"), std::string::npos) << "the inside stays inside";
}

// REF-HTTP-04
TEST_F(HttpServerTest, ABodyAboveTheLimitIsRefused) {
    Run();
    EXPECT_EQ(client_->Post("/", std::string((1 << 20) + 1, 'x')).status, 413);
    EXPECT_EQ(client_->Post("/", std::string(1 << 20, 'x')).status, 200);
}

// REF-HTTP-05
TEST_F(HttpServerTest, HeadersAboveTheLimitAreRefused) {
    Run();
    EXPECT_EQ(client_->Get("/", {{"X-Long", std::string(400000, 'x')}}).status, 431);
    EXPECT_EQ(dispatched_, 0);
}

// REF-HTTP-06
TEST_F(HttpServerTest, AConnectionThatTricklesItsHeadersIsClosed) {
    HttpSettings settings;
    settings.patience.headers = std::chrono::seconds(1);
    Run(settings);
    RawConnection connection = Connect();
    const auto start = Clock::now();
    bool open = true;
    for (int byte = 0; byte < 400 && open; ++byte) open = connection.Send("G") && !connection.Ends(50);
    EXPECT_FALSE(open);
    EXPECT_LT(Since(start), 15);
}

// REF-HTTP-07
TEST_F(HttpServerTest, AConnectionThatHardlyReadsItsAnswerIsClosed) {
    HttpSettings settings;
    settings.patience.window = std::chrono::seconds(1);
    settings.patience.slowest = 100000;
    Run(settings);
    RawConnection connection = Connect(4096);
    ASSERT_TRUE(connection.Send("GET /?bytes=30000000 HTTP/1.1\r\nHost: x\r\n\r\n"));
    const auto lines = JournalLines(1);  // nothing is read meanwhile
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_EQ(lines[0]["clientGone"], true);
}

// REF-HTTP-07
TEST_F(HttpServerTest, ASlowAnswerOfTheServersOwnIsNoReasonToCloseAConnection) {
    HttpSettings settings;
    settings.patience.window = std::chrono::seconds(1);
    settings.patience.slowest = 100000;
    settings.rate = 10000;
    Run(settings);
    EXPECT_EQ(client_->Get("/?bytes=17000").body.size(), 17000U);
}

// REF-HTTP-08
TEST_F(HttpServerTest, ABodyThatNobodyWantsIsCutWhereItBecomesTooMuch) {
    Run();
    RawConnection connection = Connect();
    ASSERT_TRUE(connection.Send("POST / HTTP/1.1\r\nHost: x\r\nTransfer-Encoding: chunked\r\n\r\n"));
    const std::string chunk = "100000\r\n" + std::string(1 << 20, 'x') + "\r\n";
    int chunks = 0;
    while (chunks < 200 && connection.Send(chunk)) ++chunks;
    EXPECT_GE(chunks, 60) << "the answer is worth some patience";
    EXPECT_LT(chunks, 200);
}

// REF-SCENARIO-04
TEST_F(HttpServerTest, ARuleAnswersInPlaceOfTheHandler) {
    Run({}, R"({"rules": [{"name": "busy", "path": "/x", "nth": 2, "status": 503, "errorCode": "77",
        "headers": {"Retry-After": "9"}}]})");
    EXPECT_EQ(client_->Get("/x").status, 200);
    const Answer struck = client_->Post("/x", std::string("some body"));
    EXPECT_EQ(struck.status, 503);
    EXPECT_EQ(struck.json["errorCode"], "77");
    EXPECT_EQ(struck.headers.at("retry-after"), "9");
    EXPECT_EQ(client_->Get("/x").status, 200);
    EXPECT_EQ(JournalLines(3)[1]["scenario"], "busy");
}

// REF-SCENARIO-04
TEST_F(HttpServerTest, ARuleDelaysCutsAndDamagesAnswers) {
    Run({}, R"({"rules": [{"path": "/delay", "delay": 0.3}, {"path": "/cut", "cutAfter": 1000},
        {"path": "/damage", "corrupt": 5}, {"path": "/rate", "rate": 50000}]})");
    auto start = Clock::now();
    EXPECT_EQ(client_->Get("/delay").status, 200);
    EXPECT_GT(Since(start), 0.29);
    const Answer cut = client_->Get("/cut?bytes=5000");
    EXPECT_FALSE(cut.whole);
    EXPECT_EQ(cut.body.size(), 1000U);
    EXPECT_EQ(client_->Get("/damage?bytes=7").body, "aaaaa4a");
    start = Clock::now();
    EXPECT_EQ(client_->Get("/rate?bytes=10000").body.size(), 10000U);
    EXPECT_GT(Since(start), 0.15);
    EXPECT_EQ(JournalLines(4)[1]["clientGone"], false) << "the cut was the server's";
}

// REF-SCENARIO-04
TEST_F(HttpServerTest, ARuleBendsLengthBodyHeadersAndFieldsOfAnAnswer) {
    Run({}, R"({"rules": [{"path": "/longer", "contentLength": 9000}, {"path": "/shorter", "contentLength": 10},
        {"path": "/garbage", "body": "{garbage"}, {"path": "/digest", "headers": {"X-Object-Sha256": "00"}},
        {"path": "/fields", "remove": ["a"], "set": {"b.0": {"c": 1}}},
        {"path": "/upload", "uploadRate": 20000}]})");
    const Answer longer = client_->Get("/longer?bytes=500");
    EXPECT_FALSE(longer.whole);
    EXPECT_EQ(longer.body.size(), 500U);
    EXPECT_EQ(longer.headers.at("content-length"), "9000");
    const Answer shorter = client_->Get("/shorter?bytes=500");
    EXPECT_TRUE(shorter.whole);
    EXPECT_EQ(shorter.body.size(), 10U);
    EXPECT_EQ(client_->Get("/garbage?bytes=5").body, "{garbage");
    const Answer digest = client_->Get("/digest?bytes=5");
    EXPECT_EQ(digest.body + digest.headers.at("x-object-sha256"), "aaaaa00");
    EXPECT_EQ(client_->Post("/fields", std::string(R"({"a": 1, "b": [2, 3]})")).body, R"({"b":[{"c":1},3]})");
    const auto start = Clock::now();
    EXPECT_EQ(client_->Post("/upload", std::string(5000, 'u')).body.size(), 5000U);
    EXPECT_GT(Since(start), 0.2);
}

// REF-SCENARIO-04
TEST_F(HttpServerTest, ARuleDropsTheConnectionBeforeOrAfterTheWork) {
    Run({}, R"({"rules": [{"path": "/before", "drop": true}, {"path": "/after", "drop": true, "afterWork": true},
        {"path": "/lost", "status": 502, "afterWork": true}]})");
    EXPECT_FALSE(client_->Get("/before").whole);
    EXPECT_FALSE(client_->Get("/after").whole);
    EXPECT_EQ(client_->Get("/lost").status, 502);
}

// REF-SCENARIO-06
TEST_F(HttpServerTest, AChangedScenarioIsReadAgain) {
    Run();
    EXPECT_EQ(client_->Get("/x").status, 200);
    WriteScenario(R"({"rules": [{"path": "/x", "status": 503}]})");
    int status = 200;
    for (int attempt = 0; attempt < 50 && status == 200; ++attempt) {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        status = client_->Get("/x").status;
    }
    EXPECT_EQ(status, 503);
}

// REF-HTTP-09
TEST_F(HttpServerTest, DrainingLetsRequestsUnderWayEnd) {
    Run();
    std::thread slow([this] { EXPECT_EQ(client_->Get("/slow").status, 200); });
    while (dispatched_ == 0) std::this_thread::sleep_for(std::chrono::milliseconds(5));
    server_->Drain(10);
    slow.join();
    EXPECT_EQ(client_->Get("/").status, 0) << "nobody listens any more";
}

// REF-HTTP-09
TEST_F(HttpServerTest, DrainingEndsPacedAnswersWhenTheTimeIsUp) {
    HttpSettings settings;
    settings.rate = 1000;
    Run(settings);
    std::thread endless([this] { EXPECT_FALSE(client_->Get("/?bytes=1000000").whole); });
    while (dispatched_ == 0) std::this_thread::sleep_for(std::chrono::milliseconds(5));
    const auto start = Clock::now();
    server_->Drain(0);
    EXPECT_LT(Since(start), 5);
    endless.join();
}

// REF-HTTP-10
TEST_F(HttpServerTest, APortThatIsTakenIsTold) {
    Run();
    HttpSettings settings;
    settings.port = server_->Port();
    HttpServer second(
        settings, [](Request&) { return nullptr; }, *journal_, *scenario_);
    EXPECT_THROW(second.Start(), std::runtime_error);
}

}  // namespace

}  // namespace Drive::ReferenceCloud
