#pragma once

/// The system's calls that the layer makes, let through or made to fail. For one thread at a time.
namespace Drive::Testing {

struct FaultyCalls {
    bool noThreads = false;    ///< neither thread nor pool takes work
    bool noEvents = false;     ///< no event can be had
    bool noFlush = false;      ///< nothing is brought to the disk
    bool noMove = false;       ///< no file changes its name
    bool halfReplace = false;  ///< a replaced file goes aside, and the replacement cannot follow
    bool shortPieces = false;  ///< reads and writes move one byte
    bool noWrite = false;      ///< nothing is written, as on a full disk
};

/// What is set here holds until ~FaultScope.
FaultyCalls& Faults();

struct FaultScope {
    FaultScope() { Faults() = FaultyCalls{}; }
    ~FaultScope() { Faults() = FaultyCalls{}; }
    FaultScope(const FaultScope&) = delete;
    FaultScope& operator=(const FaultScope&) = delete;
};

}  // namespace Drive::Testing
