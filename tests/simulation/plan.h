#pragma once

#include <cstdint>
#include <string>
#include <vector>

/// What a seed decides before anything runs: the files, the lives and what happens in each.
namespace Drive::Simulation {

enum class FileKind { Plain, Encrypted, Upload };

/// How an upload travels, as the cloud's start answer and the file's size decide.
enum class UploadRoad {
    Objects,  ///< encrypted objects to the store
    Whole,    ///< through the file proxy, in one request when it is small
    Slices    ///< through the file proxy, slice by slice
};

struct PlannedFile {
    FileKind kind = FileKind::Plain;
    std::wstring id;
    std::wstring relative;  ///< below the sync root, with backslashes
    std::int64_t size = 0;  ///< bytes
    unsigned content = 0;   ///< names the bytes
    int fileStatus = 21;    ///< of the row at the beginning
    int priority = 1;
    bool hasTask = true;
    UploadRoad road = UploadRoad::Objects;
    bool existing = false;      ///< an upload whose content the cloud has already
    bool picture = false;       ///< a thumbnail of it is to be fetched as well
    bool placeholder = false;   ///< an empty local file stands in its place, so that it can be fetched on demand
    std::int64_t resumeAt = 0;  ///< bytes that an earlier download left, with its record
};

/// How often things go wrong: one of so many calls, 0 for never.
struct Weather {
    int address = 0;             ///< the cloud grants no address
    int transfer = 0;            ///< a plain transfer breaks off, or brings other bytes
    int object = 0;              ///< an object is lost, cut or altered in the store
    int start = 0;               ///< an upload is not opened
    int put = 0;                 ///< the store takes no object, or the cloud does not confirm it
    int finish = 0;              ///< the finishing call fails
    int space = 0;               ///< the space is not told, or is short
    int exception = 0;           ///< a call of the cloud throws
    int database = 0;            ///< a statement fails
    int disk = 0;                ///< a local write, an open or the free space fails
    int pool = 0;                ///< a work item is refused
    int host = 0;                ///< the host refuses an event
    std::int64_t slowest = 200;  ///< a call of the cloud takes up to so many milliseconds
};

enum class Deed {
    Fetch,
    FetchByPath,
    Cancel,
    RowStop,
    Edit,
    Remove,
    SpaceFull,
    SpaceBack,
    LineDown,  ///< nothing reaches the cloud any more
    LineBack,
    DiskFull,  ///< no local write succeeds any more
    DiskBack
};

struct Action {
    std::int64_t at = 0;  ///< milliseconds of the life
    Deed deed = Deed::Fetch;
    std::size_t file = 0;
};

enum class Ending {
    Crash,  ///< between two steps, with what is on disk
    Stop,   ///< stopped at the end of its time, whatever runs
    Rest    ///< goes on until nothing moves any more, then stopped
};

struct LifePlan {
    Ending ending = Ending::Rest;
    Weather weather;
    std::vector<Action> actions;  ///< in order of time
    std::int64_t length = 60000;  ///< milliseconds at most before it is stopped
    std::uint64_t crashStep = 0;  ///< the step after which it crashes
    std::uint64_t seed = 0;
    int downloadSlots = 3;
    int prioritySlots = 2;
    int uploadSlots = 3;
    int thumbnailSlots = 2;
};

struct Plan {
    std::uint64_t seed = 0;
    std::vector<PlannedFile> files;
    std::vector<LifePlan> lives;  ///< the last one is calm and ends at rest
    std::int64_t sliceSize = 16;  ///< plain bytes of an upload's object
};

Plan MakePlan(std::uint64_t seed);

/// The content of the file as the history begins.
const std::string& BytesOf(const PlannedFile& file);
/// Its SHA-256 as text.
const std::string& SumOf(const PlannedFile& file);

}  // namespace Drive::Simulation
