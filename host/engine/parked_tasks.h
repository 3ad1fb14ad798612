#pragma once

#include "host/records/host_records.h"

/// Downloads land in the staging tree and uploads are read from the visible one, but the engine knows a single root.
/// So a command that moves files one way keeps the tasks of the other way out of the engine's sight, with their
/// records. Tasks of small pictures are of one run alone and are dropped.
namespace Drive::Host {

/// Takes the tasks of the other direction away and brings those of `direction` (1 or 2) back. Before the engine
/// starts. Throws std::runtime_error when something could not be written; nothing is lost then.
void ShowOnly(int direction, HostRecords& records);

/// Takes the tasks of both directions away: the engine then does only what it is asked for.
void ParkAll(HostRecords& records);

}  // namespace Drive::Host
