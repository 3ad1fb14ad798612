#include "host/commands/password.h"

#include <termios.h>
#include <unistd.h>

#include <cstdio>
#include <iostream>

#include "host/settings/private_file.h"

namespace Drive::Host {
namespace {

std::string AskedFor(const std::string& user) {
    termios before{};
    const bool terminal = isatty(STDIN_FILENO) != 0 && tcgetattr(STDIN_FILENO, &before) == 0;
    if (terminal) {
        std::fprintf(stderr, "password of %s: ", user.c_str());
        termios silent = before;
        silent.c_lflag &= ~static_cast<tcflag_t>(ECHO);
        tcsetattr(STDIN_FILENO, TCSAFLUSH, &silent);
    }
    std::string line;
    std::getline(std::cin, line);
    if (terminal) {
        tcsetattr(STDIN_FILENO, TCSAFLUSH, &before);
        std::fputc('\n', stderr);
    }
    return line;
}

}  // namespace

bool ReadPassword(const std::string& path, const std::string& user, std::string& password, std::string& error) {
    password.clear();
    if (path.empty()) {
        password = AskedFor(user);
    } else if (!ReadSmallFile(path, password, error)) {
        return false;
    }
    password.resize(password.find_first_of("\r\n") == std::string::npos ? password.size()
                                                                        : password.find_first_of("\r\n"));
    error = password.empty() ? "no password; give --password-file or one line on the standard input" : "";
    return !password.empty();
}

}  // namespace Drive::Host
