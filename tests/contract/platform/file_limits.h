#pragma once

#include <sys/fsuid.h>
#include <sys/resource.h>
#include <unistd.h>

#include <csignal>

namespace Drive::Testing {

/// While it lives no file of this process grows beyond `bytes`: what a full disk looks like to a writer.
class FileSizeLimit {
public:
    explicit FileSizeLimit(rlim_t bytes) {
        ::getrlimit(RLIMIT_FSIZE, &before);
        earlierAction = std::signal(SIGXFSZ, SIG_IGN);
        rlimit limited = before;
        limited.rlim_cur = bytes;
        ::setrlimit(RLIMIT_FSIZE, &limited);
    }
    ~FileSizeLimit() {
        ::setrlimit(RLIMIT_FSIZE, &before);
        std::signal(SIGXFSZ, earlierAction);
    }
    FileSizeLimit(const FileSizeLimit&) = delete;
    FileSizeLimit& operator=(const FileSizeLimit&) = delete;

private:
    rlimit before{};
    void (*earlierAction)(int);
};

/// While it lives the calling thread reaches files without the rights of the superuser.
class OrdinaryUser {
public:
    OrdinaryUser() {
        if (::geteuid() == 0) ::setfsuid(65534);
    }
    ~OrdinaryUser() { ::setfsuid(::geteuid()); }
    OrdinaryUser(const OrdinaryUser&) = delete;
    OrdinaryUser& operator=(const OrdinaryUser&) = delete;
};

}  // namespace Drive::Testing
