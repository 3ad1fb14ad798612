#include "host/commands/mount_command.h"

#include <limits.h>
#include <stdlib.h>

namespace Drive::Host {

int RunMount(Session& session, const MountOptions& options) {
    MountOptions full = options;
    // A full path, as the system's list of mounts has it. One that is cut off cannot be asked, and stays as it was
    // typed.
    char place[PATH_MAX];
    if (realpath(options.mountPoint.c_str(), place) != nullptr) {
        full.mountPoint = place;
    }
    return MountRun(session, full).Run();
}

}  // namespace Drive::Host
