#include "host/settings/private_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace Drive::Host {
namespace {

constexpr std::size_t kLargest = 16u << 20;

std::string Failure(const std::string& what, const std::string& path) {
    return "cannot " + what + " " + path + ": " + std::strerror(errno);
}

bool WriteAll(int descriptor, const std::string& content) {
    std::size_t done = 0;
    while (done < content.size()) {
        const ssize_t count = write(descriptor, content.data() + done, content.size() - done);
        if (count < 0 && errno != EINTR) {
            return false;
        }
        done += count > 0 ? static_cast<std::size_t>(count) : 0;
    }
    return fsync(descriptor) == 0;
}

void SyncFolderOf(const std::string& path) {
    const std::size_t slash = path.rfind('/');
    const std::string folder = slash == std::string::npos ? "." : path.substr(0, slash + 1);
    const int descriptor = open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (descriptor >= 0) {
        fsync(descriptor);
        close(descriptor);
    }
}

}  // namespace

bool WritePrivateFile(const std::string& path, const std::string& content, std::string& error) {
    const std::string fresh = path + ".new";
    const int descriptor = open(fresh.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOFOLLOW, 0600);
    if (descriptor < 0) {
        error = Failure("write", fresh);
        return false;
    }
    const bool written = fchmod(descriptor, 0600) == 0 && WriteAll(descriptor, content);
    error = written ? "" : Failure("write", fresh);
    close(descriptor);
    if (!written || rename(fresh.c_str(), path.c_str()) != 0) {
        error = error.empty() ? Failure("replace", path) : error;
        unlink(fresh.c_str());
        return false;
    }
    SyncFolderOf(path);
    return true;
}

bool ReadSmallFile(const std::string& path, std::string& content, std::string& error) {
    content.clear();
    const int descriptor = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor < 0) {
        error = Failure("read", path);
        return false;
    }
    char buffer[4096];
    ssize_t count = 0;
    while ((count = read(descriptor, buffer, sizeof buffer)) != 0) {
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count < 0 || content.size() > kLargest) {
            break;
        }
        content.append(buffer, static_cast<std::size_t>(count));
    }
    error = count == 0 ? "" : Failure("read", path);
    close(descriptor);
    return count == 0;
}

bool MakePrivateFolder(const std::string& path, std::string& error) {
    for (std::size_t slash = path.find('/', 1); slash != std::string::npos; slash = path.find('/', slash + 1)) {
        if (mkdir(path.substr(0, slash).c_str(), 0777) != 0 && errno != EEXIST) {
            error = Failure("make the folder", path.substr(0, slash));
            return false;
        }
    }
    struct stat facts {};
    if ((mkdir(path.c_str(), 0700) != 0 && errno != EEXIST) || stat(path.c_str(), &facts) != 0) {
        error = Failure("make the folder", path);
        return false;
    }
    error = S_ISDIR(facts.st_mode) ? "" : path + " is no folder";
    return error.empty();
}

}  // namespace Drive::Host
