#pragma once

#include <sys/stat.h>

#include <string>

#include "host/tree/tree.h"

/// Calls to the root as a file system needs them: 0 or an error number of the system, and nothing is followed out of
/// the tree. Paths are below the root. Any thread.
namespace Drive::Host::Local {

int Stat(const Tree& tree, const std::string& path, struct stat& facts);

/// Opens a file. `flags` as for open; the descriptor comes back in `descriptor`.
int Open(const Tree& tree, const std::string& path, int flags, mode_t mode, int& descriptor);

/// Makes the folder of a path and those above it.
int MakeParents(const Tree& tree, const std::string& path);
int MakeFolder(const Tree& tree, const std::string& path, mode_t mode);

/// Removes a file. One that is absent is no failure.
int Unlink(const Tree& tree, const std::string& path);

/// Removes an empty folder. One that is absent is no failure.
int RemoveFolder(const Tree& tree, const std::string& path);

/// Renames, in place of what may stand there.
int Rename(const Tree& from, const std::string& fromPath, const Tree& to, const std::string& toPath);

/// Gives a file a second name, or copies it where the file system knows no second names.
int LinkOrCopy(const Tree& from, const std::string& fromPath, const Tree& to, const std::string& toPath);

int SetMode(const Tree& tree, const std::string& path, mode_t mode);
int SetOwner(const Tree& tree, const std::string& path, uid_t user, gid_t group);
int SetTimes(const Tree& tree, const std::string& path, const struct timespec times[2]);

/// Brings a folder's entries to the disk. One that is absent is no failure.
int SyncFolder(const Tree& tree, const std::string& path);

/// Removes a folder of the tree with all that it holds.
void RemoveAll(const Tree& tree, const std::string& path);

}  // namespace Drive::Host::Local
