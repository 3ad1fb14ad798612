#pragma once

#include <cstdint>
#include <string>

/// Signed addresses of the object store. Pure.
namespace Drive::ReferenceCloud {

/// What a signature binds.
struct SignedRequest {
    std::string method;
    std::string path;
    std::int64_t expires = 0;  ///< seconds since the epoch
    std::string sha256;        ///< of the body; empty for a GET
    std::string md5;           ///< of the body; empty for a GET
    std::int64_t length = 0;   ///< of the body; 0 for a GET
};

std::string Sign(const SignedRequest& request, const std::string& key);
/// "?expires=...&signature=..."
std::string SignedQuery(const SignedRequest& request, const std::string& key);
bool IsSigned(const SignedRequest& request, const std::string& signature, const std::string& key);

}  // namespace Drive::ReferenceCloud
