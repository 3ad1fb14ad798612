#include "host/commands/child_command.h"

#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "host/module/exit_codes.h"
#include "host/module/stop_signal.h"

namespace Drive::Host {

int RunChild(const std::vector<std::string>& words) {
    std::vector<char*> arguments{const_cast<char*>("zelkor-drive")};
    for (const std::string& word : words) {
        arguments.push_back(const_cast<char*>(word.c_str()));
    }
    arguments.push_back(nullptr);
    pid_t child = 0;
    if (posix_spawn(&child, "/proc/self/exe", nullptr, nullptr, arguments.data(), environ) != 0) {
        return kExitLocal;
    }
    OnStopRequested([child] { kill(child, SIGTERM); });
    int status = 0;
    pid_t ended = 0;
    do {
        ended = waitpid(child, &status, 0);
    } while (ended < 0 && errno == EINTR);
    OnStopRequested({});
    return ended == child && WIFEXITED(status) ? WEXITSTATUS(status) : kExitLocal;
}

int WorseOf(int first, int second) {
    // Some files that did not go through weigh less than a command that could not do its work.
    const auto weight = [](int code) { return code == kExitSome ? 1 : code == kExitOk ? 0 : 100 - code; };
    return weight(first) >= weight(second) ? first : second;
}

}  // namespace Drive::Host
