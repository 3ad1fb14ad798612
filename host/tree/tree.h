#pragma once

#include <sys/types.h>

#include <cstdint>
#include <string>

/// A folder tree that files are brought into. Every path below is native, relative to the root of the tree and without
/// a leading slash; none of its folders may be a symbolic link, and no path can leave the tree: the kernel sees to
/// that. One thread at a time.
namespace Drive::Host {

enum class FileKind { Absent, File, Folder, Link, Other, Unreachable };

struct FileFacts {
    FileKind kind = FileKind::Absent;
    std::int64_t size = 0;
    std::int64_t changed = 0;  ///< modification time, nanoseconds since the epoch
};

class Tree {
public:
    Tree() = default;
    ~Tree();
    Tree(const Tree&) = delete;
    Tree& operator=(const Tree&) = delete;

    /// Opens an existing folder. False with `error` set.
    bool Open(const std::string& root, std::string& error);

    /// Takes the tree for this process; ends with the process. False when another process has it.
    bool Lock();

    const std::string& Root() const { return root; }

    /// What stands at the path. Unreachable when a parent is no folder, is a link, or cannot be asked.
    FileFacts Look(const std::string& path) const;

    /// Makes a folder and its parents. False with `error` set.
    bool MakeFolders(const std::string& path, std::string& error);

    /// Makes an empty file, in place of one that stands there, and its parents.
    bool MakeEmptyFile(const std::string& path, std::string& error);

    /// Removes a file or link; an absent one is no failure.
    bool RemoveFile(const std::string& path, std::string& error);

    /// Removes the folder when nothing is in it.
    void RemoveFolderIfEmpty(const std::string& path);

    /// Sets the modification time, in seconds.
    bool SetTime(const std::string& path, std::int64_t seconds);

    /// Makes all that was done to the tree survive a loss of power.
    void Sync() const;

    /// Opens the folder that holds the path's last component, which comes back in `name`. The caller closes it; -1
    /// with errno set when it cannot be opened.
    int OpenParent(const std::string& path, std::string& name) const;

    /// Opens a folder for reading its entries; "." is the root. The caller closes it; -1 with errno set on failure.
    int OpenFolder(const std::string& path) const;

    /// Opens an existing file for reading. The caller closes it; -1 with errno set on failure.
    int OpenForReading(const std::string& path) const;

    /// Why a file cannot be opened for reading, for people; empty when it can.
    std::string ReadProblem(const std::string& path) const;

    /// Opens an existing file for writing. The caller closes it; -1 with errno set on failure.
    int OpenFile(const std::string& path) const;

private:
    int OpenBeneath(const std::string& path, int flags, unsigned mode = 0) const;

    std::string root;
    int descriptor = -1;
};

/// What became of a move.
enum class MoveOutcome { Moved, Occupied, Absent, Failed };

/// Moves a file of one tree into another (or the same) under a name that must be free. Never replaces anything.
MoveOutcome MoveNew(const Tree& from, const std::string& fromPath, const Tree& to, const std::string& toPath,
                    std::string& error);

/// Exchanges two files; both must exist. In one step where the file system knows how, else as ExchangeByMoves.
MoveOutcome Exchange(const Tree& from, const std::string& fromPath, const Tree& to, const std::string& toPath,
                     std::string& error);

/// The same in three renames. When the second one fails the file of `to` is put back; after a crash in between it is
/// in `from` under the name of its file with ".displaced" behind it.
MoveOutcome ExchangeByMoves(const Tree& from, const std::string& fromPath, const Tree& to, const std::string& toPath,
                            std::string& error);

}  // namespace Drive::Host
