#include "host/mount/hydration_guard.h"

#include <sched.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <utility>

namespace Drive::Host {
namespace {

constexpr int kAncestors = 8;
constexpr std::size_t kKernelName = 15;  // bytes
constexpr int kOfProcess = 1;            // of ioprio_get
constexpr int kClassShift = 13;
constexpr long kIdleClass = 3;

bool IsIdle(pid_t process) {
    if (sched_getscheduler(process) == SCHED_IDLE) {
        return true;
    }
    const long priority = syscall(SYS_ioprio_get, kOfProcess, process);
    return priority >= 0 && priority >> kClassShift == kIdleClass;
}

}  // namespace

const char* const kUsualIndexers =
    "tumblerd ffmpegthumbnailer gnome-thumbnail gdk-pixbuf-thumbnailer totem-video-thumbnailer evince-thumbnailer "
    "thumbnail.so tracker-extract tracker-miner-fs localsearch baloo_file baloo_file_extractor recollindex";

ProcessFacts FactsOfProcess(pid_t process) {
    ProcessFacts facts;
    std::ifstream file("/proc/" + std::to_string(process) + "/stat");
    const std::string line{std::istreambuf_iterator<char>(file), {}};
    const std::size_t open = line.find('('), close = line.rfind(')');
    if (open == std::string::npos || close == std::string::npos || close + 4 > line.size()) {
        return facts;
    }
    facts.name = line.substr(open + 1, close - open - 1);
    facts.parent = static_cast<pid_t>(std::strtol(line.c_str() + close + 4, nullptr, 10));
    facts.idle = IsIdle(process);
    return facts;
}

HydrationGuard::HydrationGuard(const std::string& list, std::function<ProcessFacts(pid_t)> look)
    : look(std::move(look)) {
    std::string name;
    for (const char character : list + " ") {
        if (character != ' ' && character != ',' && character != '\t') {
            name += character;
        } else if (!name.empty()) {
            names.push_back(std::exchange(name, "").substr(0, kKernelName));
        }
    }
}

bool HydrationGuard::MayFetch(pid_t process) const {
    for (int generation = 0; generation < kAncestors && process > 1; ++generation) {
        const ProcessFacts facts = look(process);
        if (facts.name.empty()) {
            return true;
        }
        if ((generation == 0 && facts.idle) || std::find(names.begin(), names.end(), facts.name) != names.end()) {
            return false;
        }
        process = facts.parent;
    }
    return true;
}

}  // namespace Drive::Host
