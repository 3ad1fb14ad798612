#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace Drive::ReferenceCloud {

struct Cloud;
struct User;

struct ImportSummary {
    std::int64_t folders = 0;
    std::int64_t files = 0;      ///< brought in or replaced
    std::int64_t unchanged = 0;  ///< already there with the same content
    std::int64_t bytes = 0;
    std::vector<std::string> passedOver;  ///< native paths of links and special files, with the kind
    std::vector<std::string> failed;      ///< native paths with the reason
};

/// Puts what the folder holds into the user's root as plain files: folders, empty files, every name as it stands on
/// disk. What is there already stays, a file with another content becomes a new version. Links are not followed.
ImportSummary ImportTree(Cloud& cloud, const User& user, const std::string& sourceFolder);

}  // namespace Drive::ReferenceCloud
