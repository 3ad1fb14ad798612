#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "host/get/cloud_tree.h"
#include "host/get/decide.h"
#include "host/put/local_tree.h"
#include "host/records/host_records.h"

/// What "put" does with one entry of the visible tree. Pure: facts in, decision out.
namespace Drive::Host {

enum class PutStep {
    FolderThere,
    CreateFolder,
    Unchanged,
    Compare,       ///< same size and not known to be the same: read it; `otherwise` tells what follows when it differs
    CreateEmpty,   ///< a new empty file, by our own call
    ReplaceEmpty,  ///< the file has become empty: the cloud's is deleted and an empty one made
    SendNew,
    SendVersion,  ///< the cloud's file gets a new content
    Resume,       ///< the engine has a task for exactly this content: leave it its record
    CloudNewer,   ///< unchanged here, newer there: "get" brings it
    Conflict,
    NotSent,
    Refuse
};

struct PutFacts {
    std::optional<CloudEntry> cloud;   ///< what the cloud has at this path
    std::optional<ProvedFile> proved;  ///< of that cloud file
    std::optional<SentFile> sending;   ///< how it looked when it was queued
    bool waiting = false;              ///< its row waits for an upload and has a task
};

struct PutLimits {
    int nameLength = 80;                    ///< characters
    std::int64_t largestFile = 50LL << 30;  ///< bytes
    bool overwrite = false;                 ///< in a conflict the visible file wins
};

struct PutDecision {
    PutStep step = PutStep::Refuse;
    PutStep otherwise = PutStep::Conflict;  ///< of Compare
    std::string reason;                     ///< for people
};

PutDecision DecidePut(const LocalEntry& entry, const PutFacts& facts, const PutLimits& limits);

}  // namespace Drive::Host
