#include "collaborators/common/thumbnailer/confinement.h"

#include <linux/landlock.h>
#include <malloc.h>
#include <sched.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <csignal>

namespace Drive::Common::Thumbnailer {

namespace {

constexpr rlim_t kMemoryBytes = rlim_t{2} << 30;
constexpr rlim_t kProcessorSeconds = 30;
constexpr rlim_t kFileBytes = rlim_t{32} << 20;
constexpr rlim_t kOpenFiles = 32;

bool Limit(int resource, rlim_t value) {
    const rlimit limit{value, value};
    return setrlimit(static_cast<__rlimit_resource>(resource), &limit) == 0;
}

bool LimitMemory() {
#ifdef ZELKOR_SANITIZED
    // A sanitizer reserves more address space than any limit of use.
    return true;
#else
    return Limit(RLIMIT_AS, kMemoryBytes);
#endif
}

constexpr __u64 kAllFileRights =
    LANDLOCK_ACCESS_FS_EXECUTE | LANDLOCK_ACCESS_FS_WRITE_FILE | LANDLOCK_ACCESS_FS_READ_FILE |
    LANDLOCK_ACCESS_FS_READ_DIR | LANDLOCK_ACCESS_FS_REMOVE_DIR | LANDLOCK_ACCESS_FS_REMOVE_FILE |
    LANDLOCK_ACCESS_FS_MAKE_CHAR | LANDLOCK_ACCESS_FS_MAKE_DIR | LANDLOCK_ACCESS_FS_MAKE_REG |
    LANDLOCK_ACCESS_FS_MAKE_SOCK | LANDLOCK_ACCESS_FS_MAKE_FIFO | LANDLOCK_ACCESS_FS_MAKE_BLOCK |
    LANDLOCK_ACCESS_FS_MAKE_SYM;

}  // namespace

bool LimitResources() {
    mallopt(M_ARENA_MAX, 2);
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0);
    // Where it is not allowed the network stays, and with it no more than a user's own program could reach.
    (void)(unshare(CLONE_NEWNET) == 0 || unshare(CLONE_NEWUSER | CLONE_NEWNET) == 0);
    return LimitMemory() && Limit(RLIMIT_CPU, kProcessorSeconds) && Limit(RLIMIT_FSIZE, kFileBytes) &&
           Limit(RLIMIT_NOFILE, kOpenFiles) && Limit(RLIMIT_CORE, 0);
}

void ForbidOtherFiles(int input) {
    landlock_ruleset_attr rules{};
    rules.handled_access_fs = kAllFileRights;
    const int ruleset = static_cast<int>(syscall(SYS_landlock_create_ruleset, &rules, sizeof rules, 0));
    if (ruleset < 0) {
        return;
    }
    landlock_path_beneath_attr rule{};
    rule.allowed_access = LANDLOCK_ACCESS_FS_READ_FILE;
    rule.parent_fd = input;
    if (syscall(SYS_landlock_add_rule, ruleset, LANDLOCK_RULE_PATH_BENEATH, &rule, 0) == 0) {
        syscall(SYS_landlock_restrict_self, ruleset, 0);
    }
    close(ruleset);
}

}  // namespace Drive::Common::Thumbnailer
