// Runs histories of the engine on the stepped clock: each is a seed, which decides the files, the order of threads,
// what fails, and when it crashes. Each life of a history is a process of its own, since the engine's singletons live
// that long.
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "tests/simulation/invariants.h"
#include "tests/simulation/life.h"
#include "tests/simulation/plan.h"

namespace {

using namespace Drive::Simulation;
namespace fs = std::filesystem;

#if defined(ZELKOR_SANITIZED)
constexpr unsigned kLongestLife = 120;
#else
constexpr unsigned kLongestLife = 60;
#endif
constexpr unsigned kLongestWait = 900;

struct Options {
    std::uint64_t first = 1;
    std::uint64_t histories = 1000;
    bool log = false;
    bool twice = false;
    bool list = false;
};

// One life in a child. False when it did not end well, which is then told.
bool LiveInChild(const Plan& plan, std::size_t number, const std::string& folder, bool log) {
    std::fflush(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        // In seconds of the processor, so that a busy machine takes nothing from it; a life that waits for ever is
        // ended by the stepped clock.
        const rlimit limit{kLongestLife, kLongestLife};
        setrlimit(RLIMIT_CPU, &limit);
        // A real lock that nobody gives back.
        alarm(kLongestWait);
        Live(plan, number, folder, log);
    }
    int status = 0;
    waitpid(child, &status, 0);
    if (WIFEXITED(status) && WEXITSTATUS(status) == 0) return true;
    if (WIFSIGNALED(status)) {
        std::printf("seed %llu, life %zu: ended by signal %d\n", static_cast<unsigned long long>(plan.seed), number + 1,
                    WTERMSIG(status));
    }
    return false;
}

bool RunHistory(std::uint64_t seed, const std::string& folder, bool log) {
    fs::remove_all(folder);
    fs::create_directories(folder);
    const Plan plan = MakePlan(seed);
    for (std::size_t number = 0; number < plan.lives.size(); ++number) {
        if (!LiveInChild(plan, number, folder, log)) return false;
    }
    return true;
}

std::string ReadLog(const std::string& folder) {
    std::ifstream in(folder + "/log", std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

// The first line in which two logs part.
std::string Parting(const std::string& one, const std::string& other) {
    std::size_t line = 0;
    std::size_t at = 0;
    for (; at < one.size() && at < other.size() && one[at] == other[at]; ++at) {
        if (one[at] == '\n') line = at + 1;
    }
    return one.substr(line, one.find('\n', line) - line) + "\n" + other.substr(line, other.find('\n', line) - line);
}

bool RunTwice(std::uint64_t seed, const std::string& folder) {
    if (!RunHistory(seed, folder, true)) return false;
    const std::string once = ReadLog(folder);
    if (!RunHistory(seed, folder, true)) return false;
    const std::string again = ReadLog(folder);
    if (once == again && !once.empty()) return true;
    std::printf("seed %llu: two runs part at\n%s\n", static_cast<unsigned long long>(seed),
                Parting(once, again).c_str());
    return false;
}

int RunAll(const Options& options) {
    const bool memory = access("/dev/shm", W_OK) == 0;
    const std::string folder = std::string(memory ? "/dev/shm" : fs::temp_directory_path().c_str()) +
                               "/zelkor-simulation-" + std::to_string(getpid());
    int failed = 0;
    std::uint64_t done = 0;
    for (; done < options.histories && failed == 0; ++done) {
        const std::uint64_t seed = options.first + done;
        const bool well = options.twice ? RunTwice(seed, folder) : RunHistory(seed, folder, options.log);
        if (options.log) std::printf("%s", ReadLog(folder).c_str());
        if (!well) ++failed;
    }
    std::error_code ignored;
    fs::remove_all(folder, ignored);
    std::printf("%llu histories, %s\n", static_cast<unsigned long long>(done),
                failed == 0 ? "all invariants held" : "the last one failed");
    return failed == 0 ? 0 : 1;
}

bool Parse(int argc, char** argv, Options& options) {
    for (int i = 1; i < argc; ++i) {
        const std::string name = argv[i];
        const bool value = i + 1 < argc;
        if (name == "--log") {
            options.log = true;
        } else if (name == "--twice") {
            options.twice = true;
        } else if (name == "--list") {
            options.list = true;
        } else if (name == "--histories" && value) {
            options.histories = std::strtoull(argv[++i], nullptr, 10);
        } else if (name == "--first" && value) {
            options.first = std::strtoull(argv[++i], nullptr, 10);
        } else if (name == "--seed" && value) {
            options.first = std::strtoull(argv[++i], nullptr, 10);
            options.histories = 1;
        } else {
            return false;
        }
    }
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    Options options;
    if (!Parse(argc, argv, options)) {
        std::fprintf(
            stderr,
            "usage: zelkor_simulation [--first SEED] [--histories N] [--seed SEED] [--log] [--twice] [--list]\n"
            "  --seed   one history; --log prints its journal; --twice runs each twice and compares the\n"
            "  journals; --list prints the invariants\n");
        return 2;
    }
    if (options.list) {
        for (const Invariant& invariant : Invariants()) {
            std::printf("INV-%02d %s\n", invariant.number, invariant.sentence);
        }
        return 0;
    }
    return RunAll(options);
}
