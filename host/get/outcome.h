#pragma once

#include <cstdint>
#include <string>
#include <vector>

/// What became of one entry. Every entry of the cloud's list ends in exactly one of these.
namespace Drive::Host {

enum class Result {
    FolderThere,
    FolderMade,
    Unchanged,
    EmptyMade,
    Adopted,
    Moved,
    Downloaded,
    Uploaded,
    NotSent,     ///< by rule: neither a file nor a folder
    CloudNewer,  ///< "put" found a newer version in the cloud, which "get" brings
    Conflict,    ///< both sides differ and neither is known to follow the other; not all well
    KeptLocal,   ///< something else stands there; not all well
    Refused,     ///< cannot stand on this disk; not all well
    Cancelled,   ///< on somebody's wish; the next call brings it
    Missing,     ///< "verify": in the cloud and not here; not all well
    Differs,     ///< "verify": not the same on both sides; not all well
    Extra,       ///< "verify": here and not in the cloud; not all well
    Failed,      ///< not all well
    Planned,     ///< "--dry-run": what would be done; nothing was
    Pending      ///< not finished when the command ended; the next call goes on
};

struct Outcome {
    std::string path;  ///< native, below the root
    Result result = Result::Pending;
    std::int64_t bytes = 0;
    std::string message;  ///< for people: why, and what to do next
};

/// The word of a result in reports, such as "downloaded".
const char* ResultWord(Result result);

/// True when there was nothing to do.
bool WasThere(Result result);

/// True for results that make the command end with "some files did not".
bool IsTrouble(Result result);

struct Tally {
    std::int64_t entries = 0;
    std::int64_t troubles = 0;
    std::int64_t pending = 0;
    std::int64_t byResult[static_cast<int>(Result::Pending) + 1] = {};
    std::int64_t bytesDownloaded = 0;
    std::int64_t bytesUploaded = 0;

    void Add(const Outcome& outcome);
    std::int64_t Of(Result result) const { return byResult[static_cast<int>(result)]; }
};

}  // namespace Drive::Host
