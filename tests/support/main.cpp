// Runs each test case in a process of its own: singletons, flags that are never cleared and waiters that never end are
// the engine's way, and no case may see those of another. The process ends without destructors, as a host's does.
#include <fnmatch.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

extern "C" int __lsan_do_recoverable_leak_check() __attribute__((weak));
extern "C" void __gcov_dump() __attribute__((weak));

namespace {

[[noreturn]] void EndProcess(int status) {
    if (status == 0 && __lsan_do_recoverable_leak_check != nullptr && __lsan_do_recoverable_leak_check() != 0) {
        status = 23;
    }
    if (__gcov_dump != nullptr) __gcov_dump();
    std::fflush(nullptr);
    _exit(status);
}

std::vector<std::string> Selected() {
    std::vector<std::string> names;
    const auto& unit = *testing::UnitTest::GetInstance();
    for (int i = 0; i < unit.total_test_suite_count(); ++i) {
        const auto& suite = *unit.GetTestSuite(i);
        for (int j = 0; j < suite.total_test_count(); ++j) {
            const auto& info = *suite.GetTestInfo(j);
            names.push_back(std::string(suite.name()) + "." + info.name());
        }
    }
    return names;
}

bool MatchesAny(const std::string& name, const std::string& patterns) {
    std::istringstream list(patterns);
    for (std::string pattern; std::getline(list, pattern, ':');) {
        if (fnmatch(pattern.c_str(), name.c_str(), 0) == 0) return true;
    }
    return false;
}

std::vector<std::string> Chosen(const std::string& filter) {
    const auto dash = filter.find('-');
    const std::string wanted = dash == 0 ? "*" : filter.substr(0, dash);
    const std::string unwanted = dash == std::string::npos ? "" : filter.substr(dash + 1);
    std::vector<std::string> names;
    for (const std::string& name : Selected()) {
        if (MatchesAny(name, wanted) && !MatchesAny(name, unwanted)) names.push_back(name);
    }
    return names;
}

// The part that GTEST_TOTAL_SHARDS and GTEST_SHARD_INDEX name, as in any test program; the cases themselves do not see
// them.
std::vector<std::string> Shard(std::vector<std::string> names) {
    const char* const total = std::getenv("GTEST_TOTAL_SHARDS");
    const char* const index = std::getenv("GTEST_SHARD_INDEX");
    if (total == nullptr || index == nullptr) return names;
    const std::size_t shards = std::stoul(total), mine = std::stoul(index);
    unsetenv("GTEST_TOTAL_SHARDS");
    unsetenv("GTEST_SHARD_INDEX");
    std::vector<std::string> part;
    for (std::size_t i = mine; i < names.size(); i += shards) part.push_back(names[i]);
    return part;
}

int RunEachAlone(const std::vector<std::string>& names) {
    int failed = 0;
    for (const std::string& name : names) {
        std::fflush(nullptr);
        const pid_t child = fork();
        if (child == 0) {
            testing::GTEST_FLAG(filter) = name;
            EndProcess(RUN_ALL_TESTS());
        }
        int status = 0;
        waitpid(child, &status, 0);
        if (WIFEXITED(status) && WEXITSTATUS(status) == 0) continue;
        ++failed;
        std::printf("FAILED: %s\n", name.c_str());
    }
    std::printf("%zu cases, %d failed\n", names.size(), failed);
    return failed == 0 ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const bool sharded = std::getenv("GTEST_TOTAL_SHARDS") != nullptr;
    const std::vector<std::string> names = Shard(Chosen(testing::GTEST_FLAG(filter)));
    if (names.size() == 1) GTEST_FLAG_SET(filter, names.front());
    if (testing::GTEST_FLAG(list_tests) || names.size() == 1) EndProcess(RUN_ALL_TESTS());
    if (names.empty() && sharded) {
        std::printf("0 cases, 0 failed\n");
        return 0;
    }
    if (names.empty()) {
        std::printf("no case matches the filter\n");
        return 1;
    }
    return RunEachAlone(names);
}
