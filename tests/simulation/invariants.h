#pragma once

#include <string>
#include <vector>

#include "tests/simulation/observed.h"

/// The numbered invariants of docs/internals/invariants.md, one function each. An answer that is not empty says what is
/// wrong.
namespace Drive::Simulation {

/// The moments at which an invariant is looked at.
enum class Moment {
    Step,         ///< every operation, wait and end of every engine thread
    Rows,         ///< after every change of a row
    JobEnded,     ///< a work item has ended
    Rest,         ///< nothing has moved for a while, the service still runs
    Stopped,      ///< the service was stopped, and everything that ends has ended
    CalmLifeOver  ///< the last life, in which nothing fails, has come to rest
};

struct Invariant {
    int number;
    Moment moment;
    const char* sentence;
    std::string (*check)(const Observed&);
};

const std::vector<Invariant>& Invariants();

/// The first one that does not hold at this moment; null when all do. `detail` takes what is wrong.
const Invariant* FirstBroken(Moment moment, const Observed& observed, std::string& detail);

}  // namespace Drive::Simulation
