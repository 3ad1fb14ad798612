#include "collaborators/database/failure_text.h"

#include <sqlite3.h>

namespace Drive::SQLiteDB {

bool MeansDamage(int code) {
    const int primary = code & 0xff;
    return primary == SQLITE_CORRUPT || primary == SQLITE_NOTADB;
}

std::string ExplainFailure(int code, const std::string& message) {
    switch (code & 0xff) {
        case SQLITE_FULL:
            return "the disk is full. Free some space; what was committed before is kept.";
        case SQLITE_READONLY:
        case SQLITE_PERM:
            return "it may not be written. Check the owner and mode of the folder and of its files, and that the file "
                   "system is not mounted read-only.";
        case SQLITE_CANTOPEN:
            return "it cannot be opened. Check that the folder exists and that its owner runs this program.";
        case SQLITE_BUSY:
        case SQLITE_LOCKED:
            return "another program holds it. End that program and try again.";
        case SQLITE_IOERR:
            return "the disk reported an error (" + message + "). Check the disk; what was committed before is kept.";
        case SQLITE_CORRUPT:
        case SQLITE_NOTADB:
            return "the file is damaged. Start the program anew: it moves the file aside and makes a new one.";
        case SQLITE_NOMEM:
            return "there is not enough memory. End other programs and try again.";
        default:
            return message + ".";
    }
}

}  // namespace Drive::SQLiteDB
