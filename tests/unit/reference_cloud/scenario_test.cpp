#include "reference_cloud/scenario.h"

#include <gtest/gtest.h>

#include <atomic>
#include <fstream>
#include <thread>
#include <vector>

#include "tests/unit/reference_cloud/temporary_folder.h"

namespace Drive::ReferenceCloud {

namespace {

class ScenarioTest : public testing::Test {
protected:
    std::string Write(const std::string& text) {
        const auto path = folder_.Path() / "scenario.json";
        std::ofstream(path) << text;
        return path.string();
    }
    static bool Strikes(Scenario& scenario, const std::string& path = "/v1/files/1/content",
                        const std::string& method = "GET", const std::string& user = "anna") {
        return scenario.Strike(method, path, user).has_value();
    }

    TemporaryFolder folder_;
};

// REF-SCENARIO-01
TEST_F(ScenarioTest, StrikesTheRequestsThatFitAndNoOthers) {
    Scenario scenario(Write(R"({"rules": [{"method": "GET", "path": "/v1/files/*/content", "user": "anna"}]})"));
    EXPECT_TRUE(Strikes(scenario));
    EXPECT_FALSE(Strikes(scenario, "/v1/files/1/content", "PUT"));
    EXPECT_FALSE(Strikes(scenario, "/v1/files/1/download"));
    EXPECT_FALSE(Strikes(scenario, "/v1/files/1/content", "GET", "eve"));
}

// REF-SCENARIO-01
TEST_F(ScenarioTest, CountsOnlyWhatFits) {
    Scenario scenario(Write(R"({"rules": [{"path": "/a", "nth": 2}]})"));
    EXPECT_FALSE(Strikes(scenario, "/a"));
    EXPECT_FALSE(Strikes(scenario, "/b"));
    EXPECT_TRUE(Strikes(scenario, "/a"));
    EXPECT_FALSE(Strikes(scenario, "/a"));
}

// REF-SCENARIO-02
TEST_F(ScenarioTest, StrikesFromTheNthOnEverySoManyAndSoOften) {
    Scenario scenario(Write(R"({"rules": [{"from": 2, "every": 3, "times": 2}]})"));
    std::string pattern;
    for (int request = 0; request < 10; ++request) pattern += Strikes(scenario) ? 'x' : '.';
    EXPECT_EQ(pattern, ".x..x.....");
}

// REF-SCENARIO-02
TEST_F(ScenarioTest, StrikesAsOftenAsToldHoweverManyAskAtOnce) {
    Scenario scenario(Write(R"({"rules": [{"path": "/a", "nth": 70}, {"path": "/b", "from": 10, "times": 33}]})"));
    std::atomic<int> first{0}, second{0};
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 4; ++thread) {
        threads.emplace_back([&] {
            for (int request = 0; request < 100; ++request) {
                first += Strikes(scenario, "/a");
                second += Strikes(scenario, "/b");
            }
        });
    }
    for (auto& thread : threads) thread.join();
    EXPECT_EQ(first, 1);
    EXPECT_EQ(second, 33);
}

// REF-SCENARIO-03
TEST_F(ScenarioTest, TakesTheFirstRuleThatStrikesWhileAllCount) {
    Scenario scenario(Write(R"({"rules": [{"name": "one", "nth": 1}, {"name": "two", "nth": 2}]})"));
    EXPECT_EQ(scenario.Strike("GET", "/", "")->rule, "one");
    EXPECT_EQ(scenario.Strike("GET", "/", "")->rule, "two");
}

// REF-SCENARIO-04
TEST_F(ScenarioTest, ReadsWhatARuleDoes) {
    Scenario scenario(Write(R"({"migrating": true, "rules": [{"status": 503, "errorCode": "1", "delay": 0.5,
        "rate": 7, "uploadRate": 8, "cutAfter": 9, "corrupt": 10, "drop": true, "afterWork": true,
        "headers": {"Retry-After": "3"}}]})"));
    const auto what = scenario.Strike("GET", "/", "");
    ASSERT_TRUE(what);
    EXPECT_EQ(what->status, 503);
    EXPECT_EQ(what->errorCode, "1");
    EXPECT_EQ(what->delay, 0.5);
    EXPECT_EQ(what->rate, 7);
    EXPECT_EQ(what->uploadRate, 8);
    EXPECT_EQ(what->cutAfter, 9);
    EXPECT_EQ(what->corrupt, 10);
    EXPECT_TRUE(what->drop && what->afterWork);
    EXPECT_EQ(what->headers.at("Retry-After"), "3");
    EXPECT_TRUE(scenario.Migrating());
}

// REF-SCENARIO-05, CLOUD-SCENARIO-02
TEST_F(ScenarioTest, ReadsQuotaClockAndTheBendingOfAnswers) {
    Scenario scenario(Write(R"({"quota": 5, "clock": -7, "rules": [{"body": "{garbage", "contentLength": 3,
        "remove": ["a"], "set": {"b": null}}]})"));
    EXPECT_EQ(scenario.Quota(), 5);
    EXPECT_EQ(scenario.ClockShift(), -7);
    const auto what = scenario.Strike("GET", "/", "");
    ASSERT_TRUE(what);
    EXPECT_EQ(what->body, "{garbage");
    EXPECT_EQ(what->contentLength, 3);
    EXPECT_EQ(what->remove, std::vector<std::string>{"a"});
    EXPECT_EQ(what->set.front(), (std::pair<std::string, std::string>("b", "null")));
    Write(R"({"rules": []})");
    EXPECT_FALSE(scenario.Reload(true));
    EXPECT_EQ(scenario.Quota(), std::nullopt);
    EXPECT_EQ(scenario.ClockShift(), 0);
}

// REF-SCENARIO-05, CLOUD-SCENARIO-03
TEST_F(ScenarioTest, BendsTheFieldsThatAreThereAndNoOthers) {
    const std::string text = R"({"a":{"b":[1,{"c":2}]},"d":"x"})";
    Misbehaviour what;
    EXPECT_EQ(BendFields(text, what), text);
    what.set = {{"a.b.1.c", "[]"}, {"a.b.7", "1"}, {"a.nothing", "1"}, {"d", "\"y\""}};
    EXPECT_EQ(BendFields(text, what), R"({"a":{"b":[1,{"c":[]}]},"d":"y"})");
    what.set.clear();
    what.remove = {"a.b.0", "d", "d.e", "nothing"};
    EXPECT_EQ(BendFields(text, what), R"({"a":{"b":[{"c":2}]}})");
    EXPECT_EQ(BendFields("no JSON", what), "no JSON");
}

// REF-SCENARIO-06
TEST_F(ScenarioTest, StartsAfreshWhenTheFileIsReadAgain) {
    Scenario scenario(Write(R"({"rules": [{"times": 1}]})"));
    EXPECT_TRUE(Strikes(scenario));
    EXPECT_FALSE(Strikes(scenario));
    EXPECT_FALSE(scenario.Reload(true));
    EXPECT_TRUE(Strikes(scenario));
}

// REF-SCENARIO-07
TEST_F(ScenarioTest, KeepsEverythingAsItWasWhenTheFileIsNoLongerRight) {
    Scenario scenario(Write(R"({"quota": 5, "clock": 3, "migrating": true, "rules": [{}]})"));
    for (const char* text :
         {"{ broken", R"({"quota": 6, "rules": [{"status": "x"}]})", R"({"rules": [], "quta": 1})"}) {
        Write(text);
        EXPECT_TRUE(scenario.Reload(true)) << text;
        EXPECT_TRUE(Strikes(scenario));
        EXPECT_EQ(scenario.Quota(), 5);
        EXPECT_EQ(scenario.ClockShift(), 3);
        EXPECT_TRUE(scenario.Migrating());
    }
    std::filesystem::remove(folder_.Path() / "scenario.json");
    EXPECT_TRUE(scenario.Reload(true));
    EXPECT_TRUE(Strikes(scenario)) << "also when the file is gone";
}

// REF-SCENARIO-08
TEST_F(ScenarioTest, TellsTheLineAndWhatIsWrongThere) {
    const std::pair<const char*, const char*> cases[] = {
        {"", "is no JSON: "},
        {"{\n  \"rules\": [\n    {,}\n  ]\n}", "is no JSON: Line 3, "},
        {"{\"rules\": []}\n}", "is no JSON: Line 2, "},
        {"\n[]", "line 2: a scenario is an object"},
        {"{}", "line 1: a scenario needs an array \"rules\""},
        {"{\"rules\": 1}", "line 1: a scenario needs an array \"rules\""},
        {"{\"rules\": [{},\n1]}", "line 2: a rule is an object"},
        {"{\n\"rules\": [\n{\"path\": \"/x\",\n\"stauts\": 5}]}", "line 4: \"stauts\" is no word of a scenario"},
        {"{\"rules\": [{\n\"status\": \"x\"}]}", "line 2: \"status\" must be a status from 200 to 599"},
        {"{\"rules\": [{\n\"status\": 99999999999}]}", "line 2: \"status\" must be a status from 200 to 599"},
        {"{\"rules\": [{\n\"status\": 100}]}", "line 2: \"status\" must be a status from 200 to 599"},
        {"{\"rules\": [{\n\"times\": 99999999999}]}", "line 1: rule 1: "},
        {"{\"rules\": [{\"delay\": 1e300}]}", "\"delay\" must be a number of seconds from 0 to 86400"},
        {"{\"rules\": [{\"headers\": {\"A\": \"b\\r\\nC: d\"}}]}", "must be an object of texts without control"},
        {"{\"rules\": [{\"headers\": {\"A B\": \"\"}}]}", "must be an object of texts without control"},
        {"{\"rules\": [], \"clock\": 9223372036854775807}", "\"clock\" must be a whole number of seconds"},
        {"{\"rules\": [{\n\"nth\": -1}]}", "line 2: \"nth\" must be a whole number of at least 0"},
        {"{\"rules\": [{\"delay\": \"1\"}]}", "\"delay\" must be a number of seconds from 0"},
        {"{\"rules\": [{\"drop\": 1}]}", "\"drop\" must be true or false"},
        {"{\"rules\": [{\"headers\": {\"a\": 1}}]}", "\"headers\" must be an object of texts"},
        {"{\"rules\": [{\"remove\": \"a\"}]}", "\"remove\" must be an array of texts"},
        {"{\"rules\": [{\"set\": []}]}", "\"set\" must be an object"},
        {"{\"rules\": [{\"body\": {}}]}", "\"body\" must be text"},
        {"{\"rules\": [], \"clock\": 1.5}", "\"clock\" must be a whole number"},
        {"{\"rules\": [], \"migrating\": \"yes\"}", "\"migrating\" must be true or false"},
        {"{\"rules\": [],\n\"quota\": -1}", "line 2: \"quota\" must be a whole number of at least 0"}};
    for (const auto& [text, wanted] : cases) {
        std::string told;
        try {
            Scenario scenario(Write(text));
        } catch (const std::runtime_error& error) {
            told = error.what();
        }
        EXPECT_NE(told.find("scenario.json"), std::string::npos) << text;
        EXPECT_NE(told.find(wanted), std::string::npos) << text << "\n" << told;
    }
}

}  // namespace

}  // namespace Drive::ReferenceCloud
