#pragma once

#include <cstdint>
#include <vector>

/// The arithmetic of upload plans. Pure; bytes throughout.
namespace Drive::ReferenceCloud {

/// Stored length of so many plain bytes: rounded down to a multiple of 16, plus 16.
std::int64_t PaddedLength(std::int64_t plain);

struct PlannedObject {
    std::int64_t length = 0;  ///< stored
    bool attachment = false;  ///< holds all attachments, each encrypted by itself, one after the other
};

/// The objects of a file: one a slice, and one at the end for all attachments when there are any.
std::vector<PlannedObject> PlanObjects(std::int64_t size, std::int64_t sliceSize,
                                       const std::vector<std::int64_t>& attachments);

/// Plain bytes before the first object that is not there, given which are there (attachments' last object included).
std::int64_t PlainPosition(const std::vector<bool>& there, std::int64_t size, std::int64_t sliceSize);

}  // namespace Drive::ReferenceCloud
