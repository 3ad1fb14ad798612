#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "host/control/control_socket.h"
#include "host/control/run_desk.h"
#include "tests/unit/host/temporary_folder.h"

namespace Drive::Host {
namespace {

// HOST-DESK-01
TEST(ControlSocket, CarriesALineThereAndBack) {
    const TemporaryFolder folder;
    ASSERT_TRUE(ServeControl(folder.Path(), [](const std::string& line) { return "heard " + line; }));
    EXPECT_EQ(AskControl(folder.Path(), "this", 5000), "heard this");
    EXPECT_EQ(AskControl(folder.Path(), "that", 5000), "heard that");
}

// HOST-DESK-02
TEST(ControlSocket, WorksInAFolderWithALongPath) {
    const TemporaryFolder folder;
    const std::string deep = "a folder with a long name/a folder with a long name/a folder with a long name/and more";
    std::filesystem::create_directories(folder.Path(deep));
    ASSERT_TRUE(ServeControl(folder.Path(deep), [](const std::string& line) { return line; }));
    EXPECT_EQ(AskControl(folder.Path(deep), "far", 5000), "far");
}

// HOST-DESK-03
TEST(ControlSocket, NobodyAnswersWhereNothingRuns) {
    const TemporaryFolder folder;
    EXPECT_FALSE(AskControl(folder.Path(), "hello", 1000).has_value());
    ASSERT_TRUE(ServeControl(folder.Path(), [](const std::string& line) { return line; }));
    EndControl(folder.Path());
    EXPECT_FALSE(AskControl(folder.Path(), "hello", 1000).has_value());
}

// HOST-DESK-03
TEST(ControlSocket, TakesThePlaceOfOneThatACrashLeft) {
    const TemporaryFolder folder;
    folder.Write("control", "left over");
    ASSERT_TRUE(ServeControl(folder.Path(), [](const std::string& line) { return line; }));
    EXPECT_EQ(AskControl(folder.Path(), "again", 5000), "again");
}

// HOST-DESK-04
TEST(RunDesk, TellsWhatTheCommandIsDoing) {
    RunDesk::Get().Tell("get", {10, 100, 1, 3});
    const std::string answer = RunDesk::Get().Answer(ProgressRequest());
    EXPECT_NE(answer.find("\"command\":\"get\""), std::string::npos);
    EXPECT_NE(answer.find("\"bytesAll\":100"), std::string::npos);
    EXPECT_NE(answer.find("\"filesDone\":1"), std::string::npos);
}

// HOST-DESK-04
TEST(RunDesk, TellsRateTimeLeftAndEachNoteOnce) {
    RunDesk::Get().Tell("put", {10, 100, 1, 3, 45, 2});
    EXPECT_TRUE(RunDesk::Get().Note("the space is full"));
    EXPECT_FALSE(RunDesk::Get().Note("the space is full"));
    const std::string answer = RunDesk::Get().Answer(ProgressRequest());
    EXPECT_NE(answer.find("\"bytesPerSecond\":45"), std::string::npos);
    EXPECT_NE(answer.find("\"secondsLeft\":2"), std::string::npos);
    EXPECT_NE(answer.find("\"notes\":[\"the space is full\"]"), std::string::npos);
}

// HOST-DESK-05
TEST(RunDesk, HandsAWishToTheCommandAndItsAnswerBack) {
    std::atomic<bool> done{false};
    std::string wished;
    std::thread command([&] {
        while (!done) {
            RunDesk::Get().Serve([&](const std::string& path) {
                wished = path;
                return kCancelled;
            });
        }
    });
    const std::string answer = RunDesk::Get().Answer(CancelRequest("folder/x\xFF\n\"y\""));
    done = true;
    command.join();
    EXPECT_EQ(wished, "folder/x\xFF\n\"y\"");
    EXPECT_EQ(answer, "{\"answer\":\"cancelled\"}");
}

// HOST-EVICT-03
TEST(RunDesk, AWishToEvictReachesACommandThatCanAndIsRefusedByOneThatCannot) {
    const auto ask = [](const RunDesk::Decision& evict) {
        std::atomic<bool> done{false};
        std::thread command([&] {
            while (!done) {
                RunDesk::Get().Serve([](const std::string&) { return std::string(kCancelled); }, evict);
                std::this_thread::yield();
            }
        });
        const std::string answer = RunDesk::Get().Answer(EvictRequest("folder/x"));
        done = true;
        command.join();
        return answer;
    };
    EXPECT_EQ(ask([](const std::string& path) { return "evicted " + path; }), "{\"answer\":\"evicted folder/x\"}");
    EXPECT_NE(ask({}).find("cannot do that"), std::string::npos);
}

// HOST-DESK-06
TEST(RunDesk, NonsenseIsNotUnderstood) {
    EXPECT_EQ(RunDesk::Get().Answer("{"), "{\"answer\":\"not understood\"}");
    EXPECT_EQ(RunDesk::Get().Answer("[]"), "{\"answer\":\"not understood\"}");
}

}  // namespace
}  // namespace Drive::Host
