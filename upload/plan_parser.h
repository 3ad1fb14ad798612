#pragma once

#include <cstdint>
#include <string>

#include "interfaces/common/upload_plan.h"

namespace Drive::TransferService {

/// Reads a start record: the cloud's answer to an upload start, or what the resume column of a task holds. An absent
/// key clears its field; the count of items always follows from the list. False for a text that is empty, unreadable
/// or neither an object nor null; throws where a value has a type that cannot be read, with the fields before it set.
bool ReadStartRecord(const std::string& text, Common::UploadStartInfo& info);

/// A number of a record, truncated toward zero. What does not fit gives the smallest value.
std::int64_t TruncateToSigned(double value);

/// The same for a value without sign: one of 2^63 or more keeps its top bit apart. 2^64 and more give the top bit
/// alone.
std::uint64_t TruncateToUnsigned(double value);

}  // namespace Drive::TransferService
