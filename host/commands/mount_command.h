#pragma once

#include "host/module/session.h"
#include "host/mount/mount_run.h"

namespace Drive::Host {

/// "mount": shows the cloud as a file system until it is unmounted or a signal comes. An exit code.
int RunMount(Session& session, const MountOptions& options);

}  // namespace Drive::Host
