#include "reference_cloud/upload_plan.h"

#include <algorithm>
#include <cstddef>

namespace Drive::ReferenceCloud {

std::int64_t PaddedLength(std::int64_t plain) { return plain / 16 * 16 + 16; }

std::vector<PlannedObject> PlanObjects(std::int64_t size, std::int64_t sliceSize,
                                       const std::vector<std::int64_t>& attachments) {
    std::vector<PlannedObject> objects;
    for (std::int64_t begin = 0; begin < size; begin += sliceSize) {
        objects.push_back({PaddedLength(std::min(sliceSize, size - begin)), false});
    }
    if (attachments.empty()) return objects;
    PlannedObject last{0, true};
    for (const std::int64_t attachment : attachments) last.length += PaddedLength(attachment);
    objects.push_back(last);
    return objects;
}

std::int64_t PlainPosition(const std::vector<bool>& there, std::int64_t size, std::int64_t sliceSize) {
    const auto first = std::find(there.begin(), there.end(), false) - there.begin();
    return std::min<std::int64_t>(size, first * sliceSize);
}

}  // namespace Drive::ReferenceCloud
