#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "host/get/cloud_tree.h"
#include "host/get/outcome.h"
#include "host/put/local_tree.h"

/// What "verify" makes of what it found on the two sides. Pure.
namespace Drive::Host {

/// What the cloud really holds of a file, read once more.
struct CloudContent {
    std::wstring sha256;  ///< lower-case hexadecimal; empty when it could not be read whole
    std::int64_t bytes = 0;
    std::string failure;      ///< why it could not be read, for people; empty when it was
    bool unanswered = false;  ///< the cloud did not even tell how it holds the file
};

/// One entry of the cloud's list with what was found of it. What was not looked at stays empty.
struct BothSides {
    const LocalEntry* here = nullptr;  ///< null when nothing stands there
    std::wstring digestHere;           ///< of the file's bytes; empty when they could not be read
    std::optional<CloudContent> cloud;
};

/// True for an entry whose content can be held against something: a file, or the place of one.
bool HasContent(const CloudEntry& entry);

/// True when the file here has to be read before anything can be said.
bool NeedsDigestHere(const CloudEntry& entry, const LocalEntry* here);

/// Each side is held against what the cloud tells of the file; without a digest in the list the sides are held against
/// each other. All that is wrong stands in the message.
Outcome JudgeSides(const CloudEntry& entry, const BothSides& sides);

}  // namespace Drive::Host
