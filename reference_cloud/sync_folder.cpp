#include "reference_cloud/sync_folder.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <stdexcept>
#include <string_view>
#include <system_error>

namespace Drive::ReferenceCloud {

namespace {

bool WriteAll(int file, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t written = ::write(file, bytes.data(), bytes.size());
        if (written == 0 || (written < 0 && errno != EINTR)) return false;
        bytes.remove_prefix(static_cast<std::size_t>(std::max<ssize_t>(written, 0)));
    }
    return true;
}

}  // namespace

void SyncFolder(const std::string& folder) {
    const int descriptor = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    const bool synced = descriptor >= 0 && ::fsync(descriptor) == 0;
    const int error = errno;
    if (descriptor >= 0) ::close(descriptor);
    if (!synced) throw std::system_error(error, std::generic_category(), "sync folder " + folder);
}

void WriteDurably(const std::string& path, const std::string& text) {
    const std::string fresh = path + ".new";
    const int file = ::open(fresh.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    const bool ok = file >= 0 && WriteAll(file, text) && ::fsync(file) == 0;
    if (file >= 0) ::close(file);
    if (!ok || std::rename(fresh.c_str(), path.c_str()) != 0) {
        throw std::runtime_error(path + " cannot be written; check the folder and its space");
    }
    SyncFolder(std::filesystem::path(path).parent_path());
}

}  // namespace Drive::ReferenceCloud
