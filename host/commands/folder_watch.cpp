#include "host/commands/folder_watch.h"

#include <dirent.h>
#include <poll.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <vector>

#include "interfaces/platform/clock.h"

namespace Drive::Host {
namespace {

constexpr std::uint32_t kEvents = IN_CLOSE_WRITE | IN_ATTRIB | IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO |
                                  IN_MODIFY | IN_ONLYDIR | IN_DONT_FOLLOW | IN_EXCL_UNLINK;

std::vector<std::string> FoldersIn(const std::string& path) {
    std::vector<std::string> found;
    DIR* const folder = opendir(path.c_str());
    while (const dirent* entry = folder != nullptr ? readdir(folder) : nullptr) {
        struct stat facts {};
        const std::string below = path + "/" + entry->d_name;
        if (std::strcmp(entry->d_name, ".") != 0 && std::strcmp(entry->d_name, "..") != 0 &&
            lstat(below.c_str(), &facts) == 0 && S_ISDIR(facts.st_mode)) {
            found.push_back(below);
        }
    }
    if (folder != nullptr) {
        closedir(folder);
    }
    return found;
}

}  // namespace

FolderWatch::FolderWatch(const std::string& root) : descriptor(inotify_init1(IN_CLOEXEC | IN_NONBLOCK)) {
    complete = descriptor >= 0;
    Add(root);
}

FolderWatch::~FolderWatch() {
    if (descriptor >= 0) {
        close(descriptor);
    }
}

// A folder that came with content in it is gone through as well.
void FolderWatch::Add(const std::string& folder) {
    std::vector<std::string> open{folder};
    while (!open.empty()) {
        const std::string path = open.back();
        open.pop_back();
        const int watch = inotify_add_watch(descriptor, path.c_str(), kEvents);
        if (watch < 0) {
            complete = complete && (errno == ENOENT || errno == ENOTDIR);
            continue;
        }
        folders[watch] = path;
        for (std::string& below : FoldersIn(path)) {
            open.push_back(std::move(below));
        }
    }
}

void FolderWatch::Take() {
    alignas(inotify_event) char buffer[64 * 1024];
    for (ssize_t count = 0; (count = read(descriptor, buffer, sizeof buffer)) > 0;) {
        lastChange = Platform::MonotonicMilliseconds();
        for (ssize_t at = 0; at < count;) {
            const auto* event = reinterpret_cast<const inotify_event*>(buffer + at);
            at += static_cast<ssize_t>(sizeof *event + event->len);
            if ((event->mask & IN_IGNORED) != 0) {
                folders.erase(event->wd);
            } else if ((event->mask & IN_ISDIR) != 0 && (event->mask & (IN_CREATE | IN_MOVED_TO)) != 0 &&
                       folders.count(event->wd) != 0) {
                Add(folders[event->wd] + "/" + event->name);
            }
        }
    }
}

void FolderWatch::Wait(int milliseconds) {
    pollfd wait{descriptor, POLLIN, 0};
    poll(&wait, descriptor >= 0 ? 1 : 0, milliseconds);
    if (descriptor >= 0) {
        Take();
    }
}

bool FolderWatch::QuietSince(std::int64_t milliseconds) const {
    return lastChange != 0 && Platform::MonotonicMilliseconds() - lastChange >= milliseconds;
}

}  // namespace Drive::Host
