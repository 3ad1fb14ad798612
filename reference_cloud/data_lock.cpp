#include "reference_cloud/data_lock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <stdexcept>

namespace Drive::ReferenceCloud {

DataLock::DataLock(const std::string& dataFolder, Kind kind) {
    const std::string path = dataFolder + (kind == Kind::server ? "/server.lock" : "/store.lock");
    file_ = ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (file_ < 0) throw std::runtime_error("cannot open " + path + "; check the data folder");
    held_ = ::flock(file_, kind == Kind::storeShared ? LOCK_SH : LOCK_EX | LOCK_NB) == 0;
}

DataLock::~DataLock() { ::close(file_); }

}  // namespace Drive::ReferenceCloud
