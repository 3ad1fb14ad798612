#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "host/get/cloud_tree.h"
#include "host/records/host_records.h"
#include "host/tree/tree.h"
#include "interfaces/common/file_item.h"

/// What is to be done with one entry of the cloud. Pure: facts in, decision out.
namespace Drive::Host {

enum class Step {
    FolderThere,
    MakeFolder,
    Unchanged,    ///< the visible file is the proved one; with --verify it is read again
    MakeEmpty,    ///< an empty file, by our own hand
    Adopt,        ///< a file of the right size stands there unproved: read it, keep it when it is the same
    MoveHere,     ///< the proved file stands at its earlier path: rename it
    PlaceStaged,  ///< the content is in and waits to be checked and shown
    Resume,       ///< the engine has a task for exactly this content: leave it its record
    Fetch,        ///< queue it from the beginning
    KeepLocal,    ///< something else stands at the place; it stays, and the person is told
    Refuse        ///< the entry cannot stand on this disk
};

/// A download task as it stands in the database.
struct TaskFacts {
    bool exists = false;
    std::int64_t writePosition = 0;  ///< bytes that its record promises to be in the staged file
    bool damaged = false;            ///< the record cannot be gone on with
};

struct EntryFacts {
    std::optional<Common::FileItem> row;
    TaskFacts task;
    std::optional<ProvedFile> proved;
    FileFacts visible;  ///< at the entry's path
    FileFacts earlier;  ///< at the proved path, when that is another
    FileFacts staged;   ///< at the entry's path in the staging tree
};

struct Decision {
    Step step = Step::Refuse;
    bool replaces = false;  ///< an earlier proved content stands at the place and gives way
    std::string reason;     ///< for people; empty when all is as it should be
};

Decision Decide(const CloudEntry& entry, const EntryFacts& facts);

/// True when the file on disk still looks as it did when it was proved.
bool StillProved(const FileFacts& disk, const ProvedFile& proved);

/// True when the proved content is what the cloud now has.
bool SameContent(const CloudEntry& entry, const ProvedFile& proved);

/// Reads the position record of a download task.
TaskFacts ReadTaskFacts(const std::wstring& fragmentInfo);

}  // namespace Drive::Host
