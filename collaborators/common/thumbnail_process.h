#pragma once

#include <string>
#include <vector>

#include "collaborators/common/unique_fd.h"

namespace Drive::Common {

enum class DecodeOutcome { Decoded, CannotDecode, CannotRead };

/// What the helper process made of a file.
struct Decoded {
    DecodeOutcome outcome = DecodeOutcome::CannotRead;
    std::vector<char> jpeg;  ///< only when decoded
    std::string reason;      ///< in words, when not
};

/// Decodes an open file in the helper process, a frame when `isVideo`; blocks until it has ended or its time has run
/// out, and leaves no process behind. Any thread.
Decoded DecodeInHelper(const UniqueFd& input, bool isVideo, int side);

/// Where the helper is: beside the library, in the program folder next to it, or in libexec; empty when nowhere.
std::string HelperPath();

}  // namespace Drive::Common
