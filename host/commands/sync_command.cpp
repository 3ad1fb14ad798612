#include "host/commands/sync_command.h"

#include <cstdio>

#include "host/commands/child_command.h"
#include "host/commands/folder_watch.h"
#include "host/module/exit_codes.h"
#include "host/module/stop_signal.h"
#include "interfaces/platform/clock.h"

namespace Drive::Host {
namespace {

constexpr std::int64_t kQuiet = 2000;  // milliseconds without a change before it is sent

int RunOne(const char* command, const std::string& stateFolder, const std::vector<std::string>& more,
           const std::vector<std::string>& words) {
    std::vector<std::string> all{command, "--state", stateFolder};
    all.insert(all.end(), more.begin(), more.end());
    all.insert(all.end(), words.begin(), words.end());
    return RunChild(all);
}

bool Serious(int code) { return code != kExitOk && code != kExitSome; }

}  // namespace

int RunSync(const std::string& stateFolder, const std::vector<std::string>& words) {
    const int put = RunOne("put", stateFolder, {}, words);
    if (Serious(put) || StopRequested()) {
        return put;
    }
    return WorseOf(put, RunOne("get", stateFolder, {}, words));
}

int RunWatch(const WatchOptions& options) {
    FolderWatch folder(options.root);
    if (!folder.Complete()) {
        std::fprintf(stderr,
                     "zelkor-drive: the system cannot watch all folders of %s (fs.inotify.max_user_watches); changes "
                     "are found every %d seconds\n",
                     options.root.c_str(), options.fullSeconds);
    }
    std::int64_t lastFull = 0, lastAsked = 0;
    while (!StopRequested()) {
        const std::int64_t now = Platform::MonotonicMilliseconds();
        const bool full = lastFull == 0 || now - lastFull >= options.fullSeconds * 1000LL;
        const bool changed = folder.QuietSince(kQuiet);
        const bool ask = now - lastAsked >= options.everySeconds * 1000LL;
        if (changed || full) {
            folder.Forget();
            lastFull = now;
            RunOne("put", options.stateFolder, {}, options.words);
        }
        if ((changed || full || ask) && !StopRequested()) {
            lastAsked = Platform::MonotonicMilliseconds();
            const std::vector<std::string> more =
                full ? std::vector<std::string>{} : std::vector{std::string("--if-changed")};
            RunOne("get", options.stateFolder, more, options.words);
        }
        folder.Wait(500);
    }
    return kExitOk;
}

}  // namespace Drive::Host
