#pragma once

#include <string>

#include "host/get/get_command.h"
#include "host/module/session.h"

namespace Drive::Host {

/// "mount": shows the cloud as a read-only file system until it is unmounted or a signal comes. An exit code.
int RunMount(Session& session, const GetOptions& options, const std::string& mountPoint);

}  // namespace Drive::Host
