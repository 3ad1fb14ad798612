#pragma once

#include "tests/simulation/dice.h"
#include "tests/simulation/plan.h"
#include "tests/simulation/watch.h"

namespace Drive::Simulation {

/// Makes the local side of a life fail as often as its weather says: statements of the database that have no effect,
/// reads that find nothing, writes to the disk, opens, free space, key texts.
class Faults {
public:
    Faults(const LifePlan& life, Watch& watch) : weather(life.weather), watch(watch), dice(life.seed + 2) {}

    /// Puts them into the doubles. Before the run.
    void Install();
    /// Once a second: perhaps the pool refuses the next work item.
    void Tick();

private:
    void InstallDatabase();
    void InstallDisk();
    bool Disk();
    bool Statement(const std::wstring& fileId);

    const Weather& weather;
    Watch& watch;
    Dice dice;
};

}  // namespace Drive::Simulation
