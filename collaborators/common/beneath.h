#pragma once

#include <sys/types.h>

#include <string>

#include "collaborators/common/unique_fd.h"

/// Opening what stands below a folder, and nothing else: neither ".." nor a link leads out. Failures leave `errno`.
namespace Drive::Common {

/// Opens `relative` below the folder behind `base`. Links that stay below it are followed, but not in the place of a
/// file. Uses the kernel's beneath-only lookup, and OpenByWalk where the kernel has none.
UniqueFd OpenBeneath(int base, const std::string& relative, int flags, mode_t mode);

/// The same component by component; follows no link at all.
UniqueFd OpenByWalk(int base, const std::string& relative, int flags, mode_t mode);

}  // namespace Drive::Common
