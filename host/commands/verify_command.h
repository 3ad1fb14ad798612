#pragma once

#include "host/module/session.h"
#include "host/report/reporter.h"

namespace Drive::Host {

/// "verify": reads every file of the visible tree and holds it against what the cloud lists. Changes nothing. An exit
/// code; kExitSome when the two differ in anything.
int RunVerify(Session& session, const ReportOptions& options);

}  // namespace Drive::Host
