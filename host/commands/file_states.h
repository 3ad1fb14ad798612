#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "host/records/host_records.h"

/// The files that are not at rest, as the rows tell. The database is open, if only for reading.
namespace Drive::Host {

struct FileState {
    std::string path;  ///< native, below the root
    int fileStatus = 0;
    std::int64_t bytesDone = 0;  ///< as the record of its task promises
    std::int64_t bytes = 0;
};

/// At most `limit`: those that are moving first, then those that wait, then those that failed.
std::vector<FileState> FilesInMotion(HostRecords& records, int limit);

/// For people: "coming down".
const char* StateWord(int fileStatus);

/// For JSON: "downloading".
const char* StateName(int fileStatus);

}  // namespace Drive::Host
