#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <map>
#include <set>
#include <sstream>

#include "tests/contract/database/open_database.h"

namespace Drive::Testing {
namespace {

/// Starts the other program as a writer, ends it by force once it has acknowledged that many operations, and gives
/// what it acknowledged: operation to numbers.
std::map<std::string, std::set<int>> WriteUntilKilled(const std::filesystem::path& folder, int operations) {
    int ends[2];
    if (pipe(ends) != 0) return {};
    const pid_t child = fork();
    if (child == 0) {
        dup2(ends[1], STDOUT_FILENO);
        close(ends[0]);
        execl(ZELKOR_OTHER_PROCESS, ZELKOR_OTHER_PROCESS, "write", folder.c_str(), nullptr);
        _exit(127);
    }
    close(ends[1]);
    FILE* const output = fdopen(ends[0], "r");
    std::map<std::string, std::set<int>> acknowledged;
    char line[100];
    for (int count = 0; fgets(line, sizeof line, output) != nullptr; ++count) {
        if (count == operations) kill(child, SIGKILL);
        std::istringstream words(line);
        std::string operation;
        int number = 0;
        words >> operation >> number;
        acknowledged[operation].insert(number);
    }
    fclose(output);
    waitpid(child, nullptr, 0);
    return acknowledged;
}

class Crash : public testing::TestWithParam<int> {
protected:
    void TearDown() override { SQLiteDB::CloseDatabase(); }
    StateFolder folder;
};

// DB-CRASH-01
TEST_P(Crash, LosesNothingThatWasAcknowledgedAndNeedsNoRepair) {
    const auto acknowledged = WriteUntilKilled(folder.Native(), GetParam());
    ASSERT_FALSE(acknowledged.empty());

    const SQLiteDB::OpenResult result = SQLiteDB::OpenDatabase(folder.Wide());
    ASSERT_EQ(result.outcome, SQLiteDB::OpenOutcome::Opened) << result.message;
    for (const int number : acknowledged.at("put")) {
        const std::wstring id = std::to_wstring(number);
        const int status = Db().GetDriveDataItemWithKey(id).GetFileStatus();
        if (acknowledged.contains("claim") && acknowledged.at("claim").contains(number)) {
            EXPECT_EQ(status, 22) << number;
        } else {
            EXPECT_TRUE(status == 21 || status == 22) << number;
        }
        const Common::TaskItem task = Db().GetTaskItem(id, 1);
        if (acknowledged.contains("delete") && acknowledged.at("delete").contains(number)) {
            EXPECT_TRUE(task.GetFileId().empty()) << number;
        } else if (number % 2 == 1) {
            EXPECT_EQ(task.GetFileId(), id);
        }
    }
    EXPECT_EQ(Ask(L"SELECT count(*) FROM T_task t LEFT JOIN T_cloudDriveData f USING (fileId) WHERE f.fileId IS NULL"),
              L"0")
        << "a file and its task were written together";
}

INSTANTIATE_TEST_SUITE_P(AfterSoManyOperations, Crash, testing::Values(1, 2, 3, 4, 50, 51, 52, 53, 700));

}  // namespace
}  // namespace Drive::Testing
