#pragma once

#include <stdexcept>
#include <string>
#include <utility>

namespace Drive::ReferenceCloud {

/// A request that is answered with a refusal. Thrown by handlers, turned into the answer by the server. Inside a
/// metadata transaction it rolls everything back.
class Refusal : public std::runtime_error {
public:
    /// `description` tells a person what happened and what to do.
    Refusal(int httpStatus, std::string errorCode, const std::string& description)
        : std::runtime_error(description), status(httpStatus), code(std::move(errorCode)) {}

    const int status;
    const std::string code;
    int retryAfter = 0;       ///< seconds; 0 for none
    long long position = -1;  ///< where a server upload goes on; -1 for none
};

}  // namespace Drive::ReferenceCloud
