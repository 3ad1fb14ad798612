#include "reference_cloud/sync_folder.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace Drive::ReferenceCloud {

void SyncFolder(const std::string& folder) {
    const int descriptor = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    const bool synced = descriptor >= 0 && ::fsync(descriptor) == 0;
    const int error = errno;
    if (descriptor >= 0) ::close(descriptor);
    if (!synced) throw std::system_error(error, std::generic_category(), "sync folder " + folder);
}

}  // namespace Drive::ReferenceCloud
