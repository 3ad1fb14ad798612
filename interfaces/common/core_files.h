#pragma once

#include "interfaces/platform/export.h"

/// For the host, not for the engine: what a core file of this process may hold. The key buffers of globals.h are left
/// out of every core file from the moment that the library is loaded. Copies of the keys that are in use, and tokens,
/// stand on the heap and on stacks.
namespace Drive::Common {

/// From now on a core file of this process, and of those that it starts, holds no memory at all, only what the kernel
/// tells of threads and their registers. Any thread; before there is a key. False when the system does not let it be
/// set; nothing has changed then.
ZELKOR_API bool LeaveMemoryOutOfCoreFiles();

}  // namespace Drive::Common
