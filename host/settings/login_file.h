#pragma once

#include <string>

#include "interfaces/cloud/drive_account.h"

/// The tokens of a state folder, in "login.json" with mode 0600; written anew whenever they are refreshed.
namespace Drive::Host {

bool ReadLogin(const std::string& stateFolder, Cloud::Login& login, std::string& error);
bool WriteLogin(const std::string& stateFolder, const Cloud::Login& login, std::string& error);

}  // namespace Drive::Host
