#pragma once

#include <string>
#include <vector>

#include "host/module/session.h"
#include "host/report/reporter.h"

namespace Drive::Host {

struct ThumbnailsOptions {
    double timeoutSeconds = 0;      ///< 0 for none
    int stopSeconds = 30;           ///< that the engine gets to end
    std::vector<std::string> only;  ///< these entries, with all below them; empty for everything
    ReportOptions report;
};

/// "thumbnails": brings the small picture of every file of which the cloud offers one, also of files that are not here,
/// into the folder "thumbnails" of the state folder, which mirrors the tree. A picture that is there and of the present
/// content is not brought again; one whose file is gone is removed. An exit code.
int RunThumbnails(Session& session, const ThumbnailsOptions& options);

}  // namespace Drive::Host
