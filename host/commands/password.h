#pragma once

#include <string>

namespace Drive::Host {

/// The first line of the file or, with an empty path, of the standard input; on a terminal it is asked for without
/// showing what is typed. False with `error` set; an empty password is refused.
bool ReadPassword(const std::string& path, const std::string& user, std::string& password, std::string& error);

}  // namespace Drive::Host
