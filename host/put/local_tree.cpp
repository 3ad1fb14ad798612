#include "host/put/local_tree.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>

#include "interfaces/platform/native_path.h"

namespace Drive::Host {
namespace {

struct Folder {
    std::string path;  // with a closing slash; empty for the root
    std::wstring enginePath;
};

FileFacts FactsOf(const struct stat& facts) {
    const FileKind kind = S_ISREG(facts.st_mode)   ? FileKind::File
                          : S_ISDIR(facts.st_mode) ? FileKind::Folder
                          : S_ISLNK(facts.st_mode) ? FileKind::Link
                                                   : FileKind::Other;
    return {kind, facts.st_size, facts.st_mtim.tv_sec * 1000000000LL + facts.st_mtim.tv_nsec};
}

// The names in a folder, in order. False when it cannot be read.
bool NamesIn(int descriptor, std::vector<std::string>& names) {
    DIR* const folder = descriptor >= 0 ? fdopendir(descriptor) : nullptr;
    if (folder == nullptr) {
        if (descriptor >= 0) {
            close(descriptor);
        }
        return false;
    }
    while (const dirent* entry = readdir(folder)) {
        if (std::strcmp(entry->d_name, ".") != 0 && std::strcmp(entry->d_name, "..") != 0) {
            names.emplace_back(entry->d_name);
        }
    }
    closedir(folder);
    std::sort(names.begin(), names.end());
    return true;
}

}  // namespace

std::vector<LocalEntry> ReadLocalTree(const Tree& root, const std::string& leaveOut) {
    std::vector<LocalEntry> entries;
    std::vector<Folder> open{{"", L""}};
    while (!open.empty()) {
        const Folder folder = open.back();
        open.pop_back();
        const int descriptor = root.OpenFolder(folder.path.empty() ? "." : folder.path);
        const int names = descriptor >= 0 ? dup(descriptor) : -1;
        std::vector<std::string> inside;
        if (!NamesIn(names, inside)) {
            for (LocalEntry& entry : entries) {
                entry.facts.kind = entry.path + "/" == folder.path ? FileKind::Unreachable : entry.facts.kind;
            }
        }
        std::vector<Folder> below;
        for (const std::string& name : inside) {
            struct stat facts {};
            if (folder.path + name == leaveOut || fstatat(descriptor, name.c_str(), &facts, AT_SYMLINK_NOFOLLOW) != 0) {
                continue;
            }
            entries.push_back({folder.path + name, folder.enginePath, Platform::EngineName(name), FactsOf(facts)});
            if (entries.back().facts.kind == FileKind::Folder) {
                below.push_back({folder.path + name + "/", folder.enginePath + entries.back().name + L"\\"});
            }
        }
        open.insert(open.end(), below.rbegin(), below.rend());
        if (descriptor >= 0) {
            close(descriptor);
        }
    }
    return entries;
}

}  // namespace Drive::Host
