#pragma once

#include <string>
#include <vector>

namespace Drive::ReferenceCloud {

/// One page of the answer to a ListObjectsV2 request.
struct S3Listing {
    std::vector<std::string> keys;
    std::string next;  ///< for the next page; empty on the last one
};

/// Throws std::runtime_error when the text is no such answer: a list that is read in part would cost objects.
S3Listing ReadS3Listing(const std::string& xml);

}  // namespace Drive::ReferenceCloud
