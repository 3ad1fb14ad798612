#include "host/module/root_check.h"

#include <dirent.h>
#include <sys/stat.h>

namespace Drive::Host {
namespace {

constexpr const char* kIdentity = "rootIdentity";

bool IsEmpty(const std::string& folder, const std::string& leaveOut) {
    DIR* const open = opendir(folder.c_str());
    bool empty = open != nullptr;
    while (const dirent* entry = empty ? readdir(open) : nullptr) {
        const std::string name = entry->d_name;
        // A fresh file system has that folder of its own.
        empty = name == "." || name == ".." || name == leaveOut || name == "lost+found";
    }
    if (open != nullptr) {
        closedir(open);
    }
    return empty;
}

}  // namespace

std::string RootIdentity(const std::string& root) {
    struct stat facts {};
    return stat(root.c_str(), &facts) == 0 ? std::to_string(facts.st_dev) + ":" + std::to_string(facts.st_ino) : "";
}

bool LooksMounted(const std::string& root, const std::string& leaveOut, HostRecords& records) {
    const std::string before = records.Value(kIdentity);
    return before.empty() || before == RootIdentity(root) || !IsEmpty(root, leaveOut) || !records.AnyProved();
}

void RememberRoot(const std::string& root, HostRecords& records) {
    const std::string identity = RootIdentity(root);
    if (records.Value(kIdentity) != identity) {
        records.SetValue(kIdentity, identity);
    }
}

}  // namespace Drive::Host
