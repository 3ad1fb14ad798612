#pragma once

#include "host/module/session.h"
#include "host/report/reporter.h"

namespace Drive::Host {

struct VerifyOptions {
    bool quick = false;  ///< believe what the cloud tells of its side, and read what is here alone
    ReportOptions report;
};

/// "verify": reads every file of the visible tree, brings down what the cloud holds of it without keeping it, and holds
/// both against what the cloud lists. Changes nothing. An exit code; kExitSome when the two differ in anything.
int RunVerify(Session& session, const VerifyOptions& options);

}  // namespace Drive::Host
