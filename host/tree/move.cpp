#include <fcntl.h>
#include <stdio.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "host/tree/tree.h"

namespace Drive::Host {
namespace {

struct Ends {
    int from = -1, to = -1;
    std::string fromName, toName;
    ~Ends() {
        if (from >= 0) close(from);
        if (to >= 0) close(to);
    }
};

MoveOutcome Outcome(int failure, const std::string& fromPath, const std::string& toPath, std::string& error) {
    if (failure == 0) {
        return MoveOutcome::Moved;
    }
    error = "cannot move " + fromPath + " to " + toPath + ": " + std::strerror(failure);
    return failure == EEXIST ? MoveOutcome::Occupied : failure == ENOENT ? MoveOutcome::Absent : MoveOutcome::Failed;
}

// For file systems whose rename knows no flags: a second name is refused when the name is taken.
int LinkThenUnlink(const Ends& ends) {
    if (linkat(ends.from, ends.fromName.c_str(), ends.to, ends.toName.c_str(), 0) != 0) {
        return errno;
    }
    return unlinkat(ends.from, ends.fromName.c_str(), 0) == 0 ? 0 : errno;
}

int RenameWithFlags(const Ends& ends, unsigned flags) {
    return renameat2(ends.from, ends.fromName.c_str(), ends.to, ends.toName.c_str(), flags) == 0 ? 0 : errno;
}

int OpenEnds(const Tree& from, const std::string& fromPath, const Tree& to, const std::string& toPath, Ends& ends) {
    ends.from = from.OpenParent(fromPath, ends.fromName);
    if (ends.from < 0) {
        return errno;
    }
    ends.to = to.OpenParent(toPath, ends.toName);
    return ends.to < 0 ? errno : 0;
}

}  // namespace

MoveOutcome MoveNew(const Tree& from, const std::string& fromPath, const Tree& to, const std::string& toPath,
                    std::string& error) {
    Ends ends;
    int failure = OpenEnds(from, fromPath, to, toPath, ends);
    if (failure == 0) {
        failure = RenameWithFlags(ends, RENAME_NOREPLACE);
        failure = failure == EINVAL || failure == ENOSYS ? LinkThenUnlink(ends) : failure;
    }
    return Outcome(failure, from.Root() + "/" + fromPath, to.Root() + "/" + toPath, error);
}

MoveOutcome ExchangeByMoves(const Tree& from, const std::string& fromPath, const Tree& to, const std::string& toPath,
                            std::string& error) {
    const std::string aside = fromPath + ".displaced";
    std::string ignored;
    if (from.Look(fromPath).kind == FileKind::Absent) {
        return Outcome(ENOENT, from.Root() + "/" + fromPath, to.Root() + "/" + toPath, error);
    }
    if (const MoveOutcome cleared = MoveNew(to, toPath, from, aside, error); cleared != MoveOutcome::Moved) {
        return cleared == MoveOutcome::Occupied ? MoveOutcome::Failed : cleared;
    }
    if (MoveNew(from, fromPath, to, toPath, error) != MoveOutcome::Moved) {
        MoveNew(from, aside, to, toPath, ignored);
        return MoveOutcome::Failed;
    }
    MoveNew(from, aside, from, fromPath, ignored);
    return MoveOutcome::Moved;
}

MoveOutcome Exchange(const Tree& from, const std::string& fromPath, const Tree& to, const std::string& toPath,
                     std::string& error) {
    Ends ends;
    int failure = OpenEnds(from, fromPath, to, toPath, ends);
    if (failure == 0) {
        failure = RenameWithFlags(ends, RENAME_EXCHANGE);
    }
    if (failure == EINVAL || failure == ENOSYS) {
        return ExchangeByMoves(from, fromPath, to, toPath, error);
    }
    return Outcome(failure, from.Root() + "/" + fromPath, to.Root() + "/" + toPath, error);
}

}  // namespace Drive::Host
