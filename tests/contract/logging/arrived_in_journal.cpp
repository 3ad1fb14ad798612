// For the double, which writes into the journal of the test kit.
#include "tests/contract/logging/arrived.h"
#include "tests/support/journal.h"

namespace Drive::Testing {

Arrived::Arrived() { Journal::Clear(); }

Arrived::~Arrived() { Journal::Clear(); }

std::vector<std::string> Arrived::Records() const {
    return Journal::Lines({Kind::Trace, Kind::Debug, Kind::Error, Kind::Begin, Kind::End, Kind::Statistic});
}

}  // namespace Drive::Testing
