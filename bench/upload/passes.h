#pragma once

#include <cstdint>
#include <string>
#include <vector>

/// Passes over the bytes of a file as an encrypted transfer makes them. Each measures its own processor time and throws
/// std::runtime_error when it fails.
namespace Drive::Bench {

/// User and system time of this process so far, in seconds.
double ProcessorSeconds();

/// One object to send or to receive.
struct ObjectRequest {
    std::string url;
    std::vector<std::string> headers;
    std::size_t offset = 0;  ///< in the file of all objects
    std::size_t length = 0;
};

/// Lines of tab-separated fields: url, offset, length, headers.
std::vector<ObjectRequest> ReadRequests(const std::string& path);

/// PUTs the objects out of the file's bytes, which are read before the clock runs. Seconds.
double Send(const std::string& objectsFile, const std::vector<ObjectRequest>& requests);

/// GETs the objects into a buffer that is thrown away. Seconds.
double Receive(const std::vector<ObjectRequest>& requests);

}  // namespace Drive::Bench
