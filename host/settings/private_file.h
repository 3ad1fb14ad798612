#pragma once

#include <string>

/// Small files that only their owner may read.
namespace Drive::Host {

/// Replaces the file by `content`, mode 0600, whole or as before also after a loss of power. False with `error` set.
bool WritePrivateFile(const std::string& path, const std::string& content, std::string& error);

/// Reads a whole small file (16 MiB at most). False with `error` set.
bool ReadSmallFile(const std::string& path, std::string& content, std::string& error);

/// Makes a folder and its parents, the last with mode 0700 when it is new. False with `error` set.
bool MakePrivateFolder(const std::string& path, std::string& error);

}  // namespace Drive::Host
