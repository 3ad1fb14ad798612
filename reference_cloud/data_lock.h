#pragma once

#include <string>

namespace Drive::ReferenceCloud {

/// A lock on a data folder, by flock, given back with the object or the process. Two locks: one server at a time, and
/// writers of the object store (servers and imports, shared) against the clean-up (alone).
class DataLock {
public:
    enum class Kind { server, storeShared, storeAlone };
    DataLock(const std::string& dataFolder, Kind kind);
    ~DataLock();
    DataLock(const DataLock&) = delete;
    DataLock& operator=(const DataLock&) = delete;

    /// False: somebody else has it. (A shared one waits until it can be had.)
    bool Held() const { return held_; }

private:
    int file_ = -1;
    bool held_ = false;
};

}  // namespace Drive::ReferenceCloud
